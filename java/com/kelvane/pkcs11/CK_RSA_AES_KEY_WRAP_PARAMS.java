package com.kelvane.pkcs11;

/**
 * The parameter of {@code CKM_RSA_AES_KEY_WRAP} ({@code CK_RSA_AES_KEY_WRAP_PARAMS}): an AES key, made for the one use
 * and itself wrapped with RSA OAEP, wraps the key.
 */
public class CK_RSA_AES_KEY_WRAP_PARAMS {
    /** The length of the AES key in bits: 128, 192 or 256. */
    public int ulAESKeyBits;

    /** How the AES key is wrapped; null is refused with {@code CKR_MECHANISM_PARAM_INVALID} (0x71). */
    public CK_RSA_PKCS_OAEP_PARAMS pOAEPParams;

    /** Creates the parameter with all fields 0 and null. */
    public CK_RSA_AES_KEY_WRAP_PARAMS() {
    }

    /**
     * Creates the parameter.
     *
     * @param ulAESKeyBits the length of the AES key in bits
     * @param pOAEPParams how the AES key is wrapped
     */
    public CK_RSA_AES_KEY_WRAP_PARAMS(int ulAESKeyBits, CK_RSA_PKCS_OAEP_PARAMS pOAEPParams) {
        this.ulAESKeyBits = ulAESKeyBits;
        this.pOAEPParams = pOAEPParams;
    }
}
