package com.kelvane.pkcs11;

/**
 * The parameter of a mechanism as the bytes that the module gets: for a mechanism that is not in the tables, a vendor's
 * own for example, and in place of a structure that may also be null.
 *
 * <p>The caller lays them out as the module expects it on its platform, numbers in its byte order and width. A
 * structure with pointers in it cannot be passed in this way. The array is kept by reference and only read. All other
 * mechanisms of the tables refuse the object with {@code CKR_MECHANISM_PARAM_INVALID} (0x71).
 */
public class PKCS11RawParameter {
    /** The bytes of the parameter; null is one of no bytes. */
    public byte[] bytes;

    /** Creates the parameter with no bytes. */
    public PKCS11RawParameter() {
    }

    /**
     * Creates the parameter.
     *
     * @param bytes the bytes of the parameter
     */
    public PKCS11RawParameter(byte[] bytes) {
        this.bytes = bytes;
    }
}
