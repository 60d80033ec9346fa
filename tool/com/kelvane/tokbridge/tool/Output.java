package com.kelvane.tokbridge.tool;

import java.io.IOException;
import java.io.PrintStream;
import java.util.Iterator;
import java.util.List;
import java.util.Map;
import java.util.concurrent.TimeUnit;
import picocli.CommandLine.Option;

/** Where results go: as text for people, or as JSON for machines. */
final class Output {
    static final String JSON = "--json";
    private static final int NARROWEST = 40;

    @Option(names = JSON, description = "Print JSON instead of text, errors too: one value; what is tried as one "
        + "object a line, as it comes.")
    private boolean json;

    /** Where text for people goes: nowhere when machines read. */
    PrintStream text() {
        return json ? new PrintStream(PrintStream.nullOutputStream()) : System.out;
    }

    /** Prints a result, if machines read. */
    void result(Object value) {
        if (json) {
            System.out.println(json(value));
        }
    }

    static String json(Object value) {
        StringBuilder written = new StringBuilder();
        write(value, written);
        return written.toString();
    }

    /** Whether somebody looks on. */
    static boolean onTerminal() {
        return System.console() != null;
    }

    /** The width of the terminal; 0 where there is none or it does not tell. */
    static int width() {
        if (!onTerminal()) {
            return 0;
        }
        try {
            Process stty = new ProcessBuilder("stty", "size").redirectInput(ProcessBuilder.Redirect.INHERIT)
                .redirectErrorStream(true).start();
            String[] size = new String(stty.getInputStream().readAllBytes()).trim().split(" ");
            return stty.waitFor() == 0 ? Math.max(Integer.parseInt(size[1]), NARROWEST) : 0;
        } catch (IOException | InterruptedException | RuntimeException e) {
            return 0;
        }
    }

    /** Something that may take long. */
    interface Work<T, E extends Exception> {
        T get() throws E;
    }

    /** Does something; when it takes longer than a second and somebody looks on, a line says so meanwhile. */
    static <T, E extends Exception> T patiently(String what, Work<T, E> work) throws E {
        if (!onTerminal()) {
            return work.get();
        }
        Thread progress = new Thread(() -> {
            long start = System.nanoTime();
            try {
                for (;;) {
                    Thread.sleep(1000);
                    long seconds = TimeUnit.NANOSECONDS.toSeconds(System.nanoTime() - start);
                    System.err.print("\r" + what + " ... " + seconds + " s ");
                }
            } catch (InterruptedException e) {
                if (System.nanoTime() - start > TimeUnit.SECONDS.toNanos(1)) {
                    System.err.print("\r\u001b[K");
                }
            }
        });
        progress.setDaemon(true);
        progress.start();
        try {
            return work.get();
        } finally {
            progress.interrupt();
            try {
                progress.join();
            } catch (InterruptedException e) {
                Thread.currentThread().interrupt();
            }
        }
    }

    private static void write(Object value, StringBuilder to) {
        if (value instanceof Map) {
            to.append('{');
            for (Iterator<? extends Map.Entry<?, ?>> i = ((Map<?, ?>) value).entrySet().iterator(); i.hasNext();) {
                Map.Entry<?, ?> entry = i.next();
                write(entry.getKey(), to);
                to.append(':');
                write(entry.getValue(), to);
                to.append(i.hasNext() ? "," : "");
            }
            to.append('}');
        } else if (value instanceof List) {
            to.append('[');
            for (Iterator<?> i = ((List<?>) value).iterator(); i.hasNext();) {
                write(i.next(), to);
                to.append(i.hasNext() ? "," : "");
            }
            to.append(']');
        } else if (value == null || value instanceof Number || value instanceof Boolean) {
            to.append(value);
        } else {
            to.append('"');
            value.toString().chars().forEach(c -> to.append(c == '"' || c == '\\' ? "\\" + (char) c
                : c < ' ' || c > '~' ? String.format("\\u%04x", c) : String.valueOf((char) c)));
            to.append('"');
        }
    }
}
