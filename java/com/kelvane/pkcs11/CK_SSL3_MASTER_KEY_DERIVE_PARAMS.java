package com.kelvane.pkcs11;

/**
 * The parameter of {@code CKM_SSL3_MASTER_KEY_DERIVE}, {@code CKM_TLS_MASTER_KEY_DERIVE},
 * {@code CKM_SSL3_MASTER_KEY_DERIVE_DH} and {@code CKM_TLS_MASTER_KEY_DERIVE_DH} in {@code deriveKey}
 * ({@code CK_SSL3_MASTER_KEY_DERIVE_PARAMS}).
 *
 * <p>Objects are kept by reference: the first two mechanisms write the version found in the pre-master secret into
 * {@link #version}. The two {@code _DH} mechanisms leave it alone.
 */
public class CK_SSL3_MASTER_KEY_DERIVE_PARAMS {
    /** The random data of both sides; null is refused with {@code CKR_MECHANISM_PARAM_INVALID} (0x71). */
    public CK_SSL3_RANDOM_DATA random_data;

    /**
     * The protocol version. It must not be null where the token writes it; for the {@code _DH} mechanisms null is sent
     * for version 0.0.
     */
    public CK_VERSION version;

    /** Creates the parameter with both fields null. */
    public CK_SSL3_MASTER_KEY_DERIVE_PARAMS() {
    }

    /**
     * Creates the parameter.
     *
     * @param randomData the random data of both sides
     * @param version the protocol version, an object that the token may write
     */
    public CK_SSL3_MASTER_KEY_DERIVE_PARAMS(CK_SSL3_RANDOM_DATA randomData, CK_VERSION version) {
        random_data = randomData;
        this.version = version;
    }
}
