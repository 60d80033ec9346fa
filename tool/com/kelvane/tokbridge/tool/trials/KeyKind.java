package com.kelvane.tokbridge.tool.trials;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import com.kelvane.tokbridge.tool.token.Token;
import java.math.BigInteger;
import java.security.*;
import java.security.interfaces.*;
import javax.crypto.interfaces.DHPublicKey;
import javax.crypto.spec.SecretKeySpec;

/** A kind of key: its type, how a token generates one, and the JDK's name for a secret one. */
enum KeyKind {
    // Secret keys: their length in bytes, which the template has where the type leaves it open.
    AES("AES-256", CKK_AES, CKM_AES_KEY_GEN, 32, "AES", CKA_VALUE_LEN, 32),
    DES3("DES3", CKK_DES3, CKM_DES3_KEY_GEN, 24, "DESede"),
    DES2("DES2", CKK_DES2, CKM_DES2_KEY_GEN, 16, null),
    DES("DES", CKK_DES, CKM_DES_KEY_GEN, 8, "DES"),
    GENERIC("generic", CKK_GENERIC_SECRET, CKM_GENERIC_SECRET_KEY_GEN, 64, "Mac", CKA_VALUE_LEN, 64),
    CAMELLIA("Camellia-256", CKK_CAMELLIA, CKM_CAMELLIA_KEY_GEN, 32, null, CKA_VALUE_LEN, 32),
    ARIA("ARIA-256", CKK_ARIA, CKM_ARIA_KEY_GEN, 32, null, CKA_VALUE_LEN, 32),
    SEED("SEED", CKK_SEED, CKM_SEED_KEY_GEN, 16, null),
    CHACHA20("ChaCha20", CKK_CHACHA20, CKM_CHACHA20_KEY_GEN, 32, "ChaCha20"),
    RC2("RC2", CKK_RC2, CKM_RC2_KEY_GEN, 16, "RC2", CKA_VALUE_LEN, 16),
    RC4("RC4", CKK_RC4, CKM_RC4_KEY_GEN, 16, "ARCFOUR", CKA_VALUE_LEN, 16),
    BLOWFISH("Blowfish", CKK_BLOWFISH, CKM_BLOWFISH_KEY_GEN, 16, "Blowfish", CKA_VALUE_LEN, 16),

    // Key pairs: the template of the public key.
    RSA("RSA-2048", CKK_RSA, CKM_RSA_PKCS_KEY_PAIR_GEN, 0, null, CKA_MODULUS_BITS, 2048,
        CKA_PUBLIC_EXPONENT, BigInteger.valueOf(65537)),
    EC("P-256", CKK_EC, CKM_EC_KEY_PAIR_GEN, 0, null, CKA_EC_PARAMS, curve("06082a8648ce3d030107")),
    ED25519("Ed25519", CKK_EC_EDWARDS, CKM_EC_EDWARDS_KEY_PAIR_GEN, 0, null, CKA_EC_PARAMS, curve("06032b6570")),
    X25519("X25519", CKK_EC_MONTGOMERY, CKM_EC_MONTGOMERY_KEY_PAIR_GEN, 0, null, CKA_EC_PARAMS, curve("06032b656e")),
    DSA("DSA-1024", CKK_DSA, CKM_DSA_KEY_PAIR_GEN, 0, null, domain("DSA", 1024)),
    DH("DH-2048", CKK_DH, CKM_DH_PKCS_KEY_PAIR_GEN, 0, null, domain("DH", 2048)),
    ML_DSA("ML-DSA-65", CKK_ML_DSA, CKM_ML_DSA_KEY_PAIR_GEN, 0, null, CKA_PARAMETER_SET, CKP_ML_DSA_65),
    SLH_DSA("SLH-DSA-SHA2-128f", CKK_SLH_DSA, CKM_SLH_DSA_KEY_PAIR_GEN, 0, null,
        CKA_PARAMETER_SET, CKP_SLH_DSA_SHA2_128F),
    ML_KEM("ML-KEM-768", CKK_ML_KEM, CKM_ML_KEM_KEY_PAIR_GEN, 0, null, CKA_PARAMETER_SET, CKP_ML_KEM_768);

    final String title;
    final int type, generation;

    /** The length of a secret key; 0 for a key pair. */
    private final int bytes;

    /** The JDK's name for a secret key; null if the JDK has no such keys, and for key pairs. */
    final String algorithm;

    /** Attribute types and values in turn, for a secret key to be generated or for the public key of a pair. */
    final Object[] template;

    KeyKind(String title, int type, int generation, int bytes, String algorithm, Object... template) {
        this.title = title;
        this.type = type;
        this.generation = generation;
        this.bytes = bytes;
        this.algorithm = algorithm;
        this.template = template;
    }

    /** Returns the object identifier of a curve in DER, from its hexadecimal form. */
    private static byte[] curve(String der) {
        return new BigInteger(der, 16).toByteArray();
    }

    /** Returns the JDK's domain parameters of a size; an empty array if it lacks the algorithm. */
    private static Object[] domain(String algorithm, int bits) {
        try {
            KeyPairGenerator generator = KeyPairGenerator.getInstance(algorithm);
            generator.initialize(bits);
            PublicKey key = generator.generateKeyPair().getPublic();
            DSAParams dsa = key instanceof DSAPublicKey ? ((DSAPublicKey) key).getParams() : null;
            return dsa != null ? new Object[] {CKA_PRIME, dsa.getP(), CKA_SUBPRIME, dsa.getQ(), CKA_BASE, dsa.getG()}
                : new Object[] {CKA_PRIME, ((DHPublicKey) key).getParams().getP(),
                    CKA_BASE, ((DHPublicKey) key).getParams().getG()};
        } catch (NoSuchAlgorithmException e) {
            return new Object[0];
        }
    }

    boolean isPair() {
        return bytes == 0;
    }

    /** Returns the value of a new secret key; every byte has odd parity, as DES requires. */
    byte[] newValue() {
        byte[] value = new byte[bytes];
        new SecureRandom().nextBytes(value);
        for (int i = 0; i < bytes; i++) {
            value[i] ^= (byte) (1 - Integer.bitCount(value[i] & 0xff) % 2);
        }
        return value;
    }

    /** Creates a key on a token that is permitted a use: the token imports a secret key, or it generates the key. */
    Key create(Token token, Use use) {
        Object[] own = permission(use.attribute), open = permission(use.publicAttribute);
        if (isPair()) {
            NativePKCS11KeyPair pair = token.create(place -> token.session.generateKeyPair(generation, null,
                Template.of(template).and(open).and(place), Template.of(own).and(place)));
            return new Key(pair.getPrivate(), pair.getPublic(), Key.publicKey(pair.getPublic()));
        }
        Template permitted = Template.of(own).and(open);
        byte[] value = newValue();
        Template known = permitted.and(CKA_CLASS, CKO_SECRET_KEY, CKA_KEY_TYPE, type, CKA_VALUE, value);
        try {
            NativePKCS11Object key = token.create(place -> token.session.createObject(known.and(place)));
            return new Key(key, key, algorithm == null ? null : new SecretKeySpec(value, algorithm));
        } catch (PKCS11Exception e) {
            if (!token.mechanisms().contains(generation)) {
                throw e;
            }
            NativePKCS11Object key = token.create(place -> token.session.generateKey(generation, null,
                permitted.and(template).and(place)));
            return new Key(key, key, null);
        }
    }

    private static Object[] permission(int attribute) {
        return attribute == 0 ? new Object[0] : new Object[] {attribute, true};
    }
}
