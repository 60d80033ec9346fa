package com.kelvane.pkcs11.nat;

import com.kelvane.pkcs11.PKCS11Constants;
import com.kelvane.pkcs11.PKCS11Exception;
import java.nio.ByteBuffer;
import java.util.Arrays;

/**
 * A buffer for the output of calls, which grows while the token requires more. It may hold a secret, so it is wiped
 * when it grows and when it is closed.
 *
 * <p>A token requires more by a length above the capacity or by {@code CKR_BUFFER_TOO_SMALL}, and the call is repeated.
 * The capacity passed to a token is never 0: some tokens return a wrong length for that, or end the operation.
 */
final class OutputBuffer implements AutoCloseable {
    /** The initial capacity beyond the length of the input: enough for a tag, or for an RSA result. */
    static final int EXTRA = 1024;

    /** The largest capacity beyond twice the length of the input. A token that requires more is refused. */
    private static final int MOST = 1 << 20;

    /** The longest array that every virtual machine has. */
    private static final int LONGEST = Integer.MAX_VALUE - 8;

    private static final ByteBuffer NONE = ByteBuffer.allocate(0);

    /** A call with output. */
    interface Call {
        /** Returns the number of bytes written, or the length needed if it exceeds the capacity. */
        int run(ByteBuffer output);
    }

    private final boolean isDirect;
    private ByteBuffer bytes = NONE;
    private long input;

    private OutputBuffer(boolean isDirect) {
        this.isDirect = isDirect;
    }

    /** Returns a buffer for calls with arrays. */
    static OutputBuffer ofArrays() {
        return new OutputBuffer(false);
    }

    /** Returns a buffer for calls with direct buffers, which copy nothing. */
    static OutputBuffer ofDirectBuffers() {
        return new OutputBuffer(true);
    }

    /** Adds to the length of the input, on which the largest capacity depends. */
    void count(int length) {
        input += length;
    }

    /**
     * Makes a call, and repeats it with a larger capacity while the token requires more.
     *
     * @param size the initial capacity
     * @param call the call
     * @param restart starts the operation again if the token has ended it because the capacity was too small, against
     *     the standard; null if it cannot be restarted
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

    /** Returns the bytes written. */
    ByteBuffer written(int length) {
        return bytes.position(0).limit(length);
    }

    /** Returns the bytes written as an array. */
    byte[] toArray(int length) {
        return Arrays.copyOf(bytes.array(), length);
    }

    /** At least doubles the capacity, so that a token that buffers all input is called only a few times more. */
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
