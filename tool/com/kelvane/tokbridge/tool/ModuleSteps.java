package com.kelvane.tokbridge.tool;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11MechanismInfo;
import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.PKCS11SlotInfo;
import com.kelvane.pkcs11.PKCS11TokenInfo;
import com.kelvane.pkcs11.PKCS11Version;
import com.kelvane.pkcs11.nat.NativePKCS11;
import com.kelvane.pkcs11.nat.NativePKCS11Info;
import java.util.Arrays;
import java.util.List;
import java.util.stream.Collectors;
import java.util.stream.IntStream;

/** Loads a module and describes it: the library, its slots, their tokens and mechanisms. Changes nothing. */
final class ModuleSteps {
    private final Tour tour;
    private final String path;
    private NativePKCS11 library;

    ModuleSteps(Tour tour, String path) {
        this.tour = tour;
        this.path = path;
    }

    NativePKCS11 library() {
        return library;
    }

    /** Loads and initialises the module; without it there is nothing to tour. */
    boolean load() {
        return tour.step("Load and initialise", () -> {
            tour.note(path);
            start();
            tour.check("the module is loaded and initialised", library.getFunctionList() != 0);
        });
    }

    /** Finalises the library and initialises it again, which makes a module look at its tokens afresh. */
    void restart() {
        library.libFinalize();
        start();
    }

    private void start() {
        library = new NativePKCS11();
        library.load(path);
        library.libInitialize();
    }

    void describe() {
        tour.step("Library information", this::describeLibrary);
        tour.step("Slots and tokens", () -> {
            List<PKCS11Slot> slots = Arrays.asList(library.getSlotList(false));
            List<PKCS11Slot> present = Arrays.asList(library.getSlotList(true));
            tour.check("slots: " + slots.size() + ", with a token: " + present.size(), slots.containsAll(present));
            for (PKCS11Slot slot : slots) {
                tour.attempt(slot.toString(), () -> describeSlot(slot, present.contains(slot)));
            }
        });
        tour.step("Mechanisms", () -> {
            for (PKCS11Slot slot : library.getSlotList(true)) {
                tour.attempt(slot.toString(), () -> describeMechanisms(slot));
            }
        });
    }

    void finalizeLibrary() {
        tour.step("Finalise", () -> {
            library.libFinalize();
            tour.check("the library is given back", library.getFunctionList() == 0);
        });
    }

    private void describeLibrary() {
        NativePKCS11Info info = library.getInfo();
        new Table("Library", info.getLibraryDescription())
            .row("Version", PKCS11Version.toString(info.getLibraryVersion()))
            .row("Maker", info.getManufacturerID())
            .row("Cryptoki", PKCS11Version.toString(info.getCryptokiVersion()))
            .row("Bridge", info.getNativeVersion())
            .print(System.out);
        // The function list is of version 2, or it had not been loaded; a module that has others too may tell theirs here.
        int major = PKCS11Version.major(info.getCryptokiVersion());
        tour.check("it is Cryptoki of version 2 or 3", major == 2 || major == 3);
        tour.check("the bridge tells its name", !info.getNativeVersion().isEmpty());
    }

    private void describeSlot(PKCS11Slot slot, boolean tokenPresent) {
        PKCS11SlotInfo info = slot.getInfo();
        Table table = new Table("Slot", "0x" + Integer.toHexString(slot.getSlotID()))
            .row("Description", info.getSlotDescription())
            .row("Maker", info.getManufacturerID());
        if (tokenPresent) {
            PKCS11TokenInfo token = slot.getTokenInfo();
            table.row("Token", token.isInitialized() ? "\"" + token.getLabel() + "\"" : "not initialised")
                .row("Model", token.getManufacturerID() + " " + token.getModel())
                .row("Serial number", token.getSerialNumber())
                .row("PIN", Integer.toUnsignedString(token.getMinPinLen()) + " to "
                    + Integer.toUnsignedString(token.getMaxPinLen()) + " bytes, "
                    + (token.isUserPinInitialized() ? "set" : "not set")
                    + (token.isUserPinLocked() ? ", locked" : ""));
        }
        table.print(System.out);
        tour.check("slot and token list agree", info.isTokenPresent() == tokenPresent);
    }

    private void describeMechanisms(PKCS11Slot slot) {
        int[] types = slot.getMechanismList();
        Table table = new Table("Mechanism", "Key size", "to", "Uses");
        for (int type : types) {
            String name = nameOf("CKM_", type);
            tour.attempt(name, () -> {
                PKCS11MechanismInfo info = slot.getMechanismInfo(type);
                boolean keyless = info.getMinKeySize() == 0 && info.getMaxKeySize() == 0;
                table.row(name, keyless ? "-" : number(info.getMinKeySize()),
                    keyless ? "-" : number(info.getMaxKeySize()), uses(info));
            });
        }
        tour.note(slot + ": " + types.length + " mechanisms; key sizes in bits or bytes, as each one counts");
        table.print(System.out);
        tour.check("each mechanism is listed once", IntStream.of(types).distinct().count() == types.length);
    }

    private static Object number(int value) {
        return value == CK_UNAVAILABLE_INFORMATION ? "not told" : Integer.toUnsignedLong(value);
    }

    private static String uses(PKCS11MechanismInfo info) {
        boolean[] set = {info.canEncrypt(), info.canDecrypt(), info.canDigest(), info.canSign(), info.canVerify(),
            info.canGenerate(), info.canGenerateKeyPair(), info.canWrap(), info.canUnwrap(), info.canDerive()};
        String[] names = {"encrypt", "decrypt", "digest", "sign", "verify", "generate", "generate pair", "wrap",
            "unwrap", "derive"};
        return IntStream.range(0, set.length).filter(i -> set[i]).mapToObj(i -> names[i])
            .collect(Collectors.joining(", "));
    }
}
