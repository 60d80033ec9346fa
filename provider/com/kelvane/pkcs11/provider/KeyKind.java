package com.kelvane.pkcs11.provider;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.Template;
import java.util.Arrays;
import java.util.Locale;

/** The kinds of keys: their types on the token, their names in JCA, and all that keys of a kind can do. */
enum KeyKind {
    RSA(CKK_RSA, "RSA", new int[] {CKA_SIGN, CKA_DECRYPT, CKA_UNWRAP}, CKA_VERIFY, CKA_ENCRYPT, CKA_WRAP),
    EC(CKK_EC, "EC", new int[] {CKA_SIGN, CKA_DERIVE}, CKA_VERIFY),
    DSA(CKK_DSA, "DSA", new int[] {CKA_SIGN}, CKA_VERIFY),
    EDDSA(CKK_EC_EDWARDS, "EdDSA", new int[] {CKA_SIGN}, CKA_VERIFY),
    XDH(CKK_EC_MONTGOMERY, "XDH", new int[] {CKA_DERIVE}),
    ML_DSA(CKK_ML_DSA, "ML-DSA", new int[] {CKA_SIGN}, CKA_VERIFY),
    AES(CKK_AES, "AES", new int[] {CKA_ENCRYPT, CKA_DECRYPT, CKA_WRAP, CKA_UNWRAP, CKA_SIGN, CKA_VERIFY}),
    CHACHA20(CKK_CHACHA20, "ChaCha20", new int[] {CKA_ENCRYPT, CKA_DECRYPT}),
    GENERIC(CKK_GENERIC_SECRET, "Generic", new int[] {CKA_SIGN, CKA_VERIFY, CKA_DERIVE});

    final int type;
    final String algorithm;

    /** The uses of a private or secret key, and of the public key to it. */
    private final int[] uses, publicUses;

    KeyKind(int type, String algorithm, int[] uses, int... publicUses) {
        this.type = type;
        this.algorithm = algorithm;
        this.uses = uses;
        this.publicUses = publicUses;
    }

    /** Returns the JCA name of a key type. */
    static String algorithm(int type) {
        return Arrays.stream(values()).filter(each -> each.type == type).map(each -> each.algorithm).findFirst()
            .orElseGet(() -> nameOf("CKK_", type).substring(4));
    }

    /** Returns the kind of secret keys of a JCA name; null if there is none. */
    static KeyKind ofSecret(String algorithm) {
        switch (algorithm.toUpperCase(Locale.ROOT)) {
            case "AES":
                return AES;
            case "CHACHA20":
            case "CHACHA20-POLY1305":
                return CHACHA20;
            default:
                return algorithm.regionMatches(true, 0, "Hmac", 0, 4) || algorithm.equalsIgnoreCase("Generic") ? GENERIC
                    : null;
        }
    }

    /** Returns the kind of private keys of a JCA name; null if there is none. */
    static KeyKind ofPrivate(String algorithm) {
        switch (algorithm) {
            case "RSASSA-PSS":
                return RSA;
            case "Ed25519":
            case "Ed448":
                return EDDSA;
            case "X25519":
            case "X448":
                return XDH;
            default:
                return Arrays.stream(values()).filter(each -> each.ordinal() < AES.ordinal()
                    && each.algorithm.equals(algorithm)).findFirst().orElse(null);
        }
    }

    /** Returns the attributes of a private or secret key to be generated: its type follows from the mechanism. */
    Template generated(Token token, TokenKeySpec keySpec) {
        return withUses(common(keySpec), uses).and(CKA_PRIVATE, token.info.isLoginRequired(),
            CKA_SENSITIVE, keySpec.isSensitive(), CKA_EXTRACTABLE, keySpec.isExtractable());
    }

    /** Returns the attributes of a private or secret key to be created, unwrapped or derived. */
    Template created(Token token, TokenKeySpec keySpec) {
        return generated(token, keySpec).and(CKA_CLASS, ordinal() >= AES.ordinal() ? CKO_SECRET_KEY : CKO_PRIVATE_KEY,
            CKA_KEY_TYPE, type);
    }

    /** Returns the attributes of the public key to a private key to be generated. */
    Template generatedPublic(TokenKeySpec keySpec) {
        return withUses(common(keySpec), publicUses);
    }

    private static Template common(TokenKeySpec keySpec) {
        Template common = Template.of(CKA_TOKEN, keySpec.isOnToken(), CKA_ID, keySpec.getId());
        return keySpec.getLabel() == null ? common : common.and(CKA_LABEL, keySpec.getLabel());
    }

    private static Template withUses(Template template, int[] uses) {
        Template result = template;
        for (int use : uses) {
            result = result.and(use, true);
        }
        return result;
    }
}
