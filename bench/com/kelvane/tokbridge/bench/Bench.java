package com.kelvane.tokbridge.bench;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import com.kelvane.tokbridge.bench.Stopwatch.Operation;
import java.math.BigInteger;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.security.Key;
import java.security.spec.ECGenParameterSpec;
import java.security.spec.RSAKeyGenParameterSpec;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;

/**
 * Compares this library with a bare caller of the module and with the JDK's own PKCS #11 provider, on one SoftHSM2 token,
 * in one process and in one run.
 *
 * <p>The library initialises the module, makes the token and logs in; the others then work with what they find.
 */
public final class Bench {
    private static final String SOFTHSM = "/usr/lib/softhsm/libsofthsm2.so";
    private static final byte[] P256 = {0x06, 0x08, 0x2a, (byte) 0x86, 0x48, (byte) 0xce, 0x3d, 0x03, 0x01, 0x07};

    private final Stopwatch stopwatch;
    private final BridgeSide bridge;
    private final Bare bare;
    private final JdkSide jdk;

    private Bench(Stopwatch stopwatch, String module) {
        this.stopwatch = stopwatch;
        bridge = new BridgeSide(module);
        int slot = bridge.session.getSlot().getSlotID();
        bare = new Bare(module, slot);
        jdk = new JdkSide(module, slot);
    }

    /**
     * Runs the benchmark.
     *
     * @param arguments {@code --quick} for a few seconds only, {@code --plots DIRECTORY} for the data of the plots,
     *     {@code --threads} for two threads with and without a class-data archive, {@code --provider} for the JCA
     *     provider; the path of SoftHSM2
     * @throws Exception if a side cannot do what it is asked
     */
    public static void main(String[] arguments) throws Exception {
        String verb = arguments.length > 0 && arguments[0].startsWith("--") ? arguments[0] : "";
        int options = verb.isEmpty() ? 0 : verb.equals("--plots") ? 2 : 1;
        String module = arguments.length > options ? arguments[options] : SOFTHSM;
        if (arguments.length < options || arguments.length > options + 1 || module.startsWith("-")
            || System.getenv("SOFTHSM2_CONF") == null) {
            usage();
        }
        switch (verb) {
            case "":
                new Bench(new Stopwatch(31, 600, 20), module).run();
                break;
            case "--quick":
                new Bench(new Stopwatch(7, 150, 5), module).run();
                break;
            case "--plots":
                new Growth(new Stopwatch(15, 200, 10), module, Path.of(arguments[1])).run();
                break;
            case "--provider":
                new Providers(new Stopwatch(15, 300, 30), module).run();
                break;
            case "--threads":
                Sharing.compare(module);
                break;
            case Sharing.CHILD:
                Sharing.measure(module);
                break;
            default:
                usage();
        }
        System.exit(0); // the threads of the measurements do not end by themselves
    }

    private static void usage() {
        System.err.println("usage: bench [--quick | --plots DIRECTORY | --threads | --provider] [MODULE], MODULE being the path of "
            + "SoftHSM2, with SOFTHSM2_CONF set to the configuration of a throw-away SoftHSM2 directory: a token is made "
            + "there");
        System.exit(2);
    }

    private void run() throws Exception {
        System.out.println(bridge.library.getInfo() + ", Java " + System.getProperty("java.version"));
        JniCosts costs = new JniCosts(stopwatch, Path.of(System.getProperty("tokbridge.bench.calls")));
        costs.measure(bridge.session);
        compare(costs);
        threads();
        alone();
        costs.print();
    }

    private void compare(JniCosts costs) throws Exception {
        byte[] random = new byte[1024 * 1024];
        bridge.session.generateRandom(random, 0, random.length);
        byte[] small = Arrays.copyOfRange(random, 32, 96);
        byte[] iv = new byte[16];
        byte[] hash = Arrays.copyOf(small, 32);
        byte[] keyBytes = Arrays.copyOf(random, 32);
        NativePKCS11Object key = bridge.aesKey(keyBytes);
        Key jdkKey = jdk.aesKey(keyBytes);

        System.out.println("Nanoseconds per operation, its start included: medians of " + stopwatch.rounds
            + " rounds, each a batch of all sides in turn.\nOwn: bridge - bare. JNI: what the JNI calls in it cost, each "
            + "in a loop of its own. In place: a native method with\nthese JNI calls and the module's alone - bare.\nRatio: bridge / SunPKCS11, the median of the rounds and their middle half; below 1 the bridge "
            + "is faster.");
        System.out.printf("%n%-26s %12s %12s %12s %10s %9s %9s %6s   %s%n", "Operation", "bare", "bridge", "JDK", "own", "JNI",
            "in place", "ratio", "middle half");
        String[] twoCalls = {"C_EncryptInit iv", "C_Encrypt"};
        String[] oneCall = {"C_EncryptInit whole"};
        for (int size : new int[] {16, 4 * 1024, 64 * 1024}) {
            byte[] message = Arrays.copyOf(random, size);
            byte[][] read = {iv, message};
            byte[][] written = {message};
            row("AES-256 CBC, " + size + " B", true, bare.encrypt(key, message), bridge.encrypt(key, message, false),
                jdk.encrypt(jdkKey, message), costs.sum(twoCalls, read, written));
            row("  in one native call", true, bare.encrypt(key, message), bridge.encrypt(key, message, true),
                jdk.encrypt(jdkKey, message), costs.sum(oneCall, read, written));
        }
        byte[] page = Arrays.copyOf(random, 4 * 1024);
        row("AES-256 GCM, 4096 B", true, bare.encryptGcm(key, page), bridge.encryptGcm(key, page),
            jdk.encryptGcm(jdkKey, page), Double.NaN);
        for (int size : new int[] {16, 64, 4 * 1024, 64 * 1024, 1024 * 1024}) {
            byte[] message = Arrays.copyOf(random, size);
            row("SHA-256, " + size + " B", true, bare.digest(message), bridge.digest(message), jdk.digest(message),
                costs.sum(new String[] {"C_DigestInit", "C_Digest"}, new byte[][] {message}, new byte[][] {hash}),
                JniCosts.leastDigest(bridge.session, message));
        }
        String[] signing = {"C_SignInit", "C_Sign"};
        NativePKCS11Object macKey = bridge.macKey();
        row("HMAC SHA-256, 64 B", false, bare.sign(CKM_SHA256_HMAC, macKey, small, 32),
            bridge.sign(CKM_SHA256_HMAC, macKey, small, 32), jdk.mac(small),
            costs.sum(signing, new byte[][] {small}, new byte[][] {hash}));
        NativePKCS11Object rsa = bridge.privateKey(CKM_RSA_PKCS_KEY_PAIR_GEN,
            new int[] {CKA_MODULUS_BITS, CKA_PUBLIC_EXPONENT}, new Object[] {2048, BigInteger.valueOf(65537)});
        row("RSA-2048 signature, 64 B", false, bare.sign(CKM_SHA256_RSA_PKCS, rsa, small, 256),
            bridge.sign(CKM_SHA256_RSA_PKCS, rsa, small, 256), jdk.sign("SHA256withRSA", "RSA",
            new RSAKeyGenParameterSpec(2048, RSAKeyGenParameterSpec.F4), small),
            costs.sum(signing, new byte[][] {small}, new byte[][] {new byte[256]}));
        NativePKCS11Object ec = bridge.privateKey(CKM_EC_KEY_PAIR_GEN, new int[] {CKA_EC_PARAMS}, new Object[] {P256});
        row("ECDSA P-256 signature", false, bare.sign(CKM_ECDSA, ec, hash, 64), bridge.sign(CKM_ECDSA, ec, hash, 64),
            jdk.sign("NONEwithECDSAinP1363Format", "EC", new ECGenParameterSpec("secp256r1"), hash),
            costs.sum(signing, new byte[][] {hash}, new byte[][] {small}));
        row("random, 32 B", false, bare.random(), bridge.random(), jdk.random(),
            costs.sum(new String[] {"C_GenerateRandom"}, new byte[][] {}, new byte[][] {hash}),
            JniCosts.leastRandom(bridge.session));

        byte[][] none = {};
        row("nothing", false, bare.functionStatus(), bridge.functionStatus(), null,
            costs.sum(new String[] {"C_GetFunctionStatus"}, none, none),
            JniCosts.leastFunctionStatus(bridge.session));
        row("open and close a session", false, bare.openAndClose(), bridge.openAndClose(), null,
            costs.sum(new String[] {"C_OpenSession", "C_CloseSession"}, none, none));
        NativePKCS11Object one = bridge.makeObjects("one", 1);
        row("read 5 attributes", false, bare.read(one),
            bridge.read(one, new int[] {CKA_CLASS, CKA_TOKEN, CKA_PRIVATE, CKA_LABEL, CKA_VALUE}), null, Double.NaN);
        bridge.makeObjects("hundred", 100);
        for (String label : new String[] {"one", "hundred"}) {
            row("find " + label, true, bare.find(new int[] {CKA_LABEL},
                new byte[][] {label.getBytes(StandardCharsets.US_ASCII)}),
                bridge.find(new int[] {CKA_LABEL}, new Object[] {label}), null, Double.NaN);
        }
    }

    private void row(String name, boolean equal, Operation direct, Operation ours, Operation theirs, double jni)
        throws Exception {
        row(name, equal, direct, ours, theirs, jni, null);
    }

    /**
     * Measures an operation of all sides, whose results must be alike: equal, or of one length. The provider has no
     * counterpart when it is null; the cost of the JNI calls is not known when it is no number; the least native
     * methods are missing when they are null.
     */
    private void row(String name, boolean equal, Operation direct, Operation ours, Operation theirs, double jni,
        Operation least) throws Exception {
        Object expected = direct.run();
        List<Operation> sides = new ArrayList<>(List.of(direct, ours));
        for (Operation each : new Operation[] {theirs, least}) {
            if (each != null) {
                sides.add(each);
            }
        }
        for (Operation each : sides.subList(1, sides.size())) {
            if (!alike(expected, each.run(), equal)) {
                throw new IllegalStateException(name + ": the sides do not agree");
            }
        }
        double[][] times = stopwatch.measure(sides.toArray(new Operation[0]));
        System.out.printf("%-26s %,12.0f %,12.0f %12s %,10.0f %9s %9s", name, Stopwatch.median(times[0]),
            Stopwatch.median(times[1]), theirs == null ? "-" : String.format("%,.0f", Stopwatch.median(times[2])),
            above(times[1], times[0]), Double.isNaN(jni) ? "-" : String.format("%,.0f", jni),
            least == null ? "-" : String.format("%,.0f", above(times[sides.size() - 1], times[0])));
        if (theirs == null) {
            System.out.printf(" %6s%n", "-");
            return;
        }
        double[] ratios = new double[stopwatch.rounds];
        Arrays.setAll(ratios, round -> times[1][round] / times[2][round]);
        System.out.printf(" %6.2f   %.2f to %.2f%n", Stopwatch.median(ratios), Stopwatch.quantile(0.25, ratios),
            Stopwatch.quantile(0.75, ratios));
    }

    /** How much more one takes than the other: the median of the rounds. */
    private double above(double[] one, double[] other) {
        double[] differences = new double[stopwatch.rounds];
        Arrays.setAll(differences, round -> one[round] - other[round]);
        return Stopwatch.median(differences);
    }

    private static boolean alike(Object one, Object other, boolean equal) {
        if (!equal && one instanceof byte[]) {
            return ((byte[]) one).length == ((byte[]) other).length;
        }
        return !equal || Arrays.deepEquals(new Object[] {one}, new Object[] {other});
    }

    /** Measures two threads with a session each against one thread. */
    private void threads() throws Exception {
        System.out.printf("%nMillions of operations per second on one thread and on two with a session each; the factor is "
            + "the median of the rounds.%n%n%-34s %10s %10s %8s%n", "Operation", "1 thread", "2 threads", "factor");
        byte[] message = new byte[64];
        Bare[] direct = {bare, bare.another()};
        BridgeSide[] free = {bridge, bridge.another()};
        BridgeSide[] locked = {bridge.locked(), null};
        locked[1] = locked[0].another();
        throughput("nothing, bare", direct[0].functionStatus(), direct[1].functionStatus());
        throughput("nothing, bridge", free[0].functionStatus(), free[1].functionStatus());
        throughput("nothing, bridge with its lock", locked[0].functionStatus(), locked[1].functionStatus());
        throughput("SHA-256 64 B, bare", direct[0].digest(message), direct[1].digest(message));
        throughput("SHA-256 64 B, bridge", free[0].digest(message), free[1].digest(message));
        throughput("SHA-256 64 B, bridge with its lock", locked[0].digest(message), locked[1].digest(message));
    }

    private void throughput(String name, Operation first, Operation second) throws Exception {
        double[][] times = stopwatch.measure(Together.of(first), Together.of(first, second));
        double[] factors = new double[stopwatch.rounds];
        Arrays.setAll(factors, round -> 2 * times[0][round] / times[1][round]);
        System.out.printf("%-34s %10.2f %10.2f %8.2f%n", name, 1e3 / Stopwatch.median(times[0]),
            2e3 / Stopwatch.median(times[1]), Stopwatch.median(factors));
    }

    /** Measures calls that the provider has no counterpart for. */
    private void alone() throws Exception {
        NativePKCS11Session session = bridge.session;
        NativePKCS11Object data = bridge.makeObjects("label", 1);
        String[] names = {"getFunctionStatus()", "session getInfo()", "library getInfo()", "read a boolean",
            "read a label"};
        double[][] times = stopwatch.measure(session::getFunctionStatus, session::getInfo, bridge.library::getInfo,
            () -> data.getBoolAttributeValue(CKA_PRIVATE), () -> data.getStringAttributeValue(CKA_LABEL));
        System.out.printf("%nThe bridge alone. In getFunctionStatus() the module has nothing to do: it is the cost of "
            + "a call.%n%n%-26s %12s %12s%n", "Call", "ns", "times");
        for (int i = 0; i < names.length; i++) {
            double median = Stopwatch.median(times[i]);
            System.out.printf("%-26s %,12.0f %12.1f%n", names[i], median, median / Stopwatch.median(times[0]));
        }
    }
}
