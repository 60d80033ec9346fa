package com.kelvane.tokbridge.tool;

import com.kelvane.pkcs11.PKCS11Constants;
import com.kelvane.pkcs11.PKCS11Exception;
import java.util.stream.Collectors;
import java.util.stream.IntStream;
import java.util.stream.Stream;

/** Runs steps one after the other, counts their checks and their time, and tells at the end how each one went. */
final class Tour {
    /** What a step or a part of it does. */
    interface Body {
        void run() throws Exception;
    }

    private final boolean mayLeaveOut;
    private final Table summary = new Table("Step", "Checks", "ms", "Outcome");
    private int steps;
    private int failedSteps;

    /** The step that runs, and its counts. */
    private String current;
    private int checks;
    private int failures;

    /**
     * Begins a tour.
     *
     * @param mayLeaveOut whether a step may be left out whose mechanism the token does not offer; otherwise it fails
     */
    Tour(boolean mayLeaveOut) {
        this.mayLeaveOut = mayLeaveOut;
    }

    /** Leaves a step out, because the token lacks what it is about. */
    void leaveOut(String title, String lacking) {
        if (mayLeaveOut) {
            System.out.println("\n== " + title + "\n   --   left out: the token does not offer " + lacking);
            summary.row(title, 0, 0, "left out");
        } else {
            step(title, () -> check("the token offers " + lacking, false));
        }
    }

    /**
     * Runs a step. What it throws ends the step, not the tour.
     *
     * @return whether all its checks held
     */
    boolean step(String title, Body body) {
        System.out.println();
        System.out.println("== " + title);
        current = title;
        checks = 0;
        failures = 0;
        long start = System.nanoTime();
        attempt("it ended early", body);
        long milliseconds = (System.nanoTime() - start) / 1_000_000;
        boolean held = failures == 0;
        steps++;
        failedSteps += held ? 0 : 1;
        summary.row(title, checks, milliseconds, held ? "ok" : failures + " FAILED");
        return held;
    }

    /** Does a part of a step; what it throws is a check that failed, and the step goes on behind it. */
    void attempt(String what, Body body) {
        try {
            body.run();
        } catch (Exception | LinkageError e) {
            failed(what + ": " + explain(e));
        }
    }

    /** Counts a check, and tells what held or did not. */
    void check(String what, boolean held) {
        if (held) {
            checks++;
            System.out.println("   ok   " + what);
        } else {
            failed(what + ": this does not hold");
        }
    }

    /** Checks that a call is refused with one of these codes. */
    void checkRefused(String what, Body call, int... codes) throws Exception {
        String outcome = "the call returned";
        try {
            call.run();
        } catch (PKCS11Exception e) {
            if (e.hasCode() && IntStream.of(codes).anyMatch(code -> code == e.getCode())) {
                check(what + ": " + e.getMessage(), true);
                return;
            }
            outcome = explain(e);
        }
        failed(what + ": " + outcome + "; expected was " + IntStream.of(codes)
            .mapToObj(code -> PKCS11Constants.nameOf("CKR_", code)).collect(Collectors.joining(" or ")));
    }

    /** Tells something that cannot fail. */
    void note(String text) {
        System.out.println("        " + text);
    }

    /**
     * Ends the tour: prints what was done.
     *
     * @return the process's exit status: 0 if all checks held, 1 otherwise
     */
    int finish() {
        System.out.println();
        System.out.println("== Summary");
        summary.print(System.out);
        System.out.println();
        if (failedSteps == 0) {
            System.out.println("All checks of " + steps + " steps held.");
            return 0;
        }
        System.err.println("quickstart: " + failedSteps + " of " + steps + " steps failed");
        return 1;
    }

    /** Says in a line what went wrong: for a call of the library its name, the code's name and the calling line. */
    static String explain(Throwable e) {
        if (e instanceof PKCS11Exception) {
            StackTraceElement[] trace = e.getStackTrace();
            String tool = Tour.class.getPackageName();
            return trace[0].getMethodName() + " raised " + e.getMessage() + Stream.of(trace)
                .filter(frame -> frame.getClassName().startsWith(tool)).findFirst()
                .map(frame -> " (called in " + frame.getFileName() + ":" + frame.getLineNumber() + ")").orElse("");
        }
        return e instanceof UnsatisfiedLinkError ? e.getMessage() : e.toString();
    }

    private void failed(String what) {
        checks++;
        failures++;
        System.err.println("   FAILED " + current + ": " + what);
    }
}
