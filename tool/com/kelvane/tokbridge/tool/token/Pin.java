package com.kelvane.tokbridge.tool.token;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static java.util.stream.Collectors.*;

import com.kelvane.pkcs11.*;
import java.io.IOException;
import java.nio.file.Path;
import java.util.*;
import java.util.stream.*;

/** Reads a user's PIN, which the caller wipes, and describes its state. */
public final class Pin {
    /** Returns a PIN unless it cannot be right, since each wrong PIN costs a try. */
    private static char[] checked(char[] pin) {
        boolean garbled = new String(pin).contains("\ufffd"); // what a charset could not decode
        if (pin.length == 0 || garbled) {
            Arrays.fill(pin, '\0');
            throw new Failure(Failure.USAGE, "no user was logged in",
                garbled ? "the PIN is not text in the charset of this locale" : "the PIN is empty",
                (garbled ? "run this in a UTF-8 locale, or put the PIN into a file"
                    : "check the variable, the file or the keyboard") + "; no try was spent");
        }
        return pin;
    }

    /** Reads the first line of a file. */
    public static char[] fromFile(Path file) {
        try {
            return checked(PKCS11Uri.readPin(file));
        } catch (IOException e) {
            throw missing("the file cannot be read: " + e, "name another file");
        }
    }

    public static char[] fromEnvironment(String variable) {
        String pin = System.getenv(variable);
        if (pin == null) {
            throw missing("the environment variable " + variable + " is not set",
                "export it, or use --pin-file or --login");
        }
        return checked(pin.toCharArray());
    }

    /** Reads from the terminal, without echo. */
    public static char[] fromTerminal(String label) {
        char[] typed = System.console() == null ? null : System.console().readPassword("PIN of \"%s\": ", label);
        if (typed == null) {
            throw missing("there is no terminal to ask for it", "use --pin-file or --pin-env");
        }
        return checked(typed);
    }

    private static Failure missing(String reason, String remedy) {
        return new Failure(Failure.USAGE, "there is no PIN", reason, remedy);
    }

    /** Returns the names of the flags that a token has set for the user's PIN. */
    public static List<String> flags(PKCS11TokenInfo token) {
        return IntStream.range(0, Integer.SIZE).map(bit -> token.getFlags() & 1 << bit).filter(flag -> flag != 0)
            .mapToObj(flag -> nameOf("CKF_USER_PIN_", flag)).filter(name -> !name.contains("_0x")).sorted()
            .collect(toList());
    }

    /** Returns what these flags mean. */
    public static String state(PKCS11TokenInfo token) {
        return (token.isUserPinInitialized() ? "set" : "not set") + (token.isUserPinLocked() ? ", locked"
            : token.isUserPinFinalTry() ? ", last try" : token.isUserPinCountLow() ? ", a wrong one was entered" : "")
            + (token.isUserPinToBeChanged() ? ", to be changed" : "");
    }
}
