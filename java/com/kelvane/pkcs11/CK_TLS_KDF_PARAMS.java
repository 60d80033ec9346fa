package com.kelvane.pkcs11;

/**
 * The parameter of {@code CKM_TLS_KDF} and {@code CKM_TLS12_KDF}, which export key material
 * ({@code CK_TLS_KDF_PARAMS}).
 *
 * <p>The arrays are kept by reference and only read.
 */
public class CK_TLS_KDF_PARAMS {
    /**
     * The hash function of the pseudo-random function, a mechanism type: {@code CKM_SHA256}, ..., or
     * {@code CKM_TLS_PRF} before version 1.2.
     */
    public int prfMechanism;

    /** The label. */
    public byte[] pLabel;

    /** The random bytes of both sides. */
    public CK_SSL3_RANDOM_DATA RandomInfo;

    /** The context; null for none. */
    public byte[] pContextData;

    /** Creates the parameter with all fields 0 and null. */
    public CK_TLS_KDF_PARAMS() {
    }

    /**
     * Creates the parameter.
     *
     * @param prfMechanism the hash function of the pseudo-random function, a mechanism type:
     *     {@code CKM_SHA256}, ..., or {@code CKM_TLS_PRF} before version 1.2
     * @param pLabel the label
     * @param RandomInfo the random bytes of both sides
     * @param pContextData the context, or null
     */
    public CK_TLS_KDF_PARAMS(int prfMechanism, byte[] pLabel, CK_SSL3_RANDOM_DATA RandomInfo, byte[] pContextData) {
        this.prfMechanism = prfMechanism;
        this.pLabel = pLabel;
        this.RandomInfo = RandomInfo;
        this.pContextData = pContextData;
    }
}
