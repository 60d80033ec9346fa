package com.kelvane.pkcs11;

/** The parameter of {@code CKM_RC2_ECB} and {@code CKM_RC2_MAC} ({@code CK_RC2_PARAMS}). */
public class PKCS11MechPar_RC2 {
    /** The effective number of bits of the key, 1 to 1024. */
    public int bits;

    /** Creates the parameter with all fields 0 and null. */
    public PKCS11MechPar_RC2() {
    }

    /**
     * Creates the parameter.
     *
     * @param bits the effective number of bits of the key
     */
    public PKCS11MechPar_RC2(int bits) {
        this.bits = bits;
    }
}
