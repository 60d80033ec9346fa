package com.kelvane.tokbridge.tool;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.CK_RSA_PKCS_OAEP_PARAMS;
import com.kelvane.pkcs11.CK_RSA_PKCS_PSS_PARAMS;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.math.BigInteger;
import java.nio.charset.StandardCharsets;
import java.security.GeneralSecurityException;
import java.security.KeyFactory;
import java.security.PublicKey;
import java.security.Signature;
import java.security.spec.AlgorithmParameterSpec;
import java.security.spec.MGF1ParameterSpec;
import java.security.spec.PSSParameterSpec;
import java.security.spec.RSAPublicKeySpec;
import java.util.Arrays;
import javax.crypto.Cipher;

/** RSA with a key of 2048 bits; the JDK verifies with the public key as the token tells it. */
final class RsaSteps {
    private static final byte[] MESSAGE = "A message to be signed".getBytes(StandardCharsets.US_ASCII);
    private static final byte[] CHANGED = "A message to be Signed".getBytes(StandardCharsets.US_ASCII);

    private final Tour tour;
    private final Token token;
    private NativePKCS11Object publicKey;
    private NativePKCS11Object privateKey;
    private PublicKey inJdk;

    RsaSteps(Tour tour, Token token) {
        this.tour = tour;
        this.token = token;
    }

    void run() {
        token.step("RSA-2048 key pair", CKM_RSA_PKCS_KEY_PAIR_GEN, session -> generate());
        if (inJdk != null) {
            token.step("RSA signature, PKCS #1 v1.5", CKM_SHA256_RSA_PKCS, session -> signatures(session,
                CKM_SHA256_RSA_PKCS, null, "SHA256withRSA", null));
            token.step("RSA signature, PSS", CKM_SHA256_RSA_PKCS_PSS, session -> signatures(session,
                CKM_SHA256_RSA_PKCS_PSS, new CK_RSA_PKCS_PSS_PARAMS(CKM_SHA256, CKG_MGF1_SHA256, 32), "RSASSA-PSS",
                new PSSParameterSpec("SHA-256", "MGF1", MGF1ParameterSpec.SHA256, 32, 1)));
            token.step("RSA encryption, OAEP", CKM_RSA_PKCS_OAEP, this::oaep);
        }
    }

    private void generate() throws Exception {
        NativePKCS11Object[] pair = Keys.pair(token.session(), CKM_RSA_PKCS_KEY_PAIR_GEN,
            Template.of(CKA_MODULUS_BITS, 2048, CKA_PUBLIC_EXPONENT, BigInteger.valueOf(65537), CKA_TOKEN, false,
                CKA_VERIFY, true, CKA_ENCRYPT, true),
            Template.of(CKA_TOKEN, false, CKA_PRIVATE, true, CKA_SENSITIVE, true, CKA_SIGN, true, CKA_DECRYPT, true));
        publicKey = pair[0];
        privateKey = pair[1];
        BigInteger modulus = publicKey.getBigIntegerAttributeValue(CKA_MODULUS);
        BigInteger exponent = publicKey.getBigIntegerAttributeValue(CKA_PUBLIC_EXPONENT);
        inJdk = KeyFactory.getInstance("RSA").generatePublic(new RSAPublicKeySpec(modulus, exponent));
        tour.check("the modulus has 2048 bits, the exponent is 65537",
            modulus.bitLength() == 2048 && exponent.intValueExact() == 65537);
        tour.checkRefused("the private exponent cannot be read",
            () -> privateKey.getBigIntegerAttributeValue(CKA_PRIVATE_EXPONENT), CKR_ATTRIBUTE_SENSITIVE);
    }

    private void signatures(NativePKCS11Session session, int mechanism, Object parameter, String algorithm,
        AlgorithmParameterSpec padding) throws GeneralSecurityException {
        byte[] signature = Keys.sign(session, mechanism, parameter, privateKey, MESSAGE);
        tour.check("the token verifies its signature",
            Keys.verify(session, mechanism, parameter, publicKey, MESSAGE, signature));
        tour.check("for a changed message it answers false, without an exception",
            !Keys.verify(session, mechanism, parameter, publicKey, CHANGED, signature));

        Signature jdk = Signature.getInstance(algorithm);
        if (padding != null) {
            jdk.setParameter(padding);
        }
        jdk.initVerify(inJdk);
        jdk.update(MESSAGE);
        tour.check("the JDK (" + jdk.getProvider().getName() + ") verifies it too", jdk.verify(signature));
        jdk.update(CHANGED);
        tour.check("and not for the changed message", !jdk.verify(signature));
    }

    private void oaep(NativePKCS11Session session) throws GeneralSecurityException {
        Object parameter = new CK_RSA_PKCS_OAEP_PARAMS(CKM_SHA_1, CKG_MGF1_SHA1, null);
        byte[] hidden = new byte[256];
        session.encryptInit(CKM_RSA_PKCS_OAEP, parameter, publicKey);
        int length = session.encrypt(MESSAGE, 0, MESSAGE.length, hidden, 0);
        tour.check("the token decrypts what it has encrypted",
            Arrays.equals(decrypt(session, parameter, Arrays.copyOf(hidden, length)), MESSAGE));

        Cipher jdk = Cipher.getInstance("RSA/ECB/OAEPWithSHA-1AndMGF1Padding");
        jdk.init(Cipher.ENCRYPT_MODE, inJdk);
        tour.check("and what the JDK (" + jdk.getProvider().getName() + ") has encrypted",
            Arrays.equals(decrypt(session, parameter, jdk.doFinal(MESSAGE)), MESSAGE));
    }

    private byte[] decrypt(NativePKCS11Session session, Object parameter, byte[] hidden) {
        byte[] shown = new byte[256];
        session.decryptInit(CKM_RSA_PKCS_OAEP, parameter, privateKey);
        return Arrays.copyOf(shown, session.decrypt(hidden, 0, hidden.length, shown, 0));
    }
}
