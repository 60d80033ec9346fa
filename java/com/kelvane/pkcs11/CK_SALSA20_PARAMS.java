package com.kelvane.pkcs11;

/**
 * The parameter of {@code CKM_SALSA20} ({@code CK_SALSA20_PARAMS}). The number of bits of the nonce is that of the
 * array.
 *
 * <p>The arrays are kept by reference and only read. A block counter of another length is refused with
 * {@code CKR_MECHANISM_PARAM_INVALID} (0x71).
 */
public class CK_SALSA20_PARAMS {
    /** The number of the first block, 8 bytes, the least significant one first. */
    public byte[] pBlockCounter;

    /** The nonce, 8 or 24 bytes; never to be used twice with one key. */
    public byte[] pNonce;

    /** Creates the parameter with all fields null. */
    public CK_SALSA20_PARAMS() {
    }

    /**
     * Creates the parameter.
     *
     * @param pBlockCounter the number of the first block, 8 bytes, the least significant one first
     * @param pNonce the nonce, 8 or 24 bytes
     */
    public CK_SALSA20_PARAMS(byte[] pBlockCounter, byte[] pNonce) {
        this.pBlockCounter = pBlockCounter;
        this.pNonce = pNonce;
    }
}
