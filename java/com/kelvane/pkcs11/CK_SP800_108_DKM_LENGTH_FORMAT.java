package com.kelvane.pkcs11;

/**
 * How the length of all derived keys is written into the data of a derivation
 * ({@code CK_SP800_108_DKM_LENGTH_FORMAT}), a value of {@link CK_PRF_DATA_PARAM}.
 */
public class CK_SP800_108_DKM_LENGTH_FORMAT {
    /**
     * What is counted, {@code CK_SP800_108_DKM_LENGTH_SUM_OF_KEYS} or
     * {@code CK_SP800_108_DKM_LENGTH_SUM_OF_SEGMENTS}.
     */
    public int dkmLengthMethod;

    /** Whether the least significant byte goes first. */
    public boolean bLittleEndian;

    /** The width of the length, a multiple of 8. */
    public int ulWidthInBits;

    /** Creates the parameter with all fields 0 and false. */
    public CK_SP800_108_DKM_LENGTH_FORMAT() {
    }

    /**
     * Creates the parameter.
     *
     * @param dkmLengthMethod what is counted, {@code CK_SP800_108_DKM_LENGTH_SUM_OF_KEYS} or
     *     {@code CK_SP800_108_DKM_LENGTH_SUM_OF_SEGMENTS}
     * @param bLittleEndian whether the least significant byte goes first
     * @param ulWidthInBits the width of the length, a multiple of 8
     */
    public CK_SP800_108_DKM_LENGTH_FORMAT(int dkmLengthMethod, boolean bLittleEndian, int ulWidthInBits) {
        this.dkmLengthMethod = dkmLengthMethod;
        this.bLittleEndian = bLittleEndian;
        this.ulWidthInBits = ulWidthInBits;
    }
}
