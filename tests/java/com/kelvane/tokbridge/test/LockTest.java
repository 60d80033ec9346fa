package com.kelvane.tokbridge.test;

import static com.kelvane.tokbridge.test.Harness.*;
import static org.junit.jupiter.api.Assertions.*;

import com.kelvane.pkcs11.nat.*;
import com.kelvane.tokbridge.test.Harness.*;
import java.util.*;
import org.junit.jupiter.api.*;
import org.junit.jupiter.api.function.Executable;

/** The bridge lock is held around each call of a library that needs it, around no other, and free at the end. */
class LockTest extends SessionFixture {
    @AfterEach
    void assertLockIsFree() throws Throwable {
        token.reset();
        assertTrue(lockIsFree());
    }

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

    /** tests/native checks for each method whether the lock is held. */
    @Test
    void threadsEnterTogetherIfTheLibraryLocksForItself() throws Throwable {
        for (boolean locked : new boolean[] {true, false}) {
            initialize(locked);
            assertSerialised(locked, "C_Logout", session::logout);
            assertSerialised(true, "C_CloseAllSessions", slot::closeAllSessions);
            token.answer("C_Logout", "rv=CKR_DEVICE_ERROR");
            assertEquals("CKR_DEVICE_ERROR", raised(session::logout));
            assertTrue(lockIsFree());
        }
    }

    @Test
    void aLibraryThatLocksForItselfIsIndependentOfOthers() throws Throwable {
        initialize(true);
        synchronized (NativePKCS11.class) {
            library.getInfo();
            assertFalse(lockIsFree(), "the lock is reentrant");
        }
        ScriptedToken free = ScriptedToken.copy();
        NativePKCS11 other = free.initialized();

        Background held = token.hold("C_Logout", 0, session::logout);
        start(other::getInfo).finish();
        Background outside = start(library::getInfo);
        assertTrue(outside.blocked());
        token.release("C_Logout", held, outside);
        assertEquals(1, token.mostInside());
        library.libFinalize(); // the other one's row is moved
        other.libInitialize();
        initialize(false);
        Background inside = free.hold("C_GetInfo", 0, other::getInfo);
        boolean unlocked = lockIsFree();
        free.release("C_GetInfo", inside);
        assertTrue(unlocked, "it is initialised, and locks for itself");
        free.calls();
        other.libFinalize();
        assertEquals(List.of("C_Finalize reserved=null"), free.calls());
    }

    @Test
    void theTableIsChangedUnderTheLock() throws Throwable {
        ScriptedToken module = ScriptedToken.copy();
        NativePKCS11 holder = new NativePKCS11();
        Background loading;
        synchronized (NativePKCS11.class) {
            loading = start(() -> holder.load(module.path()));
            assertTrue(loading.blocked());
            assertEquals("attempt to finalize invalid DLL", raised(module.stranger()::libFinalize), "no row yet");
        }
        loading.finish();
        Background initialising;
        synchronized (NativePKCS11.class) {
            initialising = start(holder::libInitialize);
            assertTrue(initialising.blocked());
        }
        initialising.finish();
        holder.libFinalize();
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
}
