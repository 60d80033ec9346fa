package com.kelvane.tokbridge.tool;

import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.nat.NativePKCS11;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import picocli.CommandLine.Option;

/** The module that the user names. */
final class ModuleChoice {
    /** A path of 256 bytes would end the process: longer ones than this are not passed on. */
    private static final int LONGEST_PATH = 255;

    @Option(names = "--module", paramLabel = "PATH", defaultValue = "${env:PKCS11_MODULE}", description =
        "The Cryptoki module; if it is not given, the one in the environment variable PKCS11_MODULE. A bare file name "
        + "is looked for in the current folder, then where the system keeps libraries.")
    private String named;

    /** Loads and initialises the module. */
    NativePKCS11 open() {
        if (named == null || named.isEmpty()) {
            throw new Failure(Main.USAGE, "no module is named", "neither --module nor PKCS11_MODULE tells which one",
                "give --module and its path");
        }
        NativePKCS11 library = new NativePKCS11();
        Output.patiently("Loading the module", () -> {
            load(library, path());
            return Failure.in("the module \"" + named + "\" cannot be initialised", () -> {
                library.libInitialize();
                return null;
            });
        });
        return library;
    }

    private void load(NativePKCS11 library, String path) {
        String what = "the module \"" + named + "\" cannot be loaded";
        Failure.in(what, () -> {
            try {
                library.load(path);
                return null;
            } catch (PKCS11Exception e) {
                if (path.contains("/") || !e.getMessage().startsWith("LoadLibrary(")) {
                    throw e;
                }
                throw new Failure(Main.FAILED, what, "it is not in the current folder, and the system does not load it "
                    + "from where it keeps libraries", "give the module's whole path");
            }
        });
    }

    String path() {
        return path(named);
    }

    /** The path to load: absolute, if the file is there, else a name that the system looks for. */
    static String path(String name) {
        Path file = Path.of(name);
        String path = name.contains("/") || Files.isRegularFile(file) ? file.toAbsolutePath().toString() : name;
        if (path.contains("/") && !Files.isRegularFile(file)) {
            throw new Failure(Main.FAILED, "the module \"" + name + "\" cannot be loaded", "there is no such file",
                "look for the module in the vendor's software; many are in /usr/lib/*/pkcs11");
        }
        if (path.getBytes(StandardCharsets.UTF_8).length > LONGEST_PATH) {
            throw new Failure(Main.FAILED, "the module \"" + name + "\" cannot be loaded",
                "its path is longer than " + LONGEST_PATH + " bytes",
                "make a symbolic link to it in a shorter directory");
        }
        return path;
    }
}
