package com.kelvane.pkcs11.nat;

/** Loads the native library that carries out the native methods of this package. */
final class NativeLibrary {
    /** System property with the absolute path of the library's file. */
    private static final String PROPERTY = "tokbridge.library";

    /** Name of the library, looked for in {@code java.library.path} when the property is unset. */
    private static final String NAME = "tokbridge";

    /** Whether the library is loaded. */
    private static boolean loaded;

    /** Nothing to build: the method is static. */
    private NativeLibrary() {
    }

    /**
     * Loads the library unless it is loaded. A file named by the property is the only one tried: falling back to
     * another would hide that it is missing.
     *
     * @throws UnsatisfiedLinkError naming the places tried, with the system's own error as its cause
     */
    static synchronized void load() {
        if (loaded) {
            return;
        }
        String file = System.getProperty(PROPERTY);
        try {
            if (file != null) {
                System.load(file);
            } else {
                System.loadLibrary(NAME);
            }
            loaded = true;
        } catch (UnsatisfiedLinkError cause) {
            String path = System.mapLibraryName(NAME) + " in java.library.path = "
                + System.getProperty("java.library.path");
            UnsatisfiedLinkError error = new UnsatisfiedLinkError("cannot load the native library: " + (file != null
                ? "tried " + PROPERTY + " = " + file + ", therefore not " + path
                : PROPERTY + " is unset, tried " + path));
            error.initCause(cause);
            throw error;
        }
    }
}
