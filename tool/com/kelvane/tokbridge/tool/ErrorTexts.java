package com.kelvane.tokbridge.tool;

import java.io.IOException;
import java.io.InputStream;
import java.io.UncheckedIOException;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.regex.Pattern;
import java.util.stream.Collectors;

/** What errors mean and what to do, as the documentation's page of errors has it, which is in the jar. */
final class ErrorTexts {
    /** One row of the page. */
    static final class Entry {
        private final Pattern error;
        final String cause;
        final String remedy;

        private Entry(String error, String cause, String remedy) {
            String pattern = Arrays.stream(error.split("…", -1)).map(Pattern::quote).collect(Collectors.joining(".*"));
            this.error = Pattern.compile(pattern + (error.startsWith("CKR_") ? " .*" : ""), Pattern.DOTALL);
            this.cause = cause;
            this.remedy = remedy;
        }
    }

    private static final List<Entry> ENTRIES = read();

    private ErrorTexts() {
    }

    /** The row of an exception's message. */
    static Entry find(String message) {
        return ENTRIES.stream().filter(each -> each.error.matcher(message).matches()).findFirst().orElseGet(
            () -> new Entry("", message.startsWith("CKR_") ? "a code of the module's own"
                : "not in the documentation's page of errors",
                "look it up in the module's manual, and look at its log"));
    }

    private static List<Entry> read() {
        List<Entry> entries = new ArrayList<>();
        try (InputStream page = ErrorTexts.class.getResourceAsStream("/errors.md")) {
            for (String line : new String(page.readAllBytes(), StandardCharsets.UTF_8).split("\n")) {
                String[] cells = line.split(" *\\| *");
                if (cells.length == 4 && cells[1].startsWith("`")) {
                    entries.add(new Entry(cells[1].replace("`", ""), plain(cells[2]), plain(cells[3])));
                }
            }
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
        return entries;
    }

    private static String plain(String cell) {
        return cell.replace("`", "");
    }
}
