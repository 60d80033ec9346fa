package com.kelvane.tokbridge.test;

import static com.kelvane.tokbridge.test.Raised.*;
import static org.junit.jupiter.api.Assertions.*;

import com.kelvane.pkcs11.nat.*;
import java.util.*;
import java.util.stream.*;
import org.junit.jupiter.api.*;
import org.junit.jupiter.params.*;
import org.junit.jupiter.params.provider.*;

/** What initialisation asks of a module and what it makes of the answers. */
class InitializeTest {
    private final ScriptedToken token = ScriptedToken.built().reset();
    private final NativePKCS11 library = new NativePKCS11();

    @BeforeEach
    void load() {
        library.load(token.path());
        token.calls();
    }

    @AfterEach
    void release() {
        token.reset();
        if (library.getFunctionList() != 0) {
            library.libFinalize();
        }
    }

    /** The calls since the last time, with what C_Initialize was given in short. */
    private List<String> calls() {
        return token.calls().stream().map(line -> line.replaceAll("CK_C_INITIALIZE_ARGS.* (flags=\\S+) .*", "$1"))
            .collect(Collectors.toList());
    }

    @Test
    void aRefusalOfOsLockingLeadsToASecondTryWithoutArguments() throws Throwable {
        token.answer("C_Initialize", "rv=0xa");
        library.libInitialize();
        library.libInitialize();
        library.libFinalize();
        assertEquals(List.of("C_Initialize args=flags=0x2", "C_Initialize args=null", "C_Finalize reserved=null"),
            calls());
    }

    @ParameterizedTest
    @ValueSource(strings = {"0xa", "0x30", "0x191", "0xffffffff"})
    void theSecondTrysFailureIsRaised(String code) throws Throwable {
        token.answer("C_Initialize", "rv=0xa").answer("C_Initialize", "rv=" + code);
        assertEquals(code, raised(library::libInitialize));
        library.libFinalize();
        assertEquals(List.of("C_Initialize args=flags=0x2", "C_Initialize args=null"), calls(), "no C_Finalize");
    }

    @ParameterizedTest
    @ValueSource(strings = {"0x7", "0x191", "0x80000001"})
    void anyOtherFailureIsRaisedAndLeavesTheLibraryAsItWas(String code) throws Throwable {
        token.answer("C_Initialize", "rv=" + code);
        assertEquals(code, raised(library::libInitialize));
        library.libInitialize();
        library.libFinalize();
        assertEquals(List.of("C_Initialize args=flags=0x2", "C_Initialize args=flags=0x2", "C_Finalize reserved=null"),
            calls());
    }
}
