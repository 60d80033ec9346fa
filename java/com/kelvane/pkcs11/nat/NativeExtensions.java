package com.kelvane.pkcs11.nat;

import com.kelvane.pkcs11.PKCS11Interface;
import java.nio.ByteBuffer;

/**
 * Native methods beyond those of the four classes: user types, functions of the editions 3.0 to 3.2, and operations on
 * direct buffers. The public methods of {@link NativePKCS11} and {@link NativePKCS11Session} call them.
 *
 * <p>A stretch of a direct buffer is passed as its offset and length, which are checked against the buffer's capacity:
 * {@code CKR_DATA_INVALID} for a buffer that is null or not direct and for a negative number,
 * {@code CKR_BUFFER_TOO_SMALL} for a stretch that ends behind the buffer. Nothing is copied.
 */
final class NativeExtensions {
    /** What the methods with two buffers return if these overlap: the module has not been called. */
    static final int OVERLAP = -1;

    private NativeExtensions() {
    }

    /**
     * Returns the name of a mechanism's parameter, {@code CK_HKDF_PARAMS or none} for example, or the text of its
     * refusal at all; null if this object is of the right class.
     */
    static native String describeParameter(int mechanism, Object parameter);

    static native PKCS11Interface[] getInterfaces(NativePKCS11 library);

    static native void login(NativePKCS11Session session, int userType, Object pin);

    static native void loginUser(NativePKCS11Session session, int userType, Object pin, Object userName);

    static native void sessionCancel(NativePKCS11Session session, int operations);

    /** Returns the ciphertext, a {@code byte[]}, and the key. */
    static native Object[] encapsulateKey(NativePKCS11Session session, int mechanism, Object parameter,
        NativePKCS11Object publicKey, int[] types, Object[] values);

    static native NativePKCS11Object decapsulateKey(NativePKCS11Session session, int mechanism, Object parameter,
        NativePKCS11Object privateKey, byte[] ciphertext, int offset, int length, int[] types, Object[] values);

    // Encryption and decryption return the length needed if it is more than the output's

    static native int encrypt(NativePKCS11Session session, ByteBuffer in, int inOffset, int inLength, ByteBuffer out,
        int outOffset, int outLength);

    static native int encryptUpdate(NativePKCS11Session session, ByteBuffer in, int inOffset, int inLength,
        ByteBuffer out, int outOffset, int outLength);

    static native int encryptFinal(NativePKCS11Session session, ByteBuffer out, int outOffset, int outLength);

    static native int decrypt(NativePKCS11Session session, ByteBuffer in, int inOffset, int inLength, ByteBuffer out,
        int outOffset, int outLength);

    static native int decryptUpdate(NativePKCS11Session session, ByteBuffer in, int inOffset, int inLength,
        ByteBuffer out, int outOffset, int outLength);

    static native int decryptFinal(NativePKCS11Session session, ByteBuffer out, int outOffset, int outLength);

    static native int digest(NativePKCS11Session session, ByteBuffer in, int inOffset, int inLength, ByteBuffer out,
        int outOffset, int outLength);

    static native void digestUpdate(NativePKCS11Session session, ByteBuffer in, int inOffset, int inLength);

    static native int sign(NativePKCS11Session session, ByteBuffer in, int inOffset, int inLength, ByteBuffer out,
        int outOffset, int outLength);

    static native void signUpdate(NativePKCS11Session session, ByteBuffer in, int inOffset, int inLength);

    static native boolean verify(NativePKCS11Session session, ByteBuffer in, int inOffset, int inLength,
        ByteBuffer signature, int signatureOffset, int signatureLength);

    static native void verifyUpdate(NativePKCS11Session session, ByteBuffer in, int inOffset, int inLength);
}
