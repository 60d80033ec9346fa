package com.kelvane.pkcs11.provider;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.CK_RSA_PKCS_PSS_PARAMS;
import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.security.AlgorithmParameters;
import java.security.InvalidAlgorithmParameterException;
import java.security.InvalidKeyException;
import java.security.InvalidParameterException;
import java.security.MessageDigest;
import java.security.NoSuchAlgorithmException;
import java.security.PrivateKey;
import java.security.ProviderException;
import java.security.PublicKey;
import java.security.Signature;
import java.security.SignatureException;
import java.security.SignatureSpi;
import java.security.interfaces.DSAKey;
import java.security.interfaces.ECKey;
import java.security.spec.AlgorithmParameterSpec;
import java.security.spec.MGF1ParameterSpec;
import java.security.spec.PSSParameterSpec;
import java.util.Arrays;
import java.util.function.Function;

/**
 * Signs on the token and verifies in software, since public keys are the JDK's.
 *
 * <p>The data is hashed here and the hash signed in one call, so that no session is held between. Where the token or
 * the key allows only a mechanism that hashes by itself, and for algorithms that sign the data itself, the data is
 * collected and signed in one call.
 */
final class TokenSignature extends SignatureSpi {
    /** What the algorithms of a kind have in common. */
    enum Scheme {
        PKCS1(KeyKind.RSA, CKM_RSA_PKCS, hash -> hash.rsa),
        PSS(KeyKind.RSA, CKM_RSA_PKCS_PSS, hash -> hash.pss),
        ECDSA(KeyKind.EC, CKM_ECDSA, hash -> hash.ecdsa),
        ECDSA_P1363(KeyKind.EC, CKM_ECDSA, hash -> hash.ecdsa),
        DSA(KeyKind.DSA, CKM_DSA, hash -> hash.dsa),
        DSA_P1363(KeyKind.DSA, CKM_DSA, hash -> hash.dsa),
        EDDSA(KeyKind.EDDSA, CKM_EDDSA, null),
        ML_DSA(KeyKind.ML_DSA, CKM_ML_DSA, null);

        final KeyKind kind;

        /** The mechanism that signs a hash, or data that is not hashed before. */
        final int mechanism;

        /** The mechanism that hashes by itself; null where there is none. */
        private final Function<Hash, Integer> hashing;

        Scheme(KeyKind kind, int mechanism, Function<Hash, Integer> hashing) {
            this.kind = kind;
            this.mechanism = mechanism;
            this.hashing = hashing;
        }

        /** Returns the mechanism that hashes by itself; 0 if there is none. */
        int hashing(Hash hash) {
            return hash == null || hashing == null ? 0 : hashing.apply(hash);
        }
    }

    /** The length of the longest signature, that of ML-DSA-87. */
    private static final int LONGEST = 4627;

    private final Token token;
    private final Scheme scheme;

    /** The name of the algorithm in the JDK. */
    private final String jdkName;

    /** The hash of the algorithm's name; null where it has none. */
    private final Hash named;

    /** The parameters of PSS; null for none, or none yet. */
    private PSSParameterSpec parameters;
    private TokenPrivateKey key;
    private Signature verifier;

    /** The hash in use, and whether the token computes it. */
    private Hash hash;
    private boolean hashedByToken;
    private MessageDigest digest;
    private final Buffer data = new Buffer();

    /** Whether there is data to be signed. */
    private boolean begun;

    TokenSignature(Token token, Scheme scheme, String jdkName, Hash named) {
        this.token = token;
        this.scheme = scheme;
        this.jdkName = jdkName;
        this.named = named;
        if (scheme == Scheme.PSS && named != null) {
            parameters = new PSSParameterSpec(named.algorithm, "MGF1", new MGF1ParameterSpec(named.algorithm),
                named.length, 1);
        }
    }

    @Override
    protected void engineInitSign(PrivateKey newKey) throws InvalidKeyException {
        reset();
        choose(Keys.privateKey(token, newKey, scheme.kind));
    }

    /** Ends the use of the key, so that none is used after an initialisation that fails. */
    private void reset() {
        key = null;
        verifier = null;
        data.clear();
        begun = false;
    }

    /** Chooses who hashes the data to be signed with a key. */
    private void choose(TokenPrivateKey newKey) throws InvalidKeyException {
        hash = parameters == null ? named : Hash.forParameter(parameters.getDigestAlgorithm());
        int hashing = scheme.hashing(hash);
        hashedByToken = !isUsable(newKey, scheme.mechanism);
        if (hashedByToken && !(hashing != 0 && isUsable(newKey, hashing))) {
            throw new InvalidKeyException("the token or the key does not allow " + nameOf("CKM_", scheme.mechanism));
        }
        try {
            if (hash == null || hashedByToken) {
                digest = null;
            } else if (digest != null && digest.getAlgorithm().equals(hash.algorithm)) {
                digest.reset();
            } else {
                digest = MessageDigest.getInstance(hash.algorithm);
            }
        } catch (NoSuchAlgorithmException e) {
            throw new InvalidKeyException(e);
        }
        key = newKey;
    }

    private boolean isUsable(TokenPrivateKey newKey, int mechanism) {
        return token.can(mechanism, CKF_SIGN) && newKey.allows(mechanism);
    }

    @Override
    protected void engineInitVerify(PublicKey publicKey) throws InvalidKeyException {
        reset();
        if (publicKey == null) { // which the JDK would offer to all providers, this one included
            throw new InvalidKeyException("a public key is needed, not null");
        }
        try {
            Signature software = Signature.getInstance(jdkName);
            if (parameters != null) {
                software.setParameter(parameters);
            }
            software.initVerify(publicKey);
            verifier = software;
        } catch (NoSuchAlgorithmException | InvalidAlgorithmParameterException e) {
            throw new InvalidKeyException(e);
        }
    }

    @Override
    protected void engineUpdate(byte input) throws SignatureException {
        engineUpdate(new byte[] {input}, 0, 1);
    }

    @Override
    protected void engineUpdate(byte[] input, int offset, int length) throws SignatureException {
        if (verifier != null) {
            verifier.update(input, offset, length);
            return;
        }
        begun |= length > 0;
        if (digest != null) {
            digest.update(input, offset, length);
        } else {
            data.add(input, offset, length);
        }
    }

    @Override
    protected byte[] engineSign() throws SignatureException {
        if (key == null || scheme == Scheme.PSS && parameters == null) {
            throw new SignatureException(key == null ? "The initialisation has failed" : "RSASSA-PSS needs parameters");
        }
        byte[] input = digest == null ? data.all() : prepared(digest.digest());
        data.clear();
        begun = false;
        try {
            byte[] prepared = digest == null && !hashedByToken ? prepared(input) : input;
            int mechanism = hashedByToken ? scheme.hashing(hash) : scheme.mechanism;
            byte[] signature = token.use(key, (session, object) -> key.requiresLogin()
                ? sign(session, mechanism, object, prepared) : session.sign(mechanism, parameter(), object, prepared));
            return scheme == Scheme.ECDSA || scheme == Scheme.DSA ? Der.numbers(signature) : signature;
        } catch (InvalidKeyException | PKCS11Exception | ProviderException e) {
            throw new SignatureException("The token does not sign: " + e.getMessage(), e);
        }
    }

    /** Signs in two calls, with the login that the key requires in between. */
    private byte[] sign(NativePKCS11Session session, int mechanism, NativePKCS11Object object, byte[] input) {
        byte[] signature = new byte[LONGEST];
        session.signInit(mechanism, parameter(), object);
        token.logInFor(key, session);
        return Arrays.copyOf(signature, session.sign(input, 0, input.length, signature, 0));
    }

    /** Returns what the mechanism without hash signs for a hash, or for data in its place. */
    private byte[] prepared(byte[] value) {
        switch (scheme) {
            case PKCS1:
                return hash == null ? value : hash.digestInfo(value);
            case ECDSA:
            case ECDSA_P1363:
                return key instanceof ECKey ? shortened(value, ((ECKey) key).getParams().getOrder().bitLength())
                    : value;
            case DSA:
            case DSA_P1363:
                return key instanceof DSAKey ? shortened(value, ((DSAKey) key).getParams().getQ().bitLength()) : value;
            default:
                return value;
        }
    }

    /** Cuts a hash to the length of the group's order, as FIPS 186 has it: not all modules do. */
    private static byte[] shortened(byte[] value, int bits) {
        int length = (bits + 7) / 8;
        return value.length <= length ? value : Arrays.copyOf(value, length);
    }

    private Object parameter() {
        return scheme != Scheme.PSS ? null : new CK_RSA_PKCS_PSS_PARAMS(hash.mechanism,
            Hash.ofMask(parameters.getMGFParameters()).maskFunction, parameters.getSaltLength());
    }

    @Override
    protected boolean engineVerify(byte[] signature) throws SignatureException {
        if (verifier == null) {
            throw new SignatureException("The initialisation has failed");
        }
        return verifier.verify(signature);
    }

    @Override
    protected void engineSetParameter(AlgorithmParameterSpec newParameters) throws InvalidAlgorithmParameterException {
        if (scheme != Scheme.PSS) {
            if (newParameters != null) {
                throw new InvalidAlgorithmParameterException("the algorithm has no parameters");
            }
            return;
        }
        if (!(newParameters instanceof PSSParameterSpec)) {
            throw new InvalidAlgorithmParameterException("PSSParameterSpec is needed");
        }
        PSSParameterSpec pss = (PSSParameterSpec) newParameters;
        Hash given = Hash.forParameter(pss.getDigestAlgorithm());
        if (given == null || named != null && given != named) {
            throw new InvalidAlgorithmParameterException("unsupported hash " + pss.getDigestAlgorithm());
        }
        if (!pss.getMGFAlgorithm().equalsIgnoreCase("MGF1") || Hash.ofMask(pss.getMGFParameters()) == null) {
            throw new InvalidAlgorithmParameterException("unsupported mask generation function "
                + pss.getMGFAlgorithm());
        }
        if (pss.getTrailerField() != 1) {
            throw new InvalidAlgorithmParameterException("the trailer field is 1, not " + pss.getTrailerField());
        }
        if (begun) {
            throw new ProviderException("The parameters cannot change after the first data");
        }
        parameters = pss;
        try {
            if (key != null) {
                choose(key);
            } else if (verifier != null) {
                verifier.setParameter(pss);
            }
        } catch (InvalidKeyException e) {
            throw new InvalidAlgorithmParameterException(e);
        }
    }

    @Override
    protected AlgorithmParameters engineGetParameters() {
        return parameters == null ? null : TokenCipher.encoded("RSASSA-PSS", parameters);
    }

    @Deprecated
    @Override
    protected void engineSetParameter(String name, Object value) {
        throw new InvalidParameterException("there are no named parameters");
    }

    @Deprecated
    @Override
    protected Object engineGetParameter(String name) {
        throw new InvalidParameterException("there are no named parameters");
    }
}
