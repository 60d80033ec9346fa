import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.nat.NativePKCS11;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;

/** Encrypts a file of any size with a new AES key, and decrypts it again; the file is never in memory as a whole. */
public final class CryptFile {
    private static final int CHUNK = 16 * 1024; // every call copies the whole of its arrays: small ones are quick
    private static final int BLOCK = 16;

    public static void main(String[] arguments) throws IOException {
        String module = arguments[0], tokenLabel = arguments[1];
        Path plain = Path.of(arguments[2]), hidden = Path.of(arguments[3]), shown = Path.of(arguments[4]);
        try (NativePKCS11 library = new NativePKCS11()) {
            library.load(module);
            library.libInitialize();
            PKCS11Slot slot = Arrays.stream(library.getSlotList(true))
                .filter(each -> each.getTokenInfo().getLabel().equals(tokenLabel)).findFirst().orElseThrow();
            try (NativePKCS11Session session = slot.openSession(CKF_SERIAL_SESSION | CKF_RW_SESSION, null)) {
                session.login(false, System.getenv("TOKEN_PIN"));
                NativePKCS11Object key = session.generateKey(CKM_AES_KEY_GEN, null,
                    new int[] {CKA_VALUE_LEN, CKA_TOKEN, CKA_ENCRYPT, CKA_DECRYPT},
                    new Object[] {32, false, true, true});
                byte[] iv = new byte[BLOCK];
                session.generateRandom(iv, 0, iv.length);
                session.encryptInit(CKM_AES_CBC_PAD, iv, key);
                stream(plain, hidden, session::encryptUpdate, session::encryptFinal);
                session.decryptInit(CKM_AES_CBC_PAD, iv, key);
                stream(hidden, shown, session::decryptUpdate, session::decryptFinal);
                session.logout();
            }
        }
        System.out.println(Files.size(plain) + " bytes became " + Files.size(hidden) + " and came back.");
    }

    private interface Update { int run(byte[] in, int inOffset, int inLength, byte[] out, int outOffset); }

    private interface Final { int run(byte[] out, int outOffset); }

    private static void stream(Path from, Path to, Update update, Final last) throws IOException {
        byte[] in = new byte[CHUNK], out = new byte[CHUNK + 2 * BLOCK]; // room for what is held back and the padding
        try (InputStream source = Files.newInputStream(from); OutputStream sink = Files.newOutputStream(to)) {
            for (int read = source.read(in); read >= 0; read = source.read(in)) {
                sink.write(out, 0, update.run(in, 0, read, out, 0));
            }
            sink.write(out, 0, last.run(out, 0));
        }
    }
}
