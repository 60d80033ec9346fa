package com.kelvane.pkcs11.provider;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.CK_RSA_PKCS_OAEP_PARAMS;
import com.kelvane.pkcs11.Template;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.math.BigInteger;
import java.security.AlgorithmParameters;
import java.security.GeneralSecurityException;
import java.security.InvalidAlgorithmParameterException;
import java.security.InvalidKeyException;
import java.security.Key;
import java.security.SecureRandom;
import java.security.interfaces.RSAKey;
import java.security.interfaces.RSAPublicKey;
import java.security.spec.AlgorithmParameterSpec;
import java.security.spec.MGF1ParameterSpec;
import javax.crypto.BadPaddingException;
import javax.crypto.Cipher;
import javax.crypto.IllegalBlockSizeException;
import javax.crypto.spec.OAEPParameterSpec;
import javax.crypto.spec.PSource;

/**
 * RSA with the padding of PKCS #1 or OAEP. The token decrypts and unwraps. Public keys encrypt and wrap in software;
 * only keys of the token are wrapped by the token.
 */
final class TokenRsaCipher extends TokenCipher {
    /** The parameters without others; null for PKCS #1. */
    private final OAEPParameterSpec standard;
    private OAEPParameterSpec oaep;

    /** The length of the modulus in bytes. */
    private int length;

    /** The cipher in software and its key, for a public key; null for a private one. */
    private Cipher software;
    private RSAPublicKey publicKey;

    TokenRsaCipher(Token token, int mechanism, Hash hash) {
        super(token, mechanism, OAEPParameterSpec.class, 0);
        standard = hash == null ? null : new OAEPParameterSpec(hash.algorithm, "MGF1", MGF1ParameterSpec.SHA1,
            PSource.PSpecified.DEFAULT);
    }

    @Override
    TokenKey start(Key newKey, AlgorithmParameterSpec parameters, SecureRandom random)
        throws InvalidKeyException, InvalidAlgorithmParameterException {
        software = null;
        publicKey = null;
        oaep = parameters == null ? standard : (OAEPParameterSpec) parameters;
        if (oaep == null != (standard == null)) {
            throw new InvalidAlgorithmParameterException("the padding of PKCS #1 has no parameters");
        }
        if (oaep != null && (Hash.forParameter(oaep.getDigestAlgorithm()) == null
            || !oaep.getMGFAlgorithm().equalsIgnoreCase("MGF1")
            || Hash.ofMask(oaep.getMGFParameters()) == null || !(oaep.getPSource() instanceof PSource.PSpecified))) {
            throw new InvalidAlgorithmParameterException("unsupported parameters of OAEP");
        }
        if (newKey instanceof RSAPublicKey && encrypts()) {
            publicKey = (RSAPublicKey) newKey;
            length = bytes(publicKey);
            try {
                software = Cipher.getInstance(oaep == null ? "RSA/ECB/PKCS1Padding" : "RSA/ECB/OAEPPadding");
                software.init(mode, newKey, oaep, random);
            } catch (InvalidKeyException | InvalidAlgorithmParameterException e) {
                throw e;
            } catch (GeneralSecurityException e) {
                throw new InvalidKeyException(e);
            }
            return null;
        }
        if (encrypts()) {
            throw new InvalidKeyException("a public key of RSA is needed");
        }
        TokenPrivateKey key = Keys.privateKey(token, newKey, KeyKind.RSA);
        length = key instanceof RSAKey ? bytes((RSAKey) key) : 0;
        return key;
    }

    private static int bytes(RSAKey key) {
        return (key.getModulus().bitLength() + 7) / 8;
    }

    @Override
    Object parameter(int ignored) {
        if (oaep == null) {
            return null;
        }
        byte[] label = ((PSource.PSpecified) oaep.getPSource()).getValue();
        return new CK_RSA_PKCS_OAEP_PARAMS(Hash.forParameter(oaep.getDigestAlgorithm()).mechanism,
            Hash.ofMask(oaep.getMGFParameters()).maskFunction, label.length == 0 ? null : label);
    }

    @Override
    protected AlgorithmParameters engineGetParameters() {
        return oaep == null ? null : encoded("OAEP", oaep);
    }

    @Override
    byte[] update(byte[] in, int offset, int count) {
        // One byte more than the modulus is enough for the exception at the end.
        return super.update(in, offset, Math.min(count, length + 1));
    }

    @Override
    int finalSize(int more) {
        return length;
    }

    @Override
    byte[] finish(byte[] in, int offset, int count) throws IllegalBlockSizeException, BadPaddingException {
        byte[] all = data.with(in, offset, count);
        if (software != null) {
            return software.doFinal(all);
        }
        if (length != 0 && all.length > length) {
            throw new IllegalBlockSizeException("the data is longer than " + length + " bytes");
        }
        // Without its leading zeros the number is the same, but too short for some modules.
        return crypt(length == 0 ? all : Der.unsigned(new BigInteger(1, all), length));
    }

    @Override
    protected byte[] engineWrap(Key target) throws IllegalBlockSizeException, InvalidKeyException {
        return target instanceof TokenKey ? super.engineWrap(target) : software.wrap(target);
    }

    @Override
    NativePKCS11Object wrappingKey(Connection at, NativePKCS11Session session) {
        return session.createObject(Template.of(CKA_CLASS, CKO_PUBLIC_KEY, CKA_KEY_TYPE, CKK_RSA, CKA_TOKEN, false,
            CKA_WRAP, true, CKA_MODULUS, publicKey.getModulus(), CKA_PUBLIC_EXPONENT, publicKey.getPublicExponent()));
    }

    @Override
    void release(NativePKCS11Object wrappingKey) {
        wrappingKey.destroy();
    }
}
