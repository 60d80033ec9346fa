package com.kelvane.pkcs11.provider;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.Template;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import java.security.InvalidKeyException;
import java.security.Key;
import java.security.spec.InvalidKeySpecException;
import java.security.spec.KeySpec;
import javax.crypto.SecretKey;
import javax.crypto.SecretKeyFactorySpi;
import javax.crypto.spec.SecretKeySpec;

/** Imports secret keys of software to the token, as session keys. */
final class TokenSecretKeyFactory extends SecretKeyFactorySpi {
    private final Token token;

    TokenSecretKeyFactory(Token token) {
        this.token = token;
    }

    @Override
    protected SecretKey engineGenerateSecret(KeySpec keySpec) throws InvalidKeySpecException {
        if (!(keySpec instanceof SecretKeySpec)) {
            throw new InvalidKeySpecException("SecretKeySpec is needed");
        }
        try {
            return imported(token, (SecretKeySpec) keySpec, new TokenKeySpec(null));
        } catch (InvalidKeyException e) {
            throw new InvalidKeySpecException(e.getMessage(), e);
        }
    }

    /** Returns the value of a key, which has to be extractable and not sensitive. */
    @Override
    protected KeySpec engineGetKeySpec(SecretKey key, Class<?> keySpec) throws InvalidKeySpecException {
        if (!keySpec.isAssignableFrom(SecretKeySpec.class)) {
            throw new InvalidKeySpecException("only SecretKeySpec is supported");
        }
        try {
            byte[] value = key instanceof TokenSecretKey
                ? token.use((TokenSecretKey) key, (session, object) -> object.getByteArrayAttributeValue(CKA_VALUE))
                : key.getEncoded();
            return new SecretKeySpec(value, key.getAlgorithm());
        } catch (InvalidKeyException | PKCS11Exception e) {
            throw new InvalidKeySpecException("The token does not reveal the key: " + e.getMessage(), e);
        }
    }

    @Override
    protected SecretKey engineTranslateKey(SecretKey key) throws InvalidKeyException {
        return key instanceof TokenSecretKey && ((TokenSecretKey) key).token == token ? key
            : imported(token, key, new TokenKeySpec(null));
    }

    /**
     * Creates a secret key of software on the token, as a session key.
     *
     * @throws InvalidKeyException if the key has no value, or the token refuses it
     */
    static TokenSecretKey imported(Token token, Key key, TokenKeySpec keySpec) throws InvalidKeyException {
        TokenKeySpec identified = keySpec.identified();
        Template template = template(token, key, identified);
        try {
            return created(token, key.getAlgorithm(), identified, (at, session) -> session.createObject(template));
        } catch (PKCS11Exception e) {
            throw new InvalidKeyException("The token does not import the key: " + e.getMessage(), e);
        }
    }

    /** Returns the attributes with which a secret key of software is created on the token. */
    static Template template(Token token, Key key, TokenKeySpec keySpec) throws InvalidKeyException {
        KeyKind kind = key instanceof SecretKey ? KeyKind.ofSecret(key.getAlgorithm()) : null;
        byte[] value = kind == null ? null : key.getEncoded();
        if (value == null) {
            throw new InvalidKeyException("not a secret key that can be imported: "
                + (key == null ? "null" : key.getAlgorithm()));
        }
        return kind.created(token, keySpec).and(CKA_VALUE, value);
    }

    /** Creates a secret key on the token by a call of the module. */
    static TokenSecretKey created(Token token, String algorithm, TokenKeySpec keySpec,
        Token.Work<NativePKCS11Object> call) throws InvalidKeyException {
        return token.create(keySpec, (at, session) -> {
            NativePKCS11Object object = call.run(at, session);
            return new TokenSecretKey(token, algorithm, at, object, object.readAttributes(
                keySpec.isOnToken() ? TokenSecretKey.ATTRIBUTES : TokenSecretKey.ATTRIBUTES_OF_SESSION));
        });
    }
}
