package com.kelvane.pkcs11.provider;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.Template;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.lang.ref.Reference;
import java.nio.ByteBuffer;
import java.security.AlgorithmParameters;
import java.security.GeneralSecurityException;
import java.security.InvalidAlgorithmParameterException;
import java.security.InvalidKeyException;
import java.security.Key;
import java.security.NoSuchAlgorithmException;
import java.security.PrivateKey;
import java.security.ProviderException;
import java.security.SecureRandom;
import java.security.spec.AlgorithmParameterSpec;
import java.security.spec.InvalidParameterSpecException;
import java.util.Arrays;
import javax.crypto.AEADBadTagException;
import javax.crypto.BadPaddingException;
import javax.crypto.Cipher;
import javax.crypto.CipherSpi;
import javax.crypto.IllegalBlockSizeException;
import javax.crypto.NoSuchPaddingException;
import javax.crypto.ShortBufferException;

/**
 * A cipher on the token: what all of them have in common.
 *
 * <p>A doFinal whose output buffer is too small changes nothing where the length of the result is known before. Other
 * results are kept, and returned when the call is repeated with the same data.
 */
abstract class TokenCipher extends CipherSpi {
    private static final byte[] NOTHING = {};

    /** The length from which calls with direct buffers are quicker than those with arrays, copies included. */
    private static final int LARGE = 1 << 18;

    /** The most by which a result is longer than the data: more than a block or a tag. */
    private static final int LONGEST_GROWTH = 32;

    final Token token;
    final int mechanism;

    /** The class of the algorithm's parameters. */
    private final Class<? extends AlgorithmParameterSpec> parameterClass;
    private final int blockSize;

    /** The mode: {@code Cipher.ENCRYPT_MODE} and its like. */
    int mode;

    /** The initialisation vector or nonce; null if there is none. */
    byte[] iv;

    /** The data that was given and has not gone to the token. */
    final Buffer data = new Buffer();
    private TokenKey key;
    private TokenKeySpec keySpec;

    /** The result of a doFinal whose output buffer was too small, null if there is none; and the data of that call. */
    private byte[] unclaimed, unclaimedData;

    TokenCipher(Token token, int mechanism, Class<? extends AlgorithmParameterSpec> parameterClass, int blockSize) {
        this.token = token;
        this.mechanism = mechanism;
        this.parameterClass = parameterClass;
        this.blockSize = blockSize;
    }

    // For the subclasses to do

    /**
     * Prepares an operation, or the wrapping of keys.
     *
     * @param parameters the parameters of the algorithm; null for none
     * @param random the source of random parameters; null for any
     * @return the key; null if the operation is done in software
     */
    abstract TokenKey start(Key newKey, AlgorithmParameterSpec parameters, SecureRandom random)
        throws InvalidKeyException, InvalidAlgorithmParameterException;

    /** Returns the mechanism's parameter for data of a length; null if there is none. */
    Object parameter(int length) {
        return null;
    }

    /** Returns the number of bytes that an update with more data delivers. */
    int updateSize(int more) {
        return 0;
    }

    /** Takes data, and returns what it delivers. */
    byte[] update(byte[] in, int offset, int length) {
        data.add(in, offset, length);
        return NOTHING;
    }

    /** Returns the most that a doFinal with more data delivers. */
    abstract int finalSize(int more);

    /** Returns whether a doFinal delivers as much as {@link #finalSize} returns. */
    boolean isSizeExact() {
        return encrypts();
    }

    /** Takes the last data, and returns the result. */
    byte[] finish(byte[] in, int offset, int length) throws IllegalBlockSizeException, BadPaddingException {
        byte[] all = data.with(in, offset, length);
        prepare(all.length);
        return crypt(all);
    }

    /** Returns whether the data of a doFinal is all there is, and goes to the token as it is. */
    boolean isWhole() {
        return false;
    }

    /** Checks the length of the whole data of an operation. */
    void prepare(int length) throws IllegalBlockSizeException, BadPaddingException {
        // Any length is right.
    }

    /** Discards the data of the operation. */
    void reset() {
        data.clear();
    }

    // Initialisation

    @Override
    protected void engineSetMode(String name) throws NoSuchAlgorithmException {
        throw new NoSuchAlgorithmException("unsupported mode " + name);
    }

    @Override
    protected void engineSetPadding(String name) throws NoSuchPaddingException {
        throw new NoSuchPaddingException("unsupported padding " + name);
    }

    @Override
    protected void engineInit(int newMode, Key newKey, SecureRandom random) throws InvalidKeyException {
        try {
            engineInit(newMode, newKey, (AlgorithmParameterSpec) null, random);
        } catch (InvalidAlgorithmParameterException e) {
            throw new InvalidKeyException(e.getMessage(), e);
        }
    }

    @Override
    protected void engineInit(int newMode, Key newKey, AlgorithmParameters parameters, SecureRandom random)
        throws InvalidKeyException, InvalidAlgorithmParameterException {
        try {
            engineInit(newMode, newKey,
                parameters == null ? null : parameters.getParameterSpec(parameterClass), random);
        } catch (InvalidParameterSpecException e) {
            throw new InvalidAlgorithmParameterException(e.getMessage(), e);
        }
    }

    @Override
    protected void engineInit(int newMode, Key newKey, AlgorithmParameterSpec parameters, SecureRandom random)
        throws InvalidKeyException, InvalidAlgorithmParameterException {
        unclaimed = null;
        reset();
        key = null;
        mode = newMode;
        keySpec = TokenKeySpec.of(parameters);
        if (keySpec.getParameters() != null && !parameterClass.isInstance(keySpec.getParameters())) {
            if (newMode == Cipher.UNWRAP_MODE) { // JSSE tries its own parameters, and without them after this
                throw new UnsupportedOperationException("unwrapping with "
                    + keySpec.getParameters().getClass().getName());
            }
            throw new InvalidAlgorithmParameterException(parameterClass.getSimpleName() + " is needed, not "
                + keySpec.getParameters().getClass().getSimpleName());
        }
        key = start(newKey, keySpec.getParameters(), random);
    }

    @Override
    protected int engineGetBlockSize() {
        return blockSize;
    }

    @Override
    protected byte[] engineGetIV() {
        return iv == null ? null : iv.clone();
    }

    @Override
    protected AlgorithmParameters engineGetParameters() {
        return null;
    }

    boolean encrypts() {
        return mode == Cipher.ENCRYPT_MODE || mode == Cipher.WRAP_MODE;
    }

    /** Returns parameters in the form that the JDK encodes. */
    static AlgorithmParameters encoded(String algorithm, AlgorithmParameterSpec parameters) {
        try {
            AlgorithmParameters encoded = AlgorithmParameters.getInstance(algorithm);
            encoded.init(parameters);
            return encoded;
        } catch (GeneralSecurityException e) {
            throw new ProviderException(e);
        }
    }

    static byte[] random(SecureRandom given, int length) {
        byte[] random = new byte[length];
        (given == null ? new SecureRandom() : given).nextBytes(random);
        return random;
    }

    // Data

    @Override
    protected int engineGetOutputSize(int more) {
        return Math.max(unclaimed == null ? 0 : unclaimed.length, finalSize(more));
    }

    @Override
    protected byte[] engineUpdate(byte[] in, int offset, int length) {
        unclaimed = null;
        try {
            return update(in, offset, length);
        } finally {
            Reference.reachabilityFence(this);
        }
    }

    @Override
    protected int engineUpdate(byte[] in, int inOffset, int length, byte[] out, int outOffset)
        throws ShortBufferException {
        int size = updateSize(length);
        if (out.length - outOffset < size) {
            throw new ShortBufferException(size + " bytes are needed");
        }
        byte[] part = engineUpdate(in, inOffset, length);
        System.arraycopy(part, 0, out, outOffset, part.length);
        return part.length;
    }

    /** The inherited method requires the output buffer that a doFinal would need. */
    @Override
    protected int engineUpdate(ByteBuffer in, ByteBuffer out) throws ShortBufferException {
        byte[] data = new byte[in.remaining()];
        byte[] part = new byte[Math.min(out.remaining(), updateSize(data.length))];
        in.duplicate().get(data);
        int written = engineUpdate(data, 0, data.length, part, 0);
        in.position(in.limit());
        out.put(part, 0, written);
        Arrays.fill(encrypts() ? data : part, (byte) 0);
        return written;
    }

    @Override
    protected byte[] engineDoFinal(byte[] in, int offset, int length)
        throws IllegalBlockSizeException, BadPaddingException {
        byte[] data = in == null ? NOTHING : in;
        byte[] result = unclaimed;
        unclaimed = null;
        if (result != null && Arrays.equals(data, offset, offset + length, unclaimedData, 0, unclaimedData.length)) {
            return result;
        }
        try {
            return finish(data, offset, length);
        } finally {
            reset();
            Reference.reachabilityFence(this);
        }
    }

    @Override
    protected int engineDoFinal(byte[] in, int inOffset, int length, byte[] out, int outOffset)
        throws ShortBufferException, IllegalBlockSizeException, BadPaddingException {
        int capacity = capacity(length);
        int available = out.length - outOffset;
        if (isSizeExact() && available < finalSize(length)) {
            throw new ShortBufferException(finalSize(length) + " bytes are needed");
        }
        if (isOneCall(length, available)
            && (length >= LARGE || in != out && isMostlyUsed(in, length) && isMostlyUsed(out, capacity))) {
            return cryptInto(ByteBuffer.wrap(in, inOffset, length), ByteBuffer.wrap(out, outOffset, capacity));
        }
        byte[] result = engineDoFinal(in, inOffset, length);
        if (available < result.length) {
            unclaimed = result;
            unclaimedData = length == 0 ? NOTHING : Arrays.copyOfRange(in, inOffset, inOffset + length);
            throw new ShortBufferException(result.length + " bytes are needed");
        }
        System.arraycopy(result, 0, out, outOffset, result.length);
        if (!encrypts()) {
            Arrays.fill(result, (byte) 0);
        }
        return result.length;
    }

    @Override
    protected int engineDoFinal(ByteBuffer in, ByteBuffer out)
        throws ShortBufferException, IllegalBlockSizeException, BadPaddingException {
        int length = in.remaining();
        int written;
        if (isOneCall(length, out.remaining()) && (length >= LARGE || in.isDirect() && out.isDirect())) {
            written = cryptInto(in, out.slice().limit(Math.min(out.remaining(), length + LONGEST_GROWTH)));
        } else {
            byte[] data = new byte[length];
            byte[] result = new byte[Math.min(out.remaining(), Math.max(length, engineGetOutputSize(length)))];
            try {
                in.duplicate().get(data);
                written = engineDoFinal(data, 0, length, result, 0);
                out.duplicate().put(result, 0, written);
            } finally {
                Arrays.fill(data, (byte) 0);
                Arrays.fill(result, (byte) 0);
            }
        }
        in.position(in.limit());
        out.position(out.position() + written);
        return written;
    }

    /** Returns the capacity that the output needs: SoftHSM2 requires that of the input though it writes less. */
    private int capacity(int length) {
        return Math.max(length, finalSize(length));
    }

    /** Returns whether a doFinal can be one call from the caller's memory to the caller's. */
    private boolean isOneCall(int length, int available) {
        return unclaimed == null && length > 0 && isWhole() && available >= capacity(length);
    }

    /** Returns whether an array is used for the most part: each call copies all of it. */
    private static boolean isMostlyUsed(byte[] array, int used) {
        return array.length <= 2 * used + 64;
    }

    /** Encrypts or decrypts data in one call, from the caller's memory to the caller's. No position moves. */
    private int cryptInto(ByteBuffer in, ByteBuffer out) throws IllegalBlockSizeException, BadPaddingException {
        int length = in.remaining();
        try {
            prepare(length);
            Object parameter = parameter(length);
            Integer written = length < LARGE && in.hasArray() ? cryptArrays(in, out, parameter)
                : cryptBuffers(in, out, parameter);
            if (written != null) {
                return written;
            }
            byte[] data = new byte[length];
            in.duplicate().get(data);
            byte[] result = crypt(data);
            out.duplicate().put(result);
            return result.length;
        } finally {
            reset();
            Reference.reachabilityFence(this);
        }
    }

    private Integer cryptArrays(ByteBuffer in, ByteBuffer out, Object parameter)
        throws IllegalBlockSizeException, BadPaddingException {
        byte[] from = in.array();
        byte[] to = out.array();
        int start = in.arrayOffset() + in.position();
        int target = out.arrayOffset() + out.position();
        return use((session, object) -> checked(out.remaining(), encrypts()
            ? session.encryptDoFinalGCM(mechanism, parameter, object, from, start, in.remaining(), to, target)
            : session.decryptDoFinalGCM(mechanism, parameter, object, from, start, in.remaining(), to, target)));
    }

    /**
     * Encrypts or decrypts data by the library's call with direct buffers, to which other memory is copied. What the
     * module writes to the caller's memory may change its input, so that call is not repeated, and failed decryption
     * leaves nothing in it.
     */
    private Integer cryptBuffers(ByteBuffer in, ByteBuffer out, Object parameter)
        throws IllegalBlockSizeException, BadPaddingException {
        boolean isDirect = in.isDirect() && out.isDirect();
        int capacity = out.remaining();
        ByteBuffer from = isDirect ? in.duplicate()
            : ScratchBuffers.acquire(in.remaining()).put(in.duplicate()).flip();
        ByteBuffer to = isDirect ? out.slice() : ScratchBuffers.acquire(capacity);
        boolean[] isSent = new boolean[1];
        boolean isDone = false;
        try {
            Integer written = use((session, object) -> {
                if (isSent[0] && isDirect) {
                    throw new ProviderException("The operation was interrupted, start it again");
                }
                start(session, parameter, object);
                isSent[0] = true;
                return checked(capacity, encrypts() ? session.encrypt(from, to) : session.decrypt(from, to));
            });
            if (!isDirect && written != null) {
                out.duplicate().put(to.flip());
            }
            isDone = true;
            return written;
        } finally {
            if (!isDirect) {
                ScratchBuffers.release(from, encrypts());
                ScratchBuffers.release(to.limit(capacity), !encrypts());
            } else if (!isDone && !encrypts()) {
                ScratchBuffers.wipe(to.rewind());
            }
        }
    }

    /** Starts an operation in a session. */
    final void start(NativePKCS11Session session, Object parameter, NativePKCS11Object object) {
        if (encrypts()) {
            session.encryptInit(mechanism, parameter, object);
        } else {
            session.decryptInit(mechanism, parameter, object);
        }
    }

    /** Checks the length of a result. An operation that waits for a larger output buffer ends with its session. */
    private static int checked(int capacity, int written) {
        if (written > capacity) {
            throw new PKCS11Exception(CKR_BUFFER_TOO_SMALL);
        }
        return written;
    }

    /**
     * Does work with the key, and throws the exceptions that JCA has for its failures.
     *
     * @return the result; null if the module wants a larger output buffer than the result needs
     */
    private <T> T use(Token.KeyWork<T> work) throws IllegalBlockSizeException, BadPaddingException {
        try {
            return token.use(key, work);
        } catch (PKCS11Exception e) {
            if (e.getCode() == CKR_BUFFER_TOO_SMALL) {
                return null;
            }
            throw failure(e);
        } catch (InvalidKeyException e) {
            throw new ProviderException(e.getMessage(), e);
        }
    }

    /** Encrypts or decrypts data in one call, and wipes it. */
    byte[] crypt(byte[] data) throws IllegalBlockSizeException, BadPaddingException {
        Object parameter = parameter(data.length);
        try {
            if (data.length >= LARGE) {
                byte[] out = new byte[data.length + LONGEST_GROWTH];
                Integer length = cryptBuffers(ByteBuffer.wrap(data), ByteBuffer.wrap(out), parameter);
                if (length != null) {
                    byte[] result = Arrays.copyOf(out, length);
                    Arrays.fill(out, (byte) 0);
                    return result;
                }
            }
            byte[] result = use((session, object) -> encrypts() ? session.encrypt(mechanism, parameter, object, data)
                : key.requiresLogin() ? decrypt(session, parameter, object, data)
                : session.decrypt(mechanism, parameter, object, data));
            if (result == null) {
                throw new ProviderException("The token does not return the result: CKR_BUFFER_TOO_SMALL");
            }
            return result;
        } finally {
            Arrays.fill(data, (byte) 0);
        }
    }

    /** Decrypts data in two calls, with the login that the key requires between them. */
    private byte[] decrypt(NativePKCS11Session session, Object parameter, NativePKCS11Object object, byte[] data) {
        byte[] buffer = new byte[data.length];
        start(session, parameter, object);
        token.logInFor(key, session);
        byte[] result = Arrays.copyOf(buffer, session.decrypt(data, 0, data.length, buffer, 0));
        Arrays.fill(buffer, (byte) 0);
        return result;
    }

    /** Starts an operation in parts. */
    HeldSession startParts(Token.KeyWork<?> work) {
        try {
            return token.start(key, work).ownedBy(this);
        } catch (InvalidKeyException | PKCS11Exception e) {
            throw new ProviderException("The token does not start the operation: " + e.getMessage(), e);
        }
    }

    /** Returns the exception for a code of the token. */
    ProviderException failure(PKCS11Exception e) throws IllegalBlockSizeException, BadPaddingException {
        String message = "The token does not " + (encrypts() ? "encrypt" : "decrypt") + " the data: " + e.getMessage();
        if (!Failures.isLength(e) && !Failures.isData(e)) {
            return new ProviderException(message, e);
        }
        if (encrypts() || Failures.isLength(e) && !hasTag()) {
            throw (IllegalBlockSizeException) new IllegalBlockSizeException(message).initCause(e);
        }
        throw (BadPaddingException) (hasTag() ? new AEADBadTagException(message) : new BadPaddingException(message))
            .initCause(e);
    }

    /** Returns whether the data ends in a tag, which any change of it makes wrong. */
    boolean hasTag() {
        return false;
    }

    // Keys

    /** Returns the mechanism that wraps and unwraps. */
    int wrapMechanism() {
        return mechanism;
    }

    @Override
    protected byte[] engineWrap(Key target) throws IllegalBlockSizeException, InvalidKeyException {
        boolean isOwn = target instanceof TokenKey;
        TokenKeySpec temporary = new TokenKeySpec(null).extractable(true);
        TokenKey inside = isOwn ? (TokenKey) target
            : target instanceof PrivateKey ? TokenKeyFactory.imported(token, (PrivateKey) target, temporary)
            : TokenSecretKeyFactory.imported(token, target, temporary);
        try {
            return token.run((at, session) -> {
                NativePKCS11Object wrapping = wrappingKey(at, session);
                try {
                    return session.wrapKey(wrapMechanism(), parameter(0), wrapping, inside.in(at, session));
                } finally {
                    release(wrapping);
                }
            });
        } catch (PKCS11Exception e) {
            if (Failures.isLength(e) || e.getCode() == CKR_KEY_SIZE_RANGE) {
                throw (IllegalBlockSizeException) new IllegalBlockSizeException(
                    "The token does not wrap the key: " + e.getMessage()).initCause(e);
            }
            throw new InvalidKeyException("The token does not wrap the key: " + e.getMessage(), e);
        } finally {
            if (!isOwn) {
                inside.destroy();
            }
            Reference.reachabilityFence(this);
        }
    }

    /** Returns the key that wraps, as an object of a session. */
    NativePKCS11Object wrappingKey(Connection at, NativePKCS11Session session) throws InvalidKeyException {
        return key.in(at, session);
    }

    /** Releases the key that has wrapped. */
    void release(NativePKCS11Object wrappingKey) {
        // It stays.
    }

    @Override
    protected Key engineUnwrap(byte[] wrapped, String algorithm, int type)
        throws InvalidKeyException, NoSuchAlgorithmException {
        KeyKind kind = type == Cipher.SECRET_KEY ? KeyKind.ofSecret(algorithm)
            : type == Cipher.PRIVATE_KEY ? KeyKind.ofPrivate(algorithm) : null;
        if (kind == null) {
            throw new NoSuchAlgorithmException("The token has no keys of " + algorithm);
        }
        TokenKeySpec identified = keySpec.identified();
        Template template = kind.created(token, identified);
        Token.Work<NativePKCS11Object> call = (at, session) -> session.unwrapKey(wrapMechanism(), parameter(0),
            key.in(at, session), wrapped, template);
        try {
            return type == Cipher.SECRET_KEY ? TokenSecretKeyFactory.created(token, algorithm, identified, call)
                : token.create(identified, (at, session) -> TokenPrivateKey.of(token, at, call.run(at, session), null));
        } catch (PKCS11Exception e) {
            throw new InvalidKeyException("The token does not unwrap the key: " + e.getMessage(), e);
        } finally {
            Reference.reachabilityFence(this);
        }
    }
}
