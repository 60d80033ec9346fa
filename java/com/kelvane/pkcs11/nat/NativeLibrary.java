package com.kelvane.pkcs11.nat;

import java.io.File;
import java.io.FileInputStream;
import java.io.IOException;
import java.io.InputStream;
import java.util.Arrays;

/** Loads the native library that carries out the native methods of this package. */
final class NativeLibrary {
    /** System property with the absolute path of the library's file. */
    static final String PROPERTY = "tokbridge.library";

    /** Name of the library, looked for in {@code java.library.path}, then in the jar, when the property is unset. */
    static final String NAME = "tokbridge";

    /** The length of an ELF header up to and including e_machine. */
    private static final int ELF_HEADER = 20;

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
     * Returns why the system does not load a module. The virtual machine tries to load it; the module runs no code
     * of its own unless it is loaded after all. What can be read from the file is looked at before: the virtual machine
     * would take a file that is no library for one that wants an executable stack, and warn of it.
     *
     * @param path the path of the module
     * @return an error with the reason; null for a name without a directory, which is not searched for here
     */
    static UnsatisfiedLinkError reasonNotToLoad(String path) {
        File file = new File(path).getAbsoluteFile();
        if (new File(path).getParent() == null) {
            return null;
        }
        String obstacle = obstacle(file);
        if (obstacle == null) {
            try {
                System.load(file.getPath());
                obstacle = "a function that it needs is missing; the virtual machine, which looks functions up when"
                    + " they are first called, does load it";
            } catch (UnsatisfiedLinkError reason) {
                return reason;
            }
        }
        return new UnsatisfiedLinkError(file + ": " + obstacle);
    }

    /** Returns how a file's header differs from that of the running program; null if it does not. */
    private static String obstacle(File file) {
        byte[] own;
        try (InputStream program = new FileInputStream("/proc/self/exe")) {
            own = program.readNBytes(ELF_HEADER);
        } catch (IOException e) {
            return null; // another system
        }
        try (InputStream module = new FileInputStream(file)) {
            byte[] header = module.readNBytes(ELF_HEADER);
            if (header.length < ELF_HEADER || !Arrays.equals(header, 0, 4, own, 0, 4)) {
                return "not an ELF file";
            }
            boolean alike = Arrays.equals(header, 4, 6, own, 4, 6) && Arrays.equals(header, 18, 20, own, 18, 20);
            return alike ? null : "wrong ELF class or machine: it is for another kind of computer";
        } catch (IOException e) {
            return e.getMessage();
        }
    }

    /** Loads the library; returns why not, if it could not be loaded. */
    private static UnsatisfiedLinkError load() {
        String file = System.getProperty(PROPERTY);
        try {
            if (file != null) {
                System.load(file);
            } else {
                System.loadLibrary(NAME);
            }
            return null;
        } catch (IllegalCallerException denied) {
            return failure(denied.getMessage(), denied);
        } catch (UnsatisfiedLinkError missing) {
            String reason = missing.getMessage();
            if (reason.contains("another classloader")) {
                reason += "; let one class loader load the jar, a parent of those that use it";
            }
            if (file != null) { // falling back to another would hide that it is missing
                return failure("tried " + PROPERTY + " = " + file + ", therefore no other: " + reason, missing);
            }
            try {
                PackedLibrary.load();
                return null;
            } catch (UnsatisfiedLinkError unusable) {
                return failure(unusable.getMessage() + " (" + PROPERTY + " is unset, and " + reason + ")", unusable);
            }
        }
    }

    private static UnsatisfiedLinkError failure(String reason, Throwable cause) {
        UnsatisfiedLinkError failure = new UnsatisfiedLinkError("cannot load the native library: " + reason);
        failure.initCause(cause);
        return failure;
    }
}
