package com.kelvane.pkcs11.provider;

import java.security.InvalidKeyException;
import java.security.Key;
import java.security.PrivateKey;
import javax.crypto.SecretKey;

/** The keys with which operations are initialised: those of the token, and those of software, which are imported. */
final class Keys {
    private Keys() {
    }

    /** Returns a secret key that a cipher needs to be of a kind. */
    static TokenSecretKey secret(Token token, Key key, KeyKind kind) throws InvalidKeyException {
        TokenSecretKey own = secret(token, key);
        check(own.getType() == kind.type, own, kind);
        return own;
    }

    static TokenSecretKey secret(Token token, Key key) throws InvalidKeyException {
        return key instanceof SecretKey && !(key instanceof TokenKey)
            ? TokenSecretKeyFactory.imported(token, (SecretKey) key, new TokenKeySpec(null))
            : own(token, key, TokenSecretKey.class, "secret");
    }

    static TokenPrivateKey privateKey(Token token, Key key, KeyKind kind) throws InvalidKeyException {
        TokenPrivateKey own = key instanceof PrivateKey && !(key instanceof TokenKey)
            ? TokenKeyFactory.imported(token, (PrivateKey) key, new TokenKeySpec(null))
            : own(token, key, TokenPrivateKey.class, "private");
        check(own.getAlgorithm().equals(kind.algorithm), own, kind);
        return own;
    }

    private static void check(boolean isOfKind, TokenKey key, KeyKind kind) throws InvalidKeyException {
        if (!isOfKind) {
            throw new InvalidKeyException("a key of " + kind.algorithm + " is needed, not " + key.getAlgorithm());
        }
    }

    private static <T extends TokenKey> T own(Token token, Key key, Class<T> type, String name)
        throws InvalidKeyException {
        if (!type.isInstance(key)) {
            throw new InvalidKeyException("a " + name + " key is needed, not "
                + (key == null ? "null" : key.getClass().getName()));
        }
        T own = type.cast(key);
        if (own.token != token) {
            throw new InvalidKeyException("the key is on another token: " + key);
        }
        if (own.isDestroyed()) {
            throw new InvalidKeyException("The key was destroyed");
        }
        return own;
    }
}
