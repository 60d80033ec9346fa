package com.kelvane.pkcs11;

/**
 * The parameter of {@code CKM_EDDSA} ({@code CK_EDDSA_PARAMS}). Without one, Ed25519 signs as it is.
 *
 * <p>The array is kept by reference and only read.
 */
public class CK_EDDSA_PARAMS {
    /** Whether a hash of the message is signed (Ed25519ph, Ed448ph). */
    public boolean phFlag;

    /** The context, up to 255 bytes; null for none. */
    public byte[] pContextData;

    /** Creates the parameter with all fields false and null. */
    public CK_EDDSA_PARAMS() {
    }

    /**
     * Creates the parameter.
     *
     * @param phFlag whether a hash of the message is signed
     * @param pContextData the context, or null
     */
    public CK_EDDSA_PARAMS(boolean phFlag, byte[] pContextData) {
        this.phFlag = phFlag;
        this.pContextData = pContextData;
    }
}
