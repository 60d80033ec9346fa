package com.kelvane.tokbridge.tool.reports;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.NativePKCS11;
import com.kelvane.pkcs11.nat.NativePKCS11Info;
import com.kelvane.tokbridge.tool.token.*;
import java.util.List;
import java.util.stream.Collectors;
import java.util.stream.IntStream;

/** Descriptions of a module, its slots, their tokens and mechanisms. */
public final class Descriptions {
    /** The uses of mechanisms in the order of their flags, from {@code CKF_ENCRYPT} on; some are not shown. */
    private static final List<String> USES = List.of("encrypt", "decrypt", "digest", "sign", "", "verify", "",
        "generate", "generate pair", "wrap", "unwrap", "derive");

    private Descriptions() {
    }

    /** Adds the information about a module. */
    public static Row library(Row row, NativePKCS11Info info) {
        return row.put("library", info.getLibraryDescription()).put("version", version(info.getLibraryVersion()))
            .put("maker", info.getManufacturerID()).put("cryptoki", PKCS11Version.toString(info.getCryptokiVersion()));
    }

    /** Adds the interfaces of a module; nothing if it does not have the function that returns them. */
    public static Row interfaces(Row row, NativePKCS11 library) {
        try {
            List<PKCS11Interface> found = List.of(library.getInterfaces());
            row.json.put("interfaces", found.stream().map(each -> new Row().put("name", each.getName())
                .put("version", PKCS11Version.toString(each.getVersion())).put("flags", each.getFlags()))
                .collect(Collectors.toList()));
            return row.show("interfaces", found);
        } catch (PKCS11Exception e) {
            return row;
        }
    }

    /** Returns a version as its maker writes it; that of Cryptoki alone is counted in hundredths. */
    private static String version(int version) {
        return PKCS11Version.major(version) + "." + PKCS11Version.minor(version);
    }

    /** Returns a slot's number as it is written everywhere. */
    public static String number(PKCS11Slot slot) {
        return "0x" + Integer.toHexString(slot.getSlotID());
    }

    /** Returns a slot in a line of a list; only one with a token has a URI, and one that cannot be read has a code. */
    public static Row slot(PKCS11Slot slot) {
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

    /** Returns the information about a slot. */
    public static Row slotAlone(PKCS11Slot slot) {
        PKCS11SlotInfo info = slot.getInfo();
        return new Row().put("slot", number(slot)).put("description", info.getSlotDescription())
            .put("maker", info.getManufacturerID()).put("tokenPresent", info.isTokenPresent());
    }

    /** Adds the information about a token. */
    public static Row token(Row row, PKCS11TokenInfo token) {
        row.put("token", token.getLabel()).put("initialised", token.isInitialized())
            .put("model", (token.getManufacturerID() + " " + token.getModel()).strip())
            .put("serialNumber", token.getSerialNumber()).put("hardware", version(token.getHardwareVersion()))
            .put("firmware", version(token.getFirmwareVersion()));
        most(row, "mostSessions", token.getMaxSessionCount());
        most(row, "mostToWrite", token.getMaxRwSessionCount());
        row.json.put("pinMin", number(token.getMinPinLen()));
        row.json.put("pinMax", number(token.getMaxPinLen()));
        return row.show("pinBytes", words(number(token.getMinPinLen())) + " to " + words(number(token.getMaxPinLen())))
            .put("pin", Pin.flags(token), Pin.state(token)).put("loginRequired", token.isLoginRequired())
            .put("writeProtected", token.isWriteProtected()).below("uri", PKCS11Uri.of(token));
    }

    private static void most(Row row, String name, int value) {
        boolean infinite = value == CK_EFFECTIVELY_INFINITE;
        row.put(name, infinite ? "CK_EFFECTIVELY_INFINITE" : number(value), infinite ? "any number"
            : words(number(value)));
    }

    /** Returns an unsigned number; null if the token does not report it. */
    private static Long number(int value) {
        return value == CK_UNAVAILABLE_INFORMATION ? null : Integer.toUnsignedLong(value);
    }

    private static Object words(Long number) {
        return number == null ? "not reported" : number;
    }

    /** Returns a mechanism, its key sizes and its uses. */
    public static Row mechanism(PKCS11Slot slot, int type) {
        PKCS11MechanismInfo info = slot.getMechanismInfo(type);
        boolean keyless = info.getMinKeySize() == 0 && info.getMaxKeySize() == 0;
        return new Row().put("mechanism", nameOf("CKM_", type)).put("keySize", keyless ? null
            : number(info.getMinKeySize())).put("to", keyless ? null : number(info.getMaxKeySize()))
            .put("uses", IntStream.range(0, USES.size()).filter(i -> (info.getFlags() & CKF_ENCRYPT << i) != 0)
                .mapToObj(USES::get).filter(use -> !use.isEmpty()).collect(Collectors.toList()));
    }
}
