package com.kelvane.pkcs11.provider;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.Template;
import java.io.IOException;
import java.security.GeneralSecurityException;
import java.security.InvalidKeyException;
import java.security.Key;
import java.security.KeyFactory;
import java.security.KeyFactorySpi;
import java.security.NoSuchAlgorithmException;
import java.security.PrivateKey;
import java.security.Provider;
import java.security.PublicKey;
import java.security.Security;
import java.security.interfaces.DSAPrivateKey;
import java.security.interfaces.ECPrivateKey;
import java.security.interfaces.RSAPrivateCrtKey;
import java.security.interfaces.RSAPrivateKey;
import java.security.spec.InvalidKeySpecException;
import java.security.spec.KeySpec;
import java.util.Arrays;

/** Imports private keys of software to the token, as session keys. Public keys are the JDK's. */
final class TokenKeyFactory extends KeyFactorySpi {
    private final Token token;
    private final String algorithm;

    TokenKeyFactory(Token token, String algorithm) {
        this.token = token;
        this.algorithm = algorithm;
    }

    /** Returns the first provider that has a key factory in software, wherever ours stand in the list. */
    static Provider software(String algorithm) throws NoSuchAlgorithmException {
        return Arrays.stream(Security.getProviders()).filter(each -> !(each instanceof TokbridgeProvider)
            && each.getService("KeyFactory", algorithm) != null).findFirst().orElseThrow(
                () -> new NoSuchAlgorithmException("no provider of software has keys of " + algorithm));
    }

    /**
     * Returns whether the JDK knows keys of an algorithm. The list of providers is not used: while a provider is
     * configured by a line of java.security, that would remove it from the list.
     */
    static boolean isKnown(String algorithm) {
        try {
            KeyFactory.getInstance(algorithm);
            return true;
        } catch (NoSuchAlgorithmException e) {
            return false;
        }
    }

    private KeyFactory software() throws InvalidKeySpecException {
        try {
            return KeyFactory.getInstance(algorithm, software(algorithm));
        } catch (NoSuchAlgorithmException e) {
            throw new InvalidKeySpecException(e);
        }
    }

    @Override
    protected PublicKey engineGeneratePublic(KeySpec keySpec) throws InvalidKeySpecException {
        return software().generatePublic(keySpec);
    }

    @Override
    protected PrivateKey engineGeneratePrivate(KeySpec keySpec) throws InvalidKeySpecException {
        try {
            return imported(token, software().generatePrivate(keySpec), new TokenKeySpec(null));
        } catch (InvalidKeyException e) {
            throw new InvalidKeySpecException(e.getMessage(), e);
        }
    }

    @Override
    protected <T extends KeySpec> T engineGetKeySpec(Key key, Class<T> keySpec) throws InvalidKeySpecException {
        if (key instanceof TokenKey) {
            throw new InvalidKeySpecException("The key stays on its token");
        }
        return software().getKeySpec(key, keySpec);
    }

    @Override
    protected Key engineTranslateKey(Key key) throws InvalidKeyException {
        if (key instanceof PrivateKey) {
            return Keys.privateKey(token, key, KeyKind.ofPrivate(algorithm));
        }
        try {
            return software().translateKey(key);
        } catch (InvalidKeySpecException e) {
            throw new InvalidKeyException(e.getMessage(), e);
        }
    }

    /**
     * Creates a private key of software on the token, as a session key.
     *
     * @throws InvalidKeyException if the key's kind or the token does not allow it
     */
    static TokenPrivateKey imported(Token token, PrivateKey key, TokenKeySpec keySpec) throws InvalidKeyException {
        Template template = template(token, key, keySpec.identified());
        try {
            return token.create(keySpec, (at, session) ->
                TokenPrivateKey.of(token, at, session.createObject(template), null));
        } catch (PKCS11Exception e) {
            throw new InvalidKeyException("The token does not import the key: " + e.getMessage(), e);
        }
    }

    /** Returns the attributes with which a private key of software is created on the token. */
    static Template template(Token token, PrivateKey key, TokenKeySpec keySpec) throws InvalidKeyException {
        KeyKind kind = key instanceof TokenKey ? null : KeyKind.ofPrivate(key.getAlgorithm());
        if (kind == null) {
            throw new InvalidKeyException("not a private key that can be imported: " + key.getAlgorithm());
        }
        try {
            return values(kind.created(token, keySpec), key);
        } catch (IOException | GeneralSecurityException e) {
            throw new InvalidKeyException("The key cannot be imported: " + e.getMessage(), e);
        }
    }

    private static Template values(Template template, PrivateKey key) throws GeneralSecurityException, IOException {
        if (key instanceof RSAPrivateKey) {
            RSAPrivateKey rsa = (RSAPrivateKey) key;
            Template numbers = template.and(CKA_MODULUS, rsa.getModulus(),
                CKA_PRIVATE_EXPONENT, rsa.getPrivateExponent());
            if (!(key instanceof RSAPrivateCrtKey)) {
                return numbers;
            }
            RSAPrivateCrtKey crt = (RSAPrivateCrtKey) key;
            return numbers.and(CKA_PUBLIC_EXPONENT, crt.getPublicExponent(), CKA_PRIME_1, crt.getPrimeP(),
                CKA_PRIME_2, crt.getPrimeQ(), CKA_EXPONENT_1, crt.getPrimeExponentP(), CKA_EXPONENT_2,
                crt.getPrimeExponentQ(), CKA_COEFFICIENT, crt.getCrtCoefficient());
        }
        if (key instanceof ECPrivateKey) {
            ECPrivateKey ec = (ECPrivateKey) key;
            int length = (ec.getParams().getOrder().bitLength() + 7) / 8;
            return template.and(CKA_EC_PARAMS, TokenKeyPairGenerator.encodedCurve(ec.getParams()),
                CKA_VALUE, Der.unsigned(ec.getS(), length));
        }
        if (key instanceof DSAPrivateKey) {
            DSAPrivateKey dsa = (DSAPrivateKey) key;
            return template.and(CKA_PRIME, dsa.getParams().getP(), CKA_SUBPRIME, dsa.getParams().getQ(),
                CKA_BASE, dsa.getParams().getG(), CKA_VALUE, Der.unsigned(dsa.getX(),
                    (dsa.getParams().getQ().bitLength() + 7) / 8));
        }
        return curveValues(template, key);
    }

    /** Reads the PKCS #8 encoding of RFC 8410: version, identifier of the curve, and the value in two OCTET STRINGs. */
    private static Template curveValues(Template template, PrivateKey key) throws InvalidKeyException {
        byte[] encoded = key.getEncoded();
        int curveAt = 7;
        int valueAt = 16;
        TokenPrivateKey.Curve curve = encoded == null || encoded.length <= valueAt ? null
            : TokenPrivateKey.Curve.of(Arrays.copyOfRange(encoded, curveAt, curveAt + 5));
        if (curve == null) {
            throw new InvalidKeyException("not a private key that can be imported: " + key.getAlgorithm());
        }
        byte[] value = Arrays.copyOfRange(encoded, valueAt, valueAt + encoded[valueAt - 1]);
        Arrays.fill(encoded, (byte) 0);
        return template.and(CKA_EC_PARAMS, curve.identifier, CKA_VALUE, value);
    }
}
