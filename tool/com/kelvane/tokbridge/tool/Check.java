package com.kelvane.tokbridge.tool;

import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.nat.NativePKCS11;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.io.PrintStream;
import java.util.LinkedHashMap;
import java.util.Map;
import java.util.concurrent.Callable;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Option;

/** The command check: tells whether a token works from Java. */
@Command(name = "check", mixinStandardHelpOptions = true, sortOptions = false, description = "Tells whether a token "
    + "works from Java: tries the keys that are on it, and with --write every mechanism that it offers and this "
    + "program knows, on objects of its own, which are gone afterwards. Results are compared with the JDK's. What was "
    + "on the token stays as it was.")
final class Check implements Callable<Integer> {
    @Mixin
    private ModuleChoice module;

    @Mixin
    private Login login;

    @Option(names = "--write", description = "Make objects, try them, and destroy them again.")
    private boolean write;

    @Mixin
    private Output output;

    @Override
    public Integer call() {
        PrintStream out = output.text();
        try (NativePKCS11 library = module.open(); Login user = login) {
            PKCS11Slot slot = user.token.find(library);
            Map<String, Object> about = figures(library, slot);
            Table.of(about).print(out);
            output.result(about);
            out.println();
            boolean keeps = write && !slot.getTokenInfo().isWriteProtected();
            try (NativePKCS11Session session = user.open(slot, keeps)) {
                return new Examination(new Token(slot, session, write), user, output).run();
            }
        }
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
        about.put("slot", Description.id(slot));
        about.putAll(Description.token(slot));
        return about;
    }
}
