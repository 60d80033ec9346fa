package com.kelvane.pkcs11.nat;

/** Handles that an {@code int} field cannot hold. The native library reads them from the {@code long} field. */
final class WideHandle {
    /** The value of the {@code int} field then; a handle that equals it is in the {@code long} field too. */
    static final int MARKER = -1;

    private WideHandle() {
    }

    /** Returns the {@code int} for a handle of 64 bits, unsigned. */
    static int toInt(long handle) {
        return handle >>> 32 == 0 ? (int) handle : MARKER;
    }
}
