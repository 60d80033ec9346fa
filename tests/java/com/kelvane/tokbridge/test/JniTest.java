package com.kelvane.tokbridge.test;

import static com.kelvane.tokbridge.test.Harness.*;
import static org.junit.jupiter.api.Assertions.*;
import static org.junit.jupiter.api.Assumptions.*;

import com.kelvane.pkcs11.*;
import java.util.*;
import java.util.stream.*;
import org.junit.jupiter.api.*;
import org.junit.jupiter.api.function.*;

/** The JNI calls of the native methods in a real JVM: the failure of each, and their number. */
class JniTest extends SessionFixture {
    /** A failure of the lock is printed and never fails the call. */
    private static final Set<String> LOCK = Set.of("MonitorEnter", "MonitorExit", "FindClass");
    /** Closes a session and destroys objects that Java never gets. */
    private static final Set<String> CLEANUP = Set.of("C_CloseSession", "C_DestroyObject");
    /** These keep the first error and go on. */
    private static final Set<String> CONTINUING = Set.of("NativePKCS11Session.getAttributeValues",
        "NativePKCS11Session.setOperationState");
    /** The JNI calls of all plain calls. An additional one is noticed; lower it when there are fewer. */
    private static final int MOST_CALLS = 9835;
    private static int failures;

    @AfterAll
    static void printFailures() {
        System.out.println("JNI failures: " + failures + " of single calls of JNI functions");
    }

    @BeforeEach
    void notUnderTheChecker() {
        assumeFalse(Boolean.getBoolean("tokbridge.test.checked"), "the checker reports the failures as misuse");
    }

    private Map<String, Executable> plainCalls(boolean locked) throws Exception {
        initialize(locked);
        token.always("C_FindObjects", "objects=5");
        return Calls.plain(session, 9);
    }

    private List<String> functions() {
        return calls().stream().map(each -> each.split(" ")[0]).collect(Collectors.toList());
    }

    /** The first Java error is thrown, and what was still to come is not called. */
    private void assertEveryFailureEnds(String name, Executable before, Executable call) throws Throwable {
        before.execute();
        functions();
        assertNull(new JniSpy(token, 0, false, call).thrown, name);
        List<String> all = functions();
        boolean over = false;
        for (int n = 2; !over; n++) {
            before.execute();
            functions();
            boolean withError = n % 2 == 0;
            JniSpy spy = new JniSpy(token, n / 2, withError, call);
            over = spy.failed.isEmpty();
            failures += over ? 0 : 1;
            String what = name + ": " + spy.failed + " " + n / 2 + ": " + spy.thrown;
            boolean isLock = LOCK.contains(spy.failed);
            if (withError && !over && (!isLock || spy.failed.equals("MonitorEnter"))) {
                assertInstanceOf(InternalError.class, spy.thrown, what);
            } else if (spy.thrown != null) {
                assertTrue(spy.thrown instanceof PKCS11Exception || withError && isLock, what);
            }
            List<String> made = functions();
            if (!all.stream().allMatch(CLEANUP::contains)) {
                made.removeIf(CLEANUP::contains);
            }
            boolean continues = over || isLock || spy.thrown == null || CONTINUING.contains(name);
            assertEquals(all.subList(0, Math.min(continues ? made.size() : spy.moduleCalls, all.size())), made, what);
        }
        assertTrue(lockIsFree(), name);
    }

    /** In a library that needs the lock. ExceptionDescribe prints a trace of each error that unlocking clears. */
    @Test
    void everyFailureEndsTheCall() throws Throwable {
        Map<String, Executable> calls = plainCalls(true);
        String traces = written(STDERR, () -> {
            for (String name : calls.keySet()) {
                assertEveryFailureEnds(name, () -> { }, calls.get(name));
            }
        });
        assertTrue(traces.contains("InternalError"));
    }

    @Test
    void everyFailureEndsLoadingInitializingOrFinalizing() throws Throwable {
        finalizeLibrary();
        assertEveryFailureEnds("life", () -> forget(token), () -> token.initialized().libFinalize());
        forget(token);
    }

    /** Failures of the bridge's own means: one line on standard error, and the lock is free. */
    @Test
    void failuresOfTheLockAndOfExceptionsArePrinted() throws Throwable {
        initialize(true);
        token.always("C_Logout", "rv=CKR_USER_NOT_LOGGED_IN");
        String noClass = "FindClass: tokbridge.dll: can't find class PKCS11Exception\n";
        String noObject = "NewObjectV: tokbridge.dll: can't create exception object\n"
            + "Throw: tokbridge.dll: can't throw PKCS11Exception\n";
        assertEquals("MonitorEnter: tokbridge.dll: can't lock!\n"
            + "FindClass: unlock: error - FindClass failed to find com/kelvane/pkcs11/nat/NativePKCS11\n"
            + "MonitorExit: unlock: error - MonitorExit returned rc=-1\n" + noClass
            + "GetMethodID: tokbridge.dll: can't find method PKCS11Exception(int)\n" + noObject,
            printedByFailures(session::logout));
        assertEquals(noClass + "NewStringUTF: tokbridge.dll: can't create message string for exception\n"
            + "GetMethodID: tokbridge.dll: can't find method PKCS11Exception(String)\n" + noObject,
            printedByFailures(() -> slot.openSession(6, "callback")));
    }

    private String printedByFailures(Executable call) throws Throwable {
        StringBuilder lines = new StringBuilder();
        String[] failed = {"the first"};
        for (int n = 1; !failed[0].isEmpty(); n++) {
            int failing = n;
            String text = written(STDERR, () -> failed[0] = new JniSpy(token, failing, false, call).failed);
            if (!text.isEmpty()) {
                lines.append(failed[0]).append(": ").append(text.strip()).append('\n');
            }
            assertTrue(lockIsFree());
        }
        return lines.toString();
    }

    /** The rows of the table that {@code ./dev bench --calls} prints. */
    private Map<String, Map<String, Integer>> counts() throws Exception {
        Map<String, Map<String, Integer>> rows = new LinkedHashMap<>();
        plainCalls(false).forEach((name, call) -> rows.put(name, new JniSpy(token, 0, false, call).counts));
        finalizeLibrary();
        rows.put("life", new JniSpy(token, 0, false, () -> token.initialized().libFinalize()).counts);
        return rows;
    }

    private static int sum(Map<String, Integer> counts) {
        return counts.values().stream().mapToInt(each -> each).sum();
    }

    @Test
    void noCallIsAddedUnnoticed() throws Exception {
        assumeFalse(ScriptedToken.WIDE);
        int made = counts().values().stream().mapToInt(JniTest::sum).sum();
        assertTrue(made <= MOST_CALLS && made > MOST_CALLS - 10, made + "; ./dev bench --calls prints the table");
    }

    /** Prints the table. */
    public static void main(String[] arguments) throws Exception {
        JniTest test = new JniTest();
        test.openSession();
        test.counts().forEach((name, counts) -> System.out.println("| `" + name + "` | " + sum(counts) + " | "
            + counts.toString().replaceAll("[{}]", "").replace('=', ' ') + " |"));
    }
}
