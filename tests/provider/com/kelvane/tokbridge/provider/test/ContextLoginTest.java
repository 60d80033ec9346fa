package com.kelvane.tokbridge.provider.test;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static com.kelvane.tokbridge.provider.test.Tokens.*;
import static org.junit.jupiter.api.Assertions.*;
import static org.junit.jupiter.api.Assumptions.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import java.security.*;
import java.util.*;
import java.util.concurrent.*;
import java.util.concurrent.atomic.*;
import javax.crypto.*;
import javax.security.auth.callback.*;
import org.junit.jupiter.api.*;

/** A key that requires a login before each use: the signature key of a card, or one that is made on SoftHSM2. */
@Tag("any")
class ContextLoginTest {
    private static final String NEW_KEY = "each use";
    private static final byte[] DATA = new byte[20];
    private final NativePKCS11 library = new NativePKCS11();
    private final AtomicInteger requests = new AtomicInteger();
    private NativePKCS11Session session;
    private NativePKCS11Object object;
    private PrivateKey key;
    private PublicKey publicKey;

    @BeforeEach
    void begin() throws Exception {
        login();
        library.load(MODULE);
        library.libInitialize();
        session = library.findSlot(LABEL).orElseThrow().openSession(CKF_SERIAL_SESSION | CKF_RW_SESSION, null);
        if (IS_SOFTHSM) {
            Template both = Template.of(CKA_TOKEN, true, CKA_LABEL, NEW_KEY, CKA_ID, new byte[] {9, 12});
            session.generateKeyPair(CKM_RSA_PKCS_KEY_PAIR_GEN, null, both.and(CKA_MODULUS_BITS, 2048),
                both.and(CKA_SIGN, true).and(CKA_DECRYPT, true).and(CKA_ALWAYS_AUTHENTICATE, true));
        }
        object = session.findObjects(Template.of(CKA_CLASS, CKO_PRIVATE_KEY)).stream().filter(each ->
            each.readAttributes(CKA_ALWAYS_AUTHENTICATE).isTrue(CKA_ALWAYS_AUTHENTICATE)).findFirst().orElse(null);
        assumeTrue(object != null, "the token has no key that requires a login before each use");
        publicKey = session.findObjects(Template.of(CKA_CLASS, CKO_PUBLIC_KEY, CKA_ID,
            object.getByteArrayAttributeValue(CKA_ID))).get(0).toPublicKey();
        KeyStore store = keyStore(PROVIDER, PIN);
        key = (PrivateKey) store.getKey(object.getStringAttributeValue(CKA_LABEL), null);
    }

    @AfterEach
    void end() throws Exception {
        ((AuthProvider) PROVIDER).setCallbackHandler(null);
        library.close();
        KeyStore store = keyStore(PROVIDER, PIN);
        if (store.containsAlias(NEW_KEY)) {
            store.deleteEntry(NEW_KEY);
        }
    }

    /** Has PINs requested from a handler, which counts the requests. */
    private void answer(String pin) {
        ((AuthProvider) PROVIDER).setCallbackHandler(callbacks -> {
            requests.incrementAndGet();
            assertTrue(((PasswordCallback) callbacks[0]).getPrompt().contains("PIN of " + key));
            ((PasswordCallback) callbacks[0]).setPassword(pin.toCharArray());
        });
    }

    private void assertSigns() throws Exception {
        Signature signature = Signature.getInstance("SHA256with" + key.getAlgorithm().replace("EC", "ECDSA"), PROVIDER);
        signature.initSign(key);
        signature.update(DATA);
        byte[] signed = signature.sign();
        Signature verifier = Signature.getInstance(signature.getAlgorithm());
        verifier.initVerify(publicKey);
        verifier.update(DATA);
        assertTrue(verifier.verify(signed));
    }

    private static int code(Throwable failure) {
        return failure instanceof PKCS11Exception ? ((PKCS11Exception) failure).getCode() : code(failure.getCause());
    }

    /** Each signature has a login of its own, and without one the module does not sign. */
    @Test
    void theNativeCallsLogInForOneSignature() {
        int mechanism = key.getAlgorithm().equals("RSA") ? CKM_RSA_PKCS : CKM_ECDSA;
        byte[] signature = new byte[512];
        for (boolean isLoggedIn : new boolean[] {true, true, false}) { // after this OpenSC wants a login of the user
            session.signInit(mechanism, null, object);
            if (isLoggedIn) {
                session.login(CKU_CONTEXT_SPECIFIC, PIN.toCharArray());
                assertTrue(session.sign(DATA, 0, DATA.length, signature, 0) > 0);
            } else {
                assertEquals(CKR_USER_NOT_LOGGED_IN, assertThrows(PKCS11Exception.class,
                    () -> session.sign(DATA, 0, DATA.length, signature, 0)).getCode());
            }
        }
    }

    /** A handler is asked before each use; without one the PIN of the login serves. */
    @Test
    void eachUseHasItsLogin() throws Exception {
        for (int i = 0; i < 3; i++) {
            assertSigns();
        }
        answer(PIN);
        for (int i = 0; i < 3; i++) {
            assertSigns();
        }
        assertEquals(3, requests.get());
        if (publicKey.getAlgorithm().equals("RSA")) {
            Cipher cipher = Cipher.getInstance("RSA/ECB/PKCS1Padding", PROVIDER);
            cipher.init(Cipher.ENCRYPT_MODE, publicKey);
            byte[] hidden = cipher.doFinal(DATA);
            cipher.init(Cipher.DECRYPT_MODE, key);
            assertArrayEquals(DATA, cipher.doFinal(hidden));
            assertEquals(4, requests.get());
        }
    }

    @Test
    void threadsTakeTurns() throws Exception {
        ExecutorService threads = Executors.newFixedThreadPool(4);
        for (Future<?> each : threads.invokeAll(Collections.nCopies(12, () -> {
            assertSigns();
            return null;
        }))) {
            each.get();
        }
        threads.shutdown();
    }

    /** A wrong PIN is sent once, also after a login with the right one; the third would block the card. */
    @Test
    void aWrongPinIsSentOnce() throws Exception {
        for (String pin : new String[] {"000000", "000001"}) {
            answer(pin);
            for (int login = 0; login < 2; login++) {
                for (int i = 0; i < 4; i++) {
                    assertEquals(CKR_PIN_INCORRECT, code(assertThrows(SignatureException.class, this::assertSigns)));
                }
                ((AuthProvider) PROVIDER).logout();
                keyStore(PROVIDER, PIN);
            }
            answer(PIN);
            assertSigns();
        }
        assertEquals(18, requests.get());
    }
}
