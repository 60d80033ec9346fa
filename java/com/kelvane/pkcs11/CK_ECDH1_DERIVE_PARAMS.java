package com.kelvane.pkcs11;

/**
 * The parameter of {@code CKM_ECDH1_DERIVE} and {@code CKM_ECDH1_COFACTOR_DERIVE} in {@code deriveKey}
 * ({@code CK_ECDH1_DERIVE_PARAMS}).
 *
 * <p>Arrays are kept by reference and only read. The lengths are fields of their own: they count as stated, the arrays
 * only provide the bytes. A length that reaches outside the memory set aside for the parameter, which is that of the
 * structure and the two arrays rounded up to 16 bytes with zeros, or is negative, is refused with
 * {@code CKR_MECHANISM_PARAM_INVALID} (0x71).
 */
public class CK_ECDH1_DERIVE_PARAMS {
    /** The key derivation function, one of the {@code CKD_} values. */
    public int kdf;

    /** The length of the shared data in bytes; with 0 {@link #sharedData} is not read. */
    public int sharedDataLen;

    /** Data shared by both sides, for the key derivation function; null with {@code CKD_NULL}. */
    public byte[] sharedData;

    /** The length of the other side's public key in bytes. */
    public int publicDataLen;

    /** The other side's public key, a point of the curve; null is no bytes. */
    public byte[] publicData;

    /** Creates the parameter with all fields 0 and null. */
    public CK_ECDH1_DERIVE_PARAMS() {
    }

    /**
     * Creates the parameter and takes the lengths from the arrays.
     *
     * @param kdf the key derivation function
     * @param sharedData data shared by both sides, or null
     * @param publicData the other side's public key
     */
    public CK_ECDH1_DERIVE_PARAMS(int kdf, byte[] sharedData, byte[] publicData) {
        this.kdf = kdf;
        this.sharedData = sharedData;
        sharedDataLen = sharedData == null ? 0 : sharedData.length;
        this.publicData = publicData;
        publicDataLen = publicData == null ? 0 : publicData.length;
    }
}
