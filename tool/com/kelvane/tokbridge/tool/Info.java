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
    + "library, its slots, tokens and mechanisms. No session is opened, nobody is logged in, nothing is changed.")
final class Info implements Callable<Integer> {
    @Mixin
    private ModuleChoice module;

    @Mixin
    private Output output;

    @Override
    public Integer call() {
        PrintStream out = output.text();
        int status = Main.DONE;
        try (NativePKCS11 library = module.open()) {
            Map<String, Object> told = new LinkedHashMap<>();
            told.put("module", module.path());
            told.putAll(Description.library(library));
            Table.of(told).print(out);
            List<Object> slots = new ArrayList<>();
            told.put("slots", slots);
            for (PKCS11Slot slot : Failure.in("the slots cannot be listed", () -> library.getSlotList(false))) {
                Map<String, Object> described = new LinkedHashMap<>();
                slots.add(described);
                try {
                    describe(slot, described, out);
                } catch (PKCS11Exception e) { // the other slots may answer
                    Failure failure = Failure.of(e);
                    failure.print(System.err);
                    described.put("error", e.getMessage());
                    status = failure.status;
                }
            }
            output.result(told);
        }
        return status;
    }

    private static void describe(PKCS11Slot slot, Map<String, Object> described, PrintStream out) {
        described.putAll(Description.slot(slot));
        boolean present = Boolean.TRUE.equals(described.get("tokenPresent"));
        if (present) {
            described.putAll(Description.token(slot));
        }
        out.println();
        Table.of(described).print(out);
        if (present) {
            List<Map<String, Object>> mechanisms = Output.patiently("Asking for mechanisms",
                () -> Description.mechanisms(slot));
            described.put("mechanisms", mechanisms);
            out.println("\n     " + mechanisms.size() + " mechanisms of " + slot
                + "; key sizes in bits or bytes, as each one counts");
            if (!mechanisms.isEmpty()) {
                Table.of(mechanisms).print(out);
            }
        }
    }
}
