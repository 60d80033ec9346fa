package com.kelvane.tokbridge.test;

import static com.kelvane.tokbridge.test.Harness.*;
import static com.kelvane.tokbridge.test.Raised.*;
import static org.junit.jupiter.api.Assertions.*;

import com.kelvane.pkcs11.nat.*;
import java.nio.charset.*;
import java.util.*;
import org.junit.jupiter.api.*;
import org.junit.jupiter.api.function.*;

/** Token initialisation, opening sessions, and what manages a session. */
class SessionTest extends SessionFixture {
    private static final String STRING_TOO_LONG = "copyStringBytes(): buffer too small for string!";
    private static final String BYTES_TOO_LONG = "copyBytes(): buffer too small!";
    private static final String WRONG_CLASS = "Object must be String or byte[]!";

    private static String hex(String text) {
        StringBuilder digits = new StringBuilder();
        for (byte each : text.getBytes(StandardCharsets.UTF_8)) {
            digits.append(String.format("%02x", each));
        }
        return digits.toString();
    }

    private void assertRefused(String message, Executable call) throws Throwable {
        assertEquals(message, raised(call));
        assertEquals(List.of(), calls());
    }

    @Test
    void initTokenPadsTheLabelAndPassesThePin() throws Throwable {
        String full = "0123456789abcdefghij0123456789ab";
        slot.initToken("1234", "label");
        slot.initToken(new byte[] {0, -1}, full);
        slot.initToken(null, new byte[0]);
        slot.initToken("", "\u20ac\0" + full.substring(5));
        assertEquals(List.of(
            "C_InitToken slot=0x1 pin=31323334 label=" + hex("label" + " ".repeat(27)),
            "C_InitToken slot=0x1 pin=00ff label=" + hex(full),
            "C_InitToken slot=0x1 pin=null label=" + hex(" ".repeat(32)),
            "C_InitToken slot=0x1 pin= label=e282acc080" + hex(full.substring(5))), calls());
    }

    @Test
    void labelsAndPinsHaveTheirLimits() throws Throwable {
        assertRefused(STRING_TOO_LONG, () -> slot.initToken("1234", "x".repeat(33)));
        assertRefused(STRING_TOO_LONG, () -> slot.initToken("1234", "\u00e9".repeat(17)));
        assertRefused(BYTES_TOO_LONG, () -> slot.initToken("1234", new byte[33]));
        assertRefused(WRONG_CLASS, () -> slot.initToken("1234", null));
        assertRefused(WRONG_CLASS, () -> slot.initToken("1234", 5));
        assertRefused(WRONG_CLASS, () -> slot.initToken(5, "label"));
        assertRefused(BYTES_TOO_LONG, () -> slot.initToken("p".repeat(51), new byte[33])); // the label goes first

        List<PinCall> calls = List.of(
            new PinCall("C_InitToken slot=0x1 pin=% label=" + hex("x".repeat(32)),
                pin -> slot.initToken(pin, "x".repeat(32))),
            new PinCall("C_Login session=0x7 user=0x0 pin=%", pin -> session.login(true, pin)),
            new PinCall("C_Login session=0x7 user=0x1 pin=%", pin -> session.login(false, pin)),
            new PinCall("C_InitPIN session=0x7 pin=%", session::initPIN),
            new PinCall("C_SetPIN session=0x7 oldPin=% newPin=6e", pin -> session.setPIN(pin, "n")),
            new PinCall("C_SetPIN session=0x7 oldPin=6f newPin=%", pin -> session.setPIN("o", pin)));
        for (PinCall each : calls) {
            for (int length : new int[] {0, 1, 49, 50}) {
                String pin = "p".repeat(length);
                each.call.accept(pin);
                each.call.accept(pin.getBytes(StandardCharsets.US_ASCII));
                String line = each.line.replace("%", hex(pin));
                assertEquals(List.of(line, line), calls());
            }
            each.call.accept(null);
            assertEquals(List.of(each.line.replace("%", "null")), calls());
            assertRefused(STRING_TOO_LONG, () -> each.call.accept("p".repeat(51)));
            assertRefused(STRING_TOO_LONG, () -> each.call.accept("\0".repeat(26)));
            assertRefused(STRING_TOO_LONG, () -> each.call.accept("p".repeat(3_000_000)));
            assertRefused(BYTES_TOO_LONG, () -> each.call.accept(new byte[51]));
            assertRefused(WRONG_CLASS, () -> each.call.accept(new char[4]));
        }
        assertRefused(BYTES_TOO_LONG, () -> session.setPIN(new byte[51], 5));
    }

    /** A call that passes a PIN, with the line that it leaves; "%" stands for the PIN. */
    private static final class PinCall {
        final String line;
        final java.util.function.Consumer<Object> call;

        PinCall(String line, java.util.function.Consumer<Object> call) {
            this.line = line;
            this.call = call;
        }
    }

    @Test
    void openingSessions() throws Throwable {
        token.answer("C_OpenSession", "session=9");
        NativePKCS11Session opened = slot.openSession(0, null);
        assertSame(slot, opened.getSlot());
        assertEquals(9, opened.getSessionID());
        assertEquals(List.of("C_OpenSession slot=0x1 flags=0x0 application=null notify=null"), calls());
        token.answer("C_OpenSession", "rv=0xb4");
        assertEquals("0xb4", raised(() -> slot.openSession(0, null)));
        calls();
        assertRefused("Sorry, callbacks not supported!", () -> slot.openSession(6, "callback"));
        assertRefused("Sorry, callbacks not supported!",
            () -> new NativePKCS11Slot(null, 1).openSession(6, new Object()));
    }

    @Test
    void closingLeavesTheJavaObjectsAlone() throws Throwable {
        session.close();
        token.always("C_Logout", "rv=0xb3");
        assertEquals(7, session.getSessionID());
        assertEquals("0xb3", raised(session::logout));
        slot.closeAllSessions();
        session.cancelFunction();
        assertEquals(List.of("C_CloseSession session=0x7", "C_Logout session=0x7", "C_CloseAllSessions slot=0x1",
            "C_CancelFunction session=0x7"), calls());
    }

    @Test
    void sessionInformation() {
        token.answer("C_GetSessionInfo", "slotID=99 state=3 flags=0x80000006 ulDeviceError=0xffffffffffffffff");
        assertEquals(List.of(3, 0x80000006, -1), get(session.getInfo(), "State Flags DeviceError"));
    }

    @Test
    void functionStatus() throws Throwable {
        token.answer("C_GetFunctionStatus", "rv=0x51").answer("C_GetFunctionStatus", "")
            .answer("C_CancelFunction", "rv=0x51");
        assertFalse(session.getFunctionStatus());
        assertTrue(session.getFunctionStatus());
        assertEquals("0x51", raised(session::cancelFunction));
    }

    @Test
    void operationStateIsReadInTwoCalls() throws Throwable {
        token.always("C_GetOperationState", "out=0102ff");
        assertArrayEquals(new byte[] {1, 2, -1}, session.getOperationState());
        assertEquals(List.of("C_GetOperationState session=0x7 room=null", "C_GetOperationState session=0x7 room=3"),
            calls());
        token.answer("C_GetOperationState", "out=01020304").answer("C_GetOperationState", "out=0908");
        assertArrayEquals(new byte[] {9, 8, 0, 0}, session.getOperationState(), "the first call's length stays");
        token.answer("C_GetOperationState", "out=01").answer("C_GetOperationState", "out=0102");
        assertEquals("0x150", raised(session::getOperationState));
        token.answer("C_GetOperationState", "out=");
        assertEquals("0x150", raised(session::getOperationState), "3 bytes do not fit into none");
        token.answer("C_GetOperationState", "out=01").answer("C_GetOperationState", "rv=0 out=0102 out.length=2");
        assertEquals("0x150", raised(session::getOperationState), "a length that the room cannot hold");
        token.always("C_GetOperationState", "out=");
        assertArrayEquals(new byte[0], session.getOperationState());
    }

    @Test
    void anOperationStateThatNoArrayHoldsIsRefused() throws Throwable {
        for (String length : new String[] {"0x80000000", "0xffffffff", "0x100000003", "0xffffffffffffffff"}) {
            calls();
            token.answer("C_GetOperationState", "out.length=" + length);
            assertEquals("getOperationState(): NewByteArray() failed", raised(session::getOperationState), length);
            assertEquals(1, calls().size(), "the second call is not made");
        }
    }

    @Test
    void setOperationState() throws Throwable {
        byte[] state = {1, 2};
        NativePKCS11Object key = new NativePKCS11Object(session, 5);
        NativePKCS11Object none = new NativePKCS11Object(session, 0);
        session.setOperationState(state, key, null);
        session.setOperationState(new byte[0], null, key);
        assertEquals(List.of("C_SetOperationState session=0x7 in=0102 encryptionKey=0x5 authenticationKey=0x0",
            "C_SetOperationState session=0x7 in= encryptionKey=0x0 authenticationKey=0x5"), calls());
        assertRefused("", () -> session.setOperationState(state, none, null));
        assertRefused("", () -> session.setOperationState(state, key, none));
        assertRefused("", () -> new NativePKCS11Session(null, 7).setOperationState(null, none, null));

        token.answer("C_SetOperationState", "rv=0x160").answer("C_SetOperationState", "rv=0x160");
        assertEquals("0x160", raised(() -> session.setOperationState(state, null, null)));
        calls();
        assertEquals("setOperationState(): can't get elements",
            raised(() -> session.setOperationState(null, null, key)));
        assertEquals(List.of("C_SetOperationState session=0x7 in=null encryptionKey=0x0 authenticationKey=0x5"),
            calls(), "the call is made all the same");
    }

    @Test
    void randomBytesGoWhereTheyAreAskedFor() throws Throwable {
        byte[] buffer = new byte[16];
        session.generateRandom(buffer, 4, 8);
        byte[] expected = new byte[16];
        for (int i = 0; i < 8; i++) {
            expected[4 + i] = (byte) (0xa0 + i);
        }
        assertArrayEquals(expected, buffer);
        session.generateRandom(buffer, 16, 0);
        session.generateRandom(new byte[0], 0, 0);
        session.seedRandom(new byte[] {1, 2, 3, 4}, 1, 2);
        session.seedRandom(buffer, 16, 0);
        assertEquals(List.of("C_GenerateRandom session=0x7 room=8", "C_GenerateRandom session=0x7 room=0",
            "C_GenerateRandom session=0x7 room=0", "C_SeedRandom session=0x7 in=0203", "C_SeedRandom session=0x7 in="),
            calls());

        Arrays.fill(buffer, (byte) 0);
        token.answer("C_GenerateRandom", "rv=0x30 out=ee");
        assertEquals("0x30", raised(() -> session.generateRandom(buffer, 1, 2)));
        assertEquals(0xee, buffer[1] & 0xff, "the array is copied back after a failure too");
    }

    @Test
    void rangesOutsideTheArrayNeverReachTheToken() throws Throwable {
        byte[] buffer = new byte[16];
        int max = Integer.MAX_VALUE;
        for (int[] range : new int[][] {{-1, 1}, {0, -1}, {Integer.MIN_VALUE, 0}, {-1, -1}, {17, -1}}) {
            assertRefused("0x20", () -> session.generateRandom(buffer, range[0], range[1]));
            assertRefused("0x20", () -> session.seedRandom(buffer, range[0], range[1]));
        }
        for (int[] range : new int[][] {{10, 8}, {0, 17}, {17, 0}, {16, 1}, {max, 0}, {1, max}, {max, max}}) {
            assertRefused("0x150", () -> session.generateRandom(buffer, range[0], range[1]));
            assertRefused("0x150", () -> session.seedRandom(buffer, range[0], range[1]));
        }
        assertRefused("0x20", () -> session.generateRandom(null, 0, 0));
        assertRefused("0x20", () -> session.seedRandom(null, 0, 0));
        assertRefused("obj is null", () -> with(session, "slot", null).seedRandom(null, 0, 0));
    }
}
