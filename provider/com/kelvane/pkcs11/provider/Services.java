package com.kelvane.pkcs11.provider;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static com.kelvane.pkcs11.provider.TokenSignature.Scheme.*;

import java.security.Key;
import java.security.Provider;
import java.util.Arrays;
import java.util.List;
import java.util.Set;
import java.util.function.Function;
import java.util.stream.Collectors;

/**
 * The table of services. A token offers a row if it has one of the row's mechanisms for the row's use. The table of
 * docs/provider.md is made from these rows.
 */
final class Services {
    /** A service that tokens may have. */
    static final class Row {
        final String type, algorithm;
        final List<String> aliases;

        /** The class of keys that operations are initialised with; null where there is no key. */
        final Class<? extends Key> keyClass;

        /** The names of keys in JCA; empty for any. */
        private final List<String> keyAlgorithms;

        /** The mechanisms of which one is enough, and the flag that it has to have; 0 for any. */
        final List<Integer> mechanisms;
        private final int flag;

        /** The hash of OAEP, which the token has to have for any use; null for none. */
        private final Hash hash;
        private final Function<Token, Object> constructor;

        Row(String type, String algorithm, List<String> aliases, Class<? extends Key> keyClass,
            List<String> keyAlgorithms, int flag, List<Integer> mechanisms, Hash hash,
            Function<Token, Object> constructor) {
            this.type = type;
            this.algorithm = algorithm;
            this.aliases = aliases;
            this.keyClass = keyClass;
            this.keyAlgorithms = keyAlgorithms;
            this.flag = flag;
            this.mechanisms = mechanisms;
            this.hash = hash;
            this.constructor = constructor;
        }

        boolean isOfferedBy(Token token) {
            return (mechanisms.isEmpty() || mechanisms.stream().anyMatch(each -> token.can(each, flag)))
                && (hash == null || token.can(hash.mechanism, 0) || token.can(hash.rsa, 0))
                && (!type.equals("SecureRandom") || token.info.hasRandomNumberGenerator())
                && (!KEYS.contains(type) || TokenKeyFactory.isKnown(algorithm));
        }
    }

    /** The services that make public keys, for which the JDK has to have a class. */
    private static final Set<String> KEYS = Set.of("KeyPairGenerator", "KeyFactory");

    /** The rows, in the order of the page. */
    static final List<Row> ROWS = List.of(
        // Keys and certificates
        row("KeyStore", "PKCS11", null, List.of(), 0, List.of(), TokenKeyStore::new),

        // Signatures with RSA: PKCS #1
        signature("NONEwithRSA", PKCS1, null, "NONEwithRSA"),
        signature("MD5withRSA", PKCS1, Hash.MD5, "MD5withRSA"),
        signature("SHA1withRSA", PKCS1, Hash.SHA1, "SHA1withRSA"),
        signature("SHA224withRSA", PKCS1, Hash.SHA224, "SHA224withRSA"),
        signature("SHA256withRSA", PKCS1, Hash.SHA256, "SHA256withRSA"),
        signature("SHA384withRSA", PKCS1, Hash.SHA384, "SHA384withRSA"),
        signature("SHA512withRSA", PKCS1, Hash.SHA512, "SHA512withRSA"),
        signature("SHA512/224withRSA", PKCS1, Hash.SHA512_224, "SHA512/224withRSA"),
        signature("SHA512/256withRSA", PKCS1, Hash.SHA512_256, "SHA512/256withRSA"),
        signature("SHA3-224withRSA", PKCS1, Hash.SHA3_224, "SHA3-224withRSA"),
        signature("SHA3-256withRSA", PKCS1, Hash.SHA3_256, "SHA3-256withRSA"),
        signature("SHA3-384withRSA", PKCS1, Hash.SHA3_384, "SHA3-384withRSA"),
        signature("SHA3-512withRSA", PKCS1, Hash.SHA3_512, "SHA3-512withRSA"),

        // Signatures with RSA: PSS
        signature("RSASSA-PSS", PSS, null, "RSASSA-PSS"),
        signature("SHA1withRSAandMGF1", PSS, Hash.SHA1, "RSASSA-PSS", "SHA1withRSASSA-PSS"),
        signature("SHA224withRSAandMGF1", PSS, Hash.SHA224, "RSASSA-PSS", "SHA224withRSASSA-PSS"),
        signature("SHA256withRSAandMGF1", PSS, Hash.SHA256, "RSASSA-PSS", "SHA256withRSASSA-PSS"),
        signature("SHA384withRSAandMGF1", PSS, Hash.SHA384, "RSASSA-PSS", "SHA384withRSASSA-PSS"),
        signature("SHA512withRSAandMGF1", PSS, Hash.SHA512, "RSASSA-PSS", "SHA512withRSASSA-PSS"),
        signature("SHA3-224withRSAandMGF1", PSS, Hash.SHA3_224, "RSASSA-PSS", "SHA3-224withRSASSA-PSS"),
        signature("SHA3-256withRSAandMGF1", PSS, Hash.SHA3_256, "RSASSA-PSS", "SHA3-256withRSASSA-PSS"),
        signature("SHA3-384withRSAandMGF1", PSS, Hash.SHA3_384, "RSASSA-PSS", "SHA3-384withRSASSA-PSS"),
        signature("SHA3-512withRSAandMGF1", PSS, Hash.SHA3_512, "RSASSA-PSS", "SHA3-512withRSASSA-PSS"),

        // Signatures with elliptic curves
        signature("NONEwithECDSA", ECDSA, null, "NONEwithECDSA"),
        signature("SHA1withECDSA", ECDSA, Hash.SHA1, "SHA1withECDSA"),
        signature("SHA224withECDSA", ECDSA, Hash.SHA224, "SHA224withECDSA"),
        signature("SHA256withECDSA", ECDSA, Hash.SHA256, "SHA256withECDSA"),
        signature("SHA384withECDSA", ECDSA, Hash.SHA384, "SHA384withECDSA"),
        signature("SHA512withECDSA", ECDSA, Hash.SHA512, "SHA512withECDSA"),
        signature("SHA3-224withECDSA", ECDSA, Hash.SHA3_224, "SHA3-224withECDSA"),
        signature("SHA3-256withECDSA", ECDSA, Hash.SHA3_256, "SHA3-256withECDSA"),
        signature("SHA3-384withECDSA", ECDSA, Hash.SHA3_384, "SHA3-384withECDSA"),
        signature("SHA3-512withECDSA", ECDSA, Hash.SHA3_512, "SHA3-512withECDSA"),
        signature("NONEwithECDSAinP1363Format", ECDSA_P1363, null, "NONEwithECDSAinP1363Format"),
        signature("SHA1withECDSAinP1363Format", ECDSA_P1363, Hash.SHA1, "SHA1withECDSAinP1363Format"),
        signature("SHA224withECDSAinP1363Format", ECDSA_P1363, Hash.SHA224, "SHA224withECDSAinP1363Format"),
        signature("SHA256withECDSAinP1363Format", ECDSA_P1363, Hash.SHA256, "SHA256withECDSAinP1363Format"),
        signature("SHA384withECDSAinP1363Format", ECDSA_P1363, Hash.SHA384, "SHA384withECDSAinP1363Format"),
        signature("SHA512withECDSAinP1363Format", ECDSA_P1363, Hash.SHA512, "SHA512withECDSAinP1363Format"),
        signature("SHA3-224withECDSAinP1363Format", ECDSA_P1363, Hash.SHA3_224, "SHA3-224withECDSAinP1363Format"),
        signature("SHA3-256withECDSAinP1363Format", ECDSA_P1363, Hash.SHA3_256, "SHA3-256withECDSAinP1363Format"),
        signature("SHA3-384withECDSAinP1363Format", ECDSA_P1363, Hash.SHA3_384, "SHA3-384withECDSAinP1363Format"),
        signature("SHA3-512withECDSAinP1363Format", ECDSA_P1363, Hash.SHA3_512, "SHA3-512withECDSAinP1363Format"),
        signature("EdDSA", EDDSA, null, "EdDSA"),
        signature("Ed25519", EDDSA, null, "Ed25519"),
        signature("Ed448", EDDSA, null, "Ed448"),

        // Signatures with lattices
        signature("ML-DSA", ML_DSA, null, "ML-DSA"),
        signature("ML-DSA-44", ML_DSA, null, "ML-DSA-44"),
        signature("ML-DSA-65", ML_DSA, null, "ML-DSA-65"),
        signature("ML-DSA-87", ML_DSA, null, "ML-DSA-87"),

        // Signatures with DSA
        signature("NONEwithDSA", DSA, null, "NONEwithDSA"),
        signature("SHA1withDSA", DSA, Hash.SHA1, "SHA1withDSA"),
        signature("SHA224withDSA", DSA, Hash.SHA224, "SHA224withDSA"),
        signature("SHA256withDSA", DSA, Hash.SHA256, "SHA256withDSA"),
        signature("SHA384withDSA", DSA, Hash.SHA384, "SHA384withDSA"),
        signature("SHA512withDSA", DSA, Hash.SHA512, "SHA512withDSA"),
        signature("SHA3-224withDSA", DSA, Hash.SHA3_224, "SHA3-224withDSA"),
        signature("SHA3-256withDSA", DSA, Hash.SHA3_256, "SHA3-256withDSA"),
        signature("SHA3-384withDSA", DSA, Hash.SHA3_384, "SHA3-384withDSA"),
        signature("SHA3-512withDSA", DSA, Hash.SHA3_512, "SHA3-512withDSA"),
        signature("NONEwithDSAinP1363Format", DSA_P1363, null, "NONEwithDSAinP1363Format"),
        signature("SHA1withDSAinP1363Format", DSA_P1363, Hash.SHA1, "SHA1withDSAinP1363Format"),
        signature("SHA224withDSAinP1363Format", DSA_P1363, Hash.SHA224, "SHA224withDSAinP1363Format"),
        signature("SHA256withDSAinP1363Format", DSA_P1363, Hash.SHA256, "SHA256withDSAinP1363Format"),
        signature("SHA384withDSAinP1363Format", DSA_P1363, Hash.SHA384, "SHA384withDSAinP1363Format"),
        signature("SHA512withDSAinP1363Format", DSA_P1363, Hash.SHA512, "SHA512withDSAinP1363Format"),
        signature("SHA3-224withDSAinP1363Format", DSA_P1363, Hash.SHA3_224, "SHA3-224withDSAinP1363Format"),
        signature("SHA3-256withDSAinP1363Format", DSA_P1363, Hash.SHA3_256, "SHA3-256withDSAinP1363Format"),
        signature("SHA3-384withDSAinP1363Format", DSA_P1363, Hash.SHA3_384, "SHA3-384withDSAinP1363Format"),
        signature("SHA3-512withDSAinP1363Format", DSA_P1363, Hash.SHA3_512, "SHA3-512withDSAinP1363Format"),

        // Ciphers
        block("AES/ECB/NoPadding", CKM_AES_ECB, false),
        block("AES/ECB/PKCS5Padding", CKM_AES_ECB, true, "AES"),
        block("AES/CBC/NoPadding", CKM_AES_CBC, false),
        block("AES/CBC/PKCS5Padding", CKM_AES_CBC, true),
        block("AES/CTR/NoPadding", CKM_AES_CTR, false),
        aead("AES/GCM/NoPadding", TokenAeadCipher.Algorithm.GCM),
        aead("AES/CCM/NoPadding", TokenAeadCipher.Algorithm.CCM),
        aead("ChaCha20-Poly1305", TokenAeadCipher.Algorithm.CHACHA20_POLY1305, "ChaCha20-Poly1305/None/NoPadding"),
        wrap("AES/KW/NoPadding", "AESWrap", CKM_AES_KEY_WRAP),
        // The number of edition 3.0 first: the older one means another padding where a module has both.
        wrap("AES/KWP/NoPadding", "AESWrapPad", CKM_AES_KEY_WRAP_KWP, CKM_AES_KEY_WRAP_PAD),
        rsa("RSA/ECB/PKCS1Padding", CKM_RSA_PKCS, null, "RSA"),
        rsa("RSA/ECB/OAEPPadding", CKM_RSA_PKCS_OAEP, Hash.SHA1),
        rsa("RSA/ECB/OAEPWithSHA-1AndMGF1Padding", CKM_RSA_PKCS_OAEP, Hash.SHA1),
        rsa("RSA/ECB/OAEPWithSHA-224AndMGF1Padding", CKM_RSA_PKCS_OAEP, Hash.SHA224),
        rsa("RSA/ECB/OAEPWithSHA-256AndMGF1Padding", CKM_RSA_PKCS_OAEP, Hash.SHA256),
        rsa("RSA/ECB/OAEPWithSHA-384AndMGF1Padding", CKM_RSA_PKCS_OAEP, Hash.SHA384),
        rsa("RSA/ECB/OAEPWithSHA-512AndMGF1Padding", CKM_RSA_PKCS_OAEP, Hash.SHA512),

        // MACs
        mac("HmacMD5", Hash.MD5),
        mac("HmacSHA1", Hash.SHA1),
        mac("HmacSHA224", Hash.SHA224),
        mac("HmacSHA256", Hash.SHA256),
        mac("HmacSHA384", Hash.SHA384),
        mac("HmacSHA512", Hash.SHA512),
        mac("HmacSHA512/224", Hash.SHA512_224),
        mac("HmacSHA512/256", Hash.SHA512_256),
        mac("HmacSHA3-224", Hash.SHA3_224),
        mac("HmacSHA3-256", Hash.SHA3_256),
        mac("HmacSHA3-384", Hash.SHA3_384),
        mac("HmacSHA3-512", Hash.SHA3_512),
        row("Mac", "AESCMAC", TokenSecretKey.class, List.of("AES"), CKF_SIGN, List.of(CKM_AES_CMAC),
            token -> new TokenMac(token, CKM_AES_CMAC, 16), "CMAC"),

        // Key agreement
        agreement("ECDH", KeyKind.EC, null),
        agreement("XDH", KeyKind.XDH, null),
        agreement("X25519", KeyKind.XDH, "X25519"),
        agreement("X448", KeyKind.XDH, "X448"),

        // Generators
        pairs("RSA", TokenKeyPairGenerator.Algorithm.RSA, null, CKM_RSA_PKCS_KEY_PAIR_GEN),
        pairs("EC", TokenKeyPairGenerator.Algorithm.EC, null, CKM_EC_KEY_PAIR_GEN),
        pairs("DSA", TokenKeyPairGenerator.Algorithm.DSA, null, CKM_DSA_KEY_PAIR_GEN),
        pairs("EdDSA", TokenKeyPairGenerator.Algorithm.EDDSA, null, CKM_EC_EDWARDS_KEY_PAIR_GEN),
        pairs("Ed25519", TokenKeyPairGenerator.Algorithm.EDDSA, "Ed25519", CKM_EC_EDWARDS_KEY_PAIR_GEN),
        pairs("Ed448", TokenKeyPairGenerator.Algorithm.EDDSA, "Ed448", CKM_EC_EDWARDS_KEY_PAIR_GEN),
        // SoftHSM2 makes these with the mechanism of Edwards curves.
        pairs("XDH", TokenKeyPairGenerator.Algorithm.XDH, null, CKM_EC_MONTGOMERY_KEY_PAIR_GEN,
            CKM_EC_EDWARDS_KEY_PAIR_GEN),
        pairs("X25519", TokenKeyPairGenerator.Algorithm.XDH, "X25519", CKM_EC_MONTGOMERY_KEY_PAIR_GEN,
            CKM_EC_EDWARDS_KEY_PAIR_GEN),
        pairs("X448", TokenKeyPairGenerator.Algorithm.XDH, "X448", CKM_EC_MONTGOMERY_KEY_PAIR_GEN,
            CKM_EC_EDWARDS_KEY_PAIR_GEN),
        pairs("ML-DSA", TokenKeyPairGenerator.Algorithm.ML_DSA, null, CKM_ML_DSA_KEY_PAIR_GEN),
        pairs("ML-DSA-44", TokenKeyPairGenerator.Algorithm.ML_DSA, "ML-DSA-44", CKM_ML_DSA_KEY_PAIR_GEN),
        pairs("ML-DSA-65", TokenKeyPairGenerator.Algorithm.ML_DSA, "ML-DSA-65", CKM_ML_DSA_KEY_PAIR_GEN),
        pairs("ML-DSA-87", TokenKeyPairGenerator.Algorithm.ML_DSA, "ML-DSA-87", CKM_ML_DSA_KEY_PAIR_GEN),
        generator("AES", CKM_AES_KEY_GEN, 256),
        generator("ChaCha20", CKM_CHACHA20_KEY_GEN, 256),
        generator("Generic", CKM_GENERIC_SECRET_KEY_GEN, 256),
        generator("HmacMD5", CKM_GENERIC_SECRET_KEY_GEN, 512),
        generator("HmacSHA1", CKM_GENERIC_SECRET_KEY_GEN, 512),
        generator("HmacSHA224", CKM_GENERIC_SECRET_KEY_GEN, 512),
        generator("HmacSHA256", CKM_GENERIC_SECRET_KEY_GEN, 512),
        generator("HmacSHA384", CKM_GENERIC_SECRET_KEY_GEN, 1024),
        generator("HmacSHA512", CKM_GENERIC_SECRET_KEY_GEN, 1024),
        generator("HmacSHA512/224", CKM_GENERIC_SECRET_KEY_GEN, 1024),
        generator("HmacSHA512/256", CKM_GENERIC_SECRET_KEY_GEN, 1024),
        generator("HmacSHA3-224", CKM_GENERIC_SECRET_KEY_GEN, 1152),
        generator("HmacSHA3-256", CKM_GENERIC_SECRET_KEY_GEN, 1088),
        generator("HmacSHA3-384", CKM_GENERIC_SECRET_KEY_GEN, 832),
        generator("HmacSHA3-512", CKM_GENERIC_SECRET_KEY_GEN, 576),
        row("SecureRandom", "PKCS11", null, List.of(), 0, List.of(), TokenRandom::new),

        // Import of keys
        factory("RSA", CKM_RSA_PKCS, CKM_RSA_PKCS_PSS, CKM_RSA_PKCS_OAEP),
        factory("EC", CKM_ECDSA, CKM_ECDH1_DERIVE),
        factory("DSA", CKM_DSA),
        factory("EdDSA", CKM_EDDSA),
        factory("XDH", CKM_EC_MONTGOMERY_KEY_PAIR_GEN),
        secrets("AES", CKM_AES_ECB, CKM_AES_CBC, CKM_AES_GCM),
        secrets("ChaCha20", CKM_CHACHA20_POLY1305),
        secrets("Generic", CKM_GENERIC_SECRET_KEY_GEN, CKM_SHA256_HMAC));

    private Services() {
    }

    private static Row row(String type, String algorithm, Class<? extends Key> keyClass, List<String> keyAlgorithms,
        int flag, List<Integer> mechanisms, Function<Token, Object> constructor, String... aliases) {
        return new Row(type, algorithm, List.of(aliases), keyClass, keyAlgorithms, flag, mechanisms, null, constructor);
    }

    private static List<Integer> list(int... mechanisms) {
        return Arrays.stream(mechanisms).boxed().collect(Collectors.toList());
    }

    private static Row signature(String algorithm, TokenSignature.Scheme scheme, Hash hash, String jdkName,
        String... aliases) {
        // A token that has PSS has it with the hashes for which it has a mechanism of their own.
        int hashing = scheme.hashing(hash);
        return row("Signature", algorithm, TokenPrivateKey.class, List.of(scheme.kind.algorithm), CKF_SIGN,
            hashing == 0 ? list(scheme.mechanism) : scheme == PSS ? list(hashing) : list(scheme.mechanism, hashing),
            token -> new TokenSignature(token, scheme, jdkName, hash), aliases);
    }

    private static Row block(String algorithm, int mechanism, boolean padded, String... aliases) {
        return row("Cipher", algorithm, TokenSecretKey.class, List.of("AES"), CKF_ENCRYPT, List.of(mechanism),
            token -> new TokenBlockCipher(token, mechanism, padded), aliases);
    }

    private static Row aead(String name, TokenAeadCipher.Algorithm algorithm, String... aliases) {
        return row("Cipher", name, TokenSecretKey.class, List.of(algorithm.kind.algorithm), CKF_ENCRYPT,
            List.of(algorithm.mechanism), token -> new TokenAeadCipher(token, algorithm), aliases);
    }

    private static Row wrap(String algorithm, String alias, int... mechanisms) {
        return row("Cipher", algorithm, TokenSecretKey.class, List.of("AES"), CKF_WRAP, list(mechanisms),
            token -> new TokenWrapCipher(token, token.first(mechanisms)), alias);
    }

    private static Row rsa(String algorithm, int mechanism, Hash hash, String... aliases) {
        return new Row("Cipher", algorithm, List.of(aliases), TokenPrivateKey.class, List.of("RSA"), CKF_DECRYPT,
            List.of(mechanism), hash, token -> new TokenRsaCipher(token, mechanism, hash));
    }

    private static Row mac(String algorithm, Hash hash) {
        return row("Mac", algorithm, TokenSecretKey.class, List.of(), CKF_SIGN, List.of(hash.hmac),
            token -> new TokenMac(token, hash.hmac, hash.length));
    }

    private static Row agreement(String algorithm, KeyKind kind, String curve) {
        return row("KeyAgreement", algorithm, TokenPrivateKey.class, List.of(kind.algorithm), CKF_DERIVE,
            List.of(CKM_ECDH1_DERIVE), token -> new TokenKeyAgreement(token, kind, curve));
    }

    private static Row pairs(String name, TokenKeyPairGenerator.Algorithm algorithm, String fixed, int... mechanisms) {
        return row("KeyPairGenerator", name, null, List.of(), 0, list(mechanisms), // whose flags NSS mixes up
            token -> new TokenKeyPairGenerator(token, algorithm, token.first(mechanisms), fixed));
    }

    private static Row generator(String algorithm, int mechanism, int bits) {
        return row("KeyGenerator", algorithm, null, List.of(), CKF_GENERATE, List.of(mechanism),
            token -> new TokenKeyGenerator(token, algorithm, mechanism, bits));
    }

    private static Row factory(String algorithm, int... mechanisms) {
        return row("KeyFactory", algorithm, null, List.of(), 0, list(mechanisms),
            token -> new TokenKeyFactory(token, algorithm));
    }

    private static Row secrets(String algorithm, int... mechanisms) {
        return row("SecretKeyFactory", algorithm, null, List.of(), 0, list(mechanisms), TokenSecretKeyFactory::new);
    }

    /** A row as the service of a provider. */
    static final class TokenService extends Provider.Service {
        private final Row row;
        private final Token token;

        TokenService(Provider provider, Row row, Token token) {
            super(provider, row.type, row.algorithm, TokbridgeProvider.class.getName(), row.aliases, null);
            this.row = row;
            this.token = token;
        }

        @Override
        public Object newInstance(Object parameter) {
            return row.constructor.apply(token);
        }

        /** Accepts keys of this token alone, so that other keys go to other providers where none is named. */
        @Override
        public boolean supportsParameter(Object parameter) {
            return row.keyClass != null && row.keyClass.isInstance(parameter)
                && ((TokenKey) parameter).token == token && (row.keyAlgorithms.isEmpty()
                    || row.keyAlgorithms.contains(((TokenKey) parameter).getAlgorithm()));
        }
    }
}
