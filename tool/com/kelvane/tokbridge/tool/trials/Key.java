package com.kelvane.tokbridge.tool.trials;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import java.security.GeneralSecurityException;
import java.security.PublicKey;
import java.security.interfaces.RSAPublicKey;

/** A key that operations are tried with. */
final class Key {
    /** The secret key twice, or the private and the public key, which is null if it is not on the token. */
    final NativePKCS11Object object, open;

    /** The secret or public key; null if the token does not reveal it, or the JDK has no such keys. */
    final java.security.Key jdkKey;

    /** Whether it was created for the trial. With other keys the token does only what the JDK cannot. */
    final boolean isOwn;

    Key(NativePKCS11Object object, NativePKCS11Object open, java.security.Key jdkKey, boolean isOwn) {
        this.object = object;
        this.open = open;
        this.jdkKey = jdkKey;
        this.isOwn = isOwn;
    }

    /** Returns the public key that an object or a certificate contains; null if there is none that the JDK can read. */
    static PublicKey publicKey(NativePKCS11Object source) {
        try {
            return source == null ? null : source.getIntAttributeValue(CKA_CLASS) == CKO_CERTIFICATE
                ? source.toCertificate().getPublicKey() : source.toPublicKey();
        } catch (GeneralSecurityException | PKCS11Exception e) {
            return null; // the token's own results are compared then
        }
    }

    /** Returns the length of an RSA key's modulus. */
    int modulusBytes() throws Verdict {
        if (!(jdkKey instanceof RSAPublicKey)) {
            throw new Verdict(Verdict.NOT_TRIED, "the key's modulus is not known");
        }
        return (((RSAPublicKey) jdkKey).getModulus().bitLength() + 7) / 8;
    }
}
