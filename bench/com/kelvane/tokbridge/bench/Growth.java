package com.kelvane.tokbridge.bench;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.tokbridge.bench.Stopwatch.Operation;
import java.io.PrintWriter;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.Random;

/** Measures how the cost grows, and writes a file of data for each plot: a number, then nanoseconds of each side. */
final class Growth {
    private final Stopwatch stopwatch;
    private final Path directory;
    private final BridgeSide bridge;
    private final Bare bare;
    private final JdkSide jdk;

    Growth(Stopwatch stopwatch, String module, Path directory) {
        this.stopwatch = stopwatch;
        this.directory = directory;
        bridge = new BridgeSide(module);
        int slot = bridge.session.getSlot().getSlotID();
        bare = new Bare(module, slot);
        jdk = new JdkSide(module, slot);
    }

    void run() throws Exception {
        size();
        threads();
        template();
        objects(); // last: what it makes slows down every other operation of the token
    }

    private void size() throws Exception {
        try (PrintWriter file = file("size")) {
            for (int size = 16; size <= 4 << 20; size *= 4) {
                byte[] message = new byte[size];
                new Random(size).nextBytes(message);
                line(file, size, bare.digest(message), bridge.digest(message), jdk.digest(message));
            }
        }
    }

    /** A search whose first entry no object has: the module looks at no other, the bridge encodes all of them. */
    private void template() throws Exception {
        int[] kinds = {CKA_LABEL, CKA_TOKEN, CKA_CLASS, CKA_VALUE};
        Object[] values = {"none has it", true, CKO_DATA, new byte[32]};
        byte[][] encoded = {"none has it".getBytes(StandardCharsets.US_ASCII), {1}, new byte[Long.BYTES], new byte[32]};
        bridge.makeObjects("other", 1);
        try (PrintWriter file = file("template")) {
            for (int size = 1; size <= 64; size *= 2) {
                int[] types = new int[size];
                Object[] template = new Object[size];
                byte[][] bytes = new byte[size][];
                for (int i = 0; i < size; i++) {
                    types[i] = kinds[i % kinds.length];
                    template[i] = values[i % kinds.length];
                    bytes[i] = encoded[i % kinds.length];
                }
                line(file, size, bare.find(types, bytes), bridge.find(types, template));
            }
        }
    }

    private void objects() throws Exception {
        int made = 0;
        try (PrintWriter file = file("objects")) {
            for (int count = 1; count <= 1024; count *= 2) {
                bridge.makeObjects("found", count - made);
                made = count;
                line(file, count, bare.find(new int[] {CKA_LABEL}, new byte[][] {{'f', 'o', 'u', 'n', 'd'}}),
                    bridge.find(new int[] {CKA_LABEL}, new Object[] {"found"}));
            }
        }
    }

    private void threads() throws Exception {
        byte[] message = new byte[64];
        int most = 8;
        Operation[][] sides = new Operation[4][most];
        BridgeSide locking = bridge.locked();
        for (int i = 0; i < most; i++) {
            sides[0][i] = bare.another().digest(message);
            sides[1][i] = bridge.another().digest(message);
            sides[2][i] = jdk.digest(message);
            sides[3][i] = locking.another().digest(message);
        }
        try (PrintWriter file = file("threads")) {
            for (int count = 1; count <= most; count++) {
                Operation[] together = new Operation[sides.length];
                for (int i = 0; i < sides.length; i++) {
                    together[i] = Together.of(Arrays.copyOf(sides[i], count));
                }
                line(file, count, together);
            }
        }
    }

    private PrintWriter file(String name) throws Exception {
        return new PrintWriter(Files.newBufferedWriter(directory.resolve(name + ".dat")));
    }

    private void line(PrintWriter file, int number, Operation... operations) throws Exception {
        file.print(number);
        for (double[] times : stopwatch.measure(operations)) {
            file.print(" " + Stopwatch.median(times));
        }
        file.println();
    }
}
