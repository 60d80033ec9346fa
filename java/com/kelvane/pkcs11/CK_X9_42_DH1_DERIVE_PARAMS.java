package com.kelvane.pkcs11;

/**
 * The parameter of {@code CKM_X9_42_DH_DERIVE} ({@code CK_X9_42_DH1_DERIVE_PARAMS}).
 *
 * <p>The arrays are kept by reference and only read.
 */
public class CK_X9_42_DH1_DERIVE_PARAMS {
    /**
     * What is done with the shared secret: {@code CKD_NULL}, {@code CKD_SHA1_KDF_ASN1} or
     * {@code CKD_SHA1_KDF_CONCATENATE}.
     */
    public int kdf;

    /** What goes into the derivation besides the secret; null if there is nothing. */
    public byte[] pOtherInfo;

    /** The public value of the other side. */
    public byte[] pPublicData;

    /** Creates the parameter with all fields 0 and null. */
    public CK_X9_42_DH1_DERIVE_PARAMS() {
    }

    /**
     * Creates the parameter.
     *
     * @param kdf what is done with the shared secret: {@code CKD_NULL}, {@code CKD_SHA1_KDF_ASN1} or
     *     {@code CKD_SHA1_KDF_CONCATENATE}
     * @param pOtherInfo what goes into the derivation besides the secret, or null
     * @param pPublicData the public value of the other side
     */
    public CK_X9_42_DH1_DERIVE_PARAMS(int kdf, byte[] pOtherInfo, byte[] pPublicData) {
        this.kdf = kdf;
        this.pOtherInfo = pOtherInfo;
        this.pPublicData = pPublicData;
    }
}
