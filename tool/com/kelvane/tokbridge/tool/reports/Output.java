package com.kelvane.tokbridge.tool.reports;

import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.tokbridge.tool.token.*;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.*;
import java.util.stream.Collectors;
import picocli.CommandLine.Option;

/** The output: text, or JSON. */
public final class Output {
    /** The exit status after a closed pipe, as of a program that SIGPIPE ended. */
    private static final int BROKEN_PIPE = 128 + 13;

    @Option(names = "--json", description = "Print JSON instead of text, errors too: one value; of what is tried one "
        + "object a line, as it comes.")
    private boolean json;

    public boolean isJson() {
        return json;
    }

    /** Prints a value as JSON, if JSON was requested. */
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
        if (json) {
            Row row = new Row().put("error", failure.getMessage()).put("why", failure.reason)
                .put("try", failure.remedy).put("status", failure.status);
            if (raised != null) {
                row.put("call", Failure.method(raised)).put("code", Failure.code(raised))
                    .put("flags", failure.token == null ? null : Pin.flags(failure.token));
            }
            System.out.println(toJson(row));
        } else {
            System.err.println("tokbridge: " + Row.oneLine(failure.getMessage()) + (failure.reason == null ? ""
                : "\n  Why: " + Row.oneLine(failure.reason)) + "\n  Try: " + Row.oneLine(failure.remedy));
        }
        return failure.status;
    }

    /** Prints a sentence. */
    public void sentence(String text) {
        Row row = new Row().show("", text);
        row(begin(List.of(row)), row);
    }

    /** Prints the names and the values of a row below each other. */
    public void list(Row row) {
        List<Row> pairs = row.text.entrySet().stream().map(each -> new Row().show("name", Row.title(each.getKey()))
            .show("value", each.getValue())).collect(Collectors.toList());
        pairs.get(pairs.size() - 1).below = row.below;
        Table table = begin(pairs);
        pairs.forEach(pair -> row(table, pair));
    }

    /** Prints rows that have the same names. */
    public void table(List<Row> rows) {
        Table table = begin(rows);
        text(table.head());
        rows.forEach(row -> row(table, row));
    }

    /** Lays a table out for rows like these. */
    Table begin(List<Row> rows) {
        return new Table(rows, json ? 0 : Terminal.WIDTH);
    }

    void row(Table table, Row row) {
        text(table.lines(row, null));
        if (row.below != null && row.below.contains(" ")) {
            sentence("   " + row.below);
        } else if (row.below != null) {
            text("        " + row.below); // a URI, which is copied as a whole
        }
    }

    /** Returns a value as JSON: maps, rows, lists, numbers, booleans, null, and the text of everything else. */
    static String toJson(Object value) {
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
