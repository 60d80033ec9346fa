package com.kelvane.pkcs11.provider;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.PKCS11TokenInfo;
import com.kelvane.pkcs11.PKCS11Uri;
import com.kelvane.pkcs11.nat.NativePKCS11;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.lang.ref.Cleaner;
import java.lang.ref.Reference;
import java.security.InvalidKeyException;
import java.security.ProviderException;
import java.util.Arrays;
import java.util.HashMap;
import java.util.Map;
import java.util.concurrent.locks.ReentrantLock;
import java.util.function.Function;
import javax.security.auth.callback.CallbackHandler;
import javax.security.auth.login.FailedLoginException;
import javax.security.auth.login.LoginException;

/**
 * A token: its connection, its login, and the recovery of both.
 *
 * <p>Work runs in a session of the current connection. If it fails because something is gone, the thread that noticed
 * first opens a new connection while the others wait for it, and each repeats its work once. Threads that waited for an
 * attempt in vain share its failure; the next call tries again.
 */
final class Token {
    /** Ends what unreachable keys and ciphers have left on tokens. */
    static final Cleaner CLEANER = Cleaner.create();

    /** Work in a session of a connection. */
    interface Work<T> {
        T run(Connection at, NativePKCS11Session session) throws InvalidKeyException;
    }

    /** Work with a key as an object of a session. */
    interface KeyWork<T> {
        T run(NativePKCS11Session session, NativePKCS11Object key) throws InvalidKeyException;
    }

    final PKCS11TokenInfo info;

    /** The mechanisms and their flags. */
    private final Map<Integer, Integer> mechanisms = new HashMap<>();
    private final Module module;
    private final PKCS11Uri identity;
    private final Pins pins;

    /**
     * Held while the connection changes and while a PIN is sent, and before the lock of the module. It is fair, so that
     * no thread waits for many attempts.
     */
    private final ReentrantLock lock = new ReentrantLock(true);

    /** Null before the first use and after a recovery that failed. */
    private volatile Connection connection;

    /** The number of attempts to connect, and the failure of the last one; null if it succeeded. */
    private volatile int attempts;
    private ProviderException failure;

    /** The slot in which the token was seen last. */
    private int lastSlot;

    Token(Module module, PKCS11Slot slot) {
        this.module = module;
        info = slot.getTokenInfo();
        identity = PKCS11Uri.of(info);
        pins = new Pins(info);
        lastSlot = slot.getSlotID();
        for (int type : slot.getMechanismList()) {
            mechanisms.put(type, slot.getMechanismInfo(type).getFlags());
        }
    }

    /** Returns whether the token has a mechanism for a use, a {@code CKF_} flag; 0 for any. */
    boolean can(int mechanism, int flag) {
        Integer flags = mechanisms.get(mechanism);
        return flags != null && (flags & flag) == flag;
    }

    /** Returns the first of several mechanisms that the token has. */
    int first(int... candidates) {
        return Arrays.stream(candidates).filter(mechanisms::containsKey).findFirst().orElseThrow();
    }

    void configure(PKCS11Uri uri) {
        lock();
        try {
            pins.configure(uri);
        } finally {
            unlock();
        }
    }

    void setHandler(CallbackHandler handler) {
        lock();
        try {
            pins.setHandler(handler);
        } finally {
            unlock();
        }
    }

    boolean isConnected() {
        return connection != null;
    }

    // Work

    /**
     * Does work in a session of the pool, and once more after a recovery.
     *
     * @throws PKCS11Exception if the operation failed, with the token in order
     * @throws ProviderException if the token cannot be reached or has no free session
     * @throws InvalidKeyException if a key is no longer there
     */
    <T> T run(Work<T> work) throws InvalidKeyException {
        return run(at -> at.sessions, work, false);
    }

    /** Does work that creates a key: a session key in the session that holds those. */
    <T> T create(TokenKeySpec keySpec, Work<T> work) throws InvalidKeyException {
        return run(at -> keySpec.isOnToken() ? at.sessions : at.objects, work, false);
    }

    /** Does work with one key, which stays reachable as long. Keys that require a login are used one at a time. */
    <T> T use(TokenKey key, KeyWork<T> work) throws InvalidKeyException {
        if (key.requiresLogin()) {
            lock.lock();
        }
        try {
            return run((at, session) -> work.run(session, key.in(at, session)));
        } finally {
            if (key.requiresLogin()) {
                lock.unlock();
            }
            Reference.reachabilityFence(key);
        }
    }

    /** Logs in for the operation that was initialised in a session by {@link #use}, if its key requires that. */
    void logInFor(TokenKey key, NativePKCS11Session session) {
        if (key.requiresLogin()) {
            pins.sendFor(key, session);
        }
    }

    /** Starts an operation in parts, with its first part. */
    HeldSession start(TokenKey key, KeyWork<?> work) throws InvalidKeyException {
        try {
            return run(at -> at.sessions, (at, session) -> {
                work.run(session, key.in(at, session));
                return new HeldSession(at.sessions, session);
            }, true);
        } finally {
            Reference.reachabilityFence(key);
        }
    }

    private <T> T run(Function<Connection, Sessions> pool, Work<T> work, boolean hold) throws InvalidKeyException {
        Connection first = connection();
        int seen = attempts;
        try {
            return pool.apply(first).use(session -> work.run(first, session), hold);
        } catch (PKCS11Exception e) {
            Connection next = afterFailure(first, e, seen);
            return pool.apply(next).use(session -> work.run(next, session), hold);
        }
    }

    /** Does work in the session that holds session objects, if that is still open; failures are of no consequence. */
    void destroyIn(NativePKCS11Session home, Sessions.Work<Void> work) {
        Connection at = connection;
        if (at != null && at.home() == home) {
            try {
                at.objects.use(session -> session == home ? work.run(session) : null);
            } catch (InvalidKeyException | PKCS11Exception | ProviderException e) {
                // The object ends with its session.
            }
        }
    }

    /**
     * Returns a connection in which work may be repeated.
     *
     * @throws PKCS11Exception the failure itself, if the work would fail again
     */
    private Connection afterFailure(Connection failed, PKCS11Exception e, int seen) {
        if (Failures.needsOtherSession(e)) {
            return failed;
        }
        if (!Failures.isLost(e) && !Failures.isUnclear(e)) {
            throw e;
        }
        return connect(failed, e, seen);
    }

    // Connection

    private void lock() {
        lock.lock();
        module.enter();
    }

    private void unlock() {
        module.leave();
        lock.unlock();
    }

    /** Returns the connection, a new one if there is none. */
    private Connection connection() {
        Connection current = connection;
        return current != null ? current : connect(null, null, attempts);
    }

    /**
     * Replaces a connection, unless another thread has done so.
     *
     * @param failed the connection in which something failed; null for none
     * @param cause what failed in it, or null
     * @param seen the number of attempts when the caller began
     */
    private Connection connect(Connection failed, PKCS11Exception cause, int seen) {
        lock();
        try {
            if (connection != null && connection != failed) {
                return connection;
            }
            if (connection == null && attempts != seen && failure != null) {
                throw new ProviderException(failure.getMessage(), failure.getCause());
            }
            if (cause != null && Failures.isUnclear(cause) && isIntact(failed)) {
                throw cause;
            }
            return reconnect(failed, cause, true);
        } finally {
            unlock();
        }
    }

    /**
     * Asks module, token and session in turn. The list of slots comes first: some modules notice only then that a card
     * was pulled.
     */
    private boolean isIntact(Connection at) {
        try {
            return contains(module.library().getSlotList(true), at.slot.getSlotID())
                && identity.matches(at.slot) && Connection.isLoggedIn(at.home()) == at.loggedIn;
        } catch (PKCS11Exception e) {
            return false;
        }
    }

    private static boolean contains(PKCS11Slot[] slots, int id) {
        return Arrays.stream(slots).anyMatch(slot -> slot.getSlotID() == id);
    }

    /** Opens a connection by the least means: a restart of the module is the last one. */
    private Connection reconnect(Connection failed, PKCS11Exception cause, boolean withLogin) {
        connection = null;
        try {
            try {
                connection = attach(failed, cause, withLogin);
            } catch (PKCS11Exception e) {
                throw new ProviderException("The token \"" + info.getLabel() + "\" cannot be used: "
                    + e.getMessage(), e);
            }
            failure = null;
            return connection;
        } catch (ProviderException e) {
            failure = e;
            throw e;
        } finally {
            attempts++;
        }
    }

    private Connection attach(Connection failed, PKCS11Exception cause, boolean withLogin) {
        NativePKCS11 library = module.library();
        PKCS11Exception obstacle;
        boolean isModules = true;
        try {
            PKCS11Slot slot = find(library);
            isModules = false;
            if (slot != null) {
                return attach(slot, failed, cause, withLogin);
            }
            obstacle = new PKCS11Exception(CKR_TOKEN_NOT_PRESENT);
            if (contains(library.getSlotList(false), lastSlot)) {
                throw obstacle; // the reader is there, and empty
            }
        } catch (PKCS11Exception e) {
            if (!Failures.isOfModule(e)) {
                throw e;
            }
            obstacle = e;
        }
        if (!isModules && module.isUsedBesides(this)) {
            throw obstacle;
        }
        PKCS11Slot slot = find(module.restart(library));
        if (slot == null) {
            throw new PKCS11Exception(CKR_TOKEN_NOT_PRESENT);
        }
        return attach(slot, failed, cause, withLogin);
    }

    /** Finds the token's slot, whose number may have changed; null if the token is away. */
    private PKCS11Slot find(NativePKCS11 library) {
        return library.slotsWithTokens().filter(identity::matches).findFirst().orElse(null);
    }

    private Connection attach(PKCS11Slot slot, Connection failed, PKCS11Exception cause, boolean withLogin) {
        lastSlot = slot.getSlotID();
        Sessions objects;
        Sessions sessions;
        if (failed != null && failed.slot.equals(slot) && failed.isAlive()) {
            objects = failed.objects;
            sessions = failed.sessions;
        } else {
            if (failed != null) {
                failed.retire();
            }
            int flags = info.isWriteProtected() ? CKF_SERIAL_SESSION : CKF_SERIAL_SESSION | CKF_RW_SESSION;
            int limit = limit(slot.getTokenInfo());
            objects = new Sessions(module, slot, flags, 1, true);
            objects.release(objects.acquire());
            sessions = limit == 1 ? objects : new Sessions(module, slot, flags, limit - 1, false);
        }
        boolean relogin = cause != null && cause.getCode() == CKR_USER_NOT_LOGGED_IN;
        return new Connection(slot, sessions, objects,
            withLogin ? logInAgain(objects.latest(), relogin) : Connection.isLoggedIn(objects.latest()));
    }

    /** Returns the number of sessions that the token allows; numbers without practical limit are 0 or negative. */
    private static int limit(PKCS11TokenInfo info) {
        int all = info.getMaxSessionCount() > 0 ? info.getMaxSessionCount() : Integer.MAX_VALUE;
        int writing = info.getMaxRwSessionCount() > 0 ? info.getMaxRwSessionCount() : Integer.MAX_VALUE;
        return info.isWriteProtected() ? all : Math.min(all, writing);
    }

    // Login

    /** Logs in, if the token wants it and a PIN is known; asks a callback handler only when an operation needs it. */
    private boolean logInAgain(NativePKCS11Session session, boolean isNeeded) {
        boolean loggedIn = Connection.isLoggedIn(session);
        if (!info.isLoginRequired() || loggedIn && !isNeeded) {
            return loggedIn;
        }
        char[] pin = pins.known(isNeeded);
        if (pin == null && !(isNeeded && pins.isEnteredAtToken())) {
            return loggedIn;
        }
        if (loggedIn) { // the module thinks so, the card does not
            logOut(session);
        }
        try {
            pins.send(session, pin);
        } catch (PKCS11Exception e) {
            if (e.getCode() != CKR_USER_ALREADY_LOGGED_IN) { // by others, at this moment
                throw e;
            }
        }
        return true;
    }

    private static void logOut(NativePKCS11Session session) {
        try {
            session.logout();
        } catch (PKCS11Exception e) {
            if (e.getCode() != CKR_USER_NOT_LOGGED_IN) {
                throw e;
            }
        }
    }

    /**
     * Logs in, or checks a PIN if the user is logged in.
     *
     * <p>Modules accept any PIN of a user who is logged in. A PIN is therefore compared with the one that this object
     * has logged in with. If others have logged in, the user is logged out first: no other call checks a PIN without a
     * change to the token (C_SetPIN would rewrite it, and opencryptoki and cards refuse the same PIN as the new one).
     *
     * @param password the PIN; null for that of the configuration or of a callback handler
     * @param handler the handler to ask; null for the one that was set
     * @return false if no PIN is known and the user stays logged out
     * @throws FailedLoginException if the PIN is wrong
     * @throws LoginException if the token refuses the login for another reason
     */
    boolean login(char[] password, CallbackHandler handler) throws LoginException {
        char[] pin = null;
        lock();
        try {
            if (connection == null || !isIntact(connection)) {
                reconnect(connection, null, false);
            }
            if (!info.isLoginRequired()) {
                return true;
            }
            boolean atToken = password == null && info.hasProtectedAuthenticationPath();
            pin = password != null ? password.clone() : atToken ? null : pins.obtain(handler);
            if (pin == null && !atToken) {
                return false;
            }
            NativePKCS11Session session = connection.home();
            if (Connection.isLoggedIn(session)) {
                if (atToken) {
                    return true;
                }
                if (pins.isKnown()) {
                    pins.check(pin);
                    return true;
                }
                logOut(session);
            }
            pins.send(session, pin);
            connection = connection.renewed(true);
            return true;
        } catch (PKCS11Exception e) {
            throw pins.loginException(e);
        } finally {
            pins.wipe(pin);
            unlock();
        }
    }

    /** Logs out and forgets the PIN. What is gone already needs no logout. */
    void logout() throws LoginException {
        lock();
        try {
            pins.forget();
            if (connection != null) {
                logOut(connection.home());
                connection = connection.renewed(false);
            }
        } catch (PKCS11Exception e) {
            if (!Failures.isLost(e) && !Failures.isUnclear(e)) {
                throw pins.loginException(e);
            }
        } finally {
            unlock();
        }
    }
}
