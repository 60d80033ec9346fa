package com.kelvane.pkcs11;

/**
 * The random data of both sides of a handshake, a part of {@link CK_SSL3_MASTER_KEY_DERIVE_PARAMS} and
 * {@link CK_SSL3_KEY_MAT_PARAMS}.
 *
 * <p>Arrays are kept by reference and only read.
 */
public class CK_SSL3_RANDOM_DATA {
    /** The client's random data, 32 bytes in SSL 3.0 and TLS; null is no bytes. */
    public byte[] clientRandom;

    /** The server's random data, 32 bytes in SSL 3.0 and TLS; null is no bytes. */
    public byte[] serverRandom;

    /** Creates the data with both fields null. */
    public CK_SSL3_RANDOM_DATA() {
    }

    /**
     * Creates the data.
     *
     * @param clientRandom the client's random data
     * @param serverRandom the server's random data
     */
    public CK_SSL3_RANDOM_DATA(byte[] clientRandom, byte[] serverRandom) {
        this.clientRandom = clientRandom;
        this.serverRandom = serverRandom;
    }
}
