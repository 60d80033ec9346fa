package com.kelvane.tokbridge.tool;

import com.kelvane.pkcs11.PKCS11Constants;
import com.kelvane.pkcs11.PKCS11Exception;
import java.io.PrintStream;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.stream.Collectors;
import java.util.stream.IntStream;
import java.util.stream.Stream;

/** Runs steps one after the other, counts their checks and their time, and tells at the end how each one went. */
final class Tour {
    /** What a step or a part of it does. */
    interface Body {
        void run() throws Exception;
    }

    private final PrintStream out;
    private final boolean quiet;
    private final boolean mayLeaveOut;
    private final List<Map<String, Object>> results = new ArrayList<>();

    /** The step that runs, its checks, what failed in it, and whether the token refused it. */
    private String current;
    private int checks;
    private final List<String> failures = new ArrayList<>();
    private boolean refused;

    /**
     * Begins a tour.
     *
     * @param out where it is told; null to tell nothing but the results
     * @param mayLeaveOut whether a step may be left out whose mechanism the token does not offer; otherwise it fails
     */
    Tour(PrintStream out, boolean mayLeaveOut) {
        quiet = out == null;
        this.out = quiet ? new PrintStream(PrintStream.nullOutputStream()) : out;
        this.mayLeaveOut = mayLeaveOut;
    }

    PrintStream out() {
        return out;
    }

    /** How each step went, in a form for tables and machines. */
    List<Map<String, Object>> results() {
        return results;
    }

    /** How many steps failed. */
    long failed() {
        return results.stream().filter(each -> !List.of("works", "not offered").contains(each.get("result"))).count();
    }

    /** Leaves a step out, because the token lacks what it is about. */
    void leaveOut(String title, String lacking) {
        if (mayLeaveOut) {
            out.println("\n== " + title + "\n   --   left out: the token does not offer " + lacking);
            result(title, 0, null, "not offered", lacking);
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
        out.println();
        out.println("== " + title);
        current = title;
        checks = 0;
        failures.clear();
        refused = false;
        long start = System.nanoTime();
        if (quiet) {
            Output.patiently(title, () -> {
                attempt("it ended early", body);
                return null;
            });
        } else {
            attempt("it ended early", body);
        }
        Object milliseconds = Math.round((System.nanoTime() - start) / 100_000.0) / 10.0;
        result(title, checks, milliseconds, failures.isEmpty() ? "works" : refused ? "refused" : "wrong",
            failures.isEmpty() ? "" : String.join("; ", failures));
        return failures.isEmpty();
    }

    private void result(String title, int count, Object milliseconds, String outcome, String detail) {
        Map<String, Object> result = new LinkedHashMap<>();
        result.put("operation", title);
        result.put("checks", count);
        result.put("ms", milliseconds);
        result.put("result", outcome);
        result.put("detail", detail);
        results.add(result);
    }

    /** Does a part of a step; what it throws is a check that failed, and the step goes on behind it. */
    void attempt(String what, Body body) {
        try {
            body.run();
        } catch (Exception | LinkageError e) {
            refused |= e instanceof PKCS11Exception && ((PKCS11Exception) e).hasCode();
            failed(what + ": " + explain(e));
        }
    }

    /** Counts a check, and tells what held or did not. */
    void check(String what, boolean held) {
        if (held) {
            checks++;
            out.println("   ok   " + what);
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
        out.println("        " + text);
    }

    /** Says in a line what went wrong: for a call of the library its name, the code's name and the calling line. */
    static String explain(Throwable e) {
        if (e instanceof PKCS11Exception) {
            String tool = Tour.class.getPackageName();
            return Failure.call(e) + " raised " + e.getMessage() + Stream.of(e.getStackTrace())
                .filter(frame -> frame.getClassName().startsWith(tool)).findFirst()
                .map(frame -> " (called in " + frame.getFileName() + ":" + frame.getLineNumber() + ")").orElse("");
        }
        return e instanceof UnsatisfiedLinkError ? e.getMessage() : e.toString();
    }

    private void failed(String what) {
        checks++;
        failures.add(what);
        if (!quiet) {
            System.err.println("   FAILED " + current + ": " + what);
        }
    }
}
