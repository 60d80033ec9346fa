package com.kelvane.tokbridge.tool.reports;

import java.io.IOException;
import java.util.*;
import picocli.CommandLine.Help;
import picocli.CommandLine.Help.*;
import picocli.CommandLine.Help.Ansi.Style;

/**
 * The columns of rows that have the same names. Where a terminal is too narrow, columns are left out, the last but one
 * first, and cells with several words go over several lines.
 */
final class Table {
    /** The number of the terminal's columns; 0 if it is not known. */
    private static final int TERMINAL = System.console() == null ? 0 : terminal();
    private static final int INDENT = 5, GAP = 2;

    /** Columns are omitted while there are more than FEW, and a column of words would be narrower than NARROW. */
    private static final int FEW = 4, NARROW = 18;
    private static final ColorScheme COLORS = Help.defaultColorScheme(Ansi.AUTO);
    private static final Map<String, Style> STYLES = Map.of("works", Style.fg_green, "refused", Style.fg_red, "wrong",
        Style.fg_red);

    /** The widths of the columns by their names; which of them have numbers; and which have several words in a cell. */
    private final Map<String, Integer> widths = new LinkedHashMap<>();
    private final Set<String> numbers = new HashSet<>(), words = new HashSet<>();

    Table(List<Row> rows) {
        rows.forEach(row -> row.text.forEach((name, text) -> {
            widths.merge(name, Math.max(text.length(), Row.title(name).length()), Math::max);
            numbers.addAll(row.json.get(name) instanceof Number ? Set.of(name) : Set.of());
            words.addAll(text.contains(" ") ? Set.of(name) : Set.of());
        }));
        while (widths.size() > FEW && isTooWide(NARROW)) {
            widths.remove(List.copyOf(widths.keySet()).get(widths.size() - 2));
        }
        while (isTooWide(Integer.MAX_VALUE)) {
            String widest = Collections.max(widths.keySet(), Comparator.comparing(name -> widths.get(name)
                + (words.contains(name) && widths.get(name) > NARROW / 2 ? 1000 : 0)));
            widths.merge(widest, -1, Integer::sum);
        }
    }

    private static int terminal() {
        try {
            Process stty = new ProcessBuilder("stty", "size").redirectInput(ProcessBuilder.Redirect.INHERIT).start();
            return Integer.parseInt(new String(stty.getInputStream().readAllBytes()).strip().split(" ")[1]);
        } catch (IOException | RuntimeException e) {
            return 0;
        }
    }

    /** Returns whether the columns are too wide for the terminal, even with columns of words limited to a width. */
    private boolean isTooWide(int limit) {
        int sum = widths.keySet().stream().mapToInt(name -> GAP + (words.contains(name)
            ? Math.min(widths.get(name), limit) : widths.get(name))).sum() - GAP + INDENT;
        return TERMINAL > 0 && sum > Math.max(TERMINAL, INDENT + (1 + GAP) * widths.size());
    }

    /** Returns whether a text fits into one line of a column. */
    boolean fits(String name, String text) {
        return TERMINAL == 0 || text.length() <= widths.getOrDefault(name, 0);
    }

    String head() {
        Row titles = new Row();
        widths.keySet().forEach(name -> titles.show(name, Row.title(name)));
        return lines(titles, Style.bold);
    }

    /** Returns a row's lines, in a style or in that of each text. */
    String lines(Row row, Style... style) {
        List<Column> columns = new ArrayList<>();
        List<Ansi.Text> cells = new ArrayList<>();
        widths.forEach((name, width) -> {
            String text = row.text.get(name);
            String cell = numbers.contains(name) ? " ".repeat(Math.max(0, width - text.length())) + text : text;
            cells.add(COLORS.apply(cell, style.length > 0 || !STYLES.containsKey(text) ? List.of(style)
                : List.of(STYLES.get(text))));
            int before = columns.isEmpty() ? INDENT : GAP;
            columns.add(new Column(before + (TERMINAL > 0 ? width : Math.max(width, cell.length())), before,
                Column.Overflow.WRAP));
        });
        TextTable table = TextTable.forColumns(COLORS, columns.toArray(new Column[0]));
        table.indentWrappedLines = 0;
        table.addRowValues(cells.toArray(new Ansi.Text[0]));
        return table.toString().stripTrailing();
    }
}
