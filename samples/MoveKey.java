import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.nat.NativePKCS11;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.math.BigInteger;
import java.util.Arrays;

/**
 * Takes an AES key from one token to another: the other token makes an RSA key pair, the public key goes to the first
 * token, which wraps the AES key with it; only the other one can unwrap it. The key is never seen outside.
 */
public final class MoveKey {
    private static final int READ_WRITE = CKF_SERIAL_SESSION | CKF_RW_SESSION;

    public static void main(String[] arguments) {
        String module = arguments[0], fromLabel = arguments[1], toLabel = arguments[2], keyLabel = arguments[3];
        try (NativePKCS11 library = new NativePKCS11()) {
            library.load(module);
            library.libInitialize();
            try (NativePKCS11Session from = open(library, fromLabel); NativePKCS11Session to = open(library, toLabel)) {
                Object[] pair = to.generateKeyPair(CKM_RSA_PKCS_KEY_PAIR_GEN, null,
                    new int[] {CKA_MODULUS_BITS, CKA_PUBLIC_EXPONENT, CKA_TOKEN},
                    new Object[] {3072, BigInteger.valueOf(65537), false},
                    new int[] {CKA_TOKEN, CKA_PRIVATE, CKA_UNWRAP}, new Object[] {false, true, true});
                NativePKCS11Object open = (NativePKCS11Object) pair[0], secret = (NativePKCS11Object) pair[1];
                NativePKCS11Object wrapping = from.createObject(
                    new int[] {CKA_CLASS, CKA_KEY_TYPE, CKA_TOKEN, CKA_WRAP, CKA_MODULUS, CKA_PUBLIC_EXPONENT},
                    new Object[] {CKO_PUBLIC_KEY, CKK_RSA, false, true, open.getBigIntegerAttributeValue(CKA_MODULUS),
                        open.getBigIntegerAttributeValue(CKA_PUBLIC_EXPONENT)});

                byte[] wrapped = new byte[384]; // as long as the modulus
                int length = from.wrapKey(CKM_RSA_PKCS, null, wrapping, find(from, keyLabel), wrapped, 0);
                to.unwrapKey(CKM_RSA_PKCS, null, secret, wrapped, 0, length,
                    new int[] {CKA_CLASS, CKA_KEY_TYPE, CKA_TOKEN, CKA_LABEL, CKA_SENSITIVE, CKA_ENCRYPT, CKA_DECRYPT},
                    new Object[] {CKO_SECRET_KEY, CKK_AES, true, keyLabel, true, true, true});
                System.out.println("The key is on both tokens.");
            }
        }
    }

    private static NativePKCS11Session open(NativePKCS11 library, String label) {
        NativePKCS11Session session = Arrays.stream(library.getSlotList(true)).filter(each -> each.getTokenInfo()
            .getLabel().equals(label)).findFirst().orElseThrow().openSession(READ_WRITE, null);
        session.login(false, System.getenv("TOKEN_PIN"));
        return session;
    }

    private static NativePKCS11Object find(NativePKCS11Session session, String label) {
        session.findObjectsInit(new int[] {CKA_CLASS, CKA_LABEL}, new Object[] {CKO_SECRET_KEY, label});
        NativePKCS11Object found = session.findObject();
        session.findObjectsFinal();
        return found;
    }
}
