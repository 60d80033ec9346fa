package com.kelvane.pkcs11;

/**
 * The parameter of {@code CKM_TLS12_MASTER_KEY_DERIVE} and {@code CKM_TLS12_MASTER_KEY_DERIVE_DH}
 * ({@code CK_TLS12_MASTER_KEY_DERIVE_PARAMS}).
 */
public class CK_TLS12_MASTER_KEY_DERIVE_PARAMS {
    /** The random bytes of both sides. */
    public CK_SSL3_RANDOM_DATA RandomInfo;

    /**
     * Receives the version that the client has offered; null for {@code CKM_TLS12_MASTER_KEY_DERIVE_DH}, which
     * returns none.
     */
    public CK_VERSION pVersion;

    /** The hash function of the pseudo-random function, a mechanism type: {@code CKM_SHA256}, ... */
    public int prfHashMechanism;

    /** Creates the parameter with all fields 0 and null. */
    public CK_TLS12_MASTER_KEY_DERIVE_PARAMS() {
    }

    /**
     * Creates the parameter.
     *
     * @param RandomInfo the random bytes of both sides
     * @param pVersion receives the version that the client has offered, or null
     * @param prfHashMechanism the hash function of the pseudo-random function, a mechanism type:
     *     {@code CKM_SHA256}, ...
     */
    public CK_TLS12_MASTER_KEY_DERIVE_PARAMS(CK_SSL3_RANDOM_DATA RandomInfo, CK_VERSION pVersion, int
        prfHashMechanism) {
        this.RandomInfo = RandomInfo;
        this.pVersion = pVersion;
        this.prfHashMechanism = prfHashMechanism;
    }
}
