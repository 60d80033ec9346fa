package com.kelvane.tokbridge.test;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static com.kelvane.tokbridge.test.Harness.*;
import static org.junit.jupiter.api.Assertions.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import java.io.*;
import java.net.*;
import java.nio.file.*;
import java.util.*;
import java.util.function.UnaryOperator;
import java.util.stream.*;
import javax.tools.*;
import org.junit.jupiter.api.*;
import org.junit.jupiter.api.function.*;

/** Handles wider than an int, to Java and back. The whole suite runs with such handles too. */
class HandleTest extends SessionFixture {
    private static final String WIDE = "0x7f0000000010";
    private static final long[] HANDLES = {1, 0x7fffffffL, 0x80000000L, 0xfffffffeL, 0xffffffffL, 0x100000000L,
        0x7f0000000010L, 1L << 63, -1L};

    @BeforeEach
    void narrow() {
        Assumptions.assumeFalse(ScriptedToken.WIDE, "the handles are the test's own");
    }

    private NativePKCS11Session open(String handle) {
        token.answer("C_OpenSession", "session=" + handle);
        return slot.openSession(6, null);
    }

    private NativePKCS11Object find(String handle) {
        token.answer("C_FindObjects", "objects=" + handle);
        return session.findObject();
    }

    /** The int is the handle if it fits, or -1. */
    @Test
    void everyHandleIsPassedBackToTheModule() {
        for (long handle : HANDLES) {
            String text = "0x" + Long.toHexString(handle);
            int expected = handle >>> 32 == 0 ? (int) handle : -1;
            NativePKCS11Object object = find(text);
            assertEquals(List.of(expected, handle), List.of(object.getObjectID(), object.getHandle()));
            assertEquals(text, handleOf(object));
            assertEquals(object, find(text));
            assertEquals(object, new NativePKCS11Object(session, handle));
            assertEquals(object.hashCode(), find(text).hashCode());
            assertTrue(object.toString().startsWith("object " + text + " "));
            NativePKCS11Session opened = open(text);
            assertEquals(List.of(expected, handle), List.of(opened.getSessionID(), opened.getHandle()));
            assertEquals(opened, new NativePKCS11Session(slot, handle));
            assertEquals("session " + text + " with slot 0x1", opened.toString());
            calls();
            opened.logout();
            assertCalls("C_Logout session=" + text);
        }
        assertEquals("0xffffffff", handleOf(key(-1)), "an int of -1 is the handle 0xffffffff");
        assertEquals(1, Stream.of(find(WIDE), find("0x7f0100000010")).map(Object::toString).filter(each ->
            each.contains(WIDE)).count());
        assertNotEquals(find(WIDE), find("0x7f0100000010"));
    }

    @Test
    void everyHandleArgumentIsPassedWhole() throws Exception {
        for (Executable each : Calls.plain(new NativePKCS11Session(slot, 1L << 40), Long.decode(WIDE)).values()) {
            assertDoesNotThrow(each);
        }
        List<String> made = calls(); // 0, 1 and 6 are in parameters
        made.forEach(line -> assertFalse(line.matches(".*([ {](object|source|hPrivateData|(?!phKey)\\w*[kK]ey)=(?!"
            + WIDE + "\\b|0x[016]\\b)| session=(?!0x10000000000\\b)).*"), line));
        assertTrue(made.size() > 150, made.size() + " calls");
    }

    @Test
    void handleZeroIsAnObjectOnlyFromASearch() {
        NativePKCS11Object zero = find("0");
        assertEquals(List.of(-1, 0L), List.of(zero.getObjectID(), zero.getHandle()));
        assertEquals(zero, new NativePKCS11Object(session, 0L));
        assertNotEquals(zero, key(0), "of no object");
        calls();
        session.signInit(CKM_RSA_PKCS, null, zero);
        assertTrue(calls().get(0).endsWith(" key=0x0"));
        session.signInit(CKM_RSA_PKCS, null, key(0));
        assertCalls();
        token.answer("C_DeriveKey", "key=0");
        assertEquals(0, session.deriveKey(CKM_DH_PKCS_DERIVE, null, key(9), null, null).getObjectID());
    }

    // ---- Classes of the application ----

    /** A program with classes that lack the field and the constructor for wide handles. */
    private static final String PROGRAM = "package com.kelvane.pkcs11.nat; import com.kelvane.pkcs11.*;"
        + " class NativePKCS11Session { final NativePKCS11Slot slot; final int sessionID;"
        + " public NativePKCS11Session(NativePKCS11Slot slot, int id) { this.slot = slot; sessionID = id; }"
        + " public native void logout(); public native NativePKCS11Object findObject();"
        + " public native NativePKCS11Object createObject(int[] types, Object[] values); }"
        + " class NativePKCS11Object { final NativePKCS11Session session; final int objectID;"
        + " public NativePKCS11Object(NativePKCS11Session s, int id) { session = s; objectID = id; }"
        + " public native int size(); }"
        + " public class Program implements java.util.function.UnaryOperator<String> {"
        + " public String apply(String path) {"
        + " NativePKCS11 library = new NativePKCS11(); library.load(path); library.libInitialize();"
        + " NativePKCS11Slot slot = new NativePKCS11Slot(library, 1); String log = \"\";"
        + " NativePKCS11Session session = new NativePKCS11Session(slot, -1);"
        + " java.util.concurrent.Callable<?>[] calls = {() -> slot.openSession(6, null).sessionID,"
        + " () -> slot.openSession(6, null), () -> session.createObject(null, null), () -> session.findObject(),"
        + " () -> session.findObject().objectID, () -> new NativePKCS11Object(session, -1).size(),"
        + " () -> { session.logout(); return 0; }};"
        + " for (java.util.concurrent.Callable<?> each : calls) {"
        + " try { log += each.call() + \"\\n\"; } catch (Exception e) { log += e.getMessage() + \"\\n\"; } }"
        + " library.libFinalize(); return log; } }";

    /** The program, compiled, and before the jar's own classes on its class path. */
    @SuppressWarnings("unchecked")
    private static UnaryOperator<String> program() throws Exception {
        Path directory = Files.createDirectory(scratchFile(".plain"));
        String classPath = System.getProperty("java.class.path");
        Path source = Files.writeString(directory.resolve("Program.java"), PROGRAM);
        ByteArrayOutputStream errors = new ByteArrayOutputStream();
        assertEquals(0, ToolProvider.getSystemJavaCompiler().run(null, null, errors, "-proc:none", "-nowarn", "-cp",
            classPath, "-d", directory.toString(), source.toString()), errors::toString);
        List<URL> urls = new ArrayList<>();
        for (String each : (directory + File.pathSeparator + classPath).split(File.pathSeparator)) {
            urls.add(Path.of(each).toUri().toURL());
        }
        ClassLoader loader = new URLClassLoader(urls.toArray(new URL[0]), ClassLoader.getPlatformClassLoader());
        return (UnaryOperator<String>) loader.loadClass("com.kelvane.pkcs11.nat.Program").getConstructor()
            .newInstance();
    }

    @Test
    void aClassWithoutTheFieldGetsNoTruncatedHandle() throws Exception {
        ScriptedToken module = ScriptedToken.copy();
        String bridge = System.getProperty("tokbridge.library");
        System.setProperty("tokbridge.library", Files.copy(Path.of(bridge), scratchFile(".so")).toString());
        module.answer("C_OpenSession", "session=0xfffffffe").answer("C_OpenSession", "session=" + WIDE)
            .answer("C_CreateObject", "object=" + WIDE).answer("C_FindObjects", "objects=" + WIDE)
            .answer("C_FindObjects", "objects=0x80000001");
        try {
            String refused = "object handle " + WIDE + " does not fit into 32 bits\n";
            assertEquals("-2\n" + refused.replace("object", "session") + refused + refused + "-2147483647\n42\n0\n",
                program().apply(module.path()));
        } finally {
            System.setProperty("tokbridge.library", bridge);
        }
        List<String> made = module.calls();
        assertTrue(made.containsAll(List.of("C_CloseSession session=" + WIDE, "C_DestroyObject session=0xffffffff"
            + " object=" + WIDE, "C_GetObjectSize session=0xffffffff object=0xffffffff",
            "C_Logout session=0xffffffff")), made::toString);
    }
}
