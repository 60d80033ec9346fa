package com.kelvane.pkcs11;

/**
 * The parameter of {@code CKM_XEDDSA} ({@code CK_XEDDSA_PARAMS}).
 */
public class CK_XEDDSA_PARAMS {
    /** The hash function, a mechanism type: {@code CKM_SHA512}, ... */
    public int hash;

    /** Creates the parameter with all fields 0. */
    public CK_XEDDSA_PARAMS() {
    }

    /**
     * Creates the parameter.
     *
     * @param hash the hash function, a mechanism type: {@code CKM_SHA512}, ...
     */
    public CK_XEDDSA_PARAMS(int hash) {
        this.hash = hash;
    }
}
