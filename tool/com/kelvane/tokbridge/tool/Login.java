package com.kelvane.tokbridge.tool;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.io.Console;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.CharBuffer;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Option;

/** The token that the user names, and how to log in to it. */
final class Login implements AutoCloseable {
    /** The library takes no longer one. */
    private static final int LONGEST_PIN = 50;

    /** What stands in UTF-8 where something was no text in the charset of the locale. */
    private static final String GARBLED = new String("\ufffd".getBytes(StandardCharsets.UTF_8),
        StandardCharsets.ISO_8859_1);

    @Mixin
    final TokenChoice token = new TokenChoice();

    @Option(names = "--login", description = "Log in. The PIN is asked for without echo, unless --pin-file or "
        + "--pin-env tells where it is.")
    private boolean login;

    @Option(names = "--pin-file", paramLabel = "FILE", description =
        "Log in with the PIN in the first line of this file.")
    private Path pinFile;

    @Option(names = "--pin-env", paramLabel = "NAME", description = "Log in with the PIN in this environment variable.")
    private String pinVariable;

    /** Null before the first login, and where it is entered at the token. */
    private byte[] pin;

    /** As the user tells it. */
    Login() {
    }

    /** With a PIN that is known. */
    Login(byte[] pin) {
        this.pin = pin;
        login = true;
    }

    boolean isWanted() {
        return login || file() != null || pinVariable != null;
    }

    private Path file() {
        return pinFile != null ? pinFile : token.uri().pinFile();
    }

    /** Opens a session, and logs in if the user wants it. */
    NativePKCS11Session open(PKCS11Slot slot, boolean toWrite) {
        NativePKCS11Session session = Failure.in("no session can be opened", () -> {
            try {
                return slot.openSession(CKF_SERIAL_SESSION | (toWrite ? CKF_RW_SESSION : 0), null);
            } catch (PKCS11Exception e) {
                if (slot.getTokenInfo().isInitialized()) {
                    throw e;
                }
                throw new Failure(Main.FAILED, "no session can be opened", "the token in " + slot
                    + " is not initialised (" + e.getMessage() + ")", "initialise it with its vendor's program");
            }
        });
        if (isWanted()) {
            // With a PIN pad nothing is to be asked for here.
            if (!slot.getTokenInfo().hasProtectedAuthenticationPath() || file() != null || pinVariable != null) {
                pin = checked(pinFile == null && pinVariable != null ? fromEnvironment()
                    : file() != null ? fromFile() : fromTerminal(slot));
            }
            login(session);
        }
        return session;
    }

    private void login(NativePKCS11Session session) {
        Output.patiently("Logging in", () -> Failure.in("the login failed", () -> {
            session.login(false, pin);
            return null;
        }));
    }

    /** Logs in again. */
    void again(NativePKCS11Session session) {
        try {
            session.logout();
        } catch (PKCS11Exception e) {
            // The module may have done so by itself.
        }
        login(session);
    }

    /** Refuses what cannot be the PIN, before it costs a try. */
    private static byte[] checked(byte[] pin) {
        boolean garbled = new String(pin, StandardCharsets.ISO_8859_1).contains(GARBLED);
        String why = pin.length == 0 ? "the PIN is empty" : garbled ? "the PIN is no text in the charset of this locale"
            : pin.length > LONGEST_PIN ? "the PIN is longer than " + LONGEST_PIN + " bytes, which the library does not "
                + "take" : null;
        if (why == null) {
            return pin;
        }
        Arrays.fill(pin, (byte) 0);
        throw new Failure(Main.USAGE, "nobody was logged in", why, pin.length == 0
            ? "look at the variable, the file or the keyboard; no try was spent"
            : pin.length > LONGEST_PIN ? "set a shorter PIN with the vendor's program"
            : "run this in a UTF-8 locale, or put the PIN into a file; no try was spent");
    }

    private byte[] fromFile() {
        try {
            byte[] content = Files.readAllBytes(file());
            int end = 0;
            while (end < content.length && content[end] != '\n' && content[end] != '\r') {
                end++;
            }
            byte[] line = Arrays.copyOf(content, end);
            Arrays.fill(content, (byte) 0);
            return line;
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
        Arrays.fill(encoded.array(), (byte) 0);
        Arrays.fill(typed, '\0');
        return pin;
    }

    /** Wipes the PIN. */
    @Override
    public void close() {
        if (pin != null) {
            Arrays.fill(pin, (byte) 0);
        }
    }
}
