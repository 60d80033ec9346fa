package com.kelvane.pkcs11.provider;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.Template;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.lang.ref.Reference;
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
import javax.crypto.BadPaddingException;
import javax.crypto.Cipher;
import javax.crypto.CipherSpi;
import javax.crypto.IllegalBlockSizeException;
import javax.crypto.NoSuchPaddingException;
import javax.crypto.SecretKey;
import javax.crypto.ShortBufferException;

/**
 * A cipher on the token: what all of them have in common.
 *
 * <p>A result that does not fit into the caller's buffer is kept, and returned when the call is repeated.
 */
abstract class TokenCipher extends CipherSpi {
    private static final byte[] NOTHING = {};

    final Token token;

    /** The mode: {@code Cipher.ENCRYPT_MODE} and its like. */
    int mode;
    private TokenKey key;
    private TokenKeySpec spec;

    /** The result of a doFinal whose buffer was too small; null if there is none. */
    private byte[] unclaimed;

    TokenCipher(Token token) {
        this.token = token;
    }

    // For the subclasses to do

    /**
     * Prepares an operation, or the wrapping of keys.
     *
     * @param parameters the parameters of the algorithm; null for none
     * @param random a source for parameters to be made; null for any
     * @return the key; null if the operation is done in software
     */
    abstract TokenKey start(Key newKey, AlgorithmParameterSpec parameters, SecureRandom random)
        throws InvalidKeyException, InvalidAlgorithmParameterException;

    /** Returns the class of the algorithm's parameters. */
    abstract Class<? extends AlgorithmParameterSpec> parameterClass();

    abstract int mechanism();

    /** Returns the mechanism's parameter for data of a length. */
    abstract Object parameter(int length);

    /** Returns the number of bytes that an update with more data delivers. */
    abstract int updateSize(int more);

    /** Takes data, and returns what it delivers. */
    abstract byte[] update(byte[] in, int offset, int length);

    /** Returns the most that a doFinal with more data delivers. */
    abstract int finalSize(int more);

    /** Takes the last data, returns the result and prepares the next operation. */
    abstract byte[] finish(byte[] in, int offset, int length) throws IllegalBlockSizeException, BadPaddingException;

    /** Tells whether the data of a doFinal is all there is, and goes to the token as it is. */
    abstract boolean isWhole();

    /** Checks that data of a length can be the whole of an operation. */
    void prepare(int length) throws IllegalBlockSizeException, BadPaddingException {
        // Any can.
    }

    /** Forgets the data of an operation that was given up. */
    abstract void reset();

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
                parameters == null ? null : parameters.getParameterSpec(parameterClass()), random);
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
        spec = TokenKeySpec.of(parameters);
        if (spec.getParameters() != null && !parameterClass().isInstance(spec.getParameters())) {
            if (newMode == Cipher.UNWRAP_MODE) { // JSSE tries its own parameters, and without them after this
                throw new UnsupportedOperationException("unwrapping with " + spec.getParameters().getClass().getName());
            }
            throw new InvalidAlgorithmParameterException(parameterClass().getSimpleName() + " is needed, not "
                + spec.getParameters().getClass().getSimpleName());
        }
        key = start(newKey, spec.getParameters(), random);
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
        return unclaimed != null ? unclaimed.length : finalSize(more);
    }

    @Override
    protected byte[] engineUpdate(byte[] in, int offset, int length) {
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

    @Override
    protected byte[] engineDoFinal(byte[] in, int offset, int length)
        throws IllegalBlockSizeException, BadPaddingException {
        if (unclaimed != null) {
            byte[] result = unclaimed;
            unclaimed = null;
            return result;
        }
        try {
            return finish(in == null ? NOTHING : in, offset, length);
        } finally {
            reset();
            Reference.reachabilityFence(this);
        }
    }

    @Override
    protected int engineDoFinal(byte[] in, int inOffset, int length, byte[] out, int outOffset)
        throws ShortBufferException, IllegalBlockSizeException, BadPaddingException {
        int room = Math.max(length, finalSize(length)); // SoftHSM2 asks for that much though it writes less
        if (unclaimed == null && in != out && isWhole() && fits(in, length) && fits(out, room)
            && out.length - outOffset >= room) {
            return cryptInto(in, inOffset, length, out, outOffset);
        }
        byte[] result = engineDoFinal(in, inOffset, length);
        if (out.length - outOffset < result.length) {
            unclaimed = result;
            throw new ShortBufferException(result.length + " bytes are needed");
        }
        System.arraycopy(result, 0, out, outOffset, result.length);
        if (!encrypts()) {
            Arrays.fill(result, (byte) 0);
        }
        return result.length;
    }

    /** Tells whether an array is used for the most part: each call copies all of it. */
    private static boolean fits(byte[] array, int used) {
        return array != null && used > 0 && array.length <= 2 * used + 64;
    }

    /** Encrypts or decrypts data in one call, from the caller's array to the caller's array. */
    private int cryptInto(byte[] in, int inOffset, int length, byte[] out, int outOffset)
        throws IllegalBlockSizeException, BadPaddingException {
        try {
            prepare(length);
            Object parameter = parameter(length);
            return token.use(key, (session, object) -> {
                int written = encrypts()
                    ? session.encryptDoFinalGCM(mechanism(), parameter, object, in, inOffset, length, out, outOffset)
                    : session.decryptDoFinalGCM(mechanism(), parameter, object, in, inOffset, length, out, outOffset);
                if (written > out.length - outOffset) {
                    throw new PKCS11Exception(CKR_BUFFER_TOO_SMALL);
                }
                return written;
            });
        } catch (PKCS11Exception e) {
            if (e.getCode() != CKR_BUFFER_TOO_SMALL) {
                throw failure(e);
            }
            byte[] result = crypt(Arrays.copyOfRange(in, inOffset, inOffset + length)); // the module wants more room
            System.arraycopy(result, 0, out, outOffset, result.length);
            return result.length;
        } catch (InvalidKeyException e) {
            throw new ProviderException(e.getMessage(), e);
        } finally {
            reset();
            Reference.reachabilityFence(this);
        }
    }

    /** Encrypts or decrypts data in one call. */
    byte[] crypt(byte[] data) throws IllegalBlockSizeException, BadPaddingException {
        Object parameter = parameter(data.length);
        try {
            return token.use(key, (session, object) -> encrypts()
                ? session.encrypt(mechanism(), parameter, object, data)
                : key.requiresLogin() ? decrypt(session, parameter, object, data)
                : session.decrypt(mechanism(), parameter, object, data));
        } catch (PKCS11Exception e) {
            throw failure(e);
        } catch (InvalidKeyException e) {
            throw new ProviderException(e.getMessage(), e);
        } finally {
            Arrays.fill(data, (byte) 0);
        }
    }

    /** Decrypts data in two calls, with the login that the key requires between them. */
    private byte[] decrypt(NativePKCS11Session session, Object parameter, NativePKCS11Object object, byte[] data) {
        byte[] room = new byte[data.length];
        session.decryptInit(mechanism(), parameter, object);
        token.logInFor(key, session);
        byte[] result = Arrays.copyOf(room, session.decrypt(data, 0, data.length, room, 0));
        Arrays.fill(room, (byte) 0);
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
        GeneralSecurityException documented = !Failures.isLength(e) && !Failures.isData(e) ? null
            : !encrypts() ? wrongData(e, message) : new IllegalBlockSizeException(message);
        if (documented != null) {
            documented.initCause(e);
        }
        if (documented instanceof BadPaddingException) {
            throw (BadPaddingException) documented;
        }
        if (documented instanceof IllegalBlockSizeException) {
            throw (IllegalBlockSizeException) documented;
        }
        return new ProviderException(message, e);
    }

    /** Returns the exception for data that cannot be decrypted. */
    GeneralSecurityException wrongData(PKCS11Exception e, String message) {
        return Failures.isLength(e) ? new IllegalBlockSizeException(message) : new BadPaddingException(message);
    }

    // Keys

    /** Returns the mechanism that wraps and unwraps. */
    int wrapMechanism() {
        return mechanism();
    }

    @Override
    protected byte[] engineWrap(Key target) throws IllegalBlockSizeException, InvalidKeyException {
        boolean isOwn = target instanceof TokenKey;
        TokenKeySpec temporary = new TokenKeySpec(null).extractable(true);
        TokenKey inside = isOwn ? (TokenKey) target
            : target instanceof PrivateKey ? TokenKeyFactory.imported(token, (PrivateKey) target, temporary)
            : TokenSecretKeyFactory.imported(token, (SecretKey) target, temporary);
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

    /** Gives the key that has wrapped back. */
    void release(NativePKCS11Object wrappingKey) {
        // It stays.
    }

    @Override
    protected Key engineUnwrap(byte[] wrapped, String algorithm, int type)
        throws InvalidKeyException, NoSuchAlgorithmException {
        KeyKind kind = type == Cipher.SECRET_KEY ? KeyKind.ofSecret(algorithm)
            : type == Cipher.PRIVATE_KEY ? KeyKind.ofPrivate(algorithm) : null;
        if (kind == null) {
            throw new NoSuchAlgorithmException("The token has no such key: " + algorithm);
        }
        TokenKeySpec identified = spec.identified();
        Template template = kind.created(token, identified);
        Token.Work<Key> work = (at, session) -> {
            NativePKCS11Object made = session.unwrapKey(wrapMechanism(), parameter(0), key.in(at, session), wrapped,
                template);
            return type == Cipher.SECRET_KEY ? TokenSecretKeyFactory.of(token, algorithm, identified, at, made)
                : TokenPrivateKey.of(token, at, made, null);
        };
        try {
            return identified.isOnToken() ? token.run(work) : token.create(work);
        } catch (PKCS11Exception e) {
            throw new InvalidKeyException("The token does not unwrap the key: " + e.getMessage(), e);
        } finally {
            Reference.reachabilityFence(this);
        }
    }
}
