package com.kelvane.tokbridge.tool.token;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static java.util.stream.Collectors.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import java.math.BigInteger;
import java.util.*;
import java.util.function.*;

/**
 * A token in use. One session stays open, with the user logged in; it holds the keys that several operations use. All
 * objects are created and destroyed here, so that none is left after a failure or an interrupt.
 */
public final class Token implements AutoCloseable {
    /** The session that stays open. */
    public final NativePKCS11Session session;

    /** Whether objects may be created, and whether they can stay on the token. */
    public final boolean write, readWrite;

    /** The label of the objects that are created on the token; no other object has it. */
    public final String label = "tokbridge's own, to be destroyed " + UUID.randomUUID();
    private final PKCS11Slot slot;

    /** The mechanisms that the token lists, and their flags. */
    private final Map<Integer, Integer> mechanisms = new LinkedHashMap<>();
    private boolean loggedIn;
    private char[] pin;

    /** The objects that were created here and not destroyed yet. */
    private final List<NativePKCS11Object> created = new ArrayList<>();
    private boolean ended;

    public Token(PKCS11Slot slot, boolean write) {
        this.slot = slot;
        this.write = write;
        readWrite = write && !info().isWriteProtected();
        try {
            session = open();
        } catch (PKCS11Exception e) {
            throw info().isInitialized() ? new Failure("no session can be opened", e, null)
                : new Failure(Failure.FAILED, "no session can be opened", "the token in " + slot
                    + " is not initialised (" + e.getMessage() + ")", "initialise it with its vendor's program");
        }
    }

    /** Returns bytes in hexadecimal; null for no bytes. */
    public static String hex(byte[] bytes) {
        return bytes == null || bytes.length == 0 ? null
            : String.format("%0" + 2 * bytes.length + "x", new BigInteger(1, bytes));
    }

    public NativePKCS11Session open() {
        return slot.openSession(CKF_SERIAL_SESSION | (readWrite ? CKF_RW_SESSION : 0), null);
    }

    public PKCS11TokenInfo info() {
        return Failure.in("the token cannot be read", slot::getTokenInfo);
    }

    /** Logs the user in, with a PIN that is wiped with the token; null if it is entered at the token. */
    public Token login(char[] with) {
        pin = with;
        loggedIn = true;
        try {
            session.login(false, pin);
            return this;
        } catch (PKCS11Exception e) {
            throw new Failure("the login failed", e, info());
        }
    }

    /** Logs the user in again: some keys require a login for each use, and some modules forget one after a failure. */
    public void loginAgain() {
        try {
            session.logout();
        } catch (PKCS11Exception e) {
            // The module may have logged the user out itself.
        }
        login(pin);
    }

    public boolean isLoggedIn() {
        return loggedIn;
    }

    /** Returns the mechanisms that the token lists. */
    public Set<Integer> mechanisms() {
        for (int mechanism : mechanisms.isEmpty() ? slot.getMechanismList() : new int[0]) {
            try {
                mechanisms.put(mechanism, slot.getMechanismInfo(mechanism).getFlags());
            } catch (PKCS11Exception e) {
                mechanisms.put(mechanism, 0); // listed, so it counts
            }
        }
        return mechanisms.keySet();
    }

    /** Returns whether the token offers a mechanism for one of some uses; one without any flag may have every use. */
    public boolean offers(int mechanism, int flags) {
        Integer has = mechanisms().contains(mechanism) ? mechanisms.get(mechanism) : null;
        return has != null && ((has & flags) != 0 || (has & ~CKF_HW) == 0);
    }

    /**
     * Creates an object or a key pair for the session, or on the token if it keeps such objects there only.
     *
     * @param creation creates it, with these attributes besides its own
     */
    public synchronized <T> T create(Function<Object[], T> creation) {
        try {
            return create(false, creation);
        } catch (PKCS11Exception e) {
            try {
                return create(true, creation);
            } catch (PKCS11Exception again) {
                throw e; // the first failure is the one that matters
            }
        }
    }

    /** Creates an object or a key pair for the session or on the token. */
    public synchronized <T> T create(boolean onToken, Function<Object[], T> creation) {
        if (ended) {
            throw new IllegalStateException("the program ends");
        }
        T result = creation.apply(onToken ? new Object[] {CKA_TOKEN, true, CKA_LABEL, label}
            : new Object[] {CKA_TOKEN, false});
        NativePKCS11KeyPair pair = result instanceof NativePKCS11KeyPair ? (NativePKCS11KeyPair) result : null;
        created.addAll(pair != null ? List.of(pair.getPrivate(), pair.getPublic())
            : List.of((NativePKCS11Object) result));
        return result;
    }

    /** Destroys those of the objects that were created here. */
    public synchronized void destroy(Predicate<NativePKCS11Object> which) {
        for (NativePKCS11Object object : created.stream().filter(which).collect(toList())) {
            created.remove(object);
            try {
                object.destroy();
            } catch (PKCS11Exception e) {
                System.err.println("tokbridge: " + object + " is left on the token: " + e.getMessage());
            }
        }
    }

    /** Destroys the objects that were created here, and refuses to create more. */
    public synchronized void end() {
        ended = true;
        destroy(each -> true);
    }

    @Override
    public void close() {
        try {
            session.close();
        } finally {
            if (pin != null) {
                Arrays.fill(pin, '\0');
            }
        }
    }
}
