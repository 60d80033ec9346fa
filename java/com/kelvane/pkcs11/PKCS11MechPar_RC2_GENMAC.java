package com.kelvane.pkcs11;

/** The parameter of {@code CKM_RC2_MAC_GENERAL} ({@code CK_RC2_MAC_GENERAL_PARAMS}). */
public class PKCS11MechPar_RC2_GENMAC extends PKCS11MechPar_RC2 {
    /** The length of the MAC in bytes. */
    public int macLength;

    /** Creates the parameter with all fields 0 and null. */
    public PKCS11MechPar_RC2_GENMAC() {
    }

    /**
     * Creates the parameter.
     *
     * @param bits the effective number of bits of the key
     * @param macLength the length of the MAC in bytes
     */
    public PKCS11MechPar_RC2_GENMAC(int bits, int macLength) {
        super(bits);
        this.macLength = macLength;
    }
}
