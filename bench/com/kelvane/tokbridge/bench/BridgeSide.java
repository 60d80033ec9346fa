package com.kelvane.tokbridge.bench;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.CK_GCM_PARAMS;
import com.kelvane.pkcs11.PKCS11Object;
import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.PKCS11TokenInfo;
import com.kelvane.pkcs11.nat.NativePKCS11;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import com.kelvane.pkcs11.nat.NativePKCS11Slot;
import com.kelvane.tokbridge.bench.Stopwatch.Operation;
import java.util.Arrays;
import java.util.function.Predicate;

/** The operations as this library does them, and the token on which both sides work. */
final class BridgeSide {
    static final String PIN = "throw-away";

    final NativePKCS11 library;
    final NativePKCS11Session session;

    /** Makes a token in a free slot, and logs the user in, for all sessions of the process. */
    BridgeSide(String module) {
        String label = "bench " + Long.toHexString(System.nanoTime());
        library = new NativePKCS11();
        library.load(module);
        library.libInitialize();
        PKCS11Slot empty = slot(token -> !token.isInitialized());
        empty.initToken(PIN, label);
        try (NativePKCS11Session officer = empty.openSession(CKF_SERIAL_SESSION | CKF_RW_SESSION, null)) {
            officer.login(true, PIN);
            officer.initPIN(PIN);
            officer.logout();
        }
        // Only after another start of the module the token stands in the slot where it stays.
        library.libFinalize();
        library.load(module);
        library.libInitialize();
        session = slot(token -> token.getLabel().equals(label)).openSession(CKF_SERIAL_SESSION | CKF_RW_SESSION, null);
        session.login(false, PIN);
    }

    private PKCS11Slot slot(Predicate<PKCS11TokenInfo> wanted) {
        return Arrays.stream(library.getSlotList(true)).filter(candidate -> wanted.test(candidate.getTokenInfo()))
            .findFirst().orElseThrow();
    }

    private BridgeSide(NativePKCS11 library, PKCS11Slot slot) {
        this.library = library;
        session = slot.openSession(CKF_SERIAL_SESSION | CKF_RW_SESSION, null);
    }

    /** The same token in a session of its own, as another thread uses it. */
    BridgeSide another() {
        return new BridgeSide(library, session.getSlot());
    }

    /** The same token in a session of its own, through a module that makes the bridge take its lock. */
    BridgeSide locked() {
        NativePKCS11 locking = new NativePKCS11();
        locking.load(Bare.LIBRARY);
        locking.libInitialize();
        return new BridgeSide(locking, new NativePKCS11Slot(locking, session.getSlot().getSlotID()));
    }

    NativePKCS11Object aesKey(byte[] key) {
        return session.createObject(new int[] {CKA_CLASS, CKA_KEY_TYPE, CKA_TOKEN, CKA_ENCRYPT, CKA_VALUE},
            new Object[] {CKO_SECRET_KEY, CKK_AES, false, true, key});
    }

    NativePKCS11Object macKey() {
        return session.generateKey(CKM_GENERIC_SECRET_KEY_GEN, null, new int[] {CKA_VALUE_LEN, CKA_TOKEN, CKA_SIGN},
            new Object[] {32, false, true});
    }

    /** The private key of a new pair. */
    NativePKCS11Object privateKey(int mechanism, int[] types, Object[] values) {
        PKCS11Object[] pair = session.generateKeyPair(mechanism, null, types, values, new int[] {CKA_TOKEN, CKA_SIGN},
            new Object[] {false, true});
        return (NativePKCS11Object) pair[1];
    }

    /** AES in CBC mode, started and run in one native call or in two. */
    Operation encrypt(NativePKCS11Object object, byte[] message, boolean oneCall) {
        byte[] iv = new byte[16];
        byte[] out = new byte[message.length];
        return oneCall ? () -> {
            session.encryptDoFinalGCM(CKM_AES_CBC, iv, object, message, 0, message.length, out, 0);
            return out;
        } : () -> {
            session.encryptInit(CKM_AES_CBC, iv, object);
            session.encrypt(message, 0, message.length, out, 0);
            return out;
        };
    }

    /** AES in GCM mode, with another initialisation vector each time, counted up from zero. */
    Operation encryptGcm(NativePKCS11Object object, byte[] message) {
        byte[] iv = new byte[12];
        byte[] out = new byte[message.length + 16];
        return () -> {
            Bare.countUp(iv);
            session.encryptInit(CKM_AES_GCM, new CK_GCM_PARAMS(iv, null, 128), object);
            session.encrypt(message, 0, message.length, out, 0);
            return out;
        };
    }

    /** The same in direct buffers. */
    Operation encryptBuffers(NativePKCS11Object object, byte[] message) {
        return new Buffers(message, message.length, (in, out) -> {
            session.encryptInit(CKM_AES_CBC, new byte[16], object);
            session.encrypt(in, out);
        });
    }

    Operation encryptGcmBuffers(NativePKCS11Object object, byte[] message) {
        byte[] iv = new byte[12];
        return new Buffers(message, message.length + 16, (in, out) -> {
            Bare.countUp(iv);
            session.encryptInit(CKM_AES_GCM, new CK_GCM_PARAMS(iv, null, 128), object);
            session.encrypt(in, out);
        });
    }

    Operation digestBuffers(byte[] message) {
        return new Buffers(message, 32, (in, out) -> {
            session.digestInit(CKM_SHA256, null);
            session.digest(in, out);
        });
    }

    Operation digest(byte[] message) {
        byte[] out = new byte[32];
        return () -> {
            session.digestInit(CKM_SHA256, null);
            session.digest(message, 0, message.length, out, 0);
            return out;
        };
    }

    Operation sign(int mechanism, NativePKCS11Object key, byte[] message, int length) {
        byte[] out = new byte[length];
        return () -> {
            session.signInit(mechanism, null, key);
            session.sign(message, 0, message.length, out, 0);
            return out;
        };
    }

    Operation random() {
        byte[] out = new byte[32];
        return () -> {
            session.generateRandom(out, 0, out.length);
            return out;
        };
    }

    /** A call in which the module has nothing to do. */
    Operation functionStatus() {
        return session::getFunctionStatus;
    }

    Operation openAndClose() {
        NativePKCS11Slot slot = session.getSlot();
        return () -> {
            NativePKCS11Session other = slot.openSession(CKF_SERIAL_SESSION | CKF_RW_SESSION, null);
            other.close();
            return other;
        };
    }

    Operation read(NativePKCS11Object object, int[] types) {
        return () -> session.getAttributeValues(object, types, types.length);
    }

    /** Finds all objects that have a template; the result is their number. */
    Operation find(int[] types, Object[] values) {
        return () -> {
            session.findObjectsInit(types, values);
            int found = 0;
            while (session.findObject() != null) {
                found++;
            }
            session.findObjectsFinal();
            return found;
        };
    }

    /** Makes data objects with a label, for this session only; returns the last. */
    NativePKCS11Object makeObjects(String label, int count) {
        NativePKCS11Object last = null;
        for (int i = 0; i < count; i++) {
            last = session.createObject(new int[] {CKA_CLASS, CKA_TOKEN, CKA_PRIVATE, CKA_LABEL, CKA_VALUE},
                new Object[] {CKO_DATA, false, false, label, new byte[100]});
        }
        return last;
    }
}
