package com.kelvane.tokbridge.tool.trials;

import java.math.BigInteger;
import java.security.*;
import java.security.Key;
import java.security.interfaces.RSAPublicKey;
import java.security.spec.AlgorithmParameterSpec;
import javax.crypto.*;
import javax.crypto.spec.SecretKeySpec;

/** The JDK's counterparts of operations. */
final class Jdk {
    /** A computation with a secret or a public key; with null if there is none. */
    interface Computation {
        byte[] of(Key key, byte[] data) throws Exception;
    }

    /** The verification of a message's signature. */
    interface Verification {
        boolean of(PublicKey key, byte[] message, byte[] signature) throws GeneralSecurityException;
    }

    static byte[] digest(String algorithm, byte[] data) throws GeneralSecurityException {
        return MessageDigest.getInstance(algorithm).digest(data);
    }

    static byte[] hmac(String algorithm, Key key, byte[]... data) throws GeneralSecurityException {
        Mac mac = Mac.getInstance(algorithm);
        mac.init(key);
        for (byte[] each : data) {
            mac.update(each);
        }
        return mac.doFinal();
    }

    private static Cipher cipher(String algorithm, int mode, Key key, AlgorithmParameterSpec parameter)
        throws GeneralSecurityException {
        Cipher cipher = Cipher.getInstance(algorithm);
        cipher.init(mode, key, parameter);
        return cipher;
    }

    /** Encrypts, with a header that is authenticated where the cipher has one. */
    static Computation cipher(String algorithm, AlgorithmParameterSpec parameter, byte... header) {
        return (key, data) -> {
            Cipher cipher = cipher(algorithm, Cipher.ENCRYPT_MODE, key, parameter);
            cipher.updateAAD(header);
            return cipher.doFinal(data);
        };
    }

    static Computation wrap(String algorithm, AlgorithmParameterSpec parameter) {
        return (key, data) -> cipher(algorithm, Cipher.WRAP_MODE, key, parameter).wrap(new SecretKeySpec(data, "AES"));
    }

    static Verification signature(String algorithm, AlgorithmParameterSpec parameter) {
        return (key, message, signature) -> {
            Signature verifier = Signature.getInstance(algorithm);
            if (parameter != null) {
                verifier.setParameter(parameter);
            }
            verifier.initVerify(key);
            verifier.update(message);
            return verifier.verify(signature);
        };
    }

    /** Verifies that a signature of RSA, without its padding, is the message's SHA-256 digest. */
    static Verification digestRecovered(String algorithm) {
        return (key, message, signature) -> new BigInteger(1, cipher(algorithm, Cipher.DECRYPT_MODE, key, null)
            .doFinal(signature)).equals(new BigInteger(1, digest("SHA-256", message)));
    }

    /** Returns the length of an RSA key's modulus. */
    static int modulusBytes(Key key) throws Verdict {
        Verdict.requireToTry(key instanceof RSAPublicKey, "the key's modulus is not known");
        return (((RSAPublicKey) key).getModulus().bitLength() + 7) / 8;
    }
}
