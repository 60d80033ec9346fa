package com.kelvane.tokbridge.test;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static com.kelvane.tokbridge.test.Harness.*;
import static org.junit.jupiter.api.Assertions.*;
import static org.junit.jupiter.api.Assumptions.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import java.nio.file.*;
import java.security.Signature;
import java.util.*;
import java.util.concurrent.*;
import java.util.concurrent.atomic.*;
import org.junit.jupiter.api.Test;

/**
 * Modules that were not made for these tests: what the tour does not show of SoftHSM2, and the same token behind a
 * socket, whose server is killed in mid-work. The tour itself is a test of its own, on both.
 */
class RealTokenTest {
    static final String SOFTHSM = System.getProperty("tokbridge.test.softhsm");
    private static final Path P11_KIT = Path.of(System.getProperty("tokbridge.test.p11kit"));
    static final String REMOTE = P11_KIT.resolve("p11-kit-client.so").toString();
    private final NativePKCS11 library = new NativePKCS11();

    private void begin(String module) {
        library.load(module);
        library.libInitialize();
    }

    /** A session of a user on a new token. */
    NativePKCS11Session newToken(String module, String label) {
        begin(module);
        library.findSlot("").orElseThrow().initToken("officer", label);
        library.libFinalize();
        begin(module); // SoftHSM moves an initialised token to another slot
        NativePKCS11Session session = library.findSlot(label).orElseThrow().openSession(6, null);
        session.login(true, "officer");
        session.initPIN("1234");
        session.logout();
        session.login(false, "1234".getBytes());
        return session;
    }

    private static Process startServer() throws Exception {
        Path socket = Files.createTempDirectory("p11").resolve("socket");
        ScriptedToken.setenv("P11_KIT_SERVER_ADDRESS", "unix:path=" + socket);
        return startServer(socket, System.getenv("SOFTHSM2_CONF"));
    }

    static Process startServer(Path socket, String configuration) throws Exception {
        Files.deleteIfExists(socket);
        ProcessBuilder builder = new ProcessBuilder("p11-kit", "server", "-f", "-n", socket.toString(), "--provider",
            SOFTHSM, "pkcs11:").redirectErrorStream(true);
        builder.environment().put("SOFTHSM2_CONF", configuration);
        Process server = builder.start();
        for (int i = 0; i < 2000 && !Files.exists(socket); i++) {
            Thread.sleep(10);
        }
        return server;
    }

    /** The server and the process that it has for each client. */
    static void kill(Process server) throws Exception {
        server.descendants().forEach(ProcessHandle::destroyForcibly);
        server.destroyForcibly().waitFor();
    }

    @Test
    void codesAndStates() throws Throwable {
        NativePKCS11Session session = newToken(SOFTHSM, "the \u00e9token");
        NativePKCS11Slot slot = session.getSlot();
        assertEquals("0x70", raised(() -> slot.getMechanismInfo(0x80001234)));
        assertEquals("0xb4", raised(() -> slot.openSession(2, null)));
        assertEquals("0x100", raised(() -> session.login(false, "1234")));
        session.setPIN("1234", "5678");
        session.logout();
        assertEquals("0xa0", raised(() -> session.login(false, "1234")));
        session.login(false, "5678");
        session.seedRandom(new byte[64], 0, 64);
        assertEquals("0x54", raised(session::getOperationState));
        assertFalse(session.getFunctionStatus());
        assertEquals("0x91", raised(() -> session.encrypt(new byte[16], 0, 16, new byte[16], 0)));
        slot.closeAllSessions();
        assertEquals("0xb3", raised(session::logout));
        library.libFinalize();
        assertEquals("functionList is null", raised(session::close));
    }

    /** What the tour does not try: the JDK verifies with the key that the token tells. */
    @Test
    void edwardsSignature() throws Throwable {
        NativePKCS11Session session = newToken(SOFTHSM, "edwards");
        assumeTrue(Arrays.stream(session.getSlot().getMechanismList()).anyMatch(each -> each == CKM_EDDSA));
        NativePKCS11KeyPair pair = session.generateKeyPair(CKM_EC_EDWARDS_KEY_PAIR_GEN, null,
            Template.of(CKA_EC_PARAMS, new byte[] {6, 3, 0x2b, 0x65, 0x70}), Template.of(CKA_SIGN, true));
        byte[] text = {1, 2, 3};
        Signature jdk = Signature.getInstance("Ed25519");
        jdk.initVerify(pair.getPublic().toPublicKey());
        jdk.update(text);
        assertTrue(jdk.verify(session.sign(CKM_EDDSA, null, pair.getPrivate(), text)));
        library.libFinalize();
    }

    /** The recovery that users are told of, under load: threads are inside the module when it is finalised. */
    @Test
    void finalisedAndLoadedAgainUnderThreads() throws Throwable {
        AtomicReference<NativePKCS11Slot> current = new AtomicReference<>();
        AtomicInteger digests = new AtomicInteger();
        Set<String> outcomes = ConcurrentHashMap.newKeySet();
        List<Background> workers = new ArrayList<>();
        for (int i = 0; i < 3; i++) {
            workers.add(start(() -> {
                while (digests.get() >= 0) {
                    outcomes.add(raised(() -> digestInSession(current.get())));
                    digests.getAndUpdate(n -> n < 0 ? n : n + 1);
                }
            }));
        }
        for (int round = 0; round < 1000; round++) {
            NativePKCS11 holder = new NativePKCS11();
            holder.load(SOFTHSM);
            holder.libInitialize();
            digests.set(0);
            current.set((NativePKCS11Slot) holder.getSlotList(true)[0]);
            while (digests.get() < round % 3) {
                Thread.onSpinWait();
            }
            holder.libFinalize();
        }
        digests.set(-1);
        for (Background each : workers) {
            each.finish();
        }
        outcomes.removeAll(Set.of("", "functionList is null", "0x190", "0xb3", "0x90", "0x91")); // too late, or in a next life
        assertEquals(Set.of(), outcomes);
    }

    private static void digestInSession(NativePKCS11Slot slot) {
        if (slot == null) {
            return;
        }
        try (NativePKCS11Session session = slot.openSession(PKCS11Constants.CKF_SERIAL_SESSION, null)) {
            session.digestInit(PKCS11Constants.CKM_SHA256, null);
            session.digest(new byte[64], 0, 64, new byte[32], 0);
        }
    }

    @Test
    void aTokenFarAwayThatDiesAndComesBack() throws Throwable {
        Process server = startServer();
        NativePKCS11 beside = new NativePKCS11();
        beside.load(P11_KIT.resolve("p11-kit-trust.so").toString());
        beside.libInitialize();
        try {
            NativePKCS11Session session = newToken(REMOTE, "far away");
            session.encryptInit(CKM_AES_ECB, null,
                session.generateKey(CKM_AES_KEY_GEN, null, Template.of(CKA_VALUE_LEN, 16, CKA_ENCRYPT, true)));
            assertEquals(16, session.encryptUpdate(new byte[16], 0, 16, new byte[16], 0));
            kill(server);
            for (int i = 0; i < 3; i++) {
                String code = raised(() -> session.encryptUpdate(new byte[16], 0, 16, new byte[16], 0));
                assertTrue(Set.of("0x30", "0x5", "0xb3", "0x32").contains(code), code);
                assertFalse(raised(session::getInfo).isEmpty());
            }
            raised(library::libFinalize);
            assertTrue(beside.getSlotList(false).length > 0, "the other library is not concerned");

            server = startServer();
            begin(REMOTE);
            NativePKCS11Session again = library.findSlot("far away").orElseThrow().openSession(6, null);
            again.login(false, "1234");
            again.generateRandom(new byte[8], 0, 8);
            library.libFinalize();
        } finally {
            beside.libFinalize();
            kill(server);
        }
    }
}
