package com.kelvane.pkcs11;

/**
 * The parameter of {@code CKM_TLS12_EXTENDED_MASTER_KEY_DERIVE} and {@code CKM_TLS12_EXTENDED_MASTER_KEY_DERIVE_DH}
 * ({@code CK_TLS12_EXTENDED_MASTER_KEY_DERIVE_PARAMS}).
 *
 * <p>The array is kept by reference and only read.
 */
public class CK_TLS12_EXTENDED_MASTER_KEY_DERIVE_PARAMS {
    /** The hash function of the pseudo-random function, a mechanism type: {@code CKM_SHA256}, ... */
    public int prfHashMechanism;

    /** The hash of all handshake messages so far. */
    public byte[] pSessionHash;

    /**
     * Receives the version that the client has offered; null for
     * {@code CKM_TLS12_EXTENDED_MASTER_KEY_DERIVE_DH}, which returns none.
     */
    public CK_VERSION pVersion;

    /** Creates the parameter with all fields 0 and null. */
    public CK_TLS12_EXTENDED_MASTER_KEY_DERIVE_PARAMS() {
    }

    /**
     * Creates the parameter.
     *
     * @param prfHashMechanism the hash function of the pseudo-random function, a mechanism type:
     *     {@code CKM_SHA256}, ...
     * @param pSessionHash the hash of all handshake messages so far
     * @param pVersion receives the version that the client has offered, or null
     */
    public CK_TLS12_EXTENDED_MASTER_KEY_DERIVE_PARAMS(int prfHashMechanism, byte[] pSessionHash, CK_VERSION pVersion) {
        this.prfHashMechanism = prfHashMechanism;
        this.pSessionHash = pSessionHash;
        this.pVersion = pVersion;
    }
}
