package com.kelvane.pkcs11;

/** Information about a mechanism of a token ({@code CK_MECHANISM_INFO}). */
public final class PKCS11MechanismInfo {
    /** The numbers, as the getters of the same names return them. */
    private final int minKeySize, maxKeySize, flags;

    /**
     * Creates the information; {@link PKCS11Slot#getMechanismInfo} does.
     *
     * @param minKeySize the least size of a key
     * @param maxKeySize the greatest size of a key
     * @param flags the flags of the mechanism
     */
    public PKCS11MechanismInfo(int minKeySize, int maxKeySize, int flags) {
        this.minKeySize = minKeySize;
        this.maxKeySize = maxKeySize;
        this.flags = flags;
    }

    /**
     * Returns the least size of a key.
     *
     * @return the size in bits or in bytes as the standard defines for the mechanism, unsigned; it has no meaning
     *     for a mechanism without a key
     */
    public int getMinKeySize() {
        return minKeySize;
    }

    /**
     * Returns the greatest size of a key.
     *
     * @return the size in bits or in bytes as the standard defines for the mechanism, unsigned; it has no meaning
     *     for a mechanism without a key
     */
    public int getMaxKeySize() {
        return maxKeySize;
    }

    /**
     * Returns the flags of the mechanism.
     *
     * @return a sum of {@code CKF_} bits; see the methods that test them
     */
    public int getFlags() {
        return flags;
    }

    /**
     * Returns whether the mechanism is performed by the device, not in software ({@code CKF_HW}).
     *
     * @return true if so
     */
    public boolean isHardware() {
        return (flags & PKCS11Constants.CKF_HW) != 0;
    }

    /**
     * Returns whether the mechanism can be used to encrypt ({@code CKF_ENCRYPT}).
     *
     * @return true if so
     */
    public boolean canEncrypt() {
        return (flags & PKCS11Constants.CKF_ENCRYPT) != 0;
    }

    /**
     * Returns whether the mechanism can be used to decrypt ({@code CKF_DECRYPT}).
     *
     * @return true if so
     */
    public boolean canDecrypt() {
        return (flags & PKCS11Constants.CKF_DECRYPT) != 0;
    }

    /**
     * Returns whether the mechanism can be used to digest ({@code CKF_DIGEST}).
     *
     * @return true if so
     */
    public boolean canDigest() {
        return (flags & PKCS11Constants.CKF_DIGEST) != 0;
    }

    /**
     * Returns whether the mechanism can be used to sign ({@code CKF_SIGN}).
     *
     * @return true if so
     */
    public boolean canSign() {
        return (flags & PKCS11Constants.CKF_SIGN) != 0;
    }

    /**
     * Returns whether the mechanism can be used to sign with recovery of the data ({@code CKF_SIGN_RECOVER}).
     *
     * @return true if so
     */
    public boolean canSignRecover() {
        return (flags & PKCS11Constants.CKF_SIGN_RECOVER) != 0;
    }

    /**
     * Returns whether the mechanism can be used to verify ({@code CKF_VERIFY}).
     *
     * @return true if so
     */
    public boolean canVerify() {
        return (flags & PKCS11Constants.CKF_VERIFY) != 0;
    }

    /**
     * Returns whether the mechanism can be used to verify with recovery of the data ({@code CKF_VERIFY_RECOVER}).
     *
     * @return true if so
     */
    public boolean canVerifyRecover() {
        return (flags & PKCS11Constants.CKF_VERIFY_RECOVER) != 0;
    }

    /**
     * Returns whether the mechanism can be used to generate a key ({@code CKF_GENERATE}).
     *
     * @return true if so
     */
    public boolean canGenerate() {
        return (flags & PKCS11Constants.CKF_GENERATE) != 0;
    }

    /**
     * Returns whether the mechanism can be used to generate a key pair ({@code CKF_GENERATE_KEY_PAIR}).
     *
     * @return true if so
     */
    public boolean canGenerateKeyPair() {
        return (flags & PKCS11Constants.CKF_GENERATE_KEY_PAIR) != 0;
    }

    /**
     * Returns whether the mechanism can be used to wrap a key ({@code CKF_WRAP}).
     *
     * @return true if so
     */
    public boolean canWrap() {
        return (flags & PKCS11Constants.CKF_WRAP) != 0;
    }

    /**
     * Returns whether the mechanism can be used to unwrap a key ({@code CKF_UNWRAP}).
     *
     * @return true if so
     */
    public boolean canUnwrap() {
        return (flags & PKCS11Constants.CKF_UNWRAP) != 0;
    }

    /**
     * Returns whether the mechanism can be used to derive a key ({@code CKF_DERIVE}).
     *
     * @return true if so
     */
    public boolean canDerive() {
        return (flags & PKCS11Constants.CKF_DERIVE) != 0;
    }

    @Override
    public String toString() {
        return "keys of " + Integer.toUnsignedString(minKeySize) + " to " + Integer.toUnsignedString(maxKeySize)
            + ", flags 0x" + Integer.toHexString(flags);
    }
}
