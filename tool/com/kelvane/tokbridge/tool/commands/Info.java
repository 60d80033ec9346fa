package com.kelvane.tokbridge.tool.commands;

import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.nat.NativePKCS11;
import com.kelvane.tokbridge.tool.reports.*;
import com.kelvane.tokbridge.tool.token.Failure;
import java.util.*;
import java.util.concurrent.Callable;
import java.util.stream.Collectors;
import java.util.stream.IntStream;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;

/** The command info: describes a module. */
@Command(name = "info", mixinStandardHelpOptions = true, sortOptions = false, description = "Describes a module: the "
    + "library and its slots; a token that is named, or the only one, with its mechanisms. No session is opened, no "
    + "user logged in, nothing changed.")
final class Info implements Callable<Integer> {
    @Mixin
    private Target target;

    @Mixin
    private Output output;

    @Override
    public Integer call() throws Exception {
        try (NativePKCS11 library = target.open()) {
            Row about = Descriptions.library(new Row().put("tool", Main.Version.text()).put("module", target.module()),
                library.getInfo());
            output.list(Descriptions.interfaces(about, library));
            List<PKCS11Slot> slots = List.of(
                Failure.in("the slots cannot be listed", () -> library.getSlotList(false)));
            List<Row> rows = slots.stream().map(Descriptions::slot).collect(Collectors.toList());
            about.json.put("slots", rows);
            output.text("");
            if (!rows.isEmpty()) {
                output.table(rows);
                output.text("");
            }
            List<PKCS11Slot> withToken = slots.stream().filter(slot -> rows.get(slots.indexOf(slot)).json
                .containsKey("uri")).collect(Collectors.toList());
            if (target.namesToken() || withToken.size() == 1) {
                about.json.put("token", describe(target.namesToken() ? target.slot(library) : withToken.get(0)));
            } else {
                output.sentence(withToken.isEmpty() ? "No slot has a token."
                    : "Name a token with --token or --slot for its details.");
            }
            output.json(about);
            return rows.stream().anyMatch(row -> row.json.containsKey("code")) ? Failure.FAILED : Failure.DONE;
        }
    }

    private Row describe(PKCS11Slot slot) throws Exception {
        Row row = Descriptions.token(Descriptions.slotAlone(slot), slot.getTokenInfo());
        output.list(row);
        List<Row> mechanisms = Output.withProgress("Reading the mechanisms", () -> IntStream.of(slot
            .getMechanismList()).mapToObj(type -> Descriptions.mechanism(slot, type)).collect(Collectors.toList()));
        row.json.put("mechanisms", mechanisms);
        output.text("");
        output.sentence(mechanisms.size() + " mechanisms; key sizes in bits or bytes, as each one counts");
        if (!mechanisms.isEmpty()) {
            output.table(mechanisms);
        }
        return row;
    }
}
