package com.kelvane.tokbridge.test;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static com.kelvane.tokbridge.test.Harness.*;
import static org.junit.jupiter.api.Assertions.*;
import static org.junit.jupiter.api.Assumptions.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import java.util.*;
import java.util.stream.*;
import org.junit.jupiter.api.*;
import org.junit.jupiter.api.function.Executable;

/**
 * Every JNI call that can fail, made to fail: each native method runs once to count its calls, then once more for every
 * one of them, with a Java error pending and without, on a token that wants the bridge lock.
 */
class JniFailureTest extends SessionFixture {
    private static final String BRIDGE = System.getProperty("tokbridge.library");

    private static final List<String> LIFE = List.of("C_GetFunctionList", "C_Initialize", "C_Finalize");

    /** What is done for a session or an object that Java never sees. */
    private static final Set<String> TIDYING = Set.of("C_CloseSession", "C_DestroyObject");
    /** Leaves the types it reads pinned, one array a call. */
    private static final String KEEPS_ITS_TYPES = "C_GetAttributeValue all";
    /** A fault of the lock is printed and never fails the call. */
    private static final Set<String> LOCK = Set.of("MonitorEnter", "MonitorExit", "FindClass");
    /** Without an error of the JVM these leave the call to go on with what it has, or to say so in its own words. */
    private static final Set<String> TEXTS = Set.of("getBuffer(): can't get elements",
        "encodeByteArray(): can't get elements", "encodeBigInteger(): can't get elements",
        "decodeByteArray(): can't get elements", "copyBytes(): can't get elements", "GetStringUTFChars() failed",
        "toByteArray() returned null", "can't access attribute types array", "NewByteArray() failed",
        "can't get byte[] elements", "getOperationState(): NewByteArray() failed",
        "getOperationState(): can't get elements", "setOperationState(): can't get elements",
        "getMechanismList(): NewIntArray() failed", "NewIntArray() failed", "GetIntArrayElements() failed",
            "obj is null",
        "Object must be String or byte[]!", "no space for encoded attribute!");
    private static final Set<Integer> CODES = Set.of(CKR_ATTRIBUTE_VALUE_INVALID,
        CKR_DATA_INVALID, CKR_MECHANISM_PARAM_INVALID, CKR_TEMPLATE_INCONSISTENT, CKR_BUFFER_TOO_SMALL);

    /** The local references that a native method may count on. */
    private static final int GUARANTEED = 16;

    private static int cases;

    @BeforeAll
    static void notUnderTheChecker() {
        assumeFalse(Boolean.getBoolean("tokbridge.test.checked"), "the checker counts the failures as misuse");
    }

    @AfterAll
    static void report() {
        if (cases > 0) {
            System.out.println("JNI failures: " + cases + " cases of (call, JNI function, n)");
        }
    }

    @BeforeEach
    void wantTheLock() {
        initialize(true);
    }

    @AfterEach
    void leaveNoRow() throws Throwable {
        forget(other);
    }

    /** What Calls leaves out: the life of a library, on a module of its own. */
    private final ScriptedToken other = ScriptedToken.copy();
    private NativePKCS11 holder;
    private final List<Executable> life = List.of(() -> holder.load(other.path()), () -> holder.libInitialize(),
        () -> holder.libFinalize());

    private final class Outcome {
        private Object result;
        private Throwable thrown;
        private final List<String> calls;
        private final JniSpy.Report spied;

        Outcome(String name, String function, int call, boolean withError) throws Throwable {
            int stage = LIFE.indexOf(name);
            forget(other);
            other.reset().answer("C_Initialize", "rv=CKR_CANT_LOCK");
            holder = new NativePKCS11();
            for (int i = 0; i < stage; i++) {
                life.get(i).execute();
            }
            ScriptedToken module = stage < 0 ? token.reset().always("C_FindObjects", "objects=5") : other;
            if (stage < 0) {
                session = slot.openSession(6, null);
            }
            module.calls();
            JniSpy.watch(BRIDGE, function, call, withError, module.path());
            try {
                if (stage < 0) {
                    result = Calls.to(name).make(library, slot, session);
                } else {
                    life.get(stage).execute();
                }
            } catch (Throwable e) {
                thrown = e;
            }
            spied = JniSpy.unwatch();
            if (thrown instanceof NullPointerException && !withError) {
                thrown = null; // of a method in Java whose native one has returned null
            }
            calls = module.calls().stream().map(Calls::function).collect(Collectors.toList());
        }
    }

    /** ExceptionDescribe prints a trace for each error that unlock clears. */
    @TestFactory
    Stream<DynamicTest> everyJniCallOfEveryMethod() {
        int saved = ScriptedToken.redirect(STDERR, "/dev/null");
        return Stream.concat(Calls.names(), LIFE.stream())
            .map(name -> DynamicTest.dynamicTest(name, () -> {
            Outcome plain = new Outcome(name, "", 0, false);
            assertEquals(null, plain.thrown);
            assertEquals(name.equals(KEEPS_ITS_TYPES) ? 1 : 0, plain.spied.unbalanced);
            for (Map.Entry<String, Integer> each : plain.spied.fallible.entrySet()) {
                for (int n = 1; n <= each.getValue(); n++) {
                    check(name, plain, each.getKey(), n, false);
                    check(name, plain, each.getKey(), n, true);
                }
            }
        })).onClose(() -> ScriptedToken.restore(STDERR, saved));
    }

    private void check(String name, Outcome plain, String function, int n, boolean withError) throws Throwable {
        Outcome failed = new Outcome(name, function, n, withError);
        String what = name + ": " + function + " " + n + (withError ? " with an error" : "") + ": " + failed.thrown;
        cases++;

        assertTrue(failed.spied.calls >= 0, what);
        assertEquals("", failed.spied.misused, () -> "with an exception pending: " + what);
        assertTrue(failed.spied.references <= GUARANTEED, () -> failed.spied.references + " references: " + what);
        assertTrue(lockIsFree(), what);
        int stillPinned = failed.spied.unbalanced;
        assertTrue(stillPinned == 0 || stillPinned == 1 && name.equals(KEEPS_ITS_TYPES), what);
        if (withError && (!LOCK.contains(function) || function.equals("MonitorEnter"))) {
            assertTrue(failed.thrown instanceof InternalError, what);
        } else if (failed.thrown instanceof PKCS11Exception) {
            PKCS11Exception thrown = (PKCS11Exception) failed.thrown;
            assertTrue(thrown.hasCode() ? CODES.contains(thrown.getCode()) : TEXTS.contains(thrown.getMessage()), what);
        } else {
            assertTrue(failed.thrown == null || withError && failed.thrown instanceof InternalError, what);
        }

        // What was still to come is not done, unless the fault was one of the lock or of a method that goes on.
        List<String> made = new ArrayList<>(failed.calls);
        made.removeIf(call -> TIDYING.contains(call) && !call.equals(Calls.function(name)));
        boolean goesOn = LOCK.contains(function) || failed.thrown == null || name.equals(KEEPS_ITS_TYPES)
            || name.equals("C_SetOperationState");
        int expected = goesOn ? made.size() : failed.spied.calls;
        assertEquals(plain.calls.subList(0, Math.min(expected, plain.calls.size())), made, what);
        assertTrue(!made.isEmpty() || failed.spied.copied == 0, what);
        assertTrue(failed.thrown != null || neutralOrLike(plain.result, failed.result), what);
    }

    private static boolean neutralOrLike(Object plain, Object result) {
        if (result instanceof Number) {
            return result.equals(plain) || result instanceof Integer && (int) result <= 5;
        }
        return result == null || result.equals(false) || result.getClass() == plain.getClass();
    }

    /** The bridge's own machinery fails: one line on standard error, and the lock is free. */
    @Test
    void faultsArePrinted() throws Throwable {
        String[][] faults = { // function, which call of it, what is printed: raising a code, then a message
            {"FindClass", "3", "can't find class PKCS11Exception"},
            {"GetMethodID", "1", "can't find method PKCS11Exception(int)"},
            {"NewObjectV", "1", "can't create exception object"}, {"Throw", "1", "can't throw PKCS11Exception"},
            {"MonitorEnter", "1", "can't lock!\n"}, {"FindClass", "1", ""},
            {"FindClass", "1", "can't find class PKCS11Exception"},
            {"NewStringUTF", "1", "can't create message string for exception"},
            {"GetMethodID", "1", "can't find method PKCS11Exception(String)"}};
        for (int i = 0; i < faults.length; i++) {
            boolean code = i < 6;
            token.always("C_Logout", code ? "rv=CKR_USER_NOT_LOGGED_IN" : "");
            String printed = faultOf(faults[i][0], Integer.parseInt(faults[i][1]),
                () -> raised(code ? session::logout : () -> slot.openSession(6, "callback")));
            assertEquals(faults[i][2].isEmpty() ? "" : "tokbridge.dll: " + faults[i][2], printed);
        }
        assertEquals("unlock: error - FindClass failed to find com/kelvane/pkcs11/nat/NativePKCS11\n",
            faultOf("FindClass", 2, session::logout));
        assertEquals("unlock: error - MonitorExit returned rc=-1\n", faultOf("MonitorExit", 1, session::logout));
    }

    private String faultOf(String function, int call, Executable body) throws Throwable {
        JniSpy.watch(BRIDGE, function, call, false, token.path());
        try {
            return written(STDERR, body);
        } finally {
            JniSpy.unwatch();
            assertTrue(lockIsFree());
        }
    }
}
