package com.kelvane.tokbridge.bench;

import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.tokbridge.bench.Stopwatch.Batch;

/** The operations of a caller in C++, through the module's function list, in a session of its own. */
final class Bare {
    /** The benchmark's native library; as a module, one that takes no locks of the operating system. */
    static final String LIBRARY = System.getProperty("tokbridge.bench.library");

    static {
        System.load(LIBRARY);
    }

    private final int slot;
    private final long session;

    /** Opens a session, logged in as the process is. */
    Bare(String module, int slot) {
        if (!open(module)) {
            throw new IllegalArgumentException("no function list in " + module);
        }
        this.slot = slot;
        session = openSession(slot);
    }

    private Bare(int slot) {
        this.slot = slot;
        session = openSession(slot);
    }

    /** The same token in a session of its own, as another thread uses it. */
    Bare another() {
        return new Bare(slot);
    }

    Batch encrypt(NativePKCS11Object key, byte[] message) {
        byte[] out = new byte[message.length];
        return times -> {
            encrypt(session, times, key.getHandle(), new byte[16], message, out);
            return out;
        };
    }

    /** With another initialisation vector each time, counted up from zero. */
    Batch encryptGcm(NativePKCS11Object key, byte[] message) {
        byte[] iv = new byte[12];
        byte[] out = new byte[message.length + 16];
        return times -> {
            encryptGcm(session, times, key.getHandle(), iv, message, out);
            return out;
        };
    }

    Batch digest(byte[] message) {
        byte[] out = new byte[32];
        return times -> {
            digest(session, times, message, out);
            return out;
        };
    }

    Batch sign(int mechanism, NativePKCS11Object key, byte[] message, int length) {
        byte[] out = new byte[length];
        return times -> {
            sign(session, times, mechanism, key.getHandle(), message, out);
            return out;
        };
    }

    Batch random() {
        byte[] out = new byte[32];
        return times -> {
            random(session, times, out);
            return out;
        };
    }

    Batch functionStatus() {
        return times -> {
            functionStatus(session, times);
            return null;
        };
    }

    Batch openAndClose() {
        return times -> {
            openAndClose(slot, times);
            return null;
        };
    }

    /** Reads CKA_CLASS, CKA_TOKEN, CKA_PRIVATE, CKA_LABEL and CKA_VALUE. */
    Batch read(NativePKCS11Object object) {
        return times -> {
            read(session, times, object.getHandle());
            return null;
        };
    }

    /** Finds all objects, one in each call; the result is their number. */
    Batch find(int[] types, byte[][] values) {
        return times -> find(session, times, types, values);
    }

    /** The next initialisation vector: a number of many bytes, the last one the lowest. */
    static void countUp(byte[] number) {
        for (int i = number.length; i > 0 && ++number[i - 1] == 0;) {
            i--;
        }
    }

    private static native boolean open(String module);

    private static native long openSession(int slot);

    private static native void encrypt(long session, int times, long key, byte[] iv, byte[] message, byte[] out);

    private static native void encryptGcm(long session, int times, long key, byte[] iv, byte[] message, byte[] out);

    private static native void digest(long session, int times, byte[] message, byte[] out);

    private static native void sign(long session, int times, int mechanism, long key, byte[] message, byte[] out);

    private static native void random(long session, int times, byte[] out);

    private static native void functionStatus(long session, int times);

    private static native void openAndClose(int slot, int times);

    private static native void read(long session, int times, long object);

    private static native int find(long session, int times, int[] types, byte[][] values);
}
