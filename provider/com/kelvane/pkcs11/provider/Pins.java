package com.kelvane.pkcs11.provider;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.PKCS11TokenInfo;
import com.kelvane.pkcs11.PKCS11Uri;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.security.MessageDigest;
import java.security.NoSuchAlgorithmException;
import java.security.ProviderException;
import java.security.Security;
import java.util.Arrays;
import java.util.HashMap;
import java.util.HashSet;
import java.util.Map;
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
 * The PINs of a token: their sources, the right one, and those that the token has refused, which are not sent again
 * until another one was right. Used under the lock of the token.
 */
final class Pins {
    /** The security property with the class of the callback handler, as {@link java.security.AuthProvider} has it. */
    private static final String HANDLER_PROPERTY = "auth.login.defaultCallbackHandler";

    /** The use of a PIN for the login to the token; each key that requires a login has a use of its own. */
    private static final String LOGIN = "";

    private final PKCS11TokenInfo info;

    /** The PIN of the last login; null if there was none. */
    private char[] right;

    /** Whether the PIN of the last login was entered at the token's own PIN pad. */
    private boolean enteredAtToken;

    /** Digests of the PINs that the token has refused, by the use they were sent for. */
    private final Map<String, Set<ByteBuffer>> refused = new HashMap<>();

    /** The URI with pin-source or pin-value, or null. */
    private PKCS11Uri configuration;
    private CallbackHandler handler;

    Pins(PKCS11TokenInfo info) {
        this.info = info;
    }

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

    /**
     * Returns the PIN of the last login or of the configuration.
     *
     * @param ask whether a callback handler is asked if there is no such PIN
     * @return the PIN; null if there is none
     */
    char[] known(boolean ask) {
        if (right != null) {
            return right;
        }
        try {
            char[] configured = configured();
            return configured != null || !ask ? configured : asked("the token \"" + info.getLabel() + "\"", handler);
        } catch (LoginException e) {
            throw new ProviderException(e);
        }
    }

    /** Returns the PIN that a login without one is to use: that of the handler given, or of the configuration. */
    char[] obtain(CallbackHandler given) throws LoginException {
        char[] configured = given != null ? null : configured();
        return configured != null ? configured : right != null && given == null ? right
            : asked("the token \"" + info.getLabel() + "\"", given != null ? given : handler);
    }

    private char[] configured() throws LoginException {
        if (configuration == null) {
            return null;
        }
        if (configuration.get("pin-source") == null) {
            return configuration.get("pin-value").toCharArray();
        }
        try {
            return PKCS11Uri.readPin(configuration.pinFile());
        } catch (IOException e) {
            throw (LoginException) new LoginException("the file of \"pin-source\" cannot be read: " + e).initCause(e);
        }
    }

    private static char[] asked(String purpose, CallbackHandler given) throws LoginException {
        CallbackHandler asked = given != null ? given : defaultHandler();
        if (asked == null) {
            return null;
        }
        PasswordCallback callback = new PasswordCallback("PIN of " + purpose + ": ", false);
        try {
            asked.handle(new Callback[] {callback});
            char[] pin = callback.getPassword(); // a copy
            if (pin == null) {
                throw new LoginException("the callback handler has no PIN");
            }
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

    /** Compares a PIN with the right one, without the token: a wrong one does not cost an attempt. */
    void check(char[] pin) {
        if (!digest(pin).equals(digest(right))) {
            throw new PKCS11Exception(CKR_PIN_INCORRECT);
        }
    }

    /**
     * Logs in with a PIN, or with null at the token's PIN pad. A PIN that is empty or was refused before is not sent.
     *
     * @throws PKCS11Exception with {@code CKR_PIN_INCORRECT} if the PIN is wrong, sent or not
     */
    void send(NativePKCS11Session session, char[] pin) {
        send(session, CKU_USER, LOGIN, pin);
        if (right != pin) {
            forget();
        }
        right = pin;
        enteredAtToken = pin == null;
    }

    /**
     * Logs in for one use of a key, after the operation has been initialised. A callback handler is asked each time;
     * without one the PIN is that of the last login or of the configuration.
     *
     * @throws PKCS11Exception as {@link #send(NativePKCS11Session, char[])} throws it
     * @throws ProviderException if there is no PIN
     */
    void sendFor(TokenKey key, NativePKCS11Session session) {
        char[] pin = null;
        try {
            if (!info.hasProtectedAuthenticationPath()) {
                pin = asked(key.toString(), handler);
                pin = pin != null ? pin : known(false);
                if (pin == null) {
                    throw new ProviderException("No PIN for " + key + ", which requires a login before each use: set a"
                        + " callback handler");
                }
            }
            send(session, CKU_CONTEXT_SPECIFIC, key + "/" + Arrays.toString(key.getId()), pin);
        } catch (LoginException e) {
            throw new ProviderException(e);
        } finally {
            wipe(pin);
        }
    }

    private void send(NativePKCS11Session session, int userType, String use, char[] pin) {
        ByteBuffer digest = pin == null ? null : digest(pin);
        if (pin != null && (pin.length == 0 || refused(use).contains(digest) || refused(LOGIN).contains(digest))) {
            throw new PKCS11Exception(CKR_PIN_INCORRECT);
        }
        try {
            session.login(userType, pin);
        } catch (PKCS11Exception e) {
            if (Failures.isWrongPin(e) && pin != null) {
                refused(use).add(digest);
                refused(LOGIN).add(digest); // the key may have the PIN of the token
                if (right != null && digest.equals(digest(right))) {
                    forget();
                }
            }
            throw e;
        }
        refused.remove(use);
    }

    private Set<ByteBuffer> refused(String use) {
        return refused.computeIfAbsent(use, each -> new HashSet<>());
    }

    private static ByteBuffer digest(char[] pin) {
        try {
            MessageDigest digest = MessageDigest.getInstance("SHA-256");
            for (char each : pin) {
                digest.update((byte) (each >> Byte.SIZE));
                digest.update((byte) each);
            }
            return ByteBuffer.wrap(digest.digest());
        } catch (NoSuchAlgorithmException e) {
            throw new ProviderException(e); // every JDK has it
        }
    }

    /** Wipes a PIN that is not kept for the next login. */
    void wipe(char[] pin) {
        if (pin != null && pin != right) {
            Arrays.fill(pin, '\0');
        }
    }

    void forget() {
        if (right != null) {
            Arrays.fill(right, '\0');
        }
        right = null;
        enteredAtToken = false;
    }

    /** Returns the exception that JAAS has for a failed login. */
    LoginException loginException(PKCS11Exception e) {
        String message = "The token \"" + info.getLabel() + "\" refuses the login: " + e.getMessage();
        LoginException failure = Failures.isWrongPin(e) ? new FailedLoginException(message)
            : e.getCode() == CKR_PIN_LOCKED ? new AccountLockedException(message)
            : e.getCode() == CKR_PIN_EXPIRED ? new CredentialExpiredException(message) : new LoginException(message);
        failure.initCause(e);
        return failure;
    }
}
