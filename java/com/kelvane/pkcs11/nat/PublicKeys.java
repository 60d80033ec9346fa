package com.kelvane.pkcs11.nat;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Exception;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.math.BigInteger;
import java.nio.charset.StandardCharsets;
import java.security.AlgorithmParameters;
import java.security.GeneralSecurityException;
import java.security.KeyFactory;
import java.security.PublicKey;
import java.security.spec.DSAPublicKeySpec;
import java.security.spec.ECParameterSpec;
import java.security.spec.ECPoint;
import java.security.spec.ECPublicKeySpec;
import java.security.spec.InvalidKeySpecException;
import java.security.spec.RSAPublicKeySpec;
import java.security.spec.X509EncodedKeySpec;
import java.util.Arrays;
import java.util.List;
import javax.crypto.spec.DHPublicKeySpec;

/** Conversion of public keys on a token to those of the JDK. */
final class PublicKeys {
    /** Tags of DER; the first byte of an uncompressed point is the tag of an OCTET STRING. */
    private static final byte OCTET_STRING = 4, BIT_STRING = 3, OBJECT_IDENTIFIER = 6, SEQUENCE = 0x30;
    private static final byte UNCOMPRESSED = 4;

    /**
     * Keys that X.509 holds as bare bytes. Tokens name curves in several ways, so they are distinguished by their
     * length.
     */
    private enum Encoded {
        ED25519(CKK_EC_EDWARDS, "EdDSA", 32, 0x2b, 0x65, 0x70),
        ED448(CKK_EC_EDWARDS, "EdDSA", 57, 0x2b, 0x65, 0x71),
        X25519(CKK_EC_MONTGOMERY, "XDH", 32, 0x2b, 0x65, 0x6e),
        X448(CKK_EC_MONTGOMERY, "XDH", 56, 0x2b, 0x65, 0x6f),
        ML_DSA_44(CKK_ML_DSA, "ML-DSA", 1312, 0x60, 0x86, 0x48, 1, 0x65, 3, 4, 3, 0x11),
        ML_DSA_65(CKK_ML_DSA, "ML-DSA", 1952, 0x60, 0x86, 0x48, 1, 0x65, 3, 4, 3, 0x12),
        ML_DSA_87(CKK_ML_DSA, "ML-DSA", 2592, 0x60, 0x86, 0x48, 1, 0x65, 3, 4, 3, 0x13),
        ML_KEM_512(CKK_ML_KEM, "ML-KEM", 800, 0x60, 0x86, 0x48, 1, 0x65, 3, 4, 4, 1),
        ML_KEM_768(CKK_ML_KEM, "ML-KEM", 1184, 0x60, 0x86, 0x48, 1, 0x65, 3, 4, 4, 2),
        ML_KEM_1024(CKK_ML_KEM, "ML-KEM", 1568, 0x60, 0x86, 0x48, 1, 0x65, 3, 4, 4, 3);

        final int keyType;
        final String algorithm;
        final int length;
        final byte[] identifier;

        Encoded(int keyType, String algorithm, int length, int... identifier) {
            this.keyType = keyType;
            this.algorithm = algorithm;
            this.length = length;
            this.identifier = new byte[identifier.length];
            for (int i = 0; i < identifier.length; i++) {
                this.identifier[i] = (byte) identifier[i];
            }
        }
    }

    /**
     * CKA_EC_PARAMS of X25519 and X448, by identifier and by name. The keys of SoftHSM2 have the type CKK_EC_EDWARDS.
     */
    private static final List<String> MONTGOMERY = List.of("+en", "+eo", "curve25519", "curve448");

    private PublicKeys() {
    }

    /** Returns the public key that an object's attributes contain, as {@link NativePKCS11Object#toPublicKey} does. */
    static PublicKey of(NativePKCS11Object key) throws GeneralSecurityException {
        int type = key.getIntAttributeValue(CKA_KEY_TYPE);
        if (type == CKK_EC_EDWARDS && isMontgomery(key.readAttributes(CKA_EC_PARAMS).getBytes(CKA_EC_PARAMS))) {
            type = CKK_EC_MONTGOMERY;
        }
        switch (type) {
        case CKK_RSA:
            return KeyFactory.getInstance("RSA").generatePublic(new RSAPublicKeySpec(
                key.getBigIntegerAttributeValue(CKA_MODULUS), key.getBigIntegerAttributeValue(CKA_PUBLIC_EXPONENT)));
        case CKK_EC:
            return weierstrass(key.getByteArrayAttributeValue(CKA_EC_PARAMS),
                key.getByteArrayAttributeValue(CKA_EC_POINT));
        case CKK_DSA:
            return KeyFactory.getInstance("DSA").generatePublic(new DSAPublicKeySpec(new BigInteger(1, value(key)),
                key.getBigIntegerAttributeValue(CKA_PRIME), key.getBigIntegerAttributeValue(CKA_SUBPRIME),
                key.getBigIntegerAttributeValue(CKA_BASE)));
        case CKK_DH:
            return KeyFactory.getInstance("DH").generatePublic(new DHPublicKeySpec(new BigInteger(1, value(key)),
                key.getBigIntegerAttributeValue(CKA_PRIME), key.getBigIntegerAttributeValue(CKA_BASE)));
        default:
            return encoded(key, type);
        }
    }

    private static boolean isMontgomery(byte[] curve) {
        return curve != null && curve.length > 2
            && MONTGOMERY.contains(new String(curve, 2, curve.length - 2, StandardCharsets.US_ASCII));
    }

    /** Returns a public key's value. The same attribute of a private key is its secret. */
    private static byte[] value(NativePKCS11Object key) {
        if (key.getIntAttributeValue(CKA_CLASS) != CKO_PUBLIC_KEY) {
            throw new PKCS11Exception(CKR_ATTRIBUTE_TYPE_INVALID);
        }
        return key.getByteArrayAttributeValue(CKA_VALUE);
    }

    /** Converts a key on a curve that the JDK knows. */
    private static PublicKey weierstrass(byte[] curve, byte[] point) throws GeneralSecurityException {
        AlgorithmParameters parameters = AlgorithmParameters.getInstance("EC");
        try {
            parameters.init(curve);
        } catch (IOException e) {
            throw new InvalidKeySpecException("the JDK does not know the curve of CKA_EC_PARAMS", e);
        }
        ECParameterSpec known = parameters.getParameterSpec(ECParameterSpec.class);
        int size = (known.getCurve().getField().getFieldSize() + 7) / 8;
        byte[] bare = bare(point, 1 + 2 * size);
        if (bare == null || bare[0] != UNCOMPRESSED) {
            throw new InvalidKeySpecException("CKA_EC_POINT is not an uncompressed point of the curve");
        }
        return KeyFactory.getInstance("EC").generatePublic(new ECPublicKeySpec(new ECPoint(
            new BigInteger(1, Arrays.copyOfRange(bare, 1, 1 + size)),
            new BigInteger(1, Arrays.copyOfRange(bare, 1 + size, bare.length))), known));
    }

    private static PublicKey encoded(NativePKCS11Object key, int type) throws GeneralSecurityException {
        boolean isCurve = type == CKK_EC_EDWARDS || type == CKK_EC_MONTGOMERY;
        byte[] value = null;
        for (Encoded each : Encoded.values()) {
            if (each.keyType == type) {
                value = value != null ? value : isCurve ? key.getByteArrayAttributeValue(CKA_EC_POINT) : value(key);
                byte[] bare = bare(value, each.length);
                if (bare != null) {
                    byte[] algorithm = der(SEQUENCE, der(OBJECT_IDENTIFIER, each.identifier));
                    byte[] info = der(SEQUENCE, algorithm, der(BIT_STRING, new byte[1], bare));
                    return KeyFactory.getInstance(each.algorithm).generatePublic(new X509EncodedKeySpec(info));
                }
            }
        }
        throw new InvalidKeySpecException(value == null ? nameOf("CKK_", type) + " has no public key that the JDK knows"
            : value.length + " bytes are no public key of type " + nameOf("CKK_", type));
    }

    /**
     * Removes what tokens put around a key's bytes: an OCTET STRING, as the standard requires for points, a BIT STRING,
     * or nothing. The length decides, since a bare point may begin like an OCTET STRING.
     *
     * @return the bytes; null if they have another length
     */
    private static byte[] bare(byte[] value, int length) {
        int before = value.length - length;
        byte tag = before > 0 ? value[0] : 0;
        boolean fits = before == 0 || (before == 2 || before == 3) && tag == OCTET_STRING
            || before == 3 && tag == BIT_STRING;
        return fits ? Arrays.copyOfRange(value, before, value.length) : null;
    }

    /** Encodes a value in DER, of at most 65,535 bytes. */
    private static byte[] der(byte tag, byte[]... parts) {
        int length = Arrays.stream(parts).mapToInt(part -> part.length).sum();
        ByteArrayOutputStream encoded = new ByteArrayOutputStream();
        encoded.write(tag);
        if (length > 0xff) {
            encoded.write(0x82);
            encoded.write(length >> 8);
        } else if (length > 0x7f) {
            encoded.write(0x81);
        }
        encoded.write(length);
        Arrays.stream(parts).forEach(part -> encoded.write(part, 0, part.length));
        return encoded.toByteArray();
    }
}
