package com.kelvane.pkcs11.provider;

import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.PKCS11Uri;
import java.io.NotSerializableException;
import java.io.ObjectStreamException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.security.AuthProvider;
import java.security.InvalidParameterException;
import java.security.Provider;
import java.security.ProviderException;
import javax.security.auth.Subject;
import javax.security.auth.callback.CallbackHandler;
import javax.security.auth.login.LoginException;

/**
 * A provider of the Java Cryptography Architecture whose keys stay on a PKCS #11 token.
 *
 * <p>{@link #configure} returns the provider of one token, named {@code Tokbridge-} and the token's label. It finds the
 * token again and logs in again when sessions, the token, or the server of a module were gone for a while; the page
 * docs/provider.md describes this, and what each token offers.
 *
 * <pre>{@code
 * Provider provider = new TokbridgeProvider().configure("pkcs11:token=mine?pin-source=/etc/app/pin");
 * Security.addProvider(provider);
 * }</pre>
 */
public final class TokbridgeProvider extends AuthProvider {
    private static final long serialVersionUID = 1L;
    private static final String NAME = "Tokbridge";
    private static final String VERSION = "1.0";
    private static final String INFO = "keys on PKCS #11 tokens";

    /** Has the modules that are set up on the machine, where none is named. */
    private static final String PROXY = "p11-kit-proxy.so";

    /** The token; null without configuration. */
    private final transient Token token;

    /** Builds a provider without a token, to be configured. */
    public TokbridgeProvider() {
        super(NAME, VERSION, INFO);
        token = null;
    }

    private TokbridgeProvider(Token token) {
        super(NAME + "-" + token.info.getLabel(), VERSION, INFO + ": " + token.info.getLabel());
        this.token = token;
        for (Services.Row row : Services.ROWS) {
            if (row.isOfferedBy(token)) {
                putService(new Services.TokenService(this, row, token));
            }
        }
    }

    /**
     * Returns a provider for a token.
     *
     * @param argument a PKCS #11 URI (RFC 7512) that names one token, {@code pkcs11:token=mine} for example. The module
     *     is that of {@code module-path} or {@code module-name}, or else p11-kit's, which has those that are set up on
     *     the machine. The PIN may be in the file {@code pin-source} or in {@code pin-value}.
     * @return the new provider; this one is not changed
     * @throws InvalidParameterException naming the part that is wrong, if the URI is wrong, if the module cannot be
     *     used, or if the token is not present
     */
    @Override
    public Provider configure(String argument) {
        try {
            PKCS11Uri uri = PKCS11Uri.parse(argument);
            for (String name : new String[] {"object", "id", "type"}) {
                if (uri.get(name) != null) {
                    throw new IllegalArgumentException("\"" + name + "\" in the URI names an object, not a token");
                }
            }
            Path pinFile = uri.pinFile();
            if (pinFile != null && !Files.isReadable(pinFile)) {
                throw new IllegalArgumentException("\"pin-source\": the file " + pinFile + " cannot be read");
            }
            Token found = Module.at(path(uri)).token(uri);
            found.configure(uri);
            return new TokbridgeProvider(found);
        } catch (IllegalArgumentException | PKCS11Exception e) {
            throw (InvalidParameterException) new InvalidParameterException(e.getMessage()).initCause(e);
        }
    }

    private static String path(PKCS11Uri uri) {
        String path = uri.modulePath();
        if (path == null) {
            return PROXY;
        }
        if (path.contains("/") && !Files.isRegularFile(Path.of(path))) {
            throw new IllegalArgumentException("\"module-path\": there is no file " + path);
        }
        return path;
    }

    @Override
    public boolean isConfigured() {
        return token != null;
    }

    /**
     * Logs in to the token. Without a handler the PIN is that of the configuration, of the handler set before, or of
     * the security property {@code auth.login.defaultCallbackHandler}; a token with a PIN pad asks for it there.
     *
     * @param subject not used
     * @param handler asked for the PIN by a {@code PasswordCallback}; null for the sources above
     * @throws javax.security.auth.login.FailedLoginException if the PIN is wrong
     * @throws LoginException if there is no PIN, or the token refuses the login for another reason
     */
    @Override
    public void login(Subject subject, CallbackHandler handler) throws LoginException {
        if (!configured().login(null, handler)) {
            throw new LoginException("no PIN: no callback handler is set, and the configuration has none");
        }
    }

    /** Logs out, and forgets the PIN. Session keys end with it. */
    @Override
    public void logout() throws LoginException {
        configured().logout();
    }

    /**
     * Sets the handler that is asked for the PIN when an operation needs a login and no PIN is known, and before each
     * use of a key that requires a login for it.
     *
     * @param handler the handler; null for none
     */
    @Override
    public void setCallbackHandler(CallbackHandler handler) {
        configured().setHandler(handler);
    }

    /** Refuses serialisation: the token stays where it is. Random number generators would hold the provider. */
    private Object writeReplace() throws ObjectStreamException {
        throw new NotSerializableException("a provider of a token");
    }

    private Token configured() {
        if (token == null) {
            throw new ProviderException("The provider has no token: use what configure returns");
        }
        return token;
    }
}
