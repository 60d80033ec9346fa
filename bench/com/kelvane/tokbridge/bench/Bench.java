package com.kelvane.tokbridge.bench;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import com.kelvane.tokbridge.bench.Stopwatch.Operation;
import java.math.BigInteger;
import java.security.spec.ECGenParameterSpec;
import java.security.spec.RSAKeyGenParameterSpec;
import java.util.Arrays;

/**
 * Compares this library with the JDK's own PKCS #11 provider, on one SoftHSM2 token, in one process and in one run.
 *
 * <p>The library initialises the module, makes the token and logs in; the provider then works with what it finds.
 */
public final class Bench {
    private static final String SOFTHSM = "/usr/lib/softhsm/libsofthsm2.so";
    private static final byte[] P256 = {0x06, 0x08, 0x2a, (byte) 0x86, 0x48, (byte) 0xce, 0x3d, 0x03, 0x01, 0x07};

    private final Stopwatch stopwatch;
    private final BridgeSide bridge;
    private final JdkSide jdk;

    private Bench(Stopwatch stopwatch, String module) {
        this.stopwatch = stopwatch;
        bridge = new BridgeSide(module);
        jdk = new JdkSide(module, bridge.session.getSlot().getSlotID());
    }

    /**
     * Runs the benchmark.
     *
     * @param arguments {@code --quick} for a few seconds only; the path of SoftHSM2
     * @throws Exception if a side cannot do what it is asked
     */
    public static void main(String[] arguments) throws Exception {
        int options = arguments.length > 0 && arguments[0].equals("--quick") ? 1 : 0;
        String module = arguments.length > options ? arguments[options] : SOFTHSM;
        if (arguments.length > options + 1 || module.startsWith("-") || System.getenv("SOFTHSM2_CONF") == null) {
            System.err.println("usage: bench [--quick] [MODULE], MODULE being the path of SoftHSM2, with SOFTHSM2_CONF "
                + "set to the configuration of a throw-away SoftHSM2 directory: a token is made there");
            System.exit(2);
        }
        Bench bench = new Bench(options > 0 ? new Stopwatch(7, 150, 5) : new Stopwatch(31, 600, 20), module);
        bench.compare();
        bench.alone();
    }

    private void compare() throws Exception {
        byte[] random = new byte[64 * 1024];
        bridge.session.generateRandom(random, 0, random.length);
        byte[] key = Arrays.copyOf(random, 32);
        byte[] small = Arrays.copyOfRange(random, 32, 96);
        byte[] hash = Arrays.copyOf(small, 32);

        System.out.println(bridge.library.getInfo() + ", Java " + System.getProperty("java.version"));
        System.out.println("Nanoseconds per operation, its start included: medians of " + stopwatch.rounds
            + " rounds, each a batch of both sides in turn.\nRatio: bridge / SunPKCS11, the median of the rounds and "
            + "their middle half; below 1 the bridge is faster.");
        System.out.printf("%n%-26s %12s %12s %8s   %s%n", "Operation", "bridge ns", "JDK ns", "ratio", "middle half");
        for (int size : new int[] {16, 4 * 1024, 64 * 1024}) {
            byte[] message = Arrays.copyOf(random, size);
            row("AES-256 CBC, " + size + " B", bridge.encrypt(key, message, false), jdk.encrypt(key, message), true);
            row("  in one native call", bridge.encrypt(key, message, true), jdk.encrypt(key, message), true);
        }
        row("SHA-256, 64 B", bridge.digest(small), jdk.digest(small), true);
        row("SHA-256, 65536 B", bridge.digest(random), jdk.digest(random), true);
        row("HMAC SHA-256, 64 B", bridge.mac(small), jdk.mac(small), false);
        row("RSA-2048 signature, 64 B", bridge.sign(CKM_SHA256_RSA_PKCS, CKM_RSA_PKCS_KEY_PAIR_GEN,
            new int[] {CKA_MODULUS_BITS, CKA_PUBLIC_EXPONENT}, new Object[] {2048, BigInteger.valueOf(65537)}, small,
            256), jdk.sign("SHA256withRSA", "RSA", new RSAKeyGenParameterSpec(2048, RSAKeyGenParameterSpec.F4), small),
            false);
        row("ECDSA P-256 signature", bridge.sign(CKM_ECDSA, CKM_EC_KEY_PAIR_GEN, new int[] {CKA_EC_PARAMS},
            new Object[] {P256}, hash, 64), jdk.sign("NONEwithECDSAinP1363Format", "EC",
            new ECGenParameterSpec("secp256r1"), hash), false);
        row("random, 32 B", bridge.random(), jdk.random(), false);
    }

    /** Measures an operation of both sides, whose results must be alike: equal, or of one length. */
    private void row(String name, Operation ours, Operation theirs, boolean equal) throws Exception {
        byte[] result = (byte[]) ours.run();
        byte[] other = (byte[]) theirs.run();
        if (equal ? !Arrays.equals(result, other) : result.length != other.length) {
            throw new IllegalStateException(name + ": the two sides do not agree");
        }
        double[][] times = stopwatch.measure(ours, theirs);
        double[] ratios = new double[stopwatch.rounds];
        Arrays.setAll(ratios, round -> times[0][round] / times[1][round]);
        System.out.printf("%-26s %,12.0f %,12.0f %8.2f   %.2f to %.2f%n", name, Stopwatch.quantile(0.5, times[0]),
            Stopwatch.quantile(0.5, times[1]), Stopwatch.quantile(0.5, ratios), Stopwatch.quantile(0.25, ratios),
            Stopwatch.quantile(0.75, ratios));
    }

    /** Measures calls that the provider has no counterpart for. */
    private void alone() throws Exception {
        NativePKCS11Session session = bridge.session;
        int[] types = {CKA_CLASS, CKA_TOKEN, CKA_PRIVATE, CKA_LABEL, CKA_APPLICATION, CKA_VALUE};
        Object[] values = {CKO_DATA, false, false, "label", "bench", new byte[100]};
        NativePKCS11Object data = session.createObject(types, values);
        String[] names = {"getFunctionStatus()", "session getInfo()", "library getInfo()", "read a boolean",
            "read a label", "read 6 attributes", "find an object"};
        double[][] times = stopwatch.measure(session::getFunctionStatus, session::getInfo, bridge.library::getInfo,
            () -> data.getBoolAttributeValue(CKA_PRIVATE), () -> data.getStringAttributeValue(CKA_LABEL),
            () -> session.getAttributeValues(data, types, types.length), () -> {
                session.findObjectsInit(types, values);
                NativePKCS11Object found = session.findObject();
                session.findObjectsFinal();
                return found.getObjectID();
            });
        System.out.printf("%nThe bridge alone. In getFunctionStatus() the module has nothing to do: it is the cost of "
            + "a call.%n%n%-26s %12s %12s%n", "Call", "ns", "times");
        for (int i = 0; i < names.length; i++) {
            double median = Stopwatch.quantile(0.5, times[i]);
            System.out.printf("%-26s %,12.0f %12.1f%n", names[i], median,
                median / Stopwatch.quantile(0.5, times[0]));
        }
    }
}
