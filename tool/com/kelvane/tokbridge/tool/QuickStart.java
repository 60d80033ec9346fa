package com.kelvane.tokbridge.tool;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.nat.NativePKCS11;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.io.IOException;
import java.io.PrintStream;
import java.io.Reader;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.security.SecureRandom;
import java.util.LinkedHashMap;
import java.util.Map;
import java.util.Properties;
import java.util.concurrent.Callable;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Option;

/** The command quickstart: makes a throw-away SoftHSM2 token, and checks it as the command check does. */
@Command(name = "quickstart", mixinStandardHelpOptions = true, sortOptions = false, description = "Makes a token in a "
    + "throw-away SoftHSM2 directory, named by the configuration file in the environment variable SOFTHSM2_CONF, and "
    + "tries on it what check --write tries.")
final class QuickStart implements Callable<Integer> {
    private static final int READ_WRITE = CKF_SERIAL_SESSION | CKF_RW_SESSION;

    @Option(names = "--softhsm", paramLabel = "PATH", defaultValue = "/usr/lib/softhsm/libsofthsm2.so", description =
        "The SoftHSM2 module; ${DEFAULT-VALUE} if it is not given.")
    private Path softhsm;

    @Mixin
    private Output output;

    private final SecureRandom random = new SecureRandom();

    @Override
    public Integer call() {
        String path = ModuleChoice.path(softhsm);
        checkTokenDirectory(System.getenv("SOFTHSM2_CONF"));
        PrintStream out = output.text();
        byte[] pin = digits();
        String label = "quickstart " + new String(digits(), StandardCharsets.US_ASCII);
        try (NativePKCS11 library = new NativePKCS11()) {
            start(library, path);
            PKCS11Slot empty = library.slotsWithTokens().filter(slot -> !slot.getTokenInfo().isInitialized())
                .findFirst().orElseThrow(() -> new Failure(Main.FAILED, "no token can be made",
                    "no slot has one that is not initialised", "let SOFTHSM2_CONF name another directory"));
            initialize(empty, label, pin);

            // The token may stand in another slot after the next start: only its label tells which.
            library.libFinalize();
            start(library, path);
            PKCS11Slot slot = library.findSlot(label).orElseThrow();
            Map<String, Object> about = new LinkedHashMap<>();
            about.put("module", path);
            about.putAll(Description.library(library));
            about.putAll(Description.slot(slot));
            about.putAll(Description.token(slot));
            Table.of(about).print(out);
            output.result(about);
            out.println();
            Table.line(out, "Made in " + empty + ", and found again in " + slot + ".");
            out.println();
            try (NativePKCS11Session session = slot.openSession(READ_WRITE, null); Login login = new Login(pin)) {
                session.login(false, pin);
                int status = new Examination(new Token(slot, session, true), login, output).run();
                session.logout();
                return status;
            }
        }
    }

    private static void start(NativePKCS11 library, String path) {
        library.load(path);
        library.libInitialize();
    }

    private void initialize(PKCS11Slot slot, String label, byte[] pin) {
        byte[] officerPin = digits();
        slot.initToken(officerPin, label);
        try (NativePKCS11Session officer = slot.openSession(READ_WRITE, null)) {
            officer.login(true, officerPin);
            officer.initPIN(pin);
            officer.logout();
        }
    }

    /** Eight random digits. */
    private byte[] digits() {
        return String.format("%08d", random.nextInt(100_000_000)).getBytes(StandardCharsets.US_ASCII);
    }

    /** Makes sure that SoftHSM2 has a directory to make a token in. */
    private static void checkTokenDirectory(String file) {
        Properties configuration = new Properties();
        String obstacle = null;
        if (file == null || file.isEmpty()) {
            obstacle = "SOFTHSM2_CONF is not set";
        } else {
            try (Reader reader = Files.newBufferedReader(Path.of(file))) {
                configuration.load(reader);
                String directory = configuration.getProperty("directories.tokendir", "").strip();
                if (directory.isEmpty() || !Files.isDirectory(Path.of(directory))) {
                    obstacle = "SOFTHSM2_CONF names \"" + file + "\", whose directories.tokendir \"" + directory
                        + "\" is no directory";
                }
            } catch (IOException | IllegalArgumentException e) {
                obstacle = "SOFTHSM2_CONF names \"" + file + "\", which cannot be read";
            }
        }
        if (obstacle != null) {
            throw new Failure(Main.USAGE, "the quickstart cannot start", obstacle, "let SOFTHSM2_CONF name a "
                + "configuration file whose directories.tokendir is a throw-away directory: a token is made there");
        }
    }
}
