import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.CK_GCM_PARAMS;
import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.Template;
import com.kelvane.pkcs11.nat.NativePKCS11;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.nio.ByteBuffer;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;

/**
 * Seals a file of any size with an AES key of the token, and opens it: {@code SealFile MODULE TOKEN KEY seal|open FROM
 * TO}. One piece after the other is encrypted with GCM, so that nothing is written that was not verified, and no more
 * than a piece is in memory.
 *
 * <p>The file is 7 random bytes and the pieces, each with a tag of its own. The nonce of a piece is these 7 bytes, the
 * number of the piece and whether it is the last one: pieces that are missing at the end, exchanged or of another file
 * do not open. One key suffices for a million files; beyond that 7 random bytes may repeat, which breaks GCM.
 */
public final class SealFile {
    private static final int PREFIX = 7, PIECE = 1 << 20, TAG = 16;

    public static void main(String[] arguments) throws IOException {
        String module = arguments[0], token = arguments[1], label = arguments[2], pin = System.getenv("TOKEN_PIN");
        boolean seals = arguments[3].equals("seal");
        Path from = Path.of(arguments[4]), to = Path.of(arguments[5]);
        if (pin == null || pin.isEmpty()) { // null means the token's PIN pad, an empty PIN counts as wrong
            throw new IllegalStateException("TOKEN_PIN is not set");
        }
        try (NativePKCS11 library = new NativePKCS11()) {
            library.load(module);
            library.libInitialize();
            PKCS11Slot slot = library.findSlot(token)
                .orElseThrow(() -> new IllegalArgumentException("there is no token " + token));
            try (NativePKCS11Session session = slot.openSession(CKF_SERIAL_SESSION, null);
                InputStream in = Files.newInputStream(from); OutputStream out = Files.newOutputStream(to)) {
                session.login(false, pin);
                List<NativePKCS11Object> keys = session.findObjects(Template.of(CKA_CLASS, CKO_SECRET_KEY,
                    CKA_LABEL, label));
                if (keys.size() != 1) {
                    throw new IllegalArgumentException(keys.size() + " secret keys have the label " + label);
                }
                byte[] prefix = in.readNBytes(seals ? 0 : PREFIX);
                if (seals) {
                    prefix = new byte[PREFIX];
                    session.generateRandom(prefix, 0, PREFIX);
                    out.write(prefix);
                }
                convert(session, keys.get(0), seals, prefix, in, out, Files.size(from));
            } catch (PKCS11Exception | IOException e) {
                Files.deleteIfExists(to); // a part of the file is no valid file
                throw e;
            }
        }
        System.out.println(Files.size(from) + " bytes became " + Files.size(to) + ".");
    }

    private static void convert(NativePKCS11Session session, NativePKCS11Object key, boolean seals, byte[] prefix,
        InputStream in, OutputStream out, long size) throws IOException {
        int length = seals ? PIECE : PIECE + TAG;
        byte[] piece = in.readNBytes(length);
        boolean isLast = false;
        for (int number = 0; !isLast; number = Math.incrementExact(number)) { // never the same nonce again
            byte[] next = in.readNBytes(length);
            isLast = next.length == 0;
            byte[] nonce = ByteBuffer.allocate(12).put(prefix).putInt(number).put((byte) (isLast ? 1 : 0)).array();
            Object parameter = new CK_GCM_PARAMS(nonce, null, 8 * TAG); // no additional data
            out.write(seals ? session.encrypt(CKM_AES_GCM, parameter, key, piece)
                : session.decrypt(CKM_AES_GCM, parameter, key, piece)); // throws if it was changed
            System.err.printf("%d of %d MiB\r", number, size >> 20);
            piece = next;
        }
    }
}
