package com.kelvane.tokbridge.tool.trials;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static com.kelvane.tokbridge.tool.trials.Jdk.*;
import static com.kelvane.tokbridge.tool.trials.KeyKind.*;

import com.kelvane.pkcs11.*;
import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.security.Key;
import java.security.SecureRandom;
import java.security.spec.*;
import java.util.*;
import javax.crypto.spec.*;

/** The table of operations. With a key that was found, the first row of each use is tried. */
final class Operations {
    static final List<Operation> ALL = new ArrayList<>();

    /** Operations on objects that stay on the token. */
    static final List<Operation> OBJECTS = List.of(
        new Operation(new Use("data object", 0, 0, 0, Attempt::dataObject), Operation.NONE, null, null),
        new Operation(new Use("secret key", 0, 0, 0, Attempt::storedKey), Operation.NONE, null, null));

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

    private static final Jdk.Computation SHA256 = (key, message) -> digest("SHA-256", message);

    static {
        for (KeyKind kind : KeyKind.values()) {
            row(kind.isPair() ? Use.PAIR : Use.KEY, kind.generation, kind, null);
        }
        List.of("SHA256", "SHA1", "SHA224", "SHA384", "SHA512", "SHA512_224", "SHA512_256", "SHA3_224", "SHA3_256",
            "SHA3_384", "SHA3_512", "MD5", "RIPEMD160").forEach(Operations::hash);

        blockCipher("AES", AES, 16);
        row(Use.CIPHER, CKM_AES_CTR, AES, new CK_AES_CTR_PARAMS(128, IV)).as(cipher("AES/CTR/NoPadding", iv(16)));
        row(Use.CIPHER, CKM_AES_GCM, AES, new CK_GCM_PARAMS(NONCE, HEADER, TAG_BITS))
            .as(cipher("AES/GCM/NoPadding", new GCMParameterSpec(TAG_BITS, NONCE), HEADER));
        row(Use.CIPHER, CKM_AES_CCM, AES, new CK_CCM_PARAMS(MESSAGE.length, NONCE, HEADER, TAG_BITS / 8));
        row(Use.CIPHER, CKM_AES_CTS, AES, IV);
        for (String mode : List.of("OFB", "CFB128", "CFB64", "CFB8")) {
            row(Use.CIPHER, number("CKM_AES_", mode), AES, IV).as(cipher("AES/" + mode + "/NoPadding", iv(16)));
        }
        row(Use.CIPHER, CKM_AES_CFB1, AES, IV);
        row(Use.MAC, CKM_AES_CMAC, AES, null);
        row(Use.MAC, CKM_AES_CMAC_GENERAL, AES, SHORT_MAC);
        row(Use.MAC, CKM_AES_GMAC, AES, NONCE);
        row(Use.MAC, CKM_AES_XCBC_MAC, AES, null);
        row(Use.MAC, CKM_AES_XCBC_MAC_96, AES, null);
        row(Use.WRAP, CKM_AES_KEY_WRAP, AES, null).as(wrap("AESWrap", null));
        row(Use.WRAP, CKM_AES_KEY_WRAP_PAD, AES, null); // modules differ in its meaning
        row(Use.WRAP, CKM_AES_KEY_WRAP_KWP, AES, null).as(wrap("AES/KWP/NoPadding", null));
        blockCipher("DES3", DES3, 8);
        row(Use.MAC, CKM_DES3_CMAC, DES3, null);
        row(Use.MAC, CKM_DES3_CMAC_GENERAL, DES3, SHORT_MAC);
        blockCipher("DES", DES, 8);
        blockCipher("CAMELLIA", CAMELLIA, 16);
        row(Use.CIPHER, CKM_CAMELLIA_CTR, CAMELLIA, new CK_AES_CTR_PARAMS(128, IV));
        blockCipher("ARIA", ARIA, 16);
        row(Use.CIPHER, CKM_CHACHA20_POLY1305, CHACHA20, new CK_SALSA20_CHACHA20_POLY1305_PARAMS(NONCE, HEADER))
            .as(cipher("ChaCha20-Poly1305", iv(12), HEADER));
        row(Use.CIPHER, CKM_CHACHA20, CHACHA20, new CK_CHACHA20_PARAMS(new byte[] {1, 0, 0, 0}, NONCE))
            .as(cipher("ChaCha20", new ChaCha20ParameterSpec(NONCE, 1)));

        row(Use.SIGNATURE, CKM_RSA_PKCS, RSA, null).of(SHA256).as(digestRecovered("RSA/ECB/PKCS1Padding"));
        row(Use.SIGNATURE, CKM_RSA_X_509, RSA, null).of((key, message) -> block(key, SHA256.of(key, message)))
            .as(digestRecovered("RSA/ECB/NoPadding"));
        row(Use.SIGNATURE, CKM_RSA_PKCS_PSS, RSA, new CK_RSA_PKCS_PSS_PARAMS(CKM_SHA256, CKG_MGF1_SHA256, 32))
            .of(SHA256).as(pss("SHA-256", 32));
        for (Use use : new Use[] {Use.DECRYPTION, Use.ENCRYPTION}) {
            row(use, CKM_RSA_PKCS_OAEP, RSA, OAEP).as(cipher("RSA/ECB/OAEPPadding", JDK_OAEP));
            row(use, CKM_RSA_PKCS, RSA, null).as(cipher("RSA/ECB/PKCS1Padding", null));
            row(use, CKM_RSA_X_509, RSA, null).of(Operations::block).as(cipher("RSA/ECB/NoPadding", null));
        }
        row(Use.WRAP, CKM_RSA_PKCS_OAEP, RSA, OAEP).as(wrap("RSA/ECB/OAEPPadding", JDK_OAEP));
        row(Use.WRAP, CKM_RSA_PKCS, RSA, null).as(wrap("RSA/ECB/PKCS1Padding", null));
        row(Use.WRAP, CKM_RSA_AES_KEY_WRAP, RSA, new CK_RSA_AES_KEY_WRAP_PARAMS(256, OAEP));
        row(Use.SIGNATURE, CKM_ECDSA, EC, null).of(SHA256).as(Jdk.signature("SHA256withECDSAinP1363Format", null));
        row(Use.SIGNATURE, CKM_DSA, DSA, null).of((key, message) -> digest("SHA-1", message))
            .as(Jdk.signature("SHA1withDSAinP1363Format", null));
        row(Use.SIGNATURE, CKM_EDDSA, ED25519, null).as(Jdk.signature("EdDSA", null));
        signature(CKM_ML_DSA, ML_DSA, null, Jdk.signature("ML-DSA", null));
        signature(CKM_ML_DSA, ML_DSA, CONTEXT, null);
        signature(CKM_SLH_DSA, SLH_DSA, null, null);
        signature(CKM_SLH_DSA, SLH_DSA, CONTEXT, null);

        row(Use.ENCAPSULATION, CKM_ML_KEM, ML_KEM, null);
        row(Use.AGREEMENT, CKM_ECDH1_DERIVE, X25519, null);
        row(Use.AGREEMENT, CKM_ECDH1_DERIVE, EC, null);
        row(Use.AGREEMENT, CKM_ECDH1_COFACTOR_DERIVE, EC, null);
        row(Use.AGREEMENT, CKM_DH_PKCS_DERIVE, DH, null);
        row(Use.DERIVATION, CKM_CONCATENATE_BASE_AND_KEY, GENERIC, Attempt.THE_KEY)
            .as((base, data) -> ByteBuffer.allocate(128).put(base.getEncoded()).put(base.getEncoded()).array());
        row(Use.DERIVATION, CKM_EXTRACT_KEY_FROM_KEY, GENERIC, 8)
            .as((base, data) -> Arrays.copyOfRange(base.getEncoded(), 1, 17));
        row(Use.DERIVATION, CKM_HKDF_DERIVE, GENERIC, new CK_HKDF_PARAMS(true, true, CKM_SHA256, CKF_HKDF_SALT_DATA, IV,
            null, HEADER)).as((base, data) -> hmac("HmacSHA256", new SecretKeySpec(hmac("HmacSHA256",
                new SecretKeySpec(IV, "Mac"), base.getEncoded()), "Mac"), HEADER, new byte[] {1}));
        row(Use.DERIVATION, CKM_SP800_108_COUNTER_KDF, GENERIC, new CK_SP800_108_KDF_PARAMS(CKM_SHA256_HMAC,
            new CK_PRF_DATA_PARAM[] {
                new CK_PRF_DATA_PARAM(CK_SP800_108_ITERATION_VARIABLE, new CK_SP800_108_COUNTER_FORMAT(false, 32)),
                new CK_PRF_DATA_PARAM(CK_SP800_108_BYTE_ARRAY, HEADER)}, null))
            .as((base, data) -> hmac("HmacSHA256", base, new byte[] {0, 0, 0, 1}, HEADER));
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
    private static void signature(int mechanism, KeyKind kind, Object parameter, Jdk.Verification counterpart) {
        row(Use.SIGNATURE, mechanism, kind, parameter).as(counterpart);
        row(Use.STREAM, mechanism, kind, parameter).as(counterpart);
    }

    /** Adds the rows of a hash function with the standard's name; the JDK's are "SHA3-256", "SHA-512/256", "MD5". */
    static void hash(String name) {
        String algorithm = name.startsWith("SHA3_") ? name.replace('_', '-')
            : name.replace("SHA", "SHA-").replace('_', '/');
        String own = name.equals("SHA1") ? "SHA_1" : name, joined = algorithm.replaceFirst("^SHA-", "SHA");
        int saltLength = name.equals("SHA1") ? 20 : Integer.parseInt(name.replaceAll(".*\\D", "")) / 8;
        int digest = number("CKM_", own);
        row(Use.DIGEST, digest, null, null).as((key, data) -> digest(algorithm, data));
        row(Use.MAC, number("CKM_", own, "_HMAC"), GENERIC, null).as((key, data) -> hmac("Hmac" + joined, key, data));
        row(Use.MAC, number("CKM_", own, "_HMAC_GENERAL"), GENERIC, SHORT_MAC)
            .as((key, data) -> hmac("Hmac" + joined, key, data));
        signature(number("CKM_", name, "_RSA_PKCS"), RSA, null, Jdk.signature(joined + "withRSA", null));
        signature(number("CKM_", name, "_RSA_PKCS_PSS"), RSA, new CK_RSA_PKCS_PSS_PARAMS(digest,
            number("CKG_MGF1_", name), saltLength), pss(algorithm, saltLength));
        signature(number("CKM_ECDSA_", name), EC, null, Jdk.signature(joined + "withECDSAinP1363Format", null));
        signature(number("CKM_DSA_", name), DSA, null, Jdk.signature(joined + "withDSAinP1363Format", null));
        row(Use.DERIVATION, number("CKM_", name, "_KEY_DERIVATION"), GENERIC, null)
            .as((base, data) -> digest(algorithm, base.getEncoded()));
    }

    /** Adds the rows of a block cipher. */
    static void blockCipher(String name, KeyKind kind, int blockLength) {
        byte[] iv = Arrays.copyOf(IV, blockLength);
        AlgorithmParameterSpec jdkIv = iv(blockLength);
        String cbc = kind.algorithm + "/CBC/NoPadding", ecb = kind.algorithm + "/ECB/NoPadding",
            pad = kind.algorithm + "/CBC/PKCS5Padding";
        row(Use.CIPHER, number("CKM_", name, "_CBC_PAD"), kind, iv).as(cipher(pad, jdkIv));
        row(Use.CIPHER, number("CKM_", name, "_CBC"), kind, iv).of((key, message) -> BLOCKS).as(cipher(cbc, jdkIv));
        row(Use.CIPHER, number("CKM_", name, "_ECB"), kind, null).of((key, message) -> BLOCKS).as(cipher(ecb, null));
        row(Use.MAC, number("CKM_", name, "_MAC"), kind, null);
        row(Use.MAC, number("CKM_", name, "_MAC_GENERAL"), kind, SHORT_MAC);
        row(Use.WRAP, number("CKM_", name, "_CBC_PAD"), kind, iv).as(wrap(pad, jdkIv));
        row(Use.WRAP, number("CKM_", name, "_CBC"), kind, iv).as(wrap(cbc, jdkIv));
        row(Use.WRAP, number("CKM_", name, "_ECB"), kind, null).as(wrap(ecb, null));
        row(Use.DERIVATION, number("CKM_", name, "_ECB_ENCRYPT_DATA"), kind, new CK_KEY_DERIVATION_STRING_DATA(BLOCKS))
            .as((base, data) -> cipher(ecb, null).of(base, BLOCKS));
        row(Use.DERIVATION, number("CKM_", name, "_CBC_ENCRYPT_DATA"), kind, blockLength == 16
            ? new CK_AES_CBC_ENCRYPT_DATA_PARAMS(iv, BLOCKS) : new CK_DES_CBC_ENCRYPT_DATA_PARAMS(iv, BLOCKS))
            .as((base, data) -> cipher(cbc, jdkIv).of(base, BLOCKS));
    }

    private static IvParameterSpec iv(int length) {
        return new IvParameterSpec(IV, 0, length);
    }

    private static Jdk.Verification pss(String hash, int saltLength) {
        return Jdk.signature("RSASSA-PSS", new PSSParameterSpec(hash, "MGF1", new MGF1ParameterSpec(hash), saltLength,
            1));
    }

    /** Returns a block as long as an RSA modulus, filled up with zeros. */
    private static byte[] block(Key key, byte[] data) throws Verdict {
        byte[] block = new byte[modulusBytes(key)];
        System.arraycopy(data, 0, block, block.length - data.length, data.length);
        return block;
    }
}
