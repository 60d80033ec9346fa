package com.kelvane.tokbridge.bench;

import com.kelvane.tokbridge.bench.Stopwatch.Operation;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;

/** Calls on one thread and on two, in virtual machines with and without an archive of the application's classes. */
final class Sharing {
    /** What the virtual machine that measures is told. */
    static final String CHILD = "--threads-here";
    private static final int MACHINES = 7;
    private static final String[] NAMES = {"bare, 1 thread", "bare, 2 threads", "bridge, 1 thread", "bridge, 2 threads"};

    private Sharing() {
    }

    /** Starts virtual machines of both kinds in turn, and prints the medians. */
    static void compare(String module) throws Exception {
        Path archive = Files.createTempFile("tokbridge", ".jsa");
        start("-XX:ArchiveClassesAtExit=" + archive, module);
        double[][] plain = new double[NAMES.length][MACHINES];
        double[][] archived = new double[NAMES.length][MACHINES];
        for (int i = 0; i < MACHINES; i++) {
            keep(start("-Xshare:auto", module), plain, i);
            keep(start("-XX:SharedArchiveFile=" + archive, module), archived, i);
        }
        Files.delete(archive);
        System.out.printf("Java %s. Millions of calls per second in which the module does nothing: medians of %d virtual "
            + "machines of each kind in turn.%nFactor: the median of the pairs.%n%n%-20s %10s %14s %8s%n",
            System.getProperty("java.version"), MACHINES, "", "plain", "with archive", "factor");
        for (int row = 0; row < NAMES.length; row++) {
            double[] before = plain[row];
            double[] after = archived[row];
            double[] factors = new double[MACHINES];
            Arrays.setAll(factors, i -> after[i] / before[i]);
            System.out.printf("%-20s %10.2f %14.2f %8.2f%n", NAMES[row], Stopwatch.median(before),
                Stopwatch.median(after), Stopwatch.median(factors));
        }
    }

    private static void keep(List<String> output, double[][] to, int machine) {
        for (int row = 0; row < NAMES.length; row++) {
            to[row][machine] = Double.parseDouble(output.get(row));
        }
    }

    /** Runs a virtual machine like this one with another option; returns what it prints. */
    private static List<String> start(String option, String module) throws Exception {
        List<String> command = new ArrayList<>();
        Collections.addAll(command, ProcessHandle.current().info().command().orElseThrow(), option, "-Xlog:disable",
            "--enable-native-access=ALL-UNNAMED", "-cp", System.getProperty("java.class.path"));
        for (String property : new String[] {"tokbridge.library", "tokbridge.bench.library"}) {
            command.add("-D" + property + "=" + System.getProperty(property));
        }
        Collections.addAll(command, Bench.class.getName(), CHILD, module);
        Process process = new ProcessBuilder(command).redirectError(ProcessBuilder.Redirect.INHERIT).start();
        String output = new String(process.getInputStream().readAllBytes());
        if (process.waitFor() != 0) {
            throw new IllegalStateException(String.join(" ", command) + " has failed");
        }
        return Arrays.asList(output.split("\n"));
    }

    /** Prints millions of calls per second, a line for each of the names. */
    static void measure(String module) throws Exception {
        BridgeSide bridge = new BridgeSide(module);
        Bare bare = new Bare(module, bridge.session.getSlot().getSlotID());
        Operation[] direct = {bare.functionStatus(), bare.another().functionStatus()};
        Operation[] ours = {bridge.functionStatus(), bridge.another().functionStatus()};
        double[][] times = new Stopwatch(15, 300, 20).measure(Together.of(direct[0]), Together.of(direct),
            Together.of(ours[0]), Together.of(ours));
        for (int i = 0; i < times.length; i++) {
            System.out.println((i % 2 + 1) * 1e3 / Stopwatch.median(times[i]));
        }
    }
}
