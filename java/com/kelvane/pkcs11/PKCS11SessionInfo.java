package com.kelvane.pkcs11;

/** Information about a session ({@code CK_SESSION_INFO}). */
public final class PKCS11SessionInfo {
    /** The numbers, as the getters of the same names return them. */
    private final int state, flags, deviceError;

    /**
     * Creates the information; {@link com.kelvane.pkcs11.nat.NativePKCS11Session#getInfo} does.
     *
     * @param state the state of the session
     * @param flags the flags of the session
     * @param deviceError the error of the device behind the session
     */
    public PKCS11SessionInfo(int state, int flags, int deviceError) {
        this.state = state;
        this.flags = flags;
        this.deviceError = deviceError;
    }

    /**
     * Returns the state of the session.
     *
     * @return one of the {@code CKS_} values
     */
    public int getState() {
        return state;
    }

    /**
     * Returns the flags of the session.
     *
     * @return a sum of {@code CKF_} bits; see the methods that test them
     */
    public int getFlags() {
        return flags;
    }

    /**
     * Returns the error of the device behind the session.
     *
     * @return a code of the device, 0 without an error
     */
    public int getDeviceError() {
        return deviceError;
    }

    /**
     * Returns whether the session may write to the token ({@code CKF_RW_SESSION}).
     *
     * @return true if so
     */
    public boolean isReadWrite() {
        return (flags & PKCS11Constants.CKF_RW_SESSION) != 0;
    }

    /**
     * Returns whether the session is serial, as all are ({@code CKF_SERIAL_SESSION}).
     *
     * @return true if so
     */
    public boolean isSerial() {
        return (flags & PKCS11Constants.CKF_SERIAL_SESSION) != 0;
    }

    @Override
    public String toString() {
        return PKCS11Constants.nameOf("CKS_", state) + ", flags 0x" + Integer.toHexString(flags) + ", device error 0x"
            + Integer.toHexString(deviceError);
    }
}
