package com.kelvane.pkcs11;

/**
 * The parameter of {@code CKM_AES_GCM} ({@code CK_GCM_PARAMS}).
 *
 * <p>Arrays are kept by reference and only read. The lengths are fields of their own: they count as stated, the arrays
 * only provide the bytes. A length that reaches outside the memory set aside for the parameter, which is that of the
 * structure and the two arrays rounded up to 16 bytes with zeros, or is negative, is refused with
 * {@code CKR_MECHANISM_PARAM_INVALID} (0x71). The associated data is placed {@link #ulIvLen} bytes behind the start of
 * the initialisation vector, so of a longer {@link #pIv} only the first {@code ulIvLen} bytes count.
 */
public class CK_GCM_PARAMS {
    /** The initialisation vector; null is one of no bytes. */
    public byte[] pIv;

    /** The length of the initialisation vector in bytes, 12 as a rule. */
    public int ulIvLen;

    /** The additional authenticated data; null for none. */
    public byte[] pAAD;

    /** The length of the additional authenticated data in bytes. */
    public int ulAADLen;

    /** The length of the authentication tag in bits, 0 to 128; the tag is the end of the encrypted data. */
    public int ulTagBits;

    /** Creates the parameter with all fields 0 and null. */
    public CK_GCM_PARAMS() {
    }

    /**
     * Creates the parameter and takes the lengths from the arrays.
     *
     * @param iv the initialisation vector
     * @param aad the additional authenticated data, or null
     * @param tagBits the length of the authentication tag in bits
     */
    public CK_GCM_PARAMS(byte[] iv, byte[] aad, int tagBits) {
        pIv = iv;
        ulIvLen = iv == null ? 0 : iv.length;
        pAAD = aad;
        ulAADLen = aad == null ? 0 : aad.length;
        ulTagBits = tagBits;
    }
}
