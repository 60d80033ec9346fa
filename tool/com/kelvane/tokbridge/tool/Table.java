package com.kelvane.tokbridge.tool;

import java.io.PrintStream;
import java.util.ArrayList;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.stream.Collectors;
import java.util.stream.IntStream;

/**
 * A table with a headline and columns as wide as their widest cell; columns of numbers stand to the right. On a
 * terminal that is too narrow the cells of the widest columns go over several lines.
 */
final class Table {
    private static final String INDENT = "   ";
    private static final int NARROWEST_COLUMN = 12;

    /** What stands where there is nothing. */
    private static final String NOTHING = "-";

    private final List<Object[]> rows = new ArrayList<>();
    private final boolean named;

    private Table() {
        named = false;
    }

    Table(Object... head) {
        named = true;
        rows.add(head);
    }

    /** A table of names and values. */
    static Table of(Map<String, Object> values) {
        Table table = new Table();
        values.forEach((name, value) -> table.row(words(name), value));
        return table;
    }

    /** A table of rows that have the same names. */
    static Table of(List<Map<String, Object>> rows) {
        Table table = new Table(rows.get(0).keySet().stream().map(Table::words).toArray());
        rows.forEach(row -> table.row(row.values().toArray()));
        return table;
    }

    /** A name as people write it: "serialNumber" is "Serial number". */
    private static String words(String name) {
        if (name.equals("ms")) {
            return name;
        }
        String words = name.replaceAll("([A-Z])", " $1").toLowerCase(Locale.ROOT).replace("pin", "PIN");
        return words.substring(0, 1).toUpperCase(Locale.ROOT) + words.substring(1);
    }

    /** Adds a row of as many cells as the headline has. */
    Table row(Object... cells) {
        rows.add(cells);
        return this;
    }

    void print(PrintStream out) {
        int columns = rows.get(0).length;
        int[] width = new int[columns];
        boolean[] numbers = new boolean[columns];
        for (Object[] row : rows) {
            for (int i = 0; i < columns; i++) {
                width[i] = Math.max(width[i], text(row[i]).length());
                numbers[i] |= named && row[i] instanceof Number;
            }
        }
        Rows printed = new Rows(out, named ? rows.get(0) : null, width, numbers, true);
        rows.stream().skip(named ? 1 : 0).forEach(printed::print);
    }

    /** Rows that are printed as they come, in columns of the widths that were told. */
    static final class Rows {
        private final PrintStream out;
        private final Object[] head;
        private final int[] width;
        private final boolean[] numbers;
        private final boolean names;
        private final int terminal;

        /** Whether the columns have room beside each other. */
        private final boolean beside;

        /**
         * Prints the headline, if there is one.
         *
         * @param names whether cells go with their names where the columns have no room
         */
        Rows(PrintStream out, Object[] head, int[] width, boolean[] numbers, boolean names) {
            this.out = out;
            this.names = names;
            this.head = head;
            this.width = width;
            this.numbers = numbers;
            terminal = out == System.out ? Output.width() : 0;
            int room = terminal == 0 ? Integer.MAX_VALUE : terminal - INDENT.length() - 2 * width.length;
            while (IntStream.of(width).sum() > room && IntStream.of(width).max().getAsInt() > NARROWEST_COLUMN) {
                int widest = IntStream.range(0, width.length).reduce(0, (i, j) -> width[j] > width[i] ? j : i);
                width[widest]--;
            }
            beside = IntStream.of(width).sum() <= room || head == null;
            if (head != null && beside) {
                print(head);
            }
        }

        /** Prints a row; without room for the columns as a paragraph of what there is, with its names if wanted. */
        void print(Object... row) {
            if (!beside) {
                String text = IntStream.range(0, row.length)
                    .filter(i -> !text(row[i]).equals(NOTHING) && !text(row[i]).isEmpty())
                    .mapToObj(i -> names ? head[i] + ": " + text(row[i]) : text(row[i]))
                    .collect(Collectors.joining(names ? ", " : "  "));
                List<String> lines = wrap(text, terminal - 2 * INDENT.length());
                for (int i = 0; i < lines.size(); i++) {
                    out.println((INDENT + (i == 0 ? "" : INDENT) + lines.get(i)).stripTrailing());
                }
                return;
            }
            List<List<String>> cells = new ArrayList<>();
            for (int i = 0; i < row.length; i++) {
                cells.add(wrap(text(row[i]), terminal == 0 ? Integer.MAX_VALUE : Math.max(width[i], 1)));
            }
            int lines = cells.stream().mapToInt(List::size).max().getAsInt();
            for (int at = 0; at < lines; at++) {
                StringBuilder line = new StringBuilder(INDENT);
                for (int i = 0; i < row.length; i++) {
                    List<String> cell = cells.get(i);
                    line.append("  ").append(padded(at < cell.size() ? cell.get(at) : "", width[i], numbers[i]));
                }
                out.println(line.toString().stripTrailing());
            }
        }
    }

    private static String padded(String cell, int width, boolean number) {
        String gap = " ".repeat(Math.max(0, width - cell.length()));
        return number ? gap + cell : cell + gap;
    }

    /** The lines of a text of at most so many characters, divided at blanks where there are some. */
    private static List<String> wrap(String text, int room) {
        List<String> lines = new ArrayList<>();
        String rest = text;
        while (rest.length() > room) {
            int blank = rest.lastIndexOf(' ', room);
            int end = blank > 0 ? blank : room;
            lines.add(rest.substring(0, end));
            rest = rest.substring(end).stripLeading();
        }
        lines.add(rest);
        return lines;
    }

    /** Prints a line of text above or below a table; several on a terminal that is too narrow. */
    static void line(PrintStream out, String text) {
        int width = out == System.out ? Output.width() : 0;
        String indent = INDENT + "  ";
        wrap(text, width == 0 ? Integer.MAX_VALUE : width - indent.length())
            .forEach(each -> out.println(indent + each));
    }

    /** A text on one line: a token's may hold anything. */
    static String oneLine(Object text) {
        return String.valueOf(text).replaceAll("\\p{Cntrl}", "?");
    }

    /** A cell's text; "-" where there is nothing. */
    private static String text(Object cell) {
        if (cell instanceof List) {
            return oneLine(((List<?>) cell).stream().map(String::valueOf).collect(Collectors.joining(", ")));
        }
        return cell == null ? NOTHING : cell instanceof Boolean ? (Boolean) cell ? "yes" : "no" : oneLine(cell);
    }
}
