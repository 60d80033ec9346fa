package com.kelvane.pkcs11.nat;

import java.nio.ByteBuffer;
import java.nio.CharBuffer;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import java.util.function.Consumer;

/** PINs as {@code char[]}. */
final class Pins {
    private Pins() {
    }

    /** Calls with a PIN in UTF-8, or null for null, and wipes the bytes. The characters are the caller's. */
    static void encoded(char[] pin, Consumer<byte[]> call) {
        byte[] bytes = null;
        if (pin != null) {
            ByteBuffer encoded = StandardCharsets.UTF_8.encode(CharBuffer.wrap(pin));
            bytes = Arrays.copyOf(encoded.array(), encoded.limit());
            Arrays.fill(encoded.array(), (byte) 0);
        }
        try {
            call.accept(bytes);
        } finally {
            if (bytes != null) {
                Arrays.fill(bytes, (byte) 0);
            }
        }
    }
}
