package com.kelvane.tokbridge.test;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static com.kelvane.tokbridge.test.Harness.*;
import static org.junit.jupiter.api.Assertions.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import java.lang.reflect.Field;
import java.math.*;
import java.nio.charset.*;
import java.nio.file.*;
import java.security.*;
import java.util.*;
import java.util.stream.*;
import org.junit.jupiter.api.*;
import org.junit.jupiter.api.function.*;

/** Mechanisms with parameters of every class as a module receives them, and the outputs in them. */
class MechanismTest extends SessionFixture {
    private static final String REFUSED = "CKR_MECHANISM_PARAM_INVALID";
    private static final String NONE = "no parameter";
    private static final String NOT_ENCODED = "parameter encoding not yet implemented!";
    private static final String UNKNOWN = "unknown mechanism parameter type!";

    private static CK_SSL3_RANDOM_DATA random() {
        return new CK_SSL3_RANDOM_DATA(bytes(0x10, 3), bytes(0x20, 5));
    }

    /** The parameter as the module receives it, or what is raised instead. */
    private String encode(int mechanism, Object parameter) throws Throwable {
        String raised = raised(() -> session.digestInit(mechanism, parameter));
        List<String> made = calls();
        assertEquals(raised.isEmpty() ? 1 : 0, made.size());
        return raised.isEmpty() ? made.get(0).replaceAll(".* parameter=", "") : raised;
    }

    /** The values of the parameter's structure, without the names of its fields and the distances of its pointers. */
    private String values(String structure, int mechanism, Object parameter) throws Throwable {
        token.always("C_DigestInit", "as=" + structure);
        return encode(mechanism, parameter).replaceAll(" CK_\\w+|\\w+=|\\+\\d+:?", "");
    }

    private static final byte[] IV16 = bytes(1, 16);
    private static final String HEX8 = "0102030405060708", HEX16 = HEX8 + "090a0b0c0d0e0f10";
    private static final CK_RSA_PKCS_OAEP_PARAMS OAEP = new CK_RSA_PKCS_OAEP_PARAMS(CKM_SHA_1, 2, bytes(1, 3));

    /** A parameter of every class in the library's table, and the values that the module receives. */
    static Map<String, Object[]> examples(NativePKCS11Object key) {
        CK_PRF_DATA_PARAM[] data = {new CK_PRF_DATA_PARAM(CK_SP800_108_BYTE_ARRAY, bytes(1, 3))};
        CK_DERIVED_KEY[] keys = {new CK_DERIVED_KEY(Template.of(CKA_TOKEN, true), null)};
        Object[][] rows = {{"Integer", 0x80000008, "/8:0800008000000000"}, {"byte[]", IV16, "/16:" + HEX16},
            {"byte[] that the token fills", bytes(1, 2), "/2:0102"}, {"BigInteger", new BigInteger("128"), "/1:80"},
            {"NativePKCS11Object", key, "{0x80000009}"},
            {"PKCS11MechPar_RC2", new PKCS11MechPar_RC2(-1), "{4294967295}"},
            {"PKCS11MechPar_RC2_CBC", new PKCS11MechPar_RC2_CBC(5, bytes(1, 8)), "{5 " + HEX8 + "}"},
            {"PKCS11MechPar_RC2_GENMAC", new PKCS11MechPar_RC2_GENMAC(5, 4), "{5 4}"},
            {"PKCS11MechPar_RC5", new PKCS11MechPar_RC5(4, 12), "{4 12}"},
            {"PKCS11MechPar_RC5_CBC", new PKCS11MechPar_RC5_CBC(4, 12, bytes(1, 40)),
                "{4 12 " + hex(bytes(1, 40)) + " 40}"},
            {"PKCS11MechPar_RC5_GENMAC", new PKCS11MechPar_RC5_GENMAC(4, 12, 8), "{4 12 8}"},
            {"PKCS11MechPar_PBE", new PKCS11MechPar_PBE(bytes(1, 5), bytes(9, 4), 1000),
                "{0000000000000000 0102030405 5 090a0b0c 4 1000}"},
            {"CK_VERSION", new CK_VERSION(3, 0xff), "{03 ff}"},
            {"CK_GCM_PARAMS", new CK_GCM_PARAMS(bytes(1, 8), bytes(0x50, 3), 128), "{" + HEX8 + " 8 64 505152 3 128}"},
            {"CK_SSL3_MASTER_KEY_DERIVE_PARAMS",
                new CK_SSL3_MASTER_KEY_DERIVE_PARAMS(random(), new CK_VERSION(3, 1)), "{101112 3 2021222324 5 0301}"},
            {"CK_SSL3_KEY_MAT_PARAMS", new CK_SSL3_KEY_MAT_PARAMS(128, 256, 64, true, random()),
                "{128 256 64 01 101112 3 2021222324 5  0x0 0x0 0x0 0x0  }"},
            {"CK_TLS_PRF_PARAMS", new CK_TLS_PRF_PARAMS(bytes(1, 3), bytes(7, 2), 12), "{010203 3 0708 2  12}"},
            {"CK_ECDH1_DERIVE_PARAMS", new CK_ECDH1_DERIVE_PARAMS(2, bytes(1, 3), bytes(0x40, 5)),
                "{0x2 3 010203 5 4041424344}"},
            {"CK_RSA_PKCS_OAEP_PARAMS", OAEP, "{0x220 0x2 0x1 010203 3}"},
            {"CK_RSA_PKCS_PSS_PARAMS", new CK_RSA_PKCS_PSS_PARAMS(CKM_SHA224, CKG_MGF1_SHA224, 28), "{0x255 0x5 28}"},
            {"CK_AES_CTR_PARAMS", new CK_AES_CTR_PARAMS(32, IV16), "{32 " + HEX16 + "}"},
            {"CK_CCM_PARAMS", new CK_CCM_PARAMS(99, bytes(1, 3), bytes(0x50, 2), 8), "{99 010203 3 5051 2 8}"},
            {"CK_KEY_DERIVATION_STRING_DATA", new CK_KEY_DERIVATION_STRING_DATA(bytes(1, 3)), "{010203 3}"},
            {"CK_DES_CBC_ENCRYPT_DATA_PARAMS", new CK_DES_CBC_ENCRYPT_DATA_PARAMS(bytes(1, 8), bytes(9, 3)),
                "{" + HEX8 + " 090a0b 3}"},
            {"CK_AES_CBC_ENCRYPT_DATA_PARAMS", new CK_AES_CBC_ENCRYPT_DATA_PARAMS(IV16, bytes(9, 3)),
                "{" + HEX16 + " 090a0b 3}"},
            {"CK_RSA_AES_KEY_WRAP_PARAMS", new CK_RSA_AES_KEY_WRAP_PARAMS(256, OAEP), "{256  0x220 0x2 0x1 010203 3}"},
            {"CK_ECDH_AES_KEY_WRAP_PARAMS", new CK_ECDH_AES_KEY_WRAP_PARAMS(192, CKD_SHA256_KDF, bytes(1, 3)),
                "{192 0x6 3 010203}"},
            {"CK_EDDSA_PARAMS", new CK_EDDSA_PARAMS(true, bytes(1, 3)), "{01 3 010203}"},
            {"CK_SALSA20_CHACHA20_POLY1305_PARAMS", new CK_SALSA20_CHACHA20_POLY1305_PARAMS(bytes(1, 3),
                bytes(0x50, 2)), "{010203 3 5051 2}"},
            {"CK_HKDF_PARAMS", new CK_HKDF_PARAMS(false, true, CKM_SHA256, CKF_HKDF_SALT_KEY, bytes(1, 3), key,
                bytes(7, 2)), "{00 01 0x250 4 010203 3 0x80000009 0708 2}"},
            {"CK_X9_42_DH1_DERIVE_PARAMS", new CK_X9_42_DH1_DERIVE_PARAMS(3, bytes(1, 3), bytes(9, 2)),
                "{0x3 3 010203 2 090a}"},
            {"CK_X9_42_DH2_DERIVE_PARAMS", new CK_X9_42_DH2_DERIVE_PARAMS(3, bytes(1, 3), bytes(9, 2), 20, key,
                bytes(4, 1)), "{0x3 3 010203 2 090a 20 0x80000009 1 04}"},
            {"CK_X9_42_MQV_DERIVE_PARAMS", new CK_X9_42_MQV_DERIVE_PARAMS(3, bytes(1, 3), bytes(9, 2), 20, key,
                bytes(4, 1), new NativePKCS11Object(key.getSession(), 6)),
                "{0x3 3 010203 2 090a 20 0x80000009 1 04 0x6}"},
            {"CK_TLS12_MASTER_KEY_DERIVE_PARAMS", new CK_TLS12_MASTER_KEY_DERIVE_PARAMS(random(), new CK_VERSION(3, 3),
                CKM_SHA256), "{101112 3 2021222324 5 0303 0x250}"},
            {"CK_TLS12_EXTENDED_MASTER_KEY_DERIVE_PARAMS", new CK_TLS12_EXTENDED_MASTER_KEY_DERIVE_PARAMS(CKM_SHA384,
                bytes(1, 3), new CK_VERSION(3, 3)), "{0x260 010203 3 0303}"},
            {"CK_TLS12_KEY_MAT_PARAMS", new CK_TLS12_KEY_MAT_PARAMS(128, 256, 64, true, random(), CKM_SHA256),
                "{128 256 64 01 101112 3 2021222324 5  0x0 0x0 0x0 0x0   0x250}"},
            {"CK_TLS_MAC_PARAMS", new CK_TLS_MAC_PARAMS(CKM_SHA256, 12, 2), "{0x250 12 2}"},
            {"CK_TLS_KDF_PARAMS", new CK_TLS_KDF_PARAMS(CKM_SHA256, bytes(1, 3), random(), bytes(7, 2)),
                "{0x250 010203 3 101112 3 2021222324 5 0708 2}"},
            {"CK_CHACHA20_PARAMS", new CK_CHACHA20_PARAMS(bytes(1, 4), bytes(9, 12)),
                "{01020304 32 " + hex(bytes(9, 12)) + " 96}"},
            {"CK_SALSA20_PARAMS", new CK_SALSA20_PARAMS(bytes(1, 8), bytes(9, 3)), "{" + HEX8 + " 090a0b 24}"},
            {"CK_XEDDSA_PARAMS", new CK_XEDDSA_PARAMS(CKM_SHA512), "{0x270}"},
            {"CK_SP800_108_KDF_PARAMS", new CK_SP800_108_KDF_PARAMS(CKM_SHA256_HMAC, data, keys),
                "{0x251 1  4 010203 3 1  [0x1@01] 1 0000000000000000}"},
            {"CK_SP800_108_FEEDBACK_KDF_PARAMS", new CK_SP800_108_FEEDBACK_KDF_PARAMS(CKM_AES_CMAC, data, bytes(5, 2),
                keys), "{0x108a 1  4 010203 3 2 0506 1  [0x1@01] 1 0000000000000000}"},
            {"CK_SIGN_ADDITIONAL_CONTEXT", new CK_SIGN_ADDITIONAL_CONTEXT(CKH_DETERMINISTIC_REQUIRED, bytes(1, 3)),
                "{2 010203 3}"},
            {"CK_HASH_SIGN_ADDITIONAL_CONTEXT", new CK_HASH_SIGN_ADDITIONAL_CONTEXT(CKH_HEDGE_REQUIRED, bytes(1, 3),
                CKM_SHA3_256), "{1 010203 3 0x2b0}"}};
        return Stream.of(rows).collect(Collectors.toMap(row -> (String) row[0], row -> row));
    }

    @Test
    void valuesAtTheirLimitsAreEncodedOrRefused() throws Throwable {
        Object[][] rows = {
            {CKM_SHA256, new byte[1], REFUSED}, {CKM_DES_CBC, new byte[0], "/0:"}, {CKM_AES_XTS, new byte[0], "/0:"},
            {CKM_DH_PKCS_DERIVE, BigInteger.ZERO, "/1:00"},
            {CKM_RC2_ECB, new PKCS11MechPar_RC2_CBC(1, null), "{1}"},
            {CKM_RC2_CBC, new PKCS11MechPar_RC2_CBC(5, bytes(1, 3)), "{5 0102030000000000}"},
            {CKM_RC2_CBC, new PKCS11MechPar_RC2_CBC(5, null), "{5 0000000000000000}"},
            {CKM_RC2_CBC, new PKCS11MechPar_RC2_CBC(5, new byte[9]), REFUSED},
            {CKM_RC2_CBC, new PKCS11MechPar_RC2(5), REFUSED},
            {CKM_RC5_CBC, new PKCS11MechPar_RC5_CBC(4, 12, null), "{4 12  0}"},
            {CKM_TLS_MASTER_KEY_DERIVE_DH,
                new CK_SSL3_MASTER_KEY_DERIVE_PARAMS(new CK_SSL3_RANDOM_DATA(null, null), null), "{ 0  0 0000}"},
            {CKM_ECDH1_COFACTOR_DERIVE, new CK_ECDH1_DERIVE_PARAMS(1, null, bytes(0x40, 5)),
                "{0x1 0 null 5 4041424344}"},
            {CKM_RSA_PKCS_OAEP, new CK_RSA_PKCS_OAEP_PARAMS(0x80000220, 1, null), "{0x80000220 0x1 0x1  0}"},
            {CKM_AES_CTR, new CK_AES_CTR_PARAMS(32, bytes(1, 15)), REFUSED},
            {CKM_DES3_CBC_ENCRYPT_DATA, new CK_DES_CBC_ENCRYPT_DATA_PARAMS(IV16, bytes(9, 3)), REFUSED},
            {CKM_AES_CBC_ENCRYPT_DATA, new CK_AES_CBC_ENCRYPT_DATA_PARAMS(null, bytes(9, 3)), REFUSED},
            {CKM_RSA_AES_KEY_WRAP, new CK_RSA_AES_KEY_WRAP_PARAMS(256, null), REFUSED},
            {CKM_HKDF_DERIVE, new CK_HKDF_PARAMS(true, false, CKM_SHA256, CKF_HKDF_SALT_NULL, null, null, null),
                "{01 00 0x250 1 null 0 0x0 null 0}"},
            {CKM_ML_DSA, new CK_SIGN_ADDITIONAL_CONTEXT(), "{0 null 0}"},
            {CKM_CHACHA20, new CK_CHACHA20_PARAMS(), "{null 0 null 0}"},
            {CKM_SALSA20, new CK_SALSA20_PARAMS(bytes(1, 7), null), REFUSED},
            {CKM_TLS12_MASTER_KEY_DERIVE_DH, new CK_TLS12_MASTER_KEY_DERIVE_PARAMS(random(), null, 1),
                "{101112 3 2021222324 5 null 0x1}"},
            {CKM_TLS12_MASTER_KEY_DERIVE, new CK_TLS12_MASTER_KEY_DERIVE_PARAMS(null, null, 1), REFUSED},
            {CKM_TLS12_KEY_AND_MAC_DERIVE, with(new CK_TLS12_KEY_MAT_PARAMS(1, 1, 8, false, random(), 1),
                "pReturnedKeyMaterial", null), REFUSED},
            {CKM_X9_42_MQV_DERIVE, new CK_X9_42_MQV_DERIVE_PARAMS(1, null, null, 1, null, null, null), REFUSED},
            {CKM_SP800_108_COUNTER_KDF, new CK_SP800_108_KDF_PARAMS(), "{0x0 0 null 0 null}"},
            {CKM_SP800_108_COUNTER_KDF, prfData("text"), REFUSED}, {CKM_SP800_108_COUNTER_KDF, prfData(null),
                "{0x1 1  2 null 0 0 null}"},
            {CKM_SP800_108_COUNTER_KDF, prfData(new CK_SP800_108_COUNTER_FORMAT(true, 16)),
                "{0x1 1  2 01" + "00".repeat(7) + "1000000000000000 16 0 null}"},
            {CKM_SP800_108_COUNTER_KDF, prfData(new CK_SP800_108_DKM_LENGTH_FORMAT(2, true, 16)),
                "{0x1 1  2 020000000000000001" + "00".repeat(7) + "1000000000000000 24 0 null}"},
            {CKM_SP800_108_COUNTER_KDF, new CK_SP800_108_KDF_PARAMS(1, new CK_PRF_DATA_PARAM[1], null), REFUSED},
            {CKM_SP800_108_COUNTER_KDF, new CK_SP800_108_KDF_PARAMS(1, null, new CK_DERIVED_KEY[1]), REFUSED},
            {CKM_VENDOR_DEFINED + 0x1234, new PKCS11RawParameter(bytes(1, 3)), "/3:010203"},
            {CKM_SHA256, new PKCS11RawParameter(null), "/0:"}, {CKM_AES_ECB, new PKCS11RawParameter(null), REFUSED},
            {CKM_AES_CBC, new PKCS11RawParameter(IV16), REFUSED}};
        Map<Integer, String> kinds = mechanisms();
        for (Object[] row : rows) {
            String structure = structureOf(kinds.getOrDefault(row[0], ""));
            assertEquals(row[2], values(structure, (int) row[0], row[1]), nameOf("CKM_", (int) row[0]));
        }
    }

    private static CK_SP800_108_KDF_PARAMS prfData(Object value) {
        return new CK_SP800_108_KDF_PARAMS(1, new CK_PRF_DATA_PARAM[] {new CK_PRF_DATA_PARAM(2, value)}, null);
    }

    /** The structure of the standard for a class of parameters. */
    private static String structureOf(String kind) {
        String name = kind.replace(" or none", "");
        return name.startsWith("PKCS11MechPar") ? name.replace("PKCS11MechPar", "CK").replace("GENMAC", "MAC_GENERAL")
            + "_PARAMS" : name.equals("NativePKCS11Object") ? "CK_OBJECT_HANDLE" : name;
    }

    @Test
    void thePageOfMechanismsHasTheTableOfTheLibrary() throws Exception {
        Map<String, String> rows = new LinkedHashMap<>();
        mechanisms().forEach((type, takes) -> rows.merge(takes, "`" + nameOf("CKM_", type) + "`",
            (a, b) -> a + " " + b));
        StringBuilder table = new StringBuilder("| Parameter | Mechanisms |\n|---|---|\n");
        Comparator<String> last = Comparator.comparing(takes -> takes.endsWith("!"));
        rows.keySet().stream().sorted(last).forEach(takes -> table.append("| " + takes + " | " + rows.get(takes)
            + " |\n"));
        Path page = Path.of(System.getProperty("tokbridge.test.docs"), "mechanisms.md");
        String right = Files.readString(page).replaceFirst("\\| Parameter \\|(?s).*?(?=\\n\\n)",
            table.toString().strip());
        Path made = Files.writeString(Harness.scratchFile(".md"), right);
        assertEquals(Files.readString(page), right, () -> "cp " + made + " " + page);
    }

    /** The library's table against the library: each mechanism with its own parameter, null, and all others. */
    @Test
    void everyMechanismTakesTheParameterOfItsRow() throws Throwable {
        Map<String, Object[]> examples = examples(key(0x80000009));
        Map<Integer, String> kinds = mechanisms();
        assertEquals(172 + 115, kinds.size());
        for (int type : kinds.keySet()) {
            String kind = kinds.get(type);
            String none = kind.endsWith(" or none") ? "null/0"
                : kind.startsWith("byte[]") || kind.equals("BigInteger") ? "+24/0:"
                : kind.equals(NOT_ENCODED) || kind.equals(UNKNOWN) ? kind : kind.equals(NONE) ? "null/0" : REFUSED;
            String always = kind.equals(NOT_ENCODED) || kind.equals(UNKNOWN) ? kind : REFUSED;
            String name = nameOf("CKM_", type) + " " + kind;
            assertEquals(none, encode(type, null), name);
            Object[] right = examples.get(kind.replace(" or none", ""));
            assertEquals(right == null, Set.of(NONE, NOT_ENCODED, UNKNOWN).contains(kind), name);
            for (Object[] each : examples.values()) {
                String expected = each == right ? (String) each[2] : always;
                boolean larger = kind.equals("PKCS11MechPar_RC2") || kind.equals("PKCS11MechPar_RC5"); // than its base
                if (!larger || each == right || !((String) each[0]).startsWith(kind)) {
                    boolean same = each[1] instanceof byte[] && kind.startsWith("byte[]");
                    assertEquals(same ? "/" + ((byte[]) each[1]).length + ":" + hex((byte[]) each[1]) : expected,
                        values(structureOf(kind), type, each[1]), name + "/" + each[0]);
                }
            }
            boolean raw = kind.endsWith(" or none"); // bytes in place of the structure
            assertEquals(raw ? "+24/3:010203" : always, encode(type, new PKCS11RawParameter(bytes(1, 3))), name);
            for (Object wrong : new Object[] {new Object(), "text", new CK_VERSION[0], new long[1]}) {
                assertEquals(always, encode(type, wrong), name);
            }
        }
    }

    /** A null array is a null pointer of length 0. The others have lengths of their own. */
    @Test
    void nullArraysAreNullPointers() throws Throwable {
        Set<String> seen = new TreeSet<>(Set.of("CK_GCM_PARAMS", "CK_ECDH1_DERIVE_PARAMS", "CK_RSA_PKCS_OAEP_PARAMS",
            "CK_TLS_PRF_PARAMS"));
        Map<Integer, String> kinds = mechanisms();
        for (int type : kinds.keySet()) {
            String name = kinds.get(type).replace(" or none", "");
            if (!name.startsWith("CK_") || !seen.add(name)) {
                continue;
            }
            Object[] example = examples(key(0x80000009)).get(name);
            for (Field field : example[1].getClass().getFields()) {
                if (field.getType() != byte[].class || field.getName().matches("iv|cb|pBlockCounter")) {
                    continue;
                }
                byte[] value = (byte[]) field.get(example[1]);
                Set<String> expected = new HashSet<>();
                for (int length : new int[] {value.length, 8 * value.length}) { // before or after the value
                    expected.add(((String) example[2]).replaceFirst(hex(value) + " " + length, "null 0"));
                    expected.add(((String) example[2]).replaceFirst(length + " " + hex(value), "0 null"));
                }
                expected.remove(example[2]);
                String encoded = values(name, type, with(example[1], field.getName(), null));
                field.set(example[1], value);
                assertTrue(expected.contains(encoded), name + "." + field.getName() + " " + encoded);
            }
        }
        assertTrue(seen.size() > 30, seen + " are too few");
    }

    private void assertRefused(int mechanism, Object parameter, String field, int... numbers) throws Throwable {
        for (int number : numbers) {
            assertEquals(REFUSED, encode(mechanism, with(parameter, field, number)), field + " " + number);
        }
    }

    @Test
    void lengthsBeyondAnArrayAreRefused() throws Throwable {
        byte[] eight = bytes(1, 8);
        CK_SSL3_KEY_MAT_PARAMS material = new CK_SSL3_KEY_MAT_PARAMS(1, 1, 0, false, random());
        assertTrue(encode(CKM_SSL3_KEY_AND_MAC_DERIVE, material).contains(" ulIVSizeInBits=0 "));
        assertRefused(CKM_SSL3_KEY_AND_MAC_DERIVE, material, "ivSizeInBits", 17 * 8, 29 * 8, 1 << 23, -8, -97);
        material.returnedKeyMaterial = null;
        assertEquals(REFUSED, encode(CKM_SSL3_KEY_AND_MAC_DERIVE, with(material, "ivSizeInBits", 8)));
        assertEquals(REFUSED, encode(CKM_SSL3_KEY_AND_MAC_DERIVE, new CK_SSL3_KEY_MAT_PARAMS(1, 1, 8, false, null)));
        assertEquals(REFUSED, encode(CKM_SSL3_MASTER_KEY_DERIVE, new CK_SSL3_MASTER_KEY_DERIVE_PARAMS(null, null)));

        CK_GCM_PARAMS gcm = new CK_GCM_PARAMS(bytes(1, 12), bytes(0x50, 4), 128);
        assertTrue(encode(CKM_AES_GCM, with(gcm, "ulIvLen", 8))
            .contains("pIv=+48:0102030405060708 ulIvLen=8 ulIvBits=64 pAAD=+56:50515253"));
        CK_ECDH1_DERIVE_PARAMS ecdh = new CK_ECDH1_DERIVE_PARAMS(1, eight, eight);
        assertTrue(encode(CKM_ECDH1_DERIVE, with(ecdh, "sharedDataLen", 7)).contains(" ulSharedDataLen=7 "));
        int[] hostile = {21, 25, 33, 37, 1 << 20, Integer.MAX_VALUE, Integer.MIN_VALUE, -1, -4, -8, -12};
        assertRefused(CKM_AES_GCM, gcm, "ulIvLen", hostile);
        assertRefused(CKM_AES_GCM, with(gcm, "ulIvLen", 12), "ulAADLen", hostile);
        assertRefused(CKM_AES_GCM, gcm, "ulAADLen", 17); // 24 + 48 + 16 bytes, rounded up to 96
        assertRefused(CKM_ECDH1_DERIVE, ecdh, "sharedDataLen", hostile);
        assertRefused(CKM_ECDH1_DERIVE, with(ecdh, "sharedDataLen", 8), "publicDataLen", hostile);
        assertRefused(CKM_ECDH1_DERIVE, ecdh, "publicDataLen", 17);
        CK_RSA_PKCS_OAEP_PARAMS oaep = new CK_RSA_PKCS_OAEP_PARAMS(1, 1, eight);
        assertRefused(CKM_RSA_PKCS_OAEP, oaep, "ulSourceDataLen", hostile);
        oaep.ulSourceDataLen = 17; // 24 + 16 + 40 + 8 bytes, rounded up to 96
        assertEquals(REFUSED, encode(CKM_RSA_AES_KEY_WRAP, new CK_RSA_AES_KEY_WRAP_PARAMS(256, oaep)));
        assertEquals("no space for encoded mechanism / parameter!", encode(CKM_AES_CBC, new byte[64 << 20]));
    }

    /** The mechanisms with a parameter class, except those whose names end so. */
    private static List<Integer> mechanismsWith(String kind, String except) throws Exception {
        return mechanisms().entrySet().stream().filter(row -> row.getValue().replace(" or none", "")
            .equals(kind) && !nameOf("CKM_", row.getKey()).endsWith(except)).map(Map.Entry::getKey)
            .collect(Collectors.toList());
    }

    @Test
    void outputsAreReturnedInTheParameter() throws Throwable {
        NativePKCS11Object key = key(9);
        for (int mechanism : mechanismsWith("byte[] that the token fills", "-")) {
            byte[] iv = new byte[22];
            token.answer("C_EncryptInit", "parameter=" + "a1".repeat(22));
            session.encryptInit(mechanism, iv, key);
            assertEquals("a1".repeat(20) + "0000", hex(iv));
            assertEquals("CKR_BUFFER_TOO_SMALL", raised(() -> session.encryptInit(mechanism, new byte[19], key)));
            assertEquals("decodeByteArray(): can't get elements",
                raised(() -> session.encryptInit(mechanism, null, key)));
            assertEquals("", raised(() -> session.decryptInit(mechanism, new byte[1], key)));
        }
        for (int mechanism : mechanismsWith("PKCS11MechPar_PBE", "-")) {
            PKCS11MechPar_PBE pbe = new PKCS11MechPar_PBE(bytes(1, 1), bytes(2, 1), 1);
            token.answer("C_GenerateKey", "as=CK_PBE_PARAMS pInitVector=b1b2b3b4b5b6b7b8");
            session.generateKey(mechanism, pbe, null, null);
            assertEquals("b1b2b3b4b5b6b7b8", hex(pbe.iv));
            for (byte[] iv : new byte[][] {new byte[7], null}) {
                pbe.iv = iv;
                calls();
                assertEquals(iv == null ? "decodeByteArray(): can't get elements" : "CKR_BUFFER_TOO_SMALL",
                    raised(() -> session.generateKey(mechanism, pbe, null, null)));
                assertTrue(calls().get(1).startsWith("C_DestroyObject"), "the key that Java does not get");
            }
        }
        for (String kind : List.of("CK_SSL3_MASTER_KEY_DERIVE_PARAMS", "CK_TLS12_MASTER_KEY_DERIVE_PARAMS",
            "CK_TLS12_EXTENDED_MASTER_KEY_DERIVE_PARAMS")) {
            for (int mechanism : mechanismsWith(kind, "-")) {
                CK_VERSION version = new CK_VERSION(3, 0);
                Object parameter = kind.contains("SSL3") ? new CK_SSL3_MASTER_KEY_DERIVE_PARAMS(random(), version)
                    : kind.contains("EXT") ? new CK_TLS12_EXTENDED_MASTER_KEY_DERIVE_PARAMS(1, null, version)
                    : new CK_TLS12_MASTER_KEY_DERIVE_PARAMS(random(), version, 1);
                token.answer("C_DeriveKey", "as=" + kind + " pVersion=0709");
                session.deriveKey(mechanism, parameter, key, null, null);
                boolean back = !kind.contains("SSL3") || mechanismsWith(kind, "_DH").contains(mechanism);
                assertEquals(back ? "7.9" : "3.0", version.major + "." + version.minor, nameOf("CKM_", mechanism));
            }
        }
        token.answer("C_DeriveKey", "");
        session.deriveKey(CKM_SSL3_MASTER_KEY_DERIVE, new CK_SSL3_MASTER_KEY_DERIVE_PARAMS(random(), null), key, null,
            null);

        CK_TLS_PRF_PARAMS prf = new CK_TLS_PRF_PARAMS(bytes(1, 1), null, 4);
        token.answer("C_DeriveKey", "pOutput=c1c2c3c4");
        session.deriveKey(CKM_TLS_PRF, prf, key, null, null);
        assertArrayEquals(bytes(0xc1, 4), prf.output);
    }

    @Test
    void everyDerivedKeyIsReturned() throws Throwable {
        String output = " pIVClient=d1d2 pIVServer=e1e2 hClientMacSecret=21 hServerMacSecret=22 hClientKey=0x1000000000"
            + " hServerKey=24 key=5";
        for (String kind : List.of("CK_SSL3_KEY_MAT_PARAMS", "CK_TLS12_KEY_MAT_PARAMS")) {
            for (int mechanism : mechanismsWith(kind, "-")) {
                CK_TLS12_KEY_MAT_PARAMS tls12 = new CK_TLS12_KEY_MAT_PARAMS(1, 1, 16, false, random(), 1);
                CK_SSL3_KEY_MAT_PARAMS ssl3 = new CK_SSL3_KEY_MAT_PARAMS(1, 1, 16, false, random());
                boolean old = kind.contains("SSL3");
                token.answer("C_DeriveKey", "as=" + kind + output);
                session.deriveKey(mechanism, old ? ssl3 : tls12, key(9), null, null);
                CK_SSL3_KEY_MAT_OUT out = old ? ssl3.returnedKeyMaterial : tls12.pReturnedKeyMaterial;
                assertEquals("d1d2 e1e2", hex(out.ivClient) + " " + hex(out.ivServer));
                assertEquals("[0x15, 0x16, 0x1000000000, 0x18]", Stream.of(out.clientMacSecret, out.serverMacSecret,
                    out.clientKey, out.serverKey).map(this::handleOf).collect(Collectors.toList()).toString());
            }
        }
        for (String kind : List.of("CK_SP800_108_KDF_PARAMS", "CK_SP800_108_FEEDBACK_KDF_PARAMS")) {
            for (int mechanism : mechanismsWith(kind, "-")) {
                CK_DERIVED_KEY[] more = {new CK_DERIVED_KEY(Template.of(CKA_TOKEN, true), null)};
                token.answer("C_DeriveKey", "as=" + kind + " phKey=1700000010000000");
                session.deriveKey(mechanism, kind.contains("FEEDBACK") ? new CK_SP800_108_FEEDBACK_KDF_PARAMS(1, null,
                    null, more) : new CK_SP800_108_KDF_PARAMS(1, null, more), key(9), null, null);
                assertEquals("0x1000000017", handleOf(more[0].phKey));
            }
        }
    }

    /** Tools read these texts: no byte of them changes. */
    @Test
    void theDebugSwitchPrintsParameters() throws Throwable {
        Object[][] traces = {
            {CKM_RSA_PKCS_OAEP, new CK_RSA_PKCS_OAEP_PARAMS(CKM_SHA_1, 1, bytes(0xa, 3)),
                "12f1b9d39c3863140e017d728c4d2cea9082e8b9efad6fc552ea45ca9b66f262"},
            {CKM_RSA_PKCS_PSS, new CK_RSA_PKCS_PSS_PARAMS(CKM_SHA256, -2, 32),
                "d59760064dec2df8e6e18f7c341739ee494cf82c99e431c229bfef938dc6bd56"},
            {CKM_ECDH1_DERIVE, new CK_ECDH1_DERIVE_PARAMS(1, bytes(0xa, 3), bytes(1, 2)),
                "692437618ec2a3b3ae21b804a26e6fbe5bd627d2355c2be32d1e4c41db42ffeb"}};
        for (Object[] trace : traces) {
            Executable call = () -> session.digestInit((int) trace[0], trace[1]);
            withEnvironment("PKCS11DEBUG", "", () -> {
                String text = written(STDOUT, call).replaceAll("(PARAMS >[0-9A-F]{48})[0-9A-F]{16}", "$1<address>");
                byte[] digest = MessageDigest.getInstance("SHA-256").digest(text.getBytes(StandardCharsets.UTF_8));
                assertEquals(trace[2], hex(digest), text);
            });
            assertEquals("", written(STDOUT, call));
        }
    }

    private void assertDestroyed(int mechanism, Object parameter, String keys, Runnable removal, String... destroyed)
        throws Throwable {
        token.answer("C_DeriveKey", keys + " key=5");
        Harness.Background deriving = token.hold("C_DeriveKey", 0, () -> assertEquals(REFUSED,
            raised(() -> session.deriveKey(mechanism, parameter, key(9), null, null))));
        removal.run();
        token.release("C_DeriveKey", deriving);
        assertEquals(List.of(destroyed), calls().stream().filter(each -> each.startsWith("C_Destroy"))
            .map(each -> each.replaceAll(".*=", "")).collect(Collectors.toList()));
    }

    /** Another thread removes the objects that were to hold the derived keys. */
    @Test
    void derivedKeysWithoutAnObjectAreDestroyed() throws Throwable {
        CK_SSL3_KEY_MAT_PARAMS material = new CK_SSL3_KEY_MAT_PARAMS(1, 1, 16, false, random());
        assertDestroyed(CKM_SSL3_KEY_AND_MAC_DERIVE, material, "hClientMacSecret=0x15 hServerMacSecret=0x16"
            + " hClientKey=0x17", () -> material.returnedKeyMaterial = null, "0x15", "0x16", "0x17", "0x5");
        CK_SP800_108_KDF_PARAMS kdf = new CK_SP800_108_KDF_PARAMS(1, null, new CK_DERIVED_KEY[] {new CK_DERIVED_KEY()});
        assertDestroyed(CKM_SP800_108_COUNTER_KDF, kdf, "as=CK_SP800_108_KDF_PARAMS phKey=1500000000000000",
            () -> kdf.pAdditionalDerivedKeys[0] = null, "0x15", "0x5");
    }
}
