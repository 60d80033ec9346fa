package com.kelvane.tokbridge.tool;

import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.nat.NativePKCS11;
import java.io.PrintStream;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.concurrent.Callable;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;

/** The command info: describes a module. */
@Command(name = "info", mixinStandardHelpOptions = true, sortOptions = false, description = "Describes a module: the "
    + "library and its slots; of a token that is named, or the only one, also what it tells and its mechanisms. No "
    + "session is opened, nobody is logged in, nothing is changed.")
final class Info implements Callable<Integer> {
    @Mixin
    private ModuleChoice module;

    @Mixin
    private TokenChoice token;

    @Mixin
    private Output output;

    @Override
    public Integer call() {
        PrintStream out = output.text();
        int status = Main.DONE;
        try (NativePKCS11 library = module.open()) {
            Map<String, Object> told = new LinkedHashMap<>();
            told.put("tool", "tokbridge " + Main.Version.text());
            told.put("module", module.path());
            told.putAll(Description.library(library));
            Table.of(told).print(out);
            List<Map<String, Object>> slots = new ArrayList<>();
            List<PKCS11Slot> withToken = new ArrayList<>();
            for (PKCS11Slot slot : Failure.in("the slots cannot be listed", () -> library.getSlotList(false))) {
                Map<String, Object> described = Description.inShort(slot);
                slots.add(described);
                try {
                    if (Description.state(slot, described)) {
                        withToken.add(slot);
                    }
                } catch (PKCS11Exception e) { // the other slots may answer
                    described.put("state", e.getMessage());
                    status = Main.FAILED;
                }
            }
            told.put("slots", slots);
            if (!slots.isEmpty()) {
                out.println();
                Table.of(slots).print(out);
            }
            if (token.isNamed() || withToken.size() == 1) {
                told.put("token", describe(token.isNamed() ? token.find(library) : withToken.get(0), out));
            } else {
                out.println();
                Table.line(out, withToken.isEmpty() ? "No slot has a token."
                    : "More is told of one that --token or --slot names.");
            }
            output.result(told);
        }
        return status;
    }

    private static Map<String, Object> describe(PKCS11Slot slot, PrintStream out) {
        Map<String, Object> described = Description.slot(slot);
        described.putAll(Description.token(slot));
        out.println();
        Table.of(described).print(out);
        List<Map<String, Object>> mechanisms = Output.patiently("Asking for mechanisms",
            () -> Description.mechanisms(slot));
        described.put("mechanisms", mechanisms);
        out.println();
        Table.line(out, mechanisms.size() + " mechanisms; key sizes in bits or bytes, as each one counts");
        if (!mechanisms.isEmpty()) {
            Table.of(mechanisms).print(out);
        }
        return described;
    }
}
