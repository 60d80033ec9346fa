package com.kelvane.tokbridge.bench;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.tokbridge.bench.Stopwatch.Operation;
import java.math.BigInteger;
import java.nio.charset.StandardCharsets;
import java.security.Key;
import java.security.spec.ECGenParameterSpec;
import java.security.spec.RSAKeyGenParameterSpec;
import java.util.Arrays;
import java.util.Objects;

/**
 * Compares this library with a bare caller of the module and with the JDK's own PKCS #11 provider, on one SoftHSM2
 * token, in one process and in one run.
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
     * @param arguments {@code --quick} for a few seconds only, or {@code --provider} for the JCA provider; the path of
     *     SoftHSM2
     * @throws Exception if a side fails
     */
    public static void main(String[] arguments) throws Exception {
        String verb = arguments.length > 0 && arguments[0].startsWith("--") ? arguments[0] : "";
        int options = verb.isEmpty() ? 0 : 1;
        String module = arguments.length > options ? arguments[options] : SOFTHSM;
        if (arguments.length > options + 1 || module.startsWith("-") || System.getenv("SOFTHSM2_CONF") == null) {
            usage();
        }
        switch (verb) {
            case "":
                new Bench(new Stopwatch(31, 600, 20), module).run();
                break;
            case "--quick":
                new Bench(new Stopwatch(7, 150, 5), module).run();
                break;
            case "--provider":
                new Providers(new Stopwatch(15, 300, 30), module).run();
                break;
            default:
                usage();
        }
        System.exit(0); // the threads of the measurements do not end by themselves
    }

    private static void usage() {
        System.err.println("usage: bench [--quick | --provider] [MODULE]\nMODULE is the path of SoftHSM2; "
            + "SOFTHSM2_CONF names the configuration of a throw-away SoftHSM2 directory, in which a token is created");
        System.exit(2);
    }

    private void run() throws Exception {
        System.out.println(bridge.library.getInfo() + ", Java " + System.getProperty("java.version"));
        compare();
        threads();
    }

    private void compare() throws Exception {
        byte[] random = new byte[1024 * 1024];
        bridge.session.generateRandom(random, 0, random.length);
        byte[] small = Arrays.copyOfRange(random, 32, 96);
        byte[] hash = Arrays.copyOf(small, 32);
        byte[] keyBytes = Arrays.copyOf(random, 32);
        NativePKCS11Object key = bridge.aesKey(keyBytes);
        Key jdkKey = jdk.aesKey(keyBytes);

        System.out.println("Nanoseconds per operation including its start: medians of " + stopwatch.rounds
            + " rounds, each a batch of all sides in turn.\nBuffers: the bridge with direct ByteBuffers. "
            + "Own: bridge - bare. Ratio: bridge / JDK's provider, with its quartiles;\nthen buffers / JDK's provider "
            + "with arrays, and with direct ByteBuffers; below 1 the bridge is faster.");
        System.out.printf("%n%-28s %10s %10s %10s %10s %8s %6s %13s %8s %8s%n", "Operation", "bare", "bridge",
            "buffers", "JDK", "own", "ratio", "quartiles", "buffers", "both");
        for (int size : new int[] {16, 4 * 1024, 64 * 1024, 1024 * 1024}) {
            byte[] message = Arrays.copyOf(random, size);
            row("AES-256 CBC, " + size + " B", true, bare.encrypt(key, message), bridge.encrypt(key, message, false),
                bridge.encryptBuffers(key, message), jdk.encrypt(jdkKey, message), jdk.encryptBuffers(jdkKey, message));
        }
        row("AES-256 CBC in one call, 16 B", true, bare.encrypt(key, hash), bridge.encrypt(key, hash, true), null,
            jdk.encrypt(jdkKey, hash), null);
        for (int size : new int[] {4 * 1024, 64 * 1024, 1024 * 1024}) {
            byte[] message = Arrays.copyOf(random, size);
            row("AES-256 GCM, " + size + " B", false, bare.encryptGcm(key, message), bridge.encryptGcm(key, message),
                bridge.encryptGcmBuffers(key, message), jdk.encryptGcm(jdkKey, message),
                jdk.encryptGcmBuffers(jdkKey, message));
        }
        for (int size : new int[] {16, 64, 4 * 1024, 64 * 1024, 1024 * 1024}) {
            byte[] message = Arrays.copyOf(random, size);
            row("SHA-256, " + size + " B", true, bare.digest(message), bridge.digest(message),
                bridge.digestBuffers(message), jdk.digest(message), jdk.digestBuffers(message));
        }
        NativePKCS11Object macKey = bridge.macKey();
        row("HMAC SHA-256, 64 B", false, bare.sign(CKM_SHA256_HMAC, macKey, small, 32),
            bridge.sign(CKM_SHA256_HMAC, macKey, small, 32), null, jdk.mac(small), null);
        NativePKCS11Object rsa = bridge.privateKey(CKM_RSA_PKCS_KEY_PAIR_GEN,
            new int[] {CKA_MODULUS_BITS, CKA_PUBLIC_EXPONENT}, new Object[] {2048, BigInteger.valueOf(65537)});
        row("RSA-2048 signature, 64 B", false, bare.sign(CKM_SHA256_RSA_PKCS, rsa, small, 256),
            bridge.sign(CKM_SHA256_RSA_PKCS, rsa, small, 256), null, jdk.sign("SHA256withRSA", "RSA",
            new RSAKeyGenParameterSpec(2048, RSAKeyGenParameterSpec.F4), small), null);
        NativePKCS11Object ec = bridge.privateKey(CKM_EC_KEY_PAIR_GEN, new int[] {CKA_EC_PARAMS}, new Object[] {P256});
        row("ECDSA P-256 signature", false, bare.sign(CKM_ECDSA, ec, hash, 64), bridge.sign(CKM_ECDSA, ec, hash, 64),
            null, jdk.sign("NONEwithECDSAinP1363Format", "EC", new ECGenParameterSpec("secp256r1"), hash), null);
        row("random, 32 B", false, bare.random(), bridge.random(), null, jdk.random(), null);

        row("nothing", false, bare.functionStatus(), bridge.functionStatus(), null, null, null);
        row("open and close a session", false, bare.openAndClose(), bridge.openAndClose(), null, null, null);
        NativePKCS11Object one = bridge.makeObjects("one", 1);
        row("read 5 attributes", false, bare.read(one),
            bridge.read(one, new int[] {CKA_CLASS, CKA_TOKEN, CKA_PRIVATE, CKA_LABEL, CKA_VALUE}), null, null, null);
        bridge.makeObjects("hundred", 100);
        for (String label : new String[] {"one", "hundred"}) {
            row("find " + label, true, bare.find(new int[] {CKA_LABEL},
                new byte[][] {label.getBytes(StandardCharsets.US_ASCII)}),
                bridge.find(new int[] {CKA_LABEL}, new Object[] {label}), null, null, null);
        }
    }

    /**
     * Measures an operation on all sides, whose results must be equal, or of equal length: bare, bridge, bridge with
     * buffers, JDK, JDK with buffers. Null is a side that does not have the operation.
     */
    private void row(String name, boolean equal, Operation... sides) throws Exception {
        Object expected = sides[0].run();
        for (Operation each : sides) {
            if (each != null && !alike(expected, each.run(), equal)) {
                throw new IllegalStateException(name + ": the sides do not agree");
            }
        }
        double[][] measured =
            stopwatch.measure(Arrays.stream(sides).filter(Objects::nonNull).toArray(Operation[]::new));
        double[][] times = new double[sides.length][];
        for (int i = 0, next = 0; i < sides.length; i++) {
            times[i] = sides[i] == null ? null : measured[next++];
        }
        System.out.printf("%-28s %10s %10s %10s %10s %,8.0f %6s %13s %8s %8s%n", name, time(times[0]), time(times[1]),
            time(times[2]), time(times[3]), above(times[1], times[0]), ratio(0.5, times[1], times[3]),
            ratio(0.25, times[1], times[3]) + " to " + ratio(0.75, times[1], times[3]),
            ratio(0.5, times[2], times[3]), ratio(0.5, times[2], times[4]));
    }

    private static String time(double[] times) {
        return times == null ? "-" : String.format("%,.0f", Stopwatch.median(times));
    }

    private String ratio(double part, double[] one, double[] other) {
        if (one == null || other == null) {
            return "-";
        }
        double[] ratios = new double[stopwatch.rounds];
        Arrays.setAll(ratios, round -> one[round] / other[round]);
        return String.format("%.2f", Stopwatch.quantile(part, ratios));
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
        System.out.printf("%nMillions of operations per second on one thread and on two with a session each; "
            + "the factor is the median of the rounds.%n%n%-34s %10s %10s %8s%n",
            "Operation", "1 thread", "2 threads", "factor");
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
}
