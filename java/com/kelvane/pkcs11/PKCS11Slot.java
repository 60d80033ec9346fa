package com.kelvane.pkcs11;

import com.kelvane.pkcs11.nat.NativePKCS11Session;

/**
 * A slot of a Cryptoki library, and the token in it. {@link com.kelvane.pkcs11.nat.NativePKCS11#getSlotList} finds
 * them.
 */
public interface PKCS11Slot {
    /**
     * Returns the library's number for the slot.
     *
     * @return the slot id, its 32 bits unsigned; 0 is a slot like any other
     */
    int getSlotID();

    /**
     * Returns information about the slot.
     *
     * @return the information
     */
    PKCS11SlotInfo getInfo();

    /**
     * Returns information about the token in the slot.
     *
     * @return the information
     * @throws PKCS11Exception with {@code CKR_TOKEN_NOT_PRESENT} if the slot is empty
     */
    PKCS11TokenInfo getTokenInfo();

    /**
     * Returns the mechanisms of the token.
     *
     * @return the mechanism types ({@code CKM_}) in the order of the library, each one once
     */
    int[] getMechanismList();

    /**
     * Returns information about a mechanism of the token.
     *
     * @param type the mechanism type ({@code CKM_})
     * @return the information
     * @throws PKCS11Exception with {@code CKR_MECHANISM_INVALID} if the token does not have it
     */
    PKCS11MechanismInfo getMechanismInfo(int type);

    /**
     * Initialises the token, and destroys all objects on it that can be destroyed.
     *
     * @param pin the security officer's PIN, a {@code String} or {@code byte[]} of at most 50 bytes; null to have it
     *     entered at the token
     * @param label the label of the token, a {@code String} or {@code byte[]} of at most 32 bytes
     */
    void initToken(Object pin, Object label);

    /**
     * Initialises the token, and destroys all objects on it that can be destroyed.
     *
     * @param pin the security officer's PIN, at most 50 bytes in UTF-8; null to have it entered at the token. The array
     *     is not changed
     * @param label the label of the token, as for {@link #initToken(Object, Object)}
     */
    void initToken(char[] pin, Object label);

    /**
     * Opens a session.
     *
     * @param flags {@link PKCS11Constants#CKF_SERIAL_SESSION}, and {@link PKCS11Constants#CKF_RW_SESSION} to write to
     *     the token
     * @param callback null; notifications are not supported
     * @return the session
     */
    NativePKCS11Session openSession(int flags, Object callback);

    /** Closes all sessions that this application has open with the token. */
    void closeAllSessions();
}
