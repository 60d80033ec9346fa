package com.kelvane.pkcs11;

/**
 * The parameter of {@code CKM_ML_DSA} and {@code CKM_SLH_DSA}, and of their forms that name their hash,
 * {@code CKM_HASH_ML_DSA_SHA256} for example ({@code CK_SIGN_ADDITIONAL_CONTEXT}). Null in its place is a signature
 * without a context that the token hedges if it likes to.
 *
 * <p>The array is kept by reference and only read.
 */
public class CK_SIGN_ADDITIONAL_CONTEXT {
    /**
     * Whether the signature is hedged with random numbers, one of {@code CKH_HEDGE_PREFERRED},
     * {@code CKH_HEDGE_REQUIRED} and {@code CKH_DETERMINISTIC_REQUIRED}.
     */
    public int hedgeVariant;

    /** The context, up to 255 bytes; null for none. */
    public byte[] pContext;

    /** Creates the parameter with all fields 0 and null. */
    public CK_SIGN_ADDITIONAL_CONTEXT() {
    }

    /**
     * Creates the parameter.
     *
     * @param hedgeVariant whether the signature is hedged with random numbers, one of
     *     {@code CKH_HEDGE_PREFERRED}, {@code CKH_HEDGE_REQUIRED} and {@code CKH_DETERMINISTIC_REQUIRED}
     * @param pContext the context, up to 255 bytes, or null
     */
    public CK_SIGN_ADDITIONAL_CONTEXT(int hedgeVariant, byte[] pContext) {
        this.hedgeVariant = hedgeVariant;
        this.pContext = pContext;
    }
}
