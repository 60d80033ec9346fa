package com.kelvane.pkcs11;

/**
 * One piece of the data that a derivation feeds to its pseudo-random function ({@code CK_PRF_DATA_PARAM}), an
 * element of {@link CK_SP800_108_KDF_PARAMS#pDataParams}.
 */
public class CK_PRF_DATA_PARAM {
    /**
     * What it is: {@code CK_SP800_108_ITERATION_VARIABLE}, {@code CK_SP800_108_COUNTER},
     * {@code CK_SP800_108_DKM_LENGTH}, {@code CK_SP800_108_BYTE_ARRAY} or {@code CK_SP800_108_KEY_HANDLE}.
     */
    public int type;

    /**
     * Its value by its type: a {@link CK_SP800_108_COUNTER_FORMAT}, a {@link CK_SP800_108_DKM_LENGTH_FORMAT}, a
     * {@code byte[]}, a {@link com.kelvane.pkcs11.nat.NativePKCS11Object}; null if it has no value, as the iteration
     * variable of the feedback and double-pipeline modes.
     */
    public Object pValue;

    /** Creates the parameter with all fields 0 and null. */
    public CK_PRF_DATA_PARAM() {
    }

    /**
     * Creates the parameter.
     *
     * @param type what it is: {@code CK_SP800_108_ITERATION_VARIABLE}, {@code CK_SP800_108_COUNTER},
     *     {@code CK_SP800_108_DKM_LENGTH}, {@code CK_SP800_108_BYTE_ARRAY} or
     *     {@code CK_SP800_108_KEY_HANDLE}
     * @param pValue its value by its type: a {@link CK_SP800_108_COUNTER_FORMAT}, a
     *     {@link CK_SP800_108_DKM_LENGTH_FORMAT}, a {@code byte[]}, a
     *     {@link com.kelvane.pkcs11.nat.NativePKCS11Object}, or null
     */
    public CK_PRF_DATA_PARAM(int type, Object pValue) {
        this.type = type;
        this.pValue = pValue;
    }
}
