package com.kelvane.pkcs11.provider;

import static com.kelvane.pkcs11.PKCS11Constants.CKR_CRYPTOKI_ALREADY_INITIALIZED;

import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.PKCS11Uri;
import com.kelvane.pkcs11.nat.NativePKCS11;
import java.util.HashMap;
import java.util.Map;
import java.util.Set;
import java.util.TreeMap;
import java.util.TreeSet;
import java.util.concurrent.locks.ReentrantLock;

/** A module in this process. Its tokens share one library object, and its restart. */
final class Module {
    private static final Map<String, Module> MODULES = new HashMap<>();

    private final String path;

    /**
     * Held around calls of p11-kit's modules, null for others. Threads that wait in p11-kit's client for their replies
     * are not woken when the server dies; its server works on one call of a program at a time anyway.
     */
    private final ReentrantLock calls;

    /** The tokens by their URIs; guarded by this. */
    private final Map<String, Token> tokens = new HashMap<>();

    /** The initialised library; null before the first use and after a restart that failed. */
    private NativePKCS11 library;

    private Module(String path) {
        this.path = path;
        calls = path.matches("(.*/)?p11-kit-[^/]*") ? new ReentrantLock(true) : null;
    }

    /** Returns the module with a path. */
    static Module at(String path) {
        synchronized (MODULES) {
            return MODULES.computeIfAbsent(path, Module::new);
        }
    }

    /**
     * Returns the token that a URI means: one object in the process, so that all share its PIN and sessions.
     *
     * @throws IllegalArgumentException if no token matches, or more than one
     */
    Token token(PKCS11Uri uri) {
        enter();
        try {
            return find(uri);
        } finally {
            leave();
        }
    }

    /** Begins calls of the module: one thread after the other, where the module needs it. */
    void enter() {
        if (calls != null) {
            calls.lock();
        }
    }

    /** Ends what {@link #enter} has begun. */
    void leave() {
        if (calls != null) {
            calls.unlock();
        }
    }

    private synchronized Token find(PKCS11Uri uri) {
        Map<String, PKCS11Slot> found = new TreeMap<>();
        Set<String> present = new TreeSet<>();
        library().slotsWithTokens().filter(slot -> slot.getTokenInfo().isInitialized()).forEach(slot -> {
            String name = PKCS11Uri.of(slot.getTokenInfo()).toString();
            present.add(name);
            if (uri.matches(slot)) {
                found.put(name, slot);
            }
        });
        if (found.size() != 1) {
            throw new IllegalArgumentException((found.isEmpty() ? "No token" : "More than one token") + " of " + path
                + " matches \"" + uri + "\". Tokens present: " + present);
        }
        Map.Entry<String, PKCS11Slot> one = found.entrySet().iterator().next();
        return tokens.computeIfAbsent(one.getKey(), name -> new Token(this, one.getValue()));
    }

    /**
     * Returns the library, initialised.
     *
     * @throws PKCS11Exception if the module does not load or cannot be initialised
     */
    synchronized NativePKCS11 library() {
        if (library == null) {
            NativePKCS11 loaded = new NativePKCS11();
            loaded.load(path);
            try {
                loaded.libInitialize();
            } catch (PKCS11Exception e) {
                if (e.getCode() != CKR_CRYPTOKI_ALREADY_INITIALIZED) { // by others, who share it
                    release(loaded);
                    throw e;
                }
            }
            library = loaded;
        }
        return library;
    }

    /**
     * Finalises and initialises the module, unless another token has done so already. The module itself is finalised
     * only if nobody else in the process holds it.
     *
     * @param failed the library object that no longer works
     * @return the new one
     */
    synchronized NativePKCS11 restart(NativePKCS11 failed) {
        if (library == failed) {
            library = null;
            release(failed);
        }
        return library();
    }

    private static void release(NativePKCS11 library) {
        try {
            library.close();
        } catch (PKCS11Exception e) {
            // The library is given back even so.
        }
    }

    /** Returns whether a restart would end the sessions of another token. */
    synchronized boolean isUsedBesides(Token token) {
        return tokens.values().stream().anyMatch(other -> other != token && other.isConnected());
    }
}
