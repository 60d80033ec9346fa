package com.kelvane.tokbridge.test;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static com.kelvane.tokbridge.test.Harness.*;
import static org.junit.jupiter.api.Assertions.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import com.kelvane.tokbridge.test.Harness.Background;
import java.lang.reflect.Method;
import java.nio.charset.*;
import java.util.*;
import java.util.function.*;
import java.util.regex.*;
import java.util.stream.*;
import org.junit.jupiter.api.*;
import org.junit.jupiter.api.function.*;

/** The properties of every native method: handle chain, return codes, null entries, lock, stack. */
class FrameTest extends SessionFixture {
    @AfterEach
    void assertLockIsFree() throws Throwable {
        token.reset();
        assertTrue(lockIsFree());
    }

    /** The exceptions of methods that check an argument before the receiver, when all are zero or null. */
    private static final String UNKNOWN = "CKR_ATTRIBUTE_TYPE_INVALID";
    private static final Map<String, String> FIRST = Map.of("getBoolAttributeValue", UNKNOWN, "setBoolAttributeValue",
        UNKNOWN, "getStringAttributeValue", UNKNOWN, "getDateAttributeValue", UNKNOWN, "getBigIntegerAttributeValue",
        UNKNOWN, "setAttributeValue", "CKR_ATTRIBUTE_VALUE_INVALID", "getAttributeValues",
        "can't access attribute types array", "loadPKCS11Library", "GetStringUTFChars() failed");
    private static final Set<String> SESSION_IS_NULL = Set.of("copy", "destroyObject", "getIntAttributeValue",
        "getByteArrayAttributeValue", "getAttributeValue");

    /** What a method raises when every argument is zero or null. */
    private static String outcome(Method method, Object receiver) throws Throwable {
        return raised(() -> Calls.invoke(method, receiver, Arrays.stream(method.getParameterTypes())
            .map(type -> type == boolean.class ? (Object) false : type == int.class ? (Object) 0 : null).toArray()));
    }

    private static Object receiver(Class<?> type, NativePKCS11 library) {
        return Calls.receiver(type, new NativePKCS11Session(new NativePKCS11Slot(library, 1), 7), 9);
    }

    private static String outcomeWithoutReceiver(Method method, Set<String> exports) throws Throwable {
        String export = "Java_" + method.getDeclaringClass().getName().replace('.', '_') + "_" + method.getName();
        assertTrue(exports.remove(export), export);
        return raised(() -> assertTrue(ScriptedToken.callWithNullReceiver(System.getProperty("tokbridge.library"),
            export), export));
    }

    /** A receiver whose library is not loaded or null, or that is null itself. */
    @Test
    void everyLinkOfTheHandleChainIsChecked() throws Throwable {
        Set<String> exports = new TreeSet<>();
        Process nm = new ProcessBuilder("nm", "-D", System.getProperty("tokbridge.library")).start();
        new String(nm.getInputStream().readAllBytes(), StandardCharsets.US_ASCII).lines().forEach(line -> {
            Matcher needed = Pattern.compile("@GLIBC_2\\.(\\d+)").matcher(line);
            assertTrue(!needed.find() || Integer.parseInt(needed.group(1)) <= 34, "glibc 2.34 suffices: " + line);
            if (line.contains(" T ")) {
                exports.add(line.replaceAll(".* ", ""));
            }
        });
        List<Method> methods = Calls.RECEIVERS.stream().flatMap(Calls::nativeMethods).collect(Collectors.toList());
        assertEquals(89, methods.size());
        for (Method method : methods) {
            Class<?> type = method.getDeclaringClass();
            String first = FIRST.get(method.getName());
            String unloaded = outcome(method, receiver(type, new NativePKCS11()));
            assertEquals(first != null ? first : "functionList is null", unloaded, method::toString);
            if (type != NativePKCS11.class) {
                String broken = outcome(method, receiver(type, null));
                assertEquals(first != null ? first : "obj is null", broken, method::toString);
            }
            boolean named = type == NativePKCS11Session.class && SESSION_IS_NULL.contains(method.getName());
            assertEquals(first != null ? first : named ? "session is null" : "obj is null",
                outcomeWithoutReceiver(method, exports), method::toString);
        }
        for (Method method : Calls.nativeMethods(Calls.EXTENSIONS).collect(Collectors.toList())) {
            assertEquals(method.getName().equals("describeParameter") ? "" : "obj is null",
                outcomeWithoutReceiver(method, exports), method::toString);
        }
        assertEquals(Set.of(), exports, "nothing else is exported");
        assertCalls();
    }

    @Test
    void everyCodeIsReportedAndANullEntryIsNotCalled() throws Throwable {
        for (Map.Entry<String, Executable> each : Calls.plain(session, 9).entrySet()) {
            String name = each.getKey();
            token.reset();
            assertEquals("", raised(each.getValue()), name);
            String function = calls().get(0).split(" ")[0];
            for (String code : List.of("CKR_CANCEL", "CKR_BUFFER_TOO_SMALL", "CKR_0x80000001", "CKR_0xffffffff")) {
                token.answer(function, "rv=" + code);
                assertEquals(code, raised(each.getValue()), name);
                assertEquals(1, calls().size(), () -> name + " calls nothing after a failure");
            }
            token.steer("missing " + function);
            assertRefused("CKR_FUNCTION_NOT_SUPPORTED", each.getValue());
        }
    }

    @Test
    void nullEntriesForTheLifeOfALibraryAreNotCalled() throws Throwable {
        token.steer("missing C_Finalize");
        assertEquals("CKR_FUNCTION_NOT_SUPPORTED", raised(library::libFinalize));
        token.steer("missing C_Initialize");
        library.load(token.path());
        assertEquals("CKR_FUNCTION_NOT_SUPPORTED", raised(library::libInitialize));
        token.reset();
        library.libInitialize();
    }

    @Test
    void slotsWiderThanAnIntAreReported() throws Throwable {
        String wide = "0x100000000000001";
        token.always("C_GetSlotList", "slots=1," + wide).answer("C_WaitForSlotEvent", "slot=" + wide);
        assertTrue(raised(() -> library.getSlotList(false)).contains(wide));
        assertTrue(raised(() -> library.waitForSlotEvent(true)).contains(wide));
        token.answer("C_WaitForSlotEvent", "slot=0x80000000");
        NativePKCS11Slot event = library.waitForSlotEvent(false);
        assertEquals(0x80000000, event.getSlotID());
        assertSame(library, event.getPKCS11());
    }

    // ---- The bridge lock ----

    /** Checks the lock while a call is held inside a function, after the calls that may pass. */
    private void assertFreeInside(String function, int passing, boolean free, Executable call) throws Throwable {
        Background held = token.hold(function, passing, call);
        assertEquals(free, lockIsFree());
        token.release(function, held);
        assertTrue(lockIsFree());
    }

    /** Two threads call a function: the second one waits outside, or enters too. */
    private void assertSerialised(boolean serialised, String function, Executable call) throws Throwable {
        token.reset();
        Background first = token.hold(function, 0, call);
        assertEquals(!serialised, lockIsFree());
        Background second = start(call);
        if (serialised) {
            assertTrue(second.blocked());
        } else {
            token.steer("await " + function + " 2");
        }
        token.release(function, first, second);
        assertEquals(serialised ? 1 : 2, token.mostInside());
        assertTrue(lockIsFree());
    }

    /** tests/native checks every method with the lock and without. */
    @Test
    void threadsEnterTogetherIfTheLibraryLocksForItself() throws Throwable {
        for (boolean locked : new boolean[] {true, false}) {
            initialize(locked);
            assertSerialised(locked, "C_Logout", session::logout);
            assertSerialised(true, "C_CloseAllSessions", slot::closeAllSessions);
            token.answer("C_Logout", "rv=CKR_DEVICE_ERROR");
            assertEquals("CKR_DEVICE_ERROR", raised(session::logout));
        }
    }

    @Test
    void anUninitialisedOrUnknownLibraryIsLocked() throws Throwable {
        library.libFinalize();
        library.load(token.path());
        assertSerialised(true, "C_GetInfo", library::getInfo);
        library.libFinalize();

        with(library, "functionList", token.functionList());
        assertSerialised(true, "C_Logout", session::logout);
        assertFreeInside("C_Initialize", 0, false,
            () -> assertEquals("functionlist dll not found", raised(library::libInitialize)));
        with(library, "functionList", 0L);
    }

    @Test
    void initialisationIsInsideTheLockAndLoadingOutside() throws Throwable {
        library.libFinalize();
        assertFreeInside("C_GetFunctionList", 0, true, () -> library.load(token.path()));
        token.answer("C_Initialize", "rv=CKR_CANT_LOCK");
        assertFreeInside("C_Initialize", 1, false, library::libInitialize);
    }

    @Test
    void finalisationIsInsideTheLock() throws Throwable {
        for (String code : new String[] {"", "CKR_GENERAL_ERROR"}) {
            initialize(false);
            token.answer("C_Finalize", code.isEmpty() ? "" : "rv=" + code);
            assertFreeInside("C_Finalize", 0, false, () -> assertEquals(code, raised(library::libFinalize)));
        }
    }

    // ---- The stack: requests of any size leave 128 KiB of it to the module ----

    private final List<IntConsumer> requests = List.of(
        size -> session.createObject(new int[] {CKA_VALUE}, new Object[] {new byte[size]}),
        size -> session.generateKeyPair(CKM_AES_CBC, new byte[size / 3], new int[] {CKA_VALUE},
            new Object[] {new byte[size / 3]}, new int[] {CKA_VALUE}, new Object[] {new byte[size / 3]}));

    private static boolean isGranted(IntConsumer request, int size) {
        try {
            request.accept(size);
            return true;
        } catch (PKCS11Exception e) {
            return false;
        }
    }

    /** Runs an action on a thread with a small stack and returns the least bytes that a call of the module found. */
    private long leastStack(Runnable action) throws InterruptedException {
        token.reset();
        Thread small = new Thread(null, action, "small", 512 << 10);
        small.start();
        small.join();
        return token.leastStack();
    }

    @Test
    void theLargestRequestLeaves128KiB() throws Exception {
        for (IntConsumer request : requests) {
            int[] edge = {0, 4 << 20}; // granted, refused; the system may reuse the stack of another thread
            long left = leastStack(() -> {
                while (edge[1] - edge[0] > 256) {
                    int size = (edge[0] + edge[1]) / 2;
                    edge[isGranted(request, size) ? 0 : 1] = size;
                }
            });
            assertTrue(edge[0] > 16 << 10, "" + edge[0]);
            assertTrue(left > 120 << 10 && left < 136 << 10, left + " bytes left");
        }
    }

    private static void descend(int levels, Runnable action) {
        if (levels == 0) {
            action.run();
        } else {
            descend(levels - 1, action);
        }
    }

    @Test
    void aSmallRequestOnADeepStackIsRefused() throws Exception {
        int[] count = new int[2]; // granted, refused
        long left = leastStack(() -> {
            for (int levels = 0; count[1] < 2; levels += 50 + levels / 64) { // the size of a frame is unknown
                descend(levels, () -> count[isGranted(requests.get(0), 20 << 10) ? 0 : 1]++);
            }
        });
        assertTrue(count[0] > 0 && count[1] == 2, Arrays.toString(count));
        assertTrue(left > 120 << 10, left + " bytes left");
    }
}
