package com.kelvane.tokbridge.tool;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.nat.NativePKCS11;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.io.PrintStream;
import java.util.Arrays;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.concurrent.Callable;
import java.util.stream.Collectors;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Option;

/** The command check: tells whether a token works from Java. */
@Command(name = "check", mixinStandardHelpOptions = true, sortOptions = false, description = "Tells whether a token "
    + "works from Java: tries the keys that are on it, and with --write the operations of the quickstart on objects of "
    + "its own, which are gone afterwards. What was on the token stays as it was.")
final class Check implements Callable<Integer> {
    /** What the library refuses whatever the parameter. */
    private static final Set<Integer> WITHOUT_PARAMETER = Set.of(CKM_CONCATENATE_BASE_AND_DATA,
        CKM_CONCATENATE_DATA_AND_BASE, CKM_XOR_BASE_AND_DATA, CKM_KEA_KEY_DERIVE, CKM_KEY_WRAP_SET_OAEP,
        CKM_SKIPJACK_PRIVATE_WRAP, CKM_SKIPJACK_RELAYX, CKM_PKCS5_PBKD2, CKM_ECMQV_DERIVE);

    @Mixin
    private ModuleChoice module;

    @Mixin
    private TokenChoice token;

    @Option(names = "--write", description = "Make objects, try them, and destroy them again.")
    private boolean write;

    @Mixin
    private Output output;

    @Override
    public Integer call() {
        PrintStream out = output.text();
        try (NativePKCS11 library = module.open()) {
            PKCS11Slot slot = token.find(library);
            Map<String, Object> about = figures(library, slot);
            Table.of(about).print(out);
            Tour tour = new Tour(null, true);
            Token steps;
            try (NativePKCS11Session session = token.open(slot, write)) {
                steps = new Token(tour, slot, session, write);
                Runtime.getRuntime().addShutdownHook(new Thread(steps::end)); // for Ctrl-C and the like
                run(tour, steps);
            }
            out.println();
            Table.of(tour.results()).print(out);
            report("Offered, but not tried", names(steps.notTried(), false), about, "notTried", out);
            report("Offered, but without a parameter in this library, or unknown to it",
                names(steps.notTried(), true), about, "notInLibrary", out);
            about.put("operations", tour.results());
            output.result(about);
            long works = tour.results().stream().filter(each -> each.get("result").equals("works")).count();
            out.println("\n     " + works + " operations work, " + tour.failed() + " do not."
                + (token.wantsLogin() ? "" : " Private keys are tried with --login.")
                + (write ? "" : " With --write more is tried."));
            return tour.failed() == 0 ? Main.DONE : Main.NEGATIVE;
        }
    }

    private void run(Tour tour, Token steps) {
        CipherSteps ciphers = new CipherSteps(tour, steps);
        steps.drawRandom();
        new FoundKeys(tour, steps).run();
        if (write) {
            new ObjectSteps(tour, steps).run();
            ciphers.run();
            new RsaSteps(tour, steps).run();
            new EllipticCurveSteps(tour, steps).run();
        } else {
            ciphers.digests();
        }
        steps.compare();
    }

    /** What a support case needs. */
    private Map<String, Object> figures(NativePKCS11 library, PKCS11Slot slot) {
        Map<String, Object> about = new LinkedHashMap<>();
        about.put("tool", "tokbridge " + Main.Version.text());
        about.put("java", System.getProperty("java.vendor") + " " + System.getProperty("java.runtime.version"));
        about.put("system", System.getProperty("os.name") + " " + System.getProperty("os.version") + " "
            + System.getProperty("os.arch"));
        about.put("module", module.path());
        about.putAll(Description.library(library));
        about.put("slot", slot.toString());
        about.putAll(Description.token(slot));
        return about;
    }

    private static List<String> names(int[] mechanisms, boolean notInLibrary) {
        return Arrays.stream(mechanisms)
            .filter(each -> notInLibrary
                == (WITHOUT_PARAMETER.contains(each) || nameOf("CKM_", each).startsWith("CKM_0x")))
            .mapToObj(each -> nameOf("CKM_", each)).collect(Collectors.toList());
    }

    private static void report(String what, List<String> names, Map<String, Object> about, String key,
        PrintStream out) {
        about.put(key, names);
        if (!names.isEmpty()) {
            out.println();
            new Table(what + ": " + names.size()).row(names).print(out);
        }
    }
}
