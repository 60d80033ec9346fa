package com.kelvane.tokbridge.tool.trials;

import com.kelvane.pkcs11.nat.NativePKCS11Object;
import java.security.PublicKey;
import java.security.interfaces.RSAPublicKey;

/** A key that operations are tried with. */
final class Key {
    /** The secret key twice, or the private and the public key, which is null if it is not on the token. */
    final NativePKCS11Object object, open;

    /** The value of a secret key; null if the token alone knows it. */
    final byte[] value;

    /** The public key; null if the token does not reveal it, or the JDK has no such keys. */
    final PublicKey jdkPublicKey;

    /** Whether it was created for the trial. With other keys the token does only what the JDK cannot. */
    final boolean isOwn;

    Key(NativePKCS11Object object, NativePKCS11Object open, byte[] value, PublicKey jdkPublicKey, boolean isOwn) {
        this.object = object;
        this.open = open;
        this.value = value;
        this.jdkPublicKey = jdkPublicKey;
        this.isOwn = isOwn;
    }

    /** Returns the length of an RSA key's modulus. */
    int modulusBytes() throws Verdict {
        if (!(jdkPublicKey instanceof RSAPublicKey)) {
            throw new Verdict(Verdict.NOT_TRIED, "the key's modulus is not known");
        }
        return (((RSAPublicKey) jdkPublicKey).getModulus().bitLength() + 7) / 8;
    }
}
