package com.kelvane.tokbridge.tool;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import java.math.BigInteger;
import java.security.GeneralSecurityException;
import java.security.KeyPairGenerator;
import java.security.SecureRandom;
import java.security.interfaces.DSAPublicKey;
import javax.crypto.KeyGenerator;
import javax.crypto.interfaces.DHPublicKey;

/** A kind of key: its type, how the token makes one, and what the JDK calls it. */
final class KeyKind {
    private static final byte[] P256 = {0x06, 0x08, 0x2a, (byte) 0x86, 0x48, (byte) 0xce, 0x3d, 0x03, 0x01, 0x07};
    private static final byte[] EDWARDS25519 = {0x06, 0x03, 0x2b, 0x65, 0x70};

    // Secret keys: bytes, and whether the token is to be told how many.
    static final KeyKind AES = secret("AES-256", CKK_AES, CKM_AES_KEY_GEN, 32, true, "AES");
    static final KeyKind DES3 = secret("DES3", CKK_DES3, CKM_DES3_KEY_GEN, 24, false, "DESede");
    static final KeyKind DES2 = secret("DES2", CKK_DES2, CKM_DES2_KEY_GEN, 16, false, null);
    static final KeyKind DES = secret("DES", CKK_DES, CKM_DES_KEY_GEN, 8, false, "DES");
    static final KeyKind GENERIC = secret("generic", CKK_GENERIC_SECRET, CKM_GENERIC_SECRET_KEY_GEN, 64, true, "Mac");
    static final KeyKind CAMELLIA = secret("Camellia-256", CKK_CAMELLIA, CKM_CAMELLIA_KEY_GEN, 32, true, null);
    static final KeyKind ARIA = secret("ARIA-256", CKK_ARIA, CKM_ARIA_KEY_GEN, 32, true, null);
    static final KeyKind SEED = secret("SEED", CKK_SEED, CKM_SEED_KEY_GEN, 16, false, null);
    static final KeyKind CHACHA20 = secret("ChaCha20", CKK_CHACHA20, CKM_CHACHA20_KEY_GEN, 32, false, "ChaCha20");
    static final KeyKind RC2 = secret("RC2", CKK_RC2, CKM_RC2_KEY_GEN, 16, true, "RC2");
    static final KeyKind RC4 = secret("RC4", CKK_RC4, CKM_RC4_KEY_GEN, 16, true, "ARCFOUR");
    static final KeyKind BLOWFISH = secret("Blowfish", CKK_BLOWFISH, CKM_BLOWFISH_KEY_GEN, 16, true, "Blowfish");

    // Key pairs: what the public key's template has.
    static final KeyKind RSA = pair("RSA-2048", CKK_RSA, CKM_RSA_PKCS_KEY_PAIR_GEN,
        CKA_MODULUS_BITS, 2048, CKA_PUBLIC_EXPONENT, BigInteger.valueOf(65537));
    static final KeyKind EC = pair("P-256", CKK_EC, CKM_EC_KEY_PAIR_GEN, CKA_EC_PARAMS, P256);
    static final KeyKind ED25519 = pair("Ed25519", CKK_EC_EDWARDS, CKM_EC_EDWARDS_KEY_PAIR_GEN,
        CKA_EC_PARAMS, EDWARDS25519);
    static final KeyKind DSA = pair("DSA-1024", CKK_DSA, CKM_DSA_KEY_PAIR_GEN, KeyKind::domainOfDsa);
    static final KeyKind DH = pair("DH-2048", CKK_DH, CKM_DH_PKCS_KEY_PAIR_GEN, KeyKind::domainOfDh);

    static final KeyKind ML_DSA = pair("ML-DSA-65", CKK_ML_DSA, CKM_ML_DSA_KEY_PAIR_GEN,
        CKA_PARAMETER_SET, CKP_ML_DSA_65);
    static final KeyKind SLH_DSA = pair("SLH-DSA-SHA2-128f", CKK_SLH_DSA, CKM_SLH_DSA_KEY_PAIR_GEN,
        CKA_PARAMETER_SET, CKP_SLH_DSA_SHA2_128F);
    static final KeyKind ML_KEM = pair("ML-KEM-768", CKK_ML_KEM, CKM_ML_KEM_KEY_PAIR_GEN,
        CKA_PARAMETER_SET, CKP_ML_KEM_768);

    static final KeyKind[] SECRET = {AES, DES3, DES2, DES, GENERIC, CAMELLIA, ARIA, SEED, CHACHA20, RC2, RC4, BLOWFISH};
    static final KeyKind[] PAIRS = {RSA, EC, ED25519, DSA, DH, ML_DSA, SLH_DSA, ML_KEM};

    /** Attributes, types and values in turn, that a key is made with. */
    interface Attributes {
        Object[] get() throws GeneralSecurityException;
    }

    final String name;
    final int type;

    /** The mechanism that makes one. */
    final int generation;

    /** How many bytes a secret key has. */
    final int bytes;

    /** The JDK's name; null if it has no such keys. */
    final String inJdk;
    private final boolean isPair;

    /** What a key that the token generates is made with: a secret one, or the public one of a pair. */
    final Attributes generated;

    private KeyKind(String name, int type, int generation, int bytes, String inJdk, boolean isPair,
        Attributes generated) {
        this.name = name;
        this.type = type;
        this.generation = generation;
        this.bytes = bytes;
        this.inJdk = inJdk;
        this.isPair = isPair;
        this.generated = generated;
    }

    private static KeyKind secret(String name, int type, int generation, int bytes, boolean sized, String inJdk) {
        return new KeyKind(name, type, generation, bytes, inJdk, false,
            () -> sized ? new Object[] {CKA_VALUE_LEN, bytes} : new Object[0]);
    }

    private static KeyKind pair(String name, int type, int generation, Attributes generated) {
        return new KeyKind(name, type, generation, 0, null, true, generated);
    }

    private static KeyKind pair(String name, int type, int generation, Object... generated) {
        return pair(name, type, generation, () -> generated);
    }

    /** The JDK's name for a cipher with such keys in a mode; null if it has no such keys. */
    String inJdk(String mode) {
        return inJdk == null ? null : inJdk + mode;
    }

    boolean isPair() {
        return isPair;
    }

    /** The value of a new secret key. */
    byte[] newValue() throws GeneralSecurityException {
        if (type == CKK_DES || type == CKK_DES3) {
            return KeyGenerator.getInstance(inJdk).generateKey().getEncoded(); // with its parity
        }
        byte[] value = new byte[bytes];
        new SecureRandom().nextBytes(value);
        return value;
    }

    private static Object[] domainOfDsa() throws GeneralSecurityException {
        KeyPairGenerator generator = KeyPairGenerator.getInstance("DSA");
        generator.initialize(1024);
        DSAPublicKey other = (DSAPublicKey) generator.generateKeyPair().getPublic();
        return new Object[] {CKA_PRIME, other.getParams().getP(), CKA_SUBPRIME, other.getParams().getQ(), CKA_BASE,
            other.getParams().getG()};
    }

    private static Object[] domainOfDh() throws GeneralSecurityException {
        KeyPairGenerator generator = KeyPairGenerator.getInstance("DH");
        generator.initialize(2048);
        DHPublicKey other = (DHPublicKey) generator.generateKeyPair().getPublic();
        return new Object[] {CKA_PRIME, other.getParams().getP(), CKA_BASE, other.getParams().getG()};
    }
}
