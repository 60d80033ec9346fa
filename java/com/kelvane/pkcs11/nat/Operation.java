package com.kelvane.pkcs11.nat;

import com.kelvane.pkcs11.PKCS11Constants;
import com.kelvane.pkcs11.PKCS11Exception;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.util.Arrays;
import java.util.function.BooleanSupplier;

/**
 * An operation of the token from its start to its end, with room for whatever comes out. Closed while it may still be
 * active, it is brought to an end, so that the session is free again; its room, which may hold a secret, is wiped.
 *
 * <p>Too little room is told by a length beyond it or by {@code CKR_BUFFER_TOO_SMALL}, and the call is made again with
 * more. The operation goes on meanwhile; where a token has ended it in spite of the standard, it is started again. Room
 * is never 0: some tokens give a wrong length for that, or end the operation.
 */
final class Operation implements AutoCloseable {
    /** How much longer than the input the output is at first allowed to be: enough for a tag, or for an RSA result. */
    private static final int EXTRA = 1024;

    /** How much longer it may be at all; a token that asks for more is not believed. */
    private static final int MOST = 1 << 20;

    /** The longest array that every virtual machine has. */
    private static final int LONGEST = Integer.MAX_VALUE - 8;

    /** How much of a stream is passed on at once: every call copies its arrays, so small ones are quick. */
    private static final int CHUNK = 16 * 1024;

    /** A call that ends an operation in parts: {@code encryptFinal} and its like. */
    interface Last {
        /** Answers the number of bytes written, or the length needed if that is more than the room. */
        int run(byte[] out, int outOffset);
    }

    /** A call with input and output: {@code encrypt}, {@code encryptUpdate} and their like. */
    interface Step {
        /** Answers as {@link Last#run} does. */
        int run(byte[] in, int inOffset, int inLength, byte[] out, int outOffset);
    }

    /** A call with input: {@code digestUpdate} and its like. */
    interface Part {
        /** Takes a part of the data. */
        void take(byte[] in, int inOffset, int inLength) throws IOException;
    }

    /** What ends the operation: the last call in parts, and a step of no data, since some know one of the two only. */
    private final Last[] ends;

    /** How much input there has been. */
    private long taken;

    /** Where output goes. */
    private byte[] room = {};

    /** Whether the operation may be active. */
    private boolean active;

    /** Begins nothing yet. */
    private Operation(Last... ends) {
        this.ends = ends;
    }

    /** Begins nothing yet. */
    private Operation(Step whole, Last last) {
        this(last, (out, at) -> whole.run(new byte[0], 0, 0, out, at));
    }

    /** Carries an operation out in one step whose output has a length of its own, whatever the input's. */
    static byte[] whole(Runnable start, Step whole, Last last, byte[] data) {
        try (Operation operation = new Operation(whole, last)) {
            return operation.result(0, (out, at) -> {
                operation.start(start);
                return whole.run(data, 0, data.length, out, at);
            }, (out, at) -> whole.run(data, 0, data.length, out, at));
        }
    }

    /** The same for output that is about as long as the input; one call starts the operation and takes the step. */
    static byte[] whole(Step startAndWhole, Step whole, Last last, byte[] data) {
        try (Operation operation = new Operation(whole, last)) {
            return operation.result(data.length, (out, at) -> {
                operation.active = true;
                try {
                    return startAndWhole.run(data, 0, data.length, out, at);
                } catch (PKCS11Exception e) {
                    operation.active = e.getCode() != PKCS11Constants.CKR_OPERATION_ACTIVE; // which is the caller's own
                    throw e;
                }
            }, (out, at) -> whole.run(data, 0, data.length, out, at));
        }
    }

    /** Carries an operation out whose output comes at the end. */
    static byte[] gathered(Runnable start, Part update, Step whole, Last last, InputStream in) throws IOException {
        try (Operation operation = new Operation(whole, last)) {
            operation.start(start);
            feed(in, update);
            return operation.result(0, last, last);
        }
    }

    /** Carries an operation out whose output comes as the input goes. */
    static void streamed(Runnable start, Step update, Step whole, Last last, InputStream in, OutputStream out)
        throws IOException {
        try (Operation operation = new Operation(whole, last)) {
            operation.start(start);
            feed(in, (data, offset, length) -> {
                Last part = (room, at) -> update.run(data, offset, length, room, at);
                int written = operation.call(length, part, part);
                out.write(operation.room, 0, written);
            });
            int length = operation.call(0, last, last);
            operation.active = false;
            out.write(operation.room, 0, length);
        }
    }

    /** Makes a call whose output is of a length that only the token knows, and which is no operation. */
    static byte[] single(Last call) {
        try (Operation none = new Operation()) {
            return none.result(0, call, call);
        }
    }

    /** Verifies in one step. */
    static boolean verified(Runnable start, BooleanSupplier whole, BooleanSupplier last) {
        try (Operation operation = new Operation(ending(last), ending(whole))) {
            operation.start(start);
            return operation.verdict(whole);
        }
    }

    /** Verifies a stream. */
    static boolean verified(Runnable start, Part update, BooleanSupplier whole, BooleanSupplier last, InputStream in)
        throws IOException {
        try (Operation operation = new Operation(ending(last), ending(whole))) {
            operation.start(start);
            feed(in, update);
            return operation.verdict(last);
        }
    }

    /** A verification for the sake of its end. */
    private static Last ending(BooleanSupplier verification) {
        return (out, at) -> {
            verification.getAsBoolean();
            return 0;
        };
    }

    /** Passes a stream on in small parts. */
    private static void feed(InputStream in, Part update) throws IOException {
        byte[] data = new byte[CHUNK];
        try {
            for (int length = in.read(data); length >= 0; length = in.read(data)) {
                update.take(data, 0, length);
            }
        } finally {
            Arrays.fill(data, (byte) 0);
        }
    }

    /** Starts the operation. */
    private void start(Runnable start) {
        start.run();
        active = true;
    }

    /** Makes the call that ends the operation and gives its last output. */
    private byte[] result(int input, Last first, Last again) {
        int length = call(input, first, again);
        active = false;
        return Arrays.copyOf(room, length);
    }

    /** Makes the call that ends a verification; a signature of the wrong length is a wrong one. */
    private boolean verdict(BooleanSupplier verification) {
        boolean right = false;
        try {
            right = verification.getAsBoolean();
        } catch (PKCS11Exception e) {
            if (e.getCode() != PKCS11Constants.CKR_SIGNATURE_LEN_RANGE) {
                throw e;
            }
        }
        active = false;
        return right;
    }

    /**
     * Makes a call with room for its output, and again with more as long as it asks for more.
     *
     * @return the number of bytes in the room
     */
    private int call(int input, Last first, Last again) {
        taken += input;
        reserve(input + (long) EXTRA);
        Last call = first;
        boolean tooSmall = false;
        for (long more = 8 * EXTRA;; more *= 8) {
            int length = 0;
            try {
                length = call.run(room, 0);
                if (length <= room.length) {
                    return length;
                }
            } catch (PKCS11Exception e) {
                if (tooSmall && e.getCode() == PKCS11Constants.CKR_OPERATION_NOT_INITIALIZED) {
                    tooSmall = false;
                    call = first;
                    continue;
                }
                if (e.getCode() != PKCS11Constants.CKR_BUFFER_TOO_SMALL) {
                    throw e;
                }
            }
            tooSmall = true;
            call = again;
            reserve(Math.max(length, room.length + more));
        }
    }

    /** Sees to it that there is so much room. */
    private void reserve(long size) {
        if (size <= room.length) {
            return;
        }
        if (size > taken + MOST) {
            throw new PKCS11Exception(PKCS11Constants.CKR_BUFFER_TOO_SMALL);
        }
        Arrays.fill(room, (byte) 0);
        room = new byte[(int) Math.min(size, LONGEST)];
    }

    @Override
    public void close() {
        for (int i = 0; active && i < ends.length; i++) {
            try {
                call(0, ends[i], ends[i]);
            } catch (PKCS11Exception e) {
                // What was raised before is for the caller to know. A failure ends the operation too, mostly.
            }
        }
        Arrays.fill(room, (byte) 0);
    }
}
