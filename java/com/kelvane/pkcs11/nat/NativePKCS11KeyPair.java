package com.kelvane.pkcs11.nat;

/** The two keys of a pair, as {@link NativePKCS11Session#generateKeyPair} makes them. */
public final class NativePKCS11KeyPair {
    /** The keys. */
    private final NativePKCS11Object publicKey, privateKey;

    /** Keeps the keys. */
    NativePKCS11KeyPair(NativePKCS11Object publicKey, NativePKCS11Object privateKey) {
        this.publicKey = publicKey;
        this.privateKey = privateKey;
    }

    /**
     * Returns the public key.
     *
     * @return the public key
     */
    public NativePKCS11Object getPublic() {
        return publicKey;
    }

    /**
     * Returns the private key.
     *
     * @return the private key
     */
    public NativePKCS11Object getPrivate() {
        return privateKey;
    }

    @Override
    public String toString() {
        return "public " + publicKey + ", private " + privateKey;
    }
}
