package com.kelvane.pkcs11.provider;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.security.InvalidKeyException;
import java.security.ProviderException;
import java.util.ArrayDeque;
import java.util.Deque;
import java.util.concurrent.TimeUnit;
import java.util.function.Function;

/**
 * A pool of sessions with one token. A session serves one caller at a time. One in which something failed is closed,
 * since an operation may be left in it; one whose handle has become invalid is forgotten, since closing it might close
 * another session to which the module has given the same handle.
 */
final class Sessions {
    /** The time that a caller waits for a free session; longer where keys are generated one after the other. */
    private static final long PATIENCE = TimeUnit.SECONDS.toNanos(5);
    private static final long PATIENCE_FOR_OBJECTS = TimeUnit.SECONDS.toNanos(60);

    /** The time after which a module that had no session left is called again: other programs close theirs too. */
    private static final long PAUSE_MILLIS = 50;

    /** Work in a session. */
    interface Work<T> {
        T run(NativePKCS11Session session) throws InvalidKeyException;
    }

    private final Module module;
    private final PKCS11Slot slot;
    private final int flags;
    private final int limit;

    /** Whether sessions hold objects, which would end with them. */
    private final boolean holdsObjects;

    private final Deque<NativePKCS11Session> idle = new ArrayDeque<>();
    private int open;
    private boolean retired;

    /** The session opened last. */
    private volatile NativePKCS11Session latest;

    Sessions(Module module, PKCS11Slot slot, int flags, int limit, boolean holdsObjects) {
        this.module = module;
        this.slot = slot;
        this.flags = flags;
        this.limit = limit;
        this.holdsObjects = holdsObjects;
    }

    /** Does work in a session. */
    <T> T use(Work<T> work) throws InvalidKeyException {
        return use(work, false);
    }

    /**
     * Does work in a session.
     *
     * @param hold whether the work has started an operation in the session; the caller ends it and releases the session
     */
    <T> T use(Work<T> work, boolean hold) throws InvalidKeyException {
        NativePKCS11Session session = acquire();
        boolean worked = false;
        boolean reusable = holdsObjects; // no operation is left where objects are created, and they have to stay
        module.enter();
        try {
            T result = work.run(session);
            worked = true;
            return result;
        } catch (PKCS11Exception e) {
            reusable &= !Failures.needsOtherSession(e);
            throw e;
        } finally {
            if (!worked && !reusable) {
                close(session);
            } else if (!worked || !hold) {
                release(session);
            }
            module.leave();
        }
    }

    /**
     * Takes a session out of the pool, or opens one.
     *
     * @throws ProviderException if none becomes free in time
     */
    NativePKCS11Session acquire() {
        long end = System.nanoTime() + (holdsObjects ? PATIENCE_FOR_OBJECTS : PATIENCE);
        for (boolean askAgain = true;; askAgain = true) {
            synchronized (this) {
                if (retired) {
                    throw new PKCS11Exception(CKR_SESSION_CLOSED);
                }
                NativePKCS11Session session = idle.poll();
                if (session != null) {
                    return session;
                }
                if (open >= limit) {
                    askAgain = false;
                    pause(end, null);
                } else {
                    open++;
                }
            }
            if (askAgain) {
                try {
                    NativePKCS11Session opened = open();
                    latest = opened;
                    return opened; // not the latest one, which another thread may have opened by now
                } catch (PKCS11Exception e) {
                    forget();
                    if (!Failures.isNoSession(e)) {
                        throw e;
                    }
                    pause(end, e);
                }
            }
        }
    }

    private NativePKCS11Session open() {
        module.enter();
        try {
            return slot.openSession(flags, null);
        } finally {
            module.leave();
        }
    }

    /** Waits for a session to come back, for a moment. */
    private synchronized void pause(long end, PKCS11Exception refusal) {
        if (System.nanoTime() >= end) {
            throw new ProviderException("No session with the token is free: " + open + " are in use here"
                + (refusal == null ? ", as many as the token allows" : ", and the token opens no more"), refusal);
        }
        try {
            if (idle.isEmpty()) {
                wait(PAUSE_MILLIS);
            }
        } catch (InterruptedException e) {
            Thread.currentThread().interrupt();
            throw new ProviderException("interrupted while waiting for a session", e);
        }
    }

    /** Returns a session without an operation to the pool. */
    synchronized void release(NativePKCS11Session session) {
        if (!retired) {
            idle.push(session);
            notify();
        }
    }

    /** Closes a session in which something failed, unless its handle may mean a session of others by now. */
    void close(NativePKCS11Session session) {
        module.enter();
        try {
            if (!isRetired() && session.getInfo() != null) {
                session.close();
            }
        } catch (PKCS11Exception e) {
            // It is gone.
        } finally {
            module.leave();
            forget();
        }
    }

    /** Does a part of an operation in a session that its caller holds. */
    <T> T part(NativePKCS11Session session, Function<NativePKCS11Session, T> work) {
        module.enter();
        try {
            return work.apply(session);
        } finally {
            module.leave();
        }
    }

    private synchronized void forget() {
        open--;
        notify();
    }

    /** Abandons the pool: its sessions are gone, and their handles may belong to others. */
    synchronized void retire() {
        retired = true;
        idle.clear();
        notifyAll();
    }

    synchronized boolean isRetired() {
        return retired;
    }

    /** Returns the session that was opened last; null if none was. */
    NativePKCS11Session latest() {
        return latest;
    }
}
