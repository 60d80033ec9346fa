package com.kelvane.pkcs11;

/**
 * Information about a token ({@code CK_TOKEN_INFO}).
 *
 * <p>Counts, lengths and sizes are the low 32 bits of the library's value, unsigned
 * ({@link Integer#toUnsignedLong(int)}); -1 ({@link PKCS11Constants#CK_UNAVAILABLE_INFORMATION}) means that the token
 * does not report.
 */
public final class PKCS11TokenInfo {
    /** The texts, as the getters of the same names return them. */
    private final String label, manufacturerID, model, serialNumber, utcTime;

    /** The numbers, as the getters of the same names return them. */
    private final int flags, maxSessionCount, sessionCount, maxRwSessionCount, rwSessionCount, maxPinLen, minPinLen,
        totalPublicMemory, freePublicMemory, totalPrivateMemory, freePrivateMemory, hardwareVersion, firmwareVersion;

    /**
     * Creates the information; {@link PKCS11Slot#getTokenInfo} does.
     *
     * @param label the label of the token, set when it was initialised
     * @param manufacturerID the name of the token's maker
     * @param model the model of the token
     * @param serialNumber the serial number of the token
     * @param flags the flags of the token
     * @param maxSessionCount the number of sessions that one application may have open
     * @param sessionCount the number of sessions that this application has open
     * @param maxRwSessionCount the number of read/write sessions that one application may have open
     * @param rwSessionCount the number of read/write sessions that this application has open
     * @param maxPinLen the greatest length of a PIN
     * @param minPinLen the least length of a PIN
     * @param totalPublicMemory the memory for public objects
     * @param freePublicMemory the unused memory for public objects
     * @param totalPrivateMemory the memory for private objects
     * @param freePrivateMemory the unused memory for private objects
     * @param hardwareVersion the version of the token's hardware
     * @param firmwareVersion the version of the token's firmware
     * @param utcTime the time of the token's clock in UTC
     */
    public PKCS11TokenInfo(String label, String manufacturerID, String model, String serialNumber, int flags,
        int maxSessionCount, int sessionCount, int maxRwSessionCount, int rwSessionCount, int maxPinLen, int minPinLen,
        int totalPublicMemory, int freePublicMemory, int totalPrivateMemory, int freePrivateMemory, int hardwareVersion,
        int firmwareVersion, String utcTime) {
        this.label = label;
        this.manufacturerID = manufacturerID;
        this.model = model;
        this.serialNumber = serialNumber;
        this.flags = flags;
        this.maxSessionCount = maxSessionCount;
        this.sessionCount = sessionCount;
        this.maxRwSessionCount = maxRwSessionCount;
        this.rwSessionCount = rwSessionCount;
        this.maxPinLen = maxPinLen;
        this.minPinLen = minPinLen;
        this.totalPublicMemory = totalPublicMemory;
        this.freePublicMemory = freePublicMemory;
        this.totalPrivateMemory = totalPrivateMemory;
        this.freePrivateMemory = freePrivateMemory;
        this.hardwareVersion = hardwareVersion;
        this.firmwareVersion = firmwareVersion;
        this.utcTime = utcTime;
    }

    /**
     * Returns the label of the token, set when it was initialised.
     *
     * @return the label of the token, set when it was initialised
     */
    public String getLabel() {
        return label;
    }

    /**
     * Returns the name of the token's maker.
     *
     * @return the name of the token's maker
     */
    public String getManufacturerID() {
        return manufacturerID;
    }

    /**
     * Returns the model of the token.
     *
     * @return the model of the token
     */
    public String getModel() {
        return model;
    }

    /**
     * Returns the serial number of the token.
     *
     * @return the serial number of the token
     */
    public String getSerialNumber() {
        return serialNumber;
    }

    /**
     * Returns the flags of the token.
     *
     * @return a sum of {@code CKF_} bits; see the methods that test them
     */
    public int getFlags() {
        return flags;
    }

    /**
     * Returns the number of sessions that one application may have open.
     *
     * @return the number; 0 ({@link PKCS11Constants#CK_EFFECTIVELY_INFINITE}) if there is no practical limit, -1
     *     ({@link PKCS11Constants#CK_UNAVAILABLE_INFORMATION}) if the token does not report it
     */
    public int getMaxSessionCount() {
        return maxSessionCount;
    }

    /**
     * Returns the number of sessions that this application has open.
     *
     * @return the number; -1 ({@link PKCS11Constants#CK_UNAVAILABLE_INFORMATION}) if the token does not report it
     */
    public int getSessionCount() {
        return sessionCount;
    }

    /**
     * Returns the number of read/write sessions that one application may have open.
     *
     * @return the number; 0 ({@link PKCS11Constants#CK_EFFECTIVELY_INFINITE}) if there is no practical limit, -1
     *     ({@link PKCS11Constants#CK_UNAVAILABLE_INFORMATION}) if the token does not report it
     */
    public int getMaxRwSessionCount() {
        return maxRwSessionCount;
    }

    /**
     * Returns the number of read/write sessions that this application has open.
     *
     * @return the number; -1 ({@link PKCS11Constants#CK_UNAVAILABLE_INFORMATION}) if the token does not report it
     */
    public int getRwSessionCount() {
        return rwSessionCount;
    }

    /**
     * Returns the greatest length of a PIN.
     *
     * @return the length in bytes
     */
    public int getMaxPinLen() {
        return maxPinLen;
    }

    /**
     * Returns the least length of a PIN.
     *
     * @return the length in bytes
     */
    public int getMinPinLen() {
        return minPinLen;
    }

    /**
     * Returns the memory for public objects.
     *
     * @return the size in bytes; -1 ({@link PKCS11Constants#CK_UNAVAILABLE_INFORMATION}) if the token does not
     *     report it
     */
    public int getTotalPublicMemory() {
        return totalPublicMemory;
    }

    /**
     * Returns the unused memory for public objects.
     *
     * @return the size in bytes; -1 ({@link PKCS11Constants#CK_UNAVAILABLE_INFORMATION}) if the token does not
     *     report it
     */
    public int getFreePublicMemory() {
        return freePublicMemory;
    }

    /**
     * Returns the memory for private objects.
     *
     * @return the size in bytes; -1 ({@link PKCS11Constants#CK_UNAVAILABLE_INFORMATION}) if the token does not
     *     report it
     */
    public int getTotalPrivateMemory() {
        return totalPrivateMemory;
    }

    /**
     * Returns the unused memory for private objects.
     *
     * @return the size in bytes; -1 ({@link PKCS11Constants#CK_UNAVAILABLE_INFORMATION}) if the token does not
     *     report it
     */
    public int getFreePrivateMemory() {
        return freePrivateMemory;
    }

    /**
     * Returns the version of the token's hardware.
     *
     * @return major &times; 256 + minor; see {@link PKCS11Version}
     */
    public int getHardwareVersion() {
        return hardwareVersion;
    }

    /**
     * Returns the version of the token's firmware.
     *
     * @return major &times; 256 + minor; see {@link PKCS11Version}
     */
    public int getFirmwareVersion() {
        return firmwareVersion;
    }

    /**
     * Returns the time of the token's clock in UTC.
     *
     * @return the text {@code YYYYMMDDhhmmss00} as the token gave it, not checked; null if it has no clock
     */
    public String getUtcTime() {
        return utcTime;
    }

    /**
     * Returns whether the token has a random number generator ({@code CKF_RNG}).
     *
     * @return true if so
     */
    public boolean hasRandomNumberGenerator() {
        return (flags & PKCS11Constants.CKF_RNG) != 0;
    }

    /**
     * Returns whether the token is write-protected ({@code CKF_WRITE_PROTECTED}).
     *
     * @return true if so
     */
    public boolean isWriteProtected() {
        return (flags & PKCS11Constants.CKF_WRITE_PROTECTED) != 0;
    }

    /**
     * Returns whether some functions need a login ({@code CKF_LOGIN_REQUIRED}).
     *
     * @return true if so
     */
    public boolean isLoginRequired() {
        return (flags & PKCS11Constants.CKF_LOGIN_REQUIRED) != 0;
    }

    /**
     * Returns whether the normal user's PIN has been set ({@code CKF_USER_PIN_INITIALIZED}).
     *
     * @return true if so
     */
    public boolean isUserPinInitialized() {
        return (flags & PKCS11Constants.CKF_USER_PIN_INITIALIZED) != 0;
    }

    /**
     * Returns whether a saved operation state always holds the keys it needs ({@code CKF_RESTORE_KEY_NOT_NEEDED}).
     *
     * @return true if so
     */
    public boolean isRestoreKeyNotNeeded() {
        return (flags & PKCS11Constants.CKF_RESTORE_KEY_NOT_NEEDED) != 0;
    }

    /**
     * Returns whether the token has a clock ({@code CKF_CLOCK_ON_TOKEN}).
     *
     * @return true if so
     */
    public boolean hasClock() {
        return (flags & PKCS11Constants.CKF_CLOCK_ON_TOKEN) != 0;
    }

    /**
     * Returns whether a null PIN lets the user enter it at the token ({@code CKF_PROTECTED_AUTHENTICATION_PATH}).
     *
     * @return true if so
     */
    public boolean hasProtectedAuthenticationPath() {
        return (flags & PKCS11Constants.CKF_PROTECTED_AUTHENTICATION_PATH) != 0;
    }

    /**
     * Returns whether one session can run two operations at once ({@code CKF_DUAL_CRYPTO_OPERATIONS}).
     *
     * @return true if so
     */
    public boolean hasDualCryptoOperations() {
        return (flags & PKCS11Constants.CKF_DUAL_CRYPTO_OPERATIONS) != 0;
    }

    /**
     * Returns whether the token has been initialised ({@code CKF_TOKEN_INITIALIZED}).
     *
     * @return true if so
     */
    public boolean isInitialized() {
        return (flags & PKCS11Constants.CKF_TOKEN_INITIALIZED) != 0;
    }

    /**
     * Returns whether private keys can require a PIN of their own ({@code CKF_SECONDARY_AUTHENTICATION}).
     *
     * @return true if so
     */
    public boolean hasSecondaryAuthentication() {
        return (flags & PKCS11Constants.CKF_SECONDARY_AUTHENTICATION) != 0;
    }

    /**
     * Returns whether a wrong normal user's PIN was entered since the last login ({@code CKF_USER_PIN_COUNT_LOW}).
     *
     * @return true if so
     */
    public boolean isUserPinCountLow() {
        return (flags & PKCS11Constants.CKF_USER_PIN_COUNT_LOW) != 0;
    }

    /**
     * Returns whether one more wrong PIN locks the normal user's PIN ({@code CKF_USER_PIN_FINAL_TRY}).
     *
     * @return true if so
     */
    public boolean isUserPinFinalTry() {
        return (flags & PKCS11Constants.CKF_USER_PIN_FINAL_TRY) != 0;
    }

    /**
     * Returns whether the normal user's PIN is locked ({@code CKF_USER_PIN_LOCKED}).
     *
     * @return true if so
     */
    public boolean isUserPinLocked() {
        return (flags & PKCS11Constants.CKF_USER_PIN_LOCKED) != 0;
    }

    /**
     * Returns whether the normal user's PIN has to be changed ({@code CKF_USER_PIN_TO_BE_CHANGED}).
     *
     * @return true if so
     */
    public boolean isUserPinToBeChanged() {
        return (flags & PKCS11Constants.CKF_USER_PIN_TO_BE_CHANGED) != 0;
    }

    /**
     * Returns whether a wrong security officer's PIN was entered since the last login ({@code CKF_SO_PIN_COUNT_LOW}).
     *
     * @return true if so
     */
    public boolean isSecurityOfficerPinCountLow() {
        return (flags & PKCS11Constants.CKF_SO_PIN_COUNT_LOW) != 0;
    }

    /**
     * Returns whether one more wrong PIN locks the security officer's PIN ({@code CKF_SO_PIN_FINAL_TRY}).
     *
     * @return true if so
     */
    public boolean isSecurityOfficerPinFinalTry() {
        return (flags & PKCS11Constants.CKF_SO_PIN_FINAL_TRY) != 0;
    }

    /**
     * Returns whether the security officer's PIN is locked ({@code CKF_SO_PIN_LOCKED}).
     *
     * @return true if so
     */
    public boolean isSecurityOfficerPinLocked() {
        return (flags & PKCS11Constants.CKF_SO_PIN_LOCKED) != 0;
    }

    /**
     * Returns whether the security officer's PIN has to be changed ({@code CKF_SO_PIN_TO_BE_CHANGED}).
     *
     * @return true if so
     */
    public boolean isSecurityOfficerPinToBeChanged() {
        return (flags & PKCS11Constants.CKF_SO_PIN_TO_BE_CHANGED) != 0;
    }

    @Override
    public String toString() {
        return label + " (" + manufacturerID + " " + model + ", serial number " + serialNumber + ", flags 0x"
            + Integer.toHexString(flags) + ")";
    }
}
