package com.kelvane.tokbridge.test;

import java.util.*;
import org.junit.jupiter.api.function.*;

/** Counts the JNI calls that the bridge makes on this thread, and lets one of them fail. */
final class JniSpy {
    static {
        System.load(System.getProperty("tokbridge.test.spy"));
    }

    /** The function of the call that failed; empty if none did. */
    final String failed;
    /** The calls that the module had received by then. */
    final int moduleCalls;
    /** The number of calls of each JNI function. */
    final Map<String, Integer> counts = new TreeMap<>();
    /** The exception that was thrown, or null. */
    Throwable thrown;

    /**
     * Watches a call. Of the JNI calls that can fail, the one of this number (from 1) fails, with an
     * {@link InternalError} pending or without.
     */
    JniSpy(ScriptedToken token, int failing, boolean withError, Executable call) {
        watch(System.getProperty("tokbridge.library"), failing, withError, token.path());
        try {
            call.execute();
        } catch (Throwable e) {
            thrown = e;
        }
        String[] words = report().split(" ", -1);
        failed = words[0];
        moduleCalls = Integer.parseInt(words[1]);
        for (int i = 2; i < words.length; i += 2) {
            counts.put(words[i], Integer.valueOf(words[i + 1]));
        }
    }

    private static native void watch(String library, int failing, boolean withError, String token);

    private static native String report();

    /** Whether a symbol can be seen by every library of the process. */
    static native boolean visible(String symbol);
}
