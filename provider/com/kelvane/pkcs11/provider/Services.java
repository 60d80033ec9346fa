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
import java.util.stream.Stream;

/**
 * The table of services. A token offers a row if it has one of the row's mechanisms for the row's use. The table of
 * docs/provider.md is generated from these rows.
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

    /** The services that return public keys, for which the JDK has to have a class. */
    private static final Set<String> KEYS = Set.of("KeyPairGenerator", "KeyFactory");

    /** The rows, in the order of the page. */
    static final List<Row> ROWS = Stream.of(
        Stream.of(row("KeyStore", "PKCS11", null, List.of(), 0, List.of(), TokenKeyStore::new)),
        signatures("NONEwithRSA", PKCS1, "withRSA"),
        signatures("RSASSA-PSS", PSS, "withRSAandMGF1"),
        signatures("NONEwithECDSA", ECDSA, "withECDSA"),
        signatures("NONEwithECDSAinP1363Format", ECDSA_P1363, "withECDSAinP1363Format"),
        Stream.of("EdDSA", "Ed25519", "Ed448").map(name -> signature(name, EDDSA, null, name)),
        Stream.of("ML-DSA", "ML-DSA-44", "ML-DSA-65", "ML-DSA-87").map(name -> signature(name, ML_DSA, null, name)),
        signatures("NONEwithDSA", DSA, "withDSA"),
        signatures("NONEwithDSAinP1363Format", DSA_P1363, "withDSAinP1363Format"),
        Stream.of(
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
            rsa("RSA/ECB/OAEPPadding", CKM_RSA_PKCS_OAEP, Hash.SHA1)),
        Stream.of(Hash.SHA1, Hash.SHA224, Hash.SHA256, Hash.SHA384, Hash.SHA512).map(hash ->
            rsa("RSA/ECB/OAEPWith" + hash.algorithm + "AndMGF1Padding", CKM_RSA_PKCS_OAEP, hash)),
        Arrays.stream(Hash.values()).map(hash -> mac("Hmac" + hash.prefix(), hash.hmac, hash.length, List.of())),
        Stream.of(mac("AESCMAC", CKM_AES_CMAC, 16, List.of("AES"), "CMAC"),
            agreement("ECDH", KeyKind.EC, null),
            agreement("XDH", KeyKind.XDH, null),
            agreement("X25519", KeyKind.XDH, "X25519"),
            agreement("X448", KeyKind.XDH, "X448"),
            pairs("RSA", TokenKeyPairGenerator.Algorithm.RSA, CKM_RSA_PKCS_KEY_PAIR_GEN),
            pairs("EC", TokenKeyPairGenerator.Algorithm.EC, CKM_EC_KEY_PAIR_GEN),
            pairs("DSA", TokenKeyPairGenerator.Algorithm.DSA, CKM_DSA_KEY_PAIR_GEN)),
        Stream.of("EdDSA", "Ed25519", "Ed448").map(name ->
            pairs(name, TokenKeyPairGenerator.Algorithm.EDDSA, CKM_EC_EDWARDS_KEY_PAIR_GEN)),
        // SoftHSM2 generates these with the mechanism of Edwards curves.
        Stream.of("XDH", "X25519", "X448").map(name -> pairs(name, TokenKeyPairGenerator.Algorithm.XDH,
            CKM_EC_MONTGOMERY_KEY_PAIR_GEN, CKM_EC_EDWARDS_KEY_PAIR_GEN)),
        Stream.of("ML-DSA", "ML-DSA-44", "ML-DSA-65", "ML-DSA-87").map(name ->
            pairs(name, TokenKeyPairGenerator.Algorithm.ML_DSA, CKM_ML_DSA_KEY_PAIR_GEN)),
        Stream.of(
            generator("AES", CKM_AES_KEY_GEN, 256),
            generator("ChaCha20", CKM_CHACHA20_KEY_GEN, 256),
            generator("Generic", CKM_GENERIC_SECRET_KEY_GEN, 256)),
        Arrays.stream(Hash.values()).map(hash ->
            generator("Hmac" + hash.prefix(), CKM_GENERIC_SECRET_KEY_GEN, hash.blockBits())),
        Stream.of(
            row("SecureRandom", "PKCS11", null, List.of(), 0, List.of(), TokenRandom::new),
            factory("RSA", CKM_RSA_PKCS, CKM_RSA_PKCS_PSS, CKM_RSA_PKCS_OAEP),
            factory("EC", CKM_ECDSA, CKM_ECDH1_DERIVE),
            factory("DSA", CKM_DSA),
            factory("EdDSA", CKM_EDDSA),
            factory("XDH", CKM_EC_MONTGOMERY_KEY_PAIR_GEN),
            secrets("AES", CKM_AES_ECB, CKM_AES_CBC, CKM_AES_GCM),
            secrets("ChaCha20", CKM_CHACHA20_POLY1305),
            secrets("Generic", CKM_GENERIC_SECRET_KEY_GEN, CKM_SHA256_HMAC)))
        .flatMap(rows -> rows).collect(Collectors.toUnmodifiableList());

    private Services() {
    }

    private static Row row(String type, String algorithm, Class<? extends Key> keyClass, List<String> keyAlgorithms,
        int flag, List<Integer> mechanisms, Function<Token, Object> constructor, String... aliases) {
        return new Row(type, algorithm, List.of(aliases), keyClass, keyAlgorithms, flag, mechanisms, null, constructor);
    }

    private static List<Integer> list(int... mechanisms) {
        return Arrays.stream(mechanisms).boxed().collect(Collectors.toList());
    }

    /** The algorithm without a hash in its name, then one for each hash. */
    private static Stream<Row> signatures(String unhashed, TokenSignature.Scheme scheme, String suffix) {
        return Stream.concat(Stream.of(signature(unhashed, scheme, null, unhashed)), Arrays.stream(Hash.values())
            .filter(hash -> scheme == PKCS1 || scheme.hashing(hash) != 0).map(hash -> scheme == PSS
                ? signature(hash.prefix() + suffix, scheme, hash, unhashed, hash.prefix() + "with" + unhashed)
                : signature(hash.prefix() + suffix, scheme, hash, hash.prefix() + suffix)));
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

    private static Row mac(String algorithm, int mechanism, int length, List<String> keys, String... aliases) {
        return row("Mac", algorithm, TokenSecretKey.class, keys, CKF_SIGN, List.of(mechanism),
            token -> new TokenMac(token, mechanism, length), aliases);
    }

    private static Row agreement(String algorithm, KeyKind kind, String curve) {
        return row("KeyAgreement", algorithm, TokenPrivateKey.class, List.of(kind.algorithm), CKF_DERIVE,
            List.of(CKM_ECDH1_DERIVE), token -> new TokenKeyAgreement(token, kind, curve));
    }

    private static Row pairs(String name, TokenKeyPairGenerator.Algorithm algorithm, int... mechanisms) {
        String fixed = name.equals(algorithm.kind.algorithm) ? null : name;
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
