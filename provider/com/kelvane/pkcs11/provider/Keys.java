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
        if (own.getType() != kind.type) {
            throw new InvalidKeyException("a key of " + kind.algorithm + " is needed, not " + own.getAlgorithm());
        }
        return own;
    }

    static TokenSecretKey secret(Token token, Key key) throws InvalidKeyException {
        if (key instanceof TokenSecretKey) {
            check(token, (TokenKey) key);
            return (TokenSecretKey) key;
        }
        if (!(key instanceof SecretKey)) {
            throw new InvalidKeyException("a secret key is needed, not " + describe(key));
        }
        return TokenSecretKeyFactory.imported(token, (SecretKey) key, new TokenKeySpec(null));
    }

    static TokenPrivateKey privateKey(Token token, Key key, KeyKind... kinds) throws InvalidKeyException {
        TokenPrivateKey own;
        if (key instanceof TokenPrivateKey) {
            check(token, (TokenKey) key);
            own = (TokenPrivateKey) key;
        } else if (key instanceof PrivateKey) {
            own = TokenKeyFactory.imported(token, (PrivateKey) key, new TokenKeySpec(null));
        } else {
            throw new InvalidKeyException("a private key is needed, not " + describe(key));
        }
        for (KeyKind kind : kinds) {
            if (own.getAlgorithm().equals(kind.algorithm)) {
                return own;
            }
        }
        throw new InvalidKeyException("a key of " + kinds[0].algorithm + " is needed, not " + own.getAlgorithm());
    }

    private static void check(Token token, TokenKey key) throws InvalidKeyException {
        if (key.token != token) {
            throw new InvalidKeyException("the key is on another token: " + key);
        }
        if (key.isDestroyed()) {
            throw new InvalidKeyException("The key was destroyed");
        }
    }

    private static String describe(Key key) {
        return key == null ? "null" : key.getClass().getName();
    }
}
