package com.kelvane.tokbridge.tool;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.PKCS11Version;
import com.kelvane.pkcs11.nat.NativePKCS11;
import com.kelvane.pkcs11.nat.NativePKCS11Info;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import java.util.stream.IntStream;

/** Loads a module and describes it: the library, its slots, their tokens and mechanisms. Changes nothing. */
final class ModuleSteps {
    private final Tour tour;
    private final String path;
    private final NativePKCS11 library = new NativePKCS11();

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
        Table.of(Description.library(library)).print(tour.out());
        NativePKCS11Info info = library.getInfo();
        // The function list is of version 2, or it had not been loaded; a module that has others may tell theirs here.
        int major = PKCS11Version.major(info.getCryptokiVersion());
        tour.check("it is Cryptoki of version 2 or 3", major == 2 || major == 3);
        tour.check("the bridge tells its name", !info.getNativeVersion().isEmpty());
    }

    private void describeSlot(PKCS11Slot slot, boolean tokenPresent) {
        Map<String, Object> described = Description.slot(slot);
        if (tokenPresent) {
            described.putAll(Description.token(slot));
        }
        Table.of(described).print(tour.out());
        tour.check("slot and token list agree", described.get("tokenPresent").equals(tokenPresent));
    }

    private void describeMechanisms(PKCS11Slot slot) {
        int[] types = slot.getMechanismList();
        List<Map<String, Object>> described = new ArrayList<>();
        for (int type : types) {
            tour.attempt(nameOf("CKM_", type), () -> described.add(Description.mechanism(slot, type)));
        }
        tour.note(slot + ": " + types.length + " mechanisms; key sizes in bits or bytes, as each one counts");
        Table.of(described).print(tour.out());
        tour.check("each mechanism is listed once", IntStream.of(types).distinct().count() == types.length);
    }
}
