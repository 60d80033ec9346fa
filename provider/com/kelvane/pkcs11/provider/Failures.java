package com.kelvane.pkcs11.provider;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Exception;
import java.util.Set;

/** The meaning of return codes for sessions, token and module. docs/provider.md has the same table with reasons. */
final class Failures {
    /** The session, the login, an object or the token is gone. */
    private static final Set<Integer> LOST = Set.of(CKR_SESSION_HANDLE_INVALID, CKR_SESSION_CLOSED,
        CKR_USER_NOT_LOGGED_IN, CKR_OBJECT_HANDLE_INVALID, CKR_KEY_HANDLE_INVALID, CKR_WRAPPING_KEY_HANDLE_INVALID,
        CKR_UNWRAPPING_KEY_HANDLE_INVALID, CKR_DEVICE_REMOVED, CKR_TOKEN_NOT_PRESENT, CKR_TOKEN_NOT_RECOGNIZED,
        CKR_SLOT_ID_INVALID, CKR_CRYPTOKI_NOT_INITIALIZED);

    /** Wrong data on one module, a lost token or login on another: NSS reports a logout as CKR_HOST_MEMORY. */
    private static final Set<Integer> UNCLEAR = Set.of(CKR_GENERAL_ERROR, CKR_DEVICE_ERROR, CKR_FUNCTION_FAILED,
        CKR_HOST_MEMORY);

    /** The session has or lacks an operation, by a fault of the module: another session does. */
    private static final Set<Integer> OTHER_SESSION = Set.of(CKR_OPERATION_ACTIVE, CKR_OPERATION_NOT_INITIALIZED);

    /** The data is wrong, or its length. */
    private static final Set<Integer> LENGTH = Set.of(CKR_DATA_LEN_RANGE, CKR_ENCRYPTED_DATA_LEN_RANGE);
    private static final Set<Integer> DATA = Set.of(CKR_DATA_INVALID, CKR_ENCRYPTED_DATA_INVALID,
        CKR_AEAD_DECRYPT_FAILED);

    /** The PIN is not the token's. */
    private static final Set<Integer> WRONG_PIN = Set.of(CKR_PIN_INCORRECT, CKR_PIN_INVALID, CKR_PIN_LEN_RANGE);

    /** No session can be opened now. */
    private static final Set<Integer> NO_SESSION = Set.of(CKR_SESSION_COUNT, CKR_TOKEN_RESOURCE_EXCEEDED);

    private Failures() {
    }

    /** Returns whether something that an operation needs is gone. A library that was closed has a text and no code. */
    static boolean isLost(PKCS11Exception e) {
        return e.hasCode() ? LOST.contains(e.getCode()) : "functionList is null".equals(e.getMessage());
    }

    /**
     * Returns whether a check of the token decides if it or the data is at fault. Vendors' own codes are among these.
     */
    static boolean isUnclear(PKCS11Exception e) {
        return UNCLEAR.contains(e.getCode()) || e.getCode() < 0;
    }

    static boolean needsOtherSession(PKCS11Exception e) {
        return OTHER_SESSION.contains(e.getCode());
    }

    /** Returns whether the module itself does not work, so that a restart may help. */
    static boolean isOfModule(PKCS11Exception e) {
        return isUnclear(e) || e.getCode() == CKR_CRYPTOKI_NOT_INITIALIZED || !e.hasCode();
    }

    static boolean isLength(PKCS11Exception e) {
        return LENGTH.contains(e.getCode());
    }

    /** Returns whether the data is wrong. An unclear code means that too, once the token was found in order. */
    static boolean isData(PKCS11Exception e) {
        return DATA.contains(e.getCode()) || isUnclear(e);
    }

    static boolean isWrongPin(PKCS11Exception e) {
        return WRONG_PIN.contains(e.getCode());
    }

    static boolean isNoSession(PKCS11Exception e) {
        return NO_SESSION.contains(e.getCode());
    }
}
