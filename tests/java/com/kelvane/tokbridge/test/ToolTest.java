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
import java.security.*;
import java.security.spec.*;
import java.util.*;
import java.util.regex.*;
import java.util.stream.*;
import org.junit.jupiter.api.*;

/** The command tokbridge in processes of its own, on SoftHSM2; and the page of errors, from which it speaks. */
class ToolTest {
    private static final Path DOCS = Path.of(System.getProperty("tokbridge.test.docs"));
    private static final String TOOL = System.getProperty("tokbridge.test.tool");
    private static final byte[] SECRET = "a secret's bytes".getBytes(StandardCharsets.US_ASCII);
    private static final String PIN = "--pin-env=TOKEN_PIN";
    private final Programs programs = new Programs();

    @BeforeAll
    static void thereIsATool() {
        assumeFalse(TOOL.isEmpty());
    }

    private ProcessBuilder tool(String... arguments) {
        return with("PKCS11_MODULE", SOFTHSM, programs.command(List.of(TOOL), arguments));
    }

    private static ProcessBuilder with(String variable, String value, ProcessBuilder builder) {
        builder.environment().put(variable, value);
        return builder;
    }

    private String run(String... arguments) throws Exception {
        return Programs.outcome(tool(arguments).start());
    }

    private static void assertMatches(String pattern, String told) {
        assertTrue(Pattern.compile(pattern, Pattern.DOTALL).matcher(told).matches(), told);
    }

    /**
     * Two tokens, the second one empty. On the first RSA keys with an id, key pairs of an elliptic curve with a label
     * only, with an id of which there are two, and with nothing, an AES key whose value could be read, a key for
     * nothing, and a certificate that has the id of an RSA key.
     *
     * @return their serial numbers
     */
    private List<String> makeTokens() {
        List<String> serials = new ArrayList<>();
        programs.onNewTokens(List.of("t\u00f6ken", "t\u00f6ken 2"), session -> {
            serials.add(session.getSlot().getTokenInfo().getSerialNumber());
            if (serials.size() == 2) {
                return;
            }
            for (int bits : new int[] {512, 2048}) {
                pair(session, CKM_RSA_PKCS_KEY_PAIR_GEN, Template.of(CKA_MODULUS_BITS, bits),
                    Template.of(CKA_LABEL, "rsa" + bits, CKA_ID, new byte[] {(byte) (bits / 512)}, CKA_DECRYPT, true));
            }
            Template curve = Template.of(CKA_EC_PARAMS, new byte[] {0x06, 0x08, 0x2a, (byte) 0x86, 0x48, (byte) 0xce,
                0x3d, 0x03, 0x01, 0x07});
            for (String name : List.of("by label", "twice", "twice", "")) {
                Template named = name.equals("by label") ? Template.of(CKA_LABEL, name)
                    : name.isEmpty() ? Template.of() : Template.of(CKA_LABEL, name, CKA_ID, new byte[] {9});
                int[] types = named.getTypes();
                Object[] same = IntStream.range(0, types.length)
                    .mapToObj(i -> Stream.of(types[i], named.getValues()[i])).flatMap(each -> each).toArray();
                pair(session, CKM_EC_KEY_PAIR_GEN, curve.and(same), named);
            }
            session.createObject(Template.of(CKA_CLASS, CKO_SECRET_KEY, CKA_KEY_TYPE, CKK_AES, CKA_TOKEN, true,
                CKA_LABEL, "a\"\u00e9\n", CKA_VALUE, SECRET, CKA_SENSITIVE, false, CKA_EXTRACTABLE, true, CKA_ENCRYPT,
                true, CKA_DECRYPT, true));
            session.createObject(Template.of(CKA_CLASS, CKO_SECRET_KEY, CKA_KEY_TYPE, CKK_GENERIC_SECRET, CKA_TOKEN,
                true, CKA_LABEL, "idle", CKA_VALUE, SECRET, CKA_SIGN, false, CKA_VERIFY, false, CKA_ENCRYPT, false,
                CKA_WRAP, false));
            session.createObject(Template.of(CKA_CLASS, CKO_CERTIFICATE, CKA_CERTIFICATE_TYPE, CKC_X_509, CKA_TOKEN,
                true, CKA_ID, new byte[] {4}, CKA_SUBJECT, SECRET, CKA_VALUE, certificate()));
        });
        return serials;
    }

    private static void pair(NativePKCS11Session session, int mechanism, Template open, Template secret) {
        session.generateKeyPair(mechanism, null, open.and(CKA_TOKEN, true),
            secret.and(CKA_TOKEN, true, CKA_SIGN, true));
    }

    /** Any one that the JDK has. */
    private static byte[] certificate() {
        try {
            KeyStore store = KeyStore.getInstance(Path.of(System.getProperty("java.home"), "lib", "security", "cacerts")
                .toFile(), "changeit".toCharArray());
            return store.getCertificate(store.aliases().nextElement()).getEncoded();
        } catch (GeneralSecurityException | IOException e) {
            throw new IllegalStateException(e);
        }
    }

    private static byte[] decoded(String pem, String title) {
        String[] parts = pem.split("-----(BEGIN|END) " + title + "-----\n");
        assertEquals(3, parts.length, pem);
        return Base64.getMimeDecoder().decode(parts[1]);
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

    /** Whether a text is JSON values, one a line: their innermost parts are taken away until one is left of each. */
    private static boolean isJson(String text) {
        String rest = text.replaceAll("\"([^\"\\\\\\p{Cntrl}]|\\\\[\"\\\\/bfnrt]|\\\\u[0-9a-f]{4})*\"", "s")
            .replaceAll("-?\\d+(\\.\\d+)?|true|false|null", "v");
        for (String before = ""; !before.equals(rest);) {
            before = rest;
            rest = rest.replaceAll("\\[([sv](,[sv])*)?\\]|\\{(s:[sv](,s:[sv])*)?\\}", "v");
        }
        return rest.matches("(v\n)+exit \\d+") || rest.matches("(v\n)+exit v");
    }

    @Test
    void whatIsOnATokenAndWhetherItWorks() throws Exception {
        makeTokens();
        Map<String, Integer> before = objects();
        String listed = run("objects", "--token", "t\u00f6ken", PIN);
        for (String row : List.of("private key +rsa +rsa2048 +04 +2048 .*no +no +decrypt, sign.*",
            "private key +ec +by label +- +P-256 .*", "secret key +aes +a\"\u00e9\\? +- +128 +- +- +no +yes +.*",
            "certificate +x 509 +- +04 +.*CN=.* (19|20)\\d\\d-\\d\\d-\\d\\d +20\\d\\d-.* yes",
            "pkcs11:\\S*token=t%C3%B6ken;id=%04;object=rsa2048;type=private", "15 objects")) {
            assertTrue(Pattern.compile("(?m)^ +" + row + "$").matcher(listed).find(), row + "\n" + listed);
        }
        assertFalse(listed.contains(new BigInteger(1, SECRET).toString(16)) || listed.contains("secret's"), listed);
        String json = run("objects", "--token", "t\u00f6ken", PIN, "--json");
        assertTrue(isJson(json) && json.contains("\"class\":\"CKO_SECRET_KEY\",\"type\":\"CKK_AES\","
            + "\"label\":\"a\\\"\\u00e9\\u000a\"") && json.contains(";object=by%20label;type=public\""), json);
        assertFalse(isJson("{\"a\":[1,]}\nexit 0") || isJson("\"\n\"\nexit 0"));

        // Nobody can verify what the nameless key signs.
        String checked = run("check", "--token", "t\u00f6ken", PIN);
        for (String row : List.of("works +signature +CKM_SHA256_RSA_PKCS +\"rsa512\" .* matches the JDK",
            "works +signed stream +CKM_SHA256_RSA_PKCS +\"rsa2048\" .* matches the JDK",
            "works +decryption +CKM_RSA_PKCS_OAEP +\"rsa2048\" .* matches the JDK",
            "works +signature +CKM_ECDSA +\"by label\" .* matches the JDK",
            "not tried +signature +CKM_ECDSA +\\(no label\\) .*neither the JDK nor the token can verify it",
            "works +cipher +CKM_AES_CBC_PAD +\"a\"\u00e9\\?\" .* self-consistent", "not tried +key +- +\"idle\" .*",
            "works +certificates .* the JDK reads 1", "works +left as it was .*",
            "\\d+ operations work, \\d+ do not\\.")) {
            assertTrue(Pattern.compile("(?m)^ +" + row + "$").matcher(checked).find(), row + "\n" + checked);
        }
        // The small key has no room for this signature.
        String small = run("check", "--token", "pkcs11:token=t%C3%B6ken;object=rsa512", PIN);
        assertMatches(".*refused +signature +CKM_SHA512_RSA_PKCS_PSS +\"rsa512\" [^\n]*sign\\w*: CKR_[^\n]*\n[^\n]*"
            + " Try: (?!.*\\.java:|.*\\(B\\)).*1 of 1 keys.*exit 1", small);
        assertEquals(before, objects());
        String written = run("check", "--token", "t\u00f6ken 2", PIN, "--write", "--json");
        // SoftHSM2 fills a key of 20 bytes up to 24 when it wraps it with padding; nothing else is wrong.
        assertTrue(isJson(written) && written.endsWith("\"keys\":0,\"keysTried\":0,\"status\":1}\nexit 1")
            && written.contains("\"doNotWork\":1,") && written.split("not tried", -1).length <= 15
            && written.contains("{\"result\":\"wrong\",\"operation\":\"key wrap\",\"mechanism\":"
                + "\"CKM_AES_KEY_WRAP_PAD\""), written);
        int working = written.split("\"result\":\"works\"", -1).length - 1;
        assertTrue(written.contains("\"work\":" + (working - 2) + ","), "all but random bytes and the last row count");
        assertEquals(before, objects());
        // Keys that were not tried are a negative result, as is a token without anything to try.
        assertMatches(".*not tried +key +- +\"idle\".* 0 of 1 keys.*exit 1",
            run("check", "--token", "pkcs11:token=t%C3%B6ken;object=idle", PIN));
    }

    @Test
    void tokensByEveryName() throws Exception {
        List<String> serials = makeTokens();
        String info = run("info", "--token", serials.get(0));
        Matcher slot = Pattern.compile("\n +Slot +(0x[0-9a-f]+)\n").matcher(info);
        assertTrue(slot.find(), info);
        String number = Integer.toUnsignedString(Integer.parseUnsignedInt(slot.group(1).substring(2), 16));
        for (String name : List.of("--token=t\u00f6ken", "--token=" + serials.get(0), "--slot=" + slot.group(1),
            "--slot=" + number, "--token=pkcs11:token=t%c3%B6ken", "--token=pkcs11:serial=" + serials.get(0)
                + ";manufacturer=SoftHSM%20project;model=SoftHSM%20v2", "--token=pkcs11:slot-id=" + number)) {
            assertMatches(".*15 objects\nexit 0", run("objects", name, PIN));
        }
        assertTrue(info.contains("Version   2.6\n") && info.contains("pkcs11:model=SoftHSM%20v2;manufacturer="
            + "SoftHSM%20project;serial=" + serials.get(0) + ";token=t%C3%B6ken\n"), info);
        Path pin = Files.writeString(programs.directory.resolve("pin"), "1234\r\nnothing");
        String uri = "pkcs11:token=t%C3%B6ken;id=%04?pin-source=file:" + pin + "&module-path=" + SOFTHSM;
        assertMatches("[^\n]*\n +private key +rsa +rsa2048 .* 1 object\nexit 0", Programs.outcome(with("PKCS11_MODULE",
            "/none.so", tool("objects", "--token", uri.replace("?", ";type=private?"))).start()));
        assertMatches(".*exit 0", run("objects", "--token=t\u00f6ken", "--pin-file", pin.toString()));
        assertMatches(".*Module +/\\S*/p11-kit-trust.so\n.*exit 0", run("info", "--module", "p11-kit-trust.so"));
        String json = run("info", "--json", "--token=t\u00f6ken");
        assertTrue(isJson(json) && json.contains("\"pinMin\":4,") && json.contains("[\"CKF_USER_PIN_INITIALIZED\"]"),
            json);
        assertArrayEquals(certificate(), decoded(run("objects", "--pem", "--token", uri), "CERTIFICATE"));
        byte[] key = decoded(run("objects", "--pem", "--token", uri.replace("id=%04", "object=by%20label")),
            "PUBLIC KEY");
        assertEquals("EC", KeyFactory.getInstance("EC").generatePublic(new X509EncodedKeySpec(key)).getAlgorithm());
        assertEquals("exit 1", run("objects", "--pem", "--token", uri.replace("?", ";type=private?")));

        String[][] refused = { // the output, the arguments; no try of the PIN is spent
            {"exit 2", "objects"}, {"Unmatched.*exit 2", "quickstart"},
            {"2 tokens match", "objects", "--token", "pkcs11:model=SoftHSM%20v2"},
            {"--module.* contradict.*exit 2", "info", "--module=" + SOFTHSM, "--token=pkcs11:?module-path=/none.so"},
            {"--slot.* contradict.*exit 2", "info", "--slot=1", "--token=pkcs11:slot-id=2"},
            {"--pin-file.* contradict.*exit 2", "objects", "--pin-file=/a", "--token=pkcs11:?pin-source=/b"},
            {"--pin-env.* contradict.*exit 2", "objects", "--pin-env=A", "--token=pkcs11:?pin-source=/b"},
            {"mutually exclusive.*exit 2", "objects", "--pin-env=A", "--pin-file=/b"},
            {"this token is not there.*name one of these", "objects", "--token", "other"},
            {"'--slot': .*'x'.*exit 2", "objects", "--slot", "x"},
            {"\"colour\" is not a known.*exit 2", "objects", "--token=pkcs11:colour=red"},
            {"pin-value.*read command lines", "objects", "--token=pkcs11:?pin-value=1234"},
            {"there is no terminal", "objects", "--token=t\u00f6ken", "--login"},
            {"\"none\" is not set|none is not set", "objects", "--token=t\u00f6ken", "--pin-env=none"},
            {"it is a directory", "info", "--module", "/tmp"}, {"no such file", "info", "--module", "/none.so"},
            {"not in the current folder", "info", "--module", "none.so"}, {"--help\nexit 2", "objects", "--nonsense"},
            {"tokbridge --help\nexit 2"}, {"LoadLibrary.*ldd", "info", "--module", pin.toString()}};
        for (String[] each : refused) {
            String[] asked = Arrays.copyOfRange(each, 1, each.length);
            Process same = tool(Stream.concat(Arrays.stream(asked), Stream.of("--json")).toArray(String[]::new))
                .start();
            String told = run(asked);
            assertTrue(Pattern.compile(each[0], Pattern.DOTALL).matcher(told).find(), told);
            assertMatches("tokbridge: [^\n]*\n(  Why: [^\n]*\n)?  Try: [^\n]*\nexit [23]", told);
            assertTrue(isJson(Programs.outcome(same)), told);
        }
        String java = Path.of(System.getProperty("java.home"), "bin", "java").toString();
        String jar = Path.of(TOOL).getParent().resolveSibling("tokbridge-tool.jar").toString();
        for (String command : List.of("info", "objects", "check")) {
            assertMatches("tokbridge: tokbridge's own library is not there\n  Why: [^\n]*/none.so[^\n]*\n  Try: [^\n]*"
                + "-Dtokbridge.library[^\n]*\nexit 3", Programs.outcome(programs.command(
                    List.of(java, "-Dtokbridge.library=/none.so", "-jar", jar, command)).start()));
        }
    }

    /** An empty PIN and one that the locale has garbled are never sent; SoftHSM2 would report a wrong one. */
    @Test
    void noTryOfThePinIsSpentForNothing() throws Exception {
        makeTokens();
        Path file = programs.directory.resolve("pin");
        for (String pin : List.of("", "\n1234", "12\ufffd4")) {
            Files.writeString(file, pin);
            assertMatches("tokbridge: no user was logged in\n.*exit 2",
                run("objects", "--token=t\u00f6ken", "--pin-file", file.toString()));
            assertMatches("tokbridge: (no user was logged in|there is no PIN)\n.*exit 2", Programs.outcome(
                with("TOKEN_PIN", pin.split("\n", 2)[0], tool("objects", "--token=t\u00f6ken", PIN)).start()));
        }
        assertFalse(run("info", "--token=t\u00f6ken").contains("a wrong one was entered"));
        Files.writeString(file, "4321");
        assertMatches("tokbridge: the login failed\n  Why: CKR_PIN_INCORRECT.* a wrong one was entered.\n  Try: .*\n"
            + "exit 3", run("objects", "--token=t\u00f6ken", "--pin-file", file.toString()));
        assertMatches(".*\"call\":\"login\",\"code\":\"CKR_PIN_INCORRECT\",\"flags\":\\[\"CKF_USER_PIN_COUNT_LOW\".*",
            run("objects", "--token=t\u00f6ken", "--pin-file", file.toString(), "--json"));
        assertTrue(run("info", "--token=t\u00f6ken").contains("PIN set, a wrong one was entered"));

        // Where the locale knows ASCII alone, variables, arguments and labels are those of UTF-8 even so.
        programs.onNewTokens(List.of("other"), session -> session.setPIN("1234", "z\u00f6lf"));
        assertMatches(".*objects\nexit 0", Programs.outcome(with("LC_ALL", "C", with("TOKEN_PIN", "z\u00f6lf",
            tool("objects", "--token=other", PIN))).start()));
        assertMatches(".*Token +t\u00f6ken\n.*exit 0", Programs.outcome(with("LC_ALL", "C", tool("info",
            "--token=t\u00f6ken")).start()));
    }

    /** A crash leaves the rows before it, and JSON as it is; a reader that has seen enough ends the program. */
    @Test
    void rowsAsTheyCome() throws Exception {
        programs.onNewTokens(List.of("t\u00f6ken 2"), session -> { });
        for (String json : List.of("--token=t\u00f6ken 2", "--json")) {
            Process check = tool("check", PIN, "--write", json).redirectErrorStream(false)
                .redirectError(ProcessBuilder.Redirect.DISCARD).directory(programs.directory.toFile()).start();
            BufferedReader rows = Programs.told(check);
            StringBuilder seen = new StringBuilder();
            for (String row = ""; !row.contains("CKM_AES_KEY_GEN"); seen.append(row).append('\n')) {
                row = rows.readLine();
            }
            new ProcessBuilder("kill", "-SEGV", "" + check.pid()).start().waitFor();
            String told = seen + rows.lines().map(row -> row + "\n").collect(Collectors.joining());
            assertEquals(128 + 6, check.waitFor());
            assertTrue(told.contains("random bytes") && (!json.equals("--json") || isJson(told + "exit 0")), told);
        }
        String head = "set -o pipefail; '" + TOOL + "' info | head -n 1";
        assertMatches(" *Tool +tokbridge .*\nexit 141", Programs.outcome(with("PKCS11_MODULE", SOFTHSM,
            programs.command(List.of("bash", "-c", head))).start()));
        assertMatches("(?!.*tokbridge:  ).*", Programs.outcome(
            with("PKCS11DEBUG", "", tool("info", "--json")).start()));
        ProcessBuilder full = tool("info").redirectErrorStream(false).redirectOutput(new File("/dev/full"));
        assertEquals(3, full.start().waitFor());
    }

    /** On a terminal columns are left out, not alignment; and the shell completes the names of files. */
    @Test
    void atTheKeyboard() throws Exception {
        makeTokens();
        for (int width : new int[] {0, 60, 80, 120}) {
            String commands = "stty cols " + width + "; for what in info 'objects " + PIN + "' 'check " + PIN
                + "'; do '" + TOOL + "' $what --token 't\u00f6ken' || :; done";
            List<String> told = Programs.outcome(with("PKCS11_MODULE", SOFTHSM, programs.command(List.of("script",
                "-qec", commands, "/dev/null"))).start()).replaceAll("\u001b\\[[0-9;]*[mK]", "").lines()
                .map(String::stripTrailing).filter(line -> !line.contains("pkcs11:")).collect(Collectors.toList());
            String head = told.stream().filter(line -> line.contains("Detail")).findFirst().orElseThrow();
            assertEquals(width == 0 || width > 100, head.contains("Key  "), head);
            assertTrue(told.stream().allMatch(line -> line.length() <= width || width == 0), "" + told);
            assertTrue(told.stream().anyMatch(line -> line.length() > 130) == (width == 0), "" + told);
            assertTrue(told.stream().filter(line -> line.matches(" +works .* matches.*")).allMatch(
                line -> line.indexOf("matches") == head.indexOf("Detail")), "" + told);
        }
        String complete = "source '" + Path.of(TOOL).resolveSibling("completion.bash") + "'; COMP_WORDS=(tokbridge "
            + "info --module " + SOFTHSM.substring(0, SOFTHSM.length() - 3) + "); COMP_CWORD=3; "
            + "_complete_tokbridge 2>/dev/null; echo \"${COMPREPLY[@]}\"";
        assertEquals(SOFTHSM + "\nexit 0", Programs.outcome(programs.command(List.of("bash", "-c", complete)).start()));
    }

    /** Ended whenever an object of its own has been seen on the token, it leaves none. */
    @Test
    void nothingIsLeftWhenItIsInterrupted() throws Exception {
        makeTokens();
        Map<String, Integer> before = objects();
        int interrupted = 0;
        for (int round = 0; round < 12 && interrupted < 3; round++) {
            Process check = tool("check", "--token", "t\u00f6ken 2", PIN, "--write").start();
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
            ProcessBuilder client = tool().command("sh", "-c",
                "tokbridge() { " + tokbridge + "\"$@\"; }\n" + boxes.get(1));
            client.environment().putAll(variables);
            assertMatches(".*Module +\\S*p11-kit-client.so\n.*t\u00f6ken 2 .*exit 0", Programs.outcome(client.start()));
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
                Matcher call = Pattern.compile("(?:throwPKCS11Exception\\([^,]+, 0|refuse\\([^,]+|reportFault\\("
                    + "|snprintf"
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

        // The rows of a method, which the tool prefers.
        Set<String> methods = Stream.of(NativePKCS11.class, NativePKCS11Slot.class, NativePKCS11Session.class)
            .flatMap(each -> Arrays.stream(each.getMethods())).map(Method::getName).collect(Collectors.toSet());
        Matcher variant = Pattern.compile("^\\| `CKR_\\w+` from `(\\w+)` \\|", Pattern.MULTILINE).matcher(page);
        assertTrue(variant.results().map(row -> row.group(1)).allMatch(methods::contains));
        assertMatches(".* cannot be initialised\n  Why: CKR_GENERAL_ERROR .*\n  Try: .*docs/modules.md.*\nexit 3",
            Programs.outcome(with("SOFTHSM2_CONF", "/none", tool("info")).start()));
    }
}
