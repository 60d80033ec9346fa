package com.kelvane.pkcs11;

/**
 * The parameter of {@code CKM_RC5_CBC} and {@code CKM_RC5_CBC_PAD} ({@code CK_RC5_CBC_PARAMS}).
 *
 * <p>The array is kept by reference and only read.
 */
public class PKCS11MechPar_RC5_CBC extends PKCS11MechPar_RC5 {
    /** The initialisation vector, as long as a block: two words; null is one of no bytes. */
    public byte[] iv;

    /** Creates the parameter with all fields 0 and null. */
    public PKCS11MechPar_RC5_CBC() {
    }

    /**
     * Creates the parameter.
     *
     * @param wordSize the word size in bytes
     * @param rounds the number of rounds
     * @param iv the initialisation vector
     */
    public PKCS11MechPar_RC5_CBC(int wordSize, int rounds, byte[] iv) {
        super(wordSize, rounds);
        this.iv = iv;
    }
}
