package com.kelvane.pkcs11.provider;

import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.lang.ref.Cleaner;
import java.util.function.Function;

/**
 * A session with an operation in parts, held until the operation ends. If its owner becomes unreachable before, the
 * session is closed. If a part fails the session is closed too: what was delivered is not produced a second time.
 */
final class HeldSession implements Runnable {
    private final Sessions pool;

    /** Null once the session was released. */
    private NativePKCS11Session session;
    private Cleaner.Cleanable cleanup;

    HeldSession(Sessions pool, NativePKCS11Session session) {
        this.pool = pool;
        this.session = session;
    }

    /** Has the session closed when its owner becomes unreachable. */
    HeldSession ownedBy(Object owner) {
        cleanup = Token.CLEANER.register(owner, this);
        return this;
    }

    /** Does a part of the operation. */
    synchronized <T> T part(Function<NativePKCS11Session, T> work) {
        if (session == null) {
            throw new IllegalStateException("The operation has failed; start it again");
        }
        try {
            return pool.part(session, work);
        } catch (PKCS11Exception e) {
            run();
            throw e;
        }
    }

    /** Does the last part, which ends the operation, and returns the session to its pool. */
    synchronized <T> T last(Function<NativePKCS11Session, T> work) {
        T result = part(work);
        pool.release(session);
        session = null;
        abandon();
        return result;
    }

    /** Abandons the operation, if it has not ended. The owner may start many, which it does not keep. */
    void abandon() {
        cleanup.clean();
    }

    /** Closes the session. */
    @Override
    public synchronized void run() {
        if (session != null) {
            pool.close(session);
            session = null;
        }
    }
}
