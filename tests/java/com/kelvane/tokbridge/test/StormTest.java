package com.kelvane.tokbridge.test;

import static com.kelvane.tokbridge.test.Harness.*;
import static org.junit.jupiter.api.Assertions.*;

import com.kelvane.pkcs11.nat.*;
import java.util.*;
import java.util.stream.*;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.*;

/** Many threads, several libraries, loading and finalising while others call. */
class StormTest {
    private static final int ROUNDS = 300;

    /** Each thread has holders of its own, so that a library goes and comes back under the others' feet. */
    private static Background worker(ScriptedToken token, Set<String> outcomes) {
        return start(() -> {
            for (int round = 0; round < ROUNDS; round++) {
                NativePKCS11 library = token.load();
                outcomes.add(raised(library::libInitialize));
                NativePKCS11Session session = new NativePKCS11Session(new NativePKCS11Slot(library, 1), 7);
                outcomes.add(raised(session::getInfo));
                outcomes.add(raised(() -> session.login(false, "1234")));
                outcomes.add(raised(() -> session.generateRandom(new byte[8], 0, 8)));
                library.libFinalize();
                token.calls();
            }
        });
    }

    @Test
    void theTableHoldsInAStorm() throws Throwable {
        List<ScriptedToken> locked = new ArrayList<>();
        List<Background> workers = new ArrayList<>();
        Set<String> outcomes = Collections.synchronizedSet(new TreeSet<>());
        for (int i = 0; i < 5; i++) {
            ScriptedToken token = ScriptedToken.copy().reset();
            if (i < 3) {
                token.always("C_Login", "rv=CKR_PIN_INCORRECT").always("C_Initialize", "rv=CKR_CANT_LOCK");
                locked.add(token);
            }
            workers.add(worker(token, outcomes));
            workers.add(worker(token, outcomes));
        }
        for (Background each : workers) {
            each.finish();
        }
        assertEquals(Set.of("", "CKR_CANT_LOCK", "CKR_PIN_INCORRECT"), outcomes);
        for (ScriptedToken token : locked) {
            assertEquals(1, token.mostInside(), "one caller at a time in a library that needs the lock");
        }
        assertTrue(lockIsFree());

        ScriptedToken token = ScriptedToken.copy();
        token.always("C_GetFunctionList", "list=new");
        List<NativePKCS11> holders = Stream.generate(token::load).limit(20).collect(Collectors.toList());
        assertEquals("too many different libraries referenced!", raised(token::load),
            "the table was empty: it took twenty and no more");
        holders.forEach(NativePKCS11::libFinalize);
    }

    /** Two threads finalise one object at once: its library is given back once, and others keep it. */
    @Test
    void finalizingTwiceAtOnce() throws Throwable {
        ScriptedToken token = ScriptedToken.copy();
        NativePKCS11 keeper = token.initialized();
        for (int i = 0; i < ROUNDS; i++) {
            NativePKCS11 shared = token.load();
            List<String> outcomes = Collections.synchronizedList(new ArrayList<>());
            Background other = start(() -> outcomes.add(raised(shared::libFinalize)));
            outcomes.add(raised(shared::libFinalize));
            other.finish();
            outcomes.sort(null);
            assertEquals(List.of("", "functionList is null"), outcomes);
        }
        token.calls();
        keeper.libFinalize();
        assertEquals(List.of("C_Finalize reserved=null"), token.calls());
    }

    /** Two holders initialise one library at once: it is done once, and neither is refused. */
    @Test
    void initialisingTwiceAtOnce() throws Throwable {
        ScriptedToken token = ScriptedToken.copy();
        List<NativePKCS11> holders = List.of(token.load(), token.load());
        Background first = token.hold("C_Initialize", 0, holders.get(0)::libInitialize);
        Background second = start(holders.get(1)::libInitialize);
        assertTrue(second.blocked());
        token.calls();
        token.release("C_Initialize", first, second);
        assertEquals(List.of(), token.calls());
        holders.forEach(NativePKCS11::libFinalize);
        assertEquals(List.of("C_Finalize reserved=null"), token.calls());
    }

    /** One object is finalised while another thread is about to initialise it: nothing is initialised without a row. */
    @Test
    void initialisingWhatIsBeingFinalised() throws Throwable {
        ScriptedToken token = ScriptedToken.copy();
        NativePKCS11 library = token.load();
        token.calls();
        Background initialising;
        synchronized (NativePKCS11.class) {
            initialising = start(() -> assertEquals("functionList is null", raised(library::libInitialize)));
            assertTrue(initialising.blocked());
            library.libFinalize();
        }
        initialising.finish();
        assertEquals(List.of(), token.calls());
    }

    private final ScriptedToken module = ScriptedToken.copy();
    private NativePKCS11 holder;
    private NativePKCS11Session session;

    private void begin() {
        holder = module.initialized();
        session = new NativePKCS11Slot(holder, 1).openSession(6, null);
    }

    /** A call that the module keeps inside. */
    private Background held(String function, Executable call) {
        Background held = module.hold(function, 0, call);
        module.calls();
        return held;
    }

    /** A thread that finalises the holder, which has begun: its object is gone. */
    private Background finalising() {
        NativePKCS11 finalised = holder;
        Background finalising = start(finalised::libFinalize);
        while (finalised.getFunctionList() != 0) {
            Thread.onSpinWait();
        }
        return finalising;
    }

    private void assertFinalised() {
        assertEquals(List.of("C_Finalize reserved=null"), module.calls());
    }

    /** The last holder waits for the calls in progress, without the lock; its object is gone from the start. */
    @Test
    void theLastHolderWaitsForCalls() throws Throwable {
        begin();
        NativePKCS11 another = module.load();
        Background logout = held("C_Logout", session::logout);
        another.libFinalize(); // not the last one
        Background finalising = finalising();
        assertEquals("functionList is null", raised(session::getInfo));
        assertTrue(lockIsFree());
        assertEquals(List.of(), module.calls());
        module.release("C_Logout", logout, finalising);
        assertFinalised();
    }

    /** Somebody takes the library while its last holder is waiting, who is not the last one then. */
    @Test
    void theLibraryIsTakenOverMeanwhile() throws Throwable {
        begin();
        Background logout = held("C_Logout", session::logout);
        Background finalising = finalising();
        begin();
        module.release("C_Logout", logout, finalising);
        assertEquals(List.of("C_GetFunctionList", "C_OpenSession slot=0x1 flags=0x6 application=null notify=null"),
            module.calls());
        Background inside = held("C_Logout", session::logout);
        assertTrue(lockIsFree(), "it locks for itself as before");
        module.release("C_Logout", inside);
        holder.libFinalize();
        assertFinalised();
    }

    /** How long the last holder takes to finalise, in seconds. */
    private double finalised() {
        long start = System.nanoTime();
        holder.libFinalize();
        assertFinalised();
        return (System.nanoTime() - start) / 1e9;
    }

    private static void assertTook(double least, double most, double seconds) {
        assertTrue(seconds >= least && seconds < most, seconds + " s, not " + least + " to " + most);
    }

    /** What the module keeps for ever is not waited for for ever, nor in the library's next life; what ends is. */
    @Test
    void howLongTheLastHolderWaits() throws Throwable {
        begin();
        module.calls();
        assertTook(0, 2, finalised());
        begin();
        Background waiting = held("C_WaitForSlotEvent", () -> holder.waitForSlotEvent(true));
        assertTook(0, 2, finalised());
        module.release("C_WaitForSlotEvent", waiting);

        begin();
        Background lasting = held("C_Logout", session::logout);
        Background releasing = start(() -> {
            Thread.sleep(500);
            module.stranger().libFinalize(); // no holder of it: nothing is counted, nobody is kept
            Thread.sleep(2000);
            module.release("C_Logout", lasting);
        });
        assertTook(2, 4.5, finalised());
        releasing.finish();

        begin();
        Background hanging = held("C_Logout", session::logout);
        assertTook(4.5, 8, finalised());
        begin();
        module.calls();
        assertTook(0, 2, finalised());
        begin();
        module.release("C_Logout", hanging);
        Background inside = held("C_Logout", session::logout);
        Background finalising = finalising();
        assertEquals(List.of(), module.calls(), "a call of the new life is waited for");
        module.release("C_Logout", inside, finalising);
        assertFinalised();
    }

    /** Closing all sessions waits in the same way, twice at once too, and the library locks for itself afterwards. */
    @Test
    void closeAllSessionsWaitsForCalls() throws Throwable {
        begin();
        NativePKCS11Slot slot = session.getSlot();
        Background logout = held("C_Logout", session::logout);
        List<Background> closing = List.of(start(slot::closeAllSessions), start(slot::closeAllSessions));
        Thread.sleep(300); // nobody sees from outside that they have begun to wait
        session.getInfo(); // which is made under the lock meanwhile
        assertEquals(List.of("C_GetSessionInfo session=0x7"), module.calls());
        module.release("C_Logout", logout, closing.get(0), closing.get(1));
        assertEquals(List.of("C_CloseAllSessions slot=0x1", "C_CloseAllSessions slot=0x1"), module.calls());

        Background hanging = held("C_Logout", session::logout);
        long start = System.nanoTime();
        slot.closeAllSessions();
        assertTook(4.5, 8, (System.nanoTime() - start) / 1e9);
        module.release("C_Logout", hanging);
        Background inside = held("C_Logout", session::logout);
        assertTrue(lockIsFree(), "it locks for itself as before");
        module.release("C_Logout", inside);
        module.calls();

        Background waited = held("C_WaitForSlotEvent", () -> holder.waitForSlotEvent(false));
        Background last = finalising();
        assertEquals(List.of(), module.calls(), "a look at the slots is a call like others");
        module.release("C_WaitForSlotEvent", waited, last);
        assertFinalised();
    }
}
