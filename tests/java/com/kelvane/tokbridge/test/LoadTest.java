package com.kelvane.tokbridge.test;

import static com.kelvane.tokbridge.test.Harness.*;
import static com.kelvane.tokbridge.test.Raised.*;
import static org.junit.jupiter.api.Assertions.*;

import com.kelvane.pkcs11.nat.*;
import java.nio.charset.*;
import java.nio.file.*;
import org.junit.jupiter.api.*;
import org.junit.jupiter.params.*;
import org.junit.jupiter.params.provider.*;

/** Loading a module: paths, what is refused and with which words, versions, and the debug line. */
class LoadTest {
    private static final String TOO_LONG = "copyStringBytes(): buffer too small for string!";

    private final ScriptedToken token = ScriptedToken.built().reset();
    private final NativePKCS11 library = new NativePKCS11();

    @AfterEach
    void release() throws Throwable {
        assertTrue(lockIsFree());
        token.reset();
        if (library.getFunctionList() != 0) {
            library.libFinalize();
        }
    }

    private String refused(String path) throws Throwable {
        String raised = raised(() -> library.load(path));
        assertEquals(0, library.getFunctionList());
        return raised;
    }

    /** A path in the scratch directory of exactly so many bytes. */
    private static String pathOf(int bytes) {
        String directory = Scratch.DIRECTORY + "/";
        return directory + "x".repeat(bytes - directory.length());
    }

    @Test
    void aPathMayHave255Bytes() {
        String path = pathOf(255);
        ScriptedToken copy = new ScriptedToken(ScriptedToken.copy(Path.of(token.path()), Path.of(path)));
        library.load(path);
        assertEquals(copy.functionList(), library.getFunctionList());
    }

    @Test
    void longerPathsAreRefusedByTheirBytes() throws Throwable {
        assertEquals(TOO_LONG, refused(pathOf(257)));
        String euros = "\u20ac".repeat(86);
        assertEquals(258, euros.getBytes(StandardCharsets.UTF_8).length);
        assertEquals(TOO_LONG, refused(euros));
        assertEquals("LoadLibrary(\"" + euros.substring(1) + "\") failed", refused(euros.substring(1)),
            "255 bytes are tried; the message has room for all of them");
    }

    @Test
    void aPathOf256BytesStopsTheProcess() throws Exception {
        Harness.Outcome outcome = Harness.inAnotherJvm(LoadInAnotherJvm.class, pathOf(256));
        assertTrue(outcome.output.startsWith("loading"), outcome.output);
        assertFalse(outcome.output.contains("returned"), outcome.output);
        assertTrue(outcome.exit > 128, () -> "ended by a signal, not with " + outcome.exit);
        assertEquals("loading\nreturned\n", Harness.inAnotherJvm(LoadInAnotherJvm.class, pathOf(257)).output);
    }

    /** Loads the library that its argument names. */
    static final class LoadInAnotherJvm {
        public static void main(String[] arguments) throws Throwable {
            System.out.print("loading\n");
            System.out.flush();
            assertEquals(TOO_LONG, raised(() -> new NativePKCS11().load(arguments[0])));
            System.out.print("returned\n");
        }
    }

    @Test
    void whatIsNotAModuleIsRefused() throws Throwable {
        assertEquals("LoadLibrary(\"/nowhere/%s%n.so\") failed", refused("/nowhere/%s%n.so"));
        assertEquals("LoadLibrary(\"\") failed", refused(""));
        assertEquals("GetProcAddress(\"C_GetFunctionList\") failed", refused(System.getProperty("tokbridge.library")));
        assertEquals("GetStringUTFChars() failed", refused(null));
    }

    @ParameterizedTest
    @CsvSource({"rv=0x5", "rv=0x80000001", "list=null", "rv=0x150 list=new"})
    void aModuleWithoutAFunctionListIsRefused(String answer) throws Throwable {
        token.answer("C_GetFunctionList", answer);
        assertEquals("C_GetFunctionList() failed", refused(token.path()));
    }

    @ParameterizedTest
    @CsvSource({"1, 0, 1.00", "3, 0, 3.00", "3, 2, 3.02", "0, 40, 0.40", "255, 200, 255.200"})
    void otherMajorVersionsAreRefused(int major, int minor, String shown) throws Throwable {
        token.version(major, minor);
        assertEquals("wrong Cryptoki version (" + shown + ")", refused(token.path()));
    }

    @ParameterizedTest
    @CsvSource({"0", "1", "40", "255"})
    void everyMinorVersionIsAccepted(int minor) {
        token.version(2, minor);
        library.load(token.path());
        assertEquals(token.functionList(), library.getFunctionList());
    }

    @Test
    @FreshBridge
    void refusedModulesTakeNoRow() throws Throwable {
        token.version(3, 0).always("C_GetFunctionList", "list=new");
        for (int i = 0; i < 25; i++) {
            assertEquals("wrong Cryptoki version (3.00)", refused(token.path()));
        }
    }

    @Test
    void theReasonIsPrintedOnRequest() throws Throwable {
        assertEquals("", written(STDOUT, () -> refused("/nowhere/module.so")));
        for (String value : new String[] {"", "0"}) {
            withEnvironment("PKCS11DEBUG", value, () -> {
                String line = written(STDOUT, () -> refused("/nowhere/module.so"));
                assertTrue(line.matches("tokbridge:  [^\n]*/nowhere/module\\.so[^\n]*\n"), line);
            });
        }
        assertEquals("", written(STDOUT, () -> refused("/nowhere/module.so")));
    }
}
