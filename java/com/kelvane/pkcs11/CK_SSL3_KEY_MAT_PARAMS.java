package com.kelvane.pkcs11;

/**
 * The parameter of {@code CKM_SSL3_KEY_AND_MAC_DERIVE} and {@code CKM_TLS_KEY_AND_MAC_DERIVE} in {@code deriveKey}
 * ({@code CK_SSL3_KEY_MAT_PARAMS}).
 *
 * <p>Objects are kept by reference: the four keys and two initialisation vectors come back in
 * {@link #returnedKeyMaterial}. Its two arrays are the buffers for the vectors: an {@link #ivSizeInBits} that they,
 * rounded up to 16 bytes with the rest of the parameter, cannot hold, or that is negative, is refused with
 * {@code CKR_MECHANISM_PARAM_INVALID} (0x71).
 */
public class CK_SSL3_KEY_MAT_PARAMS {
    /** The length of a MAC secret in bits. */
    public int macSizeInBits;

    /** The length of a key in bits. */
    public int keySizeInBits;

    /** The length of an initialisation vector in bits, 0 if none is needed. */
    public int ivSizeInBits;

    /** 1 if the keys are for an exportable cipher, else 0. */
    public byte exportable;

    /** The random data of both sides; null is refused with {@code CKR_MECHANISM_PARAM_INVALID} (0x71). */
    public CK_SSL3_RANDOM_DATA randomData;

    /** The output; null is refused with {@code CKR_MECHANISM_PARAM_INVALID} (0x71). */
    public CK_SSL3_KEY_MAT_OUT returnedKeyMaterial;

    /** Creates the parameter with all fields 0 and null. */
    public CK_SSL3_KEY_MAT_PARAMS() {
    }

    /**
     * Creates the parameter with a new output with arrays for the initialisation vectors.
     *
     * @param macSizeInBits the length of a MAC secret in bits
     * @param keySizeInBits the length of a key in bits
     * @param ivSizeInBits the length of an initialisation vector in bits
     * @param exportable whether the keys are for an exportable cipher
     * @param randomData the random data of both sides
     */
    public CK_SSL3_KEY_MAT_PARAMS(int macSizeInBits, int keySizeInBits, int ivSizeInBits, boolean exportable,
        CK_SSL3_RANDOM_DATA randomData) {
        this.macSizeInBits = macSizeInBits;
        this.keySizeInBits = keySizeInBits;
        this.ivSizeInBits = ivSizeInBits;
        this.exportable = (byte) (exportable ? 1 : 0);
        this.randomData = randomData;
        returnedKeyMaterial = new CK_SSL3_KEY_MAT_OUT(ivSizeInBits / 8);
    }
}
