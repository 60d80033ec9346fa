package com.kelvane.pkcs11;

/**
 * The parameter of {@code CKM_SP800_108_FEEDBACK_KDF} ({@code CK_SP800_108_FEEDBACK_KDF_PARAMS}).
 *
 * <p>The arrays are kept by reference. The additional keys come back in the elements of theirs; all else is only read.
 */
public class CK_SP800_108_FEEDBACK_KDF_PARAMS {
    /** The pseudo-random function, a mechanism type: {@code CKM_SHA256_HMAC}, {@code CKM_AES_CMAC}, ... */
    public int prfType;

    /** The data for it, piece by piece. */
    public CK_PRF_DATA_PARAM[] pDataParams;

    /** The initialisation vector; null for none. */
    public byte[] pIV;

    /** Keys to be derived besides the one that {@code deriveKey} returns; null for none. */
    public CK_DERIVED_KEY[] pAdditionalDerivedKeys;

    /** Creates the parameter with all fields 0 and null. */
    public CK_SP800_108_FEEDBACK_KDF_PARAMS() {
    }

    /**
     * Creates the parameter.
     *
     * @param prfType the pseudo-random function, a mechanism type: {@code CKM_SHA256_HMAC},
     *     {@code CKM_AES_CMAC}, ...
     * @param pDataParams the data for it, piece by piece
     * @param pIV the initialisation vector, or null
     * @param pAdditionalDerivedKeys keys to be derived besides the one that {@code deriveKey} returns, or
     *     null
     */
    public CK_SP800_108_FEEDBACK_KDF_PARAMS(int prfType, CK_PRF_DATA_PARAM[] pDataParams, byte[] pIV,
        CK_DERIVED_KEY[] pAdditionalDerivedKeys) {
        this.prfType = prfType;
        this.pDataParams = pDataParams;
        this.pIV = pIV;
        this.pAdditionalDerivedKeys = pAdditionalDerivedKeys;
    }
}
