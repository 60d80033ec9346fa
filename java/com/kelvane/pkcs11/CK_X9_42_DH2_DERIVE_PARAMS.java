package com.kelvane.pkcs11;

import com.kelvane.pkcs11.nat.NativePKCS11Object;

/**
 * The parameter of {@code CKM_X9_42_DH_HYBRID_DERIVE} ({@code CK_X9_42_DH2_DERIVE_PARAMS}).
 *
 * <p>The arrays are kept by reference and only read.
 */
public class CK_X9_42_DH2_DERIVE_PARAMS {
    /**
     * What is done with the shared secret: {@code CKD_NULL}, {@code CKD_SHA1_KDF_ASN1} or
     * {@code CKD_SHA1_KDF_CONCATENATE}.
     */
    public int kdf;

    /** What goes into the derivation besides the secret; null if there is nothing. */
    public byte[] pOtherInfo;

    /** The public value of the other side. */
    public byte[] pPublicData;

    /** The length of the second private key in bytes. */
    public int ulPrivateDataLen;

    /** The own private key that belongs to the second pair. */
    public NativePKCS11Object hPrivateData;

    /** The second public value of the other side. */
    public byte[] pPublicData2;

    /** Creates the parameter with all fields 0 and null. */
    public CK_X9_42_DH2_DERIVE_PARAMS() {
    }

    /**
     * Creates the parameter.
     *
     * @param kdf what is done with the shared secret: {@code CKD_NULL}, {@code CKD_SHA1_KDF_ASN1} or
     *     {@code CKD_SHA1_KDF_CONCATENATE}
     * @param pOtherInfo what goes into the derivation besides the secret, or null
     * @param pPublicData the public value of the other side
     * @param ulPrivateDataLen the length of the second private key in bytes
     * @param hPrivateData the own private key that belongs to the second pair
     * @param pPublicData2 the second public value of the other side
     */
    public CK_X9_42_DH2_DERIVE_PARAMS(int kdf, byte[] pOtherInfo, byte[] pPublicData, int ulPrivateDataLen,
        NativePKCS11Object hPrivateData, byte[] pPublicData2) {
        this.kdf = kdf;
        this.pOtherInfo = pOtherInfo;
        this.pPublicData = pPublicData;
        this.ulPrivateDataLen = ulPrivateDataLen;
        this.hPrivateData = hPrivateData;
        this.pPublicData2 = pPublicData2;
    }
}
