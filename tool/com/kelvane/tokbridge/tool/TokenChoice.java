package com.kelvane.tokbridge.tool;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.PKCS11TokenInfo;
import com.kelvane.pkcs11.nat.NativePKCS11;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.io.Console;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.CharBuffer;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.stream.Collectors;
import picocli.CommandLine.Option;

/** The token that the user names, and the way to log in to it. */
final class TokenChoice {
    /** The library takes no longer one. */
    private static final int LONGEST_PIN = 50;

    @Option(names = "--token", paramLabel = "TEXT", description = "The token with this label or serial number; not "
        + "needed where there is one only.")
    private String wanted;

    @Option(names = "--login", description = "Log in. The PIN is asked for without echo, unless --pin-file or "
        + "--pin-env tells where it is.")
    private boolean login;

    @Option(names = "--pin-file", paramLabel = "FILE", description =
        "Log in with the PIN in the first line of this file.")
    private Path pinFile;

    @Option(names = "--pin-env", paramLabel = "NAME", description = "Log in with the PIN in this environment variable.")
    private String pinVariable;

    boolean wantsLogin() {
        return login || pinFile != null || pinVariable != null;
    }

    /** Finds the token's slot. */
    PKCS11Slot find(NativePKCS11 library) {
        List<PKCS11Slot> found = new ArrayList<>();
        List<String> there = new ArrayList<>();
        for (PKCS11Slot slot : Failure.in("the slots cannot be listed",
            () -> library.slotsWithTokens().collect(Collectors.toList()))) {
            PKCS11TokenInfo token = slot.getTokenInfo();
            if (!token.isInitialized()) {
                continue;
            }
            String name = "\"" + token.getLabel() + "\", serial number " + token.getSerialNumber() + ", in " + slot;
            there.add(name);
            if (wanted == null || wanted.equals(token.getLabel()) || wanted.equals(token.getSerialNumber())) {
                found.add(slot);
            }
        }
        String which = wanted == null ? "a token" : "the token \"" + wanted + "\"";
        String list = there.stream().collect(Collectors.joining("; "));
        if (found.isEmpty()) {
            throw new Failure(Main.FAILED, which + " is not there", there.isEmpty()
                ? "the module has no initialised token" : "the module has: " + list,
                "put the token in, or see with tokbridge info what there is");
        }
        if (found.size() > 1) {
            throw new Failure(Main.USAGE, found.size() + " tokens could be meant", "the module has: " + list,
                "name one of them with --token, by its serial number if labels are alike");
        }
        return found.get(0);
    }

    /** Opens a session, and logs in if the user wants it. */
    NativePKCS11Session open(PKCS11Slot slot, boolean toWrite) {
        NativePKCS11Session session = Failure.in("no session can be opened", () -> slot.openSession(CKF_SERIAL_SESSION
            | (toWrite ? CKF_RW_SESSION : 0), null));
        if (wantsLogin()) {
            // With a PIN pad nothing is to be asked for here.
            byte[] pin = slot.getTokenInfo().hasProtectedAuthenticationPath() && pinFile == null && pinVariable == null
                ? null : pin(slot);
            try {
                Output.patiently("Logging in", () -> Failure.in("the login failed", () -> {
                    session.login(false, pin);
                    return null;
                }));
            } finally {
                wipe(pin);
            }
        }
        return session;
    }

    private byte[] pin(PKCS11Slot slot) {
        byte[] pin = pinFile != null ? fromFile() : pinVariable != null ? fromEnvironment() : fromTerminal(slot);
        if (pin.length > LONGEST_PIN) {
            wipe(pin);
            throw new Failure(Main.USAGE, "the login failed", "the PIN is longer than " + LONGEST_PIN + " bytes, which "
                + "the library does not take", "set a shorter PIN with the vendor's program");
        }
        return pin;
    }

    private byte[] fromFile() {
        try {
            byte[] content = Files.readAllBytes(pinFile);
            int end = 0;
            while (end < content.length && content[end] != '\n' && content[end] != '\r') {
                end++;
            }
            byte[] pin = Arrays.copyOf(content, end);
            wipe(content);
            return pin;
        } catch (IOException e) {
            throw new Failure(Main.USAGE, "the PIN's file cannot be read", e.toString(), "name another one");
        }
    }

    private byte[] fromEnvironment() {
        String value = System.getenv(pinVariable);
        if (value == null) {
            throw new Failure(Main.USAGE, "there is no PIN", "the environment variable " + pinVariable + " is not set",
                "export it, or use --pin-file or --login");
        }
        return value.getBytes(StandardCharsets.UTF_8);
    }

    private static byte[] fromTerminal(PKCS11Slot slot) {
        Console console = System.console();
        char[] typed = console == null ? null : console.readPassword("PIN of \"%s\": ",
            Table.oneLine(slot.getTokenInfo().getLabel()));
        if (typed == null) {
            throw new Failure(Main.USAGE, "there is no PIN", "there is no terminal to ask for it",
                "use --pin-file or --pin-env");
        }
        ByteBuffer encoded = StandardCharsets.UTF_8.encode(CharBuffer.wrap(typed));
        byte[] pin = Arrays.copyOf(encoded.array(), encoded.limit());
        wipe(encoded.array());
        Arrays.fill(typed, '\0');
        return pin;
    }

    private static void wipe(byte[] bytes) {
        if (bytes != null) {
            Arrays.fill(bytes, (byte) 0);
        }
    }
}
