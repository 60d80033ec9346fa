package com.kelvane.tokbridge.test;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static com.kelvane.tokbridge.test.Harness.*;
import static org.junit.jupiter.api.Assertions.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import java.util.*;
import java.util.function.*;
import org.junit.jupiter.api.*;
import org.junit.jupiter.api.function.Executable;

/**
 * Handles that an int cannot hold: the stand-ins that Java gets, and what a module receives for them. The tables are
 * compared with a model in native/stand_ins_test.cpp, and what many threads make of them is in native/storm_test.cpp.
 */
class StandInTest extends SessionFixture {
    private static final String WIDE = "0x7f0000000010";
    private static final String OTHER = "0x100000000000002";
    private static final String SESSION_INVALID = "CKR_SESSION_HANDLE_INVALID";
    private static final String OBJECT_INVALID = "CKR_OBJECT_HANDLE_INVALID";
    private static final String FAILED = "CKR_DEVICE_ERROR";

    private NativePKCS11Session open(String handle) {
        token.answer("C_OpenSession", "session=" + handle);
        return slot.openSession(6, null);
    }

    private NativePKCS11Object find(String handle) {
        token.answer("C_FindObjects", "objects=" + handle);
        return session.findObject();
    }

    /** The handle that the module is told; "" when the call is refused before. */
    private String told(String code, Executable call) throws Throwable {
        calls();
        String raised = raised(call);
        List<String> made = calls();
        assertEquals(made.isEmpty() ? code : "", raised);
        return made.isEmpty() ? "" : made.get(0).replaceAll(".*=", "");
    }

    private String sessionOf(NativePKCS11Session asked) throws Throwable {
        return told(SESSION_INVALID, asked::logout);
    }

    private String objectOf(NativePKCS11Object asked) throws Throwable {
        return told(OBJECT_INVALID, asked::size);
    }

    @Test
    void aHandleHasOneNumberAndANumberOneHandle() throws Throwable {
        NativePKCS11Object first = find(WIDE);
        assertEquals(first, find(WIDE));
        assertEquals(first.hashCode(), find(WIDE).hashCode());
        assertEquals(WIDE, objectOf(first));
        NativePKCS11Session one = open(WIDE);
        NativePKCS11Session two = open(OTHER);
        assertNotEquals(one, two);
        assertEquals(WIDE + " " + OTHER, sessionOf(one) + " " + sessionOf(two));
    }

    @Test
    void handlesThatFitAreTheirOwnNumbers() throws Throwable {
        Assumptions.assumeFalse(ScriptedToken.WIDE);
        int[] fitting = {1, 0x57FFFFFF, 0x70000000, Integer.MAX_VALUE, Integer.MIN_VALUE, -1};
        for (int handle : fitting) {
            assertEquals(handle, find("" + Integer.toUnsignedLong(handle)).getObjectID());
            assertEquals(handle, open("" + Integer.toUnsignedLong(handle)).getSessionID());
        }
        for (long handle : new long[] {0x60000000L, 0x6FFFFFFFL, 0x100000000L, -1, 0x58000000L}) {
            String text = "0x" + Long.toHexString(handle);
            assertEquals(text, objectOf(find(text)));
            assertEquals(text, sessionOf(open(text)));
        }
        assertEquals("0x6fffffff", objectOf(key(0x6FFFFFFF)), "a number that was never given out is a handle");
    }

    private PKCS11Object[] generateKeyPair() {
        return session.generateKeyPair(CKM_RSA_PKCS_KEY_PAIR_GEN, null, null, null, null, null);
    }

    /** Where a handle enters Java, and where a number leaves it. */
    @Test
    void everyCrossing() throws Throwable {
        session = open(OTHER);
        Map<String, Supplier<PKCS11Object>> made = Map.of(
            "C_CreateObject object", () -> session.createObject(null, null),
            "C_CopyObject object", () -> session.copy(key(9), null, null),
            "C_GenerateKey key", () -> session.generateKey(CKM_AES_KEY_GEN, null, null, null),
            "C_GenerateKeyPair privateKey", () -> generateKeyPair()[1],
            "C_GenerateKeyPair publicKey", () -> generateKeyPair()[0],
            "C_UnwrapKey key", () -> session.unwrapKey(CKM_RSA_PKCS, null, key(9), new byte[1], 0, 1, null, null),
            "C_DeriveKey key", () -> session.deriveKey(CKM_DH_PKCS_DERIVE, null, key(9), null, null));
        for (String each : made.keySet()) {
            token.answer(each.split(" ")[0], each.split(" ")[1] + "=" + WIDE);
            assertEquals(WIDE, handleOf(made.get(each).get()), each);
        }

        NativePKCS11Object key = find(WIDE);
        Map<String, Consumer<NativePKCS11Object>> used = new LinkedHashMap<>(Map.of(
            "encryptionKey=", each -> session.setOperationState(new byte[1], each, null),
            "authenticationKey=", each -> session.setOperationState(new byte[1], null, each),
            "CK_OBJECT_HANDLE{key=", each -> session.deriveKey(CKM_CONCATENATE_BASE_AND_KEY, each, key(9), null, null),
            "baseKey=", each -> session.deriveKey(CKM_DH_PKCS_DERIVE, null, each, null, null),
            "unwrappingKey=", each -> session.unwrapKey(CKM_RSA_PKCS, null, each, new byte[1], 0, 1, null, null),
            "wrappingKey=", each -> session.wrapKey(CKM_RSA_PKCS, null, each, key(9), new byte[9], 0),
            " key=", each -> session.wrapKey(CKM_RSA_PKCS, null, key(9), each, new byte[9], 0),
            "key=", each -> session.signInit(CKM_RSA_PKCS, null, each),
            "source=", each -> session.copy(each, null, null)));
        used.put("object=", NativePKCS11Object::destroy);
        used.forEach((name, call) -> {
            calls();
            call.accept(key);
            String line = calls().get(0);
            assertTrue(line.contains("session=" + OTHER + " ") && line.contains(name + WIDE), line);
        });
        for (Consumer<NativePKCS11Object> each : used.values()) { // and none of them takes what has been given up
            assertRefused(OBJECT_INVALID, () -> each.accept(key));
        }
    }

    @Test
    void anObjectOfHandle0IsFoundAndMadeNowhereElse() throws Throwable {
        NativePKCS11Object zero = find("0");
        assertNotEquals(0, zero.getObjectID());
        assertEquals(zero, find("0"));
        calls();
        session.signInit(CKM_RSA_PKCS, null, zero);
        assertTrue(calls().get(0).endsWith(" key=0x0"));
        token.answer("C_DeriveKey", "key=0");
        assertEquals(0, session.deriveKey(CKM_DH_PKCS_DERIVE, null, key(9), null, null).getObjectID());
    }

    @Test
    void whatIsClosedOrDestroyedGivesItsNumberUp() throws Throwable {
        NativePKCS11Session closed = open(WIDE);
        token.answer("C_CloseSession", "rv=" + FAILED);
        assertEquals(FAILED, raised(closed::close));
        assertEquals(WIDE, sessionOf(closed), "still open");
        NativePKCS11Object found = find(WIDE);
        closed.close();
        assertTrue(calls().contains("C_CloseSession session=" + WIDE));
        assertRefused(SESSION_INVALID, closed::close);
        NativePKCS11Session next = open(WIDE);
        assertNotEquals(closed, next, "the same handle, another session");
        assertEquals("", sessionOf(closed));
        assertEquals(WIDE, objectOf(found), "an object outlives the session it was found in");

        token.answer("C_DestroyObject", "rv=" + FAILED);
        assertEquals(FAILED, raised(found::destroy));
        assertEquals(WIDE, objectOf(found));
        token.answer("C_DestroyObject", "rv=" + OBJECT_INVALID);
        assertEquals(OBJECT_INVALID, raised(() -> session.destroyObject(found)));
        assertEquals("", objectOf(found), "the module knows no such object");
        assertNotEquals(found, find(WIDE));

        NativePKCS11Slot elsewhere = new NativePKCS11Slot(library, 2);
        token.answer("C_OpenSession", "session=" + OTHER).answer("C_CloseAllSessions", "rv=" + FAILED);
        NativePKCS11Session other = elsewhere.openSession(6, null);
        assertEquals(FAILED, raised(slot::closeAllSessions));
        assertEquals(WIDE, sessionOf(next));
        slot.closeAllSessions();
        assertEquals(" " + OTHER, sessionOf(next) + " " + sessionOf(other));
        NativePKCS11Session again = open(OTHER);
        assertEquals(" " + OTHER, sessionOf(other) + " " + sessionOf(again), "handed out anew: another session");
    }

    /** A token is pulled, which ends its sessions without a call, and the module opens others at the same addresses. */
    @Test
    void aPoolWhoseTokenIsPulled() throws Throwable {
        List<NativePKCS11Session> pool = new ArrayList<>();
        String removed = "CKR_DEVICE_REMOVED";
        token.always("C_CloseSession", "rv=" + removed);
        for (int i = 0; i < 16; i++) {
            pool.add(open("0x7f00000000" + i % 8 + "0"));
            if (i < 4) {
                assertEquals(removed, raised(pool.get(i)::close));
            }
        }
        for (NativePKCS11Session old : pool.subList(0, 8)) {
            assertEquals("", sessionOf(old));
            assertRefused(SESSION_INVALID, old::close);
        }
        for (int i = 8; i < 16; i++) {
            assertEquals("0x7f00000000" + i % 8 + "0", sessionOf(pool.get(i)));
        }
    }

    /** What a session has made ends with it, unless it is on the token or nobody here can know. */
    @Test
    void objectsEndWithTheSessionThatMadeThem() throws Throwable {
        Map<String, BiFunction<int[], Object[], PKCS11Object>> made = Map.of(
            "C_CreateObject object", (types, values) -> session.createObject(types, values),
            "C_GenerateKey key", (types, values) -> session.generateKey(CKM_AES_KEY_GEN, null, types, values),
            "C_GenerateKeyPair publicKey", (types, values) -> session.generateKeyPair(CKM_RSA_PKCS_KEY_PAIR_GEN, null,
                types, values, new int[] {CKA_TOKEN}, new Object[] {true})[0],
            "C_GenerateKeyPair privateKey", (types, values) -> session.generateKeyPair(CKM_RSA_PKCS_KEY_PAIR_GEN, null,
                new int[] {CKA_TOKEN}, new Object[] {true}, types, values)[1],
            "C_UnwrapKey key", (types, values) -> session.unwrapKey(CKM_RSA_PKCS, null, key(9), new byte[1], 0, 1,
                types, values),
            "C_DeriveKey key", (types, values) -> session.deriveKey(CKM_DH_PKCS_DERIVE, null, key(9), types, values));
        NativePKCS11Session reader = open("0x7f0000000030");
        for (String each : made.keySet()) {
            for (String onToken : List.of("true", "false", "")) {
                for (boolean all : new boolean[] {false, true}) {
                    session = open(OTHER);
                    token.answer(each.split(" ")[0], each.split(" ")[1] + "=" + WIDE);
                    boolean none = onToken.isEmpty();
                    PKCS11Object object = made.get(each).apply(none ? null : new int[] {CKA_LABEL, CKA_TOKEN},
                        none ? null : new Object[] {"a label", Boolean.valueOf(onToken)});
                    NativePKCS11Object seen = new NativePKCS11Object(reader, object.getObjectID());
                    assertEquals(WIDE, objectOf(seen), each);
                    if (all) {
                        slot.closeAllSessions();
                        reader = open("0x7f0000000030");
                        seen = new NativePKCS11Object(reader, object.getObjectID());
                    } else {
                        session.close();
                    }
                    assertEquals(onToken.equals("true") ? WIDE : "", objectOf(seen), each + " " + onToken);
                }
            }
        }
        session = open(OTHER);
        token.answer("C_CopyObject", "object=" + WIDE);
        NativePKCS11Object copy = new NativePKCS11Object(reader, session.copy(key(9), null, null).getObjectID());
        session.close();
        assertEquals(WIDE, objectOf(copy), "it may have inherited CKA_TOKEN");

        CK_DERIVED_KEY[] more = {new CK_DERIVED_KEY(null, null)};
        session = open(OTHER);
        token.answer("C_DeriveKey", "as=CK_SP800_108_KDF_PARAMS phKey=10000000007f0000"); // WIDE
        session.deriveKey(CKM_SP800_108_COUNTER_KDF, new CK_SP800_108_KDF_PARAMS(1, null, more), key(9), null, null);
        session.close();
        NativePKCS11Object another = new NativePKCS11Object(reader, more[0].phKey.getObjectID());
        assertEquals(WIDE, objectOf(another), "the module may have changed its template");
    }

    /** The module gives a handle on before the call that takes it back has returned. */
    @Test
    void handlesGivenOnMeanwhile() throws Throwable {
        initialize(false); // a call that is held must not hold the lock
        NativePKCS11Session closed = open(WIDE);
        Background closing = token.hold("C_CloseSession", 0, closed::close);
        NativePKCS11Session next = open(WIDE);
        calls();
        assertRefused(SESSION_INVALID, closed::close);
        token.release("C_CloseSession", closing);
        assertEquals(" " + WIDE, sessionOf(closed) + " " + sessionOf(next));

        for (String rv : List.of("0", FAILED)) {
            NativePKCS11Object old = find(OTHER);
            token.answer("C_DestroyObject", "rv=" + rv);
            Background destroying = token.hold("C_DestroyObject", 0, () -> raised(old::destroy));
            NativePKCS11Object found = find(OTHER);
            token.release("C_DestroyObject", destroying);
            assertEquals((rv.equals("0") ? "" : OTHER) + " " + OTHER, objectOf(old) + " " + objectOf(found));
            found.destroy();
            assertEquals(" ", objectOf(old) + " " + objectOf(found), "both numbers of one object go with it");
        }
    }

    @Test
    void numbersBelongToTheirLibrary() throws Throwable {
        ScriptedToken module = ScriptedToken.copy();
        try (NativePKCS11 other = module.initialized()) {
            NativePKCS11Object mine = find(WIDE);
            module.answer("C_OpenSession", "session=" + WIDE).answer("C_FindObjects", "objects=" + WIDE);
            NativePKCS11Session theirs = new NativePKCS11Slot(other, 1).openSession(6, null);
            assertNotEquals(mine.getObjectID(), theirs.findObject().getObjectID());
            assertEquals(OBJECT_INVALID, raised(() -> theirs.digestKey(mine)));
            NativePKCS11Session foreign = new NativePKCS11Session(slot, theirs.getSessionID());
            assertEquals(SESSION_INVALID, raised(foreign::logout));

            NativePKCS11Session opened = open(WIDE);
            initialize(false);
            assertEquals("", sessionOf(opened), "the library's former life");
            assertEquals(OBJECT_INVALID, raised(() -> slot.openSession(6, null).digestKey(mine)));
            assertEquals("", raised(theirs::logout));
        }
    }
}
