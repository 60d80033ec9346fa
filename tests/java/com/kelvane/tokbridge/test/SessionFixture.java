package com.kelvane.tokbridge.test;

import com.kelvane.pkcs11.nat.*;
import java.util.*;
import org.junit.jupiter.api.*;

/** A scripted token in its first state, initialised, with session 7 open in slot 1, and no call recorded yet. */
abstract class SessionFixture {
    /** Set when every test is to run through a library that refuses operating-system locking. */
    private static final boolean LOCKED = Boolean.getBoolean("tokbridge.test.locked");

    final ScriptedToken token = ScriptedToken.built();
    final NativePKCS11 library = new NativePKCS11();
    final NativePKCS11Slot slot = new NativePKCS11Slot(library, 1);
    NativePKCS11Session session;

    @BeforeEach
    void openSession() {
        token.reset();
        library.load(token.path());
        if (LOCKED) {
            token.answer("C_Initialize", "rv=0xa");
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
}
