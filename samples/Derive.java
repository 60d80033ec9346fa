import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.CK_ECDH1_DERIVE_PARAMS;
import com.kelvane.pkcs11.CK_HKDF_PARAMS;
import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.Template;
import com.kelvane.pkcs11.nat.NativePKCS11;
import com.kelvane.pkcs11.nat.NativePKCS11KeyPair;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.nio.charset.StandardCharsets;
import java.security.AlgorithmParameters;
import java.security.MessageDigest;
import java.security.PublicKey;
import java.security.spec.ECGenParameterSpec;
import java.util.Arrays;

/** Two sides agree on a secret by ECDH and derive a key from it; one computes a MAC, the other verifies it. */
public final class Derive {
    /** The purpose of the derived key: another purpose leads to another key. */
    private static final byte[] PURPOSE = "MAC of texts".getBytes(StandardCharsets.UTF_8);

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
                boolean hasHkdf = Arrays.stream(slot.getMechanismList()).anyMatch(each -> each == CKM_HKDF_DERIVE);
                NativePKCS11KeyPair one = generate(session), other = generate(session);
                NativePKCS11Object key = agree(session, one.getPrivate(), other.getPublic().toPublicKey(), hasHkdf);
                NativePKCS11Object others = agree(session, other.getPrivate(), one.getPublic().toPublicKey(), hasHkdf);
                byte[] text = "a text".getBytes(StandardCharsets.UTF_8);
                byte[] mac = session.sign(CKM_AES_CMAC, null, key, text); // of 16 bytes
                System.out.println((hasHkdf ? "ECDH, HKDF" : "ECDH") + " and CMAC: "
                    + MessageDigest.isEqual(mac, session.sign(CKM_AES_CMAC, null, others, text)));
            }
        }
    }

    private static NativePKCS11KeyPair generate(NativePKCS11Session session) throws Exception {
        AlgorithmParameters curve = AlgorithmParameters.getInstance("EC");
        curve.init(new ECGenParameterSpec("secp256r1"));
        return session.generateKeyPair(CKM_EC_KEY_PAIR_GEN, null,
            Template.of(CKA_EC_PARAMS, curve.getEncoded(), CKA_TOKEN, false),
            Template.of(CKA_DERIVE, true, CKA_TOKEN, false, CKA_PRIVATE, true));
    }

    private static NativePKCS11Object agree(NativePKCS11Session session, NativePKCS11Object own, PublicKey others,
        boolean hasHkdf) {
        byte[] encoded = others.getEncoded(); // ends with the point: 4, x and y, each of 32 bytes
        byte[] point = Arrays.copyOfRange(encoded, encoded.length - 65, encoded.length);
        Template aesKey = Template.of(CKA_CLASS, CKO_SECRET_KEY, CKA_KEY_TYPE, CKK_AES, CKA_VALUE_LEN, 32,
            CKA_SIGN, true, CKA_TOKEN, false, CKA_SENSITIVE, true);
        Template secret = Template.of(CKA_CLASS, CKO_SECRET_KEY, CKA_KEY_TYPE, CKK_GENERIC_SECRET, CKA_VALUE_LEN, 32,
            CKA_DERIVE, true, CKA_TOKEN, false, CKA_SENSITIVE, true);
        NativePKCS11Object agreed = session.deriveKey(CKM_ECDH1_DERIVE,
            new CK_ECDH1_DERIVE_PARAMS(CKD_NULL, null, point), own, hasHkdf ? secret : aesKey);
        return !hasHkdf ? agreed : session.deriveKey(CKM_HKDF_DERIVE,
            new CK_HKDF_PARAMS(true, true, CKM_SHA256, CKF_HKDF_SALT_NULL, null, null, PURPOSE), agreed, aesKey);
    }
}
