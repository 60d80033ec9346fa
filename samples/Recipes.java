import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.CK_GCM_PARAMS;
import com.kelvane.pkcs11.CK_RSA_PKCS_OAEP_PARAMS;
import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.Template;
import com.kelvane.pkcs11.nat.NativePKCS11;
import com.kelvane.pkcs11.nat.NativePKCS11KeyPair;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.io.FileInputStream;
import java.io.InputStream;
import java.math.BigInteger;
import java.nio.charset.StandardCharsets;
import java.security.GeneralSecurityException;
import java.security.cert.CertificateFactory;
import java.security.cert.X509Certificate;
import java.security.spec.MGF1ParameterSpec;
import java.util.Arrays;
import java.util.List;
import javax.crypto.Cipher;
import javax.crypto.spec.OAEPParameterSpec;
import javax.crypto.spec.PSource;

/** Small pieces of work with a token, each in a method of its own; nothing is left on the token. */
public final class Recipes {
    public static void main(String[] arguments) throws Exception {
        String module = arguments[0], token = arguments[1], pin = System.getenv("TOKEN_PIN");
        if (pin == null || pin.isEmpty()) { // null means the token's PIN pad, an empty PIN counts as wrong
            throw new IllegalStateException("TOKEN_PIN is not set");
        }
        try (NativePKCS11 library = new NativePKCS11(); InputStream file = new FileInputStream(arguments[2])) {
            library.load(module);
            library.libInitialize();
            PKCS11Slot slot = library.findSlot(token)
                .orElseThrow(() -> new IllegalArgumentException("there is no token " + token));
            try (NativePKCS11Session session = slot.openSession(CKF_SERIAL_SESSION | CKF_RW_SESSION, null)) {
                session.login(false, pin);
                NativePKCS11Object key = session.generateKey(CKM_AES_KEY_GEN, null, Template.of(CKA_VALUE_LEN, 32,
                    CKA_ENCRYPT, true, CKA_DECRYPT, true, CKA_WRAP, true, CKA_UNWRAP, true, CKA_SENSITIVE, true));
                NativePKCS11KeyPair pair = session.generateKeyPair(CKM_RSA_PKCS_KEY_PAIR_GEN, null,
                    Template.of(CKA_MODULUS_BITS, 2048, CKA_PUBLIC_EXPONENT, BigInteger.valueOf(65537)),
                    Template.of(CKA_PRIVATE, true, CKA_DECRYPT, true, CKA_EXTRACTABLE, true, CKA_SENSITIVE, true));

                System.out.println("GCM: " + gcm(session, key));
                System.out.println("OAEP: " + oaep(session, pair));
                wrapPrivateKey(session, key, pair.getPrivate());
                storeCertificate(session, (X509Certificate) CertificateFactory.getInstance("X.509")
                    .generateCertificate(file), new byte[] {1});
                System.out.println("Certificate: " + findCertificate(session, new byte[] {1}).getSubjectX500Principal()
                    .getName());
                abandon(session, key);
            }
        }
    }

    private static String gcm(NativePKCS11Session session, NativePKCS11Object key) {
        byte[] iv = new byte[12]; // never used again with this key
        session.generateRandom(iv, 0, iv.length);
        CK_GCM_PARAMS parameter = new CK_GCM_PARAMS(iv, null, 128); // iv, associated data, bits of the tag
        byte[] hidden = session.encrypt(CKM_AES_GCM, parameter, key, "a text".getBytes(StandardCharsets.UTF_8));
        byte[] shown = session.decrypt(CKM_AES_GCM, parameter, key, hidden); // throws if it was changed
        return new String(shown, StandardCharsets.UTF_8);
    }

    private static String oaep(NativePKCS11Session session, NativePKCS11KeyPair pair) throws GeneralSecurityException {
        Cipher jdk = Cipher.getInstance("RSA/ECB/OAEPPadding"); // not ...WithSHA-256...: it takes SHA-1 for the mask
        jdk.init(Cipher.ENCRYPT_MODE, pair.getPublic().toPublicKey(),
            new OAEPParameterSpec("SHA-1", "MGF1", MGF1ParameterSpec.SHA1, PSource.PSpecified.DEFAULT));
        byte[] hidden = jdk.doFinal("a text".getBytes(StandardCharsets.UTF_8));
        Object parameter = new CK_RSA_PKCS_OAEP_PARAMS(CKM_SHA_1, CKG_MGF1_SHA1, null);
        byte[] shown = session.decrypt(CKM_RSA_PKCS_OAEP, parameter, pair.getPrivate(), hidden);
        return new String(shown, StandardCharsets.UTF_8);
    }

    private static void wrapPrivateKey(NativePKCS11Session session, NativePKCS11Object aesKey,
        NativePKCS11Object privateKey) {
        byte[] wrapped = session.wrapKey(CKM_AES_KEY_WRAP_PAD, null, aesKey, privateKey);
        NativePKCS11Object copy = session.unwrapKey(CKM_AES_KEY_WRAP_PAD, null, aesKey, wrapped, Template.of(
            CKA_CLASS, CKO_PRIVATE_KEY, CKA_KEY_TYPE, CKK_RSA, CKA_PRIVATE, true, CKA_SENSITIVE, true,
            CKA_DECRYPT, true));
        copy.destroy();
    }

    private static void storeCertificate(NativePKCS11Session session, X509Certificate certificate, byte[] id)
        throws GeneralSecurityException {
        byte[] serial = certificate.getSerialNumber().toByteArray();
        byte[] serialInDer = new byte[serial.length + 2];
        serialInDer[0] = 2;
        serialInDer[1] = (byte) serial.length;
        System.arraycopy(serial, 0, serialInDer, 2, serial.length);
        session.createObject(Template.of(CKA_CLASS, CKO_CERTIFICATE, CKA_CERTIFICATE_TYPE, CKC_X_509, CKA_TOKEN, false,
            CKA_ID, id, CKA_SUBJECT, certificate.getSubjectX500Principal().getEncoded(),
            CKA_ISSUER, certificate.getIssuerX500Principal().getEncoded(), CKA_SERIAL_NUMBER, serialInDer,
            CKA_VALUE, certificate.getEncoded()));
    }

    private static X509Certificate findCertificate(NativePKCS11Session session, byte[] id)
        throws GeneralSecurityException {
        List<NativePKCS11Object> found = session.findObjects(Template.of(CKA_CLASS, CKO_CERTIFICATE, CKA_ID, id));
        if (found.size() != 1) {
            throw new IllegalArgumentException(found.size() + " certificates have the id " + Arrays.toString(id));
        }
        return found.get(0).toCertificate();
    }

    private static void abandon(NativePKCS11Session session, NativePKCS11Object key) {
        byte[] chunk = new byte[1024];
        session.encryptInit(CKM_AES_CBC_PAD, new byte[16], key);
        session.encryptUpdate(chunk, 0, chunk.length, new byte[1100], 0);
        session.encryptFinal(new byte[1100], 0); // its last output is discarded
        session.encryptInit(CKM_AES_CBC_PAD, new byte[16], key); // would raise CKR_OPERATION_ACTIVE without
        session.encrypt(chunk, 0, chunk.length, new byte[1100], 0);
    }
}
