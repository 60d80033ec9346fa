package com.kelvane.pkcs11;

/**
 * The parameter of {@code CKM_AES_CTR} and {@code CKM_CAMELLIA_CTR} ({@code CK_AES_CTR_PARAMS}).
 *
 * <p>The array is kept by reference and only read. A counter block of other than 16 bytes is refused with {@code
 * CKR_MECHANISM_PARAM_INVALID} (0x71).
 */
public class CK_AES_CTR_PARAMS {
    /** How many bits at the end of the counter block count up, 1 to 128. */
    public int ulCounterBits;

    /** The first counter block of 16 bytes. */
    public byte[] cb;

    /** Creates the parameter with all fields 0 and null. */
    public CK_AES_CTR_PARAMS() {
    }

    /**
     * Creates the parameter.
     *
     * @param ulCounterBits the number of bits at the end of the counter block that count up
     * @param cb the first counter block of 16 bytes
     */
    public CK_AES_CTR_PARAMS(int ulCounterBits, byte[] cb) {
        this.ulCounterBits = ulCounterBits;
        this.cb = cb;
    }
}
