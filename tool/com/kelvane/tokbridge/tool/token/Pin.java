package com.kelvane.tokbridge.tool.token;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static java.nio.charset.StandardCharsets.*;

import com.kelvane.pkcs11.PKCS11TokenInfo;
import java.io.IOException;
import java.nio.*;
import java.nio.charset.CodingErrorAction;
import java.nio.file.*;
import java.util.*;
import java.util.stream.Collectors;

/** A user's PIN, wiped when it is closed. One that cannot be right is refused, since each wrong PIN costs a try. */
public final class Pin implements AutoCloseable {
    /** The replacement character: what the locale's charset could not decode. */
    private static final String GARBLED = new String("\ufffd".getBytes(UTF_8), ISO_8859_1);
    private static final Map<String, Integer> FLAGS = new TreeMap<>(Map.of(
        "CKF_USER_PIN_INITIALIZED", CKF_USER_PIN_INITIALIZED, "CKF_USER_PIN_COUNT_LOW", CKF_USER_PIN_COUNT_LOW,
        "CKF_USER_PIN_FINAL_TRY", CKF_USER_PIN_FINAL_TRY, "CKF_USER_PIN_LOCKED", CKF_USER_PIN_LOCKED,
        "CKF_USER_PIN_TO_BE_CHANGED", CKF_USER_PIN_TO_BE_CHANGED));

    final byte[] bytes;

    private Pin(byte[] bytes) {
        this.bytes = bytes;
        boolean garbled = new String(bytes, ISO_8859_1).contains(GARBLED);
        if (bytes.length == 0 || garbled) {
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
            byte[] content = Files.readAllBytes(file);
            int end = 0;
            while (end < content.length && content[end] != '\n' && content[end] != '\r') {
                end++;
            }
            byte[] line = Arrays.copyOf(content, end);
            Arrays.fill(content, (byte) 0);
            return new Pin(line);
        } catch (IOException e) {
            throw missing("the file cannot be read: " + e, "name another file");
        }
    }

    public static Pin fromEnvironment(String variable) {
        if (System.getenv(variable) == null) {
            throw missing("the environment variable " + variable + " is not set",
                "export it, or use --pin-file or --login");
        }
        return new Pin(System.getenv(variable).getBytes(UTF_8));
    }

    /** Reads from the terminal, without echo. */
    public static Pin fromTerminal(String label) {
        char[] typed = System.console() == null ? null : System.console().readPassword("PIN of \"%s\": ", label);
        if (typed == null) {
            throw missing("there is no terminal to ask for it", "use --pin-file or --pin-env");
        }
        // With the largest size from the start: a buffer that grows would leave a copy.
        ByteBuffer encoded = ByteBuffer.allocate(3 * typed.length);
        UTF_8.newEncoder().onMalformedInput(CodingErrorAction.REPLACE).encode(CharBuffer.wrap(typed), encoded, true);
        byte[] pin = Arrays.copyOf(encoded.array(), encoded.position());
        Arrays.fill(encoded.array(), (byte) 0);
        Arrays.fill(typed, '\0');
        return new Pin(pin);
    }

    private static Failure missing(String reason, String remedy) {
        return new Failure(Failure.USAGE, "there is no PIN", reason, remedy);
    }

    /** Returns the names of the flags that a token has set for the user's PIN. */
    public static List<String> flags(PKCS11TokenInfo token) {
        return FLAGS.keySet().stream().filter(name -> (token.getFlags() & FLAGS.get(name)) != 0)
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
        Arrays.fill(bytes, (byte) 0);
    }
}
