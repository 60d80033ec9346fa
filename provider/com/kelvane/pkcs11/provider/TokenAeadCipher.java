package com.kelvane.pkcs11.provider;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.CK_CCM_PARAMS;
import com.kelvane.pkcs11.CK_GCM_PARAMS;
import com.kelvane.pkcs11.CK_SALSA20_CHACHA20_POLY1305_PARAMS;
import java.nio.ByteBuffer;
import java.security.AlgorithmParameters;
import java.security.InvalidAlgorithmParameterException;
import java.security.InvalidKeyException;
import java.security.Key;
import java.security.SecureRandom;
import java.security.spec.AlgorithmParameterSpec;
import java.util.Arrays;
import javax.crypto.AEADBadTagException;
import javax.crypto.spec.GCMParameterSpec;
import javax.crypto.spec.IvParameterSpec;

/**
 * AES in the modes GCM and CCM, and ChaCha20-Poly1305.
 *
 * <p>The data is collected, in both directions, and sent to the token in one call at doFinal: modules keep the pointers
 * of the mechanism's parameter until then, and some do GCM in one call only. So nothing is delivered that is not
 * authentic, a lost session does not matter, and a message has to fit into memory three times. Encrypt large data in
 * messages of some MiB.
 */
final class TokenAeadCipher extends TokenCipher {
    private static final int NONCE = 12;

    /** The algorithms, which differ in parameters only. */
    enum Algorithm {
        GCM(KeyKind.AES, CKM_AES_GCM, "GCM", 16, 12, 16),
        CCM(KeyKind.AES, CKM_AES_CCM, "GCM", 16, 4, 16),
        CHACHA20_POLY1305(KeyKind.CHACHA20, CKM_CHACHA20_POLY1305, "ChaCha20-Poly1305", 1, 16, 16);

        final int mechanism;
        final KeyKind kind;

        /** The name of the JDK's AlgorithmParameters. */
        private final String parameters;
        private final int blockSize, shortestTag, longestTag;

        Algorithm(KeyKind kind, int mechanism, String parameters, int blockSize, int shortestTag, int longestTag) {
            this.kind = kind;
            this.mechanism = mechanism;
            this.parameters = parameters;
            this.blockSize = blockSize;
            this.shortestTag = shortestTag;
            this.longestTag = longestTag;
        }
    }

    private final Algorithm algorithm;
    private final Buffer associated = new Buffer();
    private boolean dataBegun;
    private int tagLength;

    /** The key given and the nonce of the last encryption, which must not be used together again. */
    private Key given, lastKey;
    private byte[] lastNonce;

    TokenAeadCipher(Token token, Algorithm algorithm) {
        super(token, algorithm.mechanism, algorithm == Algorithm.CHACHA20_POLY1305 ? IvParameterSpec.class
            : GCMParameterSpec.class, algorithm.blockSize);
        this.algorithm = algorithm;
    }

    @Override
    TokenKey start(Key newKey, AlgorithmParameterSpec parameters, SecureRandom random)
        throws InvalidKeyException, InvalidAlgorithmParameterException {
        byte[] newNonce;
        tagLength = algorithm.longestTag;
        if (parameters instanceof GCMParameterSpec) {
            newNonce = ((GCMParameterSpec) parameters).getIV();
            int bits = ((GCMParameterSpec) parameters).getTLen();
            tagLength = bits / 8;
            if (bits % 8 != 0 || tagLength < algorithm.shortestTag || tagLength > algorithm.longestTag) {
                throw new InvalidAlgorithmParameterException("a tag of " + bits + " bits is not supported");
            }
        } else if (parameters != null) {
            newNonce = ((IvParameterSpec) parameters).getIV();
        } else if (encrypts()) {
            newNonce = random(random, NONCE);
        } else {
            throw new InvalidAlgorithmParameterException("the nonce is missing");
        }
        if (newNonce.length == 0 || algorithm == Algorithm.CHACHA20_POLY1305 && newNonce.length != NONCE) {
            throw new InvalidAlgorithmParameterException("a nonce of " + newNonce.length + " bytes is not supported");
        }
        if (encrypts() && newKey != null && newKey.equals(lastKey) && Arrays.equals(newNonce, lastNonce)) {
            throw new InvalidAlgorithmParameterException("key and nonce have encrypted before");
        }
        TokenKey key = Keys.secret(token, newKey, algorithm.kind);
        iv = newNonce;
        given = newKey;
        return key;
    }

    @Override
    Object parameter(int length) {
        byte[] aad = associated.length() == 0 ? null : associated.all();
        switch (algorithm) {
            case GCM:
                return new CK_GCM_PARAMS(iv, aad, tagLength * 8);
            case CCM:
                return new CK_CCM_PARAMS(encrypts() ? length : length - tagLength, iv, aad, tagLength);
            default:
                return new CK_SALSA20_CHACHA20_POLY1305_PARAMS(iv, aad);
        }
    }

    @Override
    protected AlgorithmParameters engineGetParameters() {
        return iv == null ? null : encoded(algorithm.parameters, algorithm == Algorithm.CHACHA20_POLY1305
            ? new IvParameterSpec(iv) : new GCMParameterSpec(tagLength * 8, iv));
    }

    @Override
    protected void engineUpdateAAD(byte[] in, int offset, int length) {
        checkNonce();
        if (dataBegun) {
            throw new IllegalStateException("associated data comes before the data");
        }
        associated.add(in, offset, length);
    }

    @Override
    protected void engineUpdateAAD(ByteBuffer in) {
        byte[] bytes = new byte[in.remaining()];
        in.get(bytes);
        engineUpdateAAD(bytes, 0, bytes.length);
    }

    private void checkNonce() {
        if (encrypts() && given == lastKey && iv == lastNonce) {
            throw new IllegalStateException("key and nonce have encrypted before; initialise the cipher with"
                + " another nonce");
        }
    }

    @Override
    byte[] update(byte[] in, int offset, int length) {
        checkNonce();
        dataBegun |= length > 0;
        return super.update(in, offset, length);
    }

    @Override
    int finalSize(int more) {
        int all = data.length() + more;
        return encrypts() ? all + tagLength : Math.max(0, all - tagLength);
    }

    @Override
    boolean isSizeExact() {
        return true;
    }

    @Override
    boolean isWhole() {
        return data.length() == 0;
    }

    /** Checks the nonce and the length, and marks the nonce as used, since the token may receive it. */
    @Override
    void prepare(int length) throws AEADBadTagException {
        checkNonce();
        if (!encrypts() && length < tagLength) {
            throw new AEADBadTagException("the data is shorter than the tag");
        }
        if (encrypts()) {
            lastKey = given;
            lastNonce = iv;
        }
    }

    @Override
    boolean hasTag() {
        return true;
    }

    @Override
    void reset() {
        super.reset();
        associated.clear();
        dataBegun = false;
    }
}
