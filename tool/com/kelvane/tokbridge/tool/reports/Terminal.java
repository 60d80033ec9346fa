package com.kelvane.tokbridge.tool.reports;

import java.io.IOException;
import java.util.function.Supplier;

/** The terminal, if there is one. */
public final class Terminal {
    /** The number of columns; 0 if it is not known. */
    static final int WIDTH = System.console() == null ? 0 : width();

    private Terminal() {
    }

    private static int width() {
        try {
            Process stty = new ProcessBuilder("stty", "size").redirectInput(ProcessBuilder.Redirect.INHERIT).start();
            return Integer.parseInt(new String(stty.getInputStream().readAllBytes()).strip().split(" ")[1]);
        } catch (IOException | RuntimeException e) {
            return 0;
        }
    }

    /** Does something; after a second a line on the terminal shows the progress. */
    public static <T> T withProgress(String what, Supplier<T> work) {
        if (System.console() == null) {
            return work.get();
        }
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
}
