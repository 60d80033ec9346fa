package com.kelvane.tokbridge.test;

import java.util.*;

/** Watches the JNI calls that the bridge makes on this thread, and makes one of them fail. */
final class JniSpy {
    static {
        System.load(System.getProperty("tokbridge.test.spy"));
    }

    /**
     * Begins to watch the calls that return into a file. The numbered call (from 1) of a function then fails, with a
     * Java error pending or without; the function "" fails none. The token counts the Cryptoki calls made by then.
     */
    static native void watch(String file, String function, int call, boolean withError, String token);

    /** What a watch has seen. */
    static final class Report {
        /** How often each JNI function was called, those that can fail and those that cannot. */
        final Map<String, Integer> fallible = new TreeMap<>();
        final Map<String, Integer> infallible = new TreeMap<>();
        /** The Cryptoki calls before the failure; -1 when there was none. */
        int calls;
        /** The releases that wrote an array back. */
        int copied;
        /** What is still pinned, and releases of what was not. */
        int unbalanced;
        /** The local references that lived at once. */
        int references;
        /** The last function that was called with an exception pending although it must not be; "C_*" of Cryptoki. */
        String misused;
    }

    /** Ends the watch. */
    static Report unwatch() {
        Report seen = new Report();
        String[] words = report().split(" ", -1);
        seen.calls = Integer.parseInt(words[0]);
        seen.copied = Integer.parseInt(words[1]);
        seen.unbalanced = Integer.parseInt(words[2]);
        seen.references = Integer.parseInt(words[3]);
        seen.misused = words[4];
        for (int i = 5; i < words.length; i += 2) {
            (words[i].startsWith("+") ? seen.infallible : seen.fallible).put(words[i].replace("+", ""),
                Integer.valueOf(words[i + 1]));
        }
        return seen;
    }

    private static native String report();

    /** Whether a symbol can be seen by every library of the process. */
    static native boolean visible(String symbol);
}
