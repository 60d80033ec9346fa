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

    /**
     * Ends the watch. Answers how often each function that can fail was called, and "calls": the Cryptoki calls before
     * the failure, -1 for none; "copied": the releases that wrote an array back; "unbalanced": what is still pinned,
     * and releases of what was not.
     */
    static Map<String, Integer> unwatch() {
        Map<String, Integer> found = new TreeMap<>();
        for (String word : report().split(" ")) {
            found.put(word.split("=")[0], Integer.valueOf(word.split("=")[1]));
        }
        return found;
    }

    private static native String report();
}
