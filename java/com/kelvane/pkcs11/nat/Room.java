package com.kelvane.pkcs11.nat;

import com.kelvane.pkcs11.PKCS11Constants;
import com.kelvane.pkcs11.PKCS11Exception;
import java.nio.ByteBuffer;
import java.util.Arrays;

/**
 * Room for the output of calls, which grows as long as the token asks for more. It may hold a secret, so it is wiped
 * when it grows and when it is closed.
 *
 * <p>A token asks for more by a length beyond the room or by {@code CKR_BUFFER_TOO_SMALL}, and the call is made again.
 * Room is never 0: some tokens return a wrong length for that, or end the operation.
 */
final class Room implements AutoCloseable {
    /** How much longer than the input the output may be at first: enough for a tag, or for an RSA result. */
    static final int EXTRA = 1024;

    /** How much longer than twice the input it may be at all; a token that asks for more is not believed. */
    private static final int MOST = 1 << 20;

    /** The longest array that every virtual machine has. */
    private static final int LONGEST = Integer.MAX_VALUE - 8;

    private static final ByteBuffer NONE = ByteBuffer.allocate(0);

    /** A call with output. */
    interface Call {
        /** Returns the number of bytes written, or the length needed if that is more than the room. */
        int run(ByteBuffer room);
    }

    private final boolean isDirect;
    private ByteBuffer bytes = NONE;
    private long input;

    private Room(boolean isDirect) {
        this.isDirect = isDirect;
    }

    /** For calls with arrays. */
    static Room ofArrays() {
        return new Room(false);
    }

    /** For calls with direct buffers, which do not copy what is not used of it. */
    static Room ofDirectBuffers() {
        return new Room(true);
    }

    /** Counts input, which there may be as much output as. */
    void count(int length) {
        input += length;
    }

    /**
     * Makes a call, and again with more room as long as it asks for more.
     *
     * @param size the room at first
     * @param call the call
     * @param restart starts the operation again where the token has ended it for want of room, in spite of the
     *     standard; null if it cannot be
     * @return the number of bytes written
     */
    int fill(long size, Call call, Runnable restart) {
        reserve(size);
        boolean wasTooSmall = false;
        while (true) {
            int needed = 0;
            try {
                bytes.clear();
                needed = call.run(bytes);
                if (needed <= bytes.capacity()) {
                    return needed;
                }
            } catch (PKCS11Exception e) {
                if (restart != null && wasTooSmall && e.getCode() == PKCS11Constants.CKR_OPERATION_NOT_INITIALIZED) {
                    wasTooSmall = false;
                    restart.run();
                    continue;
                }
                if (e.getCode() != PKCS11Constants.CKR_BUFFER_TOO_SMALL) {
                    throw e;
                }
            }
            wasTooSmall = true;
            grow(needed);
        }
    }

    /** What has been written, ready to be read. */
    ByteBuffer written(int length) {
        return bytes.position(0).limit(length);
    }

    /** The same as an array. */
    byte[] toArray(int length) {
        return Arrays.copyOf(bytes.array(), length);
    }

    /** Doubles the room at least, so that a token that keeps all input is asked a few times only. */
    private void grow(int needed) {
        int capacity = bytes.capacity();
        long most = Math.min(2 * input + MOST, LONGEST);
        if (needed > most || capacity >= most) {
            throw new PKCS11Exception(PKCS11Constants.CKR_BUFFER_TOO_SMALL);
        }
        reserve(Math.min(most, Math.max(needed, 2L * capacity + 8 * EXTRA)));
    }

    private void reserve(long size) {
        if (size <= bytes.capacity()) {
            return;
        }
        close();
        int capacity = (int) Math.min(size, LONGEST);
        try {
            bytes = isDirect ? ByteBuffer.allocateDirect(capacity) : ByteBuffer.allocate(capacity);
        } catch (OutOfMemoryError e) {
            throw new PKCS11Exception(PKCS11Constants.CKR_HOST_MEMORY, "no memory for " + capacity + " bytes at once");
        }
    }

    @Override
    public void close() {
        DirectBuffers.wipe(bytes);
        bytes = NONE;
    }
}
