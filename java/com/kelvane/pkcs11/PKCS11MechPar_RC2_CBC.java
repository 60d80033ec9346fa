package com.kelvane.pkcs11;

/**
 * The parameter of {@code CKM_RC2_CBC} and {@code CKM_RC2_CBC_PAD} ({@code CK_RC2_CBC_PARAMS}).
 *
 * <p>The array is kept by reference and only read. More than 8 bytes are refused with
 * {@code CKR_MECHANISM_PARAM_INVALID} (0x71).
 */
public class PKCS11MechPar_RC2_CBC extends PKCS11MechPar_RC2 {
    /** The initialisation vector of 8 bytes; null is 8 zero bytes, and missing bytes at the end are zero. */
    public byte[] iv;

    /** Creates the parameter with all fields 0 and null. */
    public PKCS11MechPar_RC2_CBC() {
    }

    /**
     * Creates the parameter.
     *
     * @param bits the effective number of bits of the key
     * @param iv the initialisation vector of 8 bytes
     */
    public PKCS11MechPar_RC2_CBC(int bits, byte[] iv) {
        super(bits);
        this.iv = iv;
    }
}
