package com.kelvane.pkcs11.nat;

import static com.kelvane.pkcs11.nat.ShortForm.usable;

import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.PKCS11Object;
import com.kelvane.pkcs11.PKCS11SessionInfo;
import com.kelvane.pkcs11.Template;
import com.kelvane.pkcs11.nat.Operation.Kind;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.math.BigInteger;
import java.nio.ByteBuffer;
import java.util.ArrayList;
import java.util.Date;
import java.util.List;
import java.util.Objects;

/**
 * A session with a token.
 *
 * <p>There are two forms of most methods. Those that take a {@link Template}, and those that take all the data and
 * return all of the result, are the short one: they leave neither an operation nor a search behind, and the exception
 * of a failure names the function called and the mechanism. A parameter of the wrong class is refused by
 * {@link IllegalArgumentException}: "CKM_AES_GCM takes CK_GCM_PARAMS, not byte[]"; null for data, a signature, a
 * stream, a buffer or a template is refused by {@link NullPointerException}. The native ones are the token's calls,
 * with arrays of the caller's.
 *
 * <p>Buffers, templates, mechanisms, null, failures and threads are handled alike in all native methods; see the
 * description of the package. Three things about buffers are worth repeating here:
 *
 * <ul>
 * <li>Every call copies each array as a whole, in, and for an output array out again, however few bytes
 * of it are used. Who walks a large array by offsets copies all of it each time: stream through small arrays instead.
 * <li>Two threads must not share one output array, even in separate parts: what one call copies back undoes what the
 * other one wrote.
 * <li>An output array that is too small is reported in two ways. The encryption and decryption methods
 * ({@code encrypt}, {@code encryptUpdate}, {@code encryptFinal}, the same for {@code decrypt}, and the two for GCM)
 * raise nothing and return the length needed, which exceeds the capacity; the operation goes on, and the call is to be
 * repeated with a larger array. All others raise {@code CKR_BUFFER_TOO_SMALL} (0x150). A token that returns "too small"
 * and needs no more than the capacity is reported by {@code CKR_BUFFER_TOO_SMALL} in either case, so a returned length
 * within the capacity is always one that was written.
 * </ul>
 *
 * <p>The methods with {@code ByteBuffer}s work on direct buffers, and the module itself reads and writes their memory:
 * nothing is copied, unless input and output overlap. The data lies between position and limit; afterwards the position
 * of an input is its limit, and that of an output has moved on by what was written. {@code IllegalArgumentException} is
 * thrown for a buffer that is not direct and for one buffer as both, {@code ReadOnlyBufferException} for an output that
 * is read-only. The memory of a buffer that was made of a memory segment must not be released during the call.
 *
 * <p>The state of an operation is kept by the token, not here. Two objects are equal if they have the same handle in
 * equal slots. A library may use a handle again once its session has been closed.
 */
public class NativePKCS11Session implements AutoCloseable {
    /** The slot of the token. */
    private final NativePKCS11Slot slot;

    /** The session's {@code CK_SESSION_HANDLE}; {@link WideHandle#MARKER} if the handle is in {@link #handle} alone. */
    private final int sessionID;

    /** The whole {@code CK_SESSION_HANDLE}. */
    private final long handle;

    /**
     * Constructs a session for a handle known from elsewhere; {@link NativePKCS11Slot#openSession} opens a new one.
     *
     * @param slot the slot of the token
     * @param sessionID the handle, its 32 bits unsigned
     */
    public NativePKCS11Session(NativePKCS11Slot slot, int sessionID) {
        NativeLibrary.require();
        this.slot = slot;
        this.sessionID = sessionID;
        handle = Integer.toUnsignedLong(sessionID);
    }

    /**
     * Constructs a session for a handle of up to 64 bits.
     *
     * @param slot the slot of the token
     * @param handle the handle, its 64 bits unsigned
     */
    public NativePKCS11Session(NativePKCS11Slot slot, long handle) {
        NativeLibrary.require();
        this.slot = slot;
        this.handle = handle;
        sessionID = WideHandle.toInt(handle);
    }

    /**
     * Returns the slot of the token.
     *
     * @return the slot, the very object on which the session was opened
     */
    public NativePKCS11Slot getSlot() {
        return slot;
    }

    /**
     * Returns the session's handle as an {@code int}.
     *
     * @return the handle, its 32 bits unsigned; 0xFFFFFFFF (-1) for a handle that needs more, see {@link #getHandle}
     */
    public int getSessionID() {
        return sessionID;
    }

    /**
     * Returns the session's handle. It stays the same after {@link #close}.
     *
     * @return the handle, its 64 bits unsigned
     */
    public long getHandle() {
        return handle;
    }

    @Override
    public boolean equals(Object other) {
        return other instanceof NativePKCS11Session && Objects.equals(((NativePKCS11Session) other).slot, slot)
            && ((NativePKCS11Session) other).handle == handle;
    }

    @Override
    public int hashCode() {
        return 31 * Objects.hashCode(slot) + Long.hashCode(handle);
    }

    @Override
    public String toString() {
        return "session 0x" + Long.toHexString(handle) + " with " + slot;
    }

    private Operation operation(Kind kind, int mechanism, Object parameter, Runnable start) {
        return new Operation(this, kind, mechanism, parameter, start);
    }

    // Session management

    /**
     * Closes the session ({@code C_CloseSession}). This Java object is not changed and does not know: a second call is
     * made like the first one and refused by the library, with {@code CKR_SESSION_HANDLE_INVALID} as a rule. A session
     * that a {@code try} statement closes is not to be closed inside it too.
     *
     * <p>No other thread may be at work in the session: some libraries end the process then.
     */
    @Override
    public native void close();

    /**
     * Returns information about the session ({@code C_GetSessionInfo}).
     *
     * @return the information
     */
    public native PKCS11SessionInfo getInfo();

    /**
     * Logs in to the token, for all sessions of the application with it ({@code C_Login}).
     *
     * <p>Null has the PIN entered at the token, on its PIN pad. An environment variable that is not set is null too and
     * looks the same here, and an empty one counts as a wrong PIN: check both before.
     *
     * @param securityOfficer true for the security officer, false for the normal user
     * @param pin the PIN, a {@code String} or {@code byte[]} of at most 50 bytes; null to have it entered at the token
     * @throws PKCS11Exception with the module's return code; "Object must be String or byte[]!" for another class;
     *     "copyStringBytes(): buffer too small for string!" or "copyBytes(): buffer too small!" for a {@code String} or
     *     a {@code byte[]} that is too long; {@code CKR_USER_ALREADY_LOGGED_IN} is a failure like any other
     */
    public native void login(boolean securityOfficer, Object pin);

    /**
     * Logs in to the token with a PIN as {@code char[]}, as {@code Console.readPassword} returns it.
     *
     * @param securityOfficer true for the security officer, false for the normal user
     * @param pin the PIN, at most 50 bytes in UTF-8; null to have it entered at the token. The array is not changed
     * @throws PKCS11Exception as {@link #login(boolean, Object)} throws it
     */
    public void login(boolean securityOfficer, char[] pin) {
        Pins.encoded(pin, encoded -> login(securityOfficer, (Object) encoded));
    }

    /**
     * Logs in as a user of any type ({@code C_Login}). {@code CKU_CONTEXT_SPECIFIC} is for a key that requires the PIN
     * before each use ({@code CKA_ALWAYS_AUTHENTICATE}): after {@code signInit} or {@code decryptInit}, before the
     * data.
     *
     * @param userType {@code CKU_USER}, {@code CKU_SO}, {@code CKU_CONTEXT_SPECIFIC} or a vendor's own type
     * @param pin the PIN, a {@code String} or {@code byte[]} of at most 50 bytes; null to have it entered at the token
     * @throws PKCS11Exception as {@link #login(boolean, Object)} throws it; {@code CKR_USER_TYPE_INVALID} for a type
     *     that the module does not know
     */
    public void login(int userType, Object pin) {
        NativeExtensions.login(this, userType, pin);
    }

    /**
     * Logs in as a user of any type with a PIN as {@code char[]}.
     *
     * @param userType as for {@link #login(int, Object)}
     * @param pin the PIN, at most 50 bytes in UTF-8; null to have it entered at the token. The array is not changed
     * @throws PKCS11Exception as {@link #login(int, Object)} throws it
     */
    public void login(int userType, char[] pin) {
        Pins.encoded(pin, encoded -> login(userType, (Object) encoded));
    }

    /**
     * Logs in as one of several users of a type ({@code C_LoginUser}, edition 3.0).
     *
     * @param userType as for {@link #login(int, Object)}
     * @param pin the PIN, a {@code String} or {@code byte[]} of at most 50 bytes; null to have it entered at the token
     * @param userName the user's name, a {@code String} or {@code byte[]} of at most 255 bytes
     * @throws PKCS11Exception as {@link #login(int, Object)} throws it; {@code CKR_FUNCTION_NOT_SUPPORTED} if the
     *     module does not offer edition 3.0
     */
    public void loginUser(int userType, Object pin, Object userName) {
        NativeExtensions.loginUser(this, userType, pin, userName);
    }

    /** Logs out from the token, for all sessions of the application with it ({@code C_Logout}). */
    public native void logout();

    /**
     * Sets the normal user's PIN ({@code C_InitPIN}); the security officer must be logged in.
     *
     * @param pin the PIN, a {@code String} or {@code byte[]} of at most 50 bytes; null to have it entered at the token
     * @throws PKCS11Exception with the module's return code; "Object must be String or byte[]!" for another class;
     *     "copyStringBytes(): buffer too small for string!" or "copyBytes(): buffer too small!" for a {@code String} or
     *     a {@code byte[]} that is too long
     */
    public native void initPIN(Object pin);

    /**
     * Sets the normal user's PIN.
     *
     * @param pin the PIN, at most 50 bytes in UTF-8; null to have it entered at the token. The array is not changed
     * @throws PKCS11Exception as {@link #initPIN(Object)} throws it
     */
    public void initPIN(char[] pin) {
        Pins.encoded(pin, encoded -> initPIN((Object) encoded));
    }

    /**
     * Changes the PIN of the user who is logged in, or of the normal user ({@code C_SetPIN}).
     *
     * @param oldPin the PIN so far, a {@code String} or {@code byte[]} of at most 50 bytes; null to have it entered at
     *     the token
     * @param newPin the new PIN, likewise
     * @throws PKCS11Exception with the module's return code; "Object must be String or byte[]!" for another class;
     *     "copyStringBytes(): buffer too small for string!" or "copyBytes(): buffer too small!" for a {@code String} or
     *     a {@code byte[]} that is too long; the old PIN is looked at first
     */
    public native void setPIN(Object oldPin, Object newPin);

    /**
     * Changes the PIN of the user who is logged in, or of the normal user.
     *
     * @param oldPin the current PIN, at most 50 bytes in UTF-8; null to have it entered at the token. The array is not
     *     changed
     * @param newPin the new PIN, likewise
     * @throws PKCS11Exception as {@link #setPIN(Object, Object)} throws it
     */
    public void setPIN(char[] oldPin, char[] newPin) {
        Pins.encoded(oldPin, encodedOld -> Pins.encoded(newPin, encodedNew -> setPIN((Object) encodedOld, encodedNew)));
    }

    /**
     * Cancels operations that are active in the session ({@code C_SessionCancel}, edition 3.0).
     *
     * @param operations {@code CKF_ENCRYPT}, {@code CKF_SIGN}, {@code CKF_FIND_OBJECTS} and their like, added up
     * @throws PKCS11Exception with the module's return code; {@code CKR_FUNCTION_NOT_SUPPORTED} if the module does not
     *     offer edition 3.0
     */
    public void sessionCancel(int operations) {
        NativeExtensions.sessionCancel(this, operations);
    }

    /**
     * Returns the state of the running operation, for {@link #setOperationState} ({@code C_GetOperationState}, twice).
     *
     * @return the state, as long as the token announced; if it then wrote less, the end is zero bytes
     * @throws PKCS11Exception with the module's return code; "getOperationState(): NewByteArray() failed" or
     *     "getOperationState(): can't get elements" without memory
     */
    public native byte[] getOperationState();

    /**
     * Continues an operation from a state ({@code C_SetOperationState}).
     *
     * @param state the state from {@link #getOperationState}
     * @param encryptionKey the key of an encryption or decryption, null if the token needs none; with handle 0 the call
     *     returns at once and does nothing
     * @param authenticationKey the key of a signature or verification, likewise
     * @throws PKCS11Exception with the module's return code; "setOperationState(): can't get elements" if the state is
     *     null, in which case the library is called all the same, without a state
     */
    public native void setOperationState(byte[] state, NativePKCS11Object encryptionKey,
        NativePKCS11Object authenticationKey);

    /**
     * Returns the state of a parallel function, of which no token has any ({@code C_GetFunctionStatus}).
     *
     * @return false if the library returns {@code CKR_FUNCTION_NOT_PARALLEL}, as the standard requires; true if it
     *     answers {@code CKR_OK}
     */
    public native boolean getFunctionStatus();

    /**
     * Cancels a parallel function, of which no token has any ({@code C_CancelFunction}).
     *
     * @throws PKCS11Exception with the module's return code, {@code CKR_FUNCTION_NOT_PARALLEL} as the standard requires
     */
    public native void cancelFunction();

    /**
     * Fills a part of an array with random bytes from the token ({@code C_GenerateRandom}).
     *
     * @param buffer receives the bytes
     * @param offset index of the first byte
     * @param length the number of bytes
     */
    public native void generateRandom(byte[] buffer, int offset, int length);

    /**
     * Adds to the seed of the token's random number generator ({@code C_SeedRandom}).
     *
     * @param seed the seed
     * @param offset index of its first byte
     * @param length its length in bytes
     */
    public native void seedRandom(byte[] seed, int offset, int length);

    // Encryption

    /**
     * Encrypts data.
     *
     * @param mechanism the mechanism type
     * @param parameter the mechanism's parameter, or null
     * @param key the key
     * @param data the data
     * @return the encrypted data; with GCM the tag is its end
     */
    public byte[] encrypt(int mechanism, Object parameter, NativePKCS11Object key, byte[] data) {
        return operation(Kind.ENCRYPT, mechanism, parameter, () -> encryptInit(mechanism, parameter, usable(key)))
            .whole(this::encrypt, this::encryptFinal, data);
    }

    /**
     * Encrypts a stream of any length, in small parts.
     *
     * @param mechanism the mechanism type
     * @param parameter the mechanism's parameter, or null
     * @param key the key
     * @param in the data; read to its end, not closed
     * @param out receives the encrypted data; not closed
     * @throws IOException if a stream fails; the operation is ended then, and its output lost
     */
    public void encrypt(int mechanism, Object parameter, NativePKCS11Object key, InputStream in, OutputStream out)
        throws IOException {
        operation(Kind.ENCRYPT, mechanism, parameter, () -> encryptInit(mechanism, parameter, usable(key)))
            .streamed(this::encryptUpdate, this::encrypt, this::encryptFinal, in, out);
    }

    /**
     * Starts an encryption ({@code C_EncryptInit}).
     *
     * <p>An initialisation vector made by the token is copied back for two kinds of mechanism: into
     * {@link com.kelvane.pkcs11.PKCS11MechPar_PBE#iv} (8 bytes) for the password-based ones, and into the
     * {@code byte[]} parameter (20 bytes) for those of Skipjack, Baton and Juniper. An array that is too short for it
     * is refused by an exception only then, when the operation has started.
     *
     * <p>With {@code PKCS11DEBUG} set the mechanism type is printed.
     *
     * @param mechanism the mechanism type
     * @param parameter the mechanism's parameter, or null
     * @param key the key; with handle 0 the call returns at once and nothing is initialised
     */
    public native void encryptInit(int mechanism, Object parameter, NativePKCS11Object key);

    /**
     * Encrypts all the data in one step ({@code C_Encrypt}).
     *
     * @param in the input
     * @param inOffset index of its first byte
     * @param inLength its length in bytes
     * @param out receives the output
     * @param outOffset index of its first byte; its capacity is the rest of the array
     * @return the number of bytes written, or the length needed if it exceeds the capacity
     */
    public native int encrypt(byte[] in, int inOffset, int inLength, byte[] out, int outOffset);

    /**
     * Encrypts a part of the data ({@code C_EncryptUpdate}).
     *
     * @param in the input
     * @param inOffset index of its first byte
     * @param inLength its length in bytes
     * @param out receives the output
     * @param outOffset index of its first byte; its capacity is the rest of the array
     * @return the number of bytes written, or the length needed if it exceeds the capacity
     */
    public native int encryptUpdate(byte[] in, int inOffset, int inLength, byte[] out, int outOffset);

    /**
     * Ends an encryption in parts ({@code C_EncryptFinal}).
     *
     * @param out receives the output
     * @param outOffset index of its first byte; its capacity is the rest of the array
     * @return the number of bytes written, or the length needed if it exceeds the capacity
     */
    public native int encryptFinal(byte[] out, int outOffset);

    /**
     * Starts an encryption and encrypts all the data in one native call ({@code C_EncryptInit}, then
     * {@code C_Encrypt}). The two calls of the token are separate: what another thread does in the same session can
     * come between them.
     *
     * <p>If the output array is too small, the length needed is returned and the operation goes on: it is to be
     * finished by {@link #encrypt}, not started again.
     *
     * <p>The native method returns small values in place of 0 when it ends early: 2 after a null or unloaded object in
     * the handle chain, 4 after a refused parameter, 5 after a refused initialisation. All of these come with an
     * exception, which is all that Java sees. Only 3, for a key with handle 0, comes without: nothing was encrypted
     * then, though 3 reads like three bytes written.
     *
     * @param mechanism the mechanism type, {@code CKM_AES_GCM}
     * @param parameter the mechanism's parameter, a {@link com.kelvane.pkcs11.CK_GCM_PARAMS}
     * @param key the key; with handle 0 the call returns 3 at once and does nothing
     * @param in the input
     * @param inOffset index of its first byte
     * @param inLength its length in bytes
     * @param out receives the output
     * @param outOffset index of its first byte; its capacity is the rest of the array
     * @return the number of bytes written, or the length needed if it exceeds the capacity; 3 without any output for
     *     a key with handle 0
     */
    public native int encryptDoFinalGCM(int mechanism, Object parameter, NativePKCS11Object key, byte[] in,
        int inOffset, int inLength, byte[] out, int outOffset);

    // Decryption

    /**
     * Decrypts data.
     *
     * @param mechanism the mechanism type
     * @param parameter the mechanism's parameter, or null
     * @param key the key
     * @param data the encrypted data; with GCM the tag is its end
     * @return the data
     */
    public byte[] decrypt(int mechanism, Object parameter, NativePKCS11Object key, byte[] data) {
        return operation(Kind.DECRYPT, mechanism, parameter, () -> decryptInit(mechanism, parameter, usable(key)))
            .whole(this::decrypt, this::decryptFinal, data);
    }

    /**
     * Decrypts a stream of any length, in small parts.
     *
     * <p>With GCM most tokens keep all of the text until the tag has come. It is then in their memory and in a direct
     * buffer of up to twice its length: seal large data in pieces.
     *
     * @param mechanism the mechanism type
     * @param parameter the mechanism's parameter, or null
     * @param key the key
     * @param in the encrypted data; read to its end, not closed
     * @param out receives the data, which is not to be trusted unless this method returns; not closed
     * @throws IOException if a stream fails; the operation is ended then, and its output lost
     * @throws PKCS11Exception with {@code CKR_HOST_MEMORY} if there is no memory for what the token returns at once; a
     *     token that lacks {@code C_SessionCancel} may then keep the operation until the session is closed
     */
    public void decrypt(int mechanism, Object parameter, NativePKCS11Object key, InputStream in, OutputStream out)
        throws IOException {
        operation(Kind.DECRYPT, mechanism, parameter, () -> decryptInit(mechanism, parameter, usable(key)))
            .streamed(this::decryptUpdate, this::decrypt, this::decryptFinal, in, out);
    }

    /**
     * Starts a decryption ({@code C_DecryptInit}).
     *
     * <p>With {@code PKCS11DEBUG} set the mechanism type is printed.
     *
     * @param mechanism the mechanism type
     * @param parameter the mechanism's parameter, or null
     * @param key the key; with handle 0 the call returns at once and nothing is initialised
     */
    public native void decryptInit(int mechanism, Object parameter, NativePKCS11Object key);

    /**
     * Decrypts all the data in one step ({@code C_Decrypt}).
     *
     * @param in the input
     * @param inOffset index of its first byte
     * @param inLength its length in bytes
     * @param out receives the output
     * @param outOffset index of its first byte; its capacity is the rest of the array
     * @return the number of bytes written, or the length needed if it exceeds the capacity
     */
    public native int decrypt(byte[] in, int inOffset, int inLength, byte[] out, int outOffset);

    /**
     * Decrypts a part of the data ({@code C_DecryptUpdate}).
     *
     * @param in the input
     * @param inOffset index of its first byte
     * @param inLength its length in bytes
     * @param out receives the output
     * @param outOffset index of its first byte; its capacity is the rest of the array
     * @return the number of bytes written, or the length needed if it exceeds the capacity
     */
    public native int decryptUpdate(byte[] in, int inOffset, int inLength, byte[] out, int outOffset);

    /**
     * Ends a decryption in parts ({@code C_DecryptFinal}).
     *
     * @param out receives the output
     * @param outOffset index of its first byte; its capacity is the rest of the array
     * @return the number of bytes written, or the length needed if it exceeds the capacity
     */
    public native int decryptFinal(byte[] out, int outOffset);

    /**
     * Starts a decryption and decrypts all the data in one native call ({@code C_DecryptInit}, then {@code C_Decrypt}).
     * The two calls of the token are separate: what another thread does in the same session can come between them.
     *
     * <p>If the output array is too small, the length needed is returned and the operation goes on: it is to be
     * finished by {@link #decrypt}, not started again.
     *
     * <p>The native method returns small values in place of 0 when it ends early: 2 after a null or unloaded object in
     * the handle chain, 4 after a refused parameter, 5 after a refused initialisation. All of these come with an
     * exception, which is all that Java sees. Only 3, for a key with handle 0, comes without: nothing was decrypted
     * then, though 3 reads like three bytes written.
     *
     * @param mechanism the mechanism type, {@code CKM_AES_GCM}
     * @param parameter the mechanism's parameter, a {@link com.kelvane.pkcs11.CK_GCM_PARAMS}
     * @param key the key; with handle 0 the call returns 3 at once and does nothing
     * @param in the input
     * @param inOffset index of its first byte
     * @param inLength its length in bytes
     * @param out receives the output
     * @param outOffset index of its first byte; its capacity is the rest of the array
     * @return the number of bytes written, or the length needed if it exceeds the capacity; 3 without any output for
     *     a key with handle 0
     */
    public native int decryptDoFinalGCM(int mechanism, Object parameter, NativePKCS11Object key, byte[] in,
        int inOffset, int inLength, byte[] out, int outOffset);

    // Digests

    /**
     * Digests data.
     *
     * @param mechanism the mechanism type
     * @param parameter the mechanism's parameter, or null
     * @param data the data
     * @return the digest
     */
    public byte[] digest(int mechanism, Object parameter, byte[] data) {
        return operation(Kind.DIGEST, mechanism, parameter, () -> digestInit(mechanism, parameter))
            .whole(this::digest, this::digestFinal, data);
    }

    /**
     * Digests a stream of any length, in small parts.
     *
     * @param mechanism the mechanism type
     * @param parameter the mechanism's parameter, or null
     * @param in the data; read to its end, not closed
     * @return the digest
     * @throws IOException if the stream fails
     */
    public byte[] digest(int mechanism, Object parameter, InputStream in) throws IOException {
        return operation(Kind.DIGEST, mechanism, parameter, () -> digestInit(mechanism, parameter))
            .gathered(this::digestUpdate, this::digest, this::digestFinal, in);
    }

    /**
     * Starts a digest ({@code C_DigestInit}).
     *
     * @param mechanism the mechanism type
     * @param parameter the mechanism's parameter, or null
     */
    public native void digestInit(int mechanism, Object parameter);

    /**
     * Digests all the data in one step ({@code C_Digest}).
     *
     * @param in the input
     * @param inOffset index of its first byte
     * @param inLength its length in bytes
     * @param out receives the output
     * @param outOffset index of its first byte; its capacity is the rest of the array
     * @return the number of bytes written
     */
    public native int digest(byte[] in, int inOffset, int inLength, byte[] out, int outOffset);

    /**
     * Digests a part of the data ({@code C_DigestUpdate}).
     *
     * @param in the input
     * @param inOffset index of its first byte
     * @param inLength its length in bytes
     */
    public native void digestUpdate(byte[] in, int inOffset, int inLength);

    /**
     * Digests the value of a secret key as a part of the data ({@code C_DigestKey}).
     *
     * @param key the key; with handle 0 the call returns at once and nothing is digested
     */
    public native void digestKey(NativePKCS11Object key);

    /**
     * Ends a digest in parts ({@code C_DigestFinal}).
     *
     * @param out receives the output
     * @param outOffset index of its first byte; its capacity is the rest of the array
     * @return the number of bytes written
     */
    public native int digestFinal(byte[] out, int outOffset);

    // Signatures and MACs

    /**
     * Signs data, or computes a MAC.
     *
     * @param mechanism the mechanism type
     * @param parameter the mechanism's parameter, or null
     * @param key the key
     * @param data the data; for a mechanism that does not hash by itself, {@code CKM_ECDSA} for example, their hash
     * @return the signature; of ECDSA the two numbers one after the other, without DER
     */
    public byte[] sign(int mechanism, Object parameter, NativePKCS11Object key, byte[] data) {
        return operation(Kind.SIGN, mechanism, parameter, () -> signInit(mechanism, parameter, usable(key)))
            .whole(this::sign, this::signFinal, data);
    }

    /**
     * Signs a stream of any length, in small parts, or computes a MAC.
     *
     * @param mechanism the mechanism type, one that hashes by itself
     * @param parameter the mechanism's parameter, or null
     * @param key the key
     * @param in the data; read to its end, not closed
     * @return the signature
     * @throws IOException if the stream fails; a token that lacks {@code C_SessionCancel} makes a signature then, which
     *     is lost
     */
    public byte[] sign(int mechanism, Object parameter, NativePKCS11Object key, InputStream in) throws IOException {
        return operation(Kind.SIGN, mechanism, parameter, () -> signInit(mechanism, parameter, usable(key)))
            .gathered(this::signUpdate, this::sign, this::signFinal, in);
    }

    /**
     * Starts a signature or MAC ({@code C_SignInit}).
     *
     * @param mechanism the mechanism type
     * @param parameter the mechanism's parameter, or null
     * @param key the key; with handle 0 the call returns at once and nothing is initialised
     */
    public native void signInit(int mechanism, Object parameter, NativePKCS11Object key);

    /**
     * Signs all the data in one step ({@code C_Sign}).
     *
     * @param in the input
     * @param inOffset index of its first byte
     * @param inLength its length in bytes
     * @param out receives the output
     * @param outOffset index of its first byte; its capacity is the rest of the array
     * @return the number of bytes written
     */
    public native int sign(byte[] in, int inOffset, int inLength, byte[] out, int outOffset);

    /**
     * Signs a part of the data ({@code C_SignUpdate}).
     *
     * @param in the input
     * @param inOffset index of its first byte
     * @param inLength its length in bytes
     */
    public native void signUpdate(byte[] in, int inOffset, int inLength);

    /**
     * Ends a signature in parts ({@code C_SignFinal}).
     *
     * @param out receives the output
     * @param outOffset index of its first byte; its capacity is the rest of the array
     * @return the number of bytes written
     */
    public native int signFinal(byte[] out, int outOffset);

    /**
     * Starts a signature from which the data can be recovered ({@code C_SignRecoverInit}).
     *
     * @param mechanism the mechanism type
     * @param parameter the mechanism's parameter, or null
     * @param key the key; with handle 0 the call returns at once and nothing is initialised
     */
    public native void signRecoverInit(int mechanism, Object parameter, NativePKCS11Object key);

    /**
     * Signs all the data so that it can be recovered from the signature ({@code C_SignRecover}).
     *
     * @param in the input
     * @param inOffset index of its first byte
     * @param inLength its length in bytes
     * @param out receives the output
     * @param outOffset index of its first byte; its capacity is the rest of the array
     * @return the number of bytes written
     */
    public native int signRecover(byte[] in, int inOffset, int inLength, byte[] out, int outOffset);

    // Verification

    /**
     * Verifies the signature or MAC of data.
     *
     * @param mechanism the mechanism type
     * @param parameter the mechanism's parameter, or null
     * @param key the key
     * @param data the data, as for {@link #sign(int, Object, NativePKCS11Object, byte[])}
     * @param signature the signature
     * @return true if the signature is right; false if the token returns {@code CKR_SIGNATURE_INVALID} or
     *     {@code CKR_SIGNATURE_LEN_RANGE}
     */
    public boolean verify(int mechanism, Object parameter, NativePKCS11Object key, byte[] data, byte[] signature) {
        return operation(Kind.VERIFY, mechanism, parameter, () -> verifyInit(mechanism, parameter, usable(key)))
            .verified(data, signature);
    }

    /**
     * Verifies the signature or MAC of a stream of any length, in small parts.
     *
     * @param mechanism the mechanism type, one that hashes by itself
     * @param parameter the mechanism's parameter, or null
     * @param key the key
     * @param in the data; read to its end, not closed
     * @param signature the signature
     * @return true if the signature is right; false if the token returns {@code CKR_SIGNATURE_INVALID} or
     *     {@code CKR_SIGNATURE_LEN_RANGE}
     * @throws IOException if the stream fails
     */
    public boolean verify(int mechanism, Object parameter, NativePKCS11Object key, InputStream in, byte[] signature)
        throws IOException {
        return operation(Kind.VERIFY, mechanism, parameter, () -> verifyInit(mechanism, parameter, usable(key)))
            .verified(in, signature);
    }

    /**
     * Starts the verification of a signature or MAC ({@code C_VerifyInit}).
     *
     * @param mechanism the mechanism type
     * @param parameter the mechanism's parameter, or null
     * @param key the key; with handle 0 the call returns at once and nothing is initialised
     */
    public native void verifyInit(int mechanism, Object parameter, NativePKCS11Object key);

    /**
     * Verifies the signature of all the data in one step ({@code C_Verify}).
     *
     * @param data the data
     * @param offset index of its first byte
     * @param length its length in bytes
     * @param signature the signature
     * @param sigOffset index of its first byte
     * @param sigLength its length in bytes
     * @return true if the signature is right; false if the token returns {@code CKR_SIGNATURE_INVALID}
     * @throws PKCS11Exception with any other code of the library, {@code CKR_SIGNATURE_LEN_RANGE} for a signature of
     *     the wrong length
     */
    public native boolean verify(byte[] data, int offset, int length, byte[] signature, int sigOffset, int sigLength);

    /**
     * Verifies a part of the data ({@code C_VerifyUpdate}).
     *
     * @param in the input
     * @param inOffset index of its first byte
     * @param inLength its length in bytes
     */
    public native void verifyUpdate(byte[] in, int inOffset, int inLength);

    /**
     * Ends a verification in parts ({@code C_VerifyFinal}).
     *
     * @param signature the signature
     * @param offset index of its first byte
     * @param length its length in bytes
     * @return true if the signature is right; false if the token returns {@code CKR_SIGNATURE_INVALID}
     * @throws PKCS11Exception with any other code of the library, {@code CKR_SIGNATURE_LEN_RANGE} for a signature of
     *     the wrong length
     */
    public native boolean verifyFinal(byte[] signature, int offset, int length);

    /**
     * Starts the verification of a signature from which the data is recovered ({@code C_VerifyRecoverInit}).
     *
     * @param mechanism the mechanism type
     * @param parameter the mechanism's parameter, or null
     * @param key the key; with handle 0 the call returns at once and nothing is initialised
     */
    public native void verifyRecoverInit(int mechanism, Object parameter, NativePKCS11Object key);

    /**
     * Verifies a signature and recovers the data from it ({@code C_VerifyRecover}).
     *
     * @param in the signature
     * @param inOffset index of its first byte
     * @param inLength its length in bytes
     * @param out receives the output
     * @param outOffset index of its first byte; its capacity is the rest of the array
     * @return the number of bytes written; -1 if the token returns {@code CKR_SIGNATURE_INVALID}
     */
    public native int verifyRecover(byte[] in, int inOffset, int inLength, byte[] out, int outOffset);

    // Two operations at once

    /**
     * Digests a part of the data and encrypts it ({@code C_DigestEncryptUpdate}).
     *
     * @param in the input
     * @param inOffset index of its first byte
     * @param inLength its length in bytes
     * @param out receives the output
     * @param outOffset index of its first byte; its capacity is the rest of the array
     * @return the number of bytes written
     */
    public native int digestEncryptUpdate(byte[] in, int inOffset, int inLength, byte[] out, int outOffset);

    /**
     * Decrypts a part of the data and digests the result ({@code C_DecryptDigestUpdate}).
     *
     * @param in the input
     * @param inOffset index of its first byte
     * @param inLength its length in bytes
     * @param out receives the output
     * @param outOffset index of its first byte; its capacity is the rest of the array
     * @return the number of bytes written
     */
    public native int decryptDigestUpdate(byte[] in, int inOffset, int inLength, byte[] out, int outOffset);

    /**
     * Signs a part of the data and encrypts it ({@code C_SignEncryptUpdate}).
     *
     * @param in the input
     * @param inOffset index of its first byte
     * @param inLength its length in bytes
     * @param out receives the output
     * @param outOffset index of its first byte; its capacity is the rest of the array
     * @return the number of bytes written
     */
    public native int signEncryptUpdate(byte[] in, int inOffset, int inLength, byte[] out, int outOffset);

    /**
     * Decrypts a part of the data and verifies the result ({@code C_DecryptVerifyUpdate}).
     *
     * @param in the input
     * @param inOffset index of its first byte
     * @param inLength its length in bytes
     * @param out receives the output
     * @param outOffset index of its first byte; its capacity is the rest of the array
     * @return the number of bytes written
     */
    public native int decryptVerifyUpdate(byte[] in, int inOffset, int inLength, byte[] out, int outOffset);

    // Key management

    /**
     * Generates a secret key.
     *
     * @param mechanism the mechanism type
     * @param parameter the mechanism's parameter, or null
     * @param template the key's attributes
     * @return the key
     */
    public NativePKCS11Object generateKey(int mechanism, Object parameter, Template template) {
        return ShortForm.call("C_GenerateKey", mechanism, parameter, () ->
            generateKey(mechanism, parameter, template.getTypes(), template.getValues()));
    }

    /**
     * Generates a secret key, or a set of domain parameters ({@code C_GenerateKey}).
     *
     * <p>For the password-based mechanisms the initialisation vector made by the token is copied back into
     * {@link com.kelvane.pkcs11.PKCS11MechPar_PBE#iv}, which must hold 8 bytes; without it the call is
     * refused only after the token has made the key.
     *
     * @param mechanism the mechanism type
     * @param parameter the mechanism's parameter, or null
     * @param types the attribute types, or null
     * @param values their values, or null
     * @return the key
     * @throws PKCS11Exception with {@code CKR_TEMPLATE_INCONSISTENT} (0xd1), {@code CKR_ATTRIBUTE_TYPE_INVALID} (0x12)
     *     or {@code CKR_ATTRIBUTE_VALUE_INVALID} (0x13) if the attributes are refused
     */
    public native NativePKCS11Object generateKey(int mechanism, Object parameter, int[] types, Object[] values);

    /**
     * Generates a key pair.
     *
     * @param mechanism the mechanism type
     * @param parameter the mechanism's parameter, or null
     * @param publicTemplate the public key's attributes
     * @param privateTemplate the private key's attributes
     * @return the two keys
     */
    public NativePKCS11KeyPair generateKeyPair(int mechanism, Object parameter, Template publicTemplate,
        Template privateTemplate) {
        PKCS11Object[] pair = ShortForm.call("C_GenerateKeyPair", mechanism, parameter, () ->
            generateKeyPair(mechanism, parameter, publicTemplate.getTypes(), publicTemplate.getValues(),
                privateTemplate.getTypes(), privateTemplate.getValues()));
        return new NativePKCS11KeyPair((NativePKCS11Object) pair[0], (NativePKCS11Object) pair[1]);
    }

    /**
     * Generates a key pair ({@code C_GenerateKeyPair}).
     *
     * @param mechanism the mechanism type
     * @param parameter the mechanism's parameter, or null
     * @param publicTypes the public key's attribute types, or null
     * @param publicValues their values, or null
     * @param privateTypes the private key's attribute types, or null
     * @param privateValues their values, or null
     * @return the public key, then the private key, each a {@link NativePKCS11Object}
     * @throws PKCS11Exception with {@code CKR_TEMPLATE_INCONSISTENT} (0xd1), {@code CKR_ATTRIBUTE_TYPE_INVALID} (0x12)
     *     or {@code CKR_ATTRIBUTE_VALUE_INVALID} (0x13) if the attributes are refused
     */
    public native PKCS11Object[] generateKeyPair(int mechanism, Object parameter, int[] publicTypes,
        Object[] publicValues, int[] privateTypes, Object[] privateValues);

    /**
     * Wraps, that is encrypts, a key with another one.
     *
     * @param mechanism the mechanism type
     * @param parameter the mechanism's parameter, or null
     * @param wrappingKey the key to encrypt with
     * @param key the key to be wrapped
     * @return the wrapped key
     */
    public byte[] wrapKey(int mechanism, Object parameter, NativePKCS11Object wrappingKey, NativePKCS11Object key) {
        try (OutputBuffer output = OutputBuffer.ofArrays()) {
            OutputBuffer.Call call =
                out -> wrapKey(mechanism, parameter, usable(wrappingKey), usable(key), out.array(), 0);
            return ShortForm.call("C_WrapKey", mechanism, parameter,
                () -> output.toArray(output.fill(OutputBuffer.EXTRA, call, null)));
        }
    }

    /**
     * Wraps, that is encrypts, a key with another one ({@code C_WrapKey}).
     *
     * @param mechanism the mechanism type
     * @param parameter the mechanism's parameter, or null
     * @param wrappingKey the key to encrypt with; with handle 0 the call returns 0 at once and does nothing
     * @param key the key to be wrapped, likewise
     * @param wrappedKey receives the wrapped key
     * @param offset index of its first byte; its capacity is the rest of the array
     * @return the number of bytes written
     * @throws PKCS11Exception with {@code CKR_BUFFER_TOO_SMALL} (0x150) if the capacity is too small; there is no query
     *     for the length needed
     */
    public native int wrapKey(int mechanism, Object parameter, NativePKCS11Object wrappingKey, NativePKCS11Object key,
        byte[] wrappedKey, int offset);

    /**
     * Unwraps, that is decrypts, a key with another one.
     *
     * @param mechanism the mechanism type
     * @param parameter the mechanism's parameter, or null
     * @param unwrappingKey the key to decrypt with; with handle 0 the call returns null at once and does nothing
     * @param wrappedKey the wrapped key
     * @param template the new key's attributes
     * @return the new key
     */
    public NativePKCS11Object unwrapKey(int mechanism, Object parameter, NativePKCS11Object unwrappingKey,
        byte[] wrappedKey, Template template) {
        return ShortForm.call("C_UnwrapKey", mechanism, parameter, () -> unwrapKey(mechanism, parameter,
            unwrappingKey, wrappedKey, 0, wrappedKey.length, template.getTypes(), template.getValues()));
    }

    /**
     * Unwraps, that is decrypts, a key with another one ({@code C_UnwrapKey}).
     *
     * @param mechanism the mechanism type
     * @param parameter the mechanism's parameter, or null
     * @param unwrappingKey the key to decrypt with; with handle 0 the call returns null at once and does nothing
     * @param wrappedKey the wrapped key
     * @param offset index of its first byte
     * @param length its length in bytes
     * @param types the new key's attribute types, or null
     * @param values their values, or null
     * @return the new key
     * @throws PKCS11Exception with {@code CKR_TEMPLATE_INCONSISTENT} (0xd1), {@code CKR_ATTRIBUTE_TYPE_INVALID} (0x12)
     *     or {@code CKR_ATTRIBUTE_VALUE_INVALID} (0x13) if the attributes are refused
     */
    public native NativePKCS11Object unwrapKey(int mechanism, Object parameter, NativePKCS11Object unwrappingKey,
        byte[] wrappedKey, int offset, int length, int[] types, Object[] values);

    /**
     * Derives a key from another one. What some mechanisms return besides is in the parameter object, see the native
     * method.
     *
     * @param mechanism the mechanism type
     * @param parameter the mechanism's parameter, or null
     * @param baseKey the key to derive from; with handle 0 the call returns null at once and does nothing
     * @param template the new key's attributes
     * @return the new key
     */
    public NativePKCS11Object deriveKey(int mechanism, Object parameter, NativePKCS11Object baseKey,
        Template template) {
        return ShortForm.call("C_DeriveKey", mechanism, parameter, () ->
            deriveKey(mechanism, parameter, baseKey, template.getTypes(), template.getValues()));
    }

    /**
     * Derives a key from another one ({@code C_DeriveKey}).
     *
     * <p>Some mechanisms return more than the key, in the parameter object:
     *
     * <ul>
     * <li>{@code CKM_SSL3_MASTER_KEY_DERIVE} and {@code CKM_TLS_MASTER_KEY_DERIVE} in
     * {@link com.kelvane.pkcs11.CK_SSL3_MASTER_KEY_DERIVE_PARAMS#version};
     * <li>{@code CKM_TLS12_MASTER_KEY_DERIVE} and {@code CKM_TLS12_EXTENDED_MASTER_KEY_DERIVE} in
     * {@link com.kelvane.pkcs11.CK_TLS12_MASTER_KEY_DERIVE_PARAMS#pVersion} and
     * {@link com.kelvane.pkcs11.CK_TLS12_EXTENDED_MASTER_KEY_DERIVE_PARAMS#pVersion};
     * <li>{@code CKM_SSL3_KEY_AND_MAC_DERIVE} and {@code CKM_TLS_KEY_AND_MAC_DERIVE} in
     * {@link com.kelvane.pkcs11.CK_SSL3_KEY_MAT_PARAMS#returnedKeyMaterial};
     * <li>{@code CKM_TLS12_KEY_AND_MAC_DERIVE} and {@code CKM_TLS12_KEY_SAFE_DERIVE} in
     * {@link com.kelvane.pkcs11.CK_TLS12_KEY_MAT_PARAMS#pReturnedKeyMaterial};
     * <li>{@code CKM_TLS_PRF} in {@link com.kelvane.pkcs11.CK_TLS_PRF_PARAMS#output};
     * <li>the {@code CKM_SP800_108} mechanisms in {@link com.kelvane.pkcs11.CK_DERIVED_KEY#phKey} of each additional
     * key.
     * </ul>
     *
     * <p>With {@code PKCS11DEBUG} set the call and the new handle are printed.
     *
     * @param mechanism the mechanism type
     * @param parameter the mechanism's parameter, or null
     * @param baseKey the key to derive from; with handle 0 the call returns null at once and does nothing
     * @param types the new key's attribute types, or null
     * @param values their values, or null
     * @return the new key
     * @throws PKCS11Exception with {@code CKR_TEMPLATE_INCONSISTENT} (0xd1), {@code CKR_ATTRIBUTE_TYPE_INVALID} (0x12)
     *     or {@code CKR_ATTRIBUTE_VALUE_INVALID} (0x13) if the attributes are refused
     */
    public native NativePKCS11Object deriveKey(int mechanism, Object parameter, NativePKCS11Object baseKey, int[] types,
        Object[] values);

    /**
     * Creates a secret key and encapsulates it with a public key ({@code C_EncapsulateKey}, edition 3.2), for a
     * ciphertext of at most 32,768 bytes.
     *
     * @param mechanism the mechanism type, {@code CKM_ML_KEM} for example
     * @param parameter the mechanism's parameter, or null
     * @param publicKey the public key
     * @param template the secret key's attributes
     * @return the secret key and its ciphertext
     * @throws PKCS11Exception with the module's return code; {@code CKR_FUNCTION_NOT_SUPPORTED} if the module does not
     *     offer edition 3.2
     */
    public NativePKCS11Encapsulation encapsulateKey(int mechanism, Object parameter, NativePKCS11Object publicKey,
        Template template) {
        Object[] result = ShortForm.call("C_EncapsulateKey", mechanism, parameter, () ->
            NativeExtensions.encapsulateKey(this, mechanism, parameter, usable(publicKey), template.getTypes(),
                template.getValues()));
        return new NativePKCS11Encapsulation((byte[]) result[0], (NativePKCS11Object) result[1]);
    }

    /**
     * Creates the secret key that was encapsulated with a public key, by its private key ({@code C_DecapsulateKey},
     * edition 3.2).
     *
     * @param mechanism the mechanism type, {@code CKM_ML_KEM} for example
     * @param parameter the mechanism's parameter, or null
     * @param privateKey the private key
     * @param ciphertext the ciphertext
     * @param template the secret key's attributes
     * @return the secret key
     * @throws PKCS11Exception as {@link #encapsulateKey} throws it
     */
    public NativePKCS11Object decapsulateKey(int mechanism, Object parameter, NativePKCS11Object privateKey,
        byte[] ciphertext, Template template) {
        return ShortForm.call("C_DecapsulateKey", mechanism, parameter, () ->
            NativeExtensions.decapsulateKey(this, mechanism, parameter, usable(privateKey), ciphertext, 0,
                ciphertext.length, template.getTypes(), template.getValues()));
    }

    // Objects

    /**
     * Finds the objects that have certain attributes. The search is always ended.
     *
     * @param template the attributes; {@code Template.of()} finds all objects
     * @return the objects; an empty list if there are none
     */
    @SuppressWarnings("try") // the search is there to be closed
    public List<NativePKCS11Object> findObjects(Template template) {
        List<NativePKCS11Object> found = new ArrayList<>();
        ShortForm.run("C_FindObjectsInit", () -> findObjectsInit(template));
        try (Search search = () -> ShortForm.run("C_FindObjectsFinal", this::findObjectsFinal)) {
            ShortForm.run("C_FindObjects", () -> {
                for (NativePKCS11Object each = findObject(); each != null; each = findObject()) {
                    found.add(each);
                }
            });
        }
        return found;
    }

    /** A search to be ended; a failure of that does not hide an earlier one. */
    private interface Search extends AutoCloseable {
        @Override
        void close();
    }

    /**
     * Creates an object.
     *
     * @param template the object's attributes
     * @return the object
     */
    public NativePKCS11Object createObject(Template template) {
        return ShortForm.call("C_CreateObject", () -> createObject(template.getTypes(), template.getValues()));
    }

    /**
     * Creates an object ({@code C_CreateObject}).
     *
     * @param types the object's attribute types, or null
     * @param values their values, or null
     * @return the object
     * @throws PKCS11Exception with {@code CKR_TEMPLATE_INCONSISTENT} (0xd1), {@code CKR_ATTRIBUTE_TYPE_INVALID} (0x12)
     *     or {@code CKR_ATTRIBUTE_VALUE_INVALID} (0x13) if the attributes are refused
     */
    public native NativePKCS11Object createObject(int[] types, Object[] values);

    /**
     * Copies an object, with some attributes changed.
     *
     * @param source the object to be copied; with handle 0 the call returns null and does nothing
     * @param changes the attributes to be changed
     * @return the copy, in this session
     */
    public NativePKCS11Object copy(NativePKCS11Object source, Template changes) {
        return ShortForm.call("C_CopyObject", () -> copy(source, changes.getTypes(), changes.getValues()));
    }

    /**
     * Copies an object, with some attributes changed ({@code C_CopyObject}).
     *
     * @param source the object to be copied; with handle 0 the call returns null and does nothing
     * @param types the attribute types to be changed, or null
     * @param values their values, or null
     * @return the copy, in this session
     * @throws PKCS11Exception with {@code CKR_TEMPLATE_INCONSISTENT} (0xd1), {@code CKR_ATTRIBUTE_TYPE_INVALID} (0x12)
     *     or {@code CKR_ATTRIBUTE_VALUE_INVALID} (0x13) if the attributes are refused
     */
    public native NativePKCS11Object copy(NativePKCS11Object source, int[] types, Object[] values);

    /**
     * Destroys an object ({@code C_DestroyObject}). The Java object is not changed, but of no use any more.
     *
     * @param object the object; with handle 0 the call returns and does nothing
     */
    public native void destroyObject(NativePKCS11Object object);

    /**
     * Starts a search, as the native method does; {@link #findObjects} does all of it.
     *
     * @param template the attributes
     */
    public void findObjectsInit(Template template) {
        findObjectsInit(template.getTypes(), template.getValues());
    }

    /**
     * Starts a search for the objects that have certain attributes ({@code C_FindObjectsInit}). {@link #findObject} is
     * then called until it returns null, and {@link #findObjectsFinal} ends the search.
     *
     * <p>A session has one search at a time; one that several threads share is not protected as a whole.
     *
     * @param types the attribute types, or null; no attributes find all objects
     * @param values their values, or null
     * @throws PKCS11Exception with {@code CKR_TEMPLATE_INCONSISTENT} (0xd1), {@code CKR_ATTRIBUTE_TYPE_INVALID} (0x12)
     *     or {@code CKR_ATTRIBUTE_VALUE_INVALID} (0x13) if the attributes are refused
     */
    public native void findObjectsInit(int[] types, Object[] values);

    /**
     * Returns the next object that was found ({@code C_FindObjects}, for one object).
     *
     * @return the object; null if there are no more
     * @throws PKCS11Exception with the module's return code
     */
    public native NativePKCS11Object findObject();

    /** Ends a search ({@code C_FindObjectsFinal}). */
    public native void findObjectsFinal();

    // Attributes

    /**
     * Reads a boolean attribute of an object ({@code C_GetAttributeValue}).
     *
     * @param object the object to read; with handle 0 the result is false
     * @param type the attribute type
     * @return the value
     * @throws PKCS11Exception as {@link NativePKCS11Object#getBoolAttributeValue} raises it
     */
    public native boolean getBoolAttributeValue(NativePKCS11Object object, int type);

    /**
     * Reads an integer attribute of an object ({@code C_GetAttributeValue}).
     *
     * @param object the object to read; with handle 0 the result is 0
     * @param type the attribute type
     * @return the value, its low 32 bits unsigned
     * @throws PKCS11Exception as {@link NativePKCS11Object#getIntAttributeValue} raises it
     */
    public native int getIntAttributeValue(NativePKCS11Object object, int type);

    /**
     * Reads a text attribute of an object ({@code C_GetAttributeValue}).
     *
     * @param object the object to read; with handle 0 the result is null
     * @param type the attribute type
     * @return the value, trailing blanks kept and cut at a NUL; "" for an empty value
     * @throws PKCS11Exception as {@link NativePKCS11Object#getStringAttributeValue} raises it
     */
    public native String getStringAttributeValue(NativePKCS11Object object, int type);

    /**
     * Reads an attribute of any type of an object as bytes ({@code C_GetAttributeValue}), vendor-defined types
     * included.
     *
     * @param object the object to read; with handle 0 the result is null
     * @param type the attribute type
     * @return the value as it is; an empty array for an empty value
     * @throws PKCS11Exception as {@link NativePKCS11Object#getByteArrayAttributeValue} raises it
     */
    public native byte[] getByteArrayAttributeValue(NativePKCS11Object object, int type);

    /**
     * Reads a date attribute of an object ({@code C_GetAttributeValue}).
     *
     * @param object the object to read; with handle 0 the result is null
     * @param type the attribute type
     * @return the first moment of the day in the process's local time zone; null for an empty value
     * @throws PKCS11Exception as {@link NativePKCS11Object#getDateAttributeValue} raises it
     */
    public native Date getDateAttributeValue(NativePKCS11Object object, int type);

    /**
     * Reads a big integer attribute of an object ({@code C_GetAttributeValue}).
     *
     * @param object the object to read; with handle 0 the result is null
     * @param type the attribute type
     * @return the value, never negative; 0 for an empty value
     * @throws PKCS11Exception as {@link NativePKCS11Object#getBigIntegerAttributeValue} raises it
     */
    public native BigInteger getBigIntegerAttributeValue(NativePKCS11Object object, int type);

    /**
     * Reads an attribute of an object. The class of the result follows from the kind of the attribute: {@code Boolean},
     * {@code Integer}, {@code String}, {@code byte[]}, {@code Date}, {@code BigInteger} or {@code int[]}.
     *
     * @param object the object to read; with handle 0 the result is null
     * @param type the attribute type
     * @return the value, as the method for its kind returns it
     * @throws PKCS11Exception with {@code CKR_ATTRIBUTE_TYPE_INVALID} (0x12) if the type is not known; otherwise as the
     *     method for its kind raises it
     */
    public native Object getAttributeValue(NativePKCS11Object object, int type);

    /**
     * Reads several attributes of an object: one call of the token for all, for the values of fixed length and the
     * lengths of the others, then one for each of these.
     *
     * <p>One attribute that the object lacks, or that is sensitive, makes the whole call fail; and every
     * call leaves the virtual machine's copy of {@code types} behind, some 32 bytes for a few types, which are not
     * released as long as the process runs. {@link PKCS11Object#readAttributes} has neither problem.
     *
     * <p>An element is null where the type is not known, and, unlike the results of the methods for one attribute, for
     * an empty value of kind String, Date or BigInteger.
     *
     * @param object the object to read; with handle 0 the result is null
     * @param types the attribute types
     * @param count how many of them to read, from the first on
     * @return the values, {@code count} of them
     * @throws PKCS11Exception with the module's return code, if it refuses one of the attributes; with
     *     {@code CKR_DATA_INVALID} (0x20) if {@code count} is negative or greater than the length of {@code types};
     *     with {@code CKR_ATTRIBUTE_VALUE_INVALID} (0x13) if a value has the wrong length or is no date; "can't access
     *     attribute types array" if {@code types} is null; "alloca() failed", "getStringAttributeValues(): alloca()
     *     failed", "NewByteArray() failed" or "can't get byte[] elements" without memory
     */
    public native Object[] getAttributeValues(NativePKCS11Object object, int[] types, int count);

    // Direct buffers

    /**
     * Encrypts all the data in one step ({@code C_Encrypt}), without copies.
     *
     * @param in the input, a direct buffer
     * @param out receives the output, a direct buffer
     * @return the number of bytes written, or the length needed if that is more than the output's remaining bytes: no
     *     position has moved then, and the call can be repeated
     */
    public int encrypt(ByteBuffer in, ByteBuffer out) {
        return DirectBuffers.inOut(this, NativeExtensions::encrypt, in, out);
    }

    /**
     * Encrypts a part of the data ({@code C_EncryptUpdate}), without copies.
     *
     * @param in the input, a direct buffer
     * @param out receives the output, a direct buffer
     * @return the number of bytes written, or the length needed if that is more than the output's remaining bytes: no
     *     position has moved then, and the call can be repeated
     */
    public int encryptUpdate(ByteBuffer in, ByteBuffer out) {
        return DirectBuffers.inOut(this, NativeExtensions::encryptUpdate, in, out);
    }

    /**
     * Ends an encryption in parts ({@code C_EncryptFinal}), without copies.
     *
     * @param out receives the output, a direct buffer
     * @return the number of bytes written, or the length needed if that is more than the output's remaining bytes
     */
    public int encryptFinal(ByteBuffer out) {
        return DirectBuffers.last(this, NativeExtensions::encryptFinal, out);
    }

    /**
     * Decrypts all the data in one step ({@code C_Decrypt}), without copies.
     *
     * @param in the input, a direct buffer
     * @param out receives the output, a direct buffer
     * @return the number of bytes written, or the length needed if that is more than the output's remaining bytes: no
     *     position has moved then, and the call can be repeated
     */
    public int decrypt(ByteBuffer in, ByteBuffer out) {
        return DirectBuffers.inOut(this, NativeExtensions::decrypt, in, out);
    }

    /**
     * Decrypts a part of the data ({@code C_DecryptUpdate}), without copies.
     *
     * @param in the input, a direct buffer
     * @param out receives the output, a direct buffer
     * @return the number of bytes written, or the length needed if that is more than the output's remaining bytes: no
     *     position has moved then, and the call can be repeated
     */
    public int decryptUpdate(ByteBuffer in, ByteBuffer out) {
        return DirectBuffers.inOut(this, NativeExtensions::decryptUpdate, in, out);
    }

    /**
     * Ends a decryption in parts ({@code C_DecryptFinal}), without copies.
     *
     * @param out receives the output, a direct buffer
     * @return the number of bytes written, or the length needed if that is more than the output's remaining bytes
     */
    public int decryptFinal(ByteBuffer out) {
        return DirectBuffers.last(this, NativeExtensions::decryptFinal, out);
    }

    /**
     * Digests all the data in one step ({@code C_Digest}), without copies.
     *
     * @param in the input, a direct buffer
     * @param out receives the output, a direct buffer
     * @return the number of bytes written
     */
    public int digest(ByteBuffer in, ByteBuffer out) {
        return DirectBuffers.inOut(this, NativeExtensions::digest, in, out);
    }

    /**
     * Digests a part of the data ({@code C_DigestUpdate}), without copies.
     *
     * @param in the input, a direct buffer
     */
    public void digestUpdate(ByteBuffer in) {
        DirectBuffers.update(this, NativeExtensions::digestUpdate, in);
    }

    /**
     * Signs all the data in one step ({@code C_Sign}), without copies.
     *
     * @param in the input, a direct buffer
     * @param out receives the output, a direct buffer
     * @return the number of bytes written
     */
    public int sign(ByteBuffer in, ByteBuffer out) {
        return DirectBuffers.inOut(this, NativeExtensions::sign, in, out);
    }

    /**
     * Signs a part of the data ({@code C_SignUpdate}), without copies.
     *
     * @param in the input, a direct buffer
     */
    public void signUpdate(ByteBuffer in) {
        DirectBuffers.update(this, NativeExtensions::signUpdate, in);
    }

    /**
     * Verifies the signature of all the data in one step ({@code C_Verify}), without copies.
     *
     * @param in the data, a direct buffer
     * @param signature the signature, a direct buffer
     * @return true if the signature is right; false if the token returns {@code CKR_SIGNATURE_INVALID}
     */
    public boolean verify(ByteBuffer in, ByteBuffer signature) {
        return DirectBuffers.verify(this, in, signature);
    }

    /**
     * Verifies a part of the data ({@code C_VerifyUpdate}), without copies.
     *
     * @param in the input, a direct buffer
     */
    public void verifyUpdate(ByteBuffer in) {
        DirectBuffers.update(this, NativeExtensions::verifyUpdate, in);
    }
}
