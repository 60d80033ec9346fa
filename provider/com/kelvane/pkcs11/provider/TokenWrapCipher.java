package com.kelvane.pkcs11.provider;

import java.security.AlgorithmParameters;
import java.security.InvalidAlgorithmParameterException;
import java.security.InvalidKeyException;
import java.security.Key;
import java.security.SecureRandom;
import java.security.spec.AlgorithmParameterSpec;
import javax.crypto.BadPaddingException;
import javax.crypto.IllegalBlockSizeException;
import javax.crypto.spec.IvParameterSpec;

/** AES key wrap (RFC 3394), also with padding (RFC 5649). It encrypts data too where the token does. */
final class TokenWrapCipher extends TokenCipher {
    private static final int HALF_BLOCK = 8;

    private final int mechanism;
    private final Buffer data = new Buffer();

    TokenWrapCipher(Token token, int mechanism) {
        super(token);
        this.mechanism = mechanism;
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
    Class<? extends AlgorithmParameterSpec> parameterClass() {
        return IvParameterSpec.class;
    }

    @Override
    int mechanism() {
        return mechanism;
    }

    @Override
    Object parameter(int length) {
        return null;
    }

    @Override
    protected int engineGetBlockSize() {
        return HALF_BLOCK;
    }

    @Override
    protected byte[] engineGetIV() {
        return null;
    }

    @Override
    protected AlgorithmParameters engineGetParameters() {
        return null;
    }

    @Override
    int updateSize(int more) {
        return 0;
    }

    @Override
    byte[] update(byte[] in, int offset, int length) {
        data.add(in, offset, length);
        return new byte[0];
    }

    @Override
    int finalSize(int more) {
        int all = data.length() + more;
        return encrypts() ? (all + HALF_BLOCK - 1) / HALF_BLOCK * HALF_BLOCK + HALF_BLOCK : all;
    }

    @Override
    boolean isWhole() {
        return false;
    }

    @Override
    byte[] finish(byte[] in, int offset, int length) throws IllegalBlockSizeException, BadPaddingException {
        return crypt(data.with(in, offset, length));
    }

    @Override
    void reset() {
        data.clear();
    }
}
