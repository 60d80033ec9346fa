package com.kelvane.pkcs11.nat;

import com.kelvane.pkcs11.PKCS11Constants;
import com.kelvane.pkcs11.PKCS11Exception;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.nio.ByteBuffer;
import java.util.Arrays;
import java.util.List;
import java.util.function.BooleanSupplier;
import java.util.function.Supplier;

/**
 * An operation of a session, carried out from its start to its end. Where that fails, it is brought to an end, so that
 * the session is free again; one that this object has not started is left alone.
 */
final class Operation {
    /** What a session carries out in several calls. */
    enum Kind {
        ENCRYPT("C_Encrypt", PKCS11Constants.CKF_ENCRYPT),
        DECRYPT("C_Decrypt", PKCS11Constants.CKF_DECRYPT),
        DIGEST("C_Digest", PKCS11Constants.CKF_DIGEST),
        SIGN("C_Sign", PKCS11Constants.CKF_SIGN),
        VERIFY("C_Verify", PKCS11Constants.CKF_VERIFY);

        private final String function;
        private final int flag;

        Kind(String function, int flag) {
            this.function = function;
            this.flag = flag;
        }
    }

    /** A call with input and output: {@code encrypt} and its like. */
    interface Step {
        int run(byte[] in, int inOffset, int inLength, byte[] out, int outOffset);
    }

    /** The same with direct buffers. */
    interface BufferStep {
        int run(ByteBuffer in, ByteBuffer out);
    }

    /** A call with output: {@code encryptFinal} and its like. */
    interface Last {
        int run(byte[] out, int outOffset);
    }

    /** A call with input: {@code digestUpdate} and its like. */
    interface Update {
        void run(byte[] in, int inOffset, int inLength);
    }

    private interface Body<T, E extends Exception> {
        T run(OutputBuffer output) throws E;
    }

    /** How much of a stream is passed on at once: every call copies its arrays, so small ones are quick. */
    private static final int CHUNK = 16 * 1024;

    /**
     * The longest signature of the standard, {@code CKM_SLH_DSA}'s. A stream cannot be signed again where a token ends
     * the operation when the capacity was too small.
     */
    private static final int LONGEST_SIGNATURE = 49_856;

    /** The exact capacity that some tokens require for an Edwards signature; the others request more. */
    private static final int ED25519_SIGNATURE = 64;

    private static final byte[] NOTHING = {};

    private final NativePKCS11Session session;
    private final Kind kind;
    private final int mechanism;
    private final Object parameter;
    private final Runnable start;

    private boolean isActive;

    /** Whether a part of the data has been passed. */
    private boolean isInParts;

    Operation(NativePKCS11Session session, Kind kind, int mechanism, Object parameter, Runnable start) {
        this.session = session;
        this.kind = kind;
        this.mechanism = mechanism;
        this.parameter = parameter;
        this.start = start;
    }

    /** All the data in one step. */
    byte[] whole(Step whole, Last last, byte[] data) {
        boolean isInput = kind == Kind.ENCRYPT || kind == Kind.DECRYPT;
        int length = data.length;
        long size = mechanism == PKCS11Constants.CKM_EDDSA && kind == Kind.SIGN ? ED25519_SIGNATURE
            : OutputBuffer.EXTRA + (isInput ? (long) length : 0);
        OutputBuffer.Call call = out -> whole.run(data, 0, length, out.array(), 0);
        return run(OutputBuffer.ofArrays(), output -> {
            output.count(isInput ? length : 0);
            start();
            return output.toArray(finish("", () -> output.fill(size, call, start)));
        }, out -> last.run(out.array(), 0), out -> whole.run(NOTHING, 0, 0, out.array(), 0));
    }

    /** A stream whose output comes at the end. */
    byte[] gathered(Update update, Step whole, Last last, InputStream in) throws IOException {
        OutputBuffer.Call call = out -> last.run(out.array(), 0);
        return run(OutputBuffer.ofArrays(), output -> {
            feed(in, update);
            return output.toArray(finish("Final", () -> output.fill(LONGEST_SIGNATURE, call, null)));
        }, call, out -> whole.run(NOTHING, 0, 0, out.array(), 0));
    }

    /** A stream whose output comes as the input goes, or, from some tokens, at the end. */
    void streamed(BufferStep update, BufferStep whole, OutputBuffer.Call last, InputStream in, OutputStream out)
        throws IOException {
        ByteBuffer data = ByteBuffer.allocateDirect(CHUNK);
        byte[] chunk = new byte[CHUNK];
        try {
            run(OutputBuffer.ofDirectBuffers(), output -> {
                start();
                for (int length = in.read(chunk); length >= 0; length = in.read(chunk)) {
                    data.clear();
                    data.put(chunk, 0, length).flip();
                    output.count(length);
                    OutputBuffer.Call call = to -> update.run(data, to);
                    int size = length + OutputBuffer.EXTRA;
                    write(output.written(call("Update", () -> output.fill(size, call, null))), chunk, out);
                }
                write(output.written(finish("Final", () -> output.fill(OutputBuffer.EXTRA, last, null))), chunk, out);
                return null;
            }, last, to -> whole.run(ByteBuffer.allocateDirect(0), to));
        } finally {
            Arrays.fill(chunk, (byte) 0);
            DirectBuffers.wipe(data);
        }
    }

    /** Verifies all the data in one step. */
    boolean verified(byte[] data, byte[] signature) {
        int dataLength = data.length;
        int length = signature.length;
        return run(OutputBuffer.ofArrays(), output -> {
            start();
            return finish("", () -> isRight(() -> session.verify(data, 0, dataLength, signature, 0, length)));
        }, this::endParts, this::endWhole);
    }

    /** Verifies a stream. */
    boolean verified(InputStream in, byte[] signature) throws IOException {
        int length = signature.length;
        return run(OutputBuffer.ofArrays(), output -> {
            feed(in, session::verifyUpdate);
            return finish("Final", () -> isRight(() -> session.verifyFinal(signature, 0, length)));
        }, this::endParts, this::endWhole);
    }

    private void start() {
        try {
            call("Init", () -> {
                start.run();
                return null;
            });
        } catch (PKCS11Exception e) {
            // An array too short for the vector that the token has made is found after the start.
            isActive = e.getCode() == PKCS11Constants.CKR_BUFFER_TOO_SMALL;
            throw e;
        }
        isActive = true;
    }

    private void feed(InputStream in, Update update) throws IOException {
        start();
        byte[] chunk = new byte[CHUNK];
        try {
            for (int length = in.read(chunk); length >= 0; length = in.read(chunk)) {
                int size = length;
                call("Update", () -> {
                    update.run(chunk, 0, size);
                    return null;
                });
            }
        } finally {
            Arrays.fill(chunk, (byte) 0);
        }
    }

    private static void write(ByteBuffer written, byte[] chunk, OutputStream out) throws IOException {
        while (written.hasRemaining()) {
            int length = Math.min(written.remaining(), chunk.length);
            written.get(chunk, 0, length);
            out.write(chunk, 0, length);
        }
    }

    /** Calls one of the operation's functions. */
    private <T> T call(String suffix, Supplier<T> calls) {
        isInParts |= suffix.equals("Update");
        return ShortForm.call(kind.function + suffix, mechanism, parameter, calls);
    }

    /** Makes the call that ends the operation. */
    private <T> T finish(String suffix, Supplier<T> calls) {
        T result = call(suffix, calls);
        isActive = false;
        return result;
    }

    /** A signature of the wrong length is a wrong one. */
    private static boolean isRight(BooleanSupplier verification) {
        try {
            return verification.getAsBoolean();
        } catch (PKCS11Exception e) {
            if (e.getCode() != PKCS11Constants.CKR_SIGNATURE_LEN_RANGE) {
                throw e;
            }
            return false;
        }
    }

    /**
     * Runs the body and leaves no operation of its own active. Between a start that succeeded and an end that
     * succeeded, {@code isActive} is true; when the body is left in between, by an exception of the module, of a stream
     * or of the virtual machine, the operation is cancelled, or ended by {@code last} and {@code whole} if the module
     * cannot cancel. An operation that the caller had started before is not touched: then the start failed, and
     * {@code isActive} is false.
     */
    private <T, E extends Exception> T run(OutputBuffer output, Body<T, E> body, OutputBuffer.Call last,
        OutputBuffer.Call whole) throws E {
        try (output) {
            try {
                return body.run(output);
            } finally {
                if (isActive && !isCancelled()) {
                    end(output, last, whole);
                }
            }
        }
    }

    private boolean isCancelled() {
        try {
            NativeExtensions.sessionCancel(session, kind.flag);
            return true;
        } catch (PKCS11Exception e) {
            return false; // usually because the module does not have the function
        }
    }

    /**
     * Makes the last call in parts, and a step of no data, since some tokens end an operation by one of the two only.
     * The step is the first before any part: a last call in parts then crashes a module.
     */
    private void end(OutputBuffer output, OutputBuffer.Call last, OutputBuffer.Call whole) {
        for (OutputBuffer.Call each : isInParts ? List.of(last, whole) : List.of(whole, last)) {
            try {
                output.fill(OutputBuffer.EXTRA, each, null);
            } catch (PKCS11Exception e) {
                // The caller gets the exception thrown before. Most failures end the operation too.
            }
        }
    }

    /** Ends a verification in parts. The signature is any: the caller's may be one that the token refuses. */
    private int endParts(ByteBuffer signature) {
        session.verifyFinal(signature.array(), 0, signature.capacity());
        return 0;
    }

    /** Ends a verification in one step. */
    private int endWhole(ByteBuffer signature) {
        session.verify(NOTHING, 0, 0, signature.array(), 0, signature.capacity());
        return 0;
    }
}
