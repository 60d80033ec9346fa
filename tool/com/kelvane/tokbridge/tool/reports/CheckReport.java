package com.kelvane.tokbridge.tool.reports;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static com.kelvane.tokbridge.tool.trials.Verdict.*;

import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.tokbridge.tool.token.*;
import com.kelvane.tokbridge.tool.trials.*;
import java.util.*;
import java.util.concurrent.Callable;
import java.util.stream.Stream;

/** The report of an examination: a row for each trial as it ends, the mechanisms that were not tried, a summary. */
public final class CheckReport implements Examination.Report {
    /** The codes of what the token lists but does not have. */
    private static final Set<Integer> MISSING = Set.of(CKR_FUNCTION_NOT_SUPPORTED, CKR_MECHANISM_INVALID);

    private final Output output;
    private final Token token;
    private final Examination examination;
    private final Table table;
    private int faults;

    public CheckReport(Output output, Token token, Examination examination) {
        this.output = output;
        this.token = token;
        this.examination = examination;
        table = output.layout(List.of(new Row().put("result", NOT_OFFERED).put("operation", "left as it was")
            .put("mechanism", longest(token.mechanisms().stream().map(each -> nameOf("CKM_", each))))
            .put("key", longest(examination.keyNames().stream())).put("ms", 99999.9).put("detail", " ".repeat(24))));
    }

    private static String longest(Stream<String> names) {
        return Stream.concat(names, Stream.of(" ".repeat(12))).max(Comparator.comparing(String::length)).orElseThrow();
    }

    @Override
    public String trial(String title, String mechanism, String key, Callable<String> trial) {
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
        boolean fits = table.fits("detail", detail);
        row.show("detail", fits ? detail : "");
        row.below = fits ? below : below == null ? detail : detail + ": " + below;
        output.row(table, row);
        output.json(row);
        return result;
    }

    /** Runs the examination; returns the exit status. */
    public int run() {
        output.text(table.head());
        examination.run(this);
        Map<String, List<String>> untried = new LinkedHashMap<>();
        examination.untried.forEach((mechanism, reason) -> {
            untried.computeIfAbsent(reason, each -> new ArrayList<>()).add(mechanism);
            output.json(new Row().put("result", NOT_TRIED).put("mechanism", mechanism).put("detail", reason));
        });
        untried.forEach((reason, mechanisms) -> {
            output.text("");
            output.sentence("Not tried, " + reason + ": " + mechanisms.size());
            output.sentence(String.join(", ", mechanisms));
        });
        int mechanisms = token.mechanisms().size(), tried = examination.tried.size();
        int works = examination.works, keys = examination.keyNames().size(), keysTried = examination.keysTried;
        // If keys were found and none was tried, the result is negative.
        int status = faults > 0 || keys > 0 && keysTried == 0 || works == 0 ? Failure.NEGATIVE : Failure.DONE;
        output.json(new Row().put("work", works).put("doNotWork", faults).put("mechanisms", mechanisms)
            .put("mechanismsTried", tried).put("keys", keys).put("keysTried", keysTried).put("status", status));
        output.text("");
        output.sentence(works + (works == 1 ? " operation works, " : " operations work, ") + faults
            + (faults == 1 ? " does not." : " do not."));
        output.sentence(tried + " of " + mechanisms + " mechanisms were tried"
            + (keys == 0 ? "." : ", and " + keysTried + " of " + keys + " keys."));
        if (works + faults == 0) {
            output.sentence("Nothing could be tried.");
        }
        if (!token.isLoggedIn()) {
            output.sentence("Private keys are tried with --login.");
        }
        if (!token.write) {
            output.sentence("More is tried with --write.");
        }
        return status;
    }
}
