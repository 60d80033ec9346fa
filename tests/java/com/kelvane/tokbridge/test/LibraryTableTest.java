package com.kelvane.tokbridge.test;

import static com.kelvane.tokbridge.test.Harness.*;
import static com.kelvane.tokbridge.test.Raised.*;
import static org.junit.jupiter.api.Assertions.*;

import com.kelvane.pkcs11.nat.*;
import java.util.*;
import java.util.stream.*;
import org.junit.jupiter.api.*;
import org.junit.jupiter.params.*;
import org.junit.jupiter.params.provider.*;

/** The life of a library's row: counting, the limit of twenty, removal, and function lists without a row. */
@FreshBridge
class LibraryTableTest {
    private static final int ROWS = 20;
    private static final String OS_LOCKING = "C_Initialize args=CK_C_INITIALIZE_ARGS{CreateMutex=null DestroyMutex=null"
        + " LockMutex=null UnlockMutex=null flags=0x2 pReserved=null}";

    private final ScriptedToken token = ScriptedToken.built();

    @BeforeEach
    void reset() {
        token.reset();
    }

    private NativePKCS11 load() {
        NativePKCS11 library = new NativePKCS11();
        library.load(token.path());
        return library;
    }

    /** A holder of the token's function list that the bridge has not loaded. */
    private NativePKCS11 stranger() {
        return with(new NativePKCS11(), "functionList", token.functionList());
    }

    private List<NativePKCS11> loadNew(int count) {
        token.always("C_GetFunctionList", "list=new");
        try {
            return Stream.generate(this::load).limit(count).collect(Collectors.toCollection(ArrayList::new));
        } finally {
            token.always("C_GetFunctionList", "");
        }
    }

    @Test
    void holdersShareARowUntilTheLastHasGone() throws Throwable {
        NativePKCS11 first = load();
        NativePKCS11 second = load();
        assertEquals(token.functionList(), first.getFunctionList());
        assertEquals(token.functionList(), second.getFunctionList());
        token.calls();

        first.libInitialize();
        first.libInitialize();
        second.libInitialize();
        assertEquals(List.of(OS_LOCKING), token.calls());

        first.libFinalize();
        assertEquals(0, first.getFunctionList());
        assertEquals("functionList is null", raised(first::libFinalize));
        second.getInfo();
        assertEquals(List.of("C_GetInfo"), token.calls());
        second.libFinalize();
        assertEquals(0, second.getFunctionList());
        assertEquals(List.of("C_Finalize reserved=null"), token.calls());

        NativePKCS11 third = load();
        third.libInitialize();
        assertEquals(List.of("C_GetFunctionList", OS_LOCKING), token.calls());
    }

    @Test
    void aLibraryThatWasNotInitializedIsNotFinalized() throws Throwable {
        load().libFinalize();
        NativePKCS11 failed = load();
        token.answer("C_Initialize", "rv=0x30").calls();
        assertEquals("0x30", raised(failed::libInitialize));
        failed.libFinalize();
        assertEquals(List.of(OS_LOCKING), token.calls());
    }

    @Test
    void theRowGoesEvenWhenFinalizationFails() throws Throwable {
        NativePKCS11 library = load();
        library.libInitialize();
        token.answer("C_Finalize", "rv=0x5");
        assertEquals("0x5", raised(library::libFinalize));
        assertEquals(0, library.getFunctionList());

        NativePKCS11 stranger = stranger();
        assertEquals("attempt to finalize invalid DLL", raised(stranger::libFinalize));
        assertEquals(0, stranger.getFunctionList());
        assertTrue(lockIsFree());
        token.calls();
        load().libInitialize();
        assertEquals(List.of("C_GetFunctionList", OS_LOCKING), token.calls());
    }

    @Test
    void twentyLibrariesAndNoMore() throws Throwable {
        NativePKCS11 first = load();
        List<NativePKCS11> others = loadNew(ROWS - 1);
        assertEquals(ROWS - 1, others.stream().map(NativePKCS11::getFunctionList).distinct().count());

        for (int i = 0; i < 2; i++) {
            assertEquals("too many different libraries referenced!", raised(() -> loadNew(1)));
            assertTrue(lockIsFree());
        }
        NativePKCS11 again = load();
        assertEquals(first.getFunctionList(), again.getFunctionList());

        // The first row is removed and the last one takes its place: none may be lost, none may stand twice.
        first.libFinalize();
        again.libFinalize();
        others.addAll(loadNew(1));
        assertEquals("too many different libraries referenced!", raised(() -> loadNew(1)));
        token.calls();
        others.forEach(NativePKCS11::libInitialize);
        assertEquals(Collections.nCopies(ROWS, OS_LOCKING), token.calls());
        others.forEach(NativePKCS11::libFinalize);
        assertEquals(Collections.nCopies(ROWS, "C_Finalize reserved=null"), token.calls());
        assertEquals(ROWS, loadNew(ROWS).size());
    }

    @ParameterizedTest
    @ValueSource(ints = {0, ROWS})
    void aListWithoutARowStillReachesTheModule(int rows) throws Throwable {
        List<NativePKCS11> others = loadNew(rows);
        token.calls();

        assertEquals("functionlist dll not found", raised(stranger()::libInitialize));
        assertTrue(lockIsFree());
        assertEquals(List.of(OS_LOCKING), token.calls());
        if (rows == ROWS) {
            token.always("C_GetFunctionList", "list=new");
            assertEquals("too many different libraries referenced!", raised(this::load));
        }
        token.calls();
        others.forEach(NativePKCS11::libFinalize);
        assertEquals(List.of(), token.calls(), "no row was marked as initialised");
    }

    @Test
    void theFirstFailureIsTheOneReported() throws Throwable {
        token.answer("C_Initialize", "rv=0xa").answer("C_Initialize", "rv=0x5");
        assertEquals("functionlist dll not found", raised(stranger()::libInitialize));
        assertEquals(List.of(OS_LOCKING, "C_Initialize args=null"), token.calls());
        assertTrue(lockIsFree());
    }

    @Test
    void copiesOfALibraryAreLibrariesOfTheirOwn() {
        ScriptedToken copy = ScriptedToken.copy();
        NativePKCS11 library = load();
        NativePKCS11 other = new NativePKCS11();
        other.load(copy.path());
        assertNotEquals(library.getFunctionList(), other.getFunctionList());
        assertEquals(copy.functionList(), other.getFunctionList());
        other.libInitialize();
        assertEquals(List.of("C_GetFunctionList"), token.calls());
        assertEquals(List.of("C_GetFunctionList", OS_LOCKING), copy.calls());
    }
}
