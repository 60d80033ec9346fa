package com.kelvane.tokbridge.test;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static com.kelvane.tokbridge.test.Harness.*;
import static org.junit.jupiter.api.Assertions.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import java.nio.*;
import java.util.*;
import java.util.function.*;
import org.junit.jupiter.api.*;
import org.junit.jupiter.api.function.Executable;

/** Methods beyond the 89: user types, functions of edition 3, direct buffers. */
class ExtensionTest extends SessionFixture {
    private static final String NOT_SUPPORTED = "CKR_FUNCTION_NOT_SUPPORTED";

    private String pinOf(Executable call) throws Throwable {
        assertEquals("", raised(call));
        return calls().get(0).replaceAll("^C_\\w+ (session|slot)=\\S+ | label=.*", "");
    }

    @Test
    void pinsMayBeCharArrays() throws Throwable {
        char[] pin = {'1', '\u00e9'};
        for (int type : new int[] {CKU_SO, CKU_USER, CKU_CONTEXT_SPECIFIC, 0x80000001}) {
            String user = "user=0x" + Integer.toHexString(type);
            assertEquals(user + " pin=31c3a9", pinOf(() -> session.login(type, "1\u00e9")));
            assertEquals(user + " pin=31c3a9", pinOf(() -> session.login(type, pin)));
            assertEquals(user + " pin=null", pinOf(() -> session.login(type, (char[]) null)));
        }
        assertEquals("user=0x0 pin=31c3a9", pinOf(() -> session.login(true, pin)));
        assertEquals("user=0x1 pin=null", pinOf(() -> session.login(false, null)));
        assertEquals("pin=31c3a9", pinOf(() -> session.initPIN(pin)));
        assertEquals("oldPin=31c3a9 newPin=null", pinOf(() -> session.setPIN(pin, null)));
        assertEquals("pin=31c3a9", pinOf(() -> slot.initToken(pin, "label")));
        assertEquals("user=0x1 pin=31c3a9 name=6d65", pinOf(() -> session.loginUser(CKU_USER, "1\u00e9", "me")));
        assertArrayEquals(new char[] {'1', '\u00e9'}, pin, "the caller's own");
        char[] wide = "\u20ac".repeat(16).toCharArray(); // three bytes each
        assertEquals("user=0x1 pin=" + "e282ac".repeat(16), pinOf(() -> session.login(CKU_USER, wide)));
        assertEquals("user=0x1 pin=", pinOf(() -> session.login(CKU_USER, new char[0])));
        assertRefused("copyBytes(): buffer too small!", () -> session.login(CKU_USER, "x".repeat(51).toCharArray()));
    }

    /** The version of the module's interface decides; a null entry is never called. */
    @Test
    void functionsOfEdition3AreCalledIfOffered() throws Throwable {
        Map<String, Executable> needs0 = Map.of("C_SessionCancel", () -> session.sessionCancel(CKF_SIGN),
            "C_LoginUser", () -> session.loginUser(CKU_USER, "1", "me"));
        Map<String, Executable> needs2 = Map.of("C_EncapsulateKey", () -> session.encapsulateKey(CKM_ML_KEM, null,
            key(9), Template.of()), "C_DecapsulateKey", () -> session.decapsulateKey(CKM_ML_KEM, null, key(9),
            new byte[1], Template.of()));
        for (String version : List.of("0 0", "3 0", "3 1", "3 2", "3 5", "2 40", "4 0")) {
            token.steer("extended " + version);
            initialize(false);
            boolean is3 = version.startsWith("3");
            for (Map<String, Executable> each : List.of(needs0, needs2)) {
                boolean offered = is3 && (each == needs0 || version.compareTo("3 2") >= 0);
                for (Map.Entry<String, Executable> call : each.entrySet()) {
                    String what = call.getKey() + " " + version;
                    assertEquals(offered ? "" : NOT_SUPPORTED, raised(call.getValue()), what);
                    assertEquals(offered, calls().toString().contains(call.getKey()), what);
                    token.steer("missing " + call.getKey());
                    assertEquals(NOT_SUPPORTED, raised(call.getValue()), what);
                    assertCalls();
                    token.reset();
                }
            }
            assertEquals(is3 ? "PKCS 11 " + version.replace(' ', '.') + ", PKCS 11 2.40" : NOT_SUPPORTED,
                outcome(library::getInterfaces).replaceAll("[\\[\\]]", ""));
            calls();
        }
        token.steer("extended 3 2");
        initialize(false);
        for (String lie : List.of("interfaces.length=3", "rv=CKR_BUFFER_TOO_SMALL interfaces.length=9")) {
            token.answer("C_GetInterfaceList", "").answer("C_GetInterfaceList", lie);
            assertEquals("CKR_BUFFER_TOO_SMALL", raised(library::getInterfaces));
        }
        token.always("C_GetInterfaceList", "interfaces.length=99999999999");
        assertEquals("alloca() failed", raised(library::getInterfaces));
    }

    @Test
    void keysAreEncapsulated() throws Throwable {
        Template template = Template.of(CKA_TOKEN, false);
        token.answer("C_EncapsulateKey", "out=c1c2c3 key=55");
        NativePKCS11Encapsulation made = session.encapsulateKey(CKM_ML_KEM, null, key(9), template);
        assertEquals("c1c2c3", hex(made.getCiphertext()));
        String call = "C_EncapsulateKey session=0x7 mechanism=0x17 parameter=null/0 publicKey=0x9"
            + " template=[0x1@+24:00]";
        assertCalls(call + " capacity=32768");
        assertEquals("0x37", handleOf(made.getKey()));

        token.answer("C_DecapsulateKey", "key=56");
        assertEquals("0x38", handleOf(session.decapsulateKey(CKM_ML_KEM, null, key(8),
            made.getCiphertext(), template)));

        String[][] rows = { // the answer, the exception, the destroyed object
            {"out.length=32769 key=57", "CKR_BUFFER_TOO_SMALL", "object=0x39"},
            {"rv=CKR_BUFFER_TOO_SMALL out.length=40000", "CKR_BUFFER_TOO_SMALL", ""},
            {"rv=CKR_KEY_HANDLE_INVALID", "CKR_KEY_HANDLE_INVALID", ""}};
        for (String[] row : rows) {
            token.reset().answer("C_EncapsulateKey", row[0]);
            assertEquals(row[1], raised(() -> session.encapsulateKey(CKM_ML_KEM, null, key(9), template)), row[0]);
            String destroyed = calls().stream().filter(each -> each.startsWith("C_DestroyObject"))
                .findFirst().orElse("");
            assertTrue(destroyed.endsWith(row[2]) && destroyed.isEmpty() == row[2].isEmpty(), destroyed);
        }
    }

    // ---- Direct buffers ----

    private interface InOut {
        int run(ByteBuffer in, ByteBuffer out);
    }

    private static ByteBuffer direct(byte[] content) {
        return ByteBuffer.allocateDirect(content.length).put(content).flip();
    }

    private Map<String, InOut> inOut() {
        return Map.of("C_Encrypt", session::encrypt, "C_EncryptUpdate", session::encryptUpdate, "C_Decrypt",
            session::decrypt, "C_DecryptUpdate", session::decryptUpdate, "C_Digest", session::digest, "C_Sign",
            session::sign);
    }

    /** Input is read between position and limit; output is written from the position, and nowhere else. */
    @Test
    void positionsAndLimitsBoundEveryAccess() throws Throwable {
        for (String name : inOut().keySet()) {
            boolean sized = name.matches("C_(En|De)crypt.*");
            for (int capacity = 0; capacity < 6; capacity++) {
                ByteBuffer memory = direct(bytes(0x50, 9));
                ByteBuffer in = direct(bytes(1, 9)).position(2).limit(5).slice().asReadOnlyBuffer().position(1);
                ByteBuffer out = memory.duplicate().position(3).limit(3 + capacity);
                token.answer(name, "out=a1a2a3");
                calls();
                String length = outcome(() -> inOut().get(name).run(in, out));
                assertCalls(name + " session=0x7 in=0405 capacity=" + capacity);
                boolean fits = capacity >= 3;
                assertEquals(fits || sized ? "3" : "CKR_BUFFER_TOO_SMALL", length, name);
                assertEquals(fits ? List.of(3, 6) : List.of(1, 3), List.of(in.position(), out.position()), name);
                byte[] content = new byte[9];
                memory.get(content);
                assertEquals(fits ? "505152a1a2a3565758" : hex(bytes(0x50, 9)), hex(content), name);
            }
        }
        ByteBuffer out = direct(new byte[8]);
        assertEquals(List.of(1, 1), List.of(session.encryptFinal(out), session.decryptFinal(out)));
        assertEquals("efdf", hex(new byte[] {out.get(0), out.get(1)}));
        token.answer("C_DecryptFinal", "out=0102030405060708");
        assertEquals(8, session.decryptFinal(out), "the length needed");
        assertEquals(2, out.position());
        calls();
        for (Consumer<ByteBuffer> each : List.<Consumer<ByteBuffer>>of(session::digestUpdate, session::signUpdate,
            session::verifyUpdate)) {
            ByteBuffer in = direct(bytes(1, 9)).position(2).limit(5);
            each.accept(in);
            assertTrue(calls().get(0).endsWith(" in=030405"));
            assertEquals(5, in.position());
        }
        ByteBuffer data = direct(bytes(1, 3));
        ByteBuffer signature = direct(bytes(7, 2));
        assertTrue(session.verify(data, signature));
        assertCalls("C_Verify session=0x7 in=010203 signature=0708");
        token.answer("C_Verify", "rv=CKR_SIGNATURE_INVALID");
        assertFalse(session.verify(data.flip(), signature.flip()));
    }

    /** The input is copied where it overlaps the output. A wrong buffer is refused before any call. */
    @Test
    void overlappingAndWrongBuffers() throws Throwable {
        for (int distance = -4; distance <= 4; distance++) {
            ByteBuffer memory = direct(bytes(1, 16));
            ByteBuffer in = memory.duplicate().position(6).limit(9);
            ByteBuffer out = memory.duplicate().position(6 + distance).limit(10 + distance);
            token.answer("C_Encrypt", "scribble=1 out=a1a2a3a4");
            calls();
            assertEquals(4, session.encrypt(in, out));
            assertTrue(calls().get(0).endsWith(" in=070809 capacity=4"));
            assertEquals((byte) 0xa4, memory.get(9 + distance));
            assertEquals(List.of(9, 10 + distance), List.of(in.position(), out.position()));
        }
        ByteBuffer right = direct(new byte[4]);
        ByteBuffer heap = ByteBuffer.allocate(4);
        for (InOut call : inOut().values()) {
            assertThrows(IllegalArgumentException.class, () -> call.run(right, right));
            assertThrows(IllegalArgumentException.class, () -> call.run(heap, right));
            assertThrows(IllegalArgumentException.class, () -> call.run(right, heap));
            assertThrows(ReadOnlyBufferException.class, () -> call.run(right, right.asReadOnlyBuffer()));
            assertThrows(NullPointerException.class, () -> call.run(null, right));
        }
        assertThrows(IllegalArgumentException.class, () -> session.signUpdate(heap));
        assertThrows(ReadOnlyBufferException.class, () -> session.encryptFinal(right.asReadOnlyBuffer()));
    }
}
