import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.Template;
import com.kelvane.pkcs11.nat.NativePKCS11;
import com.kelvane.pkcs11.nat.NativePKCS11Encapsulation;
import com.kelvane.pkcs11.nat.NativePKCS11KeyPair;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.nio.charset.StandardCharsets;
import java.security.GeneralSecurityException;
import java.security.Signature;
import java.util.Arrays;

/** Signs with ML-DSA and verifies with the JDK (24 or later); encapsulates a key with ML-KEM on the token itself. */
public final class PostQuantum {
    public static void main(String[] arguments) throws Exception {
        String module = arguments[0], token = arguments[1], pin = System.getenv("TOKEN_PIN");
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
                System.out.println("ML-DSA: " + sign(session, "a text".getBytes(StandardCharsets.UTF_8)));
                System.out.println("ML-KEM: " + encapsulate(session));
            }
        }
    }

    private static boolean sign(NativePKCS11Session session, byte[] text) throws GeneralSecurityException {
        NativePKCS11KeyPair pair = session.generateKeyPair(CKM_ML_DSA_KEY_PAIR_GEN, null,
            Template.of(CKA_PARAMETER_SET, CKP_ML_DSA_65, CKA_VERIFY, true, CKA_TOKEN, false),
            Template.of(CKA_SIGN, true, CKA_PRIVATE, true, CKA_TOKEN, false));
        byte[] signature = session.sign(CKM_ML_DSA, null, pair.getPrivate(), text); // the text itself, not its hash
        Signature jdk = Signature.getInstance("ML-DSA");
        jdk.initVerify(pair.getPublic().toPublicKey());
        jdk.update(text);
        return jdk.verify(signature);
    }

    private static boolean encapsulate(NativePKCS11Session session) {
        NativePKCS11KeyPair pair = session.generateKeyPair(CKM_ML_KEM_KEY_PAIR_GEN, null,
            Template.of(CKA_PARAMETER_SET, CKP_ML_KEM_768, CKA_ENCAPSULATE, true, CKA_TOKEN, false),
            Template.of(CKA_DECAPSULATE, true, CKA_PRIVATE, true, CKA_TOKEN, false));
        Template aesKey = Template.of(CKA_CLASS, CKO_SECRET_KEY, CKA_KEY_TYPE, CKK_AES, CKA_VALUE_LEN, 32,
            CKA_ENCRYPT, true, CKA_TOKEN, false);
        NativePKCS11Encapsulation made = session.encapsulateKey(CKM_ML_KEM, null, pair.getPublic(), aesKey);
        NativePKCS11Object same = session.decapsulateKey(CKM_ML_KEM, null, pair.getPrivate(), made.getCiphertext(),
            aesKey); // on the other side, which has the private key
        byte[] block = new byte[16];
        return Arrays.equals(session.encrypt(CKM_AES_ECB, null, made.getKey(), block),
            session.encrypt(CKM_AES_ECB, null, same, block));
    }
}
