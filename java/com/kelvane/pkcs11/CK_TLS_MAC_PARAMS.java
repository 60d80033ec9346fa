package com.kelvane.pkcs11;

/**
 * The parameter of {@code CKM_TLS_MAC} and {@code CKM_TLS12_MAC}, the verify data of a handshake
 * ({@code CK_TLS_MAC_PARAMS}).
 */
public class CK_TLS_MAC_PARAMS {
    /**
     * The hash function of the pseudo-random function, a mechanism type: {@code CKM_SHA256}, ..., or
     * {@code CKM_TLS_PRF} before version 1.2.
     */
    public int prfHashMechanism;

    /** The length of the MAC in bytes, 12 as a rule. */
    public int ulMacLength;

    /** 1 for the label "server finished", 2 for "client finished". */
    public int ulServerOrClient;

    /** Creates the parameter with all fields 0. */
    public CK_TLS_MAC_PARAMS() {
    }

    /**
     * Creates the parameter.
     *
     * @param prfHashMechanism the hash function of the pseudo-random function, a mechanism type:
     *     {@code CKM_SHA256}, ..., or {@code CKM_TLS_PRF} before version 1.2
     * @param ulMacLength the length of the MAC in bytes, 12 as a rule
     * @param ulServerOrClient 1 for the label "server finished", 2 for "client finished"
     */
    public CK_TLS_MAC_PARAMS(int prfHashMechanism, int ulMacLength, int ulServerOrClient) {
        this.prfHashMechanism = prfHashMechanism;
        this.ulMacLength = ulMacLength;
        this.ulServerOrClient = ulServerOrClient;
    }
}
