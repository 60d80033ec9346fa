package com.kelvane.tokbridge.tool;

import com.kelvane.pkcs11.nat.NativePKCS11Object;
import java.security.PublicKey;
import java.security.interfaces.RSAPublicKey;

/** A key that operations are tried with. */
final class Key {
    final String name;

    /** The secret key, or the private one of a pair. */
    final NativePKCS11Object object;

    /** The secret key again, or the public one of a pair; null if it is not on the token. */
    final NativePKCS11Object open;

    /** The secret key's value; null if the token alone knows it. */
    final byte[] value;

    /** The public key; null if nothing tells it, or the JDK does not know its kind. */
    final PublicKey inJdk;

    /** Whether it was made here; of others the private half alone is tried, where the JDK can do the other. */
    final boolean isMade;

    Key(String name, NativePKCS11Object object, NativePKCS11Object open, byte[] value, PublicKey inJdk,
        boolean isMade) {
        this.name = name;
        this.object = object;
        this.open = open;
        this.value = value;
        this.inJdk = inJdk;
        this.isMade = isMade;
    }

    /** How many bytes an RSA key's modulus has. */
    int modulusBytes() throws Report.NotTried {
        if (!(inJdk instanceof RSAPublicKey)) {
            throw new Report.NotTried("nothing tells the key's modulus");
        }
        return (((RSAPublicKey) inJdk).getModulus().bitLength() + 7) / 8;
    }
}
