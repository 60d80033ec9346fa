package com.kelvane.tokbridge.bench;

import com.kelvane.pkcs11.nat.NativePKCS11;

/** Loads the native library, or does nothing when it is told "without": for one who wants to know what that takes. */
final class Loaded {
    private Loaded() {
    }

    public static void main(String[] arguments) {
        if (arguments.length == 0) {
            new NativePKCS11();
        }
    }
}
