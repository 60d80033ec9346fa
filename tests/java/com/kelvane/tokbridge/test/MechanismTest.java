package com.kelvane.tokbridge.test;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static com.kelvane.tokbridge.test.Harness.*;
import static org.junit.jupiter.api.Assertions.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import java.math.*;
import java.nio.charset.*;
import java.security.*;
import java.util.*;
import java.util.stream.*;
import org.junit.jupiter.api.*;
import org.junit.jupiter.api.function.*;

/** Mechanisms with every kind of parameter as a module receives them, and what it writes back. */
class MechanismTest extends SessionFixture {
    private static final String REFUSED = "0x71";
    private static final String NOT_ENCODED = "parameter encoding not yet implemented!";
    private static final String UNKNOWN = "unknown mechanism parameter type!";

    private static CK_SSL3_RANDOM_DATA random() {
        return new CK_SSL3_RANDOM_DATA(bytes(0x10, 3), bytes(0x20, 5));
    }

    /** The mechanism as the module receives it, or what is raised instead. */
    private String encode(int mechanism, Object parameter) throws Throwable {
        String raised = raised(() -> session.digestInit(mechanism, parameter));
        List<String> made = calls();
        assertEquals(raised.isEmpty() ? 1 : 0, made.size());
        return raised.isEmpty() ? made.get(0).replaceAll(".* parameter=", "") : raised;
    }

    /** The values of every kind, without the names of their fields and the distances of what they lead to. */
    @Test
    void everyKindOfParameter() throws Throwable {
        NativePKCS11Object key = key(0x80000009);
        byte[] iv16 = bytes(1, 16);
        String hex8 = "0102030405060708";
        String hex16 = hex8 + "090a0b0c0d0e0f10";
        CK_RSA_PKCS_OAEP_PARAMS oaep = new CK_RSA_PKCS_OAEP_PARAMS(CKM_SHA_1, 2, bytes(1, 3));
        Object[][] rows = {
            {CKM_SHA256, new byte[1], REFUSED}, {CKM_DES_MAC_GENERAL, 0x80000008, "/8:0800008000000000"},
            {CKM_EXTRACT_KEY_FROM_KEY, 8, "/8:0800000000000000"}, {CKM_AES_CBC, iv16, "/16:" + hex16},
            {CKM_DES_CBC, new byte[0], "/0:"}, {CKM_SKIPJACK_ECB64, bytes(1, 2), "/2:0102"},
            {CKM_DH_PKCS_DERIVE, new BigInteger("128"), "/1:80"}, {CKM_DH_PKCS_DERIVE, BigInteger.ZERO, "/1:00"},
            {CKM_CONCATENATE_BASE_AND_KEY, key, "{0x80000009}"},
            {CKM_RC2_ECB, new PKCS11MechPar_RC2(-1), "{4294967295}"},
            {CKM_RC2_ECB, new PKCS11MechPar_RC2_CBC(1, null), "{1}"},
            {CKM_RC2_CBC, new PKCS11MechPar_RC2_CBC(5, bytes(1, 8)), "{5 " + hex8 + "}"},
            {CKM_RC2_CBC, new PKCS11MechPar_RC2_CBC(5, bytes(1, 3)), "{5 0102030000000000}"},
            {CKM_RC2_CBC, new PKCS11MechPar_RC2_CBC(5, null), "{5 0000000000000000}"},
            {CKM_RC2_CBC, new PKCS11MechPar_RC2_CBC(5, new byte[9]), REFUSED},
            {CKM_RC2_CBC, new PKCS11MechPar_RC2(5), REFUSED},
            {CKM_RC2_MAC_GENERAL, new PKCS11MechPar_RC2_GENMAC(5, 4), "{5 4}"},
            {CKM_RC5_ECB, new PKCS11MechPar_RC5(4, 12), "{4 12}"},
            {CKM_RC5_CBC, new PKCS11MechPar_RC5_CBC(4, 12, bytes(1, 40)), "{4 12 " + hex(bytes(1, 40)) + " 40}"},
            {CKM_RC5_CBC, new PKCS11MechPar_RC5_CBC(4, 12, null), "{4 12  0}"},
            {CKM_RC5_MAC_GENERAL, new PKCS11MechPar_RC5_GENMAC(4, 12, 8), "{4 12 8}"},
            {CKM_PBE_MD2_DES_CBC, new PKCS11MechPar_PBE(bytes(1, 5), bytes(9, 4), 1000),
                "{0000000000000000 0102030405 5 090a0b0c 4 1000}"},
            {CKM_SSL3_PRE_MASTER_KEY_GEN, new CK_VERSION(3, 0xff), "{03 ff}"},
            {CKM_AES_GCM, new CK_GCM_PARAMS(bytes(1, 8), bytes(0x50, 3), 128), "{" + hex8 + " 8 64 505152 3 128}"},
            {CKM_SSL3_MASTER_KEY_DERIVE, new CK_SSL3_MASTER_KEY_DERIVE_PARAMS(random(), new CK_VERSION(3, 1)),
                "{101112 3 2021222324 5 0301}"},
            {CKM_TLS_MASTER_KEY_DERIVE_DH,
                new CK_SSL3_MASTER_KEY_DERIVE_PARAMS(new CK_SSL3_RANDOM_DATA(null, null), null), "{ 0  0 0000}"},
            {CKM_TLS_KEY_AND_MAC_DERIVE, new CK_SSL3_KEY_MAT_PARAMS(128, 256, 64, true, random()),
                "{128 256 64 01 101112 3 2021222324 5  0x0 0x0 0x0 0x0  }"},
            {CKM_TLS_PRF, new CK_TLS_PRF_PARAMS(bytes(1, 3), bytes(7, 2), 12), "{010203 3 0708 2  12}"},
            {CKM_ECDH1_DERIVE, new CK_ECDH1_DERIVE_PARAMS(2, bytes(1, 3), bytes(0x40, 5)),
                "{0x2 3 010203 5 4041424344}"},
            {CKM_ECDH1_COFACTOR_DERIVE, new CK_ECDH1_DERIVE_PARAMS(1, null, bytes(0x40, 5)),
                "{0x1 0 null 5 4041424344}"},
            {CKM_RSA_PKCS_OAEP, oaep, "{0x220 0x2 0x1 010203 3}"},
            {CKM_RSA_PKCS_OAEP, new CK_RSA_PKCS_OAEP_PARAMS(0x80000220, 1, null), "{0x80000220 0x1 0x1  0}"},
            {CKM_SHA224_RSA_PKCS_PSS, new CK_RSA_PKCS_PSS_PARAMS(CKM_SHA224, CKG_MGF1_SHA224, 28), "{0x255 0x5 28}"},
            {CKM_AES_CTR, new CK_AES_CTR_PARAMS(32, iv16), "{32 " + hex16 + "}"},
            {CKM_AES_CTR, new CK_AES_CTR_PARAMS(32, bytes(1, 15)), REFUSED},
            {CKM_AES_CCM, new CK_CCM_PARAMS(99, bytes(1, 3), bytes(0x50, 2), 8), "{99 010203 3 5051 2 8}"},
            {CKM_AES_ECB_ENCRYPT_DATA, new CK_KEY_DERIVATION_STRING_DATA(bytes(1, 3)), "{010203 3}"},
            {CKM_DES3_CBC_ENCRYPT_DATA, new CK_DES_CBC_ENCRYPT_DATA_PARAMS(bytes(1, 8), bytes(9, 3)),
                "{" + hex8 + " 090a0b 3}"},
            {CKM_DES3_CBC_ENCRYPT_DATA, new CK_DES_CBC_ENCRYPT_DATA_PARAMS(iv16, bytes(9, 3)), REFUSED},
            {CKM_AES_CBC_ENCRYPT_DATA, new CK_AES_CBC_ENCRYPT_DATA_PARAMS(iv16, bytes(9, 3)),
                "{" + hex16 + " 090a0b 3}"},
            {CKM_AES_CBC_ENCRYPT_DATA, new CK_AES_CBC_ENCRYPT_DATA_PARAMS(null, bytes(9, 3)), REFUSED},
            {CKM_RSA_AES_KEY_WRAP, new CK_RSA_AES_KEY_WRAP_PARAMS(256, oaep), "{256  0x220 0x2 0x1 010203 3}"},
            {CKM_RSA_AES_KEY_WRAP, new CK_RSA_AES_KEY_WRAP_PARAMS(256, null), REFUSED},
            {CKM_ECDH_AES_KEY_WRAP, new CK_ECDH_AES_KEY_WRAP_PARAMS(192, CKD_SHA256_KDF, bytes(1, 3)),
                "{192 0x6 3 010203}"},
            {CKM_EDDSA, new CK_EDDSA_PARAMS(true, bytes(1, 3)), "{01 3 010203}"},
            {CKM_CHACHA20_POLY1305, new CK_SALSA20_CHACHA20_POLY1305_PARAMS(bytes(1, 3), bytes(0x50, 2)),
                "{010203 3 5051 2}"},
            {CKM_HKDF_DERIVE, new CK_HKDF_PARAMS(false, true, CKM_SHA256, CKF_HKDF_SALT_KEY, bytes(1, 3), key,
                bytes(7, 2)), "{00 01 0x250 4 010203 3 0x80000009 0708 2}"},
            {CKM_HKDF_DERIVE, new CK_HKDF_PARAMS(true, false, CKM_SHA256, CKF_HKDF_SALT_NULL, null, null, null),
                "{01 00 0x250 1 null 0 0x0 null 0}"},
            {CKM_VENDOR_DEFINED + 0x1234, new PKCS11RawParameter(bytes(1, 3)), "/3:010203"},
            {CKM_SHA256, new PKCS11RawParameter(null), "/0:"}, {CKM_AES_ECB, new PKCS11RawParameter(null), REFUSED},
            {CKM_AES_CBC, new PKCS11RawParameter(iv16), REFUSED}};
        for (Object[] row : rows) {
            assertEquals(row[2], encode((int) row[0], row[1]).replaceAll(" CK_\\w+|\\w+=|\\+\\d+:?", ""),
                "0x" + Integer.toHexString((int) row[0]));
        }
    }

    /** The documented table against the library: what each mechanism says to no parameter, and to a wrong one. */
    @Test
    void everyMechanismOfTheTable() throws Throwable {
        Map<Integer, String> kinds = documented("mechanisms.md");
        assertEquals(172 + 61, kinds.size());
        for (int type : kinds.keySet()) {
            String kind = kinds.get(type);
            String none = kind.endsWith("none") ? "null/0"
                : kind.startsWith("byte[]") || kind.equals("BigInteger") ? "+24/0:"
                : kind.equals("not encoded") ? NOT_ENCODED : kind.equals("refused") ? UNKNOWN : REFUSED;
            boolean always = none.equals(NOT_ENCODED) || none.equals(UNKNOWN);
            String name = "0x" + Integer.toHexString(type) + " " + kind;
            assertEquals(none, encode(type, null), name);
            for (Object wrong : new Object[] {new Object(), "text", new CK_VERSION[0], new long[1]}) {
                assertEquals(always ? none : REFUSED, encode(type, wrong), name);
            }
        }
    }

    private void assertRefused(int mechanism, Object parameter, String field, int... numbers)
        throws Throwable {
        for (int number : numbers) {
            assertEquals(REFUSED, encode(mechanism, with(parameter, field, number)), field + " " + number);
        }
    }

    @Test
    void numbersThatReachOutsideAreRefused() throws Throwable {
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

    @Test
    void whatTheTokenWritesComesBack() throws Throwable {
        NativePKCS11Object key = key(9);
        byte[] iv = new byte[22];
        token.answer("C_EncryptInit", "parameter=" + "a1".repeat(22));
        session.encryptInit(CKM_SKIPJACK_CBC64, iv, key);
        assertEquals("a1".repeat(20) + "0000", String.format("%044x", new BigInteger(1, iv)));
        assertEquals("0x150", raised(() -> session.encryptInit(CKM_SKIPJACK_CBC64, new byte[19], key)));
        assertEquals("decodeByteArray(): can't get elements",
            raised(() -> session.encryptInit(CKM_SKIPJACK_CBC64, null, key)));
        assertEquals("", raised(() -> session.decryptInit(CKM_SKIPJACK_CBC64, new byte[1], key)));

        PKCS11MechPar_PBE pbe = new PKCS11MechPar_PBE(bytes(1, 1), bytes(2, 1), 1);
        token.answer("C_GenerateKey", "pInitVector=b1b2b3b4b5b6b7b8");
        session.generateKey(CKM_PBE_MD2_DES_CBC, pbe, null, null);
        assertEquals("b1b2b3b4b5b6b7b8", String.format("%x", new BigInteger(1, pbe.iv)));
        Object[][] refused = {{new byte[7], "0x150"}, {null, "decodeByteArray(): can't get elements"}};
        for (Object[] each : refused) {
            pbe.iv = (byte[]) each[0];
            calls();
            assertEquals(each[1], raised(() -> session.generateKey(CKM_PBE_MD2_DES_CBC, pbe, null, null)));
            assertTrue(calls().get(1).startsWith("C_DestroyObject"), "a key that Java never sees is not left behind");
        }

        CK_VERSION version = new CK_VERSION(3, 0);
        for (int mechanism : new int[] {CKM_SSL3_MASTER_KEY_DERIVE, CKM_TLS_MASTER_KEY_DERIVE,
            CKM_SSL3_MASTER_KEY_DERIVE_DH, CKM_TLS_MASTER_KEY_DERIVE_DH}) {
            token.answer("C_DeriveKey", "pVersion=0" + (mechanism & 7) + "09");
            session.deriveKey(mechanism, new CK_SSL3_MASTER_KEY_DERIVE_PARAMS(random(), version), key, null, null);
            assertEquals((mechanism & 2) == 0 ? mechanism & 7 : 5, version.major);
        }
        token.answer("C_DeriveKey", "");
        session.deriveKey(CKM_SSL3_MASTER_KEY_DERIVE, new CK_SSL3_MASTER_KEY_DERIVE_PARAMS(random(), null), key, null,
            null);

        CK_TLS_PRF_PARAMS prf = new CK_TLS_PRF_PARAMS(bytes(1, 1), null, 4);
        token.answer("C_DeriveKey", "pOutput=c1c2c3c4");
        session.deriveKey(CKM_TLS_PRF, prf, key, null, null);
        assertArrayEquals(bytes(0xc1, 4), prf.output);

        CK_SSL3_KEY_MAT_PARAMS material = new CK_SSL3_KEY_MAT_PARAMS(1, 1, 16, false, random());
        token.answer("C_DeriveKey", "pIVClient=d1d2 pIVServer=e1e2 hClientMacSecret=21 hServerMacSecret=22"
            + " hClientKey=0x1000000000 hServerKey=24 key=5");
        calls();
        session.deriveKey(CKM_SSL3_KEY_AND_MAC_DERIVE, material, key, null, null);
        CK_SSL3_KEY_MAT_OUT out = material.returnedKeyMaterial;
        assertEquals("[-47, -46][-31, -30]", Arrays.toString(out.ivClient) + Arrays.toString(out.ivServer));
        assertEquals("[0x15, 0x16, 0x1000000000, 0x18]", Stream.of(out.clientMacSecret, out.serverMacSecret,
            out.clientKey, out.serverKey).map(this::handleOf).collect(Collectors.toList()).toString());
    }

    /** Tools read these texts: they stay as they are, to the byte. */
    @Test
    void tracesUnderTheDebugSwitch() throws Throwable {
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

    /** Another thread takes the object away that the derived keys were to go into: they are destroyed again. */
    @Test
    void keyMaterialThatNobodyTakes() throws Throwable {
        CK_SSL3_KEY_MAT_PARAMS material = new CK_SSL3_KEY_MAT_PARAMS(1, 1, 16, false, random());
        token.answer("C_DeriveKey", "hClientMacSecret=21 hServerMacSecret=22 hClientKey=23 key=5");
        Harness.Background deriving = token.hold("C_DeriveKey", 0, () -> assertEquals("0x71",
            raised(() -> session.deriveKey(CKM_SSL3_KEY_AND_MAC_DERIVE, material, key(9), null, null))));
        material.returnedKeyMaterial = null;
        token.release("C_DeriveKey", deriving);
        String destroyed = "C_DestroyObject session=0x7 object=";
        assertEquals(List.of(destroyed + "0x15", destroyed + "0x16", destroyed + "0x17", destroyed + "0x5"),
            calls().subList(1, 5));
    }
}
