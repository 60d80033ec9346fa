package com.kelvane.tokbridge.tool.reports;

import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.tokbridge.tool.token.*;
import java.io.IOException;
import java.nio.file.*;
import java.util.*;
import java.util.concurrent.Callable;
import java.util.stream.Collectors;
import picocli.CommandLine.Option;

/** The output: text, or JSON. */
public final class Output {
    /** The exit status after a closed pipe, as of a program that SIGPIPE ended. */
    private static final int BROKEN_PIPE = 128 + 13;

    @Option(names = "--json", description = "Print JSON instead of text, errors too: one value; of what is tried one "
        + "object a line, as it comes.")
    public boolean json;
    private Table table;

    /** Prints a value, if JSON was requested. */
    public void json(Object value) {
        if (json) {
            print(toJson(value));
        }
    }

    /** Prints lines, unless JSON was requested. */
    public void text(String lines) {
        if (!json) {
            print(lines);
        }
    }

    private static void print(String lines) {
        System.out.println(lines);
        if (System.out.checkError()) {
            boolean pipe = false;
            try {
                pipe = Files.readSymbolicLink(Path.of("/proc/self/fd/1")).toString().matches("(pipe|socket):.*");
            } catch (IOException e) {
                // Not on Linux.
            }
            System.err.print(pipe ? "" : "tokbridge: the output could not be written\n");
            System.exit(pipe ? BROKEN_PIPE : Failure.FAILED);
        }
    }

    /** Prints the end of the program, on standard error or as JSON; returns the exit status. */
    public static int failure(Failure failure, boolean json) {
        PKCS11Exception raised = (PKCS11Exception) failure.getCause();
        Row row = new Row().put("error", failure.getMessage()).put("why", failure.reason).put("try", failure.remedy)
            .put("status", failure.status);
        if (json && raised != null) {
            row.put("call", Failure.method(raised)).put("code", Failure.code(raised))
                .put("flags", failure.token == null ? null : Pin.flags(failure.token));
        }
        if (json) {
            System.out.println(toJson(row));
        } else {
            System.err.println("tokbridge: " + row.text.get("error") + (failure.reason == null ? "" : "\n  Why: "
                + row.text.get("why")) + "\n  Try: " + row.text.get("try"));
        }
        return failure.status;
    }

    /** Prints a sentence; nothing for null. */
    public void sentence(String text) {
        if (text != null) {
            Row row = new Row().show("", text);
            text(new Table(List.of(row)).lines(row));
        }
    }

    /** Prints the names and the values of a row below each other. */
    public void list(Row row) {
        List<Row> pairs = row.text.entrySet().stream().map(each -> new Row().show("name", Row.title(each.getKey()))
            .show("value", each.getValue())).collect(Collectors.toList());
        pairs.get(pairs.size() - 1).below = row.below;
        table = new Table(pairs);
        pairs.forEach(this::row);
    }

    /** Prints rows that have the same names, and a head. */
    public void table(List<Row> rows) {
        head(rows);
        rows.forEach(this::row);
    }

    /** Prints the head of a table for rows like these. */
    public void head(List<Row> rows) {
        table = new Table(rows);
        text(table.head());
    }

    /** Prints a row of this table with a detail, which is below the row if it is too long, and a line below. */
    public void row(Row row, String detail, String below) {
        boolean fits = table.fits("detail", detail);
        row.show("detail", fits ? detail : "");
        row.below = fits ? below : below == null ? detail : detail + ": " + below;
        row(row);
    }

    private void row(Row row) {
        text(table.lines(row));
        if (row.below != null && row.below.contains(" ")) {
            sentence("   " + row.below);
        } else if (row.below != null) {
            text("        " + row.below); // a URI, which is copied as a whole
        }
    }

    /** Does something; after a second a line on the terminal shows the progress. */
    public static <T> T withProgress(String what, Callable<T> work) throws Exception {
        Thread progress = new Thread(() -> {
            int seconds = 0;
            try {
                for (;;) {
                    Thread.sleep(1000);
                    System.err.print("\r" + what + " ... " + ++seconds + " s ");
                }
            } catch (InterruptedException e) {
                System.err.print(seconds > 0 ? "\r\u001b[K" : "");
            }
        });
        progress.setDaemon(true);
        if (System.console() != null) {
            progress.start();
        }
        try {
            return work.call();
        } finally {
            progress.interrupt();
            progress.join();
        }
    }

    /** Returns a value as JSON: maps, rows, lists, numbers, booleans, null, and the text of everything else. */
    private static String toJson(Object value) {
        if (value instanceof Row) {
            return toJson(((Row) value).json);
        } else if (value instanceof Map) {
            return ((Map<?, ?>) value).entrySet().stream().map(each -> toJson(each.getKey()) + ":"
                + toJson(each.getValue())).collect(Collectors.joining(",", "{", "}"));
        } else if (value instanceof List) {
            return ((List<?>) value).stream().map(Output::toJson).collect(Collectors.joining(",", "[", "]"));
        } else if (value == null || value instanceof Number || value instanceof Boolean) {
            return String.valueOf(value);
        }
        return value.toString().chars().mapToObj(c -> c == '"' || c == '\\' ? "\\" + (char) c
            : c < ' ' || c > '~' ? String.format("\\u%04x", c) : String.valueOf((char) c))
            .collect(Collectors.joining("", "\"", "\""));
    }
}
