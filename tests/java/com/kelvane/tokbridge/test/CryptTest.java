package com.kelvane.tokbridge.test;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static com.kelvane.tokbridge.test.Harness.*;
import static org.junit.jupiter.api.Assertions.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import java.util.*;
import java.util.function.*;
import org.junit.jupiter.api.*;
import org.junit.jupiter.api.function.*;

/** Cryptographic operations and key management: arguments, results, and the order of the checks. */
class CryptTest extends SessionFixture {
    private interface InOut {
        int run(byte[] in, int inOffset, int inLength, byte[] out, int outOffset);
    }

    private interface In {
        void run(byte[] in, int offset, int length);
    }

    private interface Out {
        int run(byte[] out, int offset);
    }

    private interface Init {
        void run(int mechanism, Object parameter, NativePKCS11Object key);
    }

    private final byte[] in = {1, 2, 3, 4, 5};

    /** The range of the input is checked first, then the output. */
    private void assertBuffersChecked(InOut call) throws Throwable {
        byte[] out = new byte[4];
        for (int[] range : new int[][] {{-1, 1}, {0, -1}, {Integer.MIN_VALUE, Integer.MIN_VALUE}}) {
            assertRefused("CKR_DATA_INVALID", () -> call.run(in, range[0], range[1], out, 9));
        }
        for (int[] range : new int[][] {{5, 1}, {6, 0}, {1, Integer.MAX_VALUE}, {Integer.MAX_VALUE, 1}}) {
            assertRefused("CKR_BUFFER_TOO_SMALL", () -> call.run(in, range[0], range[1], null, -1));
        }
        assertRefused("CKR_DATA_INVALID", () -> call.run(null, 0, 0, out, 0));
        assertRefused("CKR_DATA_INVALID", () -> call.run(in, 0, 5, null, 0));
        assertRefused("CKR_DATA_INVALID", () -> call.run(in, 0, 5, out, -1));
        for (int offset : new int[] {5, Integer.MAX_VALUE}) {
            assertRefused("CKR_BUFFER_TOO_SMALL", () -> call.run(in, 0, 5, out, offset));
        }
    }

    /** CKR_BUFFER_TOO_SMALL and wrong lengths; sized operations return the length that is needed. */
    private void assertOutputRule(String function, boolean sized, Out call) throws Throwable {
        final String small = "CKR_BUFFER_TOO_SMALL";
        final String failed = "CKR_DEVICE_ERROR";
        String[][] answers = { // rv, length, result of a sized operation, of any other
            {"0", "3", "3", "3"}, {"0", "0", "0", "0"}, {small, "48", "48", small}, {"0", "48", "48", small},
            {small, "2", small, small}, {small, "keep", small, small},
            {small, "0x7fffffff", "2147483647", small}, {small, "0x80000000", small, small},
            {"0", "0x80000000", small, small}, {small, "0xffffffffffffffff", small, small},
            {"0", "0x100000001", small, small}, {failed, "3", failed, failed}};
        for (String[] answer : answers) {
            byte[] out = new byte[5];
            token.answer(function, "rv=" + answer[0] + " out=0708 out.length=" + answer[1]);
            assertEquals(answer[sized ? 2 : 3], outcome(() -> call.run(out, 2)), function + " " + answer[1]);
            assertArrayEquals(new byte[] {0, 0, 7, 8, 0}, out, "copied back in any case");
        }
        token.answer(function, "out=");
        assertEquals(0, call.run(new byte[2], 2));
        calls();
    }

    @Test
    void everyOperationChecksItsBuffers() throws Throwable {
        Map<String, InOut> others = Map.of("C_Digest", session::digest, "C_Sign", session::sign, "C_SignRecover",
            session::signRecover, "C_VerifyRecover", session::verifyRecover, "C_DigestEncryptUpdate",
            session::digestEncryptUpdate, "C_DecryptDigestUpdate", session::decryptDigestUpdate, "C_SignEncryptUpdate",
            session::signEncryptUpdate, "C_DecryptVerifyUpdate", session::decryptVerifyUpdate);
        Map<String, InOut> calls = new HashMap<>(Map.of("C_Encrypt", session::encrypt, "C_EncryptUpdate",
            session::encryptUpdate, "C_Decrypt", session::decrypt, "C_DecryptUpdate", session::decryptUpdate));
        Set<String> sized = Set.copyOf(calls.keySet());
        calls.putAll(others);
        for (String function : calls.keySet()) {
            InOut call = calls.get(function);
            assertBuffersChecked(call);
            assertOutputRule(function, sized.contains(function), (out, at) -> call.run(in, 0, 5, out, at));
        }
        byte[] both = {1, 2, 3, 4};
        token.answer("C_Encrypt", "out=0a0b");
        session.encrypt(both, 0, 2, both, 2);
        assertArrayEquals(new byte[] {1, 2, 10, 11}, both, "one array for both");
    }

    @Test
    void callsWithOneBufferCheckIt() throws Throwable {
        Map<String, Out> finals = Map.of("C_EncryptFinal", session::encryptFinal, "C_DecryptFinal",
            session::decryptFinal, "C_DigestFinal", session::digestFinal, "C_SignFinal", session::signFinal);
        for (String function : finals.keySet()) {
            Out call = finals.get(function);
            assertOutputRule(function, function.contains("crypt"), call);
            assertRefused("CKR_DATA_INVALID", () -> call.run(null, 0));
            assertRefused("CKR_DATA_INVALID", () -> call.run(new byte[1], -1));
            assertRefused("CKR_BUFFER_TOO_SMALL", () -> call.run(new byte[1], 2));
        }
        Map<String, In> updates = Map.of("C_DigestUpdate", session::digestUpdate, "C_SignUpdate", session::signUpdate,
            "C_VerifyUpdate", session::verifyUpdate);
        for (String function : updates.keySet()) {
            In call = updates.get(function);
            call.run(in, 5, 0);
            assertCalls(function + " session=0x7 in=");
            assertRefused("CKR_BUFFER_TOO_SMALL", () -> call.run(in, 2, 4));
            assertRefused("CKR_DATA_INVALID", () -> call.run(null, 0, 0));
        }
    }

    @Test
    void onlyAWrongSignatureIsFalse() throws Throwable {
        final String range = "CKR_SIGNATURE_LEN_RANGE";
        String[][] answers = {{"0", "true", "true", "0"}, {"CKR_SIGNATURE_INVALID", "false", "false", "-1"},
            {range, range, range, range}}; // rv, results of the three methods
        for (String[] each : answers) {
            List<ThrowingSupplier<Object>> calls = List.of(() -> session.verify(in, 0, 1, in, 0, 1),
                () -> session.verifyFinal(in, 0, 1), () -> session.verifyRecover(in, 0, 1, new byte[0], 0));
            for (int i = 0; i < 3; i++) {
                token.answer(List.of("C_Verify", "C_VerifyFinal", "C_VerifyRecover").get(i), "out= rv=" + each[0]);
                assertEquals(each[i + 1], outcome(calls.get(i)));
            }
        }
        calls();
        assertRefused("CKR_BUFFER_TOO_SMALL", () -> session.verify(in, 5, 1, null, 0, 0));
        assertRefused("CKR_DATA_INVALID", () -> session.verify(in, 0, 5, null, 0, 0));
    }

    @Test
    void everyInitChecksKeyThenMechanism() throws Throwable {
        Map<String, Init> inits = Map.of("C_EncryptInit", session::encryptInit, "C_DecryptInit", session::decryptInit,
            "C_SignInit", session::signInit, "C_SignRecoverInit", session::signRecoverInit, "C_VerifyInit",
            session::verifyInit, "C_VerifyRecoverInit", session::verifyRecoverInit);
        for (String function : inits.keySet()) {
            Init init = inits.get(function);
            init.run(0x80000001, null, key(-1));
            assertCalls(function + " session=0x7 mechanism=0x80000001 parameter=null/0 key=0xffffffff");
            assertRefused("", () -> init.run(CKM_SHA256, "wrong", key(0)));
            assertRefused("obj is null", () -> init.run(CKM_SHA256, "wrong", null));
            assertRefused("CKR_MECHANISM_PARAM_INVALID", () -> init.run(CKM_SHA256, "wrong", key(9)));
        }
        String line = "tokbridge:  Java_com_kelvane_pkcs11_nat_NativePKCS11Session_%scryptInit():  The mechanism ID"
            + " passed in is: -2147483647 \n";
        for (String name : List.of("En", "De")) {
            Executable init = () -> inits.get("C_" + name + "cryptInit").run(0x80000001, null, key(9));
            withEnvironment("PKCS11DEBUG", "",
                () -> assertEquals(String.format(line, name.toLowerCase()), written(STDOUT, init)));
        }
    }

    @Test
    void encryptDoFinalGCMStartsAndEncrypts() throws Throwable {
        CK_GCM_PARAMS gcm = new CK_GCM_PARAMS(new byte[12], null, 128);
        byte[] out = new byte[6];
        assertEquals(4, session.encryptDoFinalGCM(CKM_AES_GCM, gcm, key(9), in, 1, 4, out, 2));
        assertEquals("[C_EncryptInit, C_Encrypt session=0x7 in=02030405 capacity=4]",
            calls().toString().replaceFirst("Init [^,]*", "Init"));
        assertOutputRule("C_Decrypt", true,
            (buffer, at) -> session.decryptDoFinalGCM(CKM_AES_GCM, gcm, key(9), in, 0, 5, buffer, at));
        NativePKCS11Session closed = new NativePKCS11Session(null, 7);
        assertRefused("obj is null", () -> closed.encryptDoFinalGCM(0, null, key(9), in, 0, 5, out, 0));
        assertEquals(3, session.encryptDoFinalGCM(CKM_AES_GCM, "wrong", key(0), in, 0, 5, out, 0));
        assertEquals(3, session.decryptDoFinalGCM(CKM_AES_GCM, gcm, key(0), null, 0, 5, null, 0));
        assertRefused("CKR_MECHANISM_PARAM_INVALID", () -> session.decryptDoFinalGCM(CKM_AES_GCM, "wrong", key(9),
            null, 0, 5, null, 0));
        token.answer("C_EncryptInit", "rv=CKR_KEY_TYPE_INCONSISTENT");
        assertEquals("CKR_KEY_TYPE_INCONSISTENT", raised(() -> session.encryptDoFinalGCM(CKM_AES_GCM, gcm, key(9),
            null, 0, 5, null, 0)));
        assertEquals(1, calls().size());
        assertEquals("CKR_DATA_INVALID", raised(() -> session.encryptDoFinalGCM(CKM_AES_GCM, gcm, key(9), null, 0, 5,
            null, 0)));
        assertEquals(1, calls().size(), "started, and not run");
        assertRefused("obj is null", () -> session.decryptDoFinalGCM(CKM_AES_GCM, gcm, null, in, 0, 5, out, 0));
    }

    /** Some modules refuse a pointer to an empty label: they are called once more without it. */
    @Test
    void anEmptyOaepLabelIsDropped() throws Throwable {
        int oaep = CKM_RSA_PKCS_OAEP;
        Object none = new CK_RSA_PKCS_OAEP_PARAMS(CKM_SHA_1, CKG_MGF1_SHA1, null);
        Object label = new CK_RSA_PKCS_OAEP_PARAMS(CKM_SHA_1, CKG_MGF1_SHA1, new byte[] {7});
        Object within = new CK_RSA_AES_KEY_WRAP_PARAMS(256, (CK_RSA_PKCS_OAEP_PARAMS) none);
        token.answer("C_WrapKey", "rv=CKR_ARGUMENTS_BAD out.length=99");
        session.wrapKey(CKM_RSA_AES_KEY_WRAP, within, key(8), key(9), new byte[8], 2);
        assertTrue(calls().get(1).contains(" pSourceData=null "), "once more");
        Map<String, Consumer<Object>> calls = Map.of(
            "C_EncryptInit", parameter -> session.encryptInit(oaep, parameter, key(9)),
            "C_DecryptInit", parameter -> session.decryptInit(oaep, parameter, key(9)),
            "C_WrapKey", parameter -> session.wrapKey(oaep, parameter, key(8), key(9), new byte[8], 2),
            "C_UnwrapKey", parameter -> session.unwrapKey(oaep, parameter, key(8), new byte[4], 0, 4, null, null),
            "C_EncryptInit whole", parameter -> session.encryptDoFinalGCM(oaep, parameter, key(9), new byte[4], 0, 4,
                new byte[8], 0),
            "C_DecryptInit whole", parameter -> session.decryptDoFinalGCM(oaep, parameter, key(9), new byte[4], 0, 4,
                new byte[8], 0));
        for (String name : calls.keySet()) {
            String function = name.split(" ")[0];
            for (String rv : new String[] {"CKR_ARGUMENTS_BAD", "CKR_MECHANISM_PARAM_INVALID"}) {
                token.answer(function, "rv=" + rv + " out.length=99");
                calls.get(name).accept(none);
                List<String> made = calls();
                assertTrue(made.get(0).contains(" pSourceData=+40: ulSourceDataLen=0}"), made.get(0));
                assertEquals(made.get(0).replace("=+40: ", "=null "), made.get(1), "all else is as it was");

                token.always(function, "rv=" + rv);
                assertEquals(rv, raised(() -> calls.get(name).accept(none)));
                assertEquals(2, calls().size(), "once more only");
                token.always(function, "rv=" + rv + " pSourceData.pointer=1");
                assertEquals(rv, raised(() -> calls.get(name).accept(none)));
                assertEquals(2, calls().size(), "even if the module changes the pointer");
                token.always(function, "rv=" + rv);
                assertEquals(rv, raised(() -> calls.get(name).accept(label)));
                assertEquals(1, calls().size(), "not with a label");
                token.reset();
            }
            token.answer(function, "rv=CKR_MECHANISM_INVALID");
            assertEquals("CKR_MECHANISM_INVALID", raised(() -> calls.get(name).accept(none)));
            assertEquals(1, calls().size(), "not for another code");
        }
    }

    @Test
    void keysAreGeneratedAndWrapped() throws Throwable {
        PKCS11Object[] pair = session.generateKeyPair(CKM_RSA_PKCS_KEY_PAIR_GEN, null, null, null, null, null);
        assertNumber(100, ((NativePKCS11Object) pair[0]).getObjectID());
        assertNumber(101, ((NativePKCS11Object) pair[1]).getObjectID());
        assertOutputRule("C_WrapKey", false, (out, at) -> session.wrapKey(CKM_DES_ECB, null, key(8), key(9), out, at));
    }

    @Test
    void keyManagementChecksInOrder() throws Throwable {
        int[] types = {CKA_TOKEN};
        Object[] wrong = {1};
        assertRefused("CKR_MECHANISM_PARAM_INVALID", () -> session.generateKey(CKM_AES_KEY_GEN, 1, types, wrong));
        assertRefused("CKR_ATTRIBUTE_VALUE_INVALID", () -> session.generateKeyPair(0, null, types, wrong, new int[1],
            wrong));
        assertRefused("CKR_MECHANISM_PARAM_INVALID", () -> session.wrapKey(CKM_SHA256, 1, key(0), key(0), null, 0));
        assertRefused("", () -> session.wrapKey(CKM_SHA256, null, null, key(0), null, 0));
        assertRefused("", () -> session.wrapKey(CKM_SHA256, null, key(0), key(9), null, 0));
        assertRefused("obj is null", () -> session.wrapKey(CKM_SHA256, null, key(0), null, null, 0));
        assertRefused("CKR_DATA_INVALID", () -> session.wrapKey(CKM_SHA256, null, key(8), key(9), null, 0));
        assertRefused("CKR_BUFFER_TOO_SMALL", () -> session.wrapKey(CKM_SHA256, null, key(8), key(9), new byte[1], 2));
        assertRefused("", () -> session.unwrapKey(CKM_SHA256, null, key(0), null, 0, 0, types, wrong));
        assertRefused("CKR_ATTRIBUTE_VALUE_INVALID", () -> session.unwrapKey(CKM_SHA256, null, key(8), null, 0, 0,
            types, wrong));
        assertRefused("CKR_DATA_INVALID", () -> session.unwrapKey(CKM_SHA256, null, key(8), null, 0, 0, null, null));
        assertRefused("", () -> session.deriveKey(CKM_DH_PKCS_DERIVE, null, key(0), types, wrong));
        assertRefused("CKR_ATTRIBUTE_VALUE_INVALID", () -> session.deriveKey(CKM_DH_PKCS_DERIVE, null, key(8), types,
            wrong));
        assertRefused("", () -> session.digestKey(key(0)));
        assertRefused("obj is null", () -> session.digestKey(null));
        String prefix = "tokbridge:  Java_com_kelvane_pkcs11_nat_NativePKCS11Session_deriveKey";
        withEnvironment("PKCS11DEBUG", "1", () -> assertEquals(prefix + "() was called\n", written(STDOUT,
            () -> assertEquals("CKR_MECHANISM_PARAM_INVALID", raised(() -> session.deriveKey(CKM_ECDH1_DERIVE, null,
                key(8), null, null))))));
        token.answer("C_DeriveKey", "key=0x10000004d"); // printed whole
        withEnvironment("PKCS11DEBUG", "1", () -> assertEquals(prefix + "() was called\n" + prefix
            + ": The returned secretKey is:  >4294967373<\n" + prefix + "() was called\n", written(STDOUT, () -> {
                session.deriveKey(CKM_DH_PKCS_DERIVE, null, key(8), null, null);
                session.deriveKey(CKM_DH_PKCS_DERIVE, null, key(0), null, null); // flushes the line before it
            })));
    }
}
