package com.kelvane.pkcs11.provider;

import java.util.Arrays;

/** Data that is collected for a single call. What it no longer needs is wiped. */
final class Buffer {
    /** The length of the longest array that every virtual machine has. */
    private static final int MOST = Integer.MAX_VALUE - 8;

    private byte[] bytes = new byte[64];
    private int length;

    void add(byte[] in, int offset, int count) {
        if (count > bytes.length - length) {
            long needed = (long) length + count;
            if (needed > MOST) {
                throw new IllegalStateException("more than " + MOST + " bytes in one operation");
            }
            long size = Math.min(Math.max(needed, 2L * bytes.length), MOST);
            byte[] larger = Arrays.copyOf(bytes, (int) size);
            Arrays.fill(bytes, 0, length, (byte) 0);
            bytes = larger;
        }
        if (count > 0) {
            System.arraycopy(in, offset, bytes, length, count);
            length += count;
        }
    }

    int length() {
        return length;
    }

    /** Returns the data collected, and more data behind it. */
    byte[] with(byte[] in, int offset, int count) {
        byte[] all = Arrays.copyOf(bytes, length + count);
        if (count > 0) {
            System.arraycopy(in, offset, all, length, count);
        }
        return all;
    }

    /** Returns the data collected. */
    byte[] all() {
        return Arrays.copyOf(bytes, length);
    }

    void clear() {
        Arrays.fill(bytes, 0, length, (byte) 0);
        length = 0;
        if (bytes.length > 1 << 16) {
            bytes = new byte[64];
        }
    }
}
