package com.kelvane.pkcs11;

/** The parameter of {@code CKM_RC5_ECB} and {@code CKM_RC5_MAC} ({@code CK_RC5_PARAMS}). */
public class PKCS11MechPar_RC5 {
    /** The word size in bytes; a block is two words. */
    public int wordSize;

    /** The number of rounds. */
    public int rounds;

    /** Creates the parameter with all fields 0 and null. */
    public PKCS11MechPar_RC5() {
    }

    /**
     * Creates the parameter.
     *
     * @param wordSize the word size in bytes
     * @param rounds the number of rounds
     */
    public PKCS11MechPar_RC5(int wordSize, int rounds) {
        this.wordSize = wordSize;
        this.rounds = rounds;
    }
}
