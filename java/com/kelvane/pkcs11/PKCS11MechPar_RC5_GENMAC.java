package com.kelvane.pkcs11;

/** The parameter of {@code CKM_RC5_MAC_GENERAL} ({@code CK_RC5_MAC_GENERAL_PARAMS}). */
public class PKCS11MechPar_RC5_GENMAC extends PKCS11MechPar_RC5 {
    /** The length of the MAC in bytes. */
    public int macLength;

    /** Creates the parameter with all fields 0 and null. */
    public PKCS11MechPar_RC5_GENMAC() {
    }

    /**
     * Creates the parameter.
     *
     * @param wordSize the word size in bytes
     * @param rounds the number of rounds
     * @param macLength the length of the MAC in bytes
     */
    public PKCS11MechPar_RC5_GENMAC(int wordSize, int rounds, int macLength) {
        super(wordSize, rounds);
        this.macLength = macLength;
    }
}
