package com.kelvane.tokbridge.test;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static com.kelvane.tokbridge.test.Harness.*;
import static org.junit.jupiter.api.Assertions.*;
import static org.junit.jupiter.api.Assumptions.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import java.io.IOException;
import java.nio.file.*;
import java.security.*;
import java.util.*;
import java.util.concurrent.*;
import java.util.concurrent.atomic.*;
import java.util.function.*;
import java.util.stream.*;
import org.junit.jupiter.api.*;
import org.junit.jupiter.api.function.*;

/**
 * Real modules: SoftHSM2, and the same token behind a socket, whose server is killed during work. Tests with the tag
 * "any" are also run on each module that tests/modules brings up.
 */
class RealTokenTest {
    static final String SOFTHSM = System.getProperty("tokbridge.test.softhsm");
    private static final Path P11_KIT = Path.of(System.getProperty("tokbridge.test.p11kit"));
    static final String REMOTE = P11_KIT.resolve("p11-kit-client.so").toString();

    /** Of another module than SoftHSM2, label and PINs are in the environment. */
    private static final boolean BROUGHT_UP = System.getProperty("tokbridge.test.module") != null;
    private static final String MODULE = System.getProperty("tokbridge.test.module", SOFTHSM);
    private static final String LABEL = BROUGHT_UP ? System.getenv("TOKEN") : "the \u00e9token";
    private static final String PIN = BROUGHT_UP ? System.getenv("PIN") : "1234";
    private static final String OFFICER_PIN = BROUGHT_UP ? System.getenv("SO_PIN") : "officer";
    private static final int READ_WRITE = CKF_SERIAL_SESSION | CKF_RW_SESSION;
    private final NativePKCS11 library = new NativePKCS11();

    @BeforeEach
    void skipWhatTheModuleCannotDo(TestInfo test) {
        assumeFalse(System.getProperty("tokbridge.test.cannot", "").contains(
            test.getTestMethod().orElseThrow().getName()));
    }

    @AfterEach
    void end() {
        library.close();
    }

    private void begin(String module) {
        library.load(module);
        library.libInitialize();
    }

    /** A session of a user on a new token. */
    NativePKCS11Session newToken(String module, String label) {
        return newToken(module, label, "officer", "1234");
    }

    private NativePKCS11Session newToken(String module, String label, String officerPin, String pin) {
        begin(module);
        library.slotsWithTokens().filter(slot -> !slot.getTokenInfo().isInitialized()).findFirst().orElseThrow()
            .initToken(officerPin, label);
        library.libFinalize();
        begin(module); // SoftHSM moves an initialised token to another slot
        NativePKCS11Session session = library.findSlot(label).orElseThrow().openSession(READ_WRITE, null);
        session.login(true, officerPin);
        session.initPIN(pin);
        session.logout();
        session.login(false, pin.getBytes());
        return session;
    }

    /** A session on the module's token, which is initialised if it is missing; of a user if there is a PIN. */
    private NativePKCS11Session session() {
        begin(MODULE);
        Optional<PKCS11Slot> slot = library.findSlot(LABEL);
        if (slot.isEmpty()) {
            library.libFinalize();
            return newToken(MODULE, LABEL, OFFICER_PIN, PIN);
        }
        boolean toWrite = !slot.get().getTokenInfo().isWriteProtected();
        NativePKCS11Session session = slot.get().openSession(toWrite ? READ_WRITE : CKF_SERIAL_SESSION, null);
        if (!PIN.isEmpty()) {
            session.login(false, PIN);
        }
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

    /** Kills the server and its processes, one for each client. */
    static void kill(Process server) throws Exception {
        server.descendants().forEach(ProcessHandle::destroyForcibly);
        server.destroyForcibly().waitFor();
    }

    @Test
    @Tag("any")
    void codesAndStates() throws Throwable {
        NativePKCS11Session session = session();
        NativePKCS11Slot slot = session.getSlot();
        Object[][] calls = { // call, the standard's result, results of some modules
            {(Executable) () -> slot.getMechanismInfo(CKM_VENDOR_DEFINED | 0x1234), "CKR_MECHANISM_INVALID"},
            {(Executable) () -> slot.openSession(CKF_RW_SESSION, null), "CKR_SESSION_PARALLEL_NOT_SUPPORTED", ""},
            {(Executable) () -> session.login(false, PIN),
                PIN.isEmpty() ? "CKR_USER_TYPE_INVALID" : "CKR_USER_ALREADY_LOGGED_IN", ""},
            {(Executable) () -> session.encrypt(new byte[16], 0, 16, new byte[16], 0),
                "CKR_OPERATION_NOT_INITIALIZED", "CKR_FUNCTION_NOT_SUPPORTED"},
            {(Executable) () -> session.encryptInit(CKM_AES_ECB, null, null), "obj is null"},
            {(Executable) () -> session.findObject(), "CKR_OPERATION_NOT_INITIALIZED", ""},
            {(Executable) () -> new NativePKCS11Object(session, 0x7ffffff0).size(),
                "CKR_OBJECT_HANDLE_INVALID", "CKR_FUNCTION_NOT_SUPPORTED", ""}};
        for (Object[] call : calls) {
            String raised = name((Executable) call[0]);
            assertTrue(List.of(call).contains(raised), raised + ", not " + Arrays.toString(call));
        }
        slot.closeAllSessions();
        assertTrue(Set.of("CKR_SESSION_HANDLE_INVALID", "CKR_USER_NOT_LOGGED_IN").contains(name(session::logout)));
        library.libFinalize();
        assertEquals("functionList is null", raised(session::close));
    }

    /** Returns the name of the code that a call throws, also of an unknown one. */
    private static String name(Executable call) throws Throwable {
        String raised = raised(call);
        return raised.startsWith("0x") ? nameOf("CKR_", Integer.decode(raised)) : raised;
    }

    @Test
    @Tag("any")
    void allThatIsOnTheToken() throws Throwable {
        NativePKCS11Session session = session();
        int[] types = attributes().keySet().stream().mapToInt(type -> type).toArray();
        List<NativePKCS11Object> objects = session.findObjects(Template.of());
        for (NativePKCS11Object object : objects) {
            PKCS11Attributes read = object.readAttributes(types);
            assertTrue(read.has(CKA_CLASS), object + ": " + read);
        }
        assertEquals(objects, session.findObjects(Template.of()));
        library.libFinalize();
    }

    /** The command check finds the key pair later. */
    @Test
    @Tag("any")
    void aKeyPairThatStays() throws Throwable {
        NativePKCS11Session session = session();
        Set<Integer> offered = Arrays.stream(session.getSlot().getMechanismList()).boxed().collect(Collectors.toSet());
        boolean curve = offered.containsAll(List.of(CKM_EC_KEY_PAIR_GEN, CKM_ECDSA));
        assumeTrue(session.getInfo().getState() == CKS_RW_USER_FUNCTIONS
            && (curve || offered.containsAll(List.of(CKM_RSA_PKCS_KEY_PAIR_GEN, CKM_RSA_PKCS))));
        byte[] p256 = {0x06, 0x08, 0x2a, (byte) 0x86, 0x48, (byte) 0xce, 0x3d, 0x03, 0x01, 0x07};
        Template same = Template.of(CKA_TOKEN, true, CKA_LABEL, "stays", CKA_ID, new byte[] {7});
        Object[] kind = curve ? new Object[] {CKA_EC_PARAMS, p256} : new Object[] {CKA_MODULUS_BITS, 2048};
        session.generateKeyPair(curve ? CKM_EC_KEY_PAIR_GEN : CKM_RSA_PKCS_KEY_PAIR_GEN, null,
            same.and(kind).and(CKA_VERIFY, true), same.and(CKA_SIGN, true));
        library.libFinalize();
        NativePKCS11Session next = session();
        byte[] text = "a text".getBytes();
        byte[] digest = MessageDigest.getInstance("SHA-256").digest(text);
        List<NativePKCS11Object> keys = new ArrayList<>();
        for (int keyClass : new int[] {CKO_PUBLIC_KEY, CKO_PRIVATE_KEY}) {
            keys.addAll(next.findObjects(Template.of(CKA_CLASS, keyClass, CKA_LABEL, "stays")));
        }
        assertEquals(2, keys.size());
        byte[] signature = next.sign(curve ? CKM_ECDSA : CKM_RSA_PKCS, null, keys.get(1), digest);
        Signature jdk = Signature.getInstance(curve ? "NONEwithECDSAinP1363Format" : "NONEwithRSA");
        jdk.initVerify(keys.get(0).toPublicKey());
        jdk.update(digest);
        assertTrue(jdk.verify(signature));
    }

    @Test
    @Tag("any")
    void threadsInSeveralLives() throws Throwable {
        session();
        library.libFinalize();
        for (int life = 0; life < 3; life++) {
            begin(MODULE);
            PKCS11Slot slot = library.findSlot(LABEL).orElseThrow();
            List<Background> threads = new ArrayList<>();
            for (int i = 0; i < 3; i++) {
                threads.add(start(() -> {
                    for (int round = 0; round < 20; round++) {
                        try (NativePKCS11Session session = slot.openSession(CKF_SERIAL_SESSION, null)) {
                            int found = session.findObjects(Template.of(CKA_TOKEN, true)).size();
                            assertEquals(found, session.findObjects(Template.of(CKA_TOKEN, true)).size());
                            assertFalse(slot.getTokenInfo().getLabel() == null);
                        }
                    }
                }));
            }
            for (Background thread : threads) {
                thread.finish();
            }
            library.libFinalize();
        }
    }

    /** Digests in threads while this one does something else; other outcomes than the expected ones are an error. */
    private static void underLoad(Supplier<NativePKCS11Slot> slot, AtomicInteger digests, Executable work,
        String... expected) throws Throwable {
        AtomicBoolean over = new AtomicBoolean();
        Set<String> outcomes = ConcurrentHashMap.newKeySet();
        List<Background> workers = new ArrayList<>();
        for (int i = 0; i < 3; i++) {
            workers.add(start(() -> {
                while (!over.get()) {
                    outcomes.add(name(() -> digestInSession(slot.get())));
                    digests.incrementAndGet();
                }
            }));
        }
        try {
            work.execute();
        } finally {
            over.set(true);
        }
        for (Background each : workers) {
            each.finish();
        }
        outcomes.removeAll(Set.of(expected));
        assertEquals(Set.of(), outcomes);
    }

    private static void digestInSession(NativePKCS11Slot slot) {
        if (slot != null) {
            try (NativePKCS11Session session = slot.openSession(CKF_SERIAL_SESSION, null)) {
                session.digestInit(CKM_SHA256, null);
                session.digest(new byte[64], 0, 64, new byte[32], 0);
            }
        }
    }

    /** The recovery that the documentation describes: threads are inside the module when it is finalised. */
    @Test
    void finalisedAndLoadedAgainUnderLoad() throws Throwable {
        AtomicReference<NativePKCS11Slot> current = new AtomicReference<>();
        AtomicInteger digests = new AtomicInteger();
        underLoad(current::get, digests, () -> {
            for (int round = 0; round < 600; round++) {
                NativePKCS11 holder = new NativePKCS11(); // objects of another life must not reach this one
                holder.load(SOFTHSM);
                holder.libInitialize();
                digests.set(0);
                current.set((NativePKCS11Slot) holder.getSlotList(true)[0]);
                while (digests.get() < round % 3) {
                    Thread.onSpinWait();
                }
                holder.libFinalize();
            }
        }, "", "functionList is null", "CKR_CRYPTOKI_NOT_INITIALIZED", "CKR_SESSION_HANDLE_INVALID",
            "CKR_OPERATION_ACTIVE", "CKR_OPERATION_NOT_INITIALIZED"); // the last two in a session of another life
    }

    /** Without the bridge this ends the process inside the module. */
    @Test
    void allSessionsAreClosedUnderLoad() throws Throwable {
        begin(SOFTHSM);
        NativePKCS11Slot slot = (NativePKCS11Slot) library.getSlotList(true)[0];
        underLoad(() -> slot, new AtomicInteger(), () -> {
            for (int round = 0; round < 2000; round++) {
                slot.closeAllSessions();
            }
        }, "", "CKR_SESSION_HANDLE_INVALID", "CKR_OPERATION_NOT_INITIALIZED");
    }

    @Test
    void aRemoteTokenIsUsedAgainAfterItsServerRestarts() throws Throwable {
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
                assertTrue(Set.of("CKR_DEVICE_ERROR", "CKR_GENERAL_ERROR", "CKR_SESSION_HANDLE_INVALID",
                    "CKR_DEVICE_REMOVED").contains(code), code);
                assertFalse(raised(session::getInfo).isEmpty());
            }
            raised(library::libFinalize);
            assertTrue(beside.getSlotList(false).length > 0, "another library works on");

            server = startServer();
            begin(REMOTE);
            NativePKCS11Session again = library.findSlot("far away").orElseThrow().openSession(READ_WRITE, null);
            again.login(false, "1234");
            again.generateRandom(new byte[8], 0, 8);
            library.libFinalize();
        } finally {
            beside.libFinalize();
            kill(server);
        }
    }
}
