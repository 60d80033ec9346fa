package com.kelvane.pkcs11.provider;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.Template;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import com.kelvane.pkcs11.provider.TokenObjects.Entry;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.security.InvalidKeyException;
import java.security.Key;
import java.security.KeyStore;
import java.security.KeyStoreException;
import java.security.KeyStoreSpi;
import java.security.PrivateKey;
import java.security.ProviderException;
import java.security.UnrecoverableEntryException;
import java.security.UnrecoverableKeyException;
import java.security.cert.Certificate;
import java.security.cert.CertificateEncodingException;
import java.security.cert.X509Certificate;
import java.util.Arrays;
import java.util.Collections;
import java.util.Date;
import java.util.Enumeration;
import java.util.HashSet;
import java.util.Map;
import java.util.Set;
import javax.crypto.SecretKey;
import javax.security.auth.callback.CallbackHandler;
import javax.security.auth.login.FailedLoginException;
import javax.security.auth.login.LoginException;

/**
 * The keys and certificates that stay on the token. They are read by {@code load}, which logs in, and after each change
 * by this object; the keys keep working when the token was away in between.
 *
 * <p>The alias of an entry is its label. Where labels repeat or are missing, the identifier and the algorithm of a key
 * are behind it, or the serial number of a certificate, as far as needed to be unique.
 */
final class TokenKeyStore extends KeyStoreSpi {
    private final Token token;

    /** The entries by their aliases; the map does not change. */
    private volatile Map<String, Entry> entries = Map.of();

    TokenKeyStore(Token token) {
        this.token = token;
    }

    // Loading

    @Override
    public void engineLoad(InputStream stream, char[] password) throws IOException {
        if (stream != null) {
            throw new IOException("The key store is the token: no stream is read");
        }
        load(password, null);
    }

    @Override
    public void engineLoad(KeyStore.LoadStoreParameter parameter) throws IOException {
        KeyStore.ProtectionParameter protection = parameter == null ? null : parameter.getProtectionParameter();
        if (protection instanceof KeyStore.PasswordProtection) {
            load(((KeyStore.PasswordProtection) protection).getPassword(), null);
        } else if (protection instanceof KeyStore.CallbackHandlerProtection) {
            load(null, ((KeyStore.CallbackHandlerProtection) protection).getCallbackHandler());
        } else if (protection == null) {
            load(null, null);
        } else {
            throw new IOException("unsupported protection " + protection.getClass().getName());
        }
    }

    /** Logs in, if a PIN is known, and reads the entries; without a PIN those that are public. */
    private void load(char[] password, CallbackHandler handler) throws IOException {
        try {
            token.login(password, handler);
            read();
        } catch (FailedLoginException e) {
            throw new IOException(e.getMessage(), new UnrecoverableKeyException(e.getMessage()).initCause(e));
        } catch (LoginException | InvalidKeyException | PKCS11Exception | ProviderException e) {
            throw new IOException("The key store cannot be read: " + e.getMessage(), e);
        }
    }

    private void read() throws InvalidKeyException {
        entries = Collections.unmodifiableMap(token.run(
            (at, session) -> new TokenObjects(token, at, session).entries()));
    }

    @Override
    public void engineStore(OutputStream stream, char[] password) throws IOException {
        if (stream != null) {
            throw new IOException("The key store is the token: no stream is written");
        }
    }

    @Override
    public void engineStore(KeyStore.LoadStoreParameter parameter) {
        // Every change is on the token at once.
    }

    // Reading

    @Override
    public Key engineGetKey(String alias, char[] password) {
        Entry entry = entries.get(alias);
        return entry == null ? null : entry.key;
    }

    @Override
    public Certificate[] engineGetCertificateChain(String alias) {
        Entry entry = entries.get(alias);
        return entry == null || entry.key == null || entry.chain.length == 0 ? null : entry.chain.clone();
    }

    @Override
    public Certificate engineGetCertificate(String alias) {
        Entry entry = entries.get(alias);
        return entry == null || entry.chain.length == 0 ? null : entry.chain[0];
    }

    /** Returns the beginning of 1970: tokens do not keep the date. */
    @Override
    public Date engineGetCreationDate(String alias) {
        return entries.containsKey(alias) ? new Date(0) : null;
    }

    @Override
    public Enumeration<String> engineAliases() {
        return Collections.enumeration(entries.keySet());
    }

    @Override
    public boolean engineContainsAlias(String alias) {
        return entries.containsKey(alias);
    }

    @Override
    public int engineSize() {
        return entries.size();
    }

    @Override
    public boolean engineIsKeyEntry(String alias) {
        Entry entry = entries.get(alias);
        return entry != null && entry.key != null;
    }

    @Override
    public boolean engineIsCertificateEntry(String alias) {
        Entry entry = entries.get(alias);
        return entry != null && entry.key == null;
    }

    /** The inherited method takes every key without a certificate for a secret one. */
    @Override
    public boolean engineEntryInstanceOf(String alias, Class<? extends KeyStore.Entry> entryClass) {
        Entry entry = entries.get(alias);
        return entry != null && entryClass == (entry.key == null ? KeyStore.TrustedCertificateEntry.class
            : entry.key instanceof SecretKey ? KeyStore.SecretKeyEntry.class
            : entry.chain.length > 0 ? KeyStore.PrivateKeyEntry.class : null);
    }

    @Override
    public String engineGetCertificateAlias(Certificate certificate) {
        return entries.entrySet().stream().filter(each -> each.getValue().chain.length > 0
            && each.getValue().chain[0].equals(certificate)).map(Map.Entry::getKey).findFirst().orElse(null);
    }

    /** Returns an entry; keys need no protection of their own. */
    @Override
    public KeyStore.Entry engineGetEntry(String alias, KeyStore.ProtectionParameter protection)
        throws UnrecoverableEntryException {
        Entry entry = entries.get(alias);
        if (entry == null) {
            return null;
        }
        if (entry.key == null) {
            return new KeyStore.TrustedCertificateEntry(entry.chain[0]);
        }
        if (entry.key instanceof SecretKey) {
            return new KeyStore.SecretKeyEntry((SecretKey) entry.key);
        }
        if (entry.chain.length == 0) {
            throw new UnrecoverableEntryException("The private key \"" + alias + "\" has no certificate: use getKey");
        }
        return new KeyStore.PrivateKeyEntry((PrivateKey) entry.key, entry.chain);
    }

    /** Sets an entry; keys need no protection of their own, which the inherited method insists on. */
    @Override
    public void engineSetEntry(String alias, KeyStore.Entry entry, KeyStore.ProtectionParameter protection)
        throws KeyStoreException {
        if (entry instanceof KeyStore.TrustedCertificateEntry) {
            engineSetCertificateEntry(alias, ((KeyStore.TrustedCertificateEntry) entry).getTrustedCertificate());
        } else if (entry instanceof KeyStore.PrivateKeyEntry) {
            KeyStore.PrivateKeyEntry given = (KeyStore.PrivateKeyEntry) entry;
            engineSetKeyEntry(alias, given.getPrivateKey(), null, given.getCertificateChain());
        } else if (entry instanceof KeyStore.SecretKeyEntry) {
            engineSetKeyEntry(alias, ((KeyStore.SecretKeyEntry) entry).getSecretKey(), null, null);
        } else {
            throw new KeyStoreException("unsupported entry " + entry.getClass().getName());
        }
    }

    // Changes

    /** A change of the objects on the token. */
    private interface Change {
        void run(Connection at, NativePKCS11Session session, TokenObjects objects)
            throws InvalidKeyException, CertificateEncodingException;
    }

    /** Carries out a change, which may be repeated after a part of it, and reads the entries again. */
    private void change(Change change) throws KeyStoreException {
        try {
            token.run((at, session) -> {
                try {
                    change.run(at, session, new TokenObjects(token, at, session));
                    return null;
                } catch (CertificateEncodingException e) {
                    throw new InvalidKeyException(e);
                }
            });
            read();
        } catch (InvalidKeyException | PKCS11Exception | ProviderException e) {
            throw new KeyStoreException("The token refuses the change: " + e.getMessage(), e);
        }
    }

    @Override
    public void engineSetKeyEntry(String alias, Key key, char[] password, Certificate[] chain)
        throws KeyStoreException {
        X509Certificate[] certificates = new X509Certificate[chain == null ? 0 : chain.length];
        for (int i = 0; i < certificates.length; i++) {
            if (!(chain[i] instanceof X509Certificate)) {
                throw new KeyStoreException("only X.509 certificates are supported");
            }
            certificates[i] = (X509Certificate) chain[i];
        }
        Set<Entry> old = new HashSet<>();
        entries.forEach((name, entry) -> {
            if (name.equals(alias) || entry.key != null && entry.key == key) {
                old.add(entry);
            }
        });
        if (engineIsCertificateEntry(alias)) {
            throw new KeyStoreException("\"" + alias + "\" is a certificate");
        }
        if (key instanceof TokenKey && ((TokenKey) key).token != token) {
            throw new KeyStoreException("the key is on another token");
        }
        boolean stays = key instanceof TokenKey && !((TokenKey) key).isSessionKey();
        byte[] id = stays && ((TokenKey) key).getId() != null ? ((TokenKey) key).getId()
            : new TokenKeySpec(null).identified().getId();
        change((at, session, objects) -> {
            if (stays) {
                rename((TokenKey) key, alias, id, at, session);
            } else {
                place(key, alias, id, at, session);
            }
            for (Entry each : old) {
                objects.destroyChain(each, entries.values());
                if (!stays || !each.key.in(at, session).equals(((TokenKey) key).in(at, session))) {
                    objects.destroyKey(each);
                }
            }
            TokenObjects remaining = new TokenObjects(token, at, session);
            for (int i = 0; i < certificates.length; i++) {
                remaining.write(certificates[i], i == 0 ? id : new byte[0], i == 0 ? alias : "");
            }
        });
    }

    /** Sets the label of a key on the token to an alias, unless it has that alias already, and its identifier. */
    private void rename(TokenKey key, String alias, byte[] id, Connection at, NativePKCS11Session session)
        throws InvalidKeyException {
        Entry named = entries.get(alias);
        NativePKCS11Object object = key.in(at, session);
        if (named == null || named.key != key) {
            object.setAttributeValue(CKA_LABEL, alias);
        }
        if (!Arrays.equals(id, key.getId())) {
            object.setAttributeValue(CKA_ID, id);
        }
    }

    /** Creates a key on the token; what an earlier attempt has left is destroyed first. */
    private void place(Key key, String alias, byte[] id, Connection at, NativePKCS11Session session)
        throws InvalidKeyException {
        session.findObjects(Template.of(CKA_CLASS, key instanceof PrivateKey ? CKO_PRIVATE_KEY : CKO_SECRET_KEY,
            CKA_ID, id, CKA_TOKEN, true)).forEach(NativePKCS11Object::destroy);
        if (key instanceof TokenKey) {
            session.copy(((TokenKey) key).in(at, session),
                Template.of(CKA_TOKEN, true, CKA_LABEL, alias, CKA_ID, id));
            return;
        }
        TokenKeySpec keySpec = new TokenKeySpec(null).onToken(alias).withId(id);
        if (key instanceof PrivateKey) {
            session.createObject(TokenKeyFactory.template(token, (PrivateKey) key, keySpec));
        } else if (key instanceof SecretKey) {
            session.createObject(TokenSecretKeyFactory.template(token, (SecretKey) key, keySpec));
        } else {
            throw new InvalidKeyException("a private or secret key is needed");
        }
    }

    @Override
    public void engineSetKeyEntry(String alias, byte[] key, Certificate[] chain) throws KeyStoreException {
        throw new KeyStoreException("the token has no encoded keys");
    }

    @Override
    public void engineSetCertificateEntry(String alias, Certificate certificate) throws KeyStoreException {
        if (!(certificate instanceof X509Certificate)) {
            throw new KeyStoreException("only X.509 certificates are supported");
        }
        Entry old = entries.get(alias);
        if (old != null && old.key != null) {
            throw new KeyStoreException("\"" + alias + "\" is a key");
        }
        change((at, session, objects) -> {
            if (old != null) {
                objects.destroyChain(old, entries.values());
            }
            new TokenObjects(token, at, session).write((X509Certificate) certificate, new byte[0], alias);
        });
    }

    @Override
    public void engineDeleteEntry(String alias) throws KeyStoreException {
        Entry old = entries.get(alias);
        if (old != null) {
            change((at, session, objects) -> {
                objects.destroyChain(old, entries.values());
                if (old.key != null) {
                    objects.destroyKey(old);
                }
            });
        }
    }
}
