package com.kelvane.pkcs11;

/**
 * The parameter of {@code CKM_HASH_ML_DSA} and {@code CKM_HASH_SLH_DSA}, which sign a hash that the caller has made
 * ({@code CK_HASH_SIGN_ADDITIONAL_CONTEXT}).
 *
 * <p>The array is kept by reference and only read.
 */
public class CK_HASH_SIGN_ADDITIONAL_CONTEXT {
    /**
     * Whether the signature is hedged with random numbers, one of {@code CKH_HEDGE_PREFERRED},
     * {@code CKH_HEDGE_REQUIRED} and {@code CKH_DETERMINISTIC_REQUIRED}.
     */
    public int hedgeVariant;

    /** The context, up to 255 bytes; null for none. */
    public byte[] pContext;

    /** The hash function of what is signed, a mechanism type: {@code CKM_SHA256}, ... */
    public int hash;

    /** Creates the parameter with all fields 0 and null. */
    public CK_HASH_SIGN_ADDITIONAL_CONTEXT() {
    }

    /**
     * Creates the parameter.
     *
     * @param hedgeVariant whether the signature is hedged with random numbers, one of
     *     {@code CKH_HEDGE_PREFERRED}, {@code CKH_HEDGE_REQUIRED} and {@code CKH_DETERMINISTIC_REQUIRED}
     * @param pContext the context, up to 255 bytes, or null
     * @param hash the hash function of what is signed, a mechanism type: {@code CKM_SHA256}, ...
     */
    public CK_HASH_SIGN_ADDITIONAL_CONTEXT(int hedgeVariant, byte[] pContext, int hash) {
        this.hedgeVariant = hedgeVariant;
        this.pContext = pContext;
        this.hash = hash;
    }
}
