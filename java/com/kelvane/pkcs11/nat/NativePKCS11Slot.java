package com.kelvane.pkcs11.nat;

import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.PKCS11MechanismInfo;
import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.PKCS11SlotInfo;
import com.kelvane.pkcs11.PKCS11TokenInfo;

/**
 * A slot of a library.
 *
 * <p>Two objects are equal if they have the same id in the same {@link NativePKCS11} object.
 */
public class NativePKCS11Slot implements PKCS11Slot {
    /** The library. */
    private final NativePKCS11 pkcs11;

    /** The slot's {@code CK_SLOT_ID}. */
    private final int slotID;

    /**
     * Creates a slot; {@link NativePKCS11#getSlotList} finds those there are.
     *
     * @param pkcs11 the library
     * @param slotID the slot id
     */
    public NativePKCS11Slot(NativePKCS11 pkcs11, int slotID) {
        NativeLibrary.require();
        this.pkcs11 = pkcs11;
        this.slotID = slotID;
    }

    /**
     * Returns the library that the slot belongs to.
     *
     * @return the library
     */
    public NativePKCS11 getPKCS11() {
        return pkcs11;
    }

    @Override
    public int getSlotID() {
        return slotID;
    }

    @Override
    public boolean equals(Object other) {
        return other instanceof NativePKCS11Slot && ((NativePKCS11Slot) other).pkcs11 == pkcs11
            && ((NativePKCS11Slot) other).slotID == slotID;
    }

    @Override
    public int hashCode() {
        return 31 * System.identityHashCode(pkcs11) + slotID;
    }

    @Override
    public String toString() {
        return "slot 0x" + Integer.toHexString(slotID);
    }

    /**
     * {@inheritDoc}
     *
     * <p>Cryptoki: {@code C_GetSlotInfo}. Texts are without their trailing blanks.
     */
    @Override
    public native PKCS11SlotInfo getInfo();

    /**
     * {@inheritDoc}
     *
     * <p>Cryptoki: {@code C_GetTokenInfo}. Texts are without their trailing blanks. The time is null without
     * {@code CKF_CLOCK_ON_TOKEN}.
     *
     * @throws PKCS11Exception with the module's return code, {@code CKR_TOKEN_NOT_PRESENT} if the slot is empty
     */
    @Override
    public native PKCS11TokenInfo getTokenInfo();

    /**
     * {@inheritDoc}
     *
     * <p>Cryptoki: {@code C_GetMechanismList}, twice. Of repeated types the first one stays.
     *
     * @throws PKCS11Exception with the module's return code, {@code CKR_BUFFER_TOO_SMALL} if the list grew during the
     *     call; "getMechanismList(): alloca() failed", "getMechanismList(): NewIntArray() failed" or
     *     "GetIntArrayElements() failed" without memory
     */
    @Override
    public native int[] getMechanismList();

    /**
     * {@inheritDoc}
     *
     * <p>Cryptoki: {@code C_GetMechanismInfo}.
     *
     * @throws PKCS11Exception with the module's return code, {@code CKR_MECHANISM_INVALID} if the token does not have
     *     the mechanism
     */
    @Override
    public native PKCS11MechanismInfo getMechanismInfo(int type);

    /**
     * {@inheritDoc}
     *
     * <p>Cryptoki: {@code C_InitToken}. The label is filled up with blanks to 32 bytes. It is looked at before the PIN.
     *
     * @throws PKCS11Exception with the module's return code; "Object must be String or byte[]!" for another class or a
     *     null label; "copyStringBytes(): buffer too small for string!" or "copyBytes(): buffer too small!" for a
     *     {@code String} or a {@code byte[]} that is too long
     */
    @Override
    public native void initToken(Object pin, Object label);

    @Override
    public void initToken(char[] pin, Object label) {
        Pins.encoded(pin, encoded -> initToken((Object) encoded, label));
    }

    /**
     * {@inheritDoc}
     *
     * <p>Cryptoki: {@code C_OpenSession}. The flags go to the library as they are.
     *
     * @throws PKCS11Exception with the module's return code, {@code CKR_SESSION_PARALLEL_NOT_SUPPORTED} without
     *     {@code CKF_SERIAL_SESSION}; "Sorry, callbacks not supported!" for a callback
     */
    @Override
    public native NativePKCS11Session openSession(int flags, Object callback);

    /**
     * {@inheritDoc}
     *
     * <p>Cryptoki: {@code C_CloseAllSessions}. The session objects are not changed; calls through them are refused by
     * the library, with {@code CKR_SESSION_HANDLE_INVALID} as a rule.
     *
     * <p>The call waits until the calls in progress through a library that locks for itself have returned (a blocking
     * {@link NativePKCS11#waitForSlotEvent} excepted), five seconds at most, since some libraries end the process when
     * they close a session that is in use. Calls that begin meanwhile take the bridge lock.
     */
    @Override
    public native void closeAllSessions();
}
