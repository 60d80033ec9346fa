package com.kelvane.pkcs11;

/**
 * The parameter of {@code CKM_TLS12_KEY_AND_MAC_DERIVE} and {@code CKM_TLS12_KEY_SAFE_DERIVE}
 * ({@code CK_TLS12_KEY_MAT_PARAMS}). The keys come back in {@link #pReturnedKeyMaterial}, the initialisation vectors
 * in its arrays: as many bytes as each is long.
 *
 * <p>A length of the initialisation vectors that reaches outside the memory set aside for the parameter is refused
 * with {@code CKR_MECHANISM_PARAM_INVALID} (0x71): the two arrays together must be long enough for both.
 */
public class CK_TLS12_KEY_MAT_PARAMS {
    /** The length of the MAC keys in bits; 0 for ciphers that need none. */
    public int ulMacSizeInBits;

    /** The length of the keys in bits. */
    public int ulKeySizeInBits;

    /** The length of the initialisation vectors in bits; 0 if there are none. */
    public int ulIVSizeInBits;

    /** False: there are no export ciphers any more. */
    public boolean bIsExport;

    /** The random bytes of both sides. */
    public CK_SSL3_RANDOM_DATA RandomInfo;

    /** Receives the keys and initialisation vectors. */
    public CK_SSL3_KEY_MAT_OUT pReturnedKeyMaterial;

    /** The hash function of the pseudo-random function, a mechanism type: {@code CKM_SHA256}, ... */
    public int prfHashMechanism;

    /** Creates the parameter with all fields 0, false and null. */
    public CK_TLS12_KEY_MAT_PARAMS() {
    }

    /**
     * Creates the parameter with a new output with arrays for the initialisation vectors.
     *
     * @param ulMacSizeInBits the length of the MAC keys in bits
     * @param ulKeySizeInBits the length of the keys in bits
     * @param ulIVSizeInBits the length of the initialisation vectors in bits
     * @param bIsExport false: there are no export ciphers any more
     * @param RandomInfo the random bytes of both sides
     * @param prfHashMechanism the hash function of the pseudo-random function, a mechanism type:
     *     {@code CKM_SHA256}, ...
     */
    public CK_TLS12_KEY_MAT_PARAMS(int ulMacSizeInBits, int ulKeySizeInBits, int ulIVSizeInBits, boolean bIsExport,
        CK_SSL3_RANDOM_DATA RandomInfo, int prfHashMechanism) {
        this.ulMacSizeInBits = ulMacSizeInBits;
        this.ulKeySizeInBits = ulKeySizeInBits;
        this.ulIVSizeInBits = ulIVSizeInBits;
        this.bIsExport = bIsExport;
        this.RandomInfo = RandomInfo;
        pReturnedKeyMaterial = new CK_SSL3_KEY_MAT_OUT(ulIVSizeInBits / 8);
        this.prfHashMechanism = prfHashMechanism;
    }
}
