package com.kelvane.tokbridge.tool;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.CK_ECDH1_DERIVE_PARAMS;
import com.kelvane.pkcs11.Template;
import com.kelvane.pkcs11.nat.NativePKCS11KeyPair;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.nio.charset.StandardCharsets;
import java.security.GeneralSecurityException;
import java.security.KeyPair;
import java.security.KeyPairGenerator;
import java.security.MessageDigest;
import java.security.PublicKey;
import java.security.Signature;
import java.security.spec.ECGenParameterSpec;
import java.util.Arrays;
import javax.crypto.KeyAgreement;

/** ECDSA and ECDH on the curve P-256, with the JDK as the other side. */
final class EllipticCurveSteps {
    /** The curve's object identifier, 1.2.840.10045.3.1.7, in DER. */
    private static final byte[] CURVE = {0x06, 0x08, 0x2a, (byte) 0x86, 0x48, (byte) 0xce, 0x3d, 0x03, 0x01, 0x07};

    /** Bytes of an uncompressed point: 4, then two coordinates of 32 bytes. */
    private static final int POINT = 65;

    private final Tour tour;
    private final Token token;
    private NativePKCS11KeyPair pair;
    private PublicKey inJdk;
    private KeyPair other;

    EllipticCurveSteps(Tour tour, Token token) {
        this.tour = tour;
        this.token = token;
    }

    void run() {
        token.step("P-256 key pair", CKM_EC_KEY_PAIR_GEN, session -> generate());
        if (inJdk != null) {
            token.step("ECDSA signature", CKM_ECDSA, this::sign);
            token.step("ECDH key agreement", CKM_ECDH1_DERIVE, this::derive);
        }
    }

    private void generate() throws GeneralSecurityException {
        pair = token.session().generateKeyPair(CKM_EC_KEY_PAIR_GEN, null,
            Template.of(CKA_EC_PARAMS, CURVE, CKA_TOKEN, false, CKA_VERIFY, true),
            Template.of(CKA_TOKEN, false, CKA_PRIVATE, true, CKA_SENSITIVE, true, CKA_SIGN, true, CKA_DERIVE, true));
        byte[] wrapped = pair.getPublic().getByteArrayAttributeValue(CKA_EC_POINT);
        tour.check("the public key is an uncompressed point in an OCTET STRING",
            wrapped.length == 2 + POINT && wrapped[0] == 0x04 && wrapped[1] == POINT && wrapped[2] == 0x04);
        inJdk = pair.getPublic().toPublicKey();
        KeyPairGenerator generator = KeyPairGenerator.getInstance("EC");
        generator.initialize(new ECGenParameterSpec("secp256r1"));
        other = generator.generateKeyPair();
    }

    private void sign(NativePKCS11Session session) throws GeneralSecurityException {
        byte[] message = "A message to be signed".getBytes(StandardCharsets.US_ASCII);
        byte[] hash = MessageDigest.getInstance("SHA-256").digest(message);
        byte[] signature = session.sign(CKM_ECDSA, null, pair.getPrivate(), hash);
        tour.check("the signature is two numbers of 32 bytes", signature.length == 64);
        tour.check("the token verifies it", session.verify(CKM_ECDSA, null, pair.getPublic(), hash, signature));
        Signature jdk = Signature.getInstance("SHA256withECDSAinP1363Format");
        jdk.initVerify(inJdk);
        jdk.update(message);
        tour.check("the JDK (" + jdk.getProvider().getName() + ") verifies it too", jdk.verify(signature));
        hash[0] ^= 1;
        tour.check("for a changed message the token answers false, without an exception",
            !session.verify(CKM_ECDSA, null, pair.getPublic(), hash, signature));
    }

    private void derive(NativePKCS11Session session) throws GeneralSecurityException {
        // In the JDK's encoding (X.509) the point is the end. The mechanism takes it without an OCTET STRING around it.
        byte[] encoded = other.getPublic().getEncoded();
        byte[] point = Arrays.copyOfRange(encoded, encoded.length - POINT, encoded.length);
        NativePKCS11Object secret = session.deriveKey(CKM_ECDH1_DERIVE,
            new CK_ECDH1_DERIVE_PARAMS(CKD_NULL, null, point), pair.getPrivate(), Template.of(
                CKA_CLASS, CKO_SECRET_KEY, CKA_KEY_TYPE, CKK_GENERIC_SECRET, CKA_VALUE_LEN, 32, CKA_TOKEN, false,
                CKA_SENSITIVE, false, CKA_EXTRACTABLE, true));
        KeyAgreement agreement = KeyAgreement.getInstance("ECDH");
        agreement.init(other.getPrivate());
        agreement.doPhase(inJdk, true);
        tour.check("token and JDK derive the same secret from each other's public key",
            MessageDigest.isEqual(secret.getByteArrayAttributeValue(CKA_VALUE), agreement.generateSecret()));
    }
}
