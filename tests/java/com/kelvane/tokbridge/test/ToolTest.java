package com.kelvane.tokbridge.test;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static com.kelvane.tokbridge.test.RealTokenTest.SOFTHSM;
import static org.junit.jupiter.api.Assertions.*;
import static org.junit.jupiter.api.Assumptions.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import java.io.*;
import java.lang.reflect.*;
import java.math.*;
import java.nio.charset.*;
import java.nio.file.*;
import java.util.*;
import java.util.regex.*;
import java.util.stream.*;
import org.junit.jupiter.api.*;

/** The command tokbridge in processes of its own, on SoftHSM2; and the page of errors, from which it speaks. */
class ToolTest {
    private static final Path DOCS = Path.of(System.getProperty("tokbridge.test.docs"));
    private static final byte[] SECRET = "a secret's bytes".getBytes(StandardCharsets.US_ASCII);
    private final Programs programs = new Programs();

    @BeforeAll
    static void thereIsATool() {
        assumeFalse(System.getProperty("tokbridge.test.tool").isEmpty());
    }

    private ProcessBuilder tool(String... arguments) {
        ProcessBuilder builder = programs.java(System.getProperty("tokbridge.library"),
            "com.kelvane.tokbridge.tool.Main", arguments);
        builder.environment().put("PKCS11_MODULE", SOFTHSM);
        return builder;
    }

    private String run(String... arguments) throws Exception {
        return Programs.outcome(tool(arguments).start());
    }

    private static void assertMatches(String pattern, String told) {
        assertTrue(Pattern.compile(pattern, Pattern.DOTALL).matcher(told).matches(), told);
    }

    /** Two tokens; on the first a key pair of each kind, and an AES key whose value could be read. */
    private void makeTokens() {
        programs.onNewTokens(List.of("keys", "empty"), session -> {
            if (!session.getSlot().getTokenInfo().getLabel().equals("keys")) {
                return;
            }
            int[] types = {CKA_TOKEN, CKA_LABEL, CKA_ID, CKA_SIGN, CKA_DECRYPT};
            for (int bits : new int[] {512, 2048}) {
                session.generateKeyPair(CKM_RSA_PKCS_KEY_PAIR_GEN, null, new int[] {CKA_MODULUS_BITS, CKA_TOKEN},
                    new Object[] {bits, true}, types, new Object[] {true, "rsa" + bits, new byte[] {1}, true, true});
            }
            byte[] curve = {0x06, 0x08, 0x2a, (byte) 0x86, 0x48, (byte) 0xce, 0x3d, 0x03, 0x01, 0x07};
            session.generateKeyPair(CKM_EC_KEY_PAIR_GEN, null, new int[] {CKA_EC_PARAMS, CKA_TOKEN, CKA_ID},
                new Object[] {curve, true, new byte[] {2}}, new int[] {CKA_TOKEN, CKA_LABEL, CKA_ID, CKA_SIGN},
                new Object[] {true, "ec", new byte[] {2}, true});
            session.createObject(new int[] {CKA_CLASS, CKA_KEY_TYPE, CKA_TOKEN, CKA_LABEL, CKA_VALUE, CKA_SENSITIVE,
                CKA_EXTRACTABLE, CKA_ENCRYPT, CKA_DECRYPT}, new Object[] {CKO_SECRET_KEY, CKK_AES, true,
                    "a\"\u00e9\n", SECRET, false, true, true, true});
        });
    }

    /** The objects' files of all tokens, and hashes of their contents. */
    private Map<String, Integer> objects() throws IOException {
        try (Stream<Path> files = Files.walk(programs.directory.resolve("tokens"))) {
            Map<String, Integer> contents = new TreeMap<>();
            for (Path file : files.filter(each -> each.getFileName().toString().matches(".*-.*\\.object"))
                .collect(Collectors.toList())) { // not token.object, which counts logins
                contents.put(file.getFileName().toString(), Arrays.hashCode(Files.readAllBytes(file)));
            }
            return contents;
        }
    }

    /** Whether a text is one JSON value: its innermost parts are taken away until one is left. */
    private static boolean isJson(String text) {
        String rest = text.trim().replaceAll("\"([^\"\\\\\\p{Cntrl}]|\\\\[\"\\\\/bfnrt]|\\\\u[0-9a-f]{4})*\"", "s")
            .replaceAll("-?\\d+(\\.\\d+)?|true|false|null", "v");
        for (String before = ""; !before.equals(rest);) {
            before = rest;
            rest = rest.replaceAll("\\[([sv](,[sv])*)?\\]|\\{(s:[sv](,s:[sv])*)?\\}", "v");
        }
        return rest.equals("v");
    }

    @Test
    void whatIsOnATokenAndWhetherItWorks() throws Exception {
        makeTokens();
        Map<String, Integer> before = objects();
        String listed = run("objects", "--token", "keys", "--pin-env", "TOKEN_PIN");
        assertMatches(".* private key +rsa +2048 +rsa2048 +01 .* private key +ec +P-256 +ec +02 .*sign.*"
            + " secret key +aes +128 +a\"\u00e9\\? .*7 objects\nexit 0", sorted(listed));
        assertFalse(listed.contains(new BigInteger(1, SECRET).toString(16)) || listed.contains("secret's"), listed);
        String json = run("objects", "--token", "keys", "--pin-env", "TOKEN_PIN", "--json");
        assertTrue(isJson(json.replace("exit 0", "")) && json.contains("\"label\":\"a\\\"\\u00e9\\u000a\""), json);
        assertFalse(isJson("{\"a\":[1,]}") || isJson("\"\n\""));
        assertTrue(isJson(run("info", "--json").replace("exit 0", "")));

        // The small key has no room for a PSS signature: the token refuses it, everything else works.
        String checked = run("check", "--token", "keys", "--pin-env", "TOKEN_PIN");
        assertMatches(".*RSA signature, PSS, key \"rsa512\" +\\d+ +[0-9.]+ +refused +it ended early: sign.* raised "
            + "CKR_.* 1 do not.*exit 1", checked);
        assertMatches(".*AES GCM, key \"a\"\u00e9\\?\" +1 +[0-9.]+ +works.*Nothing is left.*", checked);
        assertMatches(".*ECDSA signature, key \"ec\" +2 .*", checked);
        assertEquals(before, objects());
        String written = run("check", "--token", "empty", "--pin-env", "TOKEN_PIN", "--write", "--json");
        assertTrue(written.endsWith("exit 0") && written.contains("AES key wrap")
            && isJson(written.replace("exit 0", "")), written);
        assertEquals(before, objects());
    }

    /** Lines in the order of their text, but for the last one. */
    private static String sorted(String told) {
        return Arrays.stream(told.split("\n(?=exit)")[0].split("\n")).sorted(Comparator.comparing((String line) ->
            line.contains("objects") ? 9 : line.contains("rsa") ? 1 : line.contains("P-256") ? 2 : 3))
            .collect(Collectors.joining("\n")) + told.substring(told.lastIndexOf("\nexit"));
    }

    @Test
    void errorsInThreePartsAndStatuses() throws Exception {
        makeTokens();
        assertMatches("tokbridge: 2 tokens could be meant\n  Why: [^\n]*\"(keys|empty)\", serial number [^\n]*; "
            + "\"(keys|empty)\"[^\n]*\n  Try: [^\n]*--token[^\n]*\nexit 2", run("objects"));
        assertMatches(".*\n  Try: [^\n]*--help\nexit 2", run("objects", "--nonsense"));
        assertMatches("tokbridge: [^\n]*command[^\n]*\n  Try: tokbridge --help\nexit 2", run());
        assertMatches("tokbridge: no module is named\n.*\n  Try: [^\n]*--module[^\n]*\nexit 2",
            run("info", "--module", ""));
        assertMatches(".*no such file.*exit 3", run("info", "--module", "/none.so"));
        assertMatches(".*not in the current folder.*exit 3", run("info", "--module", "none.so"));
        for (String command : List.of("info", "objects", "check", "quickstart")) {
            ProcessBuilder lost = tool(command);
            lost.command().replaceAll(each -> each.replaceAll("(-Dtokbridge.library=).*", "$1/none.so"));
            assertMatches("tokbridge: tokbridge's own library is not there\n  Why: [^\n]*/none.so[^\n]*\n  Try: [^\n]*"
                + "-Dtokbridge.library[^\n]*\nexit 3", Programs.outcome(lost.start()));
        }
        Path text = Files.writeString(programs.directory.resolve("text.so"), "no module");
        assertMatches("tokbridge: the module \"text.so\" cannot be loaded\n  Why: LoadLibrary[^\n]*not an ELF file"
            + "[^\n]*\n  Try: [^\n]*ldd[^\n]*\nexit 3", Programs.outcome(tool("info", "--module", "text.so")
                .directory(text.getParent().toFile()).start()));
        Path pin = Files.writeString(programs.directory.resolve("pin"), "4321\r\n");
        assertMatches("tokbridge: the login failed\n  Why: CKR_PIN_INCORRECT[^\n]*\n  Try: [^\n]*\nexit 3",
            run("objects", "--token", "keys", "--pin-file", pin.toString()));
        Files.writeString(pin, "1234\r\n");
        assertMatches(".*7 objects\nexit 0", run("objects", "--token", "keys", "--pin-file", pin.toString()));
        assertMatches(".*there is no terminal.*exit 2", run("objects", "--token", "keys", "--login"));
        Process full = tool("info").redirectErrorStream(false).redirectOutput(new File("/dev/full")).start();
        assertEquals(3, full.waitFor());
    }

    /** Ended whenever an object of its own has been seen on the token, it leaves none. */
    @Test
    void nothingIsLeftWhenItIsInterrupted() throws Exception {
        makeTokens();
        Map<String, Integer> before = objects();
        int interrupted = 0;
        for (int round = 0; round < 12 && interrupted < 3; round++) {
            Process check = tool("check", "--token", "empty", "--pin-env", "TOKEN_PIN", "--write").start();
            while (check.isAlive() && objects().size() == before.size()) {
                Thread.onSpinWait();
            }
            check.toHandle().destroy(); // its output stays open
            Programs.outcome(check);
            interrupted += check.exitValue() == 143 ? 1 : 0;
            assertEquals(before, objects());
        }
        assertTrue(interrupted > 0, "it has always been quicker");
    }

    /** The commands of the page about tokens on other hosts, on one host. */
    @Test
    void aTokenOnAnotherHost() throws Exception {
        makeTokens();
        List<String> boxes = Pattern.compile("```sh\\n(.*?)```", Pattern.DOTALL)
            .matcher(Files.readString(DOCS.resolve("remote.md"))).results().map(each -> each.group(1))
            .collect(Collectors.toList());
        Path socket = programs.directory.resolve("socket");
        Map<String, String> variables = Map.of("SOCKET", socket.toString(), "MODULE", SOFTHSM);
        ProcessBuilder server = tool().command("sh", "-c", "exec " + boxes.get(0));
        server.environment().putAll(variables);
        Process serving = server.start();
        try {
            for (int i = 0; i < 1000 && !Files.exists(socket); i++) {
                Thread.sleep(10);
            }
            String tokbridge = tool().command().stream().map(each -> "'" + each + "' ").collect(Collectors.joining());
            ProcessBuilder client = tool().command("sh", "-c", "tokbridge() { " + tokbridge + "\"$@\"; }\n" + boxes.get(1));
            client.environment().putAll(variables);
            assertMatches(".*Module +\\S*p11-kit-client.so\n.*Token +keys\n.*exit 0", Programs.outcome(client.start()));
        } finally {
            RealTokenTest.kill(serving);
        }
    }

    /** Every code, and every text that the library raises or writes to standard error, stands in the page of errors. */
    @Test
    void thePageOfErrorsHasEveryText() throws Exception {
        String page = Files.readString(DOCS.resolve("errors.md"));
        Set<String> rows = Pattern.compile("^\\| `([^`]*)` \\|", Pattern.MULTILINE).matcher(page).results()
            .map(row -> row.group(1)).collect(Collectors.toSet());
        Set<String> raised = new TreeSet<>();
        try (Stream<Path> sources = Files.walk(DOCS.resolveSibling("src"))) {
            for (Path source : sources.filter(each -> each.toString().endsWith(".cpp")).collect(Collectors.toList())) {
                String code = Files.readString(source);
                Matcher call = Pattern.compile("(?:throwPKCS11Exception\\([^,]+, 0|refuse\\([^,]+|reportFault\\(|snprintf"
                    + "\\(message\\.data\\(\\), message\\.size\\(\\)),?\\s*(?:\"((?:[^\"\\\\]|\\\\.)*)\"|(k\\w+))")
                    .matcher(code);
                while (call.find()) {
                    String text = call.group(1);
                    if (text == null) {
                        Matcher constant = Pattern.compile(call.group(2) + " = \"(.*)\";").matcher(code);
                        assertTrue(constant.find(), call.group());
                        text = constant.group(1);
                    }
                    raised.add(text.replace("\\n", "").replace("\\\"", "\"")
                        .replaceAll("%[0-9.l]*[a-z]+(\\.%02d)?", "\u2026").strip());
                }
            }
        }
        assertTrue(raised.size() > 40, "" + raised);
        for (Field field : PKCS11Constants.class.getFields()) {
            if (field.getName().startsWith("CKR_") && field.getInt(null) != CKR_OK) {
                raised.add(field.getName());
            }
        }
        raised.removeAll(rows);
        assertEquals(Set.of(), raised);
    }
}
