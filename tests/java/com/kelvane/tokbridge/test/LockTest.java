package com.kelvane.tokbridge.test;

import static com.kelvane.tokbridge.test.Harness.*;
import static com.kelvane.tokbridge.test.Raised.*;
import static org.junit.jupiter.api.Assertions.*;

import com.kelvane.pkcs11.nat.*;
import com.kelvane.tokbridge.test.Harness.*;
import java.util.stream.*;
import org.junit.jupiter.api.*;

/** The bridge lock: around each call of a library that needs it, never around another's, free on every way out. */
class LockTest {
    private final ScriptedToken token = ScriptedToken.built().reset();
    private final NativePKCS11 library = new NativePKCS11();
    private final NativePKCS11Slot slot = new NativePKCS11Slot(library, 1);
    private final NativePKCS11Session session = new NativePKCS11Session(slot, 7);

    private void initialize(boolean locked) {
        library.load(token.path());
        if (locked) {
            token.answer("C_Initialize", "rv=0xa");
        }
        library.libInitialize();
        token.calls();
    }

    @AfterEach
    void release() throws Throwable {
        token.reset();
        assertTrue(lockIsFree());
        if (library.getFunctionList() != 0) {
            library.libFinalize();
        }
    }

    private Background call(String name) {
        return start(() -> Calls.to(name).make(library, slot, session));
    }

    /** Two threads call a function that holds its callers; the second must wait outside. */
    private void assertSerialised(String name) throws Throwable {
        String function = Calls.function(name);
        token.hold(function);
        Background first = call(name);
        token.awaitInside(function, 1);
        assertFalse(lockIsFree());
        Background second = call(name);
        assertTrue(second.blocked());
        token.release(function);
        first.join();
        second.join();
        assertEquals(1, token.most(function));
        assertTrue(lockIsFree());
    }

    private void assertConcurrent(String name) throws Throwable {
        String function = Calls.function(name);
        token.hold(function);
        Background first = call(name);
        Background second = call(name);
        token.awaitInside(function, 2);
        assertTrue(lockIsFree());
        token.release(function);
        first.join();
        second.join();
    }

    @TestFactory
    Stream<DynamicTest> aLibraryWithoutOsLockingIsEnteredByOneThread() {
        initialize(true);
        return Calls.each(name -> {
            token.reset();
            assertSerialised(name);
            token.answer(Calls.function(name), "rv=0x30");
            assertEquals("0x30", raised(() -> Calls.to(name).make(library, slot, session)));
            assertTrue(lockIsFree());
        });
    }

    @TestFactory
    Stream<DynamicTest> aLibraryWithOsLockingIsEnteredByAll() {
        initialize(false);
        return Calls.each(this::assertConcurrent);
    }

    @Test
    void bothKindsSideBySide() throws Throwable {
        initialize(true);
        ScriptedToken free = ScriptedToken.copy();
        NativePKCS11 other = new NativePKCS11();
        other.load(free.path());
        other.libInitialize();

        token.hold("C_Logout");
        Background held = call("C_Logout");
        token.awaitInside("C_Logout", 1);
        start(other::getInfo).join();
        assertTrue(call("C_GetInfo").blocked());
        token.release("C_Logout");
        held.join();
        other.libFinalize();
        assertEquals(1, token.mostInside());
    }

    @Test
    void anUninitialisedOrUnknownLibraryIsLocked() throws Throwable {
        library.load(token.path());
        assertSerialised("C_GetInfo");
        library.libFinalize();

        with(library, "functionList", token.functionList());
        assertSerialised("C_Logout");
        token.hold("C_Initialize");
        Background initialize = start(() -> assertEquals("functionlist dll not found", raised(library::libInitialize)));
        token.awaitInside("C_Initialize", 1);
        assertFalse(lockIsFree());
        token.release("C_Initialize");
        initialize.join();
        with(library, "functionList", 0L);
    }

    @Test
    void theSecondInitialisationIsLockedToo() throws Throwable {
        library.load(token.path());
        token.answer("C_Initialize", "rv=0xa").hold("C_Initialize", 1);
        Background initialize = start(library::libInitialize);
        token.awaitInside("C_Initialize", 1);
        assertFalse(lockIsFree());
        token.release("C_Initialize");
        initialize.join();
    }

    @Test
    void finalizationHoldsTheLockThroughout() throws Throwable {
        initialize(false);
        for (String answer : new String[] {"", "rv=0x5"}) {
            token.answer("C_Finalize", answer).hold("C_Finalize");
            Background finalize = start(() -> assertEquals(answer.replace("rv=", ""), raised(library::libFinalize)));
            token.awaitInside("C_Finalize", 1);
            assertFalse(lockIsFree());
            token.release("C_Finalize");
            finalize.join();
            assertTrue(lockIsFree());
            initialize(false);
        }
    }

    @Test
    void loadingAsksTheModuleWithoutTheLock() throws Throwable {
        token.hold("C_GetFunctionList");
        Background load = start(() -> library.load(token.path()));
        token.awaitInside("C_GetFunctionList", 1);
        assertTrue(lockIsFree());
        token.release("C_GetFunctionList");
        load.join();
    }

    @Test
    void theLockIsReentrant() throws Throwable {
        initialize(true);
        synchronized (NativePKCS11.class) {
            library.getInfo();
            assertFalse(lockIsFree());
        }
    }
}
