import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.Template;
import com.kelvane.pkcs11.nat.NativePKCS11;
import com.kelvane.pkcs11.nat.NativePKCS11KeyPair;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.math.BigInteger;
import java.nio.file.Files;
import java.nio.file.Path;
import java.security.AlgorithmParameters;
import java.security.GeneralSecurityException;
import java.security.MessageDigest;
import java.security.spec.ECGenParameterSpec;
import java.util.Arrays;
import java.util.Base64;
import javax.security.auth.x500.X500Principal;

/** Generates a key pair on the curve P-256 and creates a certificate request for it. */
public final class Request {
    /** ecdsa-with-SHA256, 1.2.840.10045.4.3.2, in DER. */
    private static final byte[] ALGORITHM = {0x30, 10, 6, 8, 0x2a, (byte) 0x86, 0x48, (byte) 0xce, 0x3d, 4, 3, 2};

    public static void main(String[] arguments) throws Exception {
        String module = arguments[0], token = arguments[1], label = arguments[2], pin = System.getenv("TOKEN_PIN");
        if (pin == null || pin.isEmpty()) { // null means the token's PIN pad, an empty PIN counts as wrong
            throw new IllegalStateException("TOKEN_PIN is not set");
        }
        try (NativePKCS11 library = new NativePKCS11()) {
            library.load(module);
            library.libInitialize();
            PKCS11Slot slot = library.findSlot(token)
                .orElseThrow(() -> new IllegalArgumentException("there is no token " + token));
            try (NativePKCS11Session session = slot.openSession(CKF_SERIAL_SESSION | CKF_RW_SESSION, null)) {
                session.login(false, pin);
                NativePKCS11KeyPair pair = generate(session, label);
                byte[] request = request(session, pair, new X500Principal(arguments[3]));
                Files.writeString(Path.of(arguments[4]), "-----BEGIN CERTIFICATE REQUEST-----\n"
                    + Base64.getMimeEncoder(64, new byte[] {'\n'}).encodeToString(request)
                    + "\n-----END CERTIFICATE REQUEST-----\n");
            }
        }
        System.out.println("The request is in " + arguments[4] + ".");
    }

    private static NativePKCS11KeyPair generate(NativePKCS11Session session, String label)
        throws GeneralSecurityException, IOException {
        AlgorithmParameters curve = AlgorithmParameters.getInstance("EC");
        curve.init(new ECGenParameterSpec("secp256r1"));
        byte[] id = new byte[8]; // that key and certificate have in common
        session.generateRandom(id, 0, id.length);
        return session.generateKeyPair(CKM_EC_KEY_PAIR_GEN, null,
            Template.of(CKA_EC_PARAMS, curve.getEncoded(), CKA_TOKEN, true, CKA_LABEL, label, CKA_ID, id),
            Template.of(CKA_SIGN, true, CKA_PRIVATE, true, CKA_TOKEN, true, CKA_LABEL, label, CKA_ID, id));
    }

    private static byte[] request(NativePKCS11Session session, NativePKCS11KeyPair pair, X500Principal subject)
        throws GeneralSecurityException {
        byte[] content = der(0x30, der(2, new byte[1]), subject.getEncoded(),
            pair.getPublic().toPublicKey().getEncoded(), der(0xa0));
        byte[] hash = MessageDigest.getInstance("SHA-256").digest(content); // CKM_ECDSA does not hash
        byte[] signature = session.sign(CKM_ECDSA, null, pair.getPrivate(), hash); // r and s, each of half the length
        byte[] r = Arrays.copyOf(signature, signature.length / 2);
        byte[] s = Arrays.copyOfRange(signature, signature.length / 2, signature.length);
        byte[] inX509 = der(0x30, der(2, new BigInteger(1, r).toByteArray()),
            der(2, new BigInteger(1, s).toByteArray()));
        return der(0x30, content, ALGORITHM, der(3, new byte[1], inX509));
    }

    /** A value in DER: its tag, its length, its parts. */
    private static byte[] der(int tag, byte[]... parts) {
        ByteArrayOutputStream content = new ByteArrayOutputStream(), all = new ByteArrayOutputStream();
        Arrays.stream(parts).forEach(content::writeBytes);
        all.write(tag);
        int length = content.size();
        all.writeBytes(length < 128 ? new byte[] {(byte) length}
            : length < 256 ? new byte[] {(byte) 0x81, (byte) length}
            : new byte[] {(byte) 0x82, (byte) (length >> 8), (byte) length});
        all.writeBytes(content.toByteArray());
        return all.toByteArray();
    }
}
