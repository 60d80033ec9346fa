package com.kelvane.tokbridge.provider.test;

import static com.kelvane.tokbridge.provider.test.Tokens.*;
import static org.junit.jupiter.api.Assertions.*;
import static org.junit.jupiter.api.Assumptions.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import com.kelvane.pkcs11.provider.*;
import java.io.IOException;
import java.lang.reflect.*;
import java.math.*;
import java.nio.*;
import java.nio.file.*;
import java.security.*;
import java.util.*;
import java.util.concurrent.*;
import java.util.concurrent.atomic.*;
import javax.crypto.*;
import org.junit.jupiter.api.*;

/** What was lost comes back: sessions, login, module, card and server, in each kind of operation. */
class RecoveryTest {
    /** Another user of the module in this process. */
    private final NativePKCS11 other = new NativePKCS11();

    /** A way of losing something. */
    private interface Loss {
        void happen() throws Exception;
    }

    /** A use of the token, whose result is always the same. */
    private interface Use {
        Object result() throws Exception;
    }

    private PKCS11Slot slot() {
        other.close();
        other.load(MODULE);
        other.libInitialize();
        return other.findSlot(LABEL).orElseThrow();
    }

    @BeforeEach
    void begin() throws Exception {
        login();
    }

    @AfterEach
    void end() {
        other.close();
    }

    private void logOutElsewhere() {
        try (NativePKCS11Session session = slot().openSession(PKCS11Constants.CKF_SERIAL_SESSION, null)) {
            session.logout();
        }
    }

    /** Finalises the module whoever holds it, as its own restart would end its sessions. */
    private void finalise() throws ReflectiveOperationException {
        slot();
        Field list = NativePKCS11.class.getDeclaredField("functionList");
        list.setAccessible(true);
        Object address = list.get(other);
        for (;;) {
            try {
                other.libFinalize();
                list.set(other, address);
            } catch (PKCS11Exception e) {
                return; // the module is not in the library's table any more
            }
        }
    }

    /** The keys that stay on the token, made where the token makes keys. */
    private static Map<String, Use> uses(KeyStore store) throws Exception {
        Map<String, Use> uses = new TreeMap<>();
        if (has("KeyPairGenerator", "RSA") && MAKES_KEYS && !store.containsAlias("rsa")) {
            KeyPairGenerator generator = KeyPairGenerator.getInstance("RSA", PROVIDER);
            generator.initialize(new TokenKeySpec(null).onToken("rsa"));
            generator.generateKeyPair();
            String[][] secret = {{"AES", "aes"}, {"HmacSHA256", "mac"}};
            for (String[] each : HAS_SESSION_KEYS ? secret : new String[0][]) {
                KeyGenerator secrets = KeyGenerator.getInstance(each[0], PROVIDER);
                secrets.init(new TokenKeySpec(null).onToken(each[1]));
                secrets.generateKey();
            }
            store.load(null, PIN.toCharArray());
        }
        String rsa = store.containsAlias("rsa") ? "rsa" : Collections.list(store.aliases()).stream().filter(alias ->
            alias.matches(".*(AUTH|Authentication).*")).findFirst().orElseThrow();
        PrivateKey signing = (PrivateKey) store.getKey(rsa, null);
        Signature signature = Signature.getInstance("SHA256withRSA", PROVIDER);
        uses.put("signature", () -> {
            signature.initSign(signing);
            signature.update(new byte[100]);
            return hex(signature.sign());
        });
        uses.put("key store", () -> {
            KeyStore again = keyStore(PROVIDER, PIN);
            return new TreeSet<>(Collections.list(again.aliases())) + again.getKey(rsa, null).toString();
        });
        if (store.containsAlias("aes")) {
            Cipher cipher = Cipher.getInstance("AES/ECB/PKCS5Padding", PROVIDER);
            uses.put("cipher", () -> {
                cipher.init(Cipher.ENCRYPT_MODE, store.getKey("aes", null));
                return hex(cipher.doFinal(new byte[20]));
            });
            Cipher direct = Cipher.getInstance("AES/ECB/NoPadding", PROVIDER);
            uses.put("direct buffers", () -> {
                direct.init(Cipher.ENCRYPT_MODE, store.getKey("aes", null));
                ByteBuffer out = ByteBuffer.allocateDirect(16);
                direct.doFinal(ByteBuffer.allocateDirect(16), out);
                return out.flip();
            });
            Mac mac = Mac.getInstance("HmacSHA256", PROVIDER);
            uses.put("mac", () -> {
                mac.init(store.getKey("mac", null));
                return hex(mac.doFinal(new byte[70]));
            });
        }
        return uses;
    }

    @Test
    @Tag("any")
    void eachUseWorksAfterEachLoss() throws Exception {
        Map<String, Use> uses = uses(keyStore(PROVIDER, PIN));
        Map<String, Loss> losses = new TreeMap<>(Map.of("sessions", () -> slot().closeAllSessions(),
            "login", this::logOutElsewhere, "login and sessions", () -> {
                logOutElsewhere();
                slot().closeAllSessions();
            }, "module", this::finalise));
        String card = System.getenv("CARD");
        if (card != null) {
            losses.put("card", () -> {
                signal(card, "USR1");
                Thread.sleep(2000); // until the reader has noticed
                uses.values().forEach(each -> assertThrows(Exception.class, each::result));
                signal(card, "USR2");
                Thread.sleep(2000);
            });
        }
        Map<String, Object> expected = new HashMap<>();
        for (Map.Entry<String, Use> use : uses.entrySet()) {
            expected.put(use.getKey(), use.getValue().result());
        }
        for (Map.Entry<String, Loss> loss : losses.entrySet()) {
            for (Map.Entry<String, Use> use : uses.entrySet()) {
                loss.getValue().happen();
                assertEquals(expected.get(use.getKey()), use.getValue().result(),
                    use.getKey() + " after the loss of: " + loss.getKey());
            }
        }
    }

    private static void signal(String process, String name) throws Exception {
        assertEquals(0, new ProcessBuilder("kill", "-" + name, process).start().waitFor());
    }

    /** What cannot be had again is reported: session keys, and the rest of what was delivered in part. */
    @Test
    void whatIsGoneIsReported() throws Exception {
        KeyGenerator generator = KeyGenerator.getInstance("AES", PROVIDER);
        for (Loss loss : new Loss[] {() -> slot().closeAllSessions(), this::logOutElsewhere, this::finalise}) {
            SecretKey key = generator.generateKey();
            Cipher begun = Cipher.getInstance("AES/CBC/PKCS5Padding", PROVIDER);
            begun.init(Cipher.ENCRYPT_MODE, key);
            assertEquals(48, begun.update(new byte[50]).length);
            loss.happen();
            if (slot().getTokenInfo().getSessionCount() == 0) { // an operation goes on after a logout
                String told = assertThrows(ProviderException.class, () -> begun.doFinal(new byte[50])).getMessage();
                assertTrue(told.contains("initialise the cipher again"), told);
            }
            Cipher whole = Cipher.getInstance("AES/CBC/PKCS5Padding", PROVIDER);
            whole.init(Cipher.ENCRYPT_MODE, key);
            ProviderException gone = assertThrows(ProviderException.class, () -> whole.doFinal(new byte[50]));
            assertTrue(gone.getMessage().startsWith("The session key is gone"), gone.getMessage());
            begun.init(Cipher.ENCRYPT_MODE, generator.generateKey());
            assertEquals(64, begun.doFinal(new byte[50]).length);
        }
    }

    /** A key that others delete is missed where session keys are made, and these go on. */
    @Test
    void sessionKeysOutliveADeletedKey() throws Exception {
        KeyGenerator generator = KeyGenerator.getInstance("AES", PROVIDER);
        Cipher living = Cipher.getInstance("AES/CBC/PKCS5Padding", PROVIDER);
        living.init(Cipher.ENCRYPT_MODE, generator.generateKey());
        generator.init(new TokenKeySpec(null).onToken("deleted"));
        Cipher unwrapping = Cipher.getInstance("AES/KW/NoPadding", PROVIDER);
        unwrapping.init(Cipher.UNWRAP_MODE, generator.generateKey());
        try (NativePKCS11Session session = slot().openSession(
            PKCS11Constants.CKF_SERIAL_SESSION | PKCS11Constants.CKF_RW_SESSION, null)) {
            session.findObjects(Template.of(PKCS11Constants.CKA_LABEL, "deleted")).forEach(NativePKCS11Object::destroy);
        }
        String told = assertThrows(InvalidKeyException.class,
            () -> unwrapping.unwrap(new byte[24], "AES", Cipher.SECRET_KEY)).getMessage();
        assertTrue(told.contains("no longer on the token"), told);
        assertEquals(16, living.doFinal(new byte[1]).length);
    }

    /** A key that was deleted is not another one, and one that was replaced is not found. */
    @Test
    void aKeyThatIsReplacedIsNotUsed() throws Exception {
        KeyStore store = keyStore(PROVIDER, PIN);
        for (String algorithm : new String[] {"RSA", "EC"}) {
            KeyPairGenerator generator = KeyPairGenerator.getInstance(algorithm, PROVIDER);
            TokenKeySpec keySpec = new TokenKeySpec(null).onToken("replaced").withId(new byte[] {7, 7});
            generator.initialize(keySpec);
            PrivateKey key = generator.generateKeyPair().getPrivate();
            store.load(null, PIN.toCharArray());
            store.deleteEntry("replaced");
            for (String message : new String[] {"no longer on the token", algorithm.equals("RSA")
                ? "no longer on the token" : "has taken the place"}) {
                logOutElsewhere();
                Signature signature = Signature.getInstance("SHA256with" + (algorithm.equals("RSA") ? "RSA" : "ECDSA"));
                signature.initSign(key);
                String told = assertThrows(SignatureException.class, signature::sign, algorithm).getMessage();
                assertTrue(told.contains(message), told);
                generator.generateKeyPair();
            }
            store.load(null, PIN.toCharArray());
            for (int i = 0; i < 2; i++) { // whose aliases change as one goes
                store.deleteEntry(Collections.list(store.aliases()).stream().filter(each -> each.startsWith("replaced"))
                    .findFirst().orElseThrow());
            }
        }
    }

    /** A server that dies and comes back, under load; without it every call fails at once and says what is missing. */
    @Test
    void aServerThatRestarts() throws Exception {
        String address = System.getenv("P11_KIT_SERVER_ADDRESS");
        assumeTrue(address != null, "P11_KIT_SERVER_ADDRESS is not set");
        Path socket = Path.of(address.replace("unix:path=", ""));
        Process server = serve(socket);
        Provider remote = new TokbridgeProvider().configure(uri(System.getProperty("tokbridge.test.p11kit")
            + "/p11-kit-client.so", LABEL));
        KeyStore store = keyStore(remote, PIN);
        String rsa = uses(keyStore(PROVIDER, PIN)).isEmpty() ? null : "rsa";
        store.load(null, PIN.toCharArray());
        PrivateKey key = (PrivateKey) store.getKey(rsa, null);
        AtomicReference<Object> state = new AtomicReference<>("present");
        AtomicInteger signatures = new AtomicInteger();
        ExecutorService threads = Executors.newFixedThreadPool(8);
        List<Future<?>> results = new ArrayList<>();
        for (int i = 0; i < 8; i++) {
            results.add(threads.submit(() -> {
                while (state.get() != "end") {
                    Object before = state.get();
                    try {
                        sign(remote, key);
                        signatures.incrementAndGet();
                    } catch (SignatureException e) {
                        assertTrue(before != "present" || state.get() != "present", () -> "while present: " + e);
                    }
                }
                return null;
            }));
        }
        for (int round = 0; round < 3; round++) {
            await(signatures);
            state.set("away");
            kill(server);
            String told = assertThrows(SignatureException.class, () -> sign(remote, key)).getMessage();
            assertTrue(told.contains(LABEL), told);
            server = serve(socket);
            for (int attempt = 0;; attempt++) {
                try {
                    sign(remote, key);
                    break;
                } catch (SignatureException e) { // the failure of an attempt that began before is shared
                    assertTrue(attempt < 20, e.getMessage());
                }
            }
            state.set("present");
        }
        await(signatures);
        state.set("end");
        for (Future<?> each : results) {
            each.get();
        }
        threads.shutdown();
        kill(server);
    }

    private static void await(AtomicInteger signatures) throws InterruptedException {
        for (int enough = signatures.get() + 50; signatures.get() < enough;) {
            Thread.sleep(5);
        }
    }

    private static byte[] sign(Provider provider, PrivateKey key) throws GeneralSecurityException {
        Signature signature = Signature.getInstance("SHA256withRSA", provider);
        signature.initSign(key);
        return signature.sign();
    }

    static Process serve(Path socket) throws Exception {
        Files.deleteIfExists(socket);
        Process server = new ProcessBuilder("p11-kit", "server", "-f", "-n", socket.toString(), "--provider", SOFTHSM,
            "pkcs11:").redirectErrorStream(true).redirectOutput(ProcessBuilder.Redirect.DISCARD).start();
        for (int i = 0; i < 2000 && !listens(socket); i++) {
            Thread.sleep(10);
        }
        return server;
    }

    /** Returns whether a server accepts connections; one to a socket that is only bound would be refused. */
    private static boolean listens(Path socket) throws IOException {
        return Files.readString(Path.of("/proc/net/unix")).lines()
            .anyMatch(line -> line.contains(" 00010000 ") && line.endsWith(" " + socket));
    }

    /** Ends the server and the process that it has for each client; stopped, it makes no more of these. */
    static void kill(Process server) throws Exception {
        signal(String.valueOf(server.pid()), "STOP");
        server.descendants().forEach(ProcessHandle::destroyForcibly);
        server.destroyForcibly().waitFor();
    }

    private static String hex(byte[] bytes) {
        return new BigInteger(1, bytes).toString(16);
    }
}
