import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.Template;
import com.kelvane.pkcs11.nat.NativePKCS11;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.nio.charset.StandardCharsets;
import java.security.Signature;
import java.util.List;

/** Signs a text with the RSA key of a label, and verifies the signature with the JDK. */
public final class Sign {
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
            try (NativePKCS11Session session = slot.openSession(CKF_SERIAL_SESSION, null)) {
                session.login(false, pin);
                byte[] text = "a text to be signed".getBytes(StandardCharsets.UTF_8);
                byte[] signature = session.sign(CKM_SHA256_RSA_PKCS, null, find(session, CKO_PRIVATE_KEY, label), text);

                Signature jdk = Signature.getInstance("SHA256withRSA");
                jdk.initVerify(find(session, CKO_PUBLIC_KEY, label).toPublicKey());
                jdk.update(text);
                System.out.println(jdk.verify(signature) ? "The JDK verifies the signature." : "It is wrong.");
            }
        }
    }

    private static NativePKCS11Object find(NativePKCS11Session session, int objectClass, String label) {
        List<NativePKCS11Object> found = session.findObjects(Template.of(CKA_CLASS, objectClass, CKA_LABEL, label));
        if (found.size() != 1) {
            throw new IllegalArgumentException(found.size() + " objects of this class have the label " + label);
        }
        return found.get(0);
    }
}
