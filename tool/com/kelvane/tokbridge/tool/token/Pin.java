package com.kelvane.tokbridge.tool.token;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.*;
import java.io.IOException;
import java.nio.file.Path;
import java.util.*;
import java.util.stream.*;

/** A user's PIN, wiped when it is closed. One that cannot be right is refused, since each wrong PIN costs a try. */
public final class Pin implements AutoCloseable {
    final char[] text;

    private Pin(char[] text) {
        this.text = text;
        boolean garbled = new String(text).contains("\ufffd"); // what a charset could not decode
        if (text.length == 0 || garbled) {
            close();
            throw new Failure(Failure.USAGE, "no user was logged in",
                garbled ? "the PIN is not text in the charset of this locale" : "the PIN is empty",
                (garbled ? "run this in a UTF-8 locale, or put the PIN into a file"
                    : "check the variable, the file or the keyboard") + "; no try was spent");
        }
    }

    /** Reads the first line of a file. */
    public static Pin fromFile(Path file) {
        try {
            return new Pin(PKCS11Uri.readPin(file));
        } catch (IOException e) {
            throw missing("the file cannot be read: " + e, "name another file");
        }
    }

    public static Pin fromEnvironment(String variable) {
        String pin = System.getenv(variable);
        if (pin == null) {
            throw missing("the environment variable " + variable + " is not set",
                "export it, or use --pin-file or --login");
        }
        return new Pin(pin.toCharArray());
    }

    /** Reads from the terminal, without echo. */
    public static Pin fromTerminal(String label) {
        char[] typed = System.console() == null ? null : System.console().readPassword("PIN of \"%s\": ", label);
        if (typed == null) {
            throw missing("there is no terminal to ask for it", "use --pin-file or --pin-env");
        }
        return new Pin(typed);
    }

    private static Failure missing(String reason, String remedy) {
        return new Failure(Failure.USAGE, "there is no PIN", reason, remedy);
    }

    /** Returns the names of the flags that a token has set for the user's PIN. */
    public static List<String> flags(PKCS11TokenInfo token) {
        return IntStream.range(0, Integer.SIZE).map(bit -> token.getFlags() & 1 << bit).filter(flag -> flag != 0)
            .mapToObj(flag -> nameOf("CKF_USER_PIN_", flag)).filter(name -> !name.contains("_0x")).sorted()
            .collect(Collectors.toList());
    }

    /** Returns what these flags mean. */
    public static String state(PKCS11TokenInfo token) {
        return (token.isUserPinInitialized() ? "set" : "not set") + (token.isUserPinLocked() ? ", locked"
            : token.isUserPinFinalTry() ? ", last try" : token.isUserPinCountLow() ? ", a wrong one was entered" : "")
            + (token.isUserPinToBeChanged() ? ", to be changed" : "");
    }

    @Override
    public void close() {
        Arrays.fill(text, '\0');
    }
}
