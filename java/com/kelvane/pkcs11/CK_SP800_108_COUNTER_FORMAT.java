package com.kelvane.pkcs11;

/**
 * How a counter is written into the data of a derivation ({@code CK_SP800_108_COUNTER_FORMAT}), a value of
 * {@link CK_PRF_DATA_PARAM}.
 */
public class CK_SP800_108_COUNTER_FORMAT {
    /** Whether the least significant byte goes first. */
    public boolean bLittleEndian;

    /** The width of the counter, a multiple of 8. */
    public int ulWidthInBits;

    /** Creates the parameter with all fields false and 0. */
    public CK_SP800_108_COUNTER_FORMAT() {
    }

    /**
     * Creates the parameter.
     *
     * @param bLittleEndian whether the least significant byte goes first
     * @param ulWidthInBits the width of the counter, a multiple of 8
     */
    public CK_SP800_108_COUNTER_FORMAT(boolean bLittleEndian, int ulWidthInBits) {
        this.bLittleEndian = bLittleEndian;
        this.ulWidthInBits = ulWidthInBits;
    }
}
