package com.kelvane.tokbridge.test;

import static com.kelvane.tokbridge.test.Harness.*;
import static org.junit.jupiter.api.Assertions.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import java.nio.charset.*;
import java.util.*;
import java.util.function.*;
import java.util.stream.*;
import org.junit.jupiter.api.*;

/** Slots, their information and lists, the initialisation of tokens, and the management of sessions. */
class SessionTest extends SessionFixture {
    private static final String STRING_TOO_LONG = "copyStringBytes(): buffer too small for string!";
    private static final String BYTES_TOO_LONG = "copyBytes(): buffer too small!";
    private static final String WRONG_CLASS = "Object must be String or byte[]!";

    /** A label is padded and may have 32 bytes, a PIN 50. The label is checked first. */
    @Test
    void labelsAndPinsArePassedUpToTheirLimits() throws Throwable {
        String full = "0123456789abcdefghij0123456789ab";
        Object[][] labels = {{"label", hex("label" + " ".repeat(27))}, {full, hex(full)},
            {new byte[0], "20".repeat(32)}, {"\u20ac\0" + full.substring(5), "e282acc080" + hex(full.substring(5))}};
        for (Object[] label : labels) {
            slot.initToken(null, label[0]);
            assertCalls("C_InitToken slot=0x1 pin=null label=" + label[1]);
        }
        Object[][] refused = {{"x".repeat(33), STRING_TOO_LONG}, {"\u00e9".repeat(17), STRING_TOO_LONG},
            {new byte[33], BYTES_TOO_LONG}, {null, WRONG_CLASS}, {5, WRONG_CLASS}};
        for (Object[] label : refused) {
            assertRefused((String) label[1], () -> slot.initToken(new char[4], label[0]));
        }
        assertRefused(BYTES_TOO_LONG, () -> session.setPIN(new byte[51], 5));
        assertRefused(BYTES_TOO_LONG, () -> slot.initToken("p".repeat(51), new byte[33]));

        Map<String, Consumer<Object>> calls = Map.of( // the line of a call; "%" stands for the PIN
            "C_InitToken slot=0x1 pin=% label=" + hex("x".repeat(32)), pin -> slot.initToken(pin, "x".repeat(32)),
            "C_Login session=0x7 user=0x0 pin=%", pin -> session.login(true, pin),
            "C_Login session=0x7 user=0x1 pin=%", pin -> session.login(false, pin),
            "C_InitPIN session=0x7 pin=%", session::initPIN,
            "C_SetPIN session=0x7 oldPin=% newPin=6e", pin -> session.setPIN(pin, "n"),
            "C_SetPIN session=0x7 oldPin=6f newPin=%", pin -> session.setPIN("o", pin));
        calls.forEach((line, call) -> {
            for (String pin : List.of("", "p", "p".repeat(49), "p".repeat(50))) {
                call.accept(pin);
                call.accept(pin.getBytes(StandardCharsets.US_ASCII));
                assertCalls(line.replace("%", hex(pin)), line.replace("%", hex(pin)));
            }
            call.accept(null);
            assertCalls(line.replace("%", "null"));
        });
        for (Consumer<Object> call : calls.values()) {
            for (String pin : List.of("p".repeat(51), "\0".repeat(26), "p".repeat(3_000_000))) {
                assertRefused(STRING_TOO_LONG, () -> call.accept(pin));
            }
            assertRefused(BYTES_TOO_LONG, () -> call.accept(new byte[51]));
            assertRefused(WRONG_CLASS, () -> call.accept(new char[4]));
        }
    }

    @Test
    void sessionsAreOpenedAndClosed() throws Throwable {
        assertSame(slot, session.getSlot());
        for (NativePKCS11Slot any : List.of(slot, new NativePKCS11Slot(null, 1))) {
            assertRefused("Sorry, callbacks not supported!", () -> any.openSession(6, "callback"));
        }
        session.close();
        session.close(); // not detected
        assertNumber(7, session.getSessionID());
        assertCalls("C_CloseSession session=0x7", "C_CloseSession session=0x7");
    }

    @Test
    void operationStatesAreReadAndSet() throws Throwable {
        String[][] answers = { // the first, the second, the result
            {"out=0102ff", "out=0102ff", "[1, 2, -1]"},
            {"out=01020304", "out=0908", "[9, 8, 0, 0]"}, // the first length is the array's
            {"out=01", "out=0102", "CKR_BUFFER_TOO_SMALL"}, {"out=", "", "CKR_BUFFER_TOO_SMALL"},
            {"out=", "out=", "[]"}, {"out=01", "rv=0 out=0102 out.length=2", "CKR_BUFFER_TOO_SMALL"}};
        for (String[] each : answers) {
            token.answer("C_GetOperationState", each[0]).answer("C_GetOperationState", each[1]);
            assertEquals(each[2], outcome(session::getOperationState));
            assertEquals(2, calls().size());
        }
        for (String length : new String[] {"0x80000000", "0xffffffff", "0x100000003", "0xffffffffffffffff"}) {
            token.answer("C_GetOperationState", "out.length=" + length);
            assertEquals("getOperationState(): NewByteArray() failed", raised(session::getOperationState), length);
            assertEquals(1, calls().size(), "the second call is not made");
        }

        byte[] two = {1, 2};
        session.setOperationState(two, key(5), null);
        session.setOperationState(new byte[0], null, key(5));
        assertCalls("C_SetOperationState session=0x7 in=0102 encryptionKey=0x5 authenticationKey=0x0",
            "C_SetOperationState session=0x7 in= encryptionKey=0x0 authenticationKey=0x5");
        assertRefused("", () -> session.setOperationState(two, key(0), null));
        assertRefused("", () -> session.setOperationState(two, key(5), key(0)));
        assertRefused("", () -> new NativePKCS11Session(null, 7).setOperationState(null, key(0), null));
        token.answer("C_SetOperationState", "rv=CKR_SAVED_STATE_INVALID");
        assertEquals("setOperationState(): can't get elements",
            raised(() -> session.setOperationState(null, null, key(5))));
        assertEquals(1, calls().size(), "the module is called nevertheless");
    }

    @Test
    void randomBytesAreWrittenAtTheOffset() throws Throwable {
        byte[] buffer = new byte[6];
        token.answer("C_GenerateRandom", "rv=CKR_DEVICE_ERROR out=a0a1a2");
        assertEquals("CKR_DEVICE_ERROR", raised(() -> session.generateRandom(buffer, 2, 3)));
        assertEquals("[0, 0, -96, -95, -94, 0]", Arrays.toString(buffer));
        session.generateRandom(buffer, 6, 0);
        session.seedRandom(buffer, 6, 0);
        assertCalls("C_GenerateRandom session=0x7 capacity=3", "C_GenerateRandom session=0x7 capacity=0",
            "C_SeedRandom session=0x7 in=");
        assertRefused("CKR_BUFFER_TOO_SMALL", () -> session.generateRandom(buffer, 4, 3));
        assertRefused("CKR_DATA_INVALID", () -> session.seedRandom(null, 0, 0));
    }

    private void assertInfo(Object info, String properties, Object... values) throws ReflectiveOperationException {
        List<Object> found = new ArrayList<>();
        for (String property : properties.split(" ")) {
            found.add(info.getClass().getMethod("get" + property).invoke(info));
        }
        assertEquals(List.of(values), found);
    }

    @Test
    void informationIsReturnedWithTrimmedTextsAndTheLower32Bits() throws Throwable {
        token.answer("C_GetInfo", "cryptokiVersion=0214 manufacturerID='  Caf\u00e9 of  tokens  ' flags=0x1deadbeef"
            + " libraryDescription='12345678901234567890123456789012' libraryVersion=ff01");
        assertInfo(library.getInfo(), "CryptokiVersion ManufacturerID Flags LibraryDescription LibraryVersion"
            + " NativeVersion", 0x0214, "  Caf\u00e9 of  tokens", 0xdeadbeef, "12345678901234567890123456789012",
            0xff01, "KELVANE tokbridge %I% (Evaluation copy)");
        String slotInfo = "SlotDescription ManufacturerID Flags HardwareVersion FirmwareVersion";
        token.answer("C_GetSlotInfo", "slotDescription='Reader 1' manufacturerID='' flags=0xffffffffffffffff"
            + " hardwareVersion=0100 firmwareVersion=0005");
        assertInfo(slot.getInfo(), slotInfo, "Reader 1", "", -1, 256, 5);
        token.answer("C_GetSlotInfo", "slotDescription='" + "d".repeat(64) + "' manufacturerID=41092000c3a9");
        assertInfo(slot.getInfo(), slotInfo, "d".repeat(64), "A\t ", 1, 256, 5); // a NUL ends a text, a tab does not
        String words = "label='A label' manufacturerID='Maker' model='M1' serialNumber='0123456789abcdef'"
            + " ulMaxSessionCount=1 ulSessionCount=2 ulMaxRwSessionCount=3 ulRwSessionCount=4 ulMaxPinLen=5"
            + " ulMinPinLen=6 ulTotalPublicMemory=7 ulFreePublicMemory=0x100000008 ulTotalPrivateMemory=0xffffffff"
            + " ulFreePrivateMemory=0xffffffffffffffff hardwareVersion=0203 firmwareVersion=80ff"
            + " utcTime='20240229123456  '";
        token.answer("C_GetTokenInfo", words + " flags=0x440").answer("C_GetTokenInfo", words + " flags=0xffffffbf");
        assertInfo(slot.getTokenInfo(), "Label ManufacturerID Model SerialNumber Flags MaxSessionCount SessionCount"
            + " MaxRwSessionCount RwSessionCount MaxPinLen MinPinLen TotalPublicMemory FreePublicMemory"
            + " TotalPrivateMemory FreePrivateMemory HardwareVersion FirmwareVersion UtcTime", "A label", "Maker", "M1",
            "0123456789abcdef", 0x440, 1, 2, 3, 4, 5, 6, 7, 8, -1, -1, 0x0203, 0x80ff, "20240229123456");
        assertNull(slot.getTokenInfo().getUtcTime(), "a token without a clock");
        token.answer("C_GetMechanismInfo", "ulMinKeySize=0x80000000 ulMaxKeySize=0xffffffffffffffff flags=0x80000001");
        assertInfo(slot.getMechanismInfo(0x1082), "MinKeySize MaxKeySize Flags", 0x80000000, -1, 0x80000001);
        token.answer("C_GetSessionInfo", "slotID=99 state=3 flags=0x80000006 ulDeviceError=0xffffffffffffffff");
        assertInfo(session.getInfo(), "State Flags DeviceError", 3, 0x80000006, -1);
        token.answer("C_GetFunctionStatus", "rv=CKR_FUNCTION_NOT_PARALLEL").answer("C_GetFunctionStatus", "")
            .answer("C_CancelFunction", "rv=CKR_FUNCTION_NOT_PARALLEL");
        assertFalse(session.getFunctionStatus());
        assertTrue(session.getFunctionStatus());
        assertEquals("CKR_FUNCTION_NOT_PARALLEL", raised(session::cancelFunction));
    }

    @Test
    void slotsAndMechanismsAreListed() throws Throwable {
        token.always("C_GetSlotList", "slots=5,0,3");
        PKCS11Slot[] slots = library.getSlotList(true);
        assertSame(PKCS11Slot.class, slots.getClass().getComponentType());
        assertEquals(List.of(5, 0, 3), ids(slots));
        assertSame(library, ((NativePKCS11Slot) slots[0]).getPKCS11());
        calls();
        token.always("C_GetSlotList", "slots=");
        assertEquals(0, library.getSlotList(false).length);
        assertEquals("C_GetSlotList tokenPresent=0 capacity=null", calls().get(0));
        token.answer("C_GetSlotList", "slots=").answer("C_GetSlotList", "rv=CKR_BUFFER_TOO_SMALL slots.length=1");
        assertEquals(0, library.getSlotList(false).length, "some modules return this code for an empty list");
        token.answer("C_GetSlotList", "slots=1").answer("C_GetSlotList", "rv=CKR_BUFFER_TOO_SMALL");
        assertEquals("CKR_BUFFER_TOO_SMALL", raised(() -> library.getSlotList(false)));
        List<Integer> wanted = IntStream.range(0, 3000).boxed().collect(Collectors.toList());
        token.always("C_GetSlotList", "slots=" + wanted.toString().replaceAll("[\\[\\] ]", ""));
        assertEquals(wanted, ids(library.getSlotList(true)));
        token.always("C_GetMechanismList", "mechanisms=1,0,1,0x1080,0,0x80000001,0xffffffff,0x80000001");
        assertArrayEquals(new int[] {1, 0, 0x1080, 0x80000001, -1}, slot.getMechanismList());
        calls();
        token.always("C_GetMechanismList", "mechanisms=");
        assertArrayEquals(new int[0], slot.getMechanismList());
        assertEquals(2, calls().size(), "an empty list takes two calls too");
    }

    private static List<Integer> ids(PKCS11Slot[] slots) {
        return Arrays.stream(slots).map(each -> ((NativePKCS11Slot) each).getSlotID()).collect(Collectors.toList());
    }

    /** Checks what is raised after two answers to either list; "%" stands for its name. */
    private void assertLists(String first, String second, String slots, String mechanisms) throws Throwable {
        token.reset();
        for (String name : List.of("slots", "mechanisms")) {
            String function = name.equals("slots") ? "C_GetSlotList" : "C_GetMechanismList";
            token.answer(function, first.replace("%", name)).answer(function, second.replace("%", name));
        }
        assertEquals(slots, raised(() -> assertEquals(List.of(9), ids(library.getSlotList(true)))), second);
        assertEquals(mechanisms, raised(() -> assertArrayEquals(new int[] {9}, slot.getMechanismList())), second);
    }

    @Test
    void wrongCountsAreRefused() throws Throwable {
        assertLists("%=1,2,3", "%=9", "", ""); // the second count is used
        assertLists("%=1", "%=1,2", "CKR_BUFFER_TOO_SMALL", "CKR_BUFFER_TOO_SMALL");
        for (String count : List.of("2", "0xffffffff", "0x100000001", "0xffffffffffffffff")) {
            assertLists("%=1", "rv=0 %=1 %.length=" + count, "CKR_BUFFER_TOO_SMALL", "CKR_BUFFER_TOO_SMALL");
        }
        // More than a stack holds, and counts whose size in bytes wraps to a small one.
        for (String count : List.of("1000000", "0xffffffff", "0x100000001", "0x1000000000000001", "0x2000000000000001",
            "0x8000000000000000", "0xffffffffffffffff")) {
            assertLists("%.length=" + count, "", "alloca() failed", "getMechanismList(): alloca() failed");
            assertEquals(2, calls().size(), "the second call is not made");
        }
    }

    @Test
    void slotEventsAreReturned() throws Throwable {
        token.answer("C_WaitForSlotEvent", "rv=CKR_NO_EVENT").answer("C_WaitForSlotEvent", "rv=CKR_NO_EVENT")
            .answer("C_WaitForSlotEvent", "slot=4");
        assertNull(library.waitForSlotEvent(false));
        assertEquals("CKR_NO_EVENT", raised(() -> library.waitForSlotEvent(true)));
        assertEquals(4, library.waitForSlotEvent(false).getSlotID());
        assertEquals("C_WaitForSlotEvent flags=0x0 reserved=null", calls().get(1));
        token.steer("version 2 0");
        assertEquals("Function only available in Cryptoki 2.01!", raised(() -> library.waitForSlotEvent(false)));
        token.steer("version 2 1");
        assertEquals(1, library.waitForSlotEvent(true).getSlotID());
        assertEquals(1, calls().size());
    }
}
