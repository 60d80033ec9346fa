package com.kelvane.pkcs11;

/**
 * The parameter of {@code CKM_AES_CBC_ENCRYPT_DATA}, {@code CKM_CAMELLIA_CBC_ENCRYPT_DATA}, {@code
 * CKM_ARIA_CBC_ENCRYPT_DATA} and {@code CKM_SEED_CBC_ENCRYPT_DATA} ({@code CK_AES_CBC_ENCRYPT_DATA_PARAMS}): data that
 * the base key encrypts to derive another key.
 *
 * <p>The arrays are kept by reference and only read. An initialisation vector of other than 16 bytes is refused with
 * {@code CKR_MECHANISM_PARAM_INVALID} (0x71).
 */
public class CK_AES_CBC_ENCRYPT_DATA_PARAMS {
    /** The initialisation vector of 16 bytes. */
    public byte[] iv;

    /** The data, whole blocks of the cipher. */
    public byte[] pData;

    /** Creates the parameter with all fields null. */
    public CK_AES_CBC_ENCRYPT_DATA_PARAMS() {
    }

    /**
     * Creates the parameter.
     *
     * @param iv the initialisation vector of 16 bytes
     * @param pData the data, whole blocks of the cipher
     */
    public CK_AES_CBC_ENCRYPT_DATA_PARAMS(byte[] iv, byte[] pData) {
        this.iv = iv;
        this.pData = pData;
    }
}
