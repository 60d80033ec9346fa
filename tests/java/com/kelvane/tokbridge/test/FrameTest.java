package com.kelvane.tokbridge.test;

import static com.kelvane.tokbridge.test.Harness.*;
import static org.junit.jupiter.api.Assertions.*;

import com.kelvane.pkcs11.nat.*;
import java.lang.reflect.*;
import java.nio.charset.*;
import java.util.*;
import java.util.regex.*;
import java.util.stream.*;
import org.junit.jupiter.api.*;
import org.junit.jupiter.api.function.Executable;

/** What every native method has in common: the handle chain, the codes, the width of numbers, null entries. */
class FrameTest extends SessionFixture {
    /** What is raised before the receiver is looked at, when every argument is zero or null. */
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

    /** One question to all 89 methods: what of a receiver whose library is missing, or that is missing itself? */
    @Test
    void everyLinkOfTheHandleChainIsChecked() throws Throwable {
        Set<String> exports = new TreeSet<>();
        Process nm = new ProcessBuilder("nm", "-D", System.getProperty("tokbridge.library")).start();
        new String(nm.getInputStream().readAllBytes(), StandardCharsets.US_ASCII).lines().forEach(line -> {
            Matcher needed = Pattern.compile("@GLIBC_2\\.(\\d+)").matcher(line);
            assertTrue(!needed.find() || Integer.parseInt(needed.group(1)) <= 34, "it runs with glibc 2.34: " + line);
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
        assertTrue(lockIsFree());
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
        assertTrue(lockIsFree());
    }

    @Test
    void nullEntriesForTheLifeOfTheLibrary() throws Throwable {
        token.steer("missing C_Finalize");
        assertEquals("CKR_FUNCTION_NOT_SUPPORTED", raised(library::libFinalize));
        token.steer("missing C_Initialize");
        library.load(token.path());
        assertEquals("CKR_FUNCTION_NOT_SUPPORTED", raised(library::libInitialize));
        token.reset();
        library.libInitialize();
    }

    @Test
    void numbersOf32BitsArriveAndWiderSlotsAreNamed() throws Throwable {
        int high = 0x80000001;
        new NativePKCS11Slot(library, high).openSession(-1, null);
        new NativePKCS11Session(slot, high).setOperationState(new byte[1], key(-1), new NativePKCS11Object(null, high));
        assertCalls("C_OpenSession slot=0x80000001 flags=0xffffffff application=null notify=null",
            "C_SetOperationState session=0x80000001 in=00 encryptionKey=0xffffffff authenticationKey=0x80000001");
        String wide = "0x100000000000001";
        token.always("C_GetSlotList", "slots=0xffffffff,0");
        assertEquals(List.of(-1, 0), Arrays.stream(library.getSlotList(false))
            .map(each -> ((NativePKCS11Slot) each).getSlotID()).collect(Collectors.toList()));
        token.answer("C_OpenSession", "session=0xfffffffe").answer("C_WaitForSlotEvent", "slot=0x80000000");
        assertNumber(-2, slot.openSession(6, null).getSessionID());
        NativePKCS11Slot event = library.waitForSlotEvent(false);
        assertEquals(0x80000000, event.getSlotID());
        assertSame(library, event.getPKCS11());

        token.always("C_GetSlotList", "slots=1," + wide).answer("C_WaitForSlotEvent", "slot=" + wide);
        assertTrue(raised(() -> library.getSlotList(false)).contains(wide));
        assertTrue(raised(() -> library.waitForSlotEvent(true)).contains(wide));
    }
}
