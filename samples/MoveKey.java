import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.CK_RSA_PKCS_OAEP_PARAMS;
import com.kelvane.pkcs11.Template;
import com.kelvane.pkcs11.nat.NativePKCS11;
import com.kelvane.pkcs11.nat.NativePKCS11KeyPair;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.math.BigInteger;
import java.util.List;

/**
 * Moves an AES key from one token to another: the other token generates an RSA key pair, the first one wraps the AES
 * key with its public key, and only the other one can unwrap it. The key never leaves a token unencrypted.
 */
public final class MoveKey {
    public static void main(String[] arguments) {
        String module = arguments[0], source = arguments[1], target = arguments[2], label = arguments[3];
        try (NativePKCS11 library = new NativePKCS11()) {
            library.load(module);
            library.libInitialize();
            try (NativePKCS11Session from = open(library, source); NativePKCS11Session to = open(library, target)) {
                List<NativePKCS11Object> keys = from.findObjects(
                    Template.of(CKA_CLASS, CKO_SECRET_KEY, CKA_LABEL, label));
                if (keys.size() != 1) {
                    throw new IllegalArgumentException(keys.size() + " secret keys have the label " + label);
                }
                NativePKCS11KeyPair pair = to.generateKeyPair(CKM_RSA_PKCS_KEY_PAIR_GEN, null, Template.of(
                    CKA_MODULUS_BITS, 3072, CKA_PUBLIC_EXPONENT, BigInteger.valueOf(65537), CKA_TOKEN, false),
                    Template.of(CKA_TOKEN, false, CKA_PRIVATE, true, CKA_UNWRAP, true));
                NativePKCS11Object wrapping = from.createObject(Template.of(CKA_CLASS, CKO_PUBLIC_KEY,
                    CKA_KEY_TYPE, CKK_RSA, CKA_TOKEN, false, CKA_WRAP, true,
                    CKA_MODULUS, pair.getPublic().getBigIntegerAttributeValue(CKA_MODULUS),
                    CKA_PUBLIC_EXPONENT, pair.getPublic().getBigIntegerAttributeValue(CKA_PUBLIC_EXPONENT)));

                // SHA-1 is no weakness here, and nearly every token supports it; some support SHA-256 too.
                Object oaep = new CK_RSA_PKCS_OAEP_PARAMS(CKM_SHA_1, CKG_MGF1_SHA1, null);
                byte[] wrapped = from.wrapKey(CKM_RSA_PKCS_OAEP, oaep, wrapping, keys.get(0));
                to.unwrapKey(CKM_RSA_PKCS_OAEP, oaep, pair.getPrivate(), wrapped, Template.of(CKA_CLASS, CKO_SECRET_KEY,
                    CKA_KEY_TYPE, CKK_AES, CKA_TOKEN, true, CKA_LABEL, label, CKA_SENSITIVE, true, CKA_ENCRYPT, true,
                    CKA_DECRYPT, true));
                System.out.println("The key is on both tokens.");
            }
        }
    }

    private static NativePKCS11Session open(NativePKCS11 library, String token) {
        String pin = System.getenv("TOKEN_PIN");
        if (pin == null || pin.isEmpty()) { // null means the token's PIN pad, an empty PIN counts as wrong
            throw new IllegalStateException("TOKEN_PIN is not set");
        }
        NativePKCS11Session session = library.findSlot(token)
            .orElseThrow(() -> new IllegalArgumentException("there is no token " + token))
            .openSession(CKF_SERIAL_SESSION | CKF_RW_SESSION, null);
        session.login(false, pin);
        return session;
    }
}
