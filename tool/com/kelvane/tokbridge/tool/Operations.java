package com.kelvane.tokbridge.tool;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.CK_AES_CBC_ENCRYPT_DATA_PARAMS;
import com.kelvane.pkcs11.CK_AES_CTR_PARAMS;
import com.kelvane.pkcs11.CK_CCM_PARAMS;
import com.kelvane.pkcs11.CK_CHACHA20_PARAMS;
import com.kelvane.pkcs11.CK_DES_CBC_ENCRYPT_DATA_PARAMS;
import com.kelvane.pkcs11.CK_GCM_PARAMS;
import com.kelvane.pkcs11.CK_HKDF_PARAMS;
import com.kelvane.pkcs11.CK_KEY_DERIVATION_STRING_DATA;
import com.kelvane.pkcs11.CK_PRF_DATA_PARAM;
import com.kelvane.pkcs11.CK_RSA_AES_KEY_WRAP_PARAMS;
import com.kelvane.pkcs11.CK_RSA_PKCS_OAEP_PARAMS;
import com.kelvane.pkcs11.CK_RSA_PKCS_PSS_PARAMS;
import com.kelvane.pkcs11.CK_SALSA20_CHACHA20_POLY1305_PARAMS;
import com.kelvane.pkcs11.CK_SIGN_ADDITIONAL_CONTEXT;
import com.kelvane.pkcs11.CK_SP800_108_COUNTER_FORMAT;
import com.kelvane.pkcs11.CK_SP800_108_KDF_PARAMS;
import com.kelvane.pkcs11.PKCS11MechPar_RC2;
import com.kelvane.pkcs11.PKCS11MechPar_RC2_CBC;
import com.kelvane.pkcs11.PKCS11MechPar_RC2_GENMAC;
import com.kelvane.tokbridge.tool.Operation.Use;
import java.nio.charset.StandardCharsets;
import java.security.GeneralSecurityException;
import java.security.MessageDigest;
import java.security.SecureRandom;
import java.security.spec.AlgorithmParameterSpec;
import java.security.spec.MGF1ParameterSpec;
import java.security.spec.PSSParameterSpec;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import javax.crypto.Cipher;
import javax.crypto.Mac;
import javax.crypto.spec.ChaCha20ParameterSpec;
import javax.crypto.spec.GCMParameterSpec;
import javax.crypto.spec.IvParameterSpec;
import javax.crypto.spec.OAEPParameterSpec;
import javax.crypto.spec.PSource;
import javax.crypto.spec.SecretKeySpec;

/**
 * The table of operations: mechanism, use, kind of key, parameter, and what the JDK calls it. Those of a use that are
 * tried first with a key stand first.
 */
final class Operations {
    /** Where a family has no such mechanism: no token offers one of this number. */
    private static final int NONE = CK_UNAVAILABLE_INFORMATION;

    /** Fresh in each run, because the keys that are tried may be in use elsewhere. */
    private static final byte[] IV = new byte[16];
    static {
        new SecureRandom().nextBytes(IV);
    }
    private static final byte[] IV8 = Arrays.copyOf(IV, 8);
    private static final byte[] NONCE = Arrays.copyOf(IV, 12);
    static final byte[] MESSAGE = "A message that tokbridge signs, hides and shows to see if a key works."
        .getBytes(StandardCharsets.US_ASCII);
    private static final byte[] BLOCKS = Arrays.copyOf(MESSAGE, 48);
    static final byte[] HEADER = Arrays.copyOf(MESSAGE, 9);
    private static final int TAG_BITS = 128;
    private static final CK_SIGN_ADDITIONAL_CONTEXT CONTEXT =
        new CK_SIGN_ADDITIONAL_CONTEXT(CKH_HEDGE_PREFERRED, HEADER);
    private static final CK_RSA_PKCS_OAEP_PARAMS OAEP = new CK_RSA_PKCS_OAEP_PARAMS(CKM_SHA_1, CKG_MGF1_SHA1, null);

    private static final OAEPParameterSpec OAEP_IN_JDK = new OAEPParameterSpec("SHA-1", "MGF1", MGF1ParameterSpec.SHA1,
        PSource.PSpecified.DEFAULT);

    /** SHA-256 and 32 bytes, as DER has them in front of a hash that is signed. */
    private static final byte[] DIGEST_INFO = {0x30, 0x31, 0x30, 0x0d, 0x06, 0x09, 0x60, (byte) 0x86, 0x48, 0x01, 0x65,
        0x03, 0x04, 0x02, 0x01, 0x05, 0x00, 0x04, 0x20};

    /** How long the MACs of a chosen length are made, in bytes. */
    private static final int SHORT_MAC = 4;

    /** The parameter that is the key itself. */
    static final Object THE_KEY = new Object();

    static final List<Operation> ALL = new ArrayList<>();

    private Operations() {
    }

    static {
        for (KeyKind kind : KeyKind.SECRET) {
            add(Use.KEY, kind.generation, kind, null);
        }
        for (KeyKind kind : KeyKind.PAIRS) {
            add(Use.PAIR, kind.generation, kind, null);
        }
        add(Use.DOMAIN, CKM_DSA_PARAMETER_GEN, null, null);
        add(Use.DOMAIN, CKM_DH_PKCS_PARAMETER_GEN, null, null);

        hash("SHA-256", 32, CKM_SHA256, CKM_SHA256_HMAC, CKM_SHA256_HMAC_GENERAL, CKM_SHA256_RSA_PKCS,
            CKM_SHA256_RSA_PKCS_PSS, CKG_MGF1_SHA256, CKM_ECDSA_SHA256, CKM_DSA_SHA256, CKM_SHA256_KEY_DERIVATION);
        hash("SHA-1", 20, CKM_SHA_1, CKM_SHA_1_HMAC, CKM_SHA_1_HMAC_GENERAL, CKM_SHA1_RSA_PKCS, CKM_SHA1_RSA_PKCS_PSS,
            CKG_MGF1_SHA1, CKM_ECDSA_SHA1, CKM_DSA_SHA1, CKM_SHA1_KEY_DERIVATION);
        hash("SHA-224", 28, CKM_SHA224, CKM_SHA224_HMAC, CKM_SHA224_HMAC_GENERAL, CKM_SHA224_RSA_PKCS,
            CKM_SHA224_RSA_PKCS_PSS, CKG_MGF1_SHA224, CKM_ECDSA_SHA224, CKM_DSA_SHA224, CKM_SHA224_KEY_DERIVATION);
        hash("SHA-384", 48, CKM_SHA384, CKM_SHA384_HMAC, CKM_SHA384_HMAC_GENERAL, CKM_SHA384_RSA_PKCS,
            CKM_SHA384_RSA_PKCS_PSS, CKG_MGF1_SHA384, CKM_ECDSA_SHA384, CKM_DSA_SHA384, CKM_SHA384_KEY_DERIVATION);
        hash("SHA-512", 64, CKM_SHA512, CKM_SHA512_HMAC, CKM_SHA512_HMAC_GENERAL, CKM_SHA512_RSA_PKCS,
            CKM_SHA512_RSA_PKCS_PSS, CKG_MGF1_SHA512, CKM_ECDSA_SHA512, CKM_DSA_SHA512, CKM_SHA512_KEY_DERIVATION);
        hash("SHA-512/224", 28, CKM_SHA512_224, CKM_SHA512_224_HMAC, CKM_SHA512_224_HMAC_GENERAL, NONE, NONE, NONE,
            NONE, NONE, CKM_SHA512_224_KEY_DERIVATION);
        hash("SHA-512/256", 32, CKM_SHA512_256, CKM_SHA512_256_HMAC, CKM_SHA512_256_HMAC_GENERAL, NONE, NONE, NONE,
            NONE, NONE, CKM_SHA512_256_KEY_DERIVATION);
        hash("SHA3-224", 28, CKM_SHA3_224, CKM_SHA3_224_HMAC, CKM_SHA3_224_HMAC_GENERAL, CKM_SHA3_224_RSA_PKCS,
            CKM_SHA3_224_RSA_PKCS_PSS, CKG_MGF1_SHA3_224, CKM_ECDSA_SHA3_224, CKM_DSA_SHA3_224,
            CKM_SHA3_224_KEY_DERIVATION);
        hash("SHA3-256", 32, CKM_SHA3_256, CKM_SHA3_256_HMAC, CKM_SHA3_256_HMAC_GENERAL, CKM_SHA3_256_RSA_PKCS,
            CKM_SHA3_256_RSA_PKCS_PSS, CKG_MGF1_SHA3_256, CKM_ECDSA_SHA3_256, CKM_DSA_SHA3_256,
            CKM_SHA3_256_KEY_DERIVATION);
        hash("SHA3-384", 48, CKM_SHA3_384, CKM_SHA3_384_HMAC, CKM_SHA3_384_HMAC_GENERAL, CKM_SHA3_384_RSA_PKCS,
            CKM_SHA3_384_RSA_PKCS_PSS, CKG_MGF1_SHA3_384, CKM_ECDSA_SHA3_384, CKM_DSA_SHA3_384,
            CKM_SHA3_384_KEY_DERIVATION);
        hash("SHA3-512", 64, CKM_SHA3_512, CKM_SHA3_512_HMAC, CKM_SHA3_512_HMAC_GENERAL, CKM_SHA3_512_RSA_PKCS,
            CKM_SHA3_512_RSA_PKCS_PSS, CKG_MGF1_SHA3_512, CKM_ECDSA_SHA3_512, CKM_DSA_SHA3_512,
            CKM_SHA3_512_KEY_DERIVATION);
        hash("MD5", 16, CKM_MD5, CKM_MD5_HMAC, CKM_MD5_HMAC_GENERAL, CKM_MD5_RSA_PKCS, NONE, NONE, NONE, NONE,
            CKM_MD5_KEY_DERIVATION);
        hash("MD2", 16, CKM_MD2, CKM_MD2_HMAC, CKM_MD2_HMAC_GENERAL, CKM_MD2_RSA_PKCS, NONE, NONE, NONE, NONE,
            CKM_MD2_KEY_DERIVATION);
        hash("RIPEMD160", 20, CKM_RIPEMD160, CKM_RIPEMD160_HMAC, CKM_RIPEMD160_HMAC_GENERAL, CKM_RIPEMD160_RSA_PKCS,
            NONE, NONE, NONE, NONE, NONE);

        block(KeyKind.AES, IV, CKM_AES_ECB, CKM_AES_CBC, CKM_AES_CBC_PAD, CKM_AES_MAC, CKM_AES_MAC_GENERAL,
            CKM_AES_ECB_ENCRYPT_DATA, CKM_AES_CBC_ENCRYPT_DATA);
        add(Use.CIPHER, CKM_AES_CTR, KeyKind.AES, new CK_AES_CTR_PARAMS(128, IV)).as("AES/CTR/NoPadding", iv(IV));
        add(Use.CIPHER, CKM_AES_GCM, KeyKind.AES, new CK_GCM_PARAMS(NONCE, HEADER, TAG_BITS))
            .as("AES/GCM/NoPadding", new GCMParameterSpec(TAG_BITS, NONCE)).authenticated();
        add(Use.CIPHER, CKM_AES_CCM, KeyKind.AES, new CK_CCM_PARAMS(MESSAGE.length, NONCE, HEADER, TAG_BITS / 8))
            .authenticated();
        add(Use.CIPHER, CKM_AES_CTS, KeyKind.AES, IV);
        add(Use.CIPHER, CKM_AES_OFB, KeyKind.AES, IV).as("AES/OFB/NoPadding", iv(IV));
        add(Use.CIPHER, CKM_AES_CFB128, KeyKind.AES, IV).as("AES/CFB128/NoPadding", iv(IV));
        add(Use.CIPHER, CKM_AES_CFB64, KeyKind.AES, IV).as("AES/CFB64/NoPadding", iv(IV));
        add(Use.CIPHER, CKM_AES_CFB8, KeyKind.AES, IV).as("AES/CFB8/NoPadding", iv(IV));
        add(Use.CIPHER, CKM_AES_CFB1, KeyKind.AES, IV);
        add(Use.MAC, CKM_AES_CMAC, KeyKind.AES, null);
        add(Use.MAC, CKM_AES_CMAC_GENERAL, KeyKind.AES, SHORT_MAC);
        add(Use.MAC, CKM_AES_GMAC, KeyKind.AES, NONCE);
        add(Use.MAC, CKM_AES_XCBC_MAC, KeyKind.AES, null);
        add(Use.MAC, CKM_AES_XCBC_MAC_96, KeyKind.AES, null);
        add(Use.WRAP, CKM_AES_KEY_WRAP, KeyKind.AES, null).as("AESWrap", null);
        add(Use.WRAP, CKM_AES_KEY_WRAP_PAD, KeyKind.AES, null); // each module pads in its own way
        add(Use.WRAP, CKM_AES_KEY_WRAP_KWP, KeyKind.AES, null).as("AES/KWP/NoPadding", null);
        block(KeyKind.DES3, IV8, CKM_DES3_ECB, CKM_DES3_CBC, CKM_DES3_CBC_PAD, CKM_DES3_MAC, CKM_DES3_MAC_GENERAL,
            CKM_DES3_ECB_ENCRYPT_DATA, CKM_DES3_CBC_ENCRYPT_DATA);
        add(Use.MAC, CKM_DES3_CMAC, KeyKind.DES3, null);
        add(Use.MAC, CKM_DES3_CMAC_GENERAL, KeyKind.DES3, SHORT_MAC);
        block(KeyKind.DES, IV8, CKM_DES_ECB, CKM_DES_CBC, CKM_DES_CBC_PAD, CKM_DES_MAC, CKM_DES_MAC_GENERAL,
            CKM_DES_ECB_ENCRYPT_DATA, CKM_DES_CBC_ENCRYPT_DATA);
        add(Use.CIPHER, CKM_DES_OFB64, KeyKind.DES, IV8).as("DES/OFB/NoPadding", iv(IV8));
        add(Use.CIPHER, CKM_DES_CFB64, KeyKind.DES, IV8).as("DES/CFB64/NoPadding", iv(IV8));
        add(Use.CIPHER, CKM_DES_CFB8, KeyKind.DES, IV8).as("DES/CFB8/NoPadding", iv(IV8));
        block(KeyKind.CAMELLIA, IV, CKM_CAMELLIA_ECB, CKM_CAMELLIA_CBC, CKM_CAMELLIA_CBC_PAD, CKM_CAMELLIA_MAC,
            CKM_CAMELLIA_MAC_GENERAL, CKM_CAMELLIA_ECB_ENCRYPT_DATA, CKM_CAMELLIA_CBC_ENCRYPT_DATA);
        add(Use.CIPHER, CKM_CAMELLIA_CTR, KeyKind.CAMELLIA, new CK_AES_CTR_PARAMS(128, IV));
        block(KeyKind.ARIA, IV, CKM_ARIA_ECB, CKM_ARIA_CBC, CKM_ARIA_CBC_PAD, CKM_ARIA_MAC, CKM_ARIA_MAC_GENERAL,
            CKM_ARIA_ECB_ENCRYPT_DATA, CKM_ARIA_CBC_ENCRYPT_DATA);
        block(KeyKind.SEED, IV, CKM_SEED_ECB, CKM_SEED_CBC, CKM_SEED_CBC_PAD, CKM_SEED_MAC, CKM_SEED_MAC_GENERAL,
            CKM_SEED_ECB_ENCRYPT_DATA, CKM_SEED_CBC_ENCRYPT_DATA);
        block(KeyKind.BLOWFISH, IV8, NONE, CKM_BLOWFISH_CBC, CKM_BLOWFISH_CBC_PAD, NONE, NONE, NONE, NONE);
        add(Use.CIPHER, CKM_RC2_ECB, KeyKind.RC2, new PKCS11MechPar_RC2(128)).of(Operations::blocks);
        add(Use.CIPHER, CKM_RC2_CBC, KeyKind.RC2, new PKCS11MechPar_RC2_CBC(128, IV8)).of(Operations::blocks);
        add(Use.CIPHER, CKM_RC2_CBC_PAD, KeyKind.RC2, new PKCS11MechPar_RC2_CBC(128, IV8))
            .as("RC2/CBC/PKCS5Padding", iv(IV8));
        add(Use.MAC, CKM_RC2_MAC, KeyKind.RC2, new PKCS11MechPar_RC2(128));
        add(Use.MAC, CKM_RC2_MAC_GENERAL, KeyKind.RC2, new PKCS11MechPar_RC2_GENMAC(128, SHORT_MAC));
        add(Use.CIPHER, CKM_RC4, KeyKind.RC4, null).as("ARCFOUR", null);
        add(Use.CIPHER, CKM_CHACHA20_POLY1305, KeyKind.CHACHA20, new CK_SALSA20_CHACHA20_POLY1305_PARAMS(NONCE, HEADER))
            .as("ChaCha20-Poly1305", iv(NONCE)).authenticated();
        add(Use.CIPHER, CKM_CHACHA20, KeyKind.CHACHA20, new CK_CHACHA20_PARAMS(new byte[] {1, 0, 0, 0}, NONCE))
            .as("ChaCha20", new ChaCha20ParameterSpec(NONCE, 1));
        add(Use.MAC, CKM_SSL3_MD5_MAC, KeyKind.GENERIC, SHORT_MAC);
        add(Use.MAC, CKM_SSL3_SHA1_MAC, KeyKind.GENERIC, SHORT_MAC);

        add(Use.SIGNATURE, CKM_RSA_PKCS, KeyKind.RSA, null).of((message, key) -> digestInfo(message))
            .as("SHA256withRSA", null);
        add(Use.SIGNATURE, CKM_RSA_X_509, KeyKind.RSA, null)
            .of((message, key) -> padded(digestInfo(message), key, 0xff)).as("SHA256withRSA", null);
        add(Use.SIGNATURE, CKM_RSA_PKCS_PSS, KeyKind.RSA, new CK_RSA_PKCS_PSS_PARAMS(CKM_SHA256, CKG_MGF1_SHA256, 32))
            .of((message, key) -> sha256(message)).as("RSASSA-PSS", pss("SHA-256", 32));
        for (Use use : new Use[] {Use.DECRYPTION, Use.ENCRYPTION}) {
            add(use, CKM_RSA_PKCS_OAEP, KeyKind.RSA, OAEP).as("RSA/ECB/OAEPPadding", OAEP_IN_JDK);
            add(use, CKM_RSA_PKCS, KeyKind.RSA, null).as("RSA/ECB/PKCS1Padding", null);
            add(use, CKM_RSA_X_509, KeyKind.RSA, null).of((message, key) -> padded(message, key, 0))
                .as("RSA/ECB/NoPadding", null);
        }
        add(Use.WRAP, CKM_RSA_PKCS_OAEP, KeyKind.RSA, OAEP).as("RSA/ECB/OAEPPadding", OAEP_IN_JDK);
        add(Use.WRAP, CKM_RSA_PKCS, KeyKind.RSA, null).as("RSA/ECB/PKCS1Padding", null);
        add(Use.WRAP, CKM_RSA_AES_KEY_WRAP, KeyKind.RSA, new CK_RSA_AES_KEY_WRAP_PARAMS(256, OAEP));
        add(Use.SIGNATURE, CKM_ECDSA, KeyKind.EC, null).of((message, key) -> sha256(message))
            .as("SHA256withECDSAinP1363Format", null);
        add(Use.SIGNATURE, CKM_EDDSA, KeyKind.ED25519, null).as("EdDSA", null);
        add(Use.SIGNATURE, CKM_DSA, KeyKind.DSA, null)
            .of((message, key) -> MessageDigest.getInstance("SHA-1").digest(message))
            .as("SHA1withDSAinP1363Format", null);
        add(Use.SIGNATURE, CKM_ML_DSA, KeyKind.ML_DSA, null).as("ML-DSA", null);
        add(Use.SIGNATURE, CKM_ML_DSA, KeyKind.ML_DSA, CONTEXT);
        add(Use.SIGNATURE, CKM_SLH_DSA, KeyKind.SLH_DSA, null);
        add(Use.SIGNATURE, CKM_SLH_DSA, KeyKind.SLH_DSA, CONTEXT);

        add(Use.AGREEMENT, CKM_ECDH1_DERIVE, KeyKind.EC, null).as("ECDH", null);
        add(Use.AGREEMENT, CKM_ECDH1_COFACTOR_DERIVE, KeyKind.EC, null).as("ECDH", null);
        add(Use.AGREEMENT, CKM_DH_PKCS_DERIVE, KeyKind.DH, null).as("DiffieHellman", null);
        add(Use.DERIVATION, CKM_CONCATENATE_BASE_AND_KEY, KeyKind.GENERIC, THE_KEY).giving(base -> {
            byte[] twice = Arrays.copyOf(base, 2 * base.length);
            System.arraycopy(base, 0, twice, base.length, base.length);
            return twice;
        });
        add(Use.DERIVATION, CKM_EXTRACT_KEY_FROM_KEY, KeyKind.GENERIC, 8)
            .giving(base -> Arrays.copyOfRange(base, 1, 17));
        add(Use.DERIVATION, CKM_HKDF_DERIVE, KeyKind.GENERIC,
            new CK_HKDF_PARAMS(true, true, CKM_SHA256, CKF_HKDF_SALT_DATA, IV, null, HEADER)).giving(Operations::hkdf);
        add(Use.DERIVATION, CKM_SP800_108_COUNTER_KDF, KeyKind.GENERIC, new CK_SP800_108_KDF_PARAMS(CKM_SHA256_HMAC,
            new CK_PRF_DATA_PARAM[] {
                new CK_PRF_DATA_PARAM(CK_SP800_108_ITERATION_VARIABLE, new CK_SP800_108_COUNTER_FORMAT(false, 32)),
                new CK_PRF_DATA_PARAM(CK_SP800_108_BYTE_ARRAY, HEADER)}, null)).giving(Operations::firstOfCounter);
    }

    private static Operation add(Use use, int mechanism, KeyKind kind, Object parameter) {
        Operation added = new Operation(use, mechanism, kind, parameter);
        if (mechanism != NONE) {
            ALL.add(added);
        }
        return added;
    }

    /** What there is with a hash function, by the JDK's name for it and its length in bytes. */
    private static void hash(String name, int bytes, int digest, int hmac, int general, int rsa, int pss, int mask,
        int ecdsa, int dsa, int derivation) {
        String joined = name.startsWith("SHA-") ? "SHA" + name.substring(4) : name;
        add(Use.DIGEST, digest, null, null).as(name, null);
        add(Use.MAC, hmac, KeyKind.GENERIC, null).as("Hmac" + joined, null);
        add(Use.MAC, general, KeyKind.GENERIC, SHORT_MAC).as("Hmac" + joined, null);
        add(Use.SIGNATURE, rsa, KeyKind.RSA, null).as(joined + "withRSA", null);
        add(Use.SIGNATURE, pss, KeyKind.RSA, new CK_RSA_PKCS_PSS_PARAMS(digest, mask, bytes))
            .as("RSASSA-PSS", pss(name, bytes));
        add(Use.SIGNATURE, ecdsa, KeyKind.EC, null).as(joined + "withECDSAinP1363Format", null);
        add(Use.SIGNATURE, dsa, KeyKind.DSA, null).as(joined + "withDSAinP1363Format", null);
        add(Use.DERIVATION, derivation, KeyKind.GENERIC, null)
            .giving(base -> MessageDigest.getInstance(name).digest(base));
    }

    /** What there is with a block cipher. */
    private static void block(KeyKind kind, byte[] iv, int ecb, int cbc, int pad, int mac, int general, int deriveEcb,
        int deriveCbc) {
        Object cbcData = iv.length == 16 ? new CK_AES_CBC_ENCRYPT_DATA_PARAMS(iv, BLOCKS)
            : new CK_DES_CBC_ENCRYPT_DATA_PARAMS(iv, BLOCKS);
        add(Use.CIPHER, pad, kind, iv).as(kind.inJdk("/CBC/PKCS5Padding"), iv(iv));
        add(Use.CIPHER, cbc, kind, iv).of(Operations::blocks).as(kind.inJdk("/CBC/NoPadding"), iv(iv));
        add(Use.CIPHER, ecb, kind, null).of(Operations::blocks).as(kind.inJdk("/ECB/NoPadding"), null);
        add(Use.MAC, mac, kind, null);
        add(Use.MAC, general, kind, SHORT_MAC);
        add(Use.WRAP, pad, kind, iv).as(kind.inJdk("/CBC/PKCS5Padding"), iv(iv));
        add(Use.WRAP, cbc, kind, iv).as(kind.inJdk("/CBC/NoPadding"), iv(iv));
        add(Use.WRAP, ecb, kind, null).as(kind.inJdk("/ECB/NoPadding"), null);
        add(Use.DERIVATION, deriveEcb, kind, new CK_KEY_DERIVATION_STRING_DATA(BLOCKS))
            .giving(base -> encrypted(kind, base, "/ECB/NoPadding", null));
        add(Use.DERIVATION, deriveCbc, kind, cbcData)
            .giving(base -> encrypted(kind, base, "/CBC/NoPadding", iv(iv)));
    }

    private static byte[] encrypted(KeyKind kind, byte[] key, String mode, AlgorithmParameterSpec parameter)
        throws GeneralSecurityException {
        Cipher cipher = Cipher.getInstance("" + kind.inJdk(mode));
        cipher.init(Cipher.ENCRYPT_MODE, new SecretKeySpec(key, kind.inJdk), parameter);
        return cipher.doFinal(BLOCKS);
    }

    private static byte[] hkdf(byte[] base) throws GeneralSecurityException {
        Mac mac = Mac.getInstance("HmacSHA256");
        mac.init(new SecretKeySpec(IV, "Mac"));
        mac.init(new SecretKeySpec(mac.doFinal(base), "Mac"));
        mac.update(HEADER);
        return mac.doFinal(new byte[] {1});
    }

    /** The first block of SP 800-108 with a counter: of 32 bits, in front of the data. */
    private static byte[] firstOfCounter(byte[] base) throws GeneralSecurityException {
        Mac mac = Mac.getInstance("HmacSHA256");
        mac.init(new SecretKeySpec(base, "Mac"));
        mac.update(new byte[] {0, 0, 0, 1});
        return mac.doFinal(HEADER);
    }

    private static IvParameterSpec iv(byte[] bytes) {
        return new IvParameterSpec(bytes);
    }

    private static PSSParameterSpec pss(String hash, int saltBytes) {
        return new PSSParameterSpec(hash, "MGF1", new MGF1ParameterSpec(hash), saltBytes, 1);
    }

    private static byte[] blocks(byte[] message, Key key) {
        return Arrays.copyOf(message, 48);
    }

    private static byte[] sha256(byte[] message) throws GeneralSecurityException {
        return MessageDigest.getInstance("SHA-256").digest(message);
    }

    private static byte[] digestInfo(byte[] message) throws GeneralSecurityException {
        byte[] info = Arrays.copyOf(DIGEST_INFO, DIGEST_INFO.length + 32);
        System.arraycopy(sha256(message), 0, info, DIGEST_INFO.length, 32);
        return info;
    }

    /** A block as long as an RSA key's modulus: for a signature as PKCS #1 v1.5 has it, else filled up with zeros. */
    private static byte[] padded(byte[] data, Key key, int filler) throws Report.NotTried {
        byte[] block = new byte[key.modulusBytes()];
        int start = block.length - data.length;
        if (filler != 0) {
            Arrays.fill(block, 2, start - 1, (byte) filler);
            block[1] = 1;
        }
        System.arraycopy(data, 0, block, start, data.length);
        return block;
    }
}
