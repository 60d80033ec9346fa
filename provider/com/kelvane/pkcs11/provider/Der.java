package com.kelvane.pkcs11.provider;

import java.io.ByteArrayOutputStream;
import java.math.BigInteger;
import java.util.Arrays;

/** The little DER that signatures and keys need. */
final class Der {
    static final int INTEGER = 2, OCTET_STRING = 4, NULL = 5, OBJECT_IDENTIFIER = 6, PRINTABLE_STRING = 0x13,
        SEQUENCE = 0x30;

    private Der() {
    }

    /** Encodes a value of at most 65,535 bytes. */
    static byte[] encode(int tag, byte[]... parts) {
        int length = Arrays.stream(parts).mapToInt(part -> part.length).sum();
        ByteArrayOutputStream encoded = new ByteArrayOutputStream();
        encoded.write(tag);
        if (length > 0xff) {
            encoded.write(0x82);
            encoded.write(length >> 8);
        } else if (length > 0x7f) {
            encoded.write(0x81);
        }
        encoded.write(length);
        Arrays.stream(parts).forEach(part -> encoded.write(part, 0, part.length));
        return encoded.toByteArray();
    }

    /** Encodes a signature of two numbers of equal length as the SEQUENCE of X.509. */
    static byte[] numbers(byte[] signature) {
        int half = signature.length / 2;
        return encode(SEQUENCE, integer(Arrays.copyOf(signature, half)),
            integer(Arrays.copyOfRange(signature, half, signature.length)));
    }

    private static byte[] integer(byte[] unsigned) {
        return encode(INTEGER, new BigInteger(1, unsigned).toByteArray());
    }

    /** Returns a number's unsigned bytes, padded to a length. */
    static byte[] unsigned(BigInteger number, int length) {
        byte[] signed = number.toByteArray();
        byte[] padded = new byte[length];
        int used = Math.min(signed.length, length);
        System.arraycopy(signed, signed.length - used, padded, length - used, used);
        return padded;
    }
}
