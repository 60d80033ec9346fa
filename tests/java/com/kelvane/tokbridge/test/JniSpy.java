package com.kelvane.tokbridge.test;

/** Watches the JNI calls that the bridge makes on this thread, and makes one of them fail. */
final class JniSpy {
    static {
        System.load(System.getProperty("tokbridge.test.spy"));
    }

    private JniSpy() {
    }

    /**
     * Begins to watch the calls that return into a file. The numbered call (from 1) of a function then fails, with a Java
     * error pending or without; null fails none. The token tells how many Cryptoki calls had been made by then.
     */
    static native void watch(String file, String function, int call, boolean withError, String token);

    static native void unwatch();

    /** The functions that can fail, in the order of {@link #counts}. */
    static native String[] functions();

    static native int[] counts();

    /** The modes of the releases so far; a string counts as JNI_ABORT. */
    static native int[] releaseModes();

    /** Arrays and strings that are still pinned, and releases of what was not. */
    static native int unbalanced();

    /** The Cryptoki calls made before the failure, or -1 when nothing failed. */
    static native int callsBeforeFailure();
}
