package com.kelvane.pkcs11.provider;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Attributes;
import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.Template;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.math.BigInteger;
import java.security.GeneralSecurityException;
import java.security.InvalidKeyException;
import java.security.PublicKey;
import java.security.cert.CertificateEncodingException;
import java.security.cert.CertificateException;
import java.security.cert.X509Certificate;
import java.security.interfaces.RSAKey;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collection;
import java.util.Comparator;
import java.util.HashSet;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.stream.Collectors;

/** The keys and certificates on a token at one time, as the entries of a key store. */
final class TokenObjects {
    private static final X509Certificate[] NO_CHAIN = {};

    /** A key with its chain, or a certificate alone. */
    static final class Entry {
        /** Null for a certificate alone. */
        final TokenKey key;

        /** Empty for a key without certificate. */
        final X509Certificate[] chain;
        private final String label;

        Entry(TokenKey key, X509Certificate[] chain, String label) {
            this.key = key;
            this.chain = chain;
            this.label = label;
        }

        /** The number of qualifiers, which distinguish entries with one label, from the common to the particular. */
        private static final int QUALIFIERS = 3;

        private String name(int qualifiers) {
            List<String> parts = key == null
                ? List.of(label, "certificate", chain[0].getSerialNumber().toString(16), hash(chain[0]))
                : List.of(label, hex(key.getId()), key.getAlgorithm(), key.fingerprint());
            return parts.stream().limit(1 + qualifiers).filter(each -> !each.isEmpty())
                .collect(Collectors.joining("/"));
        }

        private static String hash(X509Certificate certificate) {
            return Integer.toHexString(certificate.hashCode());
        }

        private static String hex(byte[] bytes) {
            return bytes == null || bytes.length == 0 ? "" : new BigInteger(1, bytes).toString(16);
        }
    }

    /** A certificate on the token. */
    private static final class Certificate {
        final NativePKCS11Object object;
        final X509Certificate content;
        final byte[] id;
        final String label;

        Certificate(NativePKCS11Object object, X509Certificate content) {
            this.object = object;
            this.content = content;
            PKCS11Attributes read = object.readAttributes(CKA_ID, CKA_LABEL);
            id = read.getBytes(CKA_ID);
            label = read.getString(CKA_LABEL) == null ? "" : read.getString(CKA_LABEL);
        }
    }

    private final Token token;
    private final Connection at;
    private final NativePKCS11Session session;
    private final List<Certificate> certificates = new ArrayList<>();

    /** Reads the certificates in a session. */
    TokenObjects(Token token, Connection at, NativePKCS11Session session) {
        this.token = token;
        this.at = at;
        this.session = session;
        at.checkLogin(session);
        for (NativePKCS11Object each : session.findObjects(
            Template.of(CKA_CLASS, CKO_CERTIFICATE, CKA_CERTIFICATE_TYPE, CKC_X_509))) {
            try {
                certificates.add(new Certificate(each, each.toCertificate()));
            } catch (CertificateException | PKCS11Exception e) {
                // Not a certificate that the JDK knows, or none at all: cards have empty places.
            }
        }
    }

    /** Returns the entries by their aliases. */
    Map<String, Entry> entries() {
        List<Entry> entries = new ArrayList<>();
        Set<Certificate> own = new HashSet<>();
        Set<X509Certificate> used = new HashSet<>();
        for (NativePKCS11Object each : keys(CKO_PRIVATE_KEY)) {
            Entry entry = privateKey(each, own);
            entries.add(entry);
            used.addAll(Arrays.asList(entry.chain));
        }
        for (NativePKCS11Object each : keys(CKO_SECRET_KEY)) {
            PKCS11Attributes read = each.readAttributes(TokenSecretKey.ATTRIBUTES);
            TokenKey key = new TokenSecretKey(token, KeyKind.algorithm(read.getInteger(CKA_KEY_TYPE)), at, each, read);
            entries.add(new Entry(key, NO_CHAIN, key.getLabel()));
        }
        Set<List<Object>> labelled = new HashSet<>();
        own.forEach(each -> labelled.add(List.of(each.content, each.label)));
        // Each label of a certificate is an entry; without any label it is one, unless a chain has it.
        certificates.sort(Comparator.comparing(each -> each.label.isEmpty()));
        for (Certificate each : certificates) {
            boolean isNew = used.add(each.content);
            if (each.label.isEmpty() ? isNew : labelled.add(List.of(each.content, each.label))) {
                entries.add(new Entry(null, new X509Certificate[] {each.content}, each.label));
            }
        }
        return named(entries);
    }

    private List<NativePKCS11Object> keys(int keyClass) {
        return session.findObjects(Template.of(CKA_CLASS, keyClass, CKA_TOKEN, true));
    }

    private boolean isUnnamed(X509Certificate content) {
        return certificates.stream().noneMatch(each -> each.content.equals(content) && !each.label.isEmpty());
    }

    /** Returns the entry of a private key, and adds its certificate to those of other keys. */
    private Entry privateKey(NativePKCS11Object object, Set<Certificate> others) {
        PKCS11Attributes read = object.readAttributes(CKA_ID, CKA_LABEL, CKA_MODULUS);
        byte[] id = read.getBytes(CKA_ID);
        boolean hasId = id != null && id.length > 0;
        List<PublicKey> publicKeys = hasId ? TokenKey.publicKeys(session, id) : List.of();
        Certificate own = certificates.stream().filter(each -> hasId && Arrays.equals(each.id, id)
            && !isOfOther(each.content.getPublicKey(), read.getBigInteger(CKA_MODULUS), publicKeys)).findFirst()
            .orElseGet(() -> certificates.stream().filter(each -> isOf(each.content.getPublicKey(),
                read.getBigInteger(CKA_MODULUS), publicKeys)).findFirst().orElse(null));
        PublicKey publicKey = own != null ? own.content.getPublicKey()
            : publicKeys.isEmpty() ? null : publicKeys.get(0);
        if (own != null) {
            others.add(own);
        }
        TokenKey key = TokenPrivateKey.of(token, at, object, publicKey);
        String label = !key.getLabel().isEmpty() ? key.getLabel() : own == null ? "" : own.label;
        return new Entry(key, own == null ? NO_CHAIN : chain(own.content), label);
    }

    /** Returns whether a public key belongs to a private key, of which the modulus or public keys are known. */
    private static boolean isOf(PublicKey candidate, BigInteger modulus, List<PublicKey> known) {
        return candidate instanceof RSAKey ? ((RSAKey) candidate).getModulus().equals(modulus)
            : known.contains(candidate);
    }

    /** Returns whether a public key is known not to belong to a private key. */
    private static boolean isOfOther(PublicKey candidate, BigInteger modulus, List<PublicKey> known) {
        return (modulus != null || !known.isEmpty()) && !isOf(candidate, modulus, known);
    }

    /** Returns a certificate and its issuers, those that are on the token. */
    private X509Certificate[] chain(X509Certificate first) {
        List<X509Certificate> chain = new ArrayList<>(List.of(first));
        for (X509Certificate last = first; last != null;) {
            X509Certificate issued = last;
            last = certificates.stream().map(each -> each.content).filter(each -> !chain.contains(each)
                && !issued.getSubjectX500Principal().equals(issued.getIssuerX500Principal())
                && isIssuer(each, issued)).findFirst().orElse(null);
            if (last != null) {
                chain.add(last);
            }
        }
        return chain.toArray(NO_CHAIN);
    }

    private static boolean isIssuer(X509Certificate issuer, X509Certificate issued) {
        if (!issuer.getSubjectX500Principal().equals(issued.getIssuerX500Principal())) {
            return false;
        }
        try {
            issued.verify(issuer.getPublicKey());
            return true;
        } catch (GeneralSecurityException e) {
            return false;
        }
    }

    // Changes

    /** Writes a certificate, unless it is there with this identifier and label. */
    void write(X509Certificate content, byte[] id, String label) throws CertificateEncodingException {
        for (Certificate each : certificates) {
            if (each.content.equals(content)
                && (label.isEmpty() || each.label.equals(label) && Arrays.equals(each.id, id))) {
                return;
            }
        }
        session.createObject(Template.of(CKA_CLASS, CKO_CERTIFICATE, CKA_CERTIFICATE_TYPE, CKC_X_509, CKA_TOKEN, true,
            CKA_PRIVATE, false, CKA_ID, id, CKA_LABEL, label,
            CKA_SUBJECT, content.getSubjectX500Principal().getEncoded(),
            CKA_ISSUER, content.getIssuerX500Principal().getEncoded(),
            CKA_SERIAL_NUMBER, Der.encode(Der.INTEGER, content.getSerialNumber().toByteArray()),
            CKA_VALUE, content.getEncoded()));
    }

    /** Destroys the certificates of an entry: the first of its chain, and unlabelled issuers that no other needs. */
    void destroyChain(Entry entry, Collection<Entry> others) {
        Set<X509Certificate> needed = new HashSet<>();
        others.stream().filter(each -> each != entry).forEach(each -> needed.addAll(Arrays.asList(each.chain)));
        for (int i = 0; i < entry.chain.length; i++) {
            X509Certificate content = entry.chain[i];
            boolean isNeeded = needed.contains(content);
            if (i == 0 || isUnnamed(content) && !isNeeded) {
                certificates.stream().filter(each -> each.content.equals(content)
                    && (!isNeeded || isOwn(each, entry))).forEach(each -> each.object.destroy());
            }
        }
    }

    /** Returns whether a certificate belongs to an entry, and not to another one with the same certificate. */
    private static boolean isOwn(Certificate certificate, Entry entry) {
        return entry.key == null ? certificate.label.equals(entry.label)
            : Arrays.equals(certificate.id, entry.key.getId());
    }

    /** Destroys the key of an entry, and the public keys to it. */
    void destroyKey(Entry entry) throws InvalidKeyException {
        entry.key.in(at, session).destroy();
        byte[] id = entry.key.getId();
        if (id != null && id.length > 0) {
            session.findObjects(Template.of(CKA_CLASS, CKO_PUBLIC_KEY, CKA_ID, id))
                .forEach(NativePKCS11Object::destroy);
        }
    }

    /** Returns the entries by aliases: their labels, with qualifiers until they are unique, and a number at the end. */
    private static Map<String, Entry> named(List<Entry> entries) {
        Map<String, Entry> named = new LinkedHashMap<>();
        List<Entry> unnamed = entries;
        for (int level = 0; level <= Entry.QUALIFIERS; level++) {
            List<Entry> left = new ArrayList<>();
            Map<String, List<Entry>> groups = new LinkedHashMap<>();
            for (Entry each : unnamed) {
                groups.computeIfAbsent(each.name(level), name -> new ArrayList<>()).add(each);
            }
            groups.forEach((name, group) -> {
                if (group.size() == 1 && !name.isEmpty() && !named.containsKey(name)) {
                    named.put(name, group.get(0));
                } else {
                    left.addAll(group);
                }
            });
            unnamed = left;
        }
        for (Entry each : unnamed) {
            int number = 1;
            while (named.putIfAbsent(each.name(Entry.QUALIFIERS) + "#" + number, each) != null) {
                number++;
            }
        }
        return named;
    }
}
