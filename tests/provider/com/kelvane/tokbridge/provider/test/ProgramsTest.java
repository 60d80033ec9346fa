package com.kelvane.tokbridge.provider.test;

import static com.kelvane.tokbridge.provider.test.KeyStoreTest.certificate;
import static com.kelvane.tokbridge.provider.test.Tokens.*;
import static org.junit.jupiter.api.Assertions.*;
import static org.junit.jupiter.api.Assumptions.*;

import com.kelvane.pkcs11.provider.*;
import java.io.*;
import java.nio.charset.*;
import java.nio.file.*;
import java.security.*;
import java.security.cert.Certificate;
import java.security.cert.*;
import java.security.spec.*;
import java.util.*;
import java.util.concurrent.*;
import javax.net.ssl.*;
import org.bouncycastle.cert.jcajce.*;
import org.bouncycastle.cms.*;
import org.bouncycastle.cms.jcajce.*;
import org.bouncycastle.operator.jcajce.*;
import org.junit.jupiter.api.*;

/** The provider as programs use it that do not know it: the JDK's tools, TLS, Bouncy Castle, a web server. */
class ProgramsTest {
    private static final String PATH = System.getProperty("tokbridge.test.path");
    private static final String TOKEN_URI = uri(MODULE, LABEL);
    private final Path scratch = Path.of(System.getProperty("tokbridge.test.scratch"));

    @BeforeAll
    static void begin() throws Exception {
        login();
    }

    private static String run(String... command) throws Exception {
        Process process = new ProcessBuilder(command).redirectErrorStream(true).start();
        process.getOutputStream().close();
        String told = new String(process.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
        assertEquals(0, process.waitFor(), String.join(" ", command) + ": " + told);
        return told;
    }

    /** Runs one of the JDK's tools with the provider, its argument and the token's PIN. */
    private static String tool(String name, String... arguments) throws Exception {
        List<String> command = new ArrayList<>(List.of(Path.of(System.getProperty("java.home"), "bin", name).toString(),
            "-J-Dtokbridge.library=" + System.getProperty("tokbridge.library"), "-J--enable-native-access=ALL-UNNAMED",
            "-J--class-path=" + PATH));
        List<String> provider = List.of("-keystore", "NONE", "-storetype", "PKCS11", "-storepass", PIN, "-addprovider",
            "Tokbridge", "-providerArg", TOKEN_URI);
        command.addAll(List.of(arguments));
        command.addAll(name.equals("keytool") ? command.size() : command.indexOf(arguments[0]), provider);
        return run(command.toArray(new String[0]));
    }

    /** A certification authority on the token, a key certified by it, a jar signed with that. */
    @Test
    void keytoolAndJarsigner() throws Exception {
        tool("keytool", "-genkeypair", "-alias", "authority", "-keyalg", "RSA", "-dname", "CN=authority", "-ext", "bc");
        tool("keytool", "-genkeypair", "-alias", "tool", "-keyalg", "EC", "-groupname", "secp256r1", "-dname",
            "CN=tool", "-providerName", PROVIDER.getName()); // a key that is generated on the token
        Path request = scratch.resolve("request"), certificate = scratch.resolve("certificate");
        tool("keytool", "-certreq", "-alias", "tool", "-file", request.toString());
        tool("keytool", "-gencert", "-alias", "authority", "-infile", request.toString(), "-outfile",
            certificate.toString(), "-ext", "eku=codeSigning");
        tool("keytool", "-importcert", "-alias", "tool", "-noprompt", "-file", certificate.toString());
        String listed = tool("keytool", "-list", "-v", "-alias", "tool");
        assertTrue(listed.contains("Certificate chain length: 2"), listed);
        Path jar = scratch.resolve("signed.jar");
        Files.copy(Path.of(PATH.split(File.pathSeparator)[0]), jar, StandardCopyOption.REPLACE_EXISTING);
        tool("jarsigner", jar.toString(), "tool");
        String verified = run(Path.of(System.getProperty("java.home"), "bin", "jarsigner").toString(), "-verify",
            jar.toString());
        assertTrue(verified.contains("jar verified."), verified);
        for (String alias : new String[] {"tool", "authority"}) {
            tool("keytool", "-delete", "-alias", alias);
        }
        assertFalse(tool("keytool", "-list").contains("authority"));
    }

    private static KeyStore entry(String alias, String algorithm, int size, String subject) throws Exception {
        KeyPairGenerator generator = KeyPairGenerator.getInstance(algorithm, PROVIDER);
        generator.initialize(size);
        KeyPair pair = generator.generateKeyPair();
        KeyStore store = keyStore(PROVIDER, PIN);
        store.setKeyEntry(alias, pair.getPrivate(), null,
            new Certificate[] {certificate(subject, pair.getPublic(), subject, pair.getPrivate())});
        return store;
    }

    private static SSLContext context(KeyStore store) throws Exception {
        KeyManagerFactory keys = KeyManagerFactory.getInstance("PKIX");
        keys.init(store, null);
        TrustManager trusting = new X509ExtendedTrustManager() {
            @Override
            public void checkClientTrusted(X509Certificate[] chain, String type, java.net.Socket socket) { }

            @Override
            public void checkServerTrusted(X509Certificate[] chain, String type, java.net.Socket socket) { }

            @Override
            public void checkClientTrusted(X509Certificate[] chain, String type, SSLEngine engine) { }

            @Override
            public void checkServerTrusted(X509Certificate[] chain, String type, SSLEngine engine) { }

            @Override
            public void checkClientTrusted(X509Certificate[] chain, String type) { }

            @Override
            public void checkServerTrusted(X509Certificate[] chain, String type) { }

            @Override
            public X509Certificate[] getAcceptedIssuers() {
                return new X509Certificate[0];
            }
        };
        SSLContext context = SSLContext.getInstance("TLS");
        context.init(keys.getKeyManagers(), new TrustManager[] {trusting}, null);
        return context;
    }

    /** Servers and clients with keys on the token, in both versions of TLS, with PKCS #1 and PSS for RSA. */
    @Test
    void tls() throws Exception {
        ExecutorService threads = Executors.newCachedThreadPool();
        for (String[] key : new String[][] {{"RSA", "2048"}, {"EC", "256"}, {"EC", "384"}}) {
            SSLContext context = context(entry("tls", key[0], Integer.parseInt(key[1]), "CN=localhost"));
            List<String> protocols = new ArrayList<>(List.of("TLSv1.2", "TLSv1.3"));
            if (key[0].equals("RSA")) {
                protocols.add("TLS_RSA_WITH_AES_128_GCM_SHA256"); // the token decrypts the secret
            }
            for (String protocol : protocols) {
                try (SSLServerSocket listening =
                    (SSLServerSocket) context.getServerSocketFactory().createServerSocket(0);
                    SSLSocket client = (SSLSocket) context.getSocketFactory().createSocket()) {
                    boolean isSuite = protocol.startsWith("TLS_");
                    client.setEnabledProtocols(new String[] {isSuite ? "TLSv1.2" : protocol});
                    if (isSuite && List.of(client.getSupportedCipherSuites()).contains(protocol)) {
                        listening.setEnabledCipherSuites(new String[] {protocol});
                        client.setEnabledCipherSuites(new String[] {protocol});
                    }
                    listening.setNeedClientAuth(true);
                    Future<?> server = threads.submit(() -> {
                        try (java.net.Socket accepted = listening.accept()) {
                            accepted.getOutputStream().write(accepted.getInputStream().read());
                        }
                        return null;
                    });
                    client.connect(listening.getLocalSocketAddress());
                    client.getOutputStream().write('x');
                    assertEquals('x', client.getInputStream().read(), key[0] + ", " + protocol);
                    assertEquals("CN=localhost", client.getSession().getPeerPrincipal().getName());
                    server.get();
                }
            }
            keyStore(PROVIDER, PIN).deleteEntry("tls");
        }
        threads.shutdown();
    }

    /** A message signed and decrypted by Bouncy Castle, with a key on the token. */
    @Test
    void cms() throws Exception {
        KeyStore store = entry("cms", "RSA", 2048, "CN=cms");
        X509Certificate certificate = (X509Certificate) store.getCertificate("cms");
        PrivateKey key = (PrivateKey) store.getKey("cms", null);
        CMSSignedDataGenerator signing = new CMSSignedDataGenerator();
        signing.addSignerInfoGenerator(new JcaSignerInfoGeneratorBuilder(
            new JcaDigestCalculatorProviderBuilder().build()).build(
                new JcaContentSignerBuilder("SHA256withRSA").setProvider(PROVIDER).build(key), certificate));
        CMSSignedData signed = signing.generate(new CMSProcessableByteArray(new byte[] {1, 2, 3}), true);
        assertTrue(signed.getSignerInfos().iterator().next()
            .verify(new JcaSimpleSignerInfoVerifierBuilder().build(certificate)));
        CMSEnvelopedDataGenerator enveloping = new CMSEnvelopedDataGenerator();
        enveloping.addRecipientInfoGenerator(new JceKeyTransRecipientInfoGenerator(certificate));
        CMSEnvelopedData hidden = enveloping.generate(new CMSProcessableByteArray(new byte[] {4, 5}),
            new JceCMSContentEncryptorBuilder(CMSAlgorithm.AES128_CBC).build());
        assertArrayEquals(new byte[] {4, 5}, hidden.getRecipientInfos().iterator().next()
            .getContent(new JceKeyTransEnvelopedRecipient(key).setMustProduceEncodableUnwrappedKey(true)));
        store.deleteEntry("cms");
    }

    /** The sample signs, makes a key, and serves one client. */
    @Test
    void theSampleServes() throws Exception {
        KeyStore store = entry("sample", "EC", 256, "CN=localhost");
        ProcessBuilder builder = new ProcessBuilder(Path.of(System.getProperty("java.home"), "bin", "java").toString(),
            "--enable-native-access=ALL-UNNAMED", "-Dtokbridge.library=" + System.getProperty("tokbridge.library"),
            "-cp", PATH + File.pathSeparator + System.getProperty("tokbridge.test.samples"), "TokenServer", TOKEN_URI,
            "sample")
            .redirectErrorStream(true);
        builder.environment().put("TOKEN_PIN", PIN);
        Process sample = builder.start();
        BufferedReader told = new BufferedReader(new InputStreamReader(sample.getInputStream()));
        assertEquals("signed, verified", told.readLine());
        assertEquals("generated EC key \"another key\" on the token \"" + LABEL + "\"", told.readLine());
        int port = Integer.parseInt(told.readLine());
        try (java.net.Socket client = context(store).getSocketFactory().createSocket("localhost", port)) {
            assertEquals("hello\n", new String(client.getInputStream().readAllBytes(), StandardCharsets.US_ASCII));
        }
        assertEquals(0, sample.waitFor());
        store.load(null, PIN.toCharArray());
        store.deleteEntry("sample");
        store.deleteEntry("another key");
    }

    /** A web server that names no provider, with lines in java.security with and without the token as argument. */
    @Test
    void aWebServerWhoseTokenRestarts() throws Exception {
        String web = System.getProperty("tokbridge.test.web");
        String address = System.getenv("P11_KIT_SERVER_ADDRESS");
        assumeTrue(!web.isEmpty() && address != null, "Tomcat is not installed (libtomcat10-java)");
        KeyStore store = entry("web", "EC", 256, "CN=localhost");
        Path authority = scratch.resolve("web.pem");
        Files.writeString(authority, "-----BEGIN CERTIFICATE-----\n" + Base64.getMimeEncoder().encodeToString(
            store.getCertificate("web").getEncoded()) + "\n-----END CERTIFICATE-----\n");
        String uri = "pkcs11:token=the%20token?module-path=" + System.getProperty("tokbridge.test.p11kit")
            + "/p11-kit-client.so&pin-value=" + PIN;
        int last = Security.getProviders().length; // ours is among those here
        Path security = Files.writeString(scratch.resolve("web.security"), "security.provider." + last
            + "=Tokbridge\nsecurity.provider." + (last + 1) + "=Tokbridge " + uri + "\n");
        Path socket = Path.of(address.replace("unix:path=", ""));
        Process server = RecoveryTest.serve(socket);
        Process tomcat = new ProcessBuilder(Path.of(System.getProperty("java.home"), "bin", "java").toString(),
            "--enable-native-access=ALL-UNNAMED", "-Dtokbridge.library=" + System.getProperty("tokbridge.library"),
            "-Djava.security.properties=" + security, "-cp", PATH + File.pathSeparator + web, "WebServer",
            scratch.toString(), uri).redirectError(scratch.resolve("web.log").toFile()).start();
        try {
            String port = new BufferedReader(new InputStreamReader(tomcat.getInputStream())).readLine();
            assertNotNull(port, () -> "see " + scratch + "/web.log");
            for (int round = 0; round < 4; round++) {
                for (int i = 0; i < 5; i++) {
                    assertEquals("404", run("curl", "--silent", "--cacert", authority.toString(), "--output",
                        "/dev/null", "--write-out", "%{http_code}", "https://localhost:" + port));
                }
                RecoveryTest.kill(server);
                server = RecoveryTest.serve(socket);
            }
        } finally {
            tomcat.destroyForcibly().waitFor();
            RecoveryTest.kill(server);
            store.deleteEntry("web");
        }
    }
}
