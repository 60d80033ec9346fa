package com.kelvane.tokbridge.tool.trials;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static com.kelvane.tokbridge.tool.trials.KeyKind.*;

import com.kelvane.pkcs11.*;
import java.nio.charset.StandardCharsets;
import java.security.*;
import java.security.spec.*;
import java.util.*;
import javax.crypto.Cipher;
import javax.crypto.Mac;
import javax.crypto.spec.*;

/** The table of operations. With a key that was found, the first row of each use is tried. */
final class Operations {
    static final List<Operation> ALL = new ArrayList<>();

    /** Operations on objects that stay on the token. */
    static final List<Operation> OBJECTS = List.of(
        new Operation(new Use("data object", 0, 0, 0, true, TokenObjects::dataObject), Operation.NONE, null, null),
        new Operation(new Use("secret key", 0, 0, 0, true, TokenObjects::secretKey), Operation.NONE, null, null));

    /** The message that is digested, signed and encrypted. */
    static final byte[] MESSAGE = "A message that tokbridge signs, hides and shows to see if a key works."
        .getBytes(StandardCharsets.US_ASCII);

    /** The associated data of authenticated ciphers, and the context of signatures and derivations. */
    static final byte[] HEADER = Arrays.copyOf(MESSAGE, 9);
    static final byte[] BLOCKS = Arrays.copyOf(MESSAGE, 48);

    /** Fresh in each run: the keys that are tried may be in use elsewhere. */
    static final byte[] IV = new byte[16];
    static {
        new SecureRandom().nextBytes(IV);
    }
    private static final byte[] NONCE = Arrays.copyOf(IV, 12);

    /** The length in bytes of MACs whose length is a parameter. */
    static final int SHORT_MAC = 4;
    private static final int TAG_BITS = 128;
    private static final CK_SIGN_ADDITIONAL_CONTEXT CONTEXT =
        new CK_SIGN_ADDITIONAL_CONTEXT(CKH_HEDGE_PREFERRED, HEADER);
    private static final CK_RSA_PKCS_OAEP_PARAMS OAEP = new CK_RSA_PKCS_OAEP_PARAMS(CKM_SHA_1, CKG_MGF1_SHA1, null);
    private static final OAEPParameterSpec JDK_OAEP = new OAEPParameterSpec("SHA-1", "MGF1", MGF1ParameterSpec.SHA1,
        PSource.PSpecified.DEFAULT);

    private Operations() {
    }

    static {
        for (KeyKind kind : KeyKind.values()) {
            row(kind.isPair() ? Use.PAIR : Use.KEY, kind.generation, kind, null);
        }
        hash("SHA256", "SHA-256", 32);
        hash("SHA1", "SHA-1", 20);
        hash("SHA224", "SHA-224", 28);
        hash("SHA384", "SHA-384", 48);
        hash("SHA512", "SHA-512", 64);
        hash("SHA512_224", "SHA-512/224", 28);
        hash("SHA512_256", "SHA-512/256", 32);
        hash("SHA3_224", "SHA3-224", 28);
        hash("SHA3_256", "SHA3-256", 32);
        hash("SHA3_384", "SHA3-384", 48);
        hash("SHA3_512", "SHA3-512", 64);
        hash("MD5", "MD5", 16);
        hash("RIPEMD160", "RIPEMD160", 20);

        blockCipher("AES", AES, 16);
        row(Use.CIPHER, CKM_AES_CTR, AES, new CK_AES_CTR_PARAMS(128, IV)).as(iv(16), "AES/CTR/NoPadding");
        row(Use.CIPHER, CKM_AES_GCM, AES, new CK_GCM_PARAMS(NONCE, HEADER, TAG_BITS))
            .as(new GCMParameterSpec(TAG_BITS, NONCE), "AES/GCM/NoPadding");
        row(Use.CIPHER, CKM_AES_CCM, AES, new CK_CCM_PARAMS(MESSAGE.length, NONCE, HEADER, TAG_BITS / 8));
        row(Use.CIPHER, CKM_AES_CTS, AES, IV);
        row(Use.CIPHER, CKM_AES_OFB, AES, IV).as(iv(16), "AES/OFB/NoPadding");
        row(Use.CIPHER, CKM_AES_CFB128, AES, IV).as(iv(16), "AES/CFB128/NoPadding");
        row(Use.CIPHER, CKM_AES_CFB64, AES, IV).as(iv(16), "AES/CFB64/NoPadding");
        row(Use.CIPHER, CKM_AES_CFB8, AES, IV).as(iv(16), "AES/CFB8/NoPadding");
        row(Use.CIPHER, CKM_AES_CFB1, AES, IV);
        row(Use.MAC, CKM_AES_CMAC, AES, null);
        row(Use.MAC, CKM_AES_CMAC_GENERAL, AES, SHORT_MAC);
        row(Use.MAC, CKM_AES_GMAC, AES, NONCE);
        row(Use.MAC, CKM_AES_XCBC_MAC, AES, null);
        row(Use.MAC, CKM_AES_XCBC_MAC_96, AES, null);
        row(Use.WRAP, CKM_AES_KEY_WRAP, AES, null).as(null, "AESWrap");
        row(Use.WRAP, CKM_AES_KEY_WRAP_PAD, AES, null).as(null, "AES/KWP/NoPadding", "AES/KW/PKCS5Padding");
        row(Use.WRAP, CKM_AES_KEY_WRAP_KWP, AES, null).as(null, "AES/KWP/NoPadding");
        blockCipher("DES3", DES3, 8);
        row(Use.MAC, CKM_DES3_CMAC, DES3, null);
        row(Use.MAC, CKM_DES3_CMAC_GENERAL, DES3, SHORT_MAC);
        blockCipher("DES", DES, 8);
        blockCipher("CAMELLIA", CAMELLIA, 16);
        row(Use.CIPHER, CKM_CAMELLIA_CTR, CAMELLIA, new CK_AES_CTR_PARAMS(128, IV));
        blockCipher("ARIA", ARIA, 16);
        row(Use.CIPHER, CKM_CHACHA20_POLY1305, CHACHA20, new CK_SALSA20_CHACHA20_POLY1305_PARAMS(NONCE, HEADER))
            .as(iv(12), "ChaCha20-Poly1305");
        row(Use.CIPHER, CKM_CHACHA20, CHACHA20, new CK_CHACHA20_PARAMS(new byte[] {1, 0, 0, 0}, NONCE))
            .as(new ChaCha20ParameterSpec(NONCE, 1), "ChaCha20");

        row(Use.SIGNATURE, CKM_RSA_PKCS, RSA, null).of((message, key) -> digest("SHA-256", message))
            .as(null, "RSA/ECB/PKCS1Padding");
        row(Use.SIGNATURE, CKM_RSA_X_509, RSA, null).of((message, key) -> block(digest("SHA-256", message), key))
            .as(null, "RSA/ECB/NoPadding");
        row(Use.SIGNATURE, CKM_RSA_PKCS_PSS, RSA, new CK_RSA_PKCS_PSS_PARAMS(CKM_SHA256, CKG_MGF1_SHA256, 32))
            .of((message, key) -> digest("SHA-256", message)).as(pss("SHA-256", 32), "RSASSA-PSS");
        for (Use use : new Use[] {Use.DECRYPTION, Use.ENCRYPTION}) {
            row(use, CKM_RSA_PKCS_OAEP, RSA, OAEP).as(JDK_OAEP, "RSA/ECB/OAEPPadding");
            row(use, CKM_RSA_PKCS, RSA, null).as(null, "RSA/ECB/PKCS1Padding");
            row(use, CKM_RSA_X_509, RSA, null).of(Operations::block)
                .as(null, "RSA/ECB/NoPadding");
        }
        row(Use.WRAP, CKM_RSA_PKCS_OAEP, RSA, OAEP).as(JDK_OAEP, "RSA/ECB/OAEPPadding");
        row(Use.WRAP, CKM_RSA_PKCS, RSA, null).as(null, "RSA/ECB/PKCS1Padding");
        row(Use.WRAP, CKM_RSA_AES_KEY_WRAP, RSA, new CK_RSA_AES_KEY_WRAP_PARAMS(256, OAEP));
        row(Use.SIGNATURE, CKM_ECDSA, EC, null).of((message, key) -> digest("SHA-256", message))
            .as(null, "SHA256withECDSAinP1363Format");
        row(Use.SIGNATURE, CKM_DSA, DSA, null).of((message, key) -> digest("SHA-1", message))
            .as(null, "SHA1withDSAinP1363Format");
        row(Use.SIGNATURE, CKM_EDDSA, ED25519, null).as(null, "EdDSA");
        signature(CKM_ML_DSA, ML_DSA, null, null, "ML-DSA");
        signature(CKM_ML_DSA, ML_DSA, CONTEXT, null);
        signature(CKM_SLH_DSA, SLH_DSA, null, null);
        signature(CKM_SLH_DSA, SLH_DSA, CONTEXT, null);

        row(Use.ENCAPSULATION, CKM_ML_KEM, ML_KEM, null);
        row(Use.AGREEMENT, CKM_ECDH1_DERIVE, X25519, null);
        row(Use.AGREEMENT, CKM_ECDH1_DERIVE, EC, null);
        row(Use.AGREEMENT, CKM_ECDH1_COFACTOR_DERIVE, EC, null);
        row(Use.AGREEMENT, CKM_DH_PKCS_DERIVE, DH, null);
        row(Use.DERIVATION, CKM_CONCATENATE_BASE_AND_KEY, GENERIC, Attempt.THE_KEY).giving(base -> {
            byte[] twice = Arrays.copyOf(base, 2 * base.length);
            System.arraycopy(base, 0, twice, base.length, base.length);
            return twice;
        });
        row(Use.DERIVATION, CKM_EXTRACT_KEY_FROM_KEY, GENERIC, 8).giving(base -> Arrays.copyOfRange(base, 1, 17));
        row(Use.DERIVATION, CKM_HKDF_DERIVE, GENERIC, new CK_HKDF_PARAMS(true, true, CKM_SHA256, CKF_HKDF_SALT_DATA, IV,
            null, HEADER)).giving(base -> hmac(hmac(IV, base), HEADER, new byte[] {1}));
        row(Use.DERIVATION, CKM_SP800_108_COUNTER_KDF, GENERIC, new CK_SP800_108_KDF_PARAMS(CKM_SHA256_HMAC,
            new CK_PRF_DATA_PARAM[] {
                new CK_PRF_DATA_PARAM(CK_SP800_108_ITERATION_VARIABLE, new CK_SP800_108_COUNTER_FORMAT(false, 32)),
                new CK_PRF_DATA_PARAM(CK_SP800_108_BYTE_ARRAY, HEADER)}, null))
            .giving(base -> hmac(base, new byte[] {0, 0, 0, 1}, HEADER));
    }

    static Operation row(Use use, int mechanism, KeyKind kind, Object parameter) {
        Operation row = new Operation(use, mechanism, kind, parameter);
        ALL.add(row);
        return row;
    }

    /** Returns the number with a composed name; NONE if the standard does not define it. */
    private static int number(String... parts) {
        try {
            return PKCS11Constants.class.getField(String.join("", parts)).getInt(null);
        } catch (ReflectiveOperationException e) {
            return Operation.NONE;
        }
    }

    /** Adds the rows of a mechanism that signs a message of any length: in one step and from a stream. */
    private static void signature(int mechanism, KeyKind kind, Object parameter, AlgorithmParameterSpec jdkParameter,
        String... algorithm) {
        row(Use.SIGNATURE, mechanism, kind, parameter).as(jdkParameter, algorithm);
        row(Use.STREAM, mechanism, kind, parameter).as(jdkParameter, algorithm);
    }

    /** Adds the rows of a hash function, by the standard's name and the JDK's, with the length of a digest in bytes. */
    static void hash(String name, String algorithm, int bytes) {
        String own = name.equals("SHA1") ? "SHA_1" : name;
        String joined = algorithm.startsWith("SHA-") ? "SHA" + algorithm.substring(4) : algorithm;
        int digest = number("CKM_", own);
        row(Use.DIGEST, digest, null, null).as(null, algorithm);
        row(Use.MAC, number("CKM_", own, "_HMAC"), GENERIC, null).as(null, "Hmac" + joined);
        row(Use.MAC, number("CKM_", own, "_HMAC_GENERAL"), GENERIC, SHORT_MAC).as(null, "Hmac" + joined);
        signature(number("CKM_", name, "_RSA_PKCS"), RSA, null, null, joined + "withRSA");
        signature(number("CKM_", name, "_RSA_PKCS_PSS"), RSA, new CK_RSA_PKCS_PSS_PARAMS(digest,
            number("CKG_MGF1_", name), bytes), pss(algorithm, bytes), "RSASSA-PSS");
        signature(number("CKM_ECDSA_", name), EC, null, null, joined + "withECDSAinP1363Format");
        signature(number("CKM_DSA_", name), DSA, null, null, joined + "withDSAinP1363Format");
        row(Use.DERIVATION, number("CKM_", name, "_KEY_DERIVATION"), GENERIC, null)
            .giving(base -> digest(algorithm, base));
    }

    /** Adds the rows of a block cipher. */
    static void blockCipher(String name, KeyKind kind, int blockLength) {
        byte[] iv = Arrays.copyOf(IV, blockLength);
        String[] pad = mode(kind, "/CBC/PKCS5Padding"), cbc = mode(kind, "/CBC/NoPadding"),
            ecb = mode(kind, "/ECB/NoPadding");
        row(Use.CIPHER, number("CKM_", name, "_CBC_PAD"), kind, iv).as(iv(blockLength), pad);
        row(Use.CIPHER, number("CKM_", name, "_CBC"), kind, iv).of((message, key) -> BLOCKS).as(iv(blockLength), cbc);
        row(Use.CIPHER, number("CKM_", name, "_ECB"), kind, null).of((message, key) -> BLOCKS).as(null, ecb);
        row(Use.MAC, number("CKM_", name, "_MAC"), kind, null);
        row(Use.MAC, number("CKM_", name, "_MAC_GENERAL"), kind, SHORT_MAC);
        row(Use.WRAP, number("CKM_", name, "_CBC_PAD"), kind, iv).as(iv(blockLength), pad);
        row(Use.WRAP, number("CKM_", name, "_CBC"), kind, iv).as(iv(blockLength), cbc);
        row(Use.WRAP, number("CKM_", name, "_ECB"), kind, null).as(null, ecb);
        row(Use.DERIVATION, number("CKM_", name, "_ECB_ENCRYPT_DATA"), kind, new CK_KEY_DERIVATION_STRING_DATA(BLOCKS))
            .giving(base -> encrypt(kind, base, null, ecb));
        row(Use.DERIVATION, number("CKM_", name, "_CBC_ENCRYPT_DATA"), kind, blockLength == 16
            ? new CK_AES_CBC_ENCRYPT_DATA_PARAMS(iv, BLOCKS) : new CK_DES_CBC_ENCRYPT_DATA_PARAMS(iv, BLOCKS))
            .giving(base -> encrypt(kind, base, iv(blockLength), cbc));
    }

    /** Returns the JDK's name of a cipher in a mode; an empty array if it has no such keys. */
    private static String[] mode(KeyKind kind, String mode) {
        return kind.algorithm == null ? new String[0] : new String[] {kind.algorithm + mode};
    }

    private static byte[] encrypt(KeyKind kind, byte[] key, AlgorithmParameterSpec parameter, String... mode)
        throws GeneralSecurityException {
        if (mode.length == 0) {
            return null;
        }
        Cipher cipher = Cipher.getInstance(mode[0]);
        cipher.init(Cipher.ENCRYPT_MODE, new SecretKeySpec(key, kind.algorithm), parameter);
        return cipher.doFinal(BLOCKS);
    }

    private static byte[] hmac(byte[] key, byte[]... data) throws GeneralSecurityException {
        Mac mac = Mac.getInstance("HmacSHA256");
        mac.init(new SecretKeySpec(key, "Mac"));
        for (byte[] each : data) {
            mac.update(each);
        }
        return mac.doFinal();
    }

    private static IvParameterSpec iv(int length) {
        return new IvParameterSpec(IV, 0, length);
    }

    private static PSSParameterSpec pss(String hash, int saltLength) {
        return new PSSParameterSpec(hash, "MGF1", new MGF1ParameterSpec(hash), saltLength, 1);
    }

    private static byte[] digest(String algorithm, byte[] message) throws GeneralSecurityException {
        return MessageDigest.getInstance(algorithm).digest(message);
    }

    /** Returns a block as long as an RSA modulus, filled up with zeros. */
    private static byte[] block(byte[] data, Key key) throws Verdict {
        byte[] block = new byte[key.modulusBytes()];
        System.arraycopy(data, 0, block, block.length - data.length, data.length);
        return block;
    }
}
