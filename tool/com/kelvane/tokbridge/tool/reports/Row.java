package com.kelvane.tokbridge.tool.reports;

import java.util.*;
import java.util.stream.Collectors;

/** A row of a table, or a list of names and values: as text, and as JSON with codes and numbers. */
public final class Row {
    public final Map<String, Object> json = new LinkedHashMap<>();
    final Map<String, String> text = new LinkedHashMap<>();

    /** A line below the row; null for none. */
    String below;

    /** Adds a value; an empty text is null. */
    public Row put(String name, Object value) {
        Object present = "".equals(value) ? null : value;
        return put(name, present, present);
    }

    /** Adds a value with another text. */
    public Row put(String name, Object value, Object words) {
        json.put(name, value);
        return show(name, words);
    }

    /** Adds a text that is not in JSON. */
    public Row show(String name, Object words) {
        text.put(name, oneLine(words == null ? "-" : words instanceof Boolean ? (Boolean) words ? "yes" : "no"
            : words instanceof List ? ((List<?>) words).stream().map(String::valueOf).collect(Collectors.joining(", "))
            : words));
        return this;
    }

    /** Adds a value whose text is on a line below the row. */
    public Row below(String name, Object value) {
        json.put(name, value);
        below = oneLine(value);
        return this;
    }

    /** Returns a title: "Serial number" for "serialNumber". */
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
