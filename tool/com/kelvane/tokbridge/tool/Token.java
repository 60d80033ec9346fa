package com.kelvane.tokbridge.tool;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.PKCS11MechanismInfo;
import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.Template;
import com.kelvane.pkcs11.nat.NativePKCS11KeyPair;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.math.BigInteger;
import java.security.SecureRandom;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.function.Function;
import java.util.function.Predicate;
import java.util.stream.Collectors;

/**
 * A token that is worked on. One session stays open, with the user logged in; it holds the keys that several operations
 * use. Each operation works in a session of its own, so that one that a failure left open does not disturb the next.
 * All objects are made and destroyed here, so that none is left, whatever happens.
 */
final class Token {
    /** What is done in a session. */
    interface InSession {
        String run(NativePKCS11Session session) throws Exception;
    }

    private final PKCS11Slot slot;
    private final NativePKCS11Session session;
    private final boolean toWrite;

    /** Whether objects can be kept on the token. */
    private final boolean keeps;
    private final Map<Integer, PKCS11MechanismInfo> offered = new LinkedHashMap<>();

    /** What no other object has, so that those of others are not taken for one's own. */
    final byte[] id = new byte[16];
    final String label;

    /** The objects that were made here and are still there. */
    private final List<NativePKCS11Object> made = new ArrayList<>();
    private boolean ended;

    Token(PKCS11Slot slot, NativePKCS11Session session, boolean toWrite) {
        this.slot = slot;
        this.session = session;
        this.toWrite = toWrite;
        keeps = toWrite && session.getInfo().isReadWrite();
        new SecureRandom().nextBytes(id);
        label = "tokbridge's own, to be destroyed " + new BigInteger(1, id).toString(Character.MAX_RADIX);
        for (int type : slot.getMechanismList()) {
            offered.put(type, info(type));
        }
    }

    private PKCS11MechanismInfo info(int type) {
        try {
            return slot.getMechanismInfo(type);
        } catch (PKCS11Exception e) {
            return new PKCS11MechanismInfo(0, 0, 0); // listed is listed
        }
    }

    /** The session that stays open. */
    NativePKCS11Session session() {
        return session;
    }

    /** Whether objects may be made. */
    boolean isToWrite() {
        return toWrite;
    }

    /** Whether they can be kept on the token. */
    boolean keepsObjects() {
        return keeps;
    }

    /** The mechanisms that the token offers. */
    Set<Integer> offered() {
        return offered.keySet();
    }

    /** Whether the token offers a mechanism for something; one that tells no use at all may have any. */
    boolean offers(int mechanism, Predicate<PKCS11MechanismInfo> use) {
        PKCS11MechanismInfo info = offered.get(mechanism);
        return info != null && (use.test(info) || (info.getFlags() & ~CKF_HW) == 0);
    }

    /** The smallest key that a mechanism has. */
    int smallestKey(int mechanism) {
        return offered.get(mechanism).getMinKeySize();
    }

    /** Does something in a session of its own; objects that it has made in there are destroyed. */
    String inSession(InSession body) throws Exception {
        try (NativePKCS11Session own = slot.openSession(CKF_SERIAL_SESSION | (keeps ? CKF_RW_SESSION : 0), null)) {
            try {
                return body.run(own);
            } finally {
                destroy(each -> each.getSession().equals(own));
            }
        }
    }

    /** Makes an object for the session, or one on the token where the token does not have the former. */
    NativePKCS11Object make(Template template, Function<Template, NativePKCS11Object> maker) {
        return make(place -> List.of(maker.apply(template.and(place)))).get(0);
    }

    /** Makes a key pair in the same way. */
    NativePKCS11KeyPair makePair(int mechanism, Template open, Template secret) {
        NativePKCS11KeyPair[] pair = new NativePKCS11KeyPair[1];
        make(place -> {
            pair[0] = session.generateKeyPair(mechanism, null, open.and(place), secret.and(place));
            return List.of(pair[0].getPublic(), pair[0].getPrivate());
        });
        return pair[0];
    }

    /** Makes an object on the token. */
    synchronized NativePKCS11Object makeOnToken(Template template, Function<Template, NativePKCS11Object> maker) {
        return keep(List.of(maker.apply(template.and(place(true))))).get(0);
    }

    private Object[] place(boolean onToken) {
        if (ended) {
            throw new IllegalStateException("the program ends");
        }
        return onToken ? new Object[] {CKA_TOKEN, true, CKA_LABEL, label} : new Object[] {CKA_TOKEN, false};
    }

    private List<NativePKCS11Object> keep(List<NativePKCS11Object> objects) {
        made.addAll(objects);
        return objects;
    }

    private synchronized List<NativePKCS11Object> make(Function<Object[], List<NativePKCS11Object>> maker) {
        try {
            return keep(maker.apply(place(false)));
        } catch (PKCS11Exception e) {
            if (!keeps) {
                throw e;
            }
            try {
                return keep(maker.apply(place(true)));
            } catch (PKCS11Exception again) {
                throw e;
            }
        }
    }

    boolean hasRandom() {
        return slot.getTokenInfo().hasRandomNumberGenerator();
    }

    /** Ends all work: no object is made any more, and those there are are destroyed. */
    synchronized void end() {
        ended = true;
        destroy(each -> true);
    }

    synchronized void destroy(Predicate<NativePKCS11Object> which) {
        for (NativePKCS11Object object : made.stream().filter(which).collect(Collectors.toList())) {
            made.remove(object);
            try {
                object.destroy();
            } catch (PKCS11Exception e) {
                System.err.println("tokbridge: " + object + " is left on the token: " + e.getMessage());
            }
        }
    }

    /** The numbers of what is on the token. */
    Set<Integer> objects() {
        return session.findObjects(Template.of(CKA_TOKEN, true)).stream().map(NativePKCS11Object::getObjectID)
            .collect(Collectors.toSet());
    }
}
