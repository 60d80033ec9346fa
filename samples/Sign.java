import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.nat.NativePKCS11;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.math.BigInteger;
import java.nio.charset.StandardCharsets;
import java.security.KeyFactory;
import java.security.PublicKey;
import java.security.Signature;
import java.security.spec.RSAPublicKeySpec;
import java.util.Arrays;

/** Signs a text with the RSA key of a label, and verifies the signature with the JDK. */
public final class Sign {
    public static void main(String[] arguments) throws Exception {
        String module = arguments[0], tokenLabel = arguments[1], keyLabel = arguments[2];
        try (NativePKCS11 library = new NativePKCS11()) {
            library.load(module);
            library.libInitialize();
            PKCS11Slot slot = Arrays.stream(library.getSlotList(true))
                .filter(each -> each.getTokenInfo().getLabel().equals(tokenLabel)).findFirst().orElseThrow();
            try (NativePKCS11Session session = slot.openSession(CKF_SERIAL_SESSION, null)) {
                session.login(false, System.getenv("TOKEN_PIN"));
                sign(session, keyLabel, "a text to be signed".getBytes(StandardCharsets.UTF_8));
                session.logout();
            }
        }
    }

    private static void sign(NativePKCS11Session session, String label, byte[] text) throws Exception {
        NativePKCS11Object key = find(session, CKO_PRIVATE_KEY, label);
        session.signInit(CKM_SHA256_RSA_PKCS, null, key);
        byte[] room = new byte[1024]; // for a key of up to 8192 bits
        byte[] signature = Arrays.copyOf(room, session.sign(text, 0, text.length, room, 0));

        NativePKCS11Object half = find(session, CKO_PUBLIC_KEY, label);
        BigInteger modulus = half.getBigIntegerAttributeValue(CKA_MODULUS);
        BigInteger exponent = half.getBigIntegerAttributeValue(CKA_PUBLIC_EXPONENT);
        PublicKey inJdk = KeyFactory.getInstance("RSA").generatePublic(new RSAPublicKeySpec(modulus, exponent));
        Signature jdk = Signature.getInstance("SHA256withRSA");
        jdk.initVerify(inJdk);
        jdk.update(text);
        System.out.println(jdk.verify(signature) ? "The JDK verifies the signature." : "The signature is wrong.");
    }

    private static NativePKCS11Object find(NativePKCS11Session session, int objectClass, String label) {
        session.findObjectsInit(new int[] {CKA_CLASS, CKA_LABEL}, new Object[] {objectClass, label});
        NativePKCS11Object found = session.findObject();
        session.findObjectsFinal();
        if (found == null) {
            throw new IllegalArgumentException("no key has the label " + label);
        }
        return found;
    }
}
