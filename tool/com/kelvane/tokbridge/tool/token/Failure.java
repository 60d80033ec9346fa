package com.kelvane.tokbridge.tool.token;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static java.util.stream.Collectors.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.NativePKCS11;
import java.io.*;
import java.nio.charset.StandardCharsets;
import java.util.*;
import java.util.function.Supplier;
import java.util.regex.*;
import java.util.stream.*;

/**
 * The end of the program: its exit status, what failed, why, and a remedy. The causes and remedies of errors are the
 * rows of the documentation's page, which is in the jar.
 */
public final class Failure extends RuntimeException {
    public static final int DONE = 0, NEGATIVE = 1, USAGE = 2, FAILED = 3;
    private static final long serialVersionUID = 1L;
    private static final int ERROR = 1, METHOD = 2, CAUSE = 3, REMEDY = 4;

    /** The rows of the page of errors; those for a certain method come first. */
    private static final List<MatchResult> ROWS;
    static {
        try (InputStream page = Failure.class.getResourceAsStream("/errors.md")) {
            ROWS = Pattern.compile("\\| `([^`]*)`(?: from `(\\w+)`)? \\| (.*) \\| (.*) \\|")
                .matcher(new String(page.readAllBytes(), StandardCharsets.UTF_8)).results()
                .sorted(Comparator.comparing(row -> row.group(METHOD) == null)).collect(toList());
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
    }

    public final int status;

    /** The reason, or null; and the remedy. */
    public final String reason, remedy;

    /** The token after a failed login; null otherwise. */
    public final transient PKCS11TokenInfo token;

    /** A failure that the tool itself explains. */
    public Failure(int status, String what, String reason, String remedy) {
        super(what);
        this.status = status;
        this.reason = reason;
        this.remedy = remedy;
        token = null;
    }

    /** A failed call of the library. */
    public Failure(String what, PKCS11Exception cause, PKCS11TokenInfo token) {
        super(what, cause);
        status = FAILED;
        reason = cause.getMessage() + ": " + cause(cause)
            + (token == null ? "" : " The token's PIN: " + Pin.state(token) + ".");
        remedy = remedy(cause);
        this.token = token;
    }

    /** Returns the failure that an exception is. */
    public static Failure of(Throwable e) {
        return e instanceof Failure ? (Failure) e
            : e instanceof PKCS11Exception ? new Failure(method(e) + " failed", (PKCS11Exception) e, null)
            : e instanceof UnsatisfiedLinkError ? new Failure(FAILED, "tokbridge's own library is not there",
                e.getMessage(), remedy(e))
            : new Failure(FAILED, "the program failed", e + " at " + e.getStackTrace()[0],
                "this is a fault of the tool: report it with this line");
    }

    /** Calls the library; if that fails, the failure has a text. */
    public static <T> T in(String what, Supplier<T> call) {
        try {
            return call.get();
        } catch (PKCS11Exception e) {
            throw new Failure(what, e, null);
        }
    }

    /** Returns the name of the library's method that raised an exception. */
    public static String method(Throwable e) {
        return Stream.of(e.getStackTrace()).filter(frame -> frame.getClassName().startsWith(
            NativePKCS11.class.getPackageName())).reduce((inner, outer) -> outer)
            .map(StackTraceElement::getMethodName).orElse("a call");
    }

    /** Returns the name of the code that was raised, or the text of the bridge. */
    public static String code(PKCS11Exception e) {
        return e.hasCode() ? nameOf("CKR_", e.getCode()) : e.getMessage();
    }

    public static String cause(PKCS11Exception e) {
        return e.getCause() != null ? e.getCause().getMessage() : find(e, CAUSE, "a code of the module's own");
    }

    public static String remedy(Throwable e) {
        return find(e, REMEDY, "look it up in the module's manual and in its log");
    }

    private static String find(Throwable e, int column, String otherwise) {
        return ROWS.stream().filter(row -> (row.group(METHOD) == null || row.group(METHOD).equals(method(e)))
            && (row.group(ERROR).startsWith("CKR_") ? e.getMessage().startsWith(row.group(ERROR) + " ")
                : e.getMessage().matches("(?s)" + Pattern.quote(row.group(ERROR)).replace("…", "\\E.*\\Q"))))
            .findFirst().map(row -> row.group(column).replace("`", "").replace("(B) ", "")).orElse(otherwise);
    }
}
