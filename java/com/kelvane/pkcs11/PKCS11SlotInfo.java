package com.kelvane.pkcs11;

/** Information about a slot ({@code CK_SLOT_INFO}). */
public final class PKCS11SlotInfo {
    /** The texts, as the getters of the same names return them. */
    private final String slotDescription, manufacturerID;

    /** The numbers, as the getters of the same names return them. */
    private final int flags, hardwareVersion, firmwareVersion;

    /**
     * Creates the information; {@link PKCS11Slot#getInfo} does.
     *
     * @param slotDescription the description of the slot
     * @param manufacturerID the name of the slot's maker
     * @param flags the flags of the slot
     * @param hardwareVersion the version of the slot's hardware
     * @param firmwareVersion the version of the slot's firmware
     */
    public PKCS11SlotInfo(String slotDescription, String manufacturerID, int flags, int hardwareVersion,
        int firmwareVersion) {
        this.slotDescription = slotDescription;
        this.manufacturerID = manufacturerID;
        this.flags = flags;
        this.hardwareVersion = hardwareVersion;
        this.firmwareVersion = firmwareVersion;
    }

    /**
     * Returns the description of the slot.
     *
     * @return the description of the slot
     */
    public String getSlotDescription() {
        return slotDescription;
    }

    /**
     * Returns the name of the slot's maker.
     *
     * @return the name of the slot's maker
     */
    public String getManufacturerID() {
        return manufacturerID;
    }

    /**
     * Returns the flags of the slot.
     *
     * @return a sum of {@code CKF_} bits; see the methods that test them
     */
    public int getFlags() {
        return flags;
    }

    /**
     * Returns the version of the slot's hardware.
     *
     * @return major &times; 256 + minor; see {@link PKCS11Version}
     */
    public int getHardwareVersion() {
        return hardwareVersion;
    }

    /**
     * Returns the version of the slot's firmware.
     *
     * @return major &times; 256 + minor; see {@link PKCS11Version}
     */
    public int getFirmwareVersion() {
        return firmwareVersion;
    }

    /**
     * Returns whether a token is in the slot ({@code CKF_TOKEN_PRESENT}).
     *
     * @return true if so
     */
    public boolean isTokenPresent() {
        return (flags & PKCS11Constants.CKF_TOKEN_PRESENT) != 0;
    }

    /**
     * Returns whether tokens can be removed from the slot and inserted ({@code CKF_REMOVABLE_DEVICE}).
     *
     * @return true if so
     */
    public boolean isRemovableDevice() {
        return (flags & PKCS11Constants.CKF_REMOVABLE_DEVICE) != 0;
    }

    /**
     * Returns whether the slot is hardware, not software ({@code CKF_HW_SLOT}).
     *
     * @return true if so
     */
    public boolean isHardwareSlot() {
        return (flags & PKCS11Constants.CKF_HW_SLOT) != 0;
    }

    @Override
    public String toString() {
        return slotDescription + " (" + manufacturerID + ", flags 0x" + Integer.toHexString(flags) + ", hardware "
            + PKCS11Version.toString(hardwareVersion) + ", firmware " + PKCS11Version.toString(firmwareVersion) + ")";
    }
}
