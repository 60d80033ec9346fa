package com.kelvane.pkcs11.provider;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.CK_ECDH1_DERIVE_PARAMS;
import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.Template;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import java.math.BigInteger;
import java.security.InvalidAlgorithmParameterException;
import java.security.InvalidKeyException;
import java.security.Key;
import java.security.NoSuchAlgorithmException;
import java.security.ProviderException;
import java.security.SecureRandom;
import java.security.interfaces.ECKey;
import java.security.interfaces.ECPublicKey;
import java.security.interfaces.XECKey;
import java.security.interfaces.XECPublicKey;
import java.security.spec.AlgorithmParameterSpec;
import java.security.spec.NamedParameterSpec;
import java.util.Arrays;
import javax.crypto.KeyAgreementSpi;
import javax.crypto.SecretKey;
import javax.crypto.ShortBufferException;
import javax.crypto.spec.SecretKeySpec;

/**
 * ECDH, X25519 and X448. The secret leaves the token where a program asks for its bytes, or for a secret of TLS, which
 * the JDK computes with; a key of AES or for a MAC stays on the token.
 */
final class TokenKeyAgreement extends KeyAgreementSpi {
    private static final String OF_TLS = "TlsPremasterSecret";

    private final Token token;
    private final KeyKind kind;

    /** The curve of an algorithm name that contains it; null for any. */
    private final String fixed;
    private TokenPrivateKey key;
    private TokenKeySpec keySpec;
    private byte[] point;
    private int length;

    TokenKeyAgreement(Token token, KeyKind kind, String fixed) {
        this.token = token;
        this.kind = kind;
        this.fixed = fixed;
    }

    @Override
    protected void engineInit(Key newKey, SecureRandom random) throws InvalidKeyException {
        init(newKey, new TokenKeySpec(null));
    }

    @Override
    protected void engineInit(Key newKey, AlgorithmParameterSpec parameters, SecureRandom random)
        throws InvalidKeyException, InvalidAlgorithmParameterException {
        TokenKeySpec given = TokenKeySpec.of(parameters);
        if (given.getParameters() != null) {
            throw new InvalidAlgorithmParameterException("the agreement has no parameters but a TokenKeySpec");
        }
        init(newKey, given);
    }

    private void init(Key newKey, TokenKeySpec newSpec) throws InvalidKeyException {
        key = Keys.privateKey(token, newKey, kind);
        if (fixed != null && !fixed.equals(curve(key))) {
            throw new InvalidKeyException("a key of " + fixed + " is needed, not " + curve(key));
        }
        keySpec = newSpec;
        point = null;
    }

    private static String curve(Key key) {
        return ((NamedParameterSpec) ((XECKey) key).getParams()).getName();
    }

    @Override
    protected Key engineDoPhase(Key other, boolean lastPhase) throws InvalidKeyException {
        if (key == null || point != null) {
            throw new IllegalStateException(key == null ? "not initialised" : "the agreement has two parties");
        }
        if (!lastPhase) {
            throw new IllegalStateException("the agreement has two parties: the only phase is the last one");
        }
        if (kind == KeyKind.EC && other instanceof ECPublicKey && key instanceof ECKey) {
            ECPublicKey publicKey = (ECPublicKey) other;
            if (!publicKey.getParams().getCurve().equals(((ECKey) key).getParams().getCurve())) {
                throw new InvalidKeyException("the keys are of different curves");
            }
            length = (publicKey.getParams().getCurve().getField().getFieldSize() + 7) / 8;
            point = new byte[1 + 2 * length];
            point[0] = 4; // uncompressed
            System.arraycopy(Der.unsigned(publicKey.getW().getAffineX(), length), 0, point, 1, length);
            System.arraycopy(Der.unsigned(publicKey.getW().getAffineY(), length), 0, point, 1 + length, length);
        } else if (kind == KeyKind.XDH && other instanceof XECPublicKey && curve(other).equals(curve(key))) {
            length = curve(other).equals("X448") ? 56 : 32;
            point = Der.unsigned(((XECPublicKey) other).getU(), length);
            for (int i = 0; i < length / 2; i++) { // the number is little-endian on the wire
                byte swapped = point[i];
                point[i] = point[length - 1 - i];
                point[length - 1 - i] = swapped;
            }
        } else {
            throw new InvalidKeyException("a public key of the same curve is needed");
        }
        return null;
    }

    @Override
    protected byte[] engineGenerateSecret() {
        Template readable = Template.of(CKA_CLASS, CKO_SECRET_KEY, CKA_KEY_TYPE, CKK_GENERIC_SECRET, CKA_TOKEN, false,
            CKA_PRIVATE, token.info.isLoginRequired(), CKA_SENSITIVE, false, CKA_EXTRACTABLE, true);
        try {
            byte[] secret = token.use(agreed(), (session, base) -> {
                NativePKCS11Object derived = session.deriveKey(CKM_ECDH1_DERIVE, parameter(), base, readable);
                try {
                    return derived.getByteArrayAttributeValue(CKA_VALUE);
                } finally {
                    derived.destroy();
                }
            });
            point = null;
            return Der.unsigned(new BigInteger(1, secret), length); // some modules leave out leading zeros
        } catch (InvalidKeyException | PKCS11Exception e) {
            throw failure(e);
        }
    }

    private TokenPrivateKey agreed() {
        if (point == null) {
            throw new IllegalStateException("the public key of the other party is missing");
        }
        return key;
    }

    private CK_ECDH1_DERIVE_PARAMS parameter() {
        return new CK_ECDH1_DERIVE_PARAMS(CKD_NULL, null, point);
    }

    private static ProviderException failure(Exception e) {
        return new ProviderException("The token does not derive the secret: " + e.getMessage(), e);
    }

    @Override
    protected int engineGenerateSecret(byte[] sharedSecret, int offset) throws ShortBufferException {
        agreed();
        if (sharedSecret.length - offset < length) {
            throw new ShortBufferException(length + " bytes are needed");
        }
        byte[] secret = engineGenerateSecret();
        System.arraycopy(secret, 0, sharedSecret, offset, length);
        Arrays.fill(secret, (byte) 0);
        return length;
    }

    @Override
    protected SecretKey engineGenerateSecret(String algorithm) throws NoSuchAlgorithmException {
        if (algorithm.equals(OF_TLS)) {
            return new SecretKeySpec(engineGenerateSecret(), OF_TLS);
        }
        KeyKind target = KeyKind.ofSecret(algorithm);
        if (target == null || target == KeyKind.AES && length != 16 && length != 24 && length != 32) {
            throw new NoSuchAlgorithmException("no key of " + algorithm + " from a secret of " + length + " bytes");
        }
        TokenKeySpec identified = keySpec.identified();
        Template template = target.created(token, identified).and(CKA_VALUE_LEN, length);
        TokenPrivateKey base = agreed();
        try {
            SecretKey derived = TokenSecretKeyFactory.created(token, algorithm, identified, (at, session) ->
                session.deriveKey(CKM_ECDH1_DERIVE, parameter(), base.in(at, session), template));
            point = null;
            return derived;
        } catch (InvalidKeyException | PKCS11Exception e) {
            throw failure(e);
        }
    }
}
