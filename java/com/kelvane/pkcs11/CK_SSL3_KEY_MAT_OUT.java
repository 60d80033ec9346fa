package com.kelvane.pkcs11;

/**
 * The output of {@link CK_SSL3_KEY_MAT_PARAMS}: all of it is written after a successful {@code deriveKey}.
 *
 * <p>Arrays are kept by reference: each one receives as many bytes as it is long. A null array receives nothing.
 */
public class CK_SSL3_KEY_MAT_OUT {
    /** The client's initialisation vector. */
    public byte[] ivClient;

    /** The server's initialisation vector. */
    public byte[] ivServer;

    /** The client's MAC secret. */
    public PKCS11Object clientMacSecret;

    /** The server's MAC secret. */
    public PKCS11Object serverMacSecret;

    /** The client's key. */
    public PKCS11Object clientKey;

    /** The server's key. */
    public PKCS11Object serverKey;

    /** Creates an output that takes no initialisation vectors. */
    public CK_SSL3_KEY_MAT_OUT() {
    }

    /**
     * Creates an output with new arrays for the initialisation vectors.
     *
     * @param ivBytes the length of an initialisation vector in bytes
     */
    public CK_SSL3_KEY_MAT_OUT(int ivBytes) {
        ivClient = new byte[ivBytes];
        ivServer = new byte[ivBytes];
    }
}
