package com.kelvane.pkcs11.nat;

import java.io.File;

/** Loads the native library that carries out the native methods of this package. */
final class NativeLibrary {
    /** System property with the absolute path of the library's file. */
    private static final String PROPERTY = "tokbridge.library";

    /** Name of the library, looked for in {@code java.library.path} when the property is unset. */
    private static final String NAME = "tokbridge";

    /** Why the library could not be loaded; null if it was. */
    private static final UnsatisfiedLinkError FAILURE = load();

    /** Nothing to build: the methods are static. */
    private NativeLibrary() {
    }

    /**
     * Makes sure that the library is loaded. It is tried once; the constructors of the classes with native methods ask
     * for it, and not their initialisers, so that every use of them is refused in the same words.
     *
     * @throws UnsatisfiedLinkError naming the places tried and the system's reason
     */
    static void require() {
        if (FAILURE != null) {
            UnsatisfiedLinkError error = new UnsatisfiedLinkError(FAILURE.getMessage());
            error.initCause(FAILURE.getCause());
            throw error;
        }
    }

    /**
     * Asks the virtual machine to load a module that the system did not load for the bridge, for the system's reason.
     * The module runs no code of its own unless it is loaded after all.
     *
     * @param path the path of the module
     * @return what the virtual machine raised; null for a name without a directory, which it does not look for
     */
    static UnsatisfiedLinkError reasonNotToLoad(String path) {
        File file = new File(path);
        if (file.getParent() == null) {
            return null;
        }
        try {
            System.load(file.getAbsolutePath());
            return new UnsatisfiedLinkError(file.getAbsolutePath() + ": a function that it needs is missing; the virtual"
                + " machine, which looks functions up when they are first called, does load it");
        } catch (UnsatisfiedLinkError reason) {
            return reason;
        }
    }

    /**
     * Loads the library. A file named by the property is the only one tried: falling back to another would hide that it
     * is missing.
     */
    private static UnsatisfiedLinkError load() {
        String file = System.getProperty(PROPERTY);
        try {
            if (file != null) {
                System.load(file);
            } else {
                System.loadLibrary(NAME);
            }
            return null;
        } catch (UnsatisfiedLinkError | IllegalCallerException reason) { // the latter where native access is denied
            String path = System.mapLibraryName(NAME) + " in java.library.path = "
                + System.getProperty("java.library.path");
            UnsatisfiedLinkError failure = new UnsatisfiedLinkError("cannot load the native library: " + (file != null
                ? "tried " + PROPERTY + " = " + file + ", therefore not " + path
                : PROPERTY + " is unset, tried " + path) + ": " + reason.getMessage());
            failure.initCause(reason);
            return failure;
        }
    }
}
