package com.kelvane.pkcs11;

/**
 * The parameter of {@code CKM_CHACHA20} ({@code CK_CHACHA20_PARAMS}). Its numbers of bits are those of the arrays.
 *
 * <p>The arrays are kept by reference and only read.
 */
public class CK_CHACHA20_PARAMS {
    /** The number of the first block, 4 or 8 bytes, the least significant one first. */
    public byte[] pBlockCounter;

    /** The nonce, 8, 12 or 24 bytes; never to be used twice with one key. */
    public byte[] pNonce;

    /** Creates the parameter with all fields null. */
    public CK_CHACHA20_PARAMS() {
    }

    /**
     * Creates the parameter.
     *
     * @param pBlockCounter the number of the first block, 4 or 8 bytes, the least significant one first
     * @param pNonce the nonce, 8, 12 or 24 bytes
     */
    public CK_CHACHA20_PARAMS(byte[] pBlockCounter, byte[] pNonce) {
        this.pBlockCounter = pBlockCounter;
        this.pNonce = pNonce;
    }
}
