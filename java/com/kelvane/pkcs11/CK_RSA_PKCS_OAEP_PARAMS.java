package com.kelvane.pkcs11;

/**
 * The parameter of {@code CKM_RSA_PKCS_OAEP} ({@code CK_RSA_PKCS_OAEP_PARAMS}).
 *
 * <p>The array is kept by reference and only read. The length is a field of its own: it counts as stated, the array
 * only provides the bytes. A length that reaches outside the memory set aside for the parameter, which is that of the
 * structure and the array rounded up to 16 bytes with zeros, or is negative, is refused with
 * {@code CKR_MECHANISM_PARAM_INVALID} (0x71). The other fields are for the token to check.
 */
public class CK_RSA_PKCS_OAEP_PARAMS {
    /** The hash function, a mechanism type: {@code CKM_SHA_1}, {@code CKM_SHA256}, ... */
    public int hashAlg;

    /** The mask generation function, one of the {@code CKG_} values. */
    public int mgf;

    /** The source of the encoding parameter, {@code CKZ_DATA_SPECIFIED}. */
    public int source;

    /** The encoding parameter; null if it is empty. */
    public byte[] pSourceData;

    /** The length of the encoding parameter in bytes. */
    public int ulSourceDataLen;

    /** Creates the parameter with all fields 0 and null. */
    public CK_RSA_PKCS_OAEP_PARAMS() {
    }

    /**
     * Creates the parameter with the source {@code CKZ_DATA_SPECIFIED} and takes the length from the array.
     *
     * @param hashAlg the hash function, a mechanism type
     * @param mgf the mask generation function
     * @param sourceData the encoding parameter, or null if it is empty
     */
    public CK_RSA_PKCS_OAEP_PARAMS(int hashAlg, int mgf, byte[] sourceData) {
        this.hashAlg = hashAlg;
        this.mgf = mgf;
        source = PKCS11Constants.CKZ_DATA_SPECIFIED;
        pSourceData = sourceData;
        ulSourceDataLen = sourceData == null ? 0 : sourceData.length;
    }
}
