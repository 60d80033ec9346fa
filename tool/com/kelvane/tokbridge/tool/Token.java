package com.kelvane.tokbridge.tool;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.Template;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.HashSet;
import java.util.List;
import java.util.Set;
import java.util.stream.Collectors;

/**
 * A token that steps work on. One session stays open, with the user logged in; it holds the session keys that several
 * steps use. Each step works in a session of its own, so that an operation that a failure left open does not disturb
 * the next one. Objects that would outlive the process are made and destroyed here, so that none is left, whatever
 * happens.
 */
final class Token {
    /** What a step does in its session. */
    interface InSession {
        void run(NativePKCS11Session session) throws Exception;
    }

    private final Tour tour;
    private final PKCS11Slot slot;
    private final NativePKCS11Session session;
    private final boolean toWrite;
    private final int[] offered;
    private final Set<Integer> tried = new HashSet<>();
    private final Set<Integer> before;

    /** The token objects that were made here and are still there. */
    private final List<NativePKCS11Object> made = new ArrayList<>();
    private boolean ended;

    Token(Tour tour, PKCS11Slot slot, NativePKCS11Session session, boolean toWrite) {
        this.tour = tour;
        this.slot = slot;
        this.session = session;
        this.toWrite = toWrite;
        offered = slot.getMechanismList();
        before = tokenObjects();
    }

    /** The session that stays open. */
    NativePKCS11Session session() {
        return session;
    }

    /** Opens one more session. */
    NativePKCS11Session openSession() {
        return slot.openSession(CKF_SERIAL_SESSION | (toWrite ? CKF_RW_SESSION : 0), null);
    }

    boolean offers(int mechanism) {
        return Arrays.stream(offered).anyMatch(each -> each == mechanism);
    }

    /** The mechanisms that the token offers and no step was about. */
    int[] notTried() {
        return Arrays.stream(offered).filter(each -> !tried.contains(each)).toArray();
    }

    /** Runs a step about a mechanism in a session of its own; it is left out where the token does not offer it. */
    boolean step(String title, int mechanism, InSession body) {
        if (!offers(mechanism)) {
            tour.leaveOut(title, nameOf("CKM_", mechanism));
            return false;
        }
        tried.add(mechanism);
        return step(title, body);
    }

    /** The same for a step about no mechanism. */
    boolean step(String title, InSession body) {
        return tour.step(title, () -> {
            try (NativePKCS11Session own = openSession()) {
                try {
                    body.run(own);
                } finally {
                    destroyMade();
                }
            }
        });
    }

    /** Makes an object that is kept on the token until it is destroyed here. */
    synchronized NativePKCS11Object make(NativePKCS11Session in, Template template) {
        if (ended) {
            throw new IllegalStateException("the program ends");
        }
        NativePKCS11Object object = in.createObject(template);
        made.add(object);
        return object;
    }

    synchronized void destroy(NativePKCS11Object object) {
        object.destroy();
        made.remove(object);
    }

    /** Ends all work: no object is made any more, and those there are are destroyed. */
    synchronized void end() {
        ended = true;
        destroyMade();
    }

    private synchronized void destroyMade() {
        for (NativePKCS11Object object : new ArrayList<>(made)) {
            try {
                destroy(object);
            } catch (PKCS11Exception e) {
                System.err.println("tokbridge: " + object + " is left on the token: " + e.getMessage());
                made.remove(object);
            }
        }
    }

    /** Looks whether the token holds what it held in the beginning. */
    void compare() {
        tour.step("Nothing is left, nothing is lost", () -> tour.check("the token has the same " + before.size()
            + " objects as before", tokenObjects().equals(before)));
    }

    private Set<Integer> tokenObjects() {
        return session.findObjects(Template.of(CKA_TOKEN, true)).stream().map(NativePKCS11Object::getObjectID)
            .collect(Collectors.toSet());
    }

    void drawRandom() {
        if (!slot.getTokenInfo().hasRandomNumberGenerator()) {
            tour.leaveOut("Random bytes", "random numbers");
            return;
        }
        tour.step("Random bytes", () -> {
            byte[] bytes = new byte[64];
            session.generateRandom(bytes, 0, 24);
            session.generateRandom(bytes, 32, 24);
            byte[] first = Arrays.copyOf(bytes, 24);
            byte[] second = Arrays.copyOfRange(bytes, 32, 56);
            byte[] zeros = new byte[8];
            tour.check("random bytes differ from one call to the next", !Arrays.equals(first, second));
            tour.check("they fill the part asked for and no more", !Arrays.equals(bytes, 16, 24, zeros, 0, 8)
                && Arrays.equals(bytes, 24, 32, zeros, 0, 8) && Arrays.equals(bytes, 56, 64, zeros, 0, 8));
        });
    }
}
