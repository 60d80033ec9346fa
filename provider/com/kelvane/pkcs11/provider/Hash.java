package com.kelvane.pkcs11.provider;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import java.security.spec.AlgorithmParameterSpec;
import java.security.spec.MGF1ParameterSpec;
import java.util.Arrays;

/** The hash functions, as JCA, DigestInfo and mechanism parameters have them. */
enum Hash {
    // name, length; hash mechanism, mask function; mechanisms that hash and sign with PKCS #1, PSS,
    // ECDSA, DSA; HMAC; object identifier
    MD5("MD5", 16, 0, 0, CKM_MD5_RSA_PKCS, 0,
        0, 0, CKM_MD5_HMAC, 0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 2, 5),
    SHA1("SHA-1", 20, CKM_SHA_1, CKG_MGF1_SHA1, CKM_SHA1_RSA_PKCS, CKM_SHA1_RSA_PKCS_PSS,
        CKM_ECDSA_SHA1, CKM_DSA_SHA1, CKM_SHA_1_HMAC, 0x2b, 0x0e, 3, 2, 0x1a),
    SHA224("SHA-224", 28, CKM_SHA224, CKG_MGF1_SHA224, CKM_SHA224_RSA_PKCS, CKM_SHA224_RSA_PKCS_PSS,
        CKM_ECDSA_SHA224, CKM_DSA_SHA224, CKM_SHA224_HMAC, 0x60, 0x86, 0x48, 1, 0x65, 3, 4, 2, 4),
    SHA256("SHA-256", 32, CKM_SHA256, CKG_MGF1_SHA256, CKM_SHA256_RSA_PKCS, CKM_SHA256_RSA_PKCS_PSS,
        CKM_ECDSA_SHA256, CKM_DSA_SHA256, CKM_SHA256_HMAC, 0x60, 0x86, 0x48, 1, 0x65, 3, 4, 2, 1),
    SHA384("SHA-384", 48, CKM_SHA384, CKG_MGF1_SHA384, CKM_SHA384_RSA_PKCS, CKM_SHA384_RSA_PKCS_PSS,
        CKM_ECDSA_SHA384, CKM_DSA_SHA384, CKM_SHA384_HMAC, 0x60, 0x86, 0x48, 1, 0x65, 3, 4, 2, 2),
    SHA512("SHA-512", 64, CKM_SHA512, CKG_MGF1_SHA512, CKM_SHA512_RSA_PKCS, CKM_SHA512_RSA_PKCS_PSS,
        CKM_ECDSA_SHA512, CKM_DSA_SHA512, CKM_SHA512_HMAC, 0x60, 0x86, 0x48, 1, 0x65, 3, 4, 2, 3),
    SHA512_224("SHA-512/224", 28, 0, 0, 0, 0,
        0, 0, CKM_SHA512_224_HMAC, 0x60, 0x86, 0x48, 1, 0x65, 3, 4, 2, 5),
    SHA512_256("SHA-512/256", 32, 0, 0, 0, 0,
        0, 0, CKM_SHA512_256_HMAC, 0x60, 0x86, 0x48, 1, 0x65, 3, 4, 2, 6),
    SHA3_224("SHA3-224", 28, CKM_SHA3_224, CKG_MGF1_SHA3_224, CKM_SHA3_224_RSA_PKCS, CKM_SHA3_224_RSA_PKCS_PSS,
        CKM_ECDSA_SHA3_224, CKM_DSA_SHA3_224, CKM_SHA3_224_HMAC, 0x60, 0x86, 0x48, 1, 0x65, 3, 4, 2, 7),
    SHA3_256("SHA3-256", 32, CKM_SHA3_256, CKG_MGF1_SHA3_256, CKM_SHA3_256_RSA_PKCS, CKM_SHA3_256_RSA_PKCS_PSS,
        CKM_ECDSA_SHA3_256, CKM_DSA_SHA3_256, CKM_SHA3_256_HMAC, 0x60, 0x86, 0x48, 1, 0x65, 3, 4, 2, 8),
    SHA3_384("SHA3-384", 48, CKM_SHA3_384, CKG_MGF1_SHA3_384, CKM_SHA3_384_RSA_PKCS, CKM_SHA3_384_RSA_PKCS_PSS,
        CKM_ECDSA_SHA3_384, CKM_DSA_SHA3_384, CKM_SHA3_384_HMAC, 0x60, 0x86, 0x48, 1, 0x65, 3, 4, 2, 9),
    SHA3_512("SHA3-512", 64, CKM_SHA3_512, CKG_MGF1_SHA3_512, CKM_SHA3_512_RSA_PKCS, CKM_SHA3_512_RSA_PKCS_PSS,
        CKM_ECDSA_SHA3_512, CKM_DSA_SHA3_512, CKM_SHA3_512_HMAC, 0x60, 0x86, 0x48, 1, 0x65, 3, 4, 2, 10);

    final String algorithm;

    /** The length of a hash in bytes. */
    final int length;

    /** The hash's mechanism and mask generation function; 0 where PSS and OAEP do not have it. */
    final int mechanism, maskFunction;

    /** The mechanisms that hash and sign, and that of HMAC; 0 where the standard has none. */
    final int rsa, pss, ecdsa, dsa, hmac;
    private final byte[] identifier;

    Hash(String algorithm, int length, int mechanism, int maskFunction, int rsa, int pss, int ecdsa, int dsa, int hmac,
        int... identifier) {
        this.algorithm = algorithm;
        this.length = length;
        this.mechanism = mechanism;
        this.maskFunction = maskFunction;
        this.rsa = rsa;
        this.pss = pss;
        this.ecdsa = ecdsa;
        this.dsa = dsa;
        this.hmac = hmac;
        this.identifier = new byte[identifier.length];
        for (int i = 0; i < identifier.length; i++) {
            this.identifier[i] = (byte) identifier[i];
        }
    }

    /** Returns the name with which those of signatures and MACs begin. */
    String prefix() {
        return algorithm.replace("SHA-", "SHA");
    }

    /** Returns the number of bits that the hash function takes at once. */
    int blockBits() {
        return name().startsWith("SHA3_") ? 1600 - 16 * length : ordinal() < SHA384.ordinal() ? 512 : 1024;
    }

    /** Returns the hash of a JCA name; null if PSS and OAEP do not have it. */
    static Hash forParameter(String algorithm) {
        return Arrays.stream(values()).filter(each -> each.mechanism != 0
            && (each.algorithm.equalsIgnoreCase(algorithm) || each.name().equalsIgnoreCase(algorithm)))
            .findFirst().orElse(null);
    }

    /** Returns the hash of the parameters of a mask generation function; null if PSS and OAEP do not have it. */
    static Hash ofMask(AlgorithmParameterSpec parameters) {
        return parameters instanceof MGF1ParameterSpec
            ? forParameter(((MGF1ParameterSpec) parameters).getDigestAlgorithm()) : null;
    }

    /** Returns a hash value in the DigestInfo that PKCS #1 signs. */
    byte[] digestInfo(byte[] hash) {
        return Der.encode(Der.SEQUENCE, Der.encode(Der.SEQUENCE, Der.encode(Der.OBJECT_IDENTIFIER, identifier),
            Der.encode(Der.NULL)), Der.encode(Der.OCTET_STRING, hash));
    }
}
