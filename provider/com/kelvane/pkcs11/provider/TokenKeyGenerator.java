package com.kelvane.pkcs11.provider;

import static com.kelvane.pkcs11.PKCS11Constants.CKA_VALUE_LEN;

import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.Template;
import java.security.InvalidAlgorithmParameterException;
import java.security.InvalidKeyException;
import java.security.InvalidParameterException;
import java.security.ProviderException;
import java.security.SecureRandom;
import java.security.spec.AlgorithmParameterSpec;
import javax.crypto.KeyGeneratorSpi;
import javax.crypto.SecretKey;

/** Generates secret keys on the token. */
final class TokenKeyGenerator extends KeyGeneratorSpi {
    private final Token token;
    private final String algorithm;
    private final KeyKind kind;
    private final int mechanism;
    private int bits;
    private TokenKeySpec keySpec = new TokenKeySpec(null);

    TokenKeyGenerator(Token token, String algorithm, int mechanism, int bits) {
        this.token = token;
        this.algorithm = algorithm;
        this.kind = KeyKind.ofSecret(algorithm);
        this.mechanism = mechanism;
        this.bits = bits;
    }

    @Override
    protected void engineInit(SecureRandom random) {
        // The token has its own source.
    }

    @Override
    protected void engineInit(AlgorithmParameterSpec parameters, SecureRandom random)
        throws InvalidAlgorithmParameterException {
        if (!(parameters instanceof TokenKeySpec) || ((TokenKeySpec) parameters).getParameters() != null) {
            throw new InvalidAlgorithmParameterException("a TokenKeySpec without further parameters is needed");
        }
        keySpec = (TokenKeySpec) parameters;
    }

    @Override
    protected void engineInit(int size, SecureRandom random) {
        boolean possible = kind == KeyKind.AES ? size == 128 || size == 192 || size == 256
            : kind == KeyKind.CHACHA20 ? size == 256 : size >= 40 && size % 8 == 0;
        if (!possible) {
            throw new InvalidParameterException(algorithm + " has no keys of " + size + " bits");
        }
        bits = size;
    }

    @Override
    protected SecretKey engineGenerateKey() {
        TokenKeySpec identified = keySpec.identified();
        Template template = kind.generated(token, identified);
        // The length of a ChaCha20 key is fixed, and some modules refuse it in a template.
        Template sized = kind == KeyKind.CHACHA20 ? template : template.and(CKA_VALUE_LEN, bits / 8);
        try {
            return TokenSecretKeyFactory.created(token, algorithm, identified,
                (at, session) -> session.generateKey(mechanism, null, sized));
        } catch (InvalidKeyException | PKCS11Exception e) {
            throw new ProviderException("The token generates no key: " + e.getMessage(), e);
        }
    }
}
