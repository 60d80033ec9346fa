package com.kelvane.pkcs11;

/**
 * The parameter of {@code CKM_TLS_PRF} in {@code deriveKey} ({@code CK_TLS_PRF_PARAMS}).
 *
 * <p>Arrays are kept by reference: the output of the function comes back in {@link #output}.
 */
public class CK_TLS_PRF_PARAMS {
    /** The seed; null is the empty seed. */
    public byte[] seed;

    /** The identifying label; null is the empty label. */
    public byte[] label;

    /** The token writes it; its length is the number of bytes wanted. With null there is nothing to write. */
    public byte[] output;

    /** Creates the parameter with all fields 0 and null. */
    public CK_TLS_PRF_PARAMS() {
    }

    /**
     * Creates the parameter with a new output array.
     *
     * @param seed the seed
     * @param label the identifying label
     * @param outputLength the number of bytes wanted
     */
    public CK_TLS_PRF_PARAMS(byte[] seed, byte[] label, int outputLength) {
        this.seed = seed;
        this.label = label;
        output = new byte[outputLength];
    }
}
