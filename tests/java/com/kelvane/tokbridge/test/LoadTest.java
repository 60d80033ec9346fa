package com.kelvane.tokbridge.test;

import static com.kelvane.tokbridge.test.Harness.*;
import static org.junit.jupiter.api.Assertions.*;
import static org.junit.jupiter.api.Assumptions.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import java.nio.charset.*;
import java.nio.file.*;
import java.util.*;
import java.util.stream.*;
import org.junit.jupiter.api.*;
import org.junit.jupiter.api.function.*;

/**
 * The life of a library: loading, initialisation, and its row in the table of twenty. Every test of every class leaves
 * that table empty: it is the process's.
 */
class LoadTest {
    private static final int ROWS = 20;
    private static final String FULL = "too many different libraries referenced!";
    private static final String TOO_LONG = "copyStringBytes(): buffer too small for string!";
    private static final String OS_LOCKING = "C_Initialize args=CK_C_INITIALIZE_ARGS{CreateMutex=null DestroyMutex=null"
        + " LockMutex=null UnlockMutex=null flags=0x2 pReserved=null}";
    private static final String SECOND_TRY = "C_Initialize args=null";
    private static final String FINALIZE = "C_Finalize reserved=null";

    private final ScriptedToken token = ScriptedToken.built().reset();
    private final List<NativePKCS11> holders = new ArrayList<>();

    @AfterEach
    void release() throws Throwable {
        token.reset();
        for (NativePKCS11 each : holders) {
            raised(each::libFinalize);
        }
        assertTrue(lockIsFree());
    }

    private NativePKCS11 load(ScriptedToken module) {
        NativePKCS11 library = module.load();
        holders.add(library);
        return library;
    }

    private NativePKCS11 load() {
        return load(token);
    }

    private List<NativePKCS11> loadNew(int count) {
        token.always("C_GetFunctionList", "list=new");
        try {
            return Stream.generate(this::load).limit(count).collect(Collectors.toCollection(ArrayList::new));
        } finally {
            token.always("C_GetFunctionList", "");
        }
    }

    private void assertCalls(String... lines) {
        assertEquals(List.of(lines), token.calls());
    }

    private String refusal(String path) throws Throwable {
        NativePKCS11 library = new NativePKCS11();
        String raised = raised(() -> library.load(path));
        assertEquals(0, library.getFunctionList());
        return raised;
    }

    /** A path in the scratch directory, of this length in bytes. */
    private static String pathOf(int bytes) {
        return DIRECTORY + "/" + "x".repeat(bytes - DIRECTORY.toString().getBytes(StandardCharsets.UTF_8).length - 1);
    }

    @Test
    void aPathMayHave255Bytes() throws Throwable {
        ScriptedToken copy = ScriptedToken.copy(Path.of(pathOf(255)));
        assertEquals(copy.functionList(), load(copy).getFunctionList());
        assertNotEquals(token.functionList(), copy.functionList(), "a copy is a library of its own");
        assertEquals(TOO_LONG, refusal(pathOf(257)));
        String euros = "\u20ac".repeat(86);
        assertEquals(258, euros.getBytes(StandardCharsets.UTF_8).length);
        assertEquals(TOO_LONG, refusal(euros));
        assertEquals("LoadLibrary(\"" + euros.substring(1) + "\") failed", refusal(euros.substring(1)),
            "255 bytes reach the system");
    }

    @Test
    void aPathOf256BytesStopsTheProcess() throws Exception {
        String fatal = outcomeOf(Loading.class, System.getProperty("tokbridge.library"), pathOf(256));
        assertTrue(fatal.matches("(?s)loading\n(?!.*copyString).*exit (129|1[3-9]\\d)"), "ended by a signal: " + fatal);
        assertEquals("loading\n" + TOO_LONG + "\nexit 0", outcomeOf(Loading.class,
            System.getProperty("tokbridge.library"), pathOf(257)));
    }

    private static String outcomeOf(Class<?> program, String library, String... arguments) throws Exception {
        return Programs.outcome(new Programs().java(library, program.getName(), arguments).start());
    }

    /** Loads the module that its argument names. */
    static final class Loading {
        public static void main(String[] arguments) {
            System.out.println("loading");
            System.out.println(assertThrows(PKCS11Exception.class, () -> new NativePKCS11().load(arguments[0]))
                .getMessage());
        }
    }

    /** Uses three classes, one after the other. */
    static final class Unloaded {
        public static void main(String[] arguments) {
            for (Executable use : new Executable[] {NativePKCS11::new, () -> new NativePKCS11Session(null, 1),
                NativePKCS11::new}) {
                System.out.println(assertThrows(UnsatisfiedLinkError.class, use).getMessage());
            }
        }
    }

    @Test
    void aMissingNativeLibraryIsReportedAtEveryUse() throws Exception {
        String output = outcomeOf(Unloaded.class, "/none.so");
        assertTrue(output.matches("(cannot load the native library: tried tokbridge.library = /none.so, [^\n]*: Can't "
            + "load library: /none.so\n)\\1\\1exit 0"), output);
    }

    @Test
    void theCauseOfAFailedLoadIsTheSystemsReason() throws Throwable {
        byte[] module = Files.readAllBytes(Path.of(token.path()));
        Path text = Files.writeString(scratchFile(".so"), "no module");
        Path lacking = Files.write(scratchFile(".so"), new String(module, StandardCharsets.ISO_8859_1)
            .replace("libc.so.6", "libx.so.6").getBytes(StandardCharsets.ISO_8859_1));
        module[4] = 1; // ELFCLASS32
        Path narrow = Files.write(scratchFile(".so"), module);
        String[][] reasons = {{text.toString(), "not an ELF file"},
            {narrow.toString(), "wrong ELF class or machine.*"},
            {lacking.toString(), "libx.so.6: cannot open shared object file.*"},
            {DIRECTORY + "/none.so", "No such file.*"}};
        for (String[] each : reasons) {
            PKCS11Exception e = assertThrows(PKCS11Exception.class, () -> new NativePKCS11().load(each[0]));
            assertEquals("LoadLibrary(\"" + each[0] + "\") failed", e.getMessage());
            assertTrue(e.getCause().getMessage().matches(".*" + each[1]), e.getCause().getMessage());
        }
        assertNull(assertThrows(PKCS11Exception.class, () -> new NativePKCS11().load("none.so")).getCause());
    }

    @Test
    void aLibraryThatIsNoModuleIsRefused() throws Throwable {
        assertEquals("LoadLibrary(\"/nowhere/%s%n.so\") failed", refusal("/nowhere/%s%n.so"));
        assertEquals("LoadLibrary(\"\") failed", refusal(""));
        assertEquals("GetProcAddress(\"C_GetFunctionList\") failed", refusal(System.getProperty("tokbridge.library")));
        assertEquals("GetStringUTFChars() failed", refusal(null));
        for (String answer : List.of("rv=CKR_GENERAL_ERROR", "rv=CKR_0x80000001", "list=null",
            "rv=CKR_BUFFER_TOO_SMALL list=new")) {
            token.answer("C_GetFunctionList", answer);
            assertEquals("C_GetFunctionList() failed", refusal(token.path()), answer);
        }
    }

    @Test
    void onlyTheMajorVersionMatters() throws Throwable {
        for (int minor : new int[] {0, 1, 40, 255}) {
            assertEquals(token.steer("version 2 " + minor).functionList(), load().getFunctionList());
        }
        String[][] others = {{"1 0", "1.00"}, {"3 2", "3.02"}, {"0 40", "0.40"}, {"255 200", "255.200"}};
        for (String[] version : others) {
            token.steer("version " + version[0]);
            assertEquals("wrong Cryptoki version (" + version[1] + ")", refusal(token.path()));
        }
        token.always("C_GetFunctionList", "list=new");
        for (int i = 0; i < 25; i++) {
            assertEquals("wrong Cryptoki version (255.200)", refusal(token.path()), "refused modules take no row");
        }
    }

    /** A module without OS locking is initialised by a second call. After a failure it may be tried again. */
    @Test
    void everyResultOfInitialisationIsHandled() throws Throwable {
        String[][] answers = {{"CKR_CANT_LOCK", "0"}, {"CKR_CANT_LOCK", "CKR_CANT_LOCK"},
            {"CKR_CANT_LOCK", "CKR_DEVICE_ERROR"}, {"CKR_CANT_LOCK", "CKR_CRYPTOKI_ALREADY_INITIALIZED"},
            {"CKR_CANT_LOCK", "CKR_0xffffffff"}, {"CKR_ARGUMENTS_BAD"}, {"CKR_CRYPTOKI_ALREADY_INITIALIZED"},
            {"CKR_0x80000001"}};
        for (String[] codes : answers) {
            for (boolean again : new boolean[] {false, true}) {
                NativePKCS11 library = load();
                token.calls();
                Stream.of(codes).forEach(code -> token.answer("C_Initialize", "rv=" + code));
                String last = codes[codes.length - 1];
                assertEquals(last.equals("0") ? "" : last, raised(library::libInitialize));
                List<String> expected = new ArrayList<>(List.of(OS_LOCKING, SECOND_TRY).subList(0, codes.length));
                if (again) {
                    library.libInitialize();
                    expected.addAll(last.equals("0") ? List.of() : List.of(OS_LOCKING));
                }
                library.libFinalize();
                expected.addAll(again || last.equals("0") ? List.of(FINALIZE) : List.of());
                assertEquals(expected, token.calls(), Arrays.toString(codes) + again);
            }
        }
    }

    @Test
    void holdersShareARowUntilTheLastFinalises() throws Throwable {
        NativePKCS11 first = load();
        NativePKCS11 second = load();
        assertEquals(token.functionList(), first.getFunctionList());
        token.calls();
        first.libInitialize();
        second.libInitialize();
        assertCalls(OS_LOCKING);

        first.libFinalize();
        assertEquals(0, first.getFunctionList());
        assertEquals("functionList is null", raised(first::libFinalize));
        second.getInfo();
        assertCalls("C_GetInfo");
        second.libFinalize();
        assertEquals(0, second.getFunctionList());
        assertCalls(FINALIZE);
        load().libInitialize();
        assertCalls("C_GetFunctionList", OS_LOCKING);
    }

    @Test
    void aFailedFinalisationRemovesTheRow() throws Throwable {
        NativePKCS11 library = load();
        library.libInitialize();
        token.answer("C_Finalize", "rv=CKR_GENERAL_ERROR");
        assertEquals("CKR_GENERAL_ERROR", raised(library::libFinalize));
        assertEquals(0, library.getFunctionList());

        NativePKCS11 stranger = token.stranger();
        assertEquals("attempt to finalize invalid DLL", raised(stranger::libFinalize));
        assertEquals(0, stranger.getFunctionList());
        token.calls();
        load().libFinalize();
        assertCalls("C_GetFunctionList");
    }

    @Test
    void twentyLibrariesAndNoMore() throws Throwable {
        NativePKCS11 first = load();
        List<NativePKCS11> others = loadNew(ROWS - 1);
        assertEquals(ROWS - 1, others.stream().map(NativePKCS11::getFunctionList).distinct().count());
        for (int i = 0; i < 2; i++) {
            assertEquals(FULL, raised(() -> loadNew(1)));
            assertTrue(lockIsFree());
        }
        NativePKCS11 again = load();
        assertEquals(first.getFunctionList(), again.getFunctionList());

        // The first row is removed, and the last one is moved to its place.
        first.libFinalize();
        again.libFinalize();
        others.addAll(loadNew(1));
        assertEquals(FULL, raised(() -> loadNew(1)));
        token.calls();
        others.forEach(NativePKCS11::libInitialize);
        assertEquals(Collections.nCopies(ROWS, OS_LOCKING), token.calls());
        others.forEach(NativePKCS11::libFinalize);
        assertEquals(Collections.nCopies(ROWS, FINALIZE), token.calls());
        assertEquals(ROWS, loadNew(ROWS).size());
    }

    @Test
    void aFunctionListWithoutARowIsInitialised() throws Throwable {
        for (int rows : new int[] {0, ROWS}) {
            List<NativePKCS11> others = loadNew(rows);
            token.calls();
            assertEquals("functionlist dll not found", raised(token.stranger()::libInitialize));
            assertTrue(lockIsFree());
            assertCalls(OS_LOCKING);
            if (rows == ROWS) {
                assertEquals(FULL, raised(() -> loadNew(1)));
            }
            token.calls();
            others.forEach(NativePKCS11::libFinalize);
            assertEquals(List.of(), token.calls(), "no row was marked as initialised");
        }
        token.answer("C_Initialize", "rv=CKR_CANT_LOCK").answer("C_Initialize", "rv=CKR_GENERAL_ERROR");
        assertEquals("functionlist dll not found", raised(token.stranger()::libInitialize), "the first failure");
        assertCalls(OS_LOCKING, SECOND_TRY);
    }

    @Test
    void aModuleKeepsItsSymbolsToItself() {
        load(ScriptedToken.copy());
        assertFalse(JniSpy.visible("scriptedTokenCommand"));
    }

    /** Some modules change the rounding of the thread that loads or initialises them. */
    @Test
    void theRoundingModeIsRestored() throws Throwable {
        assumeFalse(Boolean.getBoolean("tokbridge.test.checked"), "the JNI checker restores it by itself");
        double[] third = {1, 3};
        double before = third[0] / third[1];
        Path module = Files.copy(Path.of(System.getProperty("tokbridge.test.token")), scratchFile(".so"));
        withEnvironment("SCRIPTED_TOKEN_ROUNDS_UP", "1", () -> start(() -> { // on a thread of its own
            try (NativePKCS11 library = new NativePKCS11()) {
                library.load(module.toString());
                assertEquals(before, third[0] / third[1], "loaded");
                library.libInitialize();
                assertEquals(before, third[0] / third[1], "initialised");
                library.getInfo();
                assertNotEquals(before, third[0] / third[1], "this module does change it");
            }
        }).finish());
    }
}
