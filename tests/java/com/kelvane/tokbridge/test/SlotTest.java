package com.kelvane.tokbridge.test;

import static com.kelvane.tokbridge.test.Harness.*;
import static com.kelvane.tokbridge.test.Raised.*;
import static org.junit.jupiter.api.Assertions.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import java.util.*;
import java.util.stream.*;
import org.junit.jupiter.api.*;
import org.junit.jupiter.params.*;
import org.junit.jupiter.params.provider.*;

/** Information about the library, slots, tokens and mechanisms, and the two-call lists. */
class SlotTest extends SessionFixture {
    private static final String BUFFER_TOO_SMALL = "0x150";
    private static final String SLOT_INFO = "SlotDescription ManufacturerID Flags HardwareVersion FirmwareVersion";

    @Test
    void libraryInformation() {
        token.answer("C_GetInfo", "cryptokiVersion=0214 manufacturerID='  Maker of  tokens  ' flags=0x1deadbeef"
            + " libraryDescription='12345678901234567890123456789012' libraryVersion=ff01");
        assertEquals(List.of(0x0214, "  Maker of  tokens", 0xdeadbeef, "12345678901234567890123456789012", 0xff01,
            "KELVANE tokbridge %I% (Evaluation copy)"), get(library.getInfo(), "CryptokiVersion ManufacturerID Flags"
            + " LibraryDescription LibraryVersion NativeVersion"));
    }

    @Test
    void slotInformation() {
        token.answer("C_GetSlotInfo", "slotDescription='Reader 1' manufacturerID='' flags=0xffffffffffffffff"
            + " hardwareVersion=0100 firmwareVersion=0005");
        assertEquals(List.of("Reader 1", "", -1, 256, 5), get(slot.getInfo(), SLOT_INFO));
        token.answer("C_GetSlotInfo", "slotDescription='" + "d".repeat(64) + "' manufacturerID=41092000c3a9");
        assertEquals(List.of("d".repeat(64), "A\t "), get(slot.getInfo(), "SlotDescription ManufacturerID"),
            "a NUL ends a text, a tab does not");
        token.answer("C_GetSlotInfo", "manufacturerID='Caf\u00e9 '");
        assertEquals("Caf\u00e9", slot.getInfo().getManufacturerID());
        assertEquals(List.of("C_GetSlotInfo slot=0x1"), calls().subList(0, 1));
    }

    @Test
    void tokenInformation() {
        String words = "label='A label' manufacturerID='Maker' model='M1' serialNumber='0123456789abcdef'"
            + " ulMaxSessionCount=1 ulSessionCount=2 ulMaxRwSessionCount=3 ulRwSessionCount=4 ulMaxPinLen=5"
            + " ulMinPinLen=6 ulTotalPublicMemory=7 ulFreePublicMemory=0x100000008 ulTotalPrivateMemory=0xffffffff"
            + " ulFreePrivateMemory=0xffffffffffffffff hardwareVersion=0203 firmwareVersion=80ff"
            + " utcTime='20240229123456  '";
        token.answer("C_GetTokenInfo", words + " flags=0x440");
        assertEquals(List.of("A label", "Maker", "M1", "0123456789abcdef", 0x440, 1, 2, 3, 4, 5, 6, 7, 8, -1, -1,
            0x0203, 0x80ff, "20240229123456"), get(slot.getTokenInfo(), "Label ManufacturerID Model SerialNumber Flags"
            + " MaxSessionCount SessionCount MaxRwSessionCount RwSessionCount MaxPinLen MinPinLen TotalPublicMemory"
            + " FreePublicMemory TotalPrivateMemory FreePrivateMemory HardwareVersion FirmwareVersion UtcTime"));
        token.answer("C_GetTokenInfo", words + " flags=0xffffffbf");
        assertNull(slot.getTokenInfo().getUtcTime(), "a token without a clock");
        assertEquals(List.of("C_GetTokenInfo slot=0x1", "C_GetTokenInfo slot=0x1"), calls());
    }

    @Test
    void mechanismInformation() throws Throwable {
        token.answer("C_GetMechanismInfo", "ulMinKeySize=0x80000000 ulMaxKeySize=0xffffffffffffffff flags=0x80000001");
        assertEquals(List.of(0x80000000, -1, 0x80000001), get(slot.getMechanismInfo(0x1082),
            "MinKeySize MaxKeySize Flags"));
        token.answer("C_GetMechanismInfo", "rv=0x70");
        assertEquals("0x70", raised(() -> slot.getMechanismInfo(0)));
        assertEquals(List.of("C_GetMechanismInfo slot=0x1 type=0x1082", "C_GetMechanismInfo slot=0x1 type=0x0"),
            calls());
    }

    @Test
    void slotList() {
        token.always("C_GetSlotList", "slots=5,0,3");
        PKCS11Slot[] slots = library.getSlotList(true);
        assertSame(PKCS11Slot.class, slots.getClass().getComponentType());
        assertEquals(List.of(5, 0, 3), ids(slots));
        assertSame(library, ((NativePKCS11Slot) slots[0]).getPKCS11());
        assertEquals(List.of("C_GetSlotList tokenPresent=1 room=null", "C_GetSlotList tokenPresent=1 room=3"), calls());
        token.always("C_GetSlotList", "slots=");
        assertEquals(0, library.getSlotList(false).length);
        assertEquals("C_GetSlotList tokenPresent=0 room=null", calls().get(0));
    }

    @Test
    void manySlots() {
        List<Integer> wanted = IntStream.range(0, 3000).boxed().collect(Collectors.toList());
        token.always("C_GetSlotList", "slots=" + wanted.toString().replaceAll("[\\[\\] ]", ""));
        assertEquals(wanted, ids(library.getSlotList(true)));
    }

    private static List<Integer> ids(PKCS11Slot[] slots) {
        return Arrays.stream(slots).map(each -> ((NativePKCS11Slot) each).getSlotID()).collect(Collectors.toList());
    }

    @Test
    void mechanismListWithoutRepeats() {
        token.always("C_GetMechanismList", "mechanisms=1,0,1,0x1080,0,0x80000001,0xffffffff,0x80000001");
        assertArrayEquals(new int[] {1, 0, 0x1080, 0x80000001, -1}, slot.getMechanismList());
        assertEquals(List.of("C_GetMechanismList slot=0x1 room=null", "C_GetMechanismList slot=0x1 room=8"), calls());
        token.always("C_GetMechanismList", "mechanisms=");
        assertArrayEquals(new int[0], slot.getMechanismList());
        assertEquals(2, calls().size(), "both calls are made for an empty list");
    }

    @Test
    void theSecondCountIsTheOneThatCounts() throws Throwable {
        token.answer("C_GetSlotList", "slots=1,2,3").answer("C_GetSlotList", "slots=9");
        assertEquals(List.of(9), ids(library.getSlotList(true)));
        token.answer("C_GetMechanismList", "mechanisms=1,2,3").answer("C_GetMechanismList", "mechanisms=9,9");
        assertArrayEquals(new int[] {9}, slot.getMechanismList());

        token.answer("C_GetSlotList", "slots=1").answer("C_GetSlotList", "slots=1,2");
        assertEquals(BUFFER_TOO_SMALL, raised(() -> library.getSlotList(true)));
        token.answer("C_GetMechanismList", "mechanisms=1").answer("C_GetMechanismList", "mechanisms=1,2");
        assertEquals(BUFFER_TOO_SMALL, raised(slot::getMechanismList));
    }

    @ParameterizedTest
    @ValueSource(strings = {"2", "0xffffffff", "0x100000001", "0xffffffffffffffff"})
    void aCountBeyondTheRoomIsNeverRead(String count) throws Throwable {
        token.answer("C_GetSlotList", "slots=1").answer("C_GetSlotList", "rv=0 slots=1 slots.length=" + count);
        assertEquals(BUFFER_TOO_SMALL, raised(() -> library.getSlotList(true)));
        token.answer("C_GetMechanismList", "mechanisms=1")
            .answer("C_GetMechanismList", "rv=0 mechanisms=1 mechanisms.length=" + count);
        assertEquals(BUFFER_TOO_SMALL, raised(slot::getMechanismList));
    }

    /** Counts for which no stack has room, and counts whose size in bytes wraps to something small. */
    @ParameterizedTest
    @CsvSource({"1000000", "0xffffffff", "0x100000001", "0x1000000000000001", "0x2000000000000001",
        "0x8000000000000000", "0xffffffffffffffff"})
    void aCountThatCannotBeReservedIsRefused(String count) throws Throwable {
        token.answer("C_GetSlotList", "slots.length=" + count);
        assertEquals("alloca() failed", raised(() -> library.getSlotList(true)));
        token.answer("C_GetMechanismList", "mechanisms.length=" + count);
        assertEquals("getMechanismList(): alloca() failed", raised(slot::getMechanismList));
        assertEquals(2, calls().size(), "the second call is not made");
    }

    @Test
    void slotEvents() throws Throwable {
        token.answer("C_WaitForSlotEvent", "rv=0x8").answer("C_WaitForSlotEvent", "rv=0x8")
            .answer("C_WaitForSlotEvent", "slot=4");
        assertNull(library.waitForSlotEvent(false));
        assertEquals("0x8", raised(() -> library.waitForSlotEvent(true)));
        assertEquals(4, library.waitForSlotEvent(false).getSlotID());
        assertEquals(List.of("C_WaitForSlotEvent flags=0x1 reserved=null", "C_WaitForSlotEvent flags=0x0 reserved=null",
            "C_WaitForSlotEvent flags=0x1 reserved=null"), calls());
        token.version(2, 0);
        assertEquals("Function only available in Cryptoki 2.01!", raised(() -> library.waitForSlotEvent(false)));
        token.version(2, 1);
        assertEquals(1, library.waitForSlotEvent(true).getSlotID());
        assertEquals(1, calls().size());
    }
}
