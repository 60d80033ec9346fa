package com.kelvane.pkcs11;

import com.kelvane.pkcs11.nat.NativePKCS11Object;

/**
 * The parameter of {@code CKM_HKDF_DERIVE} and {@code CKM_HKDF_DATA} ({@code CK_HKDF_PARAMS}).
 *
 * <p>The arrays are kept by reference and only read.
 */
public class CK_HKDF_PARAMS {
    /** Whether HKDF's first step is done, which extracts a key of its own from the base key and the salt. */
    public boolean bExtract;

    /** Whether HKDF's second step is done, which expands a key to the length that is wanted. */
    public boolean bExpand;

    /** The hash function of the HMAC, a mechanism type: {@code CKM_SHA256}, ... */
    public int prfHashMechanism;

    /**
     * Where the salt is, one of {@code CKF_HKDF_SALT_NULL}, {@code CKF_HKDF_SALT_DATA} and {@code CKF_HKDF_SALT_KEY}.
     */
    public int ulSaltType;

    /** The salt for {@code CKF_HKDF_SALT_DATA}; null for none. */
    public byte[] pSalt;

    /** The key that is the salt for {@code CKF_HKDF_SALT_KEY}; null for none. */
    public NativePKCS11Object hSaltKey;

    /** The context of the derived key; null for none. */
    public byte[] pInfo;

    /** Creates the parameter with all fields 0, false and null. */
    public CK_HKDF_PARAMS() {
    }

    /**
     * Creates the parameter.
     *
     * @param bExtract whether the first step is done
     * @param bExpand whether the second step is done
     * @param prfHashMechanism the hash function of the HMAC, a mechanism type
     * @param ulSaltType where the salt is
     * @param pSalt the salt, or null
     * @param hSaltKey the key that is the salt, or null
     * @param pInfo what the derived key is for, or null
     */
    public CK_HKDF_PARAMS(boolean bExtract, boolean bExpand, int prfHashMechanism, int ulSaltType, byte[] pSalt,
        NativePKCS11Object hSaltKey, byte[] pInfo) {
        this.bExtract = bExtract;
        this.bExpand = bExpand;
        this.prfHashMechanism = prfHashMechanism;
        this.ulSaltType = ulSaltType;
        this.pSalt = pSalt;
        this.hSaltKey = hSaltKey;
        this.pInfo = pInfo;
    }
}
