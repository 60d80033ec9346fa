package com.kelvane.pkcs11;

/**
 * The parameter of {@code CKM_RSA_PKCS_PSS}, {@code CKM_SHA1_RSA_PKCS_PSS}, {@code CKM_SHA224_RSA_PKCS_PSS},
 * {@code CKM_SHA256_RSA_PKCS_PSS}, {@code CKM_SHA384_RSA_PKCS_PSS} and {@code CKM_SHA512_RSA_PKCS_PSS}
 * ({@code CK_RSA_PKCS_PSS_PARAMS}). The fields are for the token to check.
 */
public class CK_RSA_PKCS_PSS_PARAMS {
    /** The hash function, a mechanism type: {@code CKM_SHA_1}, {@code CKM_SHA256}, ... */
    public int hashAlg;

    /** The mask generation function, one of the {@code CKG_} values. */
    public int mgf;

    /** The length of the salt in bytes, as a rule that of the hash value. */
    public int sLen;

    /** Creates the parameter with all fields 0. */
    public CK_RSA_PKCS_PSS_PARAMS() {
    }

    /**
     * Creates the parameter.
     *
     * @param hashAlg the hash function, a mechanism type
     * @param mgf the mask generation function
     * @param sLen the length of the salt in bytes
     */
    public CK_RSA_PKCS_PSS_PARAMS(int hashAlg, int mgf, int sLen) {
        this.hashAlg = hashAlg;
        this.mgf = mgf;
        this.sLen = sLen;
    }
}
