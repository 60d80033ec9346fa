package com.kelvane.tokbridge.tool.trials;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static com.kelvane.tokbridge.tool.trials.Verdict.*;
import static java.util.stream.Collectors.*;

import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.tokbridge.tool.reports.*;
import com.kelvane.tokbridge.tool.token.*;
import java.util.*;
import java.util.concurrent.Callable;

/** Runs trials and reports them: a row for each as it ends, the mechanisms that were not tried, and a summary. */
final class Report {
    /** The codes of what the token lists but does not have. */
    private static final Set<Integer> MISSING = Set.of(CKR_FUNCTION_NOT_SUPPORTED, CKR_MECHANISM_INVALID);

    /** The mechanisms that were not tried, and why. */
    final Map<String, String> untried = new LinkedHashMap<>();
    int keysTried;
    private final Set<String> tried = new HashSet<>();
    private final Output output;
    private final Token token;

    /** The numbers of mechanisms and of keys on the token. */
    private final int mechanisms, keys;
    private int works, faults;

    /** Prints the head of the table, whose columns have the width of the longest names. */
    Report(Output output, Token token, List<Key> found) {
        this.output = output;
        this.token = token;
        token.mechanisms().forEach(each -> untried.put(nameOf("CKM_", each), "this program does not try them"));
        mechanisms = untried.size();
        keys = found.size();
        List<Row> rows = new ArrayList<>(List.of(new Row().put("result", NOT_OFFERED).put("operation", "left as it was")
            .put("mechanism", "-".repeat(12)).put("key", "-".repeat(12)).put("ms", 99999.9)
            .put("detail", " ".repeat(24))));
        untried.keySet().forEach(each -> rows.add(new Row().show("mechanism", each)));
        found.forEach(each -> rows.add(new Row().show("key", each.name())));
        output.head(rows);
    }

    /** Runs a trial, which returns what a good result was compared with; a mechanism or key is null for none. */
    String trial(String title, String mechanism, String key, Callable<String> trial) {
        String result = WORKS, detail, below = null;
        PKCS11Exception refusal = null;
        long start = System.nanoTime();
        try {
            detail = Output.withProgress(mechanism == null ? title : title + " " + mechanism, trial);
        } catch (Failure e) {
            throw e;
        } catch (Exception e) {
            refusal = e instanceof PKCS11Exception ? (PKCS11Exception) e
                : e instanceof Verdict ? (PKCS11Exception) e.getCause() : null;
            // Other exceptions are the JDK's, which rejects the token's result.
            result = e instanceof Verdict ? ((Verdict) e).result : refusal == null ? WRONG
                : MISSING.contains(refusal.getCode()) ? NOT_OFFERED : REFUSED;
            detail = e instanceof Verdict ? e.getMessage() : e.toString();
        }
        double milliseconds = Math.round((System.nanoTime() - start) / 1e5) / 10.0;
        faults += result.equals(REFUSED) || result.equals(WRONG) ? 1 : 0;
        Row row = new Row().put("result", result).put("operation", title).put("mechanism", mechanism).put("key", key)
            .put("ms", result.equals(NOT_TRIED) ? null : milliseconds);
        if (refusal == null) {
            row.json.put("detail", detail);
        } else {
            row.json.put("call", Failure.method(refusal));
            row.json.put("code", Failure.code(refusal));
            detail = Failure.method(refusal) + ": " + refusal.getMessage();
            below = result.equals(REFUSED) ? Failure.cause(refusal) + " Try: " + Failure.remedy(refusal) : null;
        }
        output.row(row, detail, below);
        output.json(row);
        return result;
    }

    /** Runs a trial of an operation, which counts in the summary. */
    String operation(String title, String mechanism, String key, Callable<String> trial) {
        untried.remove(mechanism);
        String result = trial(title, mechanism, key, trial);
        works += result.equals(WORKS) ? 1 : 0;
        if (mechanism != null && !result.equals(NOT_TRIED)) {
            tried.add(mechanism);
        }
        return result;
    }

    /** Prints the end of the report; returns the exit status. */
    int summary() {
        untried.forEach((mechanism, reason) -> output.json(new Row().put("result", NOT_TRIED)
            .put("mechanism", mechanism).put("detail", reason)));
        untried.keySet().stream().collect(groupingBy(untried::get, LinkedHashMap::new, toList()))
            .forEach((reason, mechanisms) -> {
                output.text("");
                output.sentence("Not tried, " + reason + ": " + mechanisms.size());
                output.sentence(String.join(", ", mechanisms));
            });
        // If keys were found and none was tried, the result is negative.
        int status = faults > 0 || keys > 0 && keysTried == 0 || works == 0 ? Failure.NEGATIVE : Failure.DONE;
        output.json(new Row().put("work", works).put("doNotWork", faults).put("mechanisms", mechanisms)
            .put("mechanismsTried", tried.size()).put("keys", keys).put("keysTried", keysTried).put("status", status));
        output.text("");
        output.sentence(works + (works == 1 ? " operation works, " : " operations work, ") + faults
            + (faults == 1 ? " does not." : " do not."));
        output.sentence(tried.size() + " of " + mechanisms + " mechanisms were tried"
            + (keys == 0 ? "." : ", and " + keysTried + " of " + keys + " keys."));
        output.sentence(works + faults > 0 ? null : "Nothing could be tried.");
        output.sentence(token.isLoggedIn() ? null : "Private keys are tried with --login.");
        output.sentence(token.write ? null : "More is tried with --write.");
        return status;
    }
}
