package com.kelvane.tokbridge.bench;

import com.kelvane.pkcs11.nat.NativePKCS11Session;
import com.kelvane.tokbridge.bench.Stopwatch.Batch;
import com.kelvane.tokbridge.bench.Stopwatch.Operation;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.LinkedHashMap;
import java.util.Map;
import java.util.TreeMap;

/** What the JNI calls of an operation cost by themselves: counted by the tests, each function measured here. */
final class JniCosts {
    private static final int ABORT = 2; // JNI_ABORT

    /** The JNI calls of each native method, by function. */
    private final Map<String, Map<String, Integer>> counts = new TreeMap<>();

    /** Nanoseconds of each function. */
    private final Map<String, Double> costs = new LinkedHashMap<>();
    private final Stopwatch stopwatch;
    private double enter;

    /** Reads the counts from a table with a row "| `method` | total | function count, ... |" for each method. */
    JniCosts(Stopwatch stopwatch, Path table) throws Exception {
        this.stopwatch = stopwatch;
        for (String line : Files.readAllLines(table)) {
            String[] cells = line.split("\\s*\\|\\s*");
            Map<String, Integer> functions = new TreeMap<>();
            for (String each : cells[3].split(", ")) {
                String[] words = each.split(" ");
                functions.put(words[0], words.length > 1 ? Integer.parseInt(words[1]) : 1);
            }
            counts.put(cells[1].replace("`", ""), functions);
        }
    }

    /** Measures the functions on a session's chain of objects. */
    void measure(NativePKCS11Session session) throws Exception {
        String[] names = {"nothing", "GetObjectClass", "GetFieldID", "GetIntField", "GetLongField", "GetObjectField",
            "FindClass", "IsInstanceOf", "GetMethodID", "NewObjectV", "NewLocalRef", "NewLocalRef and DeleteLocalRef",
            "ExceptionCheck", "GetArrayLength"};
        Batch[] batches = new Batch[names.length];
        for (int i = 0; i < names.length; i++) {
            String name = names[i];
            batches[i] = times -> {
                call(times, name, session);
                return null;
            };
        }
        double[][] times = stopwatch.measure(batches);
        double nothing = Stopwatch.median(times[0]);
        for (int i = 1; i < names.length; i++) {
            double runs = names[i].equals("GetFieldID") ? 5 : 1; // one run makes five of them
            costs.put(names[i], Stopwatch.median(times[i]) - nothing / runs);
        }
        double alone = costs.remove("NewLocalRef");
        costs.put("DeleteLocalRef", costs.remove("NewLocalRef and DeleteLocalRef") - alone);
        enter = Stopwatch.median(stopwatch.measure(() -> {
            enter();
            return null;
        })[0]);
    }

    /** What it costs to enter native methods and make their JNI calls; the arrays that they pin are given. */
    double sum(String[] methods, byte[][] read, byte[][] written) throws Exception {
        double sum = 0;
        int pins = 0;
        for (String method : methods) {
            sum += enter;
            for (Map.Entry<String, Integer> each : counts.get(method).entrySet()) {
                if (each.getKey().equals("GetByteArrayElements")) {
                    pins += each.getValue();
                } else if (!each.getKey().equals("ReleaseByteArrayElements")) {
                    sum += each.getValue() * costs.get(each.getKey());
                }
            }
        }
        if (pins != read.length + written.length) {
            throw new IllegalArgumentException(String.join(", ", methods) + ": " + pins + " arrays are pinned");
        }
        for (byte[] array : read) {
            sum += pinning(array, ABORT);
        }
        for (byte[] array : written) {
            sum += pinning(array, 0);
        }
        return sum;
    }

    private double pinning(byte[] array, int mode) throws Exception {
        return Stopwatch.median(stopwatch.measure((Batch) times -> {
            pin(times, array, mode);
            return null;
        })[0]);
    }

    /** A native method that makes the JNI calls of the bridge's and the module's call, and does nothing else. */
    static Operation leastFunctionStatus(NativePKCS11Session session) {
        return () -> {
            functionStatus(session);
            return null;
        };
    }

    static Operation leastRandom(NativePKCS11Session session) {
        byte[] out = new byte[32];
        return () -> {
            random(session, out);
            return out;
        };
    }

    static Operation leastDigest(NativePKCS11Session session, byte[] message) {
        byte[] out = new byte[32];
        return () -> {
            digestInit(session);
            digest(session, message, out);
            return out;
        };
    }

    /** Prints what each function costs. */
    void print() throws Exception {
        System.out.printf("%nNanoseconds of a JNI function, in a loop of its own (GetFieldID: the mean of the five fields "
            + "of the handle chain).%n%n%-44s %8.1f%n", "entering a native method", enter);
        costs.forEach((name, cost) -> System.out.printf("%-44s %8.1f%n", name, cost));
        for (int size : new int[] {16, 4096, 65536}) {
            byte[] array = new byte[size];
            System.out.printf("%-44s %8.1f%n", "Get-, ReleaseByteArrayElements, " + size + " B, read",
                pinning(array, ABORT));
            System.out.printf("%-44s %8.1f%n", "Get-, ReleaseByteArrayElements, " + size + " B, written",
                pinning(array, 0));
        }
    }

    private static native void functionStatus(NativePKCS11Session session);

    private static native void random(NativePKCS11Session session, byte[] out);

    private static native void digestInit(NativePKCS11Session session);

    private static native void digest(NativePKCS11Session session, byte[] message, byte[] out);

    private static native void enter();

    /** Makes so many calls of a function. */
    private static native void call(int times, String function, NativePKCS11Session session);

    private static native void pin(int times, byte[] array, int mode);
}
