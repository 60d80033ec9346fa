package com.kelvane.pkcs11.nat;

import java.nio.ByteBuffer;
import java.nio.CharBuffer;
import java.nio.charset.CodingErrorAction;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import java.util.function.Consumer;

/** PINs as {@code char[]}. */
final class Pins {
    /** More bytes than the 50 that the native methods accept: a longer PIN is refused in its first bytes. */
    private static final int CAPACITY = 64;

    private Pins() {
    }

    /** Calls with a PIN in UTF-8, or null for null, and wipes the bytes. The characters are the caller's. */
    static void encoded(char[] pin, Consumer<byte[]> call) {
        byte[] bytes = null;
        if (pin != null) {
            // Of a fixed size: a buffer that grows would leave a copy.
            ByteBuffer encoded = ByteBuffer.allocate(CAPACITY);
            StandardCharsets.UTF_8.newEncoder().onMalformedInput(CodingErrorAction.REPLACE)
                .encode(CharBuffer.wrap(pin), encoded, true);
            bytes = Arrays.copyOf(encoded.array(), encoded.position());
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
