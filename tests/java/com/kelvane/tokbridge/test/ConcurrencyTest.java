package com.kelvane.tokbridge.test;

import static com.kelvane.tokbridge.test.Harness.*;
import static org.junit.jupiter.api.Assertions.*;

import com.kelvane.pkcs11.nat.*;
import java.util.*;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.*;

/**
 * Initialising, finalising and closing all sessions while other threads call, in the orders that matter.
 * tests/native/storm_test.cpp does all of it at random.
 */
class ConcurrencyTest {
    /** A module, and the library and the session of its current life. */
    private static final class Life {
        final ScriptedToken module = ScriptedToken.copy();
        NativePKCS11 library;
        NativePKCS11Session session;

        Life() {
            begin();
        }

        void begin() {
            library = module.initialized();
            session = new NativePKCS11Slot(library, 1).openSession(6, null);
            module.calls();
        }

        /** A call that the module holds inside. */
        Background hold(String function, Executable call) {
            Background held = module.hold(function, 0, call);
            module.calls();
            return held;
        }

        Background holdLogout() {
            return hold("C_Logout", session::logout);
        }

        /** A thread that has begun to finalise the library: its object is without a function list. */
        Background finalizing() {
            NativePKCS11 finalized = library;
            Background finalizing = start(finalized::libFinalize);
            while (finalized.getFunctionList() != 0) {
                Thread.onSpinWait();
            }
            return finalizing;
        }

        void assertFinalized() {
            assertEquals(List.of("C_Finalize reserved=null"), module.calls());
        }
    }

    private final Life life = new Life();
    private final ScriptedToken module = life.module;

    @Test
    void oneObjectFinalizedByTwoThreadsIsReleasedOnce() throws Throwable {
        for (int i = 0; i < 100; i++) {
            NativePKCS11 shared = module.load();
            List<String> outcomes = Collections.synchronizedList(new ArrayList<>());
            Background other = start(() -> outcomes.add(raised(shared::libFinalize)));
            outcomes.add(raised(shared::libFinalize));
            other.finish();
            outcomes.sort(null);
            assertEquals(List.of("", "functionList is null"), outcomes);
        }
        module.calls();
        life.library.libFinalize();
        life.assertFinalized();
    }

    @Test
    void twoHoldersInitializeAModuleOnce() throws Throwable {
        life.library.libFinalize();
        List<NativePKCS11> holders = List.of(module.load(), module.load());
        Background first = life.hold("C_Initialize", holders.get(0)::libInitialize);
        Background second = start(holders.get(1)::libInitialize);
        assertTrue(second.blocked());
        module.release("C_Initialize", first, second);
        assertEquals(List.of(), module.calls());
        holders.forEach(NativePKCS11::libFinalize);
        life.assertFinalized();
    }

    @Test
    void anObjectThatIsFinalizedMeanwhileIsNotInitialized() throws Throwable {
        life.library.libFinalize();
        NativePKCS11 library = module.load();
        module.calls();
        Background initializing;
        synchronized (NativePKCS11.class) {
            initializing = start(() -> assertEquals("functionList is null", raised(library::libInitialize)));
            assertTrue(initializing.blocked());
            library.libFinalize();
        }
        initializing.finish();
        assertEquals(List.of(), module.calls());
    }

    @Test
    void theLastHolderWaitsForCallsWithoutTheLock() throws Throwable {
        NativePKCS11 another = module.load();
        Background logout = life.holdLogout();
        another.libFinalize(); // not the last one
        Background finalizing = life.finalizing();
        assertEquals("functionList is null", raised(life.session::getInfo));
        assertTrue(lockIsFree());
        assertEquals(List.of(), module.calls());
        module.release("C_Logout", logout, finalizing);
        life.assertFinalized();
    }

    @Test
    void aLibraryLoadedWhileItsLastHolderWaitsIsKept() throws Throwable {
        Background logout = life.holdLogout();
        Background finalizing = life.finalizing();
        life.begin();
        module.release("C_Logout", logout, finalizing);
        assertEquals(List.of(), module.calls());
        Background inside = life.holdLogout();
        assertTrue(lockIsFree(), "it locks for itself as before");
        module.release("C_Logout", inside);
        life.library.libFinalize();
        life.assertFinalized();
    }

    private static void assertTakes(double least, double most, Executable call) throws Throwable {
        long start = System.nanoTime();
        call.execute();
        double seconds = (System.nanoTime() - start) / 1e9;
        assertTrue(seconds >= least && seconds < most, seconds + " s, not " + least + " to " + most);
    }

    /** Nor is the next life held up. A wait for slot events is no call to wait for. */
    @Test
    void aCallThatDoesNotEndIsWaitedForFiveSeconds() throws Throwable {
        Life other = new Life();
        NativePKCS11Slot slot = other.session.getSlot();
        Background inOther = other.holdLogout();
        Background closing = start(() -> assertTakes(4.5, 8, slot::closeAllSessions));
        Background waiting = life.hold("C_WaitForSlotEvent", () -> life.library.waitForSlotEvent(true));
        assertTakes(0, 2, life.library::libFinalize);
        life.assertFinalized();
        life.begin();
        Background hanging = life.holdLogout();
        assertTakes(4.5, 8, life.library::libFinalize);
        life.assertFinalized();
        life.begin();
        assertTakes(0, 2, life.library::libFinalize);
        life.begin();
        module.release("C_WaitForSlotEvent", waiting);
        module.release("C_Logout", hanging);
        Background inside = life.holdLogout();
        Background finalizing = life.finalizing();
        assertEquals(List.of(), module.calls(), "a call of the new life is waited for");
        module.release("C_Logout", inside, finalizing);
        life.assertFinalized();

        closing.finish();
        other.module.release("C_Logout", inOther);
        Background again = other.holdLogout();
        assertTrue(lockIsFree(), "it locks for itself as before");
        other.module.release("C_Logout", again);
        other.library.libFinalize();
    }

    @Test
    void anObjectThatIsNoHolderEndsNoWait() throws Throwable {
        Background lasting = life.holdLogout();
        Background releasing = start(() -> {
            Thread.sleep(300);
            module.stranger().libFinalize();
            Thread.sleep(300);
            module.release("C_Logout", lasting);
        });
        assertTakes(0.5, 4.5, life.library::libFinalize);
        life.assertFinalized();
        releasing.finish();
    }

    @Test
    void closeAllSessionsWaitsForCallsAndLetsOthersIn() throws Throwable {
        NativePKCS11Slot slot = life.session.getSlot();
        Background logout = life.holdLogout();
        List<Background> closing = List.of(start(slot::closeAllSessions), start(slot::closeAllSessions));
        Thread.sleep(300); // nobody sees from outside that they have begun to wait
        life.session.getInfo(); // under the lock meanwhile
        assertEquals(List.of("C_GetSessionInfo session=0x7"), module.calls());
        module.release("C_Logout", logout, closing.get(0), closing.get(1));
        assertEquals(List.of("C_CloseAllSessions slot=0x1", "C_CloseAllSessions slot=0x1"), module.calls());

        Background look = life.hold("C_WaitForSlotEvent", () -> life.library.waitForSlotEvent(false));
        Background last = life.finalizing();
        assertEquals(List.of(), module.calls(), "a look at the slots is a call like others");
        module.release("C_WaitForSlotEvent", look, last);
        life.assertFinalized();
    }
}
