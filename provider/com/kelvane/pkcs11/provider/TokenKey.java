package com.kelvane.pkcs11.provider;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Attributes;
import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.Template;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.io.NotSerializableException;
import java.io.ObjectStreamException;
import java.security.GeneralSecurityException;
import java.security.InvalidKeyException;
import java.security.Key;
import java.security.PublicKey;
import java.util.Arrays;
import java.util.List;
import java.util.Objects;
import java.util.stream.Collectors;
import javax.security.auth.Destroyable;

/**
 * A private or secret key on a token. It does not know the key's value, only how to find the key again: a handle is
 * valid for one connection.
 */
abstract class TokenKey implements Key, Destroyable {
    private static final long serialVersionUID = 1L;

    final transient Token token;
    private final transient String algorithm;
    private final transient PKCS11Attributes attributes;

    /** The attributes by which a key on the token is found again; null for a session key. */
    private final transient Template identity;

    /** The public key to a private key whose attributes do not contain it, if that is known; null otherwise. */
    private final transient PublicKey publicKey;

    /** A session key; null for a key that stays on the token. */
    private final transient SessionKey sessionKey;
    private transient volatile Located located;
    private transient volatile boolean destroyed;

    /** A handle, and the connection for which it is valid. */
    private static final class Located {
        final Connection at;
        final long handle;

        Located(Connection at, long handle) {
            this.at = at;
            this.handle = handle;
        }
    }

    /** A session key on the token. It is destroyed when the Java object is unreachable. */
    private static final class SessionKey implements Runnable {
        final Token token;
        final NativePKCS11Session home;
        final long handle;
        final byte[] id;

        SessionKey(Token token, NativePKCS11Session home, long handle, byte[] id) {
            this.token = token;
            this.home = home;
            this.handle = handle;
            this.id = id;
        }

        /** Returns whether the handle is still that of this key; modules use a free handle again for a new object. */
        boolean isThere(NativePKCS11Session session) {
            try {
                return Arrays.equals(id, new NativePKCS11Object(session, handle).getByteArrayAttributeValue(CKA_ID));
            } catch (PKCS11Exception e) {
                if (e.getCode() == CKR_OBJECT_HANDLE_INVALID || e.getCode() == CKR_ATTRIBUTE_TYPE_INVALID) {
                    return false;
                }
                throw e;
            }
        }

        @Override
        public void run() {
            token.destroyIn(home, session -> {
                if (isThere(session)) {
                    session.destroyObject(new NativePKCS11Object(session, handle));
                }
                return null;
            });
        }
    }

    /**
     * Builds the Java object for a key.
     *
     * @param object the key, found or created in a session of the connection
     * @param read its attributes, those that {@link TokenSecretKey} or {@link TokenPrivateKey} need
     */
    TokenKey(Token token, String algorithm, Connection at, NativePKCS11Object object, PKCS11Attributes read,
        PublicKey publicKey) {
        this.token = token;
        this.algorithm = algorithm;
        this.publicKey = publicKey;
        attributes = read;
        located = new Located(at, object.getHandle());
        if (read.isTrue(CKA_TOKEN)) {
            identity = identity(read);
            sessionKey = null;
        } else {
            identity = null;
            sessionKey = new SessionKey(token, at.home(), object.getHandle(), read.getBytes(CKA_ID));
            Token.CLEANER.register(this, sessionKey);
        }
    }

    /** The attributes by which a key is searched for. */
    private static final int[] IDENTITY = {CKA_CLASS, CKA_KEY_TYPE, CKA_TOKEN, CKA_ID, CKA_LABEL, CKA_UNIQUE_ID};

    /** The attributes that are compared here, since modules encode numbers in several ways. */
    private static final int[] PROPERTIES = {CKA_MODULUS, CKA_EC_PARAMS, CKA_CHECK_VALUE};

    private static Template identity(PKCS11Attributes read) {
        Template identity = Template.of();
        for (int type : IDENTITY) {
            Object value = read.get(type);
            if (value != null && !"".equals(value) && !(value instanceof byte[] && ((byte[]) value).length == 0)) {
                identity = identity.and(type, value);
            }
        }
        return identity;
    }

    private boolean isSame(NativePKCS11Object candidate) {
        PKCS11Attributes read = candidate.readAttributes(PROPERTIES);
        return Arrays.stream(PROPERTIES).allMatch(type -> Objects.deepEquals(read.get(type), attributes.get(type)));
    }

    /**
     * Returns the key as an object of a session.
     *
     * @throws InvalidKeyException if the key is gone
     */
    NativePKCS11Object in(Connection at, NativePKCS11Session session) throws InvalidKeyException {
        if (destroyed) {
            throw new InvalidKeyException("The key was destroyed");
        }
        Located found = located;
        if (found.at != at) {
            found = new Located(at, sessionKey != null ? sameHandle(at, session) : find(at, session));
            located = found;
        }
        return new NativePKCS11Object(session, found.handle);
    }

    private long sameHandle(Connection at, NativePKCS11Session session) throws InvalidKeyException {
        if (sessionKey.home != at.home() || !sessionKey.isThere(session)) {
            throw new InvalidKeyException("The session key is gone: it ended with its session or with a logout");
        }
        return sessionKey.handle;
    }

    private long find(Connection at, NativePKCS11Session session) throws InvalidKeyException {
        List<NativePKCS11Object> found = session.findObjects(identity);
        found.removeIf(each -> !isSame(each));
        if (found.size() != 1) {
            at.checkLogin(session);
            throw new InvalidKeyException((found.isEmpty() ? "The key is no longer on the token: "
                : found.size() + " keys on the token have these attributes: ") + this);
        }
        if (publicKey != null && isReplaced(session)) {
            throw new InvalidKeyException("Another key pair on the token has taken the place of " + this);
        }
        return found.get(0).getHandle();
    }

    /** Returns whether the public keys with this key's identifier are others than the one that was there. */
    private boolean isReplaced(NativePKCS11Session session) {
        List<PublicKey> present = publicKeys(session, attributes.getBytes(CKA_ID));
        return !present.isEmpty() && !present.contains(publicKey);
    }

    /** Returns the public keys on the token with an identifier, those of a kind that the JDK knows. */
    static List<PublicKey> publicKeys(NativePKCS11Session session, byte[] id) {
        return session.findObjects(Template.of(CKA_CLASS, CKO_PUBLIC_KEY, CKA_ID, id)).stream().map(object -> {
            try {
                return object.toPublicKey();
            } catch (GeneralSecurityException | PKCS11Exception e) {
                return null;
            }
        }).filter(each -> each != null).collect(Collectors.toList());
    }

    /** Returns a text that differs between keys with one label and identifier. */
    String fingerprint() {
        return Integer.toHexString(Arrays.deepHashCode(
            Arrays.stream(PROPERTIES).mapToObj(attributes::get).toArray()));
    }

    boolean isSessionKey() {
        return sessionKey != null;
    }

    /** Returns the label; an empty one if there is none. */
    String getLabel() {
        String label = attributes.getString(CKA_LABEL);
        return label == null ? "" : label;
    }

    byte[] getId() {
        return attributes.getBytes(CKA_ID);
    }

    int getType() {
        return attributes.getInteger(CKA_KEY_TYPE);
    }

    /** Returns whether the key's {@code CKA_ALLOWED_MECHANISMS}, if it has any, contain a mechanism. */
    boolean allows(int mechanism) {
        int[] allowed = (int[]) attributes.get(CKA_ALLOWED_MECHANISMS);
        return allowed == null || allowed.length == 0 || Arrays.stream(allowed).anyMatch(each -> each == mechanism);
    }

    /** Returns whether the token requires a login between the start of each operation with the key and the data. */
    boolean requiresLogin() {
        return attributes.isTrue(CKA_ALWAYS_AUTHENTICATE);
    }

    @Override
    public String getAlgorithm() {
        return algorithm;
    }

    /** Returns null: the key has no encoding. */
    @Override
    public String getFormat() {
        return null;
    }

    /** Returns null: the key has no encoding. */
    @Override
    public byte[] getEncoded() {
        return null;
    }

    /** Ends the use of this object, and a session key with it. A key that stays on the token is still there. */
    @Override
    public void destroy() {
        if (!destroyed) {
            destroyed = true;
            if (sessionKey != null) {
                sessionKey.run();
            }
        }
    }

    @Override
    public boolean isDestroyed() {
        return destroyed;
    }

    /** Refuses serialisation: the key stays on its token. */
    protected Object writeReplace() throws ObjectStreamException {
        throw new NotSerializableException("a key on a token");
    }

    @Override
    public String toString() {
        String label = getLabel();
        return algorithm + " key" + (label.isEmpty() ? "" : " \"" + label + "\"") + " on the token \""
            + token.info.getLabel() + "\"" + (sessionKey != null ? ", for the session" : "");
    }
}
