package com.kelvane.tokbridge.bench;

import com.kelvane.tokbridge.bench.Stopwatch.Batch;
import java.nio.ByteBuffer;

/** An operation on direct buffers. The result is copied to an array at the end of a batch. */
final class Buffers implements Batch {
    /** What is measured. */
    interface Call {
        void run(ByteBuffer in, ByteBuffer out) throws Exception;
    }

    private final ByteBuffer in;
    private final ByteBuffer out;
    private final Call call;

    Buffers(byte[] message, int length, Call call) {
        in = ByteBuffer.allocateDirect(message.length).put(message);
        out = ByteBuffer.allocateDirect(length);
        this.call = call;
    }

    @Override
    public Object run(int times) throws Exception {
        for (int i = 0; i < times; i++) {
            in.rewind();
            out.rewind();
            call.run(in, out);
        }
        byte[] result = new byte[out.flip().remaining()];
        out.get(result);
        out.clear();
        return result;
    }
}
