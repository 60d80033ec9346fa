package com.kelvane.pkcs11;

/**
 * The parameter of {@code CKM_ECDH_AES_KEY_WRAP}, {@code CKM_ECDH_X_AES_KEY_WRAP} and
 * {@code CKM_ECDH_COF_AES_KEY_WRAP} ({@code CK_ECDH_AES_KEY_WRAP_PARAMS}): an AES key, derived by ECDH from a key pair
 * made for the one use, wraps the key.
 *
 * <p>The array is kept by reference and only read.
 */
public class CK_ECDH_AES_KEY_WRAP_PARAMS {
    /** The length of the AES key in bits: 128, 192 or 256. */
    public int ulAESKeyBits;

    /** The key derivation function, one of the {@code CKD_} values. */
    public int kdf;

    /** Data that both sides share; null for none. */
    public byte[] pSharedData;

    /** Creates the parameter with all fields 0 and null. */
    public CK_ECDH_AES_KEY_WRAP_PARAMS() {
    }

    /**
     * Creates the parameter.
     *
     * @param ulAESKeyBits the length of the AES key in bits
     * @param kdf the key derivation function
     * @param pSharedData data that both sides share, or null
     */
    public CK_ECDH_AES_KEY_WRAP_PARAMS(int ulAESKeyBits, int kdf, byte[] pSharedData) {
        this.ulAESKeyBits = ulAESKeyBits;
        this.kdf = kdf;
        this.pSharedData = pSharedData;
    }
}
