import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.Template;
import com.kelvane.pkcs11.nat.NativePKCS11;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.nio.file.Files;
import java.nio.file.Path;

/** Encrypts a file of any size with a new AES key, and decrypts it again; the file is never in memory as a whole. */
public final class CryptFile {
    public static void main(String[] arguments) throws IOException {
        String module = arguments[0], token = arguments[1], pin = System.getenv("TOKEN_PIN");
        Path plain = Path.of(arguments[2]), hidden = Path.of(arguments[3]), shown = Path.of(arguments[4]);
        if (pin == null || pin.isEmpty()) { // null asks for the PIN at the token, an empty one counts as a wrong one
            throw new IllegalStateException("TOKEN_PIN is not set");
        }
        try (NativePKCS11 library = new NativePKCS11()) {
            library.load(module);
            library.libInitialize();
            PKCS11Slot slot = library.findSlot(token)
                .orElseThrow(() -> new IllegalArgumentException("there is no token " + token));
            try (NativePKCS11Session session = slot.openSession(CKF_SERIAL_SESSION | CKF_RW_SESSION, null)) {
                session.login(false, pin);
                NativePKCS11Object key = session.generateKey(CKM_AES_KEY_GEN, null,
                    Template.of(CKA_VALUE_LEN, 32, CKA_TOKEN, false, CKA_ENCRYPT, true, CKA_DECRYPT, true));
                byte[] iv = new byte[16];
                session.generateRandom(iv, 0, iv.length);
                try (InputStream in = Files.newInputStream(plain); OutputStream out = Files.newOutputStream(hidden)) {
                    session.encrypt(CKM_AES_CBC_PAD, iv, key, in, out);
                }
                try (InputStream in = Files.newInputStream(hidden); OutputStream out = Files.newOutputStream(shown)) {
                    session.decrypt(CKM_AES_CBC_PAD, iv, key, in, out);
                }
            }
        }
        System.out.println(Files.size(plain) + " bytes became " + Files.size(hidden) + " and came back.");
    }
}
