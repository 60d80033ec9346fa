package com.kelvane.tokbridge.tool;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.CK_GCM_PARAMS;
import com.kelvane.pkcs11.CK_RSA_PKCS_OAEP_PARAMS;
import com.kelvane.pkcs11.CK_RSA_PKCS_PSS_PARAMS;
import com.kelvane.pkcs11.PKCS11Attributes;
import com.kelvane.pkcs11.Template;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.math.BigInteger;
import java.nio.charset.StandardCharsets;
import java.security.KeyFactory;
import java.security.MessageDigest;
import java.security.PublicKey;
import java.security.SecureRandom;
import java.security.Signature;
import java.security.spec.AlgorithmParameterSpec;
import java.security.spec.MGF1ParameterSpec;
import java.security.spec.PSSParameterSpec;
import java.security.spec.RSAPublicKeySpec;
import java.util.Arrays;
import java.util.List;
import javax.crypto.Cipher;

/** Tries the keys that a token holds for what they may be used for. Nothing is made on the token. */
final class FoundKeys {
    private static final byte[] MESSAGE = "A message that tokbridge signs or hides to see whether a key works."
        .getBytes(StandardCharsets.US_ASCII);
    private static final int TAG_BITS = 128;

    private final Tour tour;
    private final Token token;

    FoundKeys(Tour tour, Token token) {
        this.tour = tour;
        this.token = token;
    }

    /** Tries all keys; those that are not there without a login are not found. */
    void run() {
        for (NativePKCS11Object key : find(CKO_PRIVATE_KEY)) {
            PKCS11Attributes about = key.readAttributes(CKA_KEY_TYPE, CKA_LABEL, CKA_ID, CKA_SIGN, CKA_DECRYPT,
                CKA_MODULUS, CKA_PUBLIC_EXPONENT);
            String name = name(about);
            boolean signs = about.isTrue(CKA_SIGN);
            if (isOfType(about, CKK_RSA)) {
                if (signs) {
                    step("RSA signature, PKCS #1 v1.5" + name, CKM_SHA256_RSA_PKCS, session -> rsa(session, key, about,
                        CKM_SHA256_RSA_PKCS, null, "SHA256withRSA", null));
                    step("RSA signature, PSS" + name, CKM_SHA256_RSA_PKCS_PSS, session -> rsa(session, key, about,
                        CKM_SHA256_RSA_PKCS_PSS, new CK_RSA_PKCS_PSS_PARAMS(CKM_SHA256, CKG_MGF1_SHA256, 32),
                        "RSASSA-PSS", new PSSParameterSpec("SHA-256", "MGF1", MGF1ParameterSpec.SHA256, 32, 1)));
                }
                if (about.isTrue(CKA_DECRYPT)) {
                    step("RSA decryption, OAEP" + name, CKM_RSA_PKCS_OAEP, session -> oaep(session, key, about));
                }
            } else if (signs && isOfType(about, CKK_EC)) {
                step("ECDSA signature" + name, CKM_ECDSA, session -> ecdsa(session, key, about));
            }
        }
        for (NativePKCS11Object key : find(CKO_SECRET_KEY)) {
            PKCS11Attributes about = key.readAttributes(CKA_KEY_TYPE, CKA_LABEL, CKA_ID, CKA_ENCRYPT, CKA_DECRYPT);
            if (isOfType(about, CKK_AES) && about.isTrue(CKA_ENCRYPT) && about.isTrue(CKA_DECRYPT)) {
                byte[] iv = new byte[16];
                new SecureRandom().nextBytes(iv);
                step("AES CBC" + name(about), CKM_AES_CBC_PAD, session -> aes(session, key, CKM_AES_CBC_PAD, iv));
                step("AES GCM" + name(about), CKM_AES_GCM, session -> aes(session, key, CKM_AES_GCM,
                    new CK_GCM_PARAMS(Arrays.copyOf(iv, 12), null, TAG_BITS)));
            }
        }
    }

    private void step(String title, int mechanism, Token.InSession body) {
        if (token.offers(mechanism)) {
            token.step(title, mechanism, body);
        }
    }

    private List<NativePKCS11Object> find(int objectClass) {
        return token.session().findObjects(Template.of(CKA_CLASS, objectClass, CKA_TOKEN, true));
    }

    private static boolean isOfType(PKCS11Attributes about, int keyType) {
        return Integer.valueOf(keyType).equals(about.getInteger(CKA_KEY_TYPE));
    }

    private static String name(PKCS11Attributes about) {
        String label = about.getString(CKA_LABEL);
        return ", key " + (label != null && !label.isEmpty() ? "\"" + label + "\""
            : ListObjects.hex(about.getBytes(CKA_ID)));
    }

    private void rsa(NativePKCS11Session session, NativePKCS11Object key, PKCS11Attributes about, int mechanism,
        Object parameter, String algorithm, AlgorithmParameterSpec padding) throws Exception {
        byte[] signature = session.sign(mechanism, parameter, key, MESSAGE);
        Signature jdk = Signature.getInstance(algorithm);
        if (padding != null) {
            jdk.setParameter(padding);
        }
        jdk.initVerify(inJdk(about));
        jdk.update(MESSAGE);
        tour.check("the JDK verifies the signature", jdk.verify(signature));
    }

    private void oaep(NativePKCS11Session session, NativePKCS11Object key, PKCS11Attributes about) throws Exception {
        Cipher jdk = Cipher.getInstance("RSA/ECB/OAEPWithSHA-1AndMGF1Padding");
        jdk.init(Cipher.ENCRYPT_MODE, inJdk(about));
        byte[] data = Arrays.copyOf(MESSAGE, 16);
        byte[] shown = session.decrypt(CKM_RSA_PKCS_OAEP, new CK_RSA_PKCS_OAEP_PARAMS(CKM_SHA_1, CKG_MGF1_SHA1, null),
            key, jdk.doFinal(data));
        tour.check("it decrypts what the JDK has encrypted", Arrays.equals(shown, data));
    }

    /** Private RSA keys tell their modulus, and mostly their public exponent. */
    private static PublicKey inJdk(PKCS11Attributes about) throws Exception {
        BigInteger exponent = about.getBigInteger(CKA_PUBLIC_EXPONENT);
        return KeyFactory.getInstance("RSA").generatePublic(new RSAPublicKeySpec(about.getBigInteger(CKA_MODULUS),
            exponent != null && exponent.signum() > 0 ? exponent : BigInteger.valueOf(65537)));
    }

    /** Private keys do not tell their public point: the public key of the same id verifies, if there is one. */
    private void ecdsa(NativePKCS11Session session, NativePKCS11Object key, PKCS11Attributes about) throws Exception {
        byte[] hash = MessageDigest.getInstance("SHA-256").digest(MESSAGE);
        byte[] signature = session.sign(CKM_ECDSA, null, key, hash);
        tour.check("it gives a signature", signature.length > 0);
        List<NativePKCS11Object> others = session.findObjects(Template.of(CKA_CLASS, CKO_PUBLIC_KEY, CKA_ID,
            about.getBytes(CKA_ID)));
        if (!others.isEmpty()) {
            tour.check("the public key of the same id verifies it", session.verify(CKM_ECDSA, null, others.get(0), hash,
                signature));
        }
    }

    private void aes(NativePKCS11Session session, NativePKCS11Object key, int mechanism, Object parameter) {
        byte[] hidden = session.encrypt(mechanism, parameter, key, MESSAGE);
        tour.check("it decrypts what it has encrypted",
            Arrays.equals(session.decrypt(mechanism, parameter, key, hidden), MESSAGE));
    }
}
