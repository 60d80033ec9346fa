package com.kelvane.tokbridge.tool.commands;

import static com.kelvane.tokbridge.tool.token.Failure.*;
import static java.util.stream.Collectors.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.NativePKCS11;
import com.kelvane.tokbridge.tool.reports.Output;
import com.kelvane.tokbridge.tool.token.Failure;
import java.nio.charset.StandardCharsets;
import java.nio.file.*;
import java.util.List;
import java.util.concurrent.Callable;
import java.util.function.Function;
import picocli.CommandLine.*;

/** A command with a module and a token, which the user names. */
abstract class Target implements Callable<Integer> {
    /** A path of 256 bytes would end the process: longer ones than this are not passed on. */
    private static final int LONGEST_PATH = 255;

    /** The module that has all those that are set up on the machine. */
    private static final String PROXY = "p11-kit-proxy.so";

    @Option(names = "--module", paramLabel = "PATH", description = "The Cryptoki module; by default the one "
        + "in the environment variable PKCS11_MODULE, or p11-kit's, which has those that are set up on this machine. A "
        + "bare file name is searched in the current folder, then where modules and libraries are installed.")
    private Path module;

    @Option(names = "--token", paramLabel = "TEXT", description = "The token with this label or serial number, or that "
        + "of a pkcs11: URI (RFC 7512), which may also name the module, objects and a file with the PIN; not needed "
        + "where there is one token only.")
    private String text;

    @Option(names = "--slot", paramLabel = "NUMBER", description = "The token in this slot, as info writes it or in "
        + "decimal, where several have the same label and serial number.")
    private Long slot;

    @Mixin
    Output output;

    /** Runs the command with a loaded module; returns the exit status. */
    abstract int run(NativePKCS11 library) throws Exception;

    @Override
    public final Integer call() throws Exception {
        try (NativePKCS11 library = open()) {
            return run(library);
        } catch (Error e) { // a missing native library for one: the handler of failures gets exceptions alone
            throw Failure.of(e);
        }
    }

    /** Reads a part of the URI; without one, of a URI that matches everything. */
    <T> T uri(Function<PKCS11Uri, T> part) {
        try {
            PKCS11Uri uri = PKCS11Uri.parse(text != null && PKCS11Uri.isUri(text) ? text : "pkcs11:");
            if (uri.get("pin-value") != null) {
                throw new IllegalArgumentException("\"pin-value\" is not accepted: all users can read command lines");
            }
            return part.apply(uri);
        } catch (IllegalArgumentException e) {
            throw new Failure(USAGE, "the token's URI cannot be used", e.getMessage(), "name the token with token, "
                + "serial, manufacturer, model, slot-id, slot-description or slot-manufacturer; objects with object, "
                + "id or type; the module with module-path or module-name; the PIN's file with pin-source");
        }
    }

    /** Returns what an option or the URI names; throws a usage error if they contradict each other. */
    static <T> T agreed(String option, T value, String attribute, T inUri) {
        if (value != null && inUri != null && !value.equals(inUri)) {
            throw new Failure(USAGE, option + " and the token's URI contradict each other", option + " is \"" + value
                + "\", and " + attribute + " in the URI is \"" + inUri + "\"", "use one of them");
        }
        return value != null ? value : inUri;
    }

    private static Path resolve(Path file) {
        boolean isSearched = !file.toString().contains("/") && !Files.exists(file);
        return isSearched ? NativePKCS11.findModule(file.toString()).orElse(file) : file.toAbsolutePath();
    }

    private static Failure notLoaded(Path module, String reason, String remedy) {
        return new Failure(FAILED, "the module \"" + module + "\" cannot be loaded", reason, remedy);
    }

    /** Returns the module's absolute path; a bare name that the system may know if no file has it. */
    Path module() {
        String variable = System.getenv("PKCS11_MODULE");
        Path inUri = uri(uri -> uri.modulePath() == null ? null : resolve(Path.of(uri.modulePath())));
        Path named = agreed("--module", module == null ? null : resolve(module), "the module", inUri);
        Path found = named != null ? named
            : resolve(Path.of(variable != null && !variable.isEmpty() ? variable : PROXY));
        String obstacle = Files.isDirectory(found) ? "it is a directory"
            : found.isAbsolute() && !Files.isRegularFile(found) ? "there is no such file"
            : found.toString().getBytes(StandardCharsets.UTF_8).length > LONGEST_PATH
                ? "its path is longer than " + LONGEST_PATH + " bytes" : null;
        if (obstacle != null) {
            throw notLoaded(found, obstacle, "look for the module in the vendor's software; many are in "
                + "/usr/lib/*/pkcs11");
        }
        return found;
    }

    /** Loads and initialises the module. */
    NativePKCS11 open() throws Exception {
        agreed("--slot", slot == null ? null : slot.toString(), "slot-id", uri(uri -> uri.get("slot-id")));
        Path path = module();
        NativePKCS11 library = new NativePKCS11();
        return Output.withProgress("Loading the module", () -> {
            try {
                library.load(path.toString());
            } catch (PKCS11Exception e) {
                throw path.isAbsolute() ? new Failure("the module \"" + path + "\" cannot be loaded", e, null)
                    : path.toString().equals(PROXY) ? new Failure(USAGE, "no module is named", "neither --module nor "
                        + "PKCS11_MODULE names one, and p11-kit's is not installed",
                        "name one with --module, or install p11-kit")
                    : notLoaded(path, "it is not in the current folder, nor where modules and libraries are installed",
                        "use the module's whole path");
            }
            return Failure.in("the module \"" + path + "\" cannot be initialised", () -> {
                library.libInitialize();
                return library;
            });
        });
    }

    /** Returns whether a token is named; a URI may name the module alone. */
    boolean namesToken() {
        return slot != null || text != null && !text.matches("pkcs11:(\\?.*)?");
    }

    /** Finds the token's slot. */
    PKCS11Slot slot(NativePKCS11 library) {
        List<PKCS11Slot> present = Failure.in("the slots cannot be listed",
            () -> library.slotsWithTokens().collect(toList()));
        List<PKCS11Slot> found = present.stream().filter(this::matches).collect(toList());
        List<PKCS11Slot> ready = found.stream().filter(each -> each.getTokenInfo().isInitialized()).collect(toList());
        found = ready.isEmpty() ? found : ready;
        if (found.size() == 1) {
            return found.get(0);
        }
        String list = "the module has: " + present.stream().map(each -> "\"" + each.getTokenInfo().getLabel()
            + "\", serial number \"" + each.getTokenInfo().getSerialNumber() + "\", in " + each).collect(joining("; "));
        throw !found.isEmpty() ? new Failure(USAGE, found.size() + " tokens match", list,
            "name one of them with --token, or its slot with --slot")
            : present.isEmpty() ? new Failure(FAILED, "there is no token", "no slot of the module has one",
                "insert the token, or list the slots with tokbridge info")
            : new Failure(FAILED, "this token is not there", list, "name one of these, or insert the token");
    }

    private boolean matches(PKCS11Slot each) {
        PKCS11TokenInfo token = each.getTokenInfo();
        return (slot == null || slot.intValue() == each.getSlotID()) && (text == null || (PKCS11Uri.isUri(text)
            ? uri(uri -> uri.matches(each)) : text.equals(token.getLabel()) || text.equals(token.getSerialNumber())));
    }
}
