package com.kelvane.tokbridge.provider.test;

import static com.kelvane.tokbridge.provider.test.Tokens.*;
import static org.junit.jupiter.api.Assertions.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import com.kelvane.pkcs11.provider.*;
import java.security.*;
import java.util.*;
import java.util.concurrent.*;
import javax.crypto.*;
import org.junit.jupiter.api.*;

/** Many threads, few sessions, and many keys. */
class LoadTest {
    /** SoftHSM2 with four sessions, for all programs together. */
    private static final String FEW = System.getProperty("tokbridge.test.four");

    @BeforeAll
    static void begin() throws Exception {
        login();
    }

    private static void inThreads(int count, Callable<?> work) throws Exception {
        ExecutorService threads = Executors.newFixedThreadPool(count);
        for (Future<?> each : threads.invokeAll(Collections.nCopies(count, work))) {
            each.get();
        }
        threads.shutdown();
    }

    private static Callable<?> signing(Provider provider, KeyPair pair, int times) {
        return () -> {
            Signature signature = Signature.getInstance("SHA256withECDSA", provider);
            Signature verifier = Signature.getInstance("SHA256withECDSA");
            for (int i = 0; i < times; i++) {
                byte[] data = {(byte) i};
                signature.initSign(pair.getPrivate());
                signature.update(data);
                byte[] signed = signature.sign();
                verifier.initVerify(pair.getPublic());
                verifier.update(data);
                assertTrue(verifier.verify(signed));
            }
            return null;
        };
    }

    @Test
    void threadsShareAKey() throws Exception {
        inThreads(32, signing(PROVIDER, KeyPairGenerator.getInstance("EC", PROVIDER).generateKeyPair(), 50));
    }

    /** A token with few sessions serves many threads in turn; when all are held, the next caller is told so. */
    @Test
    void fewSessions() throws Exception {
        Provider few = new TokbridgeProvider().configure(uri(FEW, LABEL));
        keyStore(few, PIN);
        inThreads(16, signing(few, KeyPairGenerator.getInstance("EC", few).generateKeyPair(), 50));
        SecretKey key = KeyGenerator.getInstance("AES", few).generateKey();
        List<Cipher> holding = new ArrayList<>();
        for (int i = 0; i < 3; i++) { // the fourth session holds the keys
            Cipher cipher = Cipher.getInstance("AES/CBC/PKCS5Padding", few);
            cipher.init(Cipher.ENCRYPT_MODE, key);
            cipher.update(new byte[32]);
            holding.add(cipher);
        }
        Cipher next = Cipher.getInstance("AES/CBC/PKCS5Padding", few);
        next.init(Cipher.ENCRYPT_MODE, key);
        String told = assertThrows(ProviderException.class, () -> next.doFinal(new byte[1])).getMessage();
        assertTrue(told.contains("No session with the token is free: 3 are in use here"), told);
        holding.remove(0).doFinal();
        next.doFinal(new byte[1]);
        holding.clear(); // their sessions come back when they are collected
        for (int i = 0; i < 3; i++) {
            Cipher cipher = Cipher.getInstance("AES/CBC/PKCS5Padding", few);
            cipher.init(Cipher.ENCRYPT_MODE, key);
            for (int attempt = 0;; attempt++) {
                System.gc();
                try {
                    cipher.update(new byte[32]);
                    break;
                } catch (ProviderException e) {
                    assertTrue(attempt < 3, e.getMessage());
                }
            }
            holding.add(cipher);
        }
        for (Cipher each : holding) {
            each.doFinal();
        }
    }

    /** A cipher that is used again and again keeps nothing of what it has done. */
    @Test
    void usedCiphersDoNotGrow() throws Exception {
        Cipher cipher = Cipher.getInstance("AES/CBC/NoPadding", PROVIDER);
        cipher.init(Cipher.ENCRYPT_MODE, KeyGenerator.getInstance("AES", PROVIDER).generateKey());
        Runtime machine = Runtime.getRuntime();
        long[] used = new long[2];
        for (int round = 0; round < 2; round++) {
            for (int i = 0; i < 50_000; i++) {
                cipher.update(new byte[16]);
                cipher.doFinal();
            }
            System.gc();
            used[round] = machine.totalMemory() - machine.freeMemory();
        }
        assertTrue(used[1] < used[0] + 50_000 * 20, Arrays.toString(used));
        cipher.doFinal();
    }

    /** Session keys that nobody refers to leave the token. */
    @Test
    void droppedKeysLeaveTheToken() throws Exception {
        KeyGenerator generator = KeyGenerator.getInstance("AES", PROVIDER);
        NativePKCS11 other = new NativePKCS11();
        other.load(MODULE);
        other.libInitialize();
        NativePKCS11Session session = other.findSlot(LABEL).orElseThrow()
            .openSession(PKCS11Constants.CKF_SERIAL_SESSION, null);
        Template sessionObjects = Template.of(PKCS11Constants.CKA_TOKEN, false);
        for (int i = 0; i < 60_000; i++) {
            generator.generateKey();
        }
        for (int attempt = 0; session.findObjects(sessionObjects).size() > 100; attempt++) {
            assertTrue(attempt < 100, "the keys stay");
            System.gc();
            Thread.sleep(100);
        }
        other.libFinalize();
    }
}
