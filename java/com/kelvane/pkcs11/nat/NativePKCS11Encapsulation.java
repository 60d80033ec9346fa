package com.kelvane.pkcs11.nat;

/** A new secret key and its ciphertext, as {@link NativePKCS11Session#encapsulateKey} returns them. */
public final class NativePKCS11Encapsulation {
    private final byte[] ciphertext;
    private final NativePKCS11Object key;

    NativePKCS11Encapsulation(byte[] ciphertext, NativePKCS11Object key) {
        this.ciphertext = ciphertext;
        this.key = key;
    }

    /**
     * Returns the ciphertext, from which the owner of the private key gets the same secret key.
     *
     * @return the ciphertext itself, not a copy
     */
    public byte[] getCiphertext() {
        return ciphertext;
    }

    /**
     * Returns the secret key.
     *
     * @return the key
     */
    public NativePKCS11Object getKey() {
        return key;
    }
}
