package com.kelvane.pkcs11;

/**
 * The parameter of {@code CKM_ECMQV_DERIVE} ({@code CK_ECMQV_DERIVE_PARAMS}), which is always refused.
 *
 * <p>The bridge does not encode this parameter: every call with {@code CKM_ECMQV_DERIVE} ends, before the token is
 * called, in a {@link PKCS11Exception} with the message "unknown mechanism parameter type!".
 */
public class CK_ECMQV_DERIVE_PARAMS {
    /** The key derivation function, one of the {@code CKD_} values. */
    public int kdf;

    /** The length of the shared data in bytes. */
    public int sharedDataLen;

    /** Data shared by both sides. */
    public byte[] sharedData;

    /** The length of the other side's first public key in bytes. */
    public int publicDataLen;

    /** The other side's first public key. */
    public byte[] publicData;

    /** The length of the second private key in bytes. */
    public int privateDataLen;

    /** The object handle of the second private key. */
    public int privateData;

    /** The length of the other side's second public key in bytes. */
    public int publicDataLen2;

    /** The other side's second public key. */
    public byte[] publicData2;

    /** The object handle of the first public key. */
    public int publicKey;

    /** Creates the parameter with all fields 0 and null. */
    public CK_ECMQV_DERIVE_PARAMS() {
    }
}
