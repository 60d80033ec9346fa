package com.kelvane.pkcs11.nat;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import java.io.IOException;
import java.math.BigInteger;
import java.security.AlgorithmParameters;
import java.security.GeneralSecurityException;
import java.security.KeyFactory;
import java.security.PublicKey;
import java.security.spec.ECParameterSpec;
import java.security.spec.ECPoint;
import java.security.spec.ECPublicKeySpec;
import java.security.spec.InvalidKeySpecException;
import java.security.spec.RSAPublicKeySpec;
import java.security.spec.X509EncodedKeySpec;
import java.util.Arrays;

/** Makes the JDK's public keys of what tokens tell. */
final class PublicKeys {
    /** Tags of DER; a point with both its coordinates begins like an OCTET STRING. */
    private static final byte OCTET_STRING = 4, BIT_STRING = 3, UNCOMPRESSED = 4;

    /** A key of Ed25519, and one of Ed448, as X.509 has it, up to the point at its end. */
    private static final byte[] ED25519 = {0x30, 42, 0x30, 5, 6, 3, 0x2b, 0x65, 0x70, BIT_STRING, 33, 0},
        ED448 = {0x30, 67, 0x30, 5, 6, 3, 0x2b, 0x65, 0x71, BIT_STRING, 58, 0};

    /** Bytes of a point of Ed25519 and of one of Ed448. */
    private static final int ED25519_POINT = 32, ED448_POINT = 57;

    /** Nothing to build: the methods are static. */
    private PublicKeys() {
    }

    /** Makes the key that an object's attributes tell. */
    static PublicKey of(NativePKCS11Object key) throws GeneralSecurityException {
        int type = key.getIntAttributeValue(CKA_KEY_TYPE);
        switch (type) {
        case CKK_RSA:
            return KeyFactory.getInstance("RSA").generatePublic(new RSAPublicKeySpec(
                key.getBigIntegerAttributeValue(CKA_MODULUS), key.getBigIntegerAttributeValue(CKA_PUBLIC_EXPONENT)));
        case CKK_EC:
            return weierstrass(key.getByteArrayAttributeValue(CKA_EC_PARAMS),
                key.getByteArrayAttributeValue(CKA_EC_POINT));
        case CKK_EC_EDWARDS: // tokens name the curve in several ways: the length of its points tells
            byte[] told = key.getByteArrayAttributeValue(CKA_EC_POINT);
            byte[] large = point(told, ED448_POINT);
            return large != null ? edwards(ED448, large) : edwards(ED25519, point(told, ED25519_POINT));
        default:
            throw new InvalidKeySpecException("neither of RSA nor of an elliptic curve: " + nameOf("CKK_", type));
        }
    }

    /** Makes a key of a curve that the JDK knows. */
    private static PublicKey weierstrass(byte[] curve, byte[] told) throws GeneralSecurityException {
        AlgorithmParameters parameters = AlgorithmParameters.getInstance("EC");
        try {
            parameters.init(curve);
        } catch (IOException e) {
            throw new InvalidKeySpecException("the JDK does not know the curve of CKA_EC_PARAMS", e);
        }
        ECParameterSpec known = parameters.getParameterSpec(ECParameterSpec.class);
        int size = (known.getCurve().getField().getFieldSize() + 7) / 8;
        byte[] point = point(told, 1 + 2 * size);
        if (point == null || point[0] != UNCOMPRESSED) {
            throw new InvalidKeySpecException("CKA_EC_POINT is not a point with both its coordinates");
        }
        return KeyFactory.getInstance("EC").generatePublic(new ECPublicKeySpec(new ECPoint(
            new BigInteger(1, Arrays.copyOfRange(point, 1, 1 + size)),
            new BigInteger(1, Arrays.copyOfRange(point, 1 + size, point.length))), known));
    }

    /** Makes a key of what stands before its point in X.509, and the point. */
    private static PublicKey edwards(byte[] head, byte[] point) throws GeneralSecurityException {
        if (point == null) {
            throw new InvalidKeySpecException("CKA_EC_POINT is a point neither of Ed25519 nor of Ed448");
        }
        byte[] encoded = Arrays.copyOf(head, head.length + point.length);
        System.arraycopy(point, 0, encoded, head.length, point.length);
        return KeyFactory.getInstance("EdDSA").generatePublic(new X509EncodedKeySpec(encoded));
    }

    /**
     * Takes a point out of what tokens put around it: an OCTET STRING as the standard has it, nothing, or a BIT STRING.
     * The length decides, since a bare point may look like an OCTET STRING.
     *
     * @return the point; null if it has another length
     */
    private static byte[] point(byte[] told, int length) {
        int before = told.length - length;
        byte tag = before > 0 ? told[0] : 0;
        boolean fits = before == 0 || before == 2 && tag == OCTET_STRING || before == 3 && tag == OCTET_STRING
            || before == 3 && tag == BIT_STRING;
        return fits ? Arrays.copyOfRange(told, before, told.length) : null;
    }
}
