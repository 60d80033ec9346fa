package com.kelvane.tokbridge.test;

import static org.junit.jupiter.api.Assertions.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import java.util.*;
import org.junit.jupiter.api.*;
import org.junit.jupiter.api.function.*;

/** A scripted token, initialised, with session 7 open in slot 1, and no call recorded yet. */
abstract class SessionFixture {
    /** Whether the module refuses operating-system locking in all tests. */
    private static final boolean LOCKED = Boolean.getBoolean("tokbridge.test.locked");

    final ScriptedToken token = ScriptedToken.built();
    final NativePKCS11 library = new NativePKCS11();
    final NativePKCS11Slot slot = new NativePKCS11Slot(library, 1);
    NativePKCS11Session session;

    @BeforeEach
    void openSession() {
        token.reset().steer("extended 3 2");
        initialize(LOCKED);
    }

    /** Loads the module again, which refuses operating-system locking or not, and opens the session. */
    void initialize(boolean locked) {
        finalizeLibrary();
        library.load(token.path());
        if (locked) {
            token.answer("C_Initialize", "rv=CKR_CANT_LOCK");
        }
        library.libInitialize();
        session = slot.openSession(6, null);
        token.calls();
    }

    @AfterEach
    void finalizeLibrary() {
        token.reset();
        if (library.getFunctionList() != 0) {
            library.libFinalize();
        }
    }

    List<String> calls() {
        return token.calls();
    }

    NativePKCS11Object key(int handle) {
        return new NativePKCS11Object(session, handle);
    }

    /** The handle that the module receives for an object. */
    String handleOf(PKCS11Object object) {
        ((NativePKCS11Object) object).size();
        List<String> made = token.calls();
        return made.get(made.size() - 1).replaceAll(".* object=", "");
    }

    /** Checks the int of a handle: the marker -1 when all handles are wider. */
    static void assertNumber(int handle, int number) {
        assertEquals(ScriptedToken.WIDE ? -1 : handle, number);
    }

    void assertCalls(String... lines) {
        assertEquals(List.of(lines), calls());
    }

    /** The call is refused before it reaches the module. */
    void assertRefused(String message, Executable call) throws Throwable {
        assertEquals(message, Harness.raised(call));
        assertCalls();
    }
}
