package com.kelvane.tokbridge.tool;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Exception;
import java.security.GeneralSecurityException;
import java.util.LinkedHashMap;
import java.util.Map;

/** Tells how each thing that is tried went, as soon as it is known, and counts. */
final class Report {
    /** Something that is tried; returns what there is to say when it works. */
    interface Body {
        String run() throws Exception;
    }

    /** What the token did is not what it should be. */
    static final class Wrong extends Exception {
        private static final long serialVersionUID = 1L;

        Wrong(String what) {
            super(what);
        }
    }

    /** Nothing was tried, for this reason. */
    static final class NotTried extends Exception {
        private static final long serialVersionUID = 1L;

        NotTried(String why) {
            super(why);
        }
    }

    /** The token does not have this, it says. */
    static final class NotOffered extends Exception {
        private static final long serialVersionUID = 1L;

        NotOffered(String why) {
            super(why);
        }
    }

    static final String WORKS = "works", REFUSED = "refused", WRONG = "wrong", NOT_OFFERED = "not offered",
        NOT_TRIED = "not tried";

    /** How wide the columns are; those of mechanisms and keys as wide as what there is. */
    private static final int RESULT = 11, OPERATION = 14, LEAST = 12, MILLISECONDS = 7, DETAIL = 40;

    private final Output output;
    private final Table.Rows rows;
    private final Map<String, Integer> counts = new LinkedHashMap<>();

    /** How much of the housekeeping failed, which is not counted otherwise. */
    private int housekeepingFailed;

    /** Begins a table; mechanisms and keys have names of at most so many characters. */
    Report(Output output, int longestMechanism, int longestKey) {
        this.output = output;
        rows = new Table.Rows(output.text(), new Object[] {"Result", "Operation", "Mechanism", "Key", "ms", "Detail"},
            new int[] {RESULT, OPERATION, Math.max(longestMechanism, LEAST), Math.max(longestKey, LEAST), MILLISECONDS,
                DETAIL},
            new boolean[] {false, false, false, false, true, false}, false);
    }

    /** Throws unless something holds. */
    static void require(boolean holds, String otherwise) throws Wrong {
        if (!holds) {
            throw new Wrong(otherwise);
        }
    }

    /** How many operations ended so. */
    int count(String result) {
        return counts.getOrDefault(result, 0);
    }

    /** How much failed. */
    int failed() {
        return count(REFUSED) + count(WRONG) + housekeepingFailed;
    }

    /** Does what is no operation of the token's: it is told, and not counted unless it fails. */
    boolean housekeeping(String title, Body body) {
        String result = row(title, null, null, body);
        boolean failed = result.equals(REFUSED) || result.equals(WRONG);
        housekeepingFailed += failed ? 1 : 0;
        return !failed;
    }

    /** Tries an operation. What it throws ends the operation, not the report. */
    String operation(String title, String mechanism, String key, Body body) {
        String result = row(title, mechanism, key, body);
        counts.merge(result, 1, Integer::sum);
        return result;
    }

    /** Says which call was refused, how, and what that means. */
    static String told(PKCS11Exception e) {
        return Failure.call(e) + ": " + Failure.of(e).reason;
    }

    private String row(String title, String mechanism, String key, Body body) {
        long start = System.nanoTime();
        String result = WORKS;
        String detail;
        String remedy = null;
        try {
            detail = Output.patiently(title + (mechanism == null ? "" : " " + mechanism), body::run);
        } catch (PKCS11Exception e) {
            // What the token lists and then says that it does not have is not there, and no fault.
            boolean offered = e.getCode() != CKR_FUNCTION_NOT_SUPPORTED && e.getCode() != CKR_MECHANISM_INVALID;
            result = offered ? REFUSED : NOT_OFFERED;
            detail = told(e);
            remedy = offered ? Failure.of(e).remedy : null;
        } catch (Wrong e) {
            result = WRONG;
            detail = e.getMessage();
        } catch (NotTried e) {
            result = NOT_TRIED;
            detail = e.getMessage();
        } catch (NotOffered e) {
            result = NOT_OFFERED;
            detail = e.getMessage();
        } catch (GeneralSecurityException | RuntimeException e) { // the JDK does not take what the token has told
            result = WRONG;
            detail = e.toString();
        } catch (Exception e) {
            throw new IllegalStateException(e);
        }
        Double milliseconds = result.equals(NOT_TRIED) ? null : Math.round((System.nanoTime() - start) / 1e5) / 10.0;
        rows.print(result, title, mechanism, key, milliseconds, detail + (remedy == null ? "" : " Try: " + remedy));
        Map<String, Object> told = new LinkedHashMap<>();
        told.put("result", result);
        told.put("operation", title);
        told.put("mechanism", mechanism);
        told.put("key", key);
        told.put("ms", milliseconds);
        told.put("detail", detail);
        told.put("remedy", remedy);
        output.result(told);
        return result;
    }
}
