package com.kelvane.pkcs11;

/**
 * A protocol version: the parameter of {@code CKM_SSL3_PRE_MASTER_KEY_GEN} and {@code CKM_TLS_PRE_MASTER_KEY_GEN}, and
 * a part of {@link CK_SSL3_MASTER_KEY_DERIVE_PARAMS}, where the token writes it.
 */
public class CK_VERSION {
    /** The major part, unsigned: 3 for SSL 3.0 and TLS. */
    public byte major;

    /** The minor part, unsigned: 0 for SSL 3.0, 1 for TLS 1.0. */
    public byte minor;

    /** Creates the version 0.0. */
    public CK_VERSION() {
    }

    /**
     * Creates a version.
     *
     * @param major the major part, 0 to 255
     * @param minor the minor part, 0 to 255
     */
    public CK_VERSION(int major, int minor) {
        this.major = (byte) major;
        this.minor = (byte) minor;
    }
}
