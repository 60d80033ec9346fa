package com.kelvane.pkcs11;

/**
 * The parameter of {@code CKM_AES_CCM} ({@code CK_CCM_PARAMS}).
 *
 * <p>The arrays are kept by reference and only read.
 */
public class CK_CCM_PARAMS {
    /** The length of the data in bytes, without the MAC: it is a part of the algorithm's input. */
    public int ulDataLen;

    /** The nonce, 7 to 13 bytes: the longer it is, the shorter the data may be. */
    public byte[] pNonce;

    /** The additional authenticated data; null for none. */
    public byte[] pAAD;

    /** The length of the MAC in bytes, an even number from 4 to 16; the MAC is the end of the encrypted data. */
    public int ulMACLen;

    /** Creates the parameter with all fields 0 and null. */
    public CK_CCM_PARAMS() {
    }

    /**
     * Creates the parameter.
     *
     * @param ulDataLen the length of the data in bytes, without the MAC
     * @param pNonce the nonce
     * @param pAAD the additional authenticated data, or null
     * @param ulMACLen the length of the MAC in bytes
     */
    public CK_CCM_PARAMS(int ulDataLen, byte[] pNonce, byte[] pAAD, int ulMACLen) {
        this.ulDataLen = ulDataLen;
        this.pNonce = pNonce;
        this.pAAD = pAAD;
        this.ulMACLen = ulMACLen;
    }
}
