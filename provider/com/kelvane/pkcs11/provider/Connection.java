package com.kelvane.pkcs11.provider;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.nat.NativePKCS11Session;

/**
 * A connection to a token. Each recovery and each login creates a new one; object handles are valid for the connection
 * in which they were found. Session objects live as long as the session that holds them, which a connection may
 * inherit.
 */
final class Connection {
    final PKCS11Slot slot;

    /** Sessions for operations. */
    final Sessions sessions;

    /** The one session in which session objects are created. No operation is started in it, so it stays open. */
    final Sessions objects;

    /** Whether the user was logged in when the connection was created. */
    final boolean loggedIn;

    Connection(PKCS11Slot slot, Sessions sessions, Sessions objects, boolean loggedIn) {
        this.slot = slot;
        this.sessions = sessions;
        this.objects = objects;
        this.loggedIn = loggedIn;
    }

    /** Returns the same connection after a login or logout. */
    Connection renewed(boolean isLoggedIn) {
        return new Connection(slot, sessions, objects, isLoggedIn);
    }

    /** Returns the session that holds the session objects. */
    NativePKCS11Session home() {
        return objects.latest();
    }

    /** Returns whether the session that holds the session objects is still open. */
    boolean isAlive() {
        try {
            home().getInfo();
            return !objects.isRetired();
        } catch (PKCS11Exception e) {
            return false;
        }
    }

    /**
     * Checks that a session sees what a user who is logged in sees: without the login, searches find less.
     *
     * @throws PKCS11Exception with {@code CKR_USER_NOT_LOGGED_IN} if the login of this connection is gone
     */
    void checkLogin(NativePKCS11Session session) {
        if (loggedIn && !isLoggedIn(session)) {
            throw new PKCS11Exception(CKR_USER_NOT_LOGGED_IN);
        }
    }

    static boolean isLoggedIn(NativePKCS11Session session) {
        int state = session.getInfo().getState();
        return state == CKS_RO_USER_FUNCTIONS || state == CKS_RW_USER_FUNCTIONS;
    }

    /** Abandons the sessions. */
    void retire() {
        sessions.retire();
        objects.retire();
    }
}
