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

    /** Shows the tokens of all modules that are set up on this machine. */
    private static final String PROXY = "p11-kit-proxy.so";

    @Option(names = "--module", paramLabel = "PATH", defaultValue = "${env:PKCS11_MODULE}", description =
        "The Cryptoki module; if it is not given, the one in the environment variable PKCS11_MODULE, or p11-kit's, "
        + "which has those that are set up on this machine. A bare file name is looked for in the current folder, then "
        + "where the system keeps libraries.")
    private Path named;

    /** Loads and initialises the module. */
    NativePKCS11 open() {
        NativePKCS11 library = new NativePKCS11();
        Output.patiently("Loading the module", () -> {
            String path = path();
            load(library, path);
            return Failure.in("the module \"" + path + "\" cannot be initialised", () -> {
                library.libInitialize();
                return null;
            });
        });
        return library;
    }

    private void load(NativePKCS11 library, String path) {
        String what = "the module \"" + path + "\" cannot be loaded";
        Failure.in(what, () -> {
            try {
                library.load(path);
                return null;
            } catch (PKCS11Exception e) {
                if (path.contains("/") || !e.getMessage().startsWith("LoadLibrary(")) {
                    throw e;
                }
                throw isNamed() ? new Failure(Main.FAILED, what, "it is not in the current folder, and the system does "
                    + "not load it from where it keeps libraries", "give the module's whole path")
                    : new Failure(Main.USAGE, "no module is named", "neither --module nor PKCS11_MODULE tells which "
                        + "one, and p11-kit's is not there", "give --module and its path, or install p11-kit");
            }
        });
    }

    private boolean isNamed() {
        return named != null && !named.toString().isEmpty();
    }

    String path() {
        return isNamed() ? path(named) : PROXY;
    }

    /** The path to load: absolute, if the file is there, else a name that the system looks for. */
    static String path(Path file) {
        String name = file.toString();
        String path = name.contains("/") || Files.isRegularFile(file) ? file.toAbsolutePath().toString() : name;
        String obstacle = null;
        String remedy = "look for the module in the vendor's software; many are in /usr/lib/*/pkcs11";
        if (Files.isDirectory(file)) {
            obstacle = "it is a directory";
        } else if (path.contains("/") && !Files.isRegularFile(file)) {
            obstacle = Files.exists(file) ? "it is no file" : "there is no such file";
        } else if (path.getBytes(StandardCharsets.UTF_8).length > LONGEST_PATH) {
            obstacle = "its path is longer than " + LONGEST_PATH + " bytes";
            remedy = "make a symbolic link to it in a shorter directory";
        }
        if (obstacle != null) {
            throw new Failure(Main.FAILED, "the module \"" + name + "\" cannot be loaded", obstacle, remedy);
        }
        return path;
    }
}
