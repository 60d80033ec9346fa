package com.kelvane.tokbridge.provider.test;

import static com.kelvane.tokbridge.provider.test.Tokens.*;
import static org.junit.jupiter.api.Assertions.*;
import static org.junit.jupiter.api.Assumptions.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import com.kelvane.pkcs11.provider.*;
import java.io.*;
import java.math.*;
import java.nio.charset.*;
import java.nio.file.*;
import java.security.*;
import java.security.cert.*;
import java.security.cert.Certificate;
import java.util.*;
import java.util.concurrent.*;
import javax.crypto.*;
import javax.crypto.spec.*;
import javax.security.auth.callback.*;
import javax.security.auth.login.*;
import javax.security.auth.x500.*;
import org.bouncycastle.cert.jcajce.*;
import org.bouncycastle.operator.jcajce.*;
import org.junit.jupiter.api.*;

/** The key store: its entries and aliases, changes of them, and PINs that are wrong. */
class KeyStoreTest {
    private KeyStore store;

    @BeforeEach
    void load() throws Exception {
        login();
        store = keyStore(PROVIDER, PIN);
    }

    /** Certifies a public key with a private one, of the token or not. */
    static X509Certificate certificate(String subject, PublicKey key, String issuer, PrivateKey signer)
        throws Exception {
        Date now = new Date(System.currentTimeMillis() / 1000 * 1000);
        String algorithm = signer.getAlgorithm().equals("EC") ? "SHA256withECDSA" : "SHA256withRSA";
        return new JcaX509CertificateConverter().getCertificate(new JcaX509v3CertificateBuilder(
            new X500Principal(issuer), new BigInteger(60, RANDOM), now, new Date(now.getTime() + 86_400_000L),
            new X500Principal(subject), key).build(new JcaContentSignerBuilder(algorithm).build(signer)));
    }

    private static KeyPair pair(String algorithm, Provider provider) throws Exception {
        KeyPairGenerator generator = provider == null ? KeyPairGenerator.getInstance(algorithm)
            : KeyPairGenerator.getInstance(algorithm, provider);
        generator.initialize(algorithm.equals("EC") ? 256 : 2048);
        return generator.generateKeyPair();
    }

    /** Keys of both kinds in the life of an entry: set, found again, given a new chain, renamed and deleted. */
    @Test
    @Tag("any")
    void entriesAreSetChangedAndDeleted() throws Exception {
        assumeTrue(has("KeyPairGenerator", "RSA") && HAS_SESSION_KEYS, "the token takes no keys");
        Set<String> before = new TreeSet<>(Collections.list(store.aliases()));
        KeyPair root = pair("RSA", null);
        KeyPair middle = pair("RSA", null);
        X509Certificate[] issuers = {certificate("CN=middle", middle.getPublic(), "CN=root", root.getPrivate()),
            certificate("CN=root", root.getPublic(), "CN=root", root.getPrivate())};
        for (String algorithm : has("KeyPairGenerator", "EC") ? new String[] {"RSA", "EC"} : new String[] {"RSA"}) {
            for (Provider provider : new Provider[] {PROVIDER, null}) {
                KeyPair pair = pair(algorithm, provider);
                X509Certificate own = certificate("CN=own", pair.getPublic(), "CN=own", pair.getPrivate());
                store.setKeyEntry("entry", pair.getPrivate(), null, new Certificate[] {own});
                assertArrayEquals(new Certificate[] {own}, store.getCertificateChain("entry"));
                Certificate[] chain = {certificate("CN=own", pair.getPublic(), "CN=middle", middle.getPrivate()),
                    issuers[0], issuers[1]};
                store.setKeyEntry("entry", store.getKey("entry", null), null, chain);
                KeyStore again = keyStore(PROVIDER, PIN);
                assertArrayEquals(chain, again.getCertificateChain("entry"), algorithm);
                assertEquals("entry", again.getCertificateAlias(chain[0]));
                PrivateKey key = ((KeyStore.PrivateKeyEntry) again.getEntry("entry", null)).getPrivateKey();
                KeyStoreTest.certificate("CN=x", pair.getPublic(), "CN=x", key).verify(pair.getPublic());
                again.setKeyEntry("renamed", key, null, chain);
                assertFalse(again.containsAlias("entry"));
                assertEquals(before.size() + 1, again.size(), "the issuers are no entries of their own");
                again.deleteEntry("renamed");
                assertEquals(before, new TreeSet<>(Collections.list(again.aliases())));
                store.load(null, PIN.toCharArray());
            }
        }
        SecretKey secret = new SecretKeySpec(Tokens.random(16), "AES");
        store.setEntry("secret", new KeyStore.SecretKeyEntry(secret), null);
        Cipher cipher = Cipher.getInstance("AES/ECB/NoPadding");
        cipher.init(Cipher.ENCRYPT_MODE, secret);
        byte[] hidden = cipher.doFinal(new byte[16]);
        Cipher onToken = Cipher.getInstance("AES/ECB/NoPadding");
        onToken.init(Cipher.ENCRYPT_MODE, ((KeyStore.SecretKeyEntry) store.getEntry("secret", null)).getSecretKey());
        assertArrayEquals(hidden, onToken.doFinal(new byte[16]));
        assertThrows(KeyStoreException.class, () -> store.setCertificateEntry("secret", issuers[1]));
        store.deleteEntry("secret");
        store.setCertificateEntry("trusted", issuers[0]);
        store.setCertificateEntry("trusted", issuers[1]);
        assertTrue(store.isCertificateEntry("trusted") && store.getKey("trusted", null) == null);
        assertEquals(issuers[1], ((KeyStore.TrustedCertificateEntry) store.getEntry("trusted", null))
            .getTrustedCertificate());
        assertThrows(KeyStoreException.class, () -> store.setKeyEntry("trusted", secret, null, null));
        store.deleteEntry("trusted");
        assertEquals(before, new TreeSet<>(Collections.list(store.aliases())));
    }

    @Test
    void entriesWithOneCertificateAreIndependent() throws Exception {
        Set<String> before = Set.copyOf(Collections.list(store.aliases()));
        KeyPair pair = pair("EC", null);
        Certificate[] chain = {certificate("CN=own", pair.getPublic(), "CN=own", pair.getPrivate())};
        store.setKeyEntry("first", pair.getPrivate(), null, chain);
        store.setKeyEntry("second", pair.getPrivate(), null, chain);
        store.deleteEntry("first");
        assertArrayEquals(chain, store.getCertificateChain("second"));
        store.setCertificateEntry("trusted", chain[0]);
        store.setCertificateEntry("twice", chain[0]);
        store.deleteEntry("second");
        store.deleteEntry("twice");
        assertTrue(store.isCertificateEntry("trusted") && !store.containsAlias("twice"));
        store.deleteEntry("trusted");
        assertEquals(before, Set.copyOf(Collections.list(store.aliases())));
    }

    /** Labels that repeat or are missing still lead to one alias for each entry, the same at each load. */
    @Test
    @Tag("any")
    void aliasesAreUniqueAndStable() throws Exception {
        assumeTrue(has("KeyGenerator", "AES") && HAS_SESSION_KEYS, "the token takes no keys");
        assumeFalse(IS_NSS, "NSS has one secret key of an identifier");
        int before = store.size();
        KeyGenerator generator = KeyGenerator.getInstance("AES", PROVIDER);
        for (String label : new String[] {"twin", "twin", "", ""}) {
            for (int id : new int[] {1, 1, 2}) {
                generator.init(new TokenKeySpec(null).onToken(label).withId(new byte[] {(byte) id}));
                generator.generateKey();
            }
        }
        Set<Set<String>> loads = new HashSet<>();
        for (int i = 0; i < 3; i++) {
            store.load(null, PIN.toCharArray());
            loads.add(new TreeSet<>(Collections.list(store.aliases())));
        }
        assertEquals(1, loads.size(), loads.toString());
        assertEquals(before + 12, store.size());
        Set<String> made = loads.iterator().next();
        assertTrue(made.stream().anyMatch(each -> each.startsWith("twin/2/AES/")) && !made.contains(""),
            made.toString());
        while (store.size() > before) {
            store.deleteEntry(Collections.list(store.aliases()).stream()
                .filter(each -> each.matches("twin.*|[12](/AES.*)?(#.*)?")).findFirst().orElseThrow());
        }
    }

    /** A key without a certificate is an entry, and a certificate is found by its public key. */
    @Test
    void keysAndCertificatesFindEachOther() throws Exception {
        KeyPairGenerator generator = KeyPairGenerator.getInstance("EC", PROVIDER);
        generator.initialize(new TokenKeySpec(null).onToken("bare"));
        KeyPair pair = generator.generateKeyPair();
        store.load(null, PIN.toCharArray());
        assertTrue(store.isKeyEntry("bare") && store.getCertificateChain("bare") == null);
        assertThrows(UnrecoverableEntryException.class, () -> store.getEntry("bare", null));
        assertFalse(store.entryInstanceOf("bare", KeyStore.SecretKeyEntry.class));
        X509Certificate certificate = certificate("CN=bare", pair.getPublic(), "CN=bare", pair.getPrivate());
        store.setCertificateEntry("elsewhere", certificate);
        assertEquals(certificate, store.getCertificate("bare"));
        store.deleteEntry("bare");
    }

    private void refuses(String pin) {
        IOException refused = assertThrows(IOException.class, () -> keyStore(PROVIDER, pin), pin);
        assertTrue(refused.getCause() instanceof UnrecoverableKeyException, refused.toString());
        assertTrue(refused.getCause().getCause() instanceof FailedLoginException);
    }

    /** A wrong PIN is refused in each state of the login, and not sent twice: a card is blocked by the third. */
    @Test
    @Tag("any")
    void aWrongPinIsRefusedAndNotSentTwice() throws Exception {
        AuthProvider provider = (AuthProvider) PROVIDER;
        String wrong = new StringBuilder(PIN).reverse().toString();
        for (String pin : new String[] {wrong, "", wrong}) {
            refuses(pin);
        }
        provider.logout();
        ExecutorService threads = Executors.newFixedThreadPool(4);
        List<Future<?>> results = new ArrayList<>();
        for (int i = 0; i < 12; i++) {
            results.add(threads.submit(() -> refuses(wrong)));
        }
        for (Future<?> each : results) {
            each.get();
        }
        threads.shutdown();
        assertThrows(FailedLoginException.class, () -> provider.login(null, callbacks ->
            ((PasswordCallback) callbacks[0]).setPassword(wrong.toCharArray())));
        provider.login(null, callbacks -> ((PasswordCallback) callbacks[0]).setPassword(PIN.toCharArray()));
        refuses(wrong);
        keyStore(PROVIDER, PIN);
    }

    /** A PIN is checked too where other code has logged in. */
    @Test
    @Tag("any")
    void aPinIsCheckedAfterALoginByOthers() throws Exception {
        for (String pin : new String[] {"000000", PIN}) {
            ((AuthProvider) PROVIDER).logout();
            NativePKCS11 other = new NativePKCS11();
            other.load(MODULE);
            other.libInitialize();
            other.findSlot(LABEL).orElseThrow().openSession(PKCS11Constants.CKF_SERIAL_SESSION, null).login(false, PIN);
            if (pin.equals(PIN)) {
                keyStore(PROVIDER, pin);
            } else {
                refuses(pin);
            }
            other.libFinalize();
        }
    }

    /** The sources of a PIN: a file, the URI, a handler of the provider, the protection of a key store. */
    @Test
    void pinsComeFromSeveralSources() throws Exception {
        Path file = Files.write(Files.createTempFile("pin", ""), List.of(PIN, "more"));
        String uri = uri(MODULE, LABEL);
        CallbackHandler handler = callbacks -> ((PasswordCallback) callbacks[0]).setPassword(PIN.toCharArray());
        for (String source : new String[] {"&pin-source=file:" + file, "&pin-source=" + file, "&pin-value=" + PIN}) {
            ((AuthProvider) PROVIDER).logout();
            Provider provider = new TokbridgeProvider().configure(uri + source);
            KeyPairGenerator.getInstance("EC", provider).generateKeyPair(); // logs in by itself
            KeyStore.getInstance("PKCS11", provider).load(null, null);
        }
        ((AuthProvider) PROVIDER).logout();
        KeyStore.Builder.newInstance("PKCS11", PROVIDER, new KeyStore.CallbackHandlerProtection(handler)).getKeyStore();
        new TokbridgeProvider().configure(uri + "&pin-value=wrong"); // the last configuration counts
        ((AuthProvider) PROVIDER).logout();
        assertThrows(ProviderException.class, () -> KeyPairGenerator.getInstance("EC", PROVIDER).generateKeyPair());
        keyStore(PROVIDER, PIN);
        new TokbridgeProvider().configure(uri + "&pin-value=" + PIN);
    }

    /** What is wrong with a configuration is named. */
    @Test
    void aWrongConfigurationNamesThePart() throws Exception {
        Map<String, String> wrong = new TreeMap<>(Map.of("token=x", "pkcs11:", "pkcs11:tokne=x", "\"tokne\"",
            uri("/none.so", "x"), "/none.so", "pkcs11:?module-name=none", "module-name=none",
            uri(MODULE, "none"), "Tokens present: [pkcs11:",
            uri(MODULE, LABEL).replace("?", ";object=x?"), "\"object\"",
            uri(MODULE, LABEL) + "&pin-source=/none", "/none", uri(MODULE, LABEL) + "&pin-source=|id", "command",
            uri("/dev/null", "x"), "/dev/null"));
        wrong.forEach((uri, named) -> {
            String message = assertThrows(InvalidParameterException.class, () -> new TokbridgeProvider().configure(uri),
                uri).getMessage();
            assertTrue(message.contains(named), message);
        });
        assertThrows(ProviderException.class, () -> new TokbridgeProvider().logout());
    }
}
