package com.kelvane.tokbridge.tool.token;

import com.kelvane.pkcs11.PKCS11Exception;
import java.io.*;
import java.nio.charset.StandardCharsets;
import java.util.*;
import java.util.regex.*;
import java.util.stream.Collectors;

/** The causes and remedies of errors: the rows of the documentation's page, which is in the jar. */
public final class ErrorPage {
    private static final int ERROR = 1, METHOD = 2, CAUSE = 3, REMEDY = 4;

    /** The rows; those for a certain method come first. */
    private static final List<MatchResult> ROWS;
    static {
        try (InputStream page = ErrorPage.class.getResourceAsStream("/errors.md")) {
            ROWS = Pattern.compile("\\| `([^`]*)`(?: from `(\\w+)`)? \\| (.*) \\| (.*) \\|")
                .matcher(new String(page.readAllBytes(), StandardCharsets.UTF_8)).results()
                .sorted(Comparator.comparing(row -> row.group(METHOD) == null)).collect(Collectors.toList());
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
    }

    private ErrorPage() {
    }

    public static String cause(PKCS11Exception e) {
        return e.getCause() != null ? e.getCause().getMessage() : find(e, CAUSE, "a code of the module's own");
    }

    public static String remedy(Throwable e) {
        return find(e, REMEDY, "look it up in the module's manual and in its log");
    }

    private static String find(Throwable e, int column, String otherwise) {
        return ROWS.stream().filter(row -> (row.group(METHOD) == null || row.group(METHOD).equals(Failure.method(e)))
            && (row.group(ERROR).startsWith("CKR_") ? e.getMessage().startsWith(row.group(ERROR) + " ")
                : e.getMessage().matches("(?s)" + Pattern.quote(row.group(ERROR)).replace("…", "\\E.*\\Q"))))
            .findFirst().map(row -> row.group(column).replace("`", "").replace("(B) ", "")).orElse(otherwise);
    }
}
