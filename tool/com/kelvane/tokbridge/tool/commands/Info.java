package com.kelvane.tokbridge.tool.commands;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static java.util.stream.Collectors.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import com.kelvane.tokbridge.tool.reports.*;
import com.kelvane.tokbridge.tool.token.*;
import java.util.*;
import java.util.stream.*;
import picocli.CommandLine.Command;

/** The command info: describes a module, its slots, their tokens and mechanisms. */
@Command(name = "info", mixinStandardHelpOptions = true, sortOptions = false, description = "Describes a module: the "
    + "library and its slots; a token that is named, or the only one, with its mechanisms. No session is opened, no "
    + "user logged in, nothing changed.")
final class Info extends Target {
    /** The uses of mechanisms in the order of their flags, from {@code CKF_ENCRYPT} on; some are not shown. */
    private static final List<String> USES = List.of("encrypt", "decrypt", "digest", "sign", "", "verify", "",
        "generate", "generate pair", "wrap", "unwrap", "derive");

    @Override
    int run(NativePKCS11 library) throws Exception {
        Row about = library(new Row().put("tool", Main.version()).put("module", module()), library);
        interfaces(about, library);
        output.list(about);
        List<PKCS11Slot> slots = List.of(Failure.in("the slots cannot be listed", () -> library.getSlotList(false)));
        List<Row> rows = slots.stream().map(Info::row).collect(toList());
        about.json.put("slots", rows);
        output.text("");
        if (!rows.isEmpty()) {
            output.table(rows);
            output.text("");
        }
        List<PKCS11Slot> withToken = slots.stream().filter(slot -> rows.get(slots.indexOf(slot)).json
            .containsKey("uri")).collect(toList());
        if (namesToken() || withToken.size() == 1) {
            about.json.put("token", describe(namesToken() ? slot(library) : withToken.get(0)));
        } else {
            output.sentence(withToken.isEmpty() ? "No slot has a token."
                : "Name a token with --token or --slot for its details.");
        }
        output.json(about);
        return rows.stream().anyMatch(row -> row.json.containsKey("code")) ? Failure.FAILED : Failure.DONE;
    }

    /** Adds the information about a module. */
    static Row library(Row row, NativePKCS11 library) {
        NativePKCS11Info info = library.getInfo();
        return row.put("library", info.getLibraryDescription()).put("version", version(info.getLibraryVersion()))
            .put("maker", info.getManufacturerID()).put("cryptoki", PKCS11Version.toString(info.getCryptokiVersion()));
    }

    /** Adds the interfaces of a module, if it has the function that returns them. */
    private static void interfaces(Row row, NativePKCS11 library) {
        try {
            List<PKCS11Interface> found = List.of(library.getInterfaces());
            row.put("interfaces", found.stream().map(each -> new Row().put("name", each.getName())
                .put("version", PKCS11Version.toString(each.getVersion())).put("flags", each.getFlags()))
                .collect(toList()), found);
        } catch (PKCS11Exception e) {
            // A module of a version before 3.0.
        }
    }

    /** Returns a version as its maker writes it; that of Cryptoki alone is counted in hundredths. */
    private static String version(int version) {
        return PKCS11Version.major(version) + "." + PKCS11Version.minor(version);
    }

    /** Returns a slot's number as it is written everywhere. */
    static String number(PKCS11Slot slot) {
        return "0x" + Integer.toHexString(slot.getSlotID());
    }

    /** Returns a slot in a line of a list; only one with a token has a URI, and one that cannot be read has a code. */
    private static Row row(PKCS11Slot slot) {
        Row row = new Row().put("slot", number(slot)).put("token", null).put("model", null).put("serialNumber", null);
        try {
            if (!slot.getInfo().isTokenPresent()) {
                return row.put("state", null, "empty");
            }
            PKCS11TokenInfo token = slot.getTokenInfo();
            return row.put("token", token.getLabel()).put("model", token.getModel())
                .put("serialNumber", token.getSerialNumber()).put("state", Pin.flags(token),
                    (token.isInitialized() ? "PIN " : "not initialised, PIN ") + Pin.state(token))
                .below("uri", PKCS11Uri.of(token));
        } catch (PKCS11Exception e) { // the other slots may be readable
            row.json.put("code", Failure.code(e));
            return row.put("state", null, e.getMessage());
        }
    }

    /** Prints a slot, its token and the mechanisms; returns them. */
    private Row describe(PKCS11Slot slot) throws Exception {
        PKCS11SlotInfo info = slot.getInfo();
        Row row = token(new Row().put("slot", number(slot)).put("description", info.getSlotDescription())
            .put("maker", info.getManufacturerID()).put("tokenPresent", info.isTokenPresent()), slot.getTokenInfo());
        output.list(row);
        List<Row> mechanisms = Output.withProgress("Reading the mechanisms", () -> IntStream.of(slot
            .getMechanismList()).mapToObj(type -> mechanism(slot, type)).collect(toList()));
        row.json.put("mechanisms", mechanisms);
        output.text("");
        output.sentence(mechanisms.size() + " mechanisms; key sizes in bits or bytes, as each one counts");
        if (!mechanisms.isEmpty()) {
            output.table(mechanisms);
        }
        return row;
    }

    /** Adds the information about a token. */
    static Row token(Row row, PKCS11TokenInfo token) {
        row.put("token", token.getLabel()).put("initialised", token.isInitialized())
            .put("model", (token.getManufacturerID() + " " + token.getModel()).strip())
            .put("serialNumber", token.getSerialNumber()).put("hardware", version(token.getHardwareVersion()))
            .put("firmware", version(token.getFirmwareVersion()));
        most(row, "mostSessions", token.getMaxSessionCount());
        most(row, "mostToWrite", token.getMaxRwSessionCount());
        row.json.put("pinMin", number(token.getMinPinLen()));
        row.json.put("pinMax", number(token.getMaxPinLen()));
        return row.show("pinBytes", words(token.getMinPinLen()) + " to " + words(token.getMaxPinLen()))
            .put("pin", Pin.flags(token), Pin.state(token)).put("loginRequired", token.isLoginRequired())
            .put("writeProtected", token.isWriteProtected()).below("uri", PKCS11Uri.of(token));
    }

    private static void most(Row row, String name, int value) {
        boolean infinite = value == CK_EFFECTIVELY_INFINITE;
        row.put(name, infinite ? "CK_EFFECTIVELY_INFINITE" : number(value), infinite ? "any number" : words(value));
    }

    /** Returns an unsigned number; null if the token does not report it. */
    private static Long number(int value) {
        return value == CK_UNAVAILABLE_INFORMATION ? null : Integer.toUnsignedLong(value);
    }

    private static String words(int value) {
        return value == CK_UNAVAILABLE_INFORMATION ? "not reported" : Integer.toUnsignedString(value);
    }

    /** Returns a mechanism, its key sizes and its uses. */
    private static Row mechanism(PKCS11Slot slot, int type) {
        PKCS11MechanismInfo info = slot.getMechanismInfo(type);
        boolean keyless = info.getMinKeySize() == 0 && info.getMaxKeySize() == 0;
        return new Row().put("mechanism", nameOf("CKM_", type)).put("keySize", keyless ? null
            : number(info.getMinKeySize())).put("to", keyless ? null : number(info.getMaxKeySize()))
            .put("uses", IntStream.range(0, USES.size()).filter(i -> (info.getFlags() & CKF_ENCRYPT << i) != 0)
                .mapToObj(USES::get).filter(use -> !use.isEmpty()).collect(toList()));
    }
}
