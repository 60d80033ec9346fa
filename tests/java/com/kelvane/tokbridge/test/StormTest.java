package com.kelvane.tokbridge.test;

import static com.kelvane.tokbridge.test.Harness.*;
import static org.junit.jupiter.api.Assertions.*;

import com.kelvane.pkcs11.nat.*;
import java.util.*;
import java.util.stream.*;
import org.junit.jupiter.api.Test;

/** Many threads, several libraries, loading and finalising while others call. */
class StormTest {
    private static final int ROUNDS = 300;

    /** Each thread has holders of its own, so that a library goes and comes back under the others' feet. */
    private static Background worker(ScriptedToken token, Set<String> outcomes) {
        return start(() -> {
            for (int round = 0; round < ROUNDS; round++) {
                NativePKCS11 library = new NativePKCS11();
                library.load(token.path());
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
                token.always("C_Login", "rv=0xa0").always("C_Initialize", "rv=0xa");
                locked.add(token);
            }
            workers.add(worker(token, outcomes));
            workers.add(worker(token, outcomes));
        }
        for (Background each : workers) {
            each.finish();
        }
        assertEquals(Set.of("", "0xa", "0xa0"), outcomes);
        for (ScriptedToken token : locked) {
            assertEquals(1, token.mostInside(), "one caller at a time in a library that needs the lock");
        }
        assertTrue(lockIsFree());

        ScriptedToken token = ScriptedToken.copy();
        token.always("C_GetFunctionList", "list=new");
        List<NativePKCS11> holders = Stream.generate(NativePKCS11::new).limit(20).collect(Collectors.toList());
        holders.forEach(each -> each.load(token.path()));
        assertEquals("too many different libraries referenced!", raised(() -> new NativePKCS11().load(token.path())),
            "the table was empty: it took twenty and no more");
        holders.forEach(NativePKCS11::libFinalize);
    }

    /** Two threads finalise one object at once: its library is given back once, and others keep it. */
    @Test
    void finalizingTwiceAtOnce() throws Throwable {
        ScriptedToken token = ScriptedToken.copy();
        NativePKCS11 keeper = new NativePKCS11();
        keeper.load(token.path());
        keeper.libInitialize();
        for (int i = 0; i < ROUNDS; i++) {
            NativePKCS11 shared = new NativePKCS11();
            shared.load(token.path());
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
        ScriptedToken token = ScriptedToken.copy().steer("hold C_Initialize 0");
        List<NativePKCS11> holders = List.of(new NativePKCS11(), new NativePKCS11());
        holders.forEach(each -> each.load(token.path()));
        Background first = start(holders.get(0)::libInitialize);
        token.steer("await C_Initialize 1");
        Background second = start(holders.get(1)::libInitialize);
        assertTrue(second.blocked());
        token.steer("release C_Initialize").calls();
        first.finish();
        second.finish();
        assertEquals(List.of(), token.calls());
        holders.forEach(NativePKCS11::libFinalize);
        assertEquals(List.of("C_Finalize reserved=null"), token.calls());
    }
}
