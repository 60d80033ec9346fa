package com.kelvane.pkcs11;

/**
 * The parameter of {@code CKM_CHACHA20_POLY1305} and {@code CKM_SALSA20_POLY1305} ({@code
 * CK_SALSA20_CHACHA20_POLY1305_PARAMS}).
 *
 * <p>The arrays are kept by reference and only read.
 */
public class CK_SALSA20_CHACHA20_POLY1305_PARAMS {
    /** The nonce: 8, 12 or 24 bytes, as the cipher has it. */
    public byte[] pNonce;

    /** The additional authenticated data; null for none. */
    public byte[] pAAD;

    /** Creates the parameter with all fields null. */
    public CK_SALSA20_CHACHA20_POLY1305_PARAMS() {
    }

    /**
     * Creates the parameter.
     *
     * @param pNonce the nonce
     * @param pAAD the additional authenticated data, or null
     */
    public CK_SALSA20_CHACHA20_POLY1305_PARAMS(byte[] pNonce, byte[] pAAD) {
        this.pNonce = pNonce;
        this.pAAD = pAAD;
    }
}
