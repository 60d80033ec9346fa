package com.kelvane.tokbridge.test;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static com.kelvane.tokbridge.test.Harness.*;
import static org.junit.jupiter.api.Assertions.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import java.lang.reflect.Field;
import java.math.*;
import java.util.*;
import java.util.stream.*;
import org.junit.jupiter.api.*;

/** Templates as a module receives them, objects created, found and changed with them, and attributes read back. */
class ObjectTest extends SessionFixture {
    private static final String INVALID = "CKR_ATTRIBUTE_VALUE_INVALID";
    private static final String UNKNOWN = "CKR_ATTRIBUTE_TYPE_INVALID";
    private static final String SENSITIVE = "CKR_ATTRIBUTE_SENSITIVE";
    private static final String TOO_SMALL = "CKR_BUFFER_TOO_SMALL";
    private static final int CLASS = CKA_CLASS, TOKEN = CKA_TOKEN, LABEL = CKA_LABEL, VALUE = CKA_VALUE,
        START = CKA_START_DATE, MODULUS = CKA_MODULUS;
    private static final String NO_SPACE = "no space for encoded attribute!";

    /** The template of one attribute that a module receives, without its type: "@+24:01". */
    private String encoded(int type, Object value) {
        session.findObjectsInit(new int[] {type}, new Object[] {value});
        return calls().get(0).replaceFirst("C_FindObjectsInit session=0x7 template=\\[0x" + Integer.toHexString(type)
            + "(.*)\\]", "$1");
    }

    @Test
    void valuesOfEveryKindAreEncoded() throws Throwable {
        Object[][] rows = {{TOKEN, true, "01"}, {CLASS, 0x80000001, "0100008000000000"},
            {LABEL, "\u20ac\0", "e282acc080"}, {LABEL, new byte[] {9, 0}, "0900"}, {LABEL, "", ""}, {LABEL, null, ""},
            {VALUE, new byte[] {-1, 0}, "ff00"}, {VALUE, null, ""},
            {START, new Date(0), hex("19700101")}, {START, new Date(1709251199999L), hex("20240229")},
            {START, new Date(253402300799999L), hex("99991231")}, {START, null, ""},
            {MODULUS, new byte[] {0, 1}, "0001"}, {MODULUS, null, ""}, {CKA_HW_FEATURE_TYPE, 4, "0400000000000000"},
            {CKA_ALLOWED_MECHANISMS, new int[] {CKM_AES_CBC, 0x80000001}, "82100000000000000100008000000000"},
            {CKA_ALLOWED_MECHANISMS, new int[0], ""}, {VALUE, new byte[262144], "00".repeat(262144)}};
        for (Object[] row : rows) {
            assertEquals("@+24:" + row[2], encoded((int) row[0], row[1]), nameOf("CKA_", (int) row[0]));
        }
        Map.of("0", "00", "255", "ff", "128", "80", "127", "7f", "-1", "ff", "256", "0100", "-18446744073709551616",
            "ff0000000000000000").forEach((number, digits) ->
                assertEquals("@+24:" + digits, encoded(MODULUS, new BigInteger(number))));
        session.createObject(new int[] {CLASS, -1, TOKEN, LABEL}, new Object[] {3, "skipped", true, "ab"});
        session.createObject(new int[0], new Object[0]);
        session.createObject(null, new Object[0]);
        session.createObject(new int[1], null);
        assertCalls("C_CreateObject session=0x7 template=[0x0@+96:0300000000000000 0x1@+104:01 0x3@+105:6162]",
            "C_CreateObject session=0x7 template=[]", "C_CreateObject session=0x7 template=null",
            "C_CreateObject session=0x7 template=null");
    }

    /** The begin of the message with which a template refuses an attribute; empty if it does not. */
    private static String refusal(int type, Object value) {
        try {
            Template.of(type, value);
            return "";
        } catch (IllegalArgumentException e) {
            return e.getMessage().replaceFirst("( takes | is not).*", "$1");
        }
    }

    /** The annotated constants against the library: the classes of value of every attribute, encoded and read. */
    @Test
    void everyAttributeHasTheValuesOfItsKind() throws Throwable {
        Object[] values = {true, 1, "label", new byte[1], new Date(0), BigInteger.ONE, new int[1], null,
            Template.of(TOKEN, true), new Object(), key(9), 'x', new Integer[0], new long[1]};
        String[] bytes = {"01", "0100000000000000", hex("label"), "00", hex("19700101"), "01", "0000000000000000", "",
            "[0x1@+24:01]"};
        Map<String, String> taken = Map.of("BOOLEAN", "0", "INTEGER", "1", "STRING", "237", "BYTES", "37", "DATE",
            "47", "BIG_INTEGER", "537", "NUMBERS", "67", "ATTRIBUTES", "87"); // indexes of values
        Map<Integer, String> rows = attributes();
        Map<String, Long> sums = rows.keySet().stream().collect(Collectors.groupingBy(rows::get, TreeMap::new,
            Collectors.summingLong(type -> type)));
        assertEquals("{ATTRIBUTES=3221230219, BIG_INTEGER=3254, BOOLEAN=14693, BYTES=35878, DATE=545, INTEGER=49783, "
            + "NUMBERS=1073746485, STRING=13719}", sums.toString(), "every attribute is in its group");
        Set<Integer> shown = Set.of(CKA_ID, CKA_SERIAL_NUMBER, CKA_EC_PARAMS, CKA_PUBLIC_EXPONENT);
        byte[] secret = {0x12, 0x34, 0x56, 0x78}; // 305419896
        for (int type : rows.keySet()) {
            String kind = rows.get(type);
            String name = nameOf("CKA_", type) + " " + kind;
            for (int i = 0; i < values.length; i++) {
                Object value = values[i];
                boolean takes = i < bytes.length && taken.get(kind).contains("" + i);
                assertEquals(takes ? "" : INVALID, raised(() -> key(9).setAttributeValue(type, value)), name + "/" + i);
                assertEquals(takes ? List.of(bytes[i]) : List.of(), calls().stream().map(each ->
                    each.replaceAll(".* template=\\[\\w+@([-+]\\d+:|null/0)|]$", "")).collect(Collectors.toList()),
                        name + "/" + i);
                assertEquals(takes ? "" : nameOf("CKA_", type) + " takes ", refusal(type, value));
            }
            if (kind.equals("BYTES") || kind.equals("BIG_INTEGER")) {
                String text = Template.of(type, kind.equals("BYTES") ? secret : new BigInteger(secret)).toString();
                assertEquals(shown.contains(type), text.contains(hex(secret)) || text.contains("305419896"), text);
            }
            String stored = Map.of("BOOLEAN", "01", "DATE", hex("20240229"), "STRING", "6162").getOrDefault(kind,
                "0100000000000000");
            boolean template = kind.equals("ATTRIBUTES");
            token.always("C_GetAttributeValue",
                "0x" + Integer.toHexString(type) + "=" + (template ? "0x1:01" : stored));
            Object read = key(9).getAttributeValue(type);
            assertEquals(values[taken.get(kind).charAt(0) - '0'].getClass(), read.getClass(), name);
            key(9).setAttributeValue(type, read);
            assertTrue(calls().toString().contains(template ? ":[0x1@+24:01]]" : ":" + stored + "]"), name);
        }
        for (Object[] wrong : new Object[][] {{TOKEN}, {"label", 1}, {null, 1}, {TOKEN, true, TOKEN, true}}) {
            assertThrows(IllegalArgumentException.class, () -> Template.of(wrong));
        }
        for (Field field : PKCS11Constants.class.getFields()) {
            if (field.getName().startsWith("CKA_") && !rows.containsKey(field.getInt(null))) {
                assertRefused(UNKNOWN, () -> key(9).setAttributeValue(field.getInt(null), new byte[1]));
                assertEquals(nameOf("CKA_", field.getInt(null)) + " is not", refusal(field.getInt(null), new byte[1]));
            }
        }
    }

    @Test
    void wrongValuesAreRefused() throws Throwable {
        for (long time : new long[] {-1, Long.MIN_VALUE, 253402300800000L, Long.MAX_VALUE}) {
            assertRefused(INVALID, () -> encoded(START, new Date(time)));
        }
        for (int type : new int[] {0x80000000, 0x80000001, 0x12345}) {
            assertRefused(UNKNOWN, () -> encoded(type, new byte[1]));
            assertRefused(UNKNOWN, () -> key(9).getBoolAttributeValue(type));
            assertRefused(UNKNOWN, () -> key(9).getAttributeValue(type));
            assertRefused(UNKNOWN, () -> key(9).setIntAttributeValue(type, 1));
        }
        assertRefused("CKR_TEMPLATE_INCONSISTENT", () -> session.findObjectsInit(new int[2], new Object[1]));
        byte[] huge = new byte[64 << 20];
        assertRefused("memory allocation for temporary template failed!", () -> encoded(VALUE, huge));
        assertRefused(NO_SPACE, () -> key(9).setAttributeValue(VALUE, huge));
        assertRefused("copyStringBytes(): no space for encoded String!",
            () -> key(9).setAttributeValue(LABEL, "x".repeat(2 << 20)));
    }

    @Test
    void objectsAreCreatedCopiedAndFound() throws Throwable {
        assertEquals("0x64", handleOf(session.createObject(null, null)));
        NativePKCS11Session other = new NativePKCS11Session(slot, 8);
        NativePKCS11Object foreign = new NativePKCS11Object(other, 0x80000005);
        assertSame(session, session.copy(foreign, null, null).getSession());
        assertSame(other, foreign.copy(null, null).getSession());
        session.destroyObject(foreign);
        assertCalls("C_CopyObject session=0x7 source=0x80000005 template=null",
            "C_CopyObject session=0x8 source=0x80000005 template=null",
            "C_DestroyObject session=0x7 object=0x80000005");
        token.answer("C_GetObjectSize", "size=0xffffffffffffffff");
        assertEquals(-1, foreign.size());
        token.answer("C_FindObjects", "objects=5");
        assertEquals("0x5", handleOf(session.findObject()));
        assertNull(session.findObject());
        for (String count : List.of("2", "0xffffffffffffffff")) {
            token.answer("C_FindObjects", "rv=0 objects=5 objects.length=" + count);
            assertEquals(TOO_SMALL, raised(session::findObject), "more than requested");
        }
    }

    @Test
    void handleZeroAndNullAreCheckedBeforeTheReceiver() throws Throwable {
        NativePKCS11Object none = key(0);
        session.destroyObject(none);
        assertNull(session.copy(none, null, null));
        assertNull(session.getStringAttributeValue(none, LABEL));
        assertCalls();
        assertRefused("obj is null", () -> session.destroyObject(null));
        assertRefused("obj is null", () -> session.copy(null, null, null));
        assertRefused("obj is null", () -> session.getAttributeValue(null, LABEL));
        assertRefused(UNKNOWN, () -> new NativePKCS11Object(null, 9).setIntAttributeValue(TOKEN, 1));
        assertRefused("CKR_TEMPLATE_INCONSISTENT", () -> with(session, "slot", null).createObject(new int[1],
            new Object[0]));
    }

    private void answer(String... words) {
        Stream.of(words).forEach(each -> token.answer("C_GetAttributeValue", each));
    }

    @Test
    void valuesAreReadByTheirKind() throws Throwable {
        NativePKCS11Object key = key(9);
        Object[][] rows = { // attribute, answer of the module, result
            {LABEL, "0x3='a b  '", "a b  "}, {START, "0x110=", "null"}, {MODULUS, "0x120=", "0"},
            {VALUE, "0x11=", "[]"}, {TOKEN, "rv=0 0x1=fe", "true"}, {TOKEN, "rv=0 0x1=0101", INVALID},
            {TOKEN, "rv=0 0x1=", INVALID}, {TOKEN, "rv=0 0x1.length=0xffffffffffffffff", INVALID},
            {CLASS, "rv=0 0x0.length=4", INVALID}};
        for (Object[] row : rows) {
            token.always("C_GetAttributeValue", (String) row[1]);
            assertEquals(row[2], outcome(() -> key.getAttributeValue((int) row[0])), (String) row[1]);
        }
        token.always("C_GetAttributeValue", "0x1=02 0x80000001=07");
        assertEquals(true, key.getBoolAttributeValue(TOKEN), "any byte but 0");
        assertArrayEquals(new byte[] {7}, key.getByteArrayAttributeValue(0x80000001));
        String[][] numbers = { // answer of the module, result
            {"=", "[]"}, {"=82100000000000000100008099999999", "[" + CKM_AES_CBC + ", " + 0x80000001 + "]"},
            {"=01020304050607", INVALID}, {".length=0x400000 rv=0", "alloca() failed"}};
        for (String[] each : numbers) {
            token.always("C_GetAttributeValue", "0x40000600" + each[0]);
            int[] type = {CKA_ALLOWED_MECHANISMS};
            assertEquals(each[1], outcome(() -> key.getAttributeValue(type[0])));
            assertEquals(each[1], outcome(() -> session.getAttributeValues(key, type, 1)[0]));
        }
    }

    private long milliseconds(String date, String zone) throws Throwable {
        long[] result = new long[1];
        answer("0x110='" + date + "'");
        withEnvironment("TZ", zone, () -> result[0] = key(9).getDateAttributeValue(START).getTime());
        return result[0];
    }

    @Test
    void datesAreReadInTheZoneOfTheProcess() throws Throwable {
        Map<String, Long> dates = Map.of("20240229", 1709164800000L, "19700101", 0L, "19691231", -86400000L, "2024 2 9",
            1707436800000L, "+0240229", -61404739200000L, "20240000", 1701302400000L);
        for (String date : dates.keySet()) {
            assertEquals(dates.get(date), milliseconds(date, "UTC0"));
            assertEquals(dates.get(date) - 7200_000, milliseconds(date, "XYZ-2"));
        }
        assertEquals(1719788400000L, milliseconds("20240701", "CET-1CEST,M3.5.0,M10.5.0/3"), "no daylight saving");
        for (String wrong : List.of("'2024AB01'", "'2024022'", "'202402291'", "'        '", "'2024+-01'")) {
            answer("rv=0 0x110=" + wrong);
            assertEquals(INVALID, raised(() -> key(9).getDateAttributeValue(START)), wrong);
        }
    }

    /** They are aligned, with their values behind them, and not nested further; any type can be read. */
    @Test
    void aTemplateMayBeAValue() throws Throwable {
        Template inner = Template.of(LABEL, "abc", CLASS, 4, VALUE, null);
        assertEquals("@+24:[0x3@+72:616263 0x0@+75:0400000000000000 0x11@+83:]", encoded(CKA_WRAP_TEMPLATE, inner));
        session.findObjectsInit(new int[] {LABEL, CKA_UNWRAP_TEMPLATE}, new Object[] {"a", Template.of(TOKEN, true)});
        assertCalls("C_FindObjectsInit session=0x7 template=[0x3@+48:61 0x40000212@+56:[0x1@+24:01]]");
        for (Object wrong : new Object[] {Template.of(CKA_DERIVE_TEMPLATE, inner), new Object[0]}) {
            assertRefused(INVALID, () -> encoded(CKA_WRAP_TEMPLATE, wrong));
        }
        assertEquals("CKA_WRAP_TEMPLATE takes ", refusal(CKA_WRAP_TEMPLATE, Template.of(CKA_WRAP_TEMPLATE, null).and(
            CKA_DERIVE_TEMPLATE, inner)));

        String[][] rows = { // answer of the module, result
            {"0x40000211=0x0:0400000000000000,0x1:01,0x3:6162,0x110:3230323430323239,0x120:ff01,0x80000001:0708,"
                + "0x40000600:8210000000000000", "[CKA_CLASS=CKO_SECRET_KEY, CKA_TOKEN=true, CKA_START_DATE=DAY, "
                + "CKA_MODULUS=16 bits, CKA_LABEL=\"ab\", CKA_ALLOWED_MECHANISMS=[CKM_AES_CBC], "
                + "CKA_0x80000001=2 bytes]"},
            {"0x40000211=0x3:" + "61".repeat(16) + ",0x40000600:8210000000000000",
                "[CKA_LABEL=\"aaaaaaaaaaaaaaaa\", CKA_ALLOWED_MECHANISMS=[CKM_AES_CBC]]"},
            {"0x40000211=", "[]"}, {"0x40000211=0x3:,0x120:,0x110:", "[CKA_START_DATE=null, CKA_MODULUS=null, "
                + "CKA_LABEL=null]"}, {"0x40000211=0x1:0101", INVALID}, {"0x40000211=0x0:01", INVALID},
            {"0x40000211=0x1:01 0x40000211.length=25", INVALID},
            {"0x40000211=0x1:01 rv=CKR_ATTRIBUTE_SENSITIVE", SENSITIVE},
            {"0x40000211= 0x40000211.length=0x3000000", "alloca() failed"},
            {"0x40000211= 0x40000211.length=0xfffffffffffffff0", "alloca() failed"}};
        for (String[] row : rows) {
            token.always("C_GetAttributeValue", row[0]);
            String date = String.valueOf(new Date(1709164800000L));
            withEnvironment("TZ", "UTC0", () -> {
                assertEquals(row[1].replace("DAY", date), outcome(() -> key(9).getAttributeValue(CKA_WRAP_TEMPLATE)));
                assertEquals(row[1].replace("DAY", date),
                    outcome(() -> session.getAttributeValues(key(9), new int[] {CKA_WRAP_TEMPLATE}, 1)[0]));
            });
        }
        String[][] changed = { // third answer, result
            {"0x3:616263", TOO_SMALL}, {"0x3:6162,0x3.length:64", TOO_SMALL}, {"0x3:61", "[CKA_LABEL=\"a\"]"},
            {"0x3:6162 0x40000211.length=0", INVALID}, {"0x102:6162", "[CKA_LABEL=\"ab\"]"}};
        for (String[] each : changed) {
            answer("0x40000211=0x3:6162", "0x40000211=0x3:6162", "0x40000211=" + each[0]);
            assertEquals(each[1], outcome(() -> key(9).getAttributeValue(CKA_WRAP_TEMPLATE)), each[0]);
        }
    }

    /** The two calls of a module may return different lengths, also beyond the buffer. */
    @Test
    void wrongLengthsAreRefused() throws Throwable {
        String[][] rows = { // first and second answer, result as String, byte[] and BigInteger
            {"0x3=6161", "0x3=62", "b", "[98]", "98"}, {"0x3=6161", "0x3=", "", "[]", "0"},
            {"0x3=61", "rv=0 0x3=62 0x3.length=2", TOO_SMALL, TOO_SMALL, TOO_SMALL},
            {"0x3=61", "rv=CKR_ATTRIBUTE_SENSITIVE", SENSITIVE, SENSITIVE, SENSITIVE},
            {"0x3=61", "rv=0 0x3.length=0xffffffffffffffff", TOO_SMALL, TOO_SMALL, TOO_SMALL},
            {"0x3.length=0x80000000", "", "getStringAttributeValue(): alloca() failed", "NewByteArray() failed",
                "NewByteArray() failed"},
            {"0x3.length=0xffffffffffffffff", "", "getStringAttributeValue(): alloca() failed",
                "NewByteArray() failed", "NewByteArray() failed"}};
        for (String[] row : rows) {
            for (int i = 0; i < 3; i++) {
                int kind = new int[] {LABEL, VALUE, MODULUS}[i];
                String type = "0x" + Integer.toHexString(kind);
                token.reset();
                answer(row[0].replace("0x3", type), row[1].replace("0x3", type));
                assertEquals(row[2 + i], outcome(() -> key(9).getAttributeValue(kind)), type + Arrays.toString(row));
            }
        }
    }

    /** The label is sensitive, the class absent, the date empty. */
    @Test
    void readAttributesSkipsWhatAnObjectDoesNotReturn() throws Throwable {
        answer("", "rv=CKR_ATTRIBUTE_SENSITIVE", "rv=CKR_ATTRIBUTE_TYPE_INVALID", "rv=CKR_ATTRIBUTE_TYPE_INVALID",
            "0x80000001=07", "0x80000001=07", "0x110=");
        PKCS11Attributes read = key(9).readAttributes(TOKEN, LABEL, CLASS, 0x80000001, START);
        assertEquals(Arrays.asList(true, null, null, null),
            Arrays.asList(read.get(TOKEN), read.get(LABEL), read.get(CLASS), read.get(START)));
        assertArrayEquals(new byte[] {7}, (byte[]) read.get(0x80000001));
        assertTrue(read.has(TOKEN) && read.isTrue(TOKEN) && read.has(START) && read.isSensitive(LABEL));
        assertEquals("[CKA_TOKEN=true, CKA_0x80000001=1 bytes, CKA_START_DATE=null, CKA_LABEL sensitive]",
            read.toString());
        assertNull(read.getInteger(CLASS));
        assertThrows(IllegalArgumentException.class, () -> read.getString(TOKEN));
        assertFalse(read.has(LABEL) || read.has(CLASS) || read.has(VALUE) || read.isSensitive(CLASS));
        answer("rv=CKR_GENERAL_ERROR", "", "", "");
        assertEquals("[CKA_TOKEN=true]", key(9).readAttributes(LABEL, TOKEN).toString(), "of the label alone");
        answer("");
        token.always("C_GetAttributeValue", "rv=CKR_SESSION_HANDLE_INVALID");
        assertEquals("CKR_SESSION_HANDLE_INVALID", raised(() -> key(9).readAttributes(TOKEN, LABEL)));
    }

    @Test
    void attributesOfImpossibleLengthAreAbsent() throws Throwable {
        int[] types = {CLASS, TOKEN, START, VALUE, MODULUS, CKA_APPLICATION, CKA_ALLOWED_MECHANISMS, 0x80000001, LABEL};
        StringBuilder lengths = new StringBuilder("rv=0 0x3=" + "78".repeat(1 << 20));
        for (int i = 0; i < 8; i++) {
            lengths.append(String.format(" 0x%x.length=0xffffffffffffffff", types[i]));
        }
        token.always("C_GetAttributeValue", lengths.toString());
        PKCS11Attributes read = key(9).readAttributes(types);
        assertEquals("x".repeat(1 << 20), read.getString(LABEL));
        assertEquals(0, Arrays.stream(types, 0, 8).filter(type -> read.has(type) || read.isSensitive(type)).count());
        token.always("C_GetAttributeValue", "rv=0 0x0=01 0x1= 0x110='20242'");
        assertEquals("[]", key(9).readAttributes(CLASS, TOKEN, START).toString());
    }

    @Test
    void getAttributeValuesReadsAllAtOnce() throws Throwable {
        int[] types = {TOKEN, CLASS, LABEL, 0x80000001, VALUE, START, MODULUS, TOKEN};
        token.always("C_GetAttributeValue", "0x80000001=07");
        Object[] expected = {true, 3, "label", null, new byte[] {1, 2}, key(9).getDateAttributeValue(START),
            BigInteger.valueOf(0xff01)};
        calls();
        assertArrayEquals(expected, session.getAttributeValues(key(9), types, 7));
        answer("0x3= 0x11= 0x110= 0x120=");
        assertArrayEquals(new Object[] {null, new byte[0], null, null},
            session.getAttributeValues(key(9), new int[] {LABEL, VALUE, START, MODULUS}, 4));
        calls();

        answer("rv=0 0x1=0101 0x3.length=2 0x11.length=2", "rv=CKR_ATTRIBUTE_SENSITIVE");
        assertEquals(INVALID, raised(() -> session.getAttributeValues(key(9), new int[] {TOKEN, LABEL, VALUE}, 3)));
        assertEquals(3, calls().size(), "the later elements are still read");
        answer("rv=0 0x110='2024AB01' 0x11.length=2");
        assertEquals(INVALID, raised(() -> session.getAttributeValues(key(9), new int[] {START, VALUE}, 2)));
        assertEquals(1, calls().size(), "a wrong date ends the call");
        answer("rv=0 0x11.length=4");
        int[] many = new int[40]; // more than the local references of a native method
        Arrays.fill(many, VALUE);
        assertArrayEquals(new byte[] {1, 2}, (byte[]) session.getAttributeValues(key(9), many, 40)[39]);
        calls();
        answer("rv=CKR_ATTRIBUTE_SENSITIVE");
        assertEquals(SENSITIVE, raised(() -> session.getAttributeValues(key(9), new int[] {TOKEN, LABEL}, 2)));
        calls();
        for (int count : new int[] {-1, 2, Integer.MAX_VALUE, Integer.MIN_VALUE}) {
            assertRefused("CKR_DATA_INVALID", () -> session.getAttributeValues(key(9), new int[] {TOKEN}, count));
        }
        assertRefused("can't access attribute types array", () -> session.getAttributeValues(key(9), null, 0));
        assertRefused("alloca() failed", () -> session.getAttributeValues(key(9), new int[1 << 20], 1 << 20));
        assertEquals(0, session.getAttributeValues(key(9), types, 0).length);
    }
}
