package com.kelvane.pkcs11.provider;

import java.security.InvalidAlgorithmParameterException;
import java.security.InvalidKeyException;
import java.security.Key;
import java.security.SecureRandom;
import java.security.spec.AlgorithmParameterSpec;
import javax.crypto.spec.IvParameterSpec;

/** AES key wrap (RFC 3394), also with padding (RFC 5649). It encrypts data too where the token does. */
final class TokenWrapCipher extends TokenCipher {
    private static final int HALF_BLOCK = 8;

    TokenWrapCipher(Token token, int mechanism) {
        super(token, mechanism, IvParameterSpec.class, HALF_BLOCK);
    }

    @Override
    TokenKey start(Key newKey, AlgorithmParameterSpec parameters, SecureRandom random)
        throws InvalidKeyException, InvalidAlgorithmParameterException {
        if (parameters != null) {
            throw new InvalidAlgorithmParameterException("only the initial value of the standard is supported");
        }
        return Keys.secret(token, newKey, KeyKind.AES);
    }

    @Override
    int finalSize(int more) {
        int all = data.length() + more;
        return encrypts() ? (all + HALF_BLOCK - 1) / HALF_BLOCK * HALF_BLOCK + HALF_BLOCK : all;
    }
}
