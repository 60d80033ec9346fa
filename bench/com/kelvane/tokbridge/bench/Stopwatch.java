package com.kelvane.tokbridge.bench;

import java.util.Arrays;

/** Measures operations side by side: batch after batch of each in turn, so that a slow moment meets all of them. */
final class Stopwatch {
    /** One operation, from the start of it to its result. */
    interface Operation {
        Object run() throws Exception;

        /** Runs it so often, and returns the last result. */
        default Object run(int times) throws Exception {
            Object last = null;
            for (int i = 0; i < times; i++) {
                last = run();
            }
            return last;
        }
    }

    /** An operation whose repetitions are made elsewhere than in a loop of Java. */
    interface Batch extends Operation {
        @Override
        Object run(int times) throws Exception;

        @Override
        default Object run() throws Exception {
            return run(1);
        }
    }

    final int rounds;
    private final long warmUpNanos, batchNanos;

    /** Keeps the results alive, so that no operation is optimised away. */
    private volatile Object sink;

    Stopwatch(int rounds, int warmUpMillis, int batchMillis) {
        this.rounds = rounds;
        warmUpNanos = warmUpMillis * 1_000_000L;
        batchNanos = batchMillis * 1_000_000L;
    }

    /**
     * Measures nanoseconds per call, by operation, then by round. Where the middle half of the rounds lies more than a
     * tenth apart the machine had other work: all is measured again, twice at most, and the steadiest times count.
     */
    double[][] measure(Operation... operations) throws Exception {
        int[] batch = new int[operations.length];
        for (int i = 0; i < operations.length; i++) {
            batch[i] = warmUp(operations[i]);
        }
        double[][] best = null;
        for (int tries = 0; tries < 3 && (best == null || spread(best) > 1.1); tries++) {
            double[][] times = inTurn(operations, batch);
            if (best == null || spread(times) < spread(best)) {
                best = times;
            }
        }
        return best;
    }

    private double[][] inTurn(Operation[] operations, int[] batch) throws Exception {
        double[][] times = new double[operations.length][rounds];
        for (int round = 0; round < rounds; round++) {
            for (int turn = 0; turn < operations.length; turn++) {
                // Each one comes first in its share of the rounds.
                int i = (turn + round) % operations.length;
                times[i][round] = time(operations[i], batch[i]);
            }
        }
        return times;
    }

    /** How far the middle half of the rounds lies apart, as a factor, of the operation where that is most. */
    private static double spread(double[][] times) {
        return Arrays.stream(times).mapToDouble(each -> quantile(0.75, each) / quantile(0.25, each)).max().orElse(1);
    }

    /** Runs an operation until its code is compiled; returns how many calls make a batch. */
    private int warmUp(Operation operation) throws Exception {
        int calls = 1;
        for (long end = System.nanoTime() + warmUpNanos; System.nanoTime() < end;) {
            calls = (int) Math.max(1, batchNanos / time(operation, calls));
        }
        return calls;
    }

    private double time(Operation operation, int calls) throws Exception {
        long start = System.nanoTime();
        sink = operation.run(calls);
        return (double) (System.nanoTime() - start) / calls;
    }

    static double median(double[] values) {
        return quantile(0.5, values);
    }

    /** The value below which a part of all values lies; 0.5 for the median. */
    static double quantile(double part, double[] values) {
        double[] sorted = values.clone();
        Arrays.sort(sorted);
        return sorted[(int) Math.round(part * (sorted.length - 1))];
    }
}
