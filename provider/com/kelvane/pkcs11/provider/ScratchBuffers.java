package com.kelvane.pkcs11.provider;

import java.nio.ByteBuffer;
import java.util.Queue;
import java.util.concurrent.ArrayBlockingQueue;

/**
 * Direct buffers for large data. New memory of this size costs as much as the cipher, so some buffers are kept, at most
 * two for each processor.
 */
final class ScratchBuffers {
    private static final int LARGEST_KEPT = 1 << 21;
    private static final byte[] ZEROS = new byte[4096];
    private static final Queue<ByteBuffer> KEPT =
        new ArrayBlockingQueue<>(2 * Runtime.getRuntime().availableProcessors());

    private ScratchBuffers() {
    }

    /** Returns a buffer with a number of bytes between position and limit, for {@link #release}. */
    static ByteBuffer acquire(int size) {
        ByteBuffer kept = KEPT.poll();
        return kept != null && kept.capacity() >= size ? kept.clear().limit(size) : ByteBuffer.allocateDirect(size);
    }

    /** Keeps a buffer. One with secrets is wiped before, up to its limit. */
    static void release(ByteBuffer buffer, boolean isSecret) {
        if (isSecret) {
            wipe(buffer.rewind());
        }
        if (buffer.capacity() <= LARGEST_KEPT) {
            KEPT.offer(buffer);
        }
    }

    /** Overwrites the bytes between position and limit with zeros. */
    static void wipe(ByteBuffer buffer) {
        while (buffer.hasRemaining()) {
            buffer.put(ZEROS, 0, Math.min(buffer.remaining(), ZEROS.length));
        }
    }
}
