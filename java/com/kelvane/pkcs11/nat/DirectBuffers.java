package com.kelvane.pkcs11.nat;

import java.nio.ByteBuffer;
import java.nio.ReadOnlyBufferException;

/** Calls on what lies between the position and the limit of direct buffers. */
final class DirectBuffers {
    /** A native method with an input and an output. */
    interface InOut {
        int run(NativePKCS11Session session, ByteBuffer in, int inOffset, int inLength, ByteBuffer out, int outOffset,
            int outLength);
    }

    /** A native method with an output. */
    interface Final {
        int run(NativePKCS11Session session, ByteBuffer out, int outOffset, int outLength);
    }

    /** A native method with an input. */
    interface Update {
        void run(NativePKCS11Session session, ByteBuffer in, int inOffset, int inLength);
    }

    private static final byte[] ZEROS = new byte[4096];

    private DirectBuffers() {
    }

    /** Makes a call; the positions move on unless the output was too small. */
    static int inOut(NativePKCS11Session session, InOut call, ByteBuffer in, ByteBuffer out) {
        checkOutput(out);
        if (checkDirect(in) == out) {
            throw new IllegalArgumentException("input and output are the same buffer");
        }
        int place = out.position();
        int capacity = out.remaining();
        int length = call.run(session, in, in.position(), in.remaining(), out, place, capacity);
        if (length == NativeExtensions.OVERLAP) {
            ByteBuffer copy = ByteBuffer.allocateDirect(in.remaining()).put(in.duplicate());
            try {
                length = call.run(session, copy, 0, copy.capacity(), out, place, capacity);
            } finally {
                wipe(copy);
            }
        }
        if (length <= capacity) {
            in.position(in.limit());
            out.position(place + length);
        }
        return length;
    }

    /** Makes a call; the position moves on unless the output was too small. */
    static int last(NativePKCS11Session session, Final call, ByteBuffer out) {
        checkOutput(out);
        int place = out.position();
        int capacity = out.remaining();
        int length = call.run(session, out, place, capacity);
        if (length <= capacity) {
            out.position(place + length);
        }
        return length;
    }

    /** Makes a call; the position moves to the limit. */
    static void update(NativePKCS11Session session, Update call, ByteBuffer in) {
        checkDirect(in);
        call.run(session, in, in.position(), in.remaining());
        in.position(in.limit());
    }

    static boolean verify(NativePKCS11Session session, ByteBuffer in, ByteBuffer signature) {
        checkDirect(in);
        checkDirect(signature);
        boolean isRight = NativeExtensions.verify(session, in, in.position(), in.remaining(), signature,
            signature.position(), signature.remaining());
        in.position(in.limit());
        signature.position(signature.limit());
        return isRight;
    }

    /** Overwrites all of a buffer with zeros. */
    static void wipe(ByteBuffer buffer) {
        buffer.clear();
        while (buffer.hasRemaining()) {
            buffer.put(ZEROS, 0, Math.min(buffer.remaining(), ZEROS.length));
        }
    }

    private static void checkOutput(ByteBuffer out) {
        if (out.isReadOnly()) {
            throw new ReadOnlyBufferException();
        }
        checkDirect(out);
    }

    private static ByteBuffer checkDirect(ByteBuffer buffer) {
        if (!buffer.isDirect()) {
            throw new IllegalArgumentException("not a direct buffer; use the methods with arrays");
        }
        return buffer;
    }
}
