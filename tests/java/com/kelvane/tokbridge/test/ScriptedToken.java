package com.kelvane.tokbridge.test;

import static org.junit.jupiter.api.Assertions.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import java.nio.file.*;
import java.util.*;
import java.util.regex.*;
import java.util.stream.*;
import org.junit.jupiter.api.function.*;

/** The library file of a scripted module. token/scripted_token.h describes its commands and the lines of its calls. */
final class ScriptedToken {
    private static final String BUILT = System.getProperty("tokbridge.test.token");
    /** Whether all handles are wider than an int. */
    static final boolean WIDE = Boolean.getBoolean("tokbridge.test.wide");

    static {
        System.load(BUILT);
    }

    private final String path;

    ScriptedToken(Path path) {
        this.path = path.toString();
        if (WIDE) {
            steer("wide");
        }
    }

    /** The token as it was built, for tests that need only one. */
    static ScriptedToken built() {
        return new ScriptedToken(Path.of(BUILT));
    }

    /** Another module: a copy of the file. */
    static ScriptedToken copy() {
        return copy(Harness.scratchFile(".so"));
    }

    static ScriptedToken copy(Path to) {
        return new ScriptedToken(assertDoesNotThrow(() -> Files.copy(Path.of(BUILT), to)));
    }

    String path() {
        return path;
    }

    ScriptedToken answer(String function, String words) {
        return steer("answer " + function + " " + words);
    }

    ScriptedToken always(String function, String words) {
        return steer("always " + function + " " + words);
    }

    ScriptedToken reset() {
        return steer("reset");
    }

    int mostInside() {
        return Integer.parseInt(ask("most-inside"));
    }

    long leastStack() {
        return Long.parseLong(ask("least-stack"));
    }

    long functionList() {
        return Long.parseLong(ask("list"));
    }

    /** The lines of the calls since this method was called last. */
    List<String> calls() {
        return ask("calls").lines().collect(Collectors.toList());
    }

    /** Starts a call that the module holds inside a function, after the calls that may pass. */
    Harness.Background hold(String function, int passing, Executable call) {
        steer("hold " + function + " " + passing);
        Harness.Background held = Harness.start(call);
        steer("await " + function + " 1");
        return held;
    }

    /** Releases the callers of a function and waits for the end of these calls. */
    void release(String function, Harness.Background... calls) throws Throwable {
        steer("release " + function);
        for (Harness.Background each : calls) {
            each.finish();
        }
    }

    NativePKCS11 load() {
        NativePKCS11 library = new NativePKCS11();
        library.load(path);
        return library;
    }

    NativePKCS11 initialized() {
        NativePKCS11 library = load();
        library.libInitialize();
        return library;
    }

    /** An object with the module's function list that is no holder. */
    NativePKCS11 stranger() throws ReflectiveOperationException {
        return Harness.with(new NativePKCS11(), "functionList", functionList());
    }

    /** Executes a command that has codes by their names. */
    ScriptedToken steer(String text) {
        ask(Pattern.compile("CKR_(0x)?\\w+").matcher(text).replaceAll(code -> code.group(1) != null
            ? code.group().substring(4) : "" + assertDoesNotThrow(() -> PKCS11Constants.class.getField(code.group())
                .getInt(null))));
        return this;
    }

    private String ask(String text) {
        String result = command(path, text);
        assertNotNull(result, () -> "no token in " + path);
        assertFalse(result.startsWith("error"), result);
        return result;
    }

    private static native String command(String path, String text);

    /** Calls an exported native method with a null receiver and zero for every argument; false if there is none. */
    static native boolean callWithNullReceiver(String library, String name);

    /** Redirects a file descriptor of the process to a file. Returns what {@code restore} needs. */
    static native int redirect(int descriptor, String file);

    static native void restore(int descriptor, int saved);

    /** Sets a variable of the process's environment, or removes it when the value is null. */
    static native void setenv(String name, String value);
}
