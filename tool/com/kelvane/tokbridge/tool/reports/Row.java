package com.kelvane.tokbridge.tool.reports;

import java.util.*;
import java.util.stream.Collectors;

/** A row of a table, or a list of names and values: in words for people, in codes and numbers as JSON. */
public final class Row {
    public final Map<String, Object> json = new LinkedHashMap<>();
    final Map<String, String> text = new LinkedHashMap<>();

    /** A line below the row; null for none. */
    String below;

    /** Adds a value; an empty text is none. */
    public Row put(String name, Object value) {
        Object given = "".equals(value) ? null : value;
        return put(name, given, given);
    }

    /** Adds a value that people see in other words. */
    public Row put(String name, Object value, Object words) {
        json.put(name, value);
        return show(name, words);
    }

    /** Adds a value for people alone. */
    public Row show(String name, Object words) {
        text.put(name, oneLine(words == null ? "-" : words instanceof Boolean ? (Boolean) words ? "yes" : "no"
            : words instanceof List ? ((List<?>) words).stream().map(String::valueOf).collect(Collectors.joining(", "))
            : words));
        return this;
    }

    /** Adds a value that people see on a line below the row. */
    public Row below(String name, Object value) {
        json.put(name, value);
        below = oneLine(value);
        return this;
    }

    /** Returns a name as people write it: "serialNumber" is "Serial number". */
    static String title(String name) {
        String words = name.replaceAll("([A-Z])", " $1").toLowerCase(Locale.ROOT).replace("pin", "PIN");
        return name.equals("ms") || name.isEmpty() ? name
            : words.substring(0, 1).toUpperCase(Locale.ROOT) + words.substring(1);
    }

    /** Returns a text on one line, without the control characters that a token's text may have. */
    public static String oneLine(Object text) {
        return String.valueOf(text).replaceAll("\\p{Cntrl}", "?");
    }
}
