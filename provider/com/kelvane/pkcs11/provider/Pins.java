package com.kelvane.pkcs11.provider;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.PKCS11TokenInfo;
import com.kelvane.pkcs11.PKCS11Uri;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.CharBuffer;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.security.MessageDigest;
import java.security.NoSuchAlgorithmException;
import java.security.ProviderException;
import java.security.Security;
import java.util.Arrays;
import java.util.HashSet;
import java.util.Set;
import javax.security.auth.callback.Callback;
import javax.security.auth.callback.CallbackHandler;
import javax.security.auth.callback.PasswordCallback;
import javax.security.auth.callback.UnsupportedCallbackException;
import javax.security.auth.login.AccountLockedException;
import javax.security.auth.login.CredentialExpiredException;
import javax.security.auth.login.FailedLoginException;
import javax.security.auth.login.LoginException;

/**
 * The PINs of a token: where they come from, the one that is right, and those that the token has refused, which are not
 * sent again until another one was right. Used under the lock of the token.
 */
final class Pins {
    /** The security property with the class of the callback handler, as {@link java.security.AuthProvider} has it. */
    private static final String HANDLER_PROPERTY = "auth.login.defaultCallbackHandler";

    /** The PIN of the last login; null if there was none. */
    private byte[] right;

    /** Whether the last login was made at the token's own PIN pad. */
    private boolean enteredAtToken;

    /** Digests of the PINs that the token has refused. */
    private final Set<ByteBuffer> refused = new HashSet<>();

    /** The URI with pin-source or pin-value, or null. */
    private PKCS11Uri configuration;
    private CallbackHandler handler;

    void configure(PKCS11Uri uri) {
        if (uri.get("pin-source") != null || uri.get("pin-value") != null) {
            configuration = uri;
        }
    }

    void setHandler(CallbackHandler newHandler) {
        handler = newHandler;
    }

    boolean isKnown() {
        return right != null;
    }

    boolean isEnteredAtToken() {
        return enteredAtToken;
    }

    /** Returns the PIN of the last login or of the configuration, or that of a callback handler for a token. */
    byte[] known(PKCS11TokenInfo toAsk) {
        if (right != null) {
            return right;
        }
        try {
            byte[] configured = configured();
            return configured != null || toAsk == null ? configured : asked(toAsk, handler);
        } catch (LoginException e) {
            throw new ProviderException(e);
        }
    }

    /** Returns the PIN that a login without one is to use: that of the handler given, or of the configuration. */
    byte[] obtain(PKCS11TokenInfo info, CallbackHandler given) throws LoginException {
        byte[] configured = given != null ? null : configured();
        return configured != null ? configured : right != null && given == null ? right
            : asked(info, given != null ? given : handler);
    }

    private byte[] configured() throws LoginException {
        if (configuration == null) {
            return null;
        }
        if (configuration.get("pin-source") == null) {
            return configuration.get("pin-value").getBytes(StandardCharsets.UTF_8);
        }
        try {
            byte[] file = Files.readAllBytes(configuration.pinFile());
            int end = 0;
            while (end < file.length && file[end] != '\n' && file[end] != '\r') {
                end++;
            }
            byte[] line = Arrays.copyOf(file, end);
            Arrays.fill(file, (byte) 0);
            return line;
        } catch (IOException e) {
            throw (LoginException) new LoginException("the file of \"pin-source\" cannot be read: " + e).initCause(e);
        }
    }

    private static byte[] asked(PKCS11TokenInfo info, CallbackHandler given) throws LoginException {
        CallbackHandler asked = given != null ? given : defaultHandler();
        if (asked == null) {
            return null;
        }
        PasswordCallback callback = new PasswordCallback("PIN of the token \"" + info.getLabel() + "\": ", false);
        try {
            asked.handle(new Callback[] {callback});
            char[] password = callback.getPassword();
            if (password == null) {
                throw new LoginException("the callback handler has no PIN");
            }
            byte[] pin = encode(password);
            Arrays.fill(password, '\0');
            return pin;
        } catch (IOException | UnsupportedCallbackException e) {
            throw (LoginException) new LoginException("the callback handler has failed: " + e).initCause(e);
        } finally {
            callback.clearPassword();
        }
    }

    private static CallbackHandler defaultHandler() throws LoginException {
        String name = Security.getProperty(HANDLER_PROPERTY);
        if (name == null || name.isEmpty()) {
            return null;
        }
        try {
            return (CallbackHandler) Class.forName(name, true, ClassLoader.getSystemClassLoader())
                .getDeclaredConstructor().newInstance();
        } catch (ReflectiveOperationException | ClassCastException e) {
            throw (LoginException) new LoginException(HANDLER_PROPERTY + " is no callback handler: " + e).initCause(e);
        }
    }

    static byte[] encode(char[] password) {
        ByteBuffer encoded = StandardCharsets.UTF_8.encode(CharBuffer.wrap(password));
        byte[] pin = Arrays.copyOf(encoded.array(), encoded.limit());
        Arrays.fill(encoded.array(), (byte) 0);
        return pin;
    }

    /** Compares a PIN with the right one, without the token: a wrong one does not cost an attempt. */
    void check(byte[] pin) {
        if (!MessageDigest.isEqual(pin, right)) {
            throw new PKCS11Exception(CKR_PIN_INCORRECT);
        }
    }

    /**
     * Logs in with a PIN, or with null at the token's PIN pad. A PIN that is empty or was refused before is not sent.
     *
     * @throws PKCS11Exception with {@code CKR_PIN_INCORRECT} if the PIN is wrong, sent or not
     */
    void send(NativePKCS11Session session, byte[] pin) {
        ByteBuffer digest = pin == null ? null : digest(pin);
        if (pin != null && (pin.length == 0 || refused.contains(digest))) {
            throw new PKCS11Exception(CKR_PIN_INCORRECT);
        }
        try {
            session.login(false, pin);
        } catch (PKCS11Exception e) {
            if (Failures.isWrongPin(e) && pin != null) {
                refused.add(digest);
                if (right != null && MessageDigest.isEqual(pin, right)) {
                    forget();
                }
            }
            throw e;
        }
        refused.clear();
        if (right != pin) {
            forget();
        }
        right = pin;
        enteredAtToken = pin == null;
    }

    private static ByteBuffer digest(byte[] pin) {
        try {
            return ByteBuffer.wrap(MessageDigest.getInstance("SHA-256").digest(pin));
        } catch (NoSuchAlgorithmException e) {
            throw new ProviderException(e); // every JDK has it
        }
    }

    /** Wipes a PIN that is not kept for the next login. */
    void wipe(byte[] pin) {
        if (pin != null && pin != right) {
            Arrays.fill(pin, (byte) 0);
        }
    }

    void forget() {
        if (right != null) {
            Arrays.fill(right, (byte) 0);
        }
        right = null;
        enteredAtToken = false;
    }

    /** Returns the exception that JAAS has for a failed login. */
    static LoginException loginException(PKCS11TokenInfo info, PKCS11Exception e) {
        String message = "The token \"" + info.getLabel() + "\" refuses the login: " + e.getMessage();
        LoginException failure = Failures.isWrongPin(e) ? new FailedLoginException(message)
            : e.getCode() == CKR_PIN_LOCKED ? new AccountLockedException(message)
            : e.getCode() == CKR_PIN_EXPIRED ? new CredentialExpiredException(message) : new LoginException(message);
        failure.initCause(e);
        return failure;
    }
}
