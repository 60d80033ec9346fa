package com.kelvane.pkcs11;

/**
 * The parameter of the {@code _ECB_ENCRYPT_DATA} mechanisms ({@code CK_KEY_DERIVATION_STRING_DATA}): data that the base
 * key encrypts to derive another key.
 *
 * <p>The array is kept by reference and only read.
 */
public class CK_KEY_DERIVATION_STRING_DATA {
    /** The data, whole blocks of the cipher. */
    public byte[] pData;

    /** Creates the parameter with no bytes. */
    public CK_KEY_DERIVATION_STRING_DATA() {
    }

    /**
     * Creates the parameter.
     *
     * @param pData the data, whole blocks of the cipher
     */
    public CK_KEY_DERIVATION_STRING_DATA(byte[] pData) {
        this.pData = pData;
    }
}
