package com.kelvane.tokbridge.tool;

import java.io.PrintStream;
import java.util.ArrayList;
import java.util.List;

/** A table with a headline and columns as wide as their widest cell; columns of numbers stand to the right. */
final class Table {
    private final List<Object[]> rows = new ArrayList<>();

    Table(Object... head) {
        rows.add(head);
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
                numbers[i] |= row[i] instanceof Number;
            }
        }
        for (Object[] row : rows) {
            StringBuilder line = new StringBuilder("   ");
            for (int i = 0; i < columns; i++) {
                String cell = text(row[i]);
                String gap = " ".repeat(width[i] - cell.length());
                line.append("  ").append(numbers[i] ? gap + cell : cell + gap);
            }
            out.println(line.toString().stripTrailing());
        }
    }

    /** The cell on one line: a token's text may hold anything. */
    private static String text(Object cell) {
        return String.valueOf(cell).replaceAll("\\p{Cntrl}", "?");
    }
}
