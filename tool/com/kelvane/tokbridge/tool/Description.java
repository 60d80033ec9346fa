package com.kelvane.tokbridge.tool;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11MechanismInfo;
import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.PKCS11SlotInfo;
import com.kelvane.pkcs11.PKCS11TokenInfo;
import com.kelvane.pkcs11.PKCS11Version;
import com.kelvane.pkcs11.nat.NativePKCS11;
import com.kelvane.pkcs11.nat.NativePKCS11Info;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.stream.Collectors;
import java.util.stream.IntStream;

/** What a module tells of itself, its slots, their tokens and mechanisms: each a map, for tables and for machines. */
final class Description {
    private Description() {
    }

    static Map<String, Object> library(NativePKCS11 library) {
        NativePKCS11Info info = library.getInfo();
        Map<String, Object> told = new LinkedHashMap<>();
        told.put("library", info.getLibraryDescription());
        told.put("version", PKCS11Version.toString(info.getLibraryVersion()));
        told.put("maker", info.getManufacturerID());
        told.put("cryptoki", PKCS11Version.toString(info.getCryptokiVersion()));
        return told;
    }

    /** A slot's number, as it is written everywhere. */
    static String id(PKCS11Slot slot) {
        return "0x" + Integer.toHexString(slot.getSlotID());
    }

    static Map<String, Object> slot(PKCS11Slot slot) {
        PKCS11SlotInfo info = slot.getInfo();
        Map<String, Object> told = new LinkedHashMap<>();
        told.put("slot", id(slot));
        told.put("description", text(info.getSlotDescription()));
        told.put("maker", text(info.getManufacturerID()));
        told.put("tokenPresent", info.isTokenPresent());
        return told;
    }

    /** A slot in a line of a list, with nothing of its token yet. */
    static Map<String, Object> inShort(PKCS11Slot slot) {
        Map<String, Object> told = new LinkedHashMap<>();
        told.put("slot", id(slot));
        told.put("token", null);
        told.put("model", null);
        told.put("serialNumber", null);
        told.put("state", null);
        return told;
    }

    /** Adds a slot's token to such a line; false if there is none. */
    static boolean state(PKCS11Slot slot, Map<String, Object> told) {
        if (!slot.getInfo().isTokenPresent()) {
            told.put("state", "empty");
            return false;
        }
        PKCS11TokenInfo token = slot.getTokenInfo();
        told.put("token", text(token.getLabel()));
        told.put("model", text(token.getModel()));
        told.put("serialNumber", text(token.getSerialNumber()));
        told.put("state", (token.isInitialized() ? "" : "not initialised, ") + "PIN " + pin(token));
        return true;
    }

    private static String pin(PKCS11TokenInfo token) {
        return (token.isUserPinInitialized() ? "set" : "not set") + (token.isUserPinLocked() ? ", locked"
            : token.isUserPinFinalTry() ? ", one try left"
            : token.isUserPinCountLow() ? ", a wrong one was tried" : "");
    }

    static Map<String, Object> token(PKCS11Slot slot) {
        PKCS11TokenInfo token = slot.getTokenInfo();
        Map<String, Object> told = new LinkedHashMap<>();
        told.put("token", text(token.getLabel()));
        told.put("initialised", token.isInitialized());
        told.put("model", text((token.getManufacturerID() + " " + token.getModel()).strip()));
        told.put("serialNumber", text(token.getSerialNumber()));
        told.put("hardware", PKCS11Version.toString(token.getHardwareVersion()));
        told.put("firmware", PKCS11Version.toString(token.getFirmwareVersion()));
        told.put("mostSessions", most(token.getMaxSessionCount()));
        told.put("mostToWrite", most(token.getMaxRwSessionCount()));
        told.put("pinBytes", number(token.getMinPinLen()) + " to " + number(token.getMaxPinLen()));
        told.put("pin", pin(token));
        told.put("loginRequired", token.isLoginRequired());
        told.put("writeProtected", token.isWriteProtected());
        return told;
    }

    static Map<String, Object> mechanism(PKCS11Slot slot, int type) {
        PKCS11MechanismInfo info = slot.getMechanismInfo(type);
        boolean keyless = info.getMinKeySize() == 0 && info.getMaxKeySize() == 0;
        Map<String, Object> told = new LinkedHashMap<>();
        told.put("mechanism", nameOf("CKM_", type));
        told.put("keySize", keyless ? null : number(info.getMinKeySize()));
        told.put("to", keyless ? null : number(info.getMaxKeySize()));
        told.put("uses", uses(info));
        return told;
    }

    static List<Map<String, Object>> mechanisms(PKCS11Slot slot) {
        return IntStream.of(slot.getMechanismList()).mapToObj(type -> mechanism(slot, type))
            .collect(Collectors.toCollection(ArrayList::new));
    }

    private static Object number(int value) {
        return value == CK_UNAVAILABLE_INFORMATION ? "not told" : Integer.toUnsignedLong(value);
    }

    private static Object most(int value) {
        return value == CK_EFFECTIVELY_INFINITE ? "any number" : number(value);
    }

    /** A text; null where it is empty. */
    private static String text(String told) {
        return told.isEmpty() ? null : told;
    }

    private static List<String> uses(PKCS11MechanismInfo info) {
        boolean[] set = {info.canEncrypt(), info.canDecrypt(), info.canDigest(), info.canSign(), info.canVerify(),
            info.canGenerate(), info.canGenerateKeyPair(), info.canWrap(), info.canUnwrap(), info.canDerive()};
        String[] names = {"encrypt", "decrypt", "digest", "sign", "verify", "generate", "generate pair", "wrap",
            "unwrap", "derive"};
        return IntStream.range(0, set.length).filter(i -> set[i]).mapToObj(i -> names[i]).collect(Collectors.toList());
    }
}
