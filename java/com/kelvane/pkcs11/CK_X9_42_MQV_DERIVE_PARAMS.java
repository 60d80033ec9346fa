package com.kelvane.pkcs11;

import com.kelvane.pkcs11.nat.NativePKCS11Object;

/**
 * The parameter of {@code CKM_X9_42_MQV_DERIVE} ({@code CK_X9_42_MQV_DERIVE_PARAMS}).
 *
 * <p>The arrays are kept by reference and only read.
 */
public class CK_X9_42_MQV_DERIVE_PARAMS {
    /**
     * What is done with the shared secret: {@code CKD_NULL}, {@code CKD_SHA1_KDF_ASN1} or
     * {@code CKD_SHA1_KDF_CONCATENATE}.
     */
    public int kdf;

    /** What goes into the derivation besides the secret; null if there is nothing. */
    public byte[] OtherInfo;

    /** The public value of the other side. */
    public byte[] PublicData;

    /** The length of the second private key in bytes. */
    public int ulPrivateDataLen;

    /** The own private key that belongs to the second pair. */
    public NativePKCS11Object hPrivateData;

    /** The second public value of the other side. */
    public byte[] PublicData2;

    /** The own public key that belongs to the first pair. */
    public NativePKCS11Object publicKey;

    /** Creates the parameter with all fields 0 and null. */
    public CK_X9_42_MQV_DERIVE_PARAMS() {
    }

    /**
     * Creates the parameter.
     *
     * @param kdf what is done with the shared secret: {@code CKD_NULL}, {@code CKD_SHA1_KDF_ASN1} or
     *     {@code CKD_SHA1_KDF_CONCATENATE}
     * @param OtherInfo what goes into the derivation besides the secret, or null
     * @param PublicData the public value of the other side
     * @param ulPrivateDataLen the length of the second private key in bytes
     * @param hPrivateData the own private key that belongs to the second pair
     * @param PublicData2 the second public value of the other side
     * @param publicKey the own public key that belongs to the first pair
     */
    public CK_X9_42_MQV_DERIVE_PARAMS(int kdf, byte[] OtherInfo, byte[] PublicData, int ulPrivateDataLen,
        NativePKCS11Object hPrivateData, byte[] PublicData2, NativePKCS11Object publicKey) {
        this.kdf = kdf;
        this.OtherInfo = OtherInfo;
        this.PublicData = PublicData;
        this.ulPrivateDataLen = ulPrivateDataLen;
        this.hPrivateData = hPrivateData;
        this.PublicData2 = PublicData2;
        this.publicKey = publicKey;
    }
}
