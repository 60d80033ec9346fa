package com.kelvane.tokbridge.test;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static com.kelvane.tokbridge.test.Harness.*;
import static org.junit.jupiter.api.Assertions.*;
import static org.junit.jupiter.api.Assumptions.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import java.io.*;
import java.math.BigInteger;
import java.nio.ByteBuffer;
import java.security.*;
import java.security.interfaces.*;
import java.security.spec.*;
import java.util.*;
import java.util.stream.*;
import javax.crypto.interfaces.*;
import org.junit.jupiter.api.*;
import org.junit.jupiter.api.function.*;

/** The methods in plain Java: whatever a module returns, the result is exact or an exception, the session free. */
class ShortFormTest extends SessionFixture {
    private static final String ENDED = "CKR_OPERATION_NOT_INITIALIZED";
    private static final String FAILED = "CKR_DEVICE_ERROR";
    private static final String TOO_SMALL = "CKR_BUFFER_TOO_SMALL";
    private static final IOException BROKEN = new IOException("broken");

    private static final Map<String, String> FLAGS = Map.of("C_Encrypt", "0x100", "C_Decrypt", "0x200", "C_Digest",
        "0x400", "C_Sign", "0x800", "C_Verify", "0x2000");

    private final byte[] in = {1, 2, 3, 4, 5};
    private InputStream source = new ByteArrayInputStream(in);
    private OutputStream sink = new ByteArrayOutputStream();

    /** An operation: the functions that it calls, those of them that have output, and its result as text. */
    private final class Form {
        final List<String> functions;
        final List<String> withOutput;
        final ThrowingSupplier<Object> call;

        Form(String functions, ThrowingSupplier<Object> call) {
            this.functions = List.of(functions.split(" "));
            this.call = call;
            withOutput = this.functions.stream()
                .filter(each -> each.matches("C_(En|De)crypt(Update|Final)?|C_(Digest|Sign)(Final)?"))
                .collect(Collectors.toList());
        }

        boolean isStream() {
            return functions.size() > 2;
        }

        String run() throws Throwable {
            source = new ByteArrayInputStream(in);
            sink = new ByteArrayOutputStream();
            calls();
            return outcome(() -> {
                Object result = call.get();
                return result instanceof OutputStream ? hex(((ByteArrayOutputStream) result).toByteArray())
                    : result instanceof byte[] ? hex(result) : result;
            });
        }

        /** Ended by C_SessionCancel, or by the last call in parts and one of no data, which is first without parts. */
        void assertEnded(List<String> made, boolean cancels) {
            String whole = functions.get(1).replace("Update", "");
            if (cancels) {
                assertEquals("C_SessionCancel session=0x7 flags=" + FLAGS.get(whole), made.get(made.size() - 1));
            } else {
                List<String> ends = made.subList(made.size() - 2, made.size());
                int last = names(made).contains(whole + "Update") ? 0 : 1;
                assertEquals(whole + "Final", names(ends).get(last));
                assertTrue(ends.get(1 - last).startsWith(whole + " session=0x7 in= "), "" + ends);
                assertFalse(ends.toString().contains("signature=" + hex(in)), "the token may have refused it");
            }
        }
    }

    private List<Form> forms() {
        return List.of(
            new Form("C_EncryptInit C_Encrypt", () -> session.encrypt(1, null, key(9), in)),
            new Form("C_DecryptInit C_Decrypt", () -> session.decrypt(1, null, key(9), in)),
            new Form("C_DigestInit C_Digest", () -> session.digest(1, null, in)),
            new Form("C_SignInit C_Sign", () -> session.sign(1, null, key(9), in)),
            new Form("C_VerifyInit C_Verify", () -> session.verify(1, null, key(9), in, in)),
            new Form("C_EncryptInit C_EncryptUpdate C_EncryptFinal", () -> {
                session.encrypt(1, null, key(9), source, sink);
                return sink;
            }),
            new Form("C_DecryptInit C_DecryptUpdate C_DecryptFinal", () -> {
                session.decrypt(1, null, key(9), source, sink);
                return sink;
            }),
            new Form("C_DigestInit C_DigestUpdate C_DigestFinal", () -> session.digest(1, null, source)),
            new Form("C_SignInit C_SignUpdate C_SignFinal", () -> session.sign(1, null, key(9), source)),
            new Form("C_VerifyInit C_VerifyUpdate C_VerifyFinal", () -> session.verify(1, null, key(9), source, in)));
    }

    private static List<String> names(List<String> calls) {
        return calls.stream().map(each -> each.split(" ")[0]).collect(Collectors.toList());
    }

    @Test
    void outputOfEveryLengthIsReturned() throws Throwable {
        for (Form form : forms()) {
            for (String function : form.withOutput) {
                String plain = form.run();
                assertEquals(form.functions, names(calls()));
                String replaced = function.matches(".*crypt(Update)?") ? hex(in)
                    : plain.substring(plain.length() - (function.matches(".*cryptFinal") ? 2 : plain.length()));
                for (int length : new int[] {0, 1, 1029, 1030, 9000, 500_000}) {
                    String output = "ab".repeat(length);
                    token.always(function, "out=" + output);
                    assertEquals(plain.replace(replaced, output), form.run(), form.functions + " " + length);
                    List<String> made = names(calls());
                    assertEquals(1, Collections.frequency(made, form.functions.get(0)), "started once");
                    if (length <= in.length + 1024 && function.matches(".*crypt(Update)?")) { // the first capacity
                        assertEquals(form.functions, made);
                    }
                    token.always(function, "");
                }
            }
        }
        token.always("C_WrapKey", "out=" + "cd".repeat(20_000));
        assertEquals(20_000, session.wrapKey(1, null, key(8), key(9)).length);
        byte[] large = bytes(1, 3 << 20);
        assertArrayEquals(large, session.encrypt(1, null, key(9), large));
        ByteArrayOutputStream kept = new ByteArrayOutputStream(); // by the token, until the last call
        token.always("C_DecryptUpdate", "out=").always("C_DecryptFinal", "out=" + hex(large));
        session.decrypt(1, null, key(9), new ByteArrayInputStream(large), kept);
        assertArrayEquals(large, kept.toByteArray());
    }

    @Test
    void anOutputBufferThatIsAlwaysTooSmallIsReported() throws Throwable {
        for (Form form : forms()) {
            for (String function : form.withOutput) {
                for (String length : List.of("keep", "2", "0x200000", "0x7fffffff", "0x80000000")) {
                    token.always(function, "rv=" + TOO_SMALL + " out.length=" + length);
                    assertEquals(TOO_SMALL, form.run());
                    List<String> made = calls();
                    assertTrue(made.size() < 20, "" + made);
                    made.forEach(each -> assertFalse(each.matches(".*capacity=(\\d{8,}|[2-9]\\d{6})"), "too large"));
                    form.assertEnded(made, true);
                    token.always(function, "");
                }
            }
        }
        token.always("C_WrapKey", "rv=" + TOO_SMALL);
        assertEquals(TOO_SMALL, raised(() -> session.wrapKey(1, null, key(8), key(9))));
    }

    /** Some tokens end an operation whose output buffer is too small. Streams cannot be read again. */
    @Test
    void anOperationEndedByASmallBufferIsStartedAgain() throws Throwable {
        for (Form form : forms()) {
            String plain = form.run();
            for (String function : form.withOutput) {
                token.answer(function, "rv=" + TOO_SMALL + " out.length=5000").answer(function, "rv=" + ENDED);
                if (form.isStream()) {
                    token.answer(function, "rv=" + ENDED);
                }
                assertEquals(form.isStream() ? ENDED : plain, form.run(), function);
                assertEquals(form.isStream() ? 1 : 2, Collections.frequency(names(calls()), form.functions.get(0)));
                token.reset();
            }
        }
    }

    /** An operation that was not started is left alone: it may be the caller's own. */
    @Test
    void everyFailureEndsTheOperation() throws Throwable {
        for (String cancel : List.of("reset", "missing C_SessionCancel", "always C_SessionCancel rv=" + FAILED)) {
            token.reset().steer(cancel);
            for (Form form : forms()) {
                for (String function : form.functions) {
                    token.answer(function, "rv=" + FAILED);
                    assertEquals(FAILED, form.run(), function);
                    List<String> made = calls();
                    if (function.endsWith("Init")) {
                        assertEquals(List.of(function), names(made));
                    } else {
                        form.assertEnded(made, cancel.equals("reset"));
                    }
                }
            }
        }
        // More than the array holds, which is found after the start.
        token.reset().answer("C_EncryptInit", "parameter=" + "ab".repeat(20));
        assertEquals(TOO_SMALL, raised(() -> session.encrypt(CKM_SKIPJACK_CBC64, new byte[8], key(9), in)));
        assertEquals(List.of("C_EncryptInit", "C_SessionCancel"), names(calls()));
    }

    @Test
    void nullDataStartsNothing() {
        byte[] none = null;
        for (Executable each : List.<Executable>of(() -> session.encrypt(1, null, key(9), none),
            () -> session.decrypt(1, null, key(9), none), () -> session.digest(1, null, none),
            () -> session.sign(1, null, key(9), none), () -> session.verify(1, null, key(9), none, in),
            () -> session.verify(1, null, key(9), in, none), () -> session.verify(1, null, key(9), source, none))) {
            assertThrows(NullPointerException.class, each);
            assertCalls();
        }
    }

    private static String message(Executable call) {
        return assertThrows(RuntimeException.class, call).getMessage();
    }

    @Test
    void failuresNameTheFunctionAndTheMechanism() {
        CK_GCM_PARAMS gcm = new CK_GCM_PARAMS();
        Template none = Template.of();
        Map<String, Executable> calls = Map.of(
            "C_EncryptInit with CKM_AES_GCM", () -> session.encrypt(CKM_AES_GCM, gcm, key(9), in),
            "C_SignUpdate with CKM_SHA256_RSA_PKCS", () -> session.sign(CKM_SHA256_RSA_PKCS, null, key(9), source),
            "C_DigestFinal with CKM_SHA256", () -> session.digest(CKM_SHA256, null, source),
            "C_Verify with CKM_0x80000001", () -> session.verify(0x80000001, null, key(9), in, in),
            "C_WrapKey with CKM_AES_KEY_WRAP", () -> session.wrapKey(CKM_AES_KEY_WRAP, null, key(8), key(9)),
            "C_GenerateKey with CKM_AES_KEY_GEN", () -> session.generateKey(CKM_AES_KEY_GEN, null, none),
            "C_CreateObject", () -> session.createObject(none),
            "C_SetAttributeValue", () -> key(9).setAttributeValues(none),
            "C_CopyObject", () -> key(9).copy(none), "C_FindObjectsInit", () -> session.findObjects(none));
        calls.forEach((name, call) -> {
            source = new ByteArrayInputStream(in);
            token.reset().answer(name.split(" ")[0], "rv=CKR_KEY_SIZE_RANGE");
            assertEquals("CKR_KEY_SIZE_RANGE (0x62): " + name, message(call));
        });
        Map<String, Executable> wrong = Map.of(
            "CKM_AES_GCM takes CK_GCM_PARAMS, not byte[]", () -> session.encrypt(CKM_AES_GCM, in, key(9), in),
            "CKM_AES_GCM takes CK_GCM_PARAMS, not null", () -> session.decrypt(CKM_AES_GCM, null, key(9), source, sink),
            "CKM_AES_CBC takes byte[], not Integer", () -> session.wrapKey(CKM_AES_CBC, 3, key(8), key(9)),
            "CKM_SHA_1 takes no parameter, not byte[]", () -> session.digest(CKM_SHA_1, in, in),
            "CKM_HKDF_DERIVE takes CK_HKDF_PARAMS or none, not CK_GCM_PARAMS",
            () -> session.deriveKey(CKM_HKDF_DERIVE, gcm, key(9), none),
            "CKM_SHA256 takes PKCS11RawParameter or none, not String", () -> session.digest(CKM_SHA256, "", source));
        calls();
        wrong.forEach((message, call) -> {
            assertEquals(message, message(call));
            assertInstanceOf(PKCS11Exception.class, assertThrows(IllegalArgumentException.class, call).getCause());
        });
        assertCalls();
        token.answer("C_EncryptInit", "rv=CKR_MECHANISM_PARAM_INVALID");
        assertEquals("CKR_MECHANISM_PARAM_INVALID (0x71): C_EncryptInit with CKM_AES_GCM",
            message(() -> session.encrypt(CKM_AES_GCM, gcm, key(9), in)), "the class of the parameter is right");
        assertEquals("obj is null", message(() -> session.encrypt(CKM_AES_GCM, gcm, null, in)), "a text of its own");
        assertEquals("CKP_ML_KEM_768 CKP_ML_DSA_65 CKP_0x2 CKU_0x9", nameOf("CKP_ML_KEM_", 2) + " "
            + nameOf("CKP_ML_DSA_", 2) + " " + nameOf("CKP_", 2) + " " + nameOf("CKU_", 9));
    }

    /** The last call of a stream cannot be repeated. The length of Edwards signatures is tried first. */
    @Test
    void outputBuffersHoldAnySignature() throws Throwable {
        token.always("C_SignFinal", "out=" + "ab".repeat(49_856));
        assertEquals(49_856, session.sign(CKM_SLH_DSA, null, key(9), source).length);
        for (int length : new int[] {64, 114}) {
            calls();
            token.always("C_Sign", "out=" + "ab".repeat(length));
            assertEquals(length, session.sign(CKM_EDDSA, null, key(9), in).length);
            assertTrue(calls().get(1).endsWith(" capacity=64"));
        }
    }

    /** On a token that keeps all input and needs an output buffer for all of it at each call. */
    @Test
    void theOutputBufferOfAStreamGrowsByDoubling() throws Throwable {
        List<Integer> capacities = new ArrayList<>();
        NativePKCS11Session greedy = new NativePKCS11Session(slot, 7) {
            int kept;

            @Override
            public int decryptUpdate(ByteBuffer part, ByteBuffer out) {
                int needed = kept + part.remaining();
                capacities.add(out.capacity());
                kept = needed > out.capacity() ? kept : needed;
                return needed > out.capacity() ? needed : 0;
            }
        };
        greedy.decrypt(1, null, key(9), new ByteArrayInputStream(new byte[16 << 20]), sink);
        IntSummaryStatistics distinct = capacities.stream().distinct().mapToInt(each -> each).summaryStatistics();
        assertTrue(distinct.getCount() < 16 && distinct.getSum() < 64 << 20, "" + distinct);
    }

    @Test
    void aBrokenStreamEndsTheOperation() throws Throwable {
        InputStream broken = new InputStream() {
            @Override
            public int read() throws IOException {
                throw BROKEN;
            }
        };
        for (Form form : forms()) {
            if (form.isStream()) {
                source = new SequenceInputStream(new ByteArrayInputStream(in), broken);
                calls();
                assertSame(BROKEN, assertThrows(IOException.class, form.call::get));
                form.assertEnded(calls(), true);
            }
            if (form.isStream() && form.functions.get(1).contains("crypt")) {
                source = new ByteArrayInputStream(in);
                sink = new OutputStream() {
                    @Override
                    public void write(int b) throws IOException {
                        throw BROKEN;
                    }
                };
                assertSame(BROKEN, assertThrows(IOException.class, form.call::get));
                form.assertEnded(calls(), true);
            }
        }
    }

    @Test
    void verifyReturnsFalseForWrongSignatures() throws Throwable {
        for (String function : List.of("C_Verify", "C_VerifyFinal")) {
            Form form = forms().stream().filter(each -> each.functions.contains(function)).findFirst().orElseThrow();
            for (String code : List.of("0", "CKR_SIGNATURE_INVALID", "CKR_SIGNATURE_LEN_RANGE")) {
                token.answer(function, "rv=" + code);
                assertEquals("" + code.equals("0"), form.run());
                assertEquals(form.functions, names(calls()));
            }
        }
    }

    @Test
    void handleZeroIsRefusedAsAKey() throws Throwable {
        for (Executable each : List.<Executable>of(() -> session.encrypt(1, null, key(0), in),
            () -> session.decrypt(1, null, key(0), source, sink), () -> session.sign(1, null, key(0), in),
            () -> session.verify(1, null, key(0), in, in), () -> session.wrapKey(1, null, key(0), key(9)),
            () -> session.wrapKey(1, null, key(9), key(0)))) {
            assertRefused("CKR_KEY_HANDLE_INVALID", each);
        }
    }

    @Test
    void internalArraysAreWiped() throws Throwable {
        List<ByteBuffer> seen = new ArrayList<>();
        NativePKCS11Session watched = new NativePKCS11Session(slot, 7) {
            @Override
            public int decrypt(byte[] data, int offset, int length, byte[] out, int outOffset) {
                seen.add(ByteBuffer.wrap(out));
                return super.decrypt(data, offset, length, out, outOffset);
            }

            @Override
            public int decryptUpdate(ByteBuffer data, ByteBuffer out) {
                seen.addAll(List.of(data, out));
                return super.decryptUpdate(data, out);
            }

            @Override
            public void signUpdate(byte[] data, int offset, int length) {
                seen.add(ByteBuffer.wrap(data));
                super.signUpdate(data, offset, length);
            }
        };
        token.answer("C_Decrypt", "rv=" + TOO_SMALL + " out=0101 out.length=5000");
        watched.decrypt(1, null, key(9), in);
        token.answer("C_DecryptUpdate", "rv=" + FAILED + " out=0101");
        raised(() -> watched.decrypt(1, null, key(9), source, sink));
        watched.sign(1, null, key(9), new ByteArrayInputStream(in));
        assertEquals(5, seen.size(), "two outputs in one step, input and output of a stream, input of another");
        for (ByteBuffer each : seen) {
            each.clear();
            assertEquals(ByteBuffer.allocate(each.capacity()), each);
        }
    }

    @Test
    void aSearchIsEnded() throws Throwable {
        token.answer("C_FindObjects", "objects=5").answer("C_FindObjects", "objects=6");
        List<NativePKCS11Object> found = session.findObjects(Template.of(CKA_TOKEN, true));
        assertEquals(List.of("C_FindObjectsInit", "C_FindObjects", "C_FindObjects", "C_FindObjects",
            "C_FindObjectsFinal"), names(calls()));
        assertEquals("0x5 0x6", handleOf(found.get(0)) + " " + handleOf(found.get(1)));
        calls();
        token.answer("C_FindObjects", "rv=" + FAILED).answer("C_FindObjectsFinal", "rv=" + ENDED);
        PKCS11Exception e = assertThrows(PKCS11Exception.class, () -> session.findObjects(Template.of()));
        assertEquals(FAILED + " (0x30): C_FindObjects", e.getMessage());
        assertEquals(ENDED + " (0x91): C_FindObjectsFinal", e.getSuppressed()[0].getMessage());
        assertCalls("C_FindObjectsInit session=0x7 template=[]", "C_FindObjects session=0x7 capacity=1",
            "C_FindObjectsFinal session=0x7");
        token.answer("C_FindObjectsInit", "rv=" + FAILED);
        assertEquals(FAILED, raised(() -> session.findObjects(Template.of())));
        assertEquals(1, calls().size());
    }

    @Test
    void slotsThatReportNoTokenAreSkipped() throws Throwable {
        token.always("C_GetSlotList", "slots=1,2,3");
        Map<String, List<Integer>> expected = Map.of("", List.of(1, 3), "third", List.of(3), "1", List.of(1), "thir",
            List.of());
        for (String label : expected.keySet()) {
            for (String each : List.of("label='first' serialNumber='1'", "rv=CKR_TOKEN_NOT_RECOGNIZED",
                "label='third' serialNumber='3'")) {
                token.answer("C_GetTokenInfo", each);
            }
            assertEquals(expected.get(label), (label.isEmpty() ? library.slotsWithTokens()
                : library.findSlot(label).stream()).map(PKCS11Slot::getSlotID).collect(Collectors.toList()));
        }
        assertThrows(IllegalArgumentException.class, () -> library.findSlot("Token"), "all have this label");
        assertThrows(NullPointerException.class, () -> library.findSlot(null));
        Stream<PKCS11Slot> slots = library.slotsWithTokens();
        finalizeLibrary();
        assertEquals("functionList is null", raised(() -> slots.forEach(each -> { })));
    }

    @Test
    void aTemplateIsEquivalentToItsTwoArrays() {
        int[] types = {CKA_CLASS, CKA_LABEL};
        Object[] values = {CKO_DATA, "a"};
        Template template = Template.of(CKA_CLASS, CKO_DATA).and(CKA_LABEL, "a");
        template.getTypes()[0] = CKA_ID; // of a copy
        template.getValues()[0] = null;
        Runnable[][] pairs = {
            {() -> session.createObject(types, values), () -> session.createObject(template)},
            {() -> session.copy(key(9), types, values), () -> session.copy(key(9), template)},
            {() -> session.findObjectsInit(types, values), () -> session.findObjectsInit(template)},
            {() -> session.generateKey(1, null, types, values), () -> session.generateKey(1, null, template)},
            {() -> session.generateKeyPair(1, null, types, values, null, new Object[0]),
                () -> session.generateKeyPair(1, null, template, Template.of())},
            {() -> session.unwrapKey(1, null, key(8), in, 0, 5, types, values),
                () -> session.unwrapKey(1, null, key(8), in, template)},
            {() -> session.deriveKey(1, null, key(8), types, values),
                () -> session.deriveKey(1, null, key(8), template)},
            {() -> key(9).copy(types, values), () -> key(9).copy(template)},
            {() -> key(9).setAttributeValues(types, values), () -> key(9).setAttributeValues(template)}};
        for (Runnable[] pair : pairs) {
            pair[0].run();
            List<String> expected = calls();
            pair[1].run();
            assertEquals(expected.toString().replace("privateTemplate=null", "privateTemplate=[]"), calls().toString());
        }
        NativePKCS11KeyPair pair = session.generateKeyPair(1, null, Template.of(), Template.of());
        assertEquals(Integer.decode(handleOf(pair.getPublic())) + 1, Integer.decode(handleOf(pair.getPrivate())));
    }

    // ---- Public keys ----

    /** The token has a public key of a type with these attributes. */
    private NativePKCS11Object publicKey(int type, String attributes) {
        token.always("C_GetAttributeValue", String.format("0x%x=%02x00000000000000 0x%x=%02x00000000000000 ",
            CKA_KEY_TYPE, type, CKA_CLASS, CKO_PUBLIC_KEY) + attributes);
        return key(9);
    }

    private static String hexOf(BigInteger number) {
        return hex(number.toByteArray());
    }

    /** The hexadecimal digits of the last bytes of a key's encoding. */
    private static String end(PublicKey key, int length) {
        String encoded = hex(key.getEncoded());
        return encoded.substring(encoded.length() - 2 * length);
    }

    private static PublicKey generate(String algorithm, AlgorithmParameterSpec parameters) throws Exception {
        KeyPairGenerator generator = KeyPairGenerator.getInstance(algorithm);
        if (parameters != null) {
            generator.initialize(parameters);
        }
        return generator.generateKeyPair().getPublic();
    }

    @Test
    void publicKeysBecomeJdkKeys() throws Exception {
        RSAPublicKey rsa = (RSAPublicKey) generate("RSA", null);
        assertEquals(rsa, publicKey(CKK_RSA, "0x120=" + hexOf(rsa.getModulus()) + " 0x122=010001").toPublicKey());
        DSAPublicKey dsa = (DSAPublicKey) generate("DSA", null);
        assertEquals(dsa, publicKey(CKK_DSA, "0x11=" + hexOf(dsa.getY()) + " 0x130=" + hexOf(dsa.getParams().getP())
            + " 0x131=" + hexOf(dsa.getParams().getQ()) + " 0x132=" + hexOf(dsa.getParams().getG())).toPublicKey());
        DHPublicKey dh = (DHPublicKey) generate("DH", null);
        assertEquals(dh, publicKey(CKK_DH, "0x11=" + hexOf(dh.getY()) + " 0x130=" + hexOf(dh.getParams().getP())
            + " 0x132=" + hexOf(dh.getParams().getG())).toPublicKey());
        assertThrows(InvalidKeySpecException.class, publicKey(CKK_AES, "")::toPublicKey);
    }

    /** Its CKA_VALUE is the secret. */
    @Test
    void aPrivateKeyIsNotTakenForAPublicOne() throws Throwable {
        for (int type : new int[] {CKK_DSA, CKK_DH, CKK_ML_DSA}) {
            token.always("C_GetAttributeValue", String.format("0x%x=%02x00000000000000 0x%x=%02x00000000000000 0x11=05 "
                + "0x130=07 0x131=03 0x132=02", CKA_KEY_TYPE, type, CKA_CLASS, CKO_PRIVATE_KEY));
            assertEquals("CKR_ATTRIBUTE_TYPE_INVALID", raised(key(9)::toPublicKey));
        }
    }

    /** Points in an OCTET STRING, in a BIT STRING, and bare, even if a bare one looks like an OCTET STRING. */
    @Test
    void pointsOfEveryFormBecomeJdkKeys() throws Exception {
        Object[][] curves = {{"secp256r1", 65, CKK_EC, "EC"}, {"secp384r1", 97, CKK_EC, "EC"},
            {"secp521r1", 133, CKK_EC, "EC"}, {"Ed25519", 32, CKK_EC_EDWARDS, "EdDSA"},
            {"Ed448", 57, CKK_EC_EDWARDS, "EdDSA"}, {"X25519", 32, CKK_EC_MONTGOMERY, "XDH"},
            {"X448", 56, CKK_EC_MONTGOMERY, "XDH"}};
        for (Object[] each : curves) {
            String curve = (String) each[0];
            int length = (int) each[1], type = (int) each[2];
            boolean bare = type != CKK_EC;
            AlgorithmParameterSpec domain = bare ? new NamedParameterSpec(curve) : new ECGenParameterSpec(curve);
            PublicKey key = generate((String) each[3], domain);
            while (length == 65 && !end(key, length).startsWith("043f")) {
                key = generate("EC", domain);
            }
            String named = "";
            if (!bare) {
                AlgorithmParameters parameters = AlgorithmParameters.getInstance("EC");
                parameters.init(domain);
                named = "0x180=" + hex(parameters.getEncoded());
            }
            String point = end(key, length);
            for (String form : List.of("", String.format(length < 128 ? "04%02x" : "0481%02x", length),
                String.format(length < 127 ? "03%02x00" : "", length + 1))) {
                assertEquals(key, publicKey(type, named + " 0x181=" + form + point).toPublicKey(), curve + form);
            }
            for (String wrong : List.of("", "04", point.substring(2), point + "00", "0440" + point + "0000",
                bare ? "" : "02" + point.substring(2))) {
                assertThrows(InvalidKeySpecException.class, publicKey(type, named + " 0x181=" + wrong)::toPublicKey,
                    curve + wrong);
            }
        }
        for (String unknown : List.of("06022a03", "", "1303502d32")) {
            assertThrows(InvalidKeySpecException.class, publicKey(CKK_EC, "0x180=" + unknown + " 0x181=04")
                ::toPublicKey, unknown);
        }
    }

    @Test
    void postQuantumPublicKeysBecomeJdkKeys() throws Exception {
        assumeTrue(Runtime.version().feature() >= 24, "the JDK has these keys from version 24 on");
        Map<String, Integer> lengths = Map.of("ML-DSA-44", 1312, "ML-DSA-65", 1952, "ML-DSA-87", 2592, "ML-KEM-512",
            800, "ML-KEM-768", 1184, "ML-KEM-1024", 1568);
        for (String set : lengths.keySet()) {
            PublicKey key = generate(set, null);
            assertEquals(key, publicKey(set.contains("DSA") ? CKK_ML_DSA : CKK_ML_KEM,
                "0x11=" + end(key, lengths.get(set))).toPublicKey(), set);
        }
    }
}
