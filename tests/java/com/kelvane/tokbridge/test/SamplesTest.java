package com.kelvane.tokbridge.test;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static com.kelvane.tokbridge.test.Harness.*;
import static org.junit.jupiter.api.Assertions.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import java.io.*;
import java.math.*;
import java.nio.*;
import java.nio.file.*;
import java.util.*;
import java.util.concurrent.*;
import java.util.regex.*;
import java.util.stream.*;
import org.junit.jupiter.api.*;

/** The samples on SoftHSM2, each in a process of its own. */
class SamplesTest {
    /** A certificate of CN=host.example, signed by itself. */
    private static final String CERTIFICATE =
        "MIIBRTCB7aADAgECAghvuWsDB1aVFTAKBggqhkjOPQQDAjAXMRUwEwYDVQQDEwxob3N0LmV4YW1wbGUwIBcNMjYx"
        + "MTIyMDMyODAyWhgPMjEyNjEwMjkwMzI4MDJaMBcxFTATBgNVBAMTDGhvc3QuZXhhbXBsZTBZMBMGByqGSM49AgEG"
        + "CCqGSM49AwEHA0IABHSUjO/5ODfovQzt349cRkU7ZZi+rGboXK/SvnQ7ICnmIZdRswdvRq9Q74p5fHJ1IWuwNKeh"
        + "9XRxvlYnHhyoPYajITAfMB0GA1UdDgQWBBR6dyTyUPMnkiwgT5Cg2O8DMsLWOjAKBggqhkjOPQQDAgNHADBEAiA2"
        + "6Bdd0I1N//+OGiHzcJlR0EdelSAVOpfY8tMUZV/ngAIgQnSFATM4EAfT+kUv4UbCqvgW1zP98b5fQ971H6YNSOY=";

    private final Programs programs = new Programs();
    private final String softhsm = RealTokenTest.SOFTHSM;

    private Process start(String sample, String... arguments) throws IOException {
        return programs.java(System.getProperty("tokbridge.library"), sample, arguments).start();
    }

    private String outcome(String sample, String... arguments) throws Exception {
        Process process = start(sample, arguments);
        process.getOutputStream().close();
        return Programs.outcome(process);
    }

    @Test
    void samplesPrintTheirResults() throws Exception {
        programs.onNewTokens(List.of("first", "second"), session -> {
            session.generateKeyPair(CKM_RSA_PKCS_KEY_PAIR_GEN, null, Template.of(CKA_MODULUS_BITS, 2048,
                CKA_PUBLIC_EXPONENT, BigInteger.valueOf(65537), CKA_TOKEN, true, CKA_LABEL, "key"),
                Template.of(CKA_TOKEN, true, CKA_LABEL, "key", CKA_SIGN, true));
            session.generateKey(CKM_AES_KEY_GEN, null,
                Template.of(CKA_VALUE_LEN, 16, CKA_TOKEN, true, CKA_LABEL, "moved", CKA_EXTRACTABLE, true));
        });
        assertEquals("The JDK verifies the signature.\nexit 0", outcome("Sign", softhsm, "first", "key"));
        assertTrue(outcome("Sign", softhsm, "first", "none").contains(": 0 objects of this class"));
        assertTrue(outcome("Sign", softhsm, "none", "key").contains(": there is no token none"));
        assertTrue(outcome("MoveKey", softhsm, "first", "second", "none").contains(": 0 secret keys have the label"));
        assertEquals("The key is on both tokens.\nexit 0", outcome("MoveKey", softhsm, "first", "second", "moved"));
        assertEquals("100 digests from 4 sessions.\nexit 0", outcome("Pool", softhsm, "first"));
        assertEquals("ECDH and CMAC: true\nexit 0", outcome("Derive", softhsm, "first"));
        Path certificate = Files.write(scratchFile(".crt"), Base64.getDecoder().decode(CERTIFICATE));
        assertEquals("GCM: a text\nOAEP: a text\nCertificate: CN=host.example\nexit 0",
            outcome("Recipes", softhsm, "first", certificate.toString()));
        String request = scratchFile(".csr").toString();
        assertEquals("The request is in " + request + ".\nexit 0",
            outcome("Request", softhsm, "first", "tls", "CN=host.example", request));
        String output = Programs.outcome(new ProcessBuilder(Path.of(System.getProperty("java.home"), "bin", "keytool")
            .toString(), "-printcertreq", "-file", request).redirectErrorStream(true).start()); // which verifies it
        assertTrue(output.contains("CN=host.example") && output.endsWith("exit 0"), output);
    }

    @Test
    void sealedFilesOpenUnlessChanged() throws Exception {
        programs.onNewTokens(List.of("first"), session -> session.generateKey(CKM_AES_KEY_GEN, null,
            Template.of(CKA_VALUE_LEN, 32, CKA_TOKEN, true, CKA_LABEL, "key", CKA_ENCRYPT, true, CKA_DECRYPT, true)));
        int piece = 1 << 20;
        for (int size : new int[] {0, piece, 2 * piece + 1}) {
            Path plain = scratchFile(".plain"), sealed = scratchFile(".sealed"), opened = scratchFile(".opened");
            byte[] content = bytes(size, size);
            Files.write(plain, content);
            assertTrue(sealFile("seal", plain, sealed).endsWith("exit 0"));
            assertTrue(sealFile("open", sealed, opened).endsWith("exit 0"));
            assertArrayEquals(content, Files.readAllBytes(opened));
            byte[] whole = Files.readAllBytes(sealed);
            int first = 7 + piece + 16;
            List<byte[]> wrong = size < first ? List.of() : List.of(Arrays.copyOf(whole, first), // the rest is missing
                ByteBuffer.allocate(whole.length).put(whole).put(7, (byte) ~whole[7]).array(),
                ByteBuffer.allocate(2 * first).put(whole, 0, first).put(whole, 7, first - 7).array());
            for (byte[] each : wrong) {
                Files.write(sealed, each);
                String output = sealFile("open", sealed, opened);
                assertTrue(output.contains("C_Decrypt with CKM_AES_GCM") && output.endsWith("exit 1"), output);
                assertFalse(Files.exists(opened));
            }
        }
    }

    private String sealFile(String verb, Path from, Path to) throws Exception {
        return outcome("SealFile", softhsm, "first", "key", verb, from.toString(), to.toString());
    }

    /** A null PIN would mean the token's PIN pad, and an empty one counts as a wrong PIN. */
    @Test
    void aMissingPinIsNeverSent() throws Exception {
        for (String sample : List.of("Sign", "SealFile", "Derive", "Recover", "Pool", "MoveKey", "Request",
            "Recipes")) {
            for (String pin : new String[] {null, ""}) {
                ProcessBuilder builder = programs.java(System.getProperty("tokbridge.library"), sample, softhsm,
                    "token", "token", "x",
                    "x", "x");
                builder.environment().remove("TOKEN_PIN");
                if (pin != null) {
                    builder.environment().put("TOKEN_PIN", pin);
                }
                String output = Programs.outcome(builder.start());
                assertTrue(output.contains(": TOKEN_PIN is not set") && !output.endsWith("exit 0"),
                    sample + ": " + output);
            }
        }
    }

    /** In this process, where a scripted slot loses its token and gets it again. */
    @Test
    void watchPrintsTokensThatComeAndGo() throws Throwable {
        ScriptedToken token = ScriptedToken.copy();
        InputStream in = System.in;
        PrintStream out = System.out;
        PipedOutputStream key = new PipedOutputStream();
        BlockingQueue<String> lines = new LinkedBlockingQueue<>();
        System.setIn(new PipedInputStream(key));
        System.setOut(new PrintStream(OutputStream.nullOutputStream()) {
            @Override
            public void println(String line) {
                lines.add(line);
            }
        });
        try {
            Background watch = Harness.start(() -> Class.forName("Watch").getMethod("main", String[].class)
                .invoke(null, (Object) new String[] {token.path()}));
            String come = lines.take();
            assertTrue(come.startsWith("+ "), come);
            token.always("C_GetTokenInfo", "rv=CKR_TOKEN_NOT_PRESENT");
            assertEquals(come.replace('+', '-'), lines.take());
            token.always("C_GetTokenInfo", "");
            assertEquals(come, lines.take());
            key.write('\n');
            key.flush();
            assertEquals("No longer watching.", lines.take());
            watch.finish();
        } finally {
            System.setIn(in);
            System.setOut(out);
        }
    }

    @Test
    void theDocumentationQuotesTheSamples() throws Exception {
        Path root = Path.of(System.getProperty("tokbridge.test.docs")).getParent();
        StringBuilder samples = new StringBuilder();
        try (DirectoryStream<Path> files = Files.newDirectoryStream(root.resolve("samples"), "*.java")) {
            for (Path file : files) {
                samples.append(Files.readString(file));
            }
        }
        for (String page : List.of("README.md", "docs/using.md", "docs/recipes.md", "docs/provider.md")) {
            List<String> pieces = Pattern.compile("```java\\n(.*?)```", Pattern.DOTALL)
                .matcher(Files.readString(root.resolve(page))).results()
                .flatMap(each -> Stream.of(each.group(1).split("// \\.\\.\\.\n"))).collect(Collectors.toList());
            assertFalse(pieces.isEmpty());
            for (String piece : pieces) {
                assertTrue(samples.indexOf(piece) >= 0, piece);
            }
        }
    }

    /** The server is killed and started again between two draws. */
    @Test
    void recoverSurvivesARestartOfTheServer() throws Exception {
        programs.onNewTokens(List.of("far away"), session -> { });
        Process server = programs.serve();
        try {
            Process recover = start("Recover", RealTokenTest.REMOTE, "far away");
            BufferedReader output = Programs.told(recover);
            OutputStream keys = recover.getOutputStream();
            for (int round = 0; round < 3; round++) {
                keys.write('\n');
                keys.flush();
                assertEquals("drawn", output.readLine());
                RealTokenTest.kill(server);
                server = programs.serve();
            }
            keys.close();
            assertEquals(0, recover.waitFor());
        } finally {
            RealTokenTest.kill(server);
        }
    }
}
