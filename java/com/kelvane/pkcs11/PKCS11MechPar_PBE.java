package com.kelvane.pkcs11;

/**
 * The parameter of the password-based mechanisms ({@code CK_PBE_PARAMS}): {@code CKM_PBE_MD2_DES_CBC},
 * {@code CKM_PBE_MD5_DES_CBC}, {@code CKM_PBE_MD5_CAST_CBC}, {@code CKM_PBE_MD5_CAST3_CBC},
 * {@code CKM_PBE_MD5_CAST5_CBC}, {@code CKM_PBE_SHA1_CAST5_CBC}, {@code CKM_PBE_SHA1_RC4_128},
 * {@code CKM_PBE_SHA1_RC4_40}, {@code CKM_PBE_SHA1_DES3_EDE_CBC}, {@code CKM_PBE_SHA1_DES2_EDE_CBC},
 * {@code CKM_PBE_SHA1_RC2_128_CBC}, {@code CKM_PBE_SHA1_RC2_40_CBC} and {@code CKM_PBA_SHA1_WITH_SHA1_HMAC}.
 *
 * <p>Arrays are kept by reference: the initialisation vector that the token generates is returned in {@link #iv}, after
 * {@code generateKey} and after {@code encryptInit}. The bridge wipes its own copy of the password; the array here is
 * the caller's to clear.
 */
public class PKCS11MechPar_PBE {
    /**
     * The initialisation vector; the token writes the first 8 bytes. Null or fewer than 8 bytes are refused by an
     * exception, but only after the call to the token, when there is nowhere to put the 8 bytes; a key made by then is
     * destroyed again.
     */
    public byte[] iv;

    /** The password; null is the empty password. */
    public byte[] password;

    /** The salt; null is the empty salt. */
    public byte[] salt;

    /** The number of iterations. */
    public int iterations;

    /** Creates the parameter with an initialisation vector of 8 bytes and the other fields 0 and null. */
    public PKCS11MechPar_PBE() {
        iv = new byte[8];
    }

    /**
     * Creates the parameter with an initialisation vector of 8 bytes.
     *
     * @param password the password
     * @param salt the salt
     * @param iterations the number of iterations
     */
    public PKCS11MechPar_PBE(byte[] password, byte[] salt, int iterations) {
        this();
        this.password = password;
        this.salt = salt;
        this.iterations = iterations;
    }
}
