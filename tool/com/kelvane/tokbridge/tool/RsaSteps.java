package com.kelvane.tokbridge.tool;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.CK_RSA_PKCS_OAEP_PARAMS;
import com.kelvane.pkcs11.CK_RSA_PKCS_PSS_PARAMS;
import com.kelvane.pkcs11.Template;
import com.kelvane.pkcs11.nat.NativePKCS11KeyPair;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.math.BigInteger;
import java.nio.charset.StandardCharsets;
import java.security.GeneralSecurityException;
import java.security.Signature;
import java.security.interfaces.RSAPublicKey;
import java.security.spec.AlgorithmParameterSpec;
import java.security.spec.MGF1ParameterSpec;
import java.security.spec.PSSParameterSpec;
import java.util.Arrays;
import javax.crypto.Cipher;

/** RSA with a key of 2048 bits; the JDK verifies with the public key as the token tells it. */
final class RsaSteps {
    private static final byte[] MESSAGE = "A message to be signed".getBytes(StandardCharsets.US_ASCII);
    private static final byte[] CHANGED = "A message to be Signed".getBytes(StandardCharsets.US_ASCII);

    private final Tour tour;
    private final Token token;
    private NativePKCS11KeyPair pair;
    private RSAPublicKey inJdk;

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
        pair = token.session().generateKeyPair(CKM_RSA_PKCS_KEY_PAIR_GEN, null,
            Template.of(CKA_MODULUS_BITS, 2048, CKA_PUBLIC_EXPONENT, BigInteger.valueOf(65537), CKA_TOKEN, false,
                CKA_VERIFY, true, CKA_ENCRYPT, true),
            Template.of(CKA_TOKEN, false, CKA_PRIVATE, true, CKA_SENSITIVE, true, CKA_SIGN, true, CKA_DECRYPT, true));
        inJdk = (RSAPublicKey) pair.getPublic().toPublicKey();
        tour.check("the modulus has 2048 bits, the exponent is 65537",
            inJdk.getModulus().bitLength() == 2048 && inJdk.getPublicExponent().intValueExact() == 65537);
        tour.checkRefused("the private exponent cannot be read",
            () -> pair.getPrivate().getBigIntegerAttributeValue(CKA_PRIVATE_EXPONENT), CKR_ATTRIBUTE_SENSITIVE);
    }

    private void signatures(NativePKCS11Session session, int mechanism, Object parameter, String algorithm,
        AlgorithmParameterSpec padding) throws GeneralSecurityException {
        byte[] signature = session.sign(mechanism, parameter, pair.getPrivate(), MESSAGE);
        tour.check("the token verifies its signature",
            session.verify(mechanism, parameter, pair.getPublic(), MESSAGE, signature));
        tour.check("for a changed message it answers false, without an exception",
            !session.verify(mechanism, parameter, pair.getPublic(), CHANGED, signature));

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
        byte[] hidden = session.encrypt(CKM_RSA_PKCS_OAEP, parameter, pair.getPublic(), MESSAGE);
        tour.check("the token decrypts what it has encrypted",
            Arrays.equals(session.decrypt(CKM_RSA_PKCS_OAEP, parameter, pair.getPrivate(), hidden), MESSAGE));

        Cipher jdk = Cipher.getInstance("RSA/ECB/OAEPWithSHA-1AndMGF1Padding");
        jdk.init(Cipher.ENCRYPT_MODE, inJdk);
        hidden = jdk.doFinal(MESSAGE);
        tour.check("and what the JDK (" + jdk.getProvider().getName() + ") has encrypted",
            Arrays.equals(session.decrypt(CKM_RSA_PKCS_OAEP, parameter, pair.getPrivate(), hidden), MESSAGE));
    }
}
