package com.kelvane.tokbridge.test;

import static org.junit.jupiter.api.Assertions.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import java.io.*;
import java.nio.file.*;
import java.util.*;
import java.util.regex.*;
import java.util.stream.*;
import org.junit.jupiter.api.function.*;

/**
 * The scripted Cryptoki module as a test steers it. One object stands for one library file; a copy of the file is a
 * module of its own. Commands, the words of answers and the lines of calls are described in token/scripted_token.h.
 */
public final class ScriptedToken {
    private static final String BUILT = System.getProperty("tokbridge.test.token");
    /** Set when every token is to give out handles that an int does not hold. */
    static final boolean WIDE = Boolean.getBoolean("tokbridge.test.wide");

    static {
        System.load(BUILT);
    }

    private static final Pattern CODE = Pattern.compile("CKR_\\w+");
    private final String path;

    ScriptedToken(Path path) {
        this.path = path.toString();
        if (WIDE) {
            steer("wide");
        }
    }

    /** The token as it was built, shared by all tests that need only one. */
    public static ScriptedToken built() {
        return new ScriptedToken(Path.of(BUILT));
    }

    /** Another module: a byte copy of the token in a new file. */
    public static ScriptedToken copy() {
        return copy(Harness.scratchFile(".so"));
    }

    static ScriptedToken copy(Path to) {
        try {
            return new ScriptedToken(Files.copy(Path.of(BUILT), to));
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
    }

    public String path() {
        return path;
    }

    /** Queues the answer to one call. */
    public ScriptedToken answer(String function, String words) {
        return steer("answer " + function + " " + words);
    }

    /** Answers every call that finds the queue empty. */
    public ScriptedToken always(String function, String words) {
        return steer("always " + function + " " + words);
    }

    public ScriptedToken reset() {
        return steer("reset");
    }

    /** The most callers that were inside the module at once. */
    public int mostInside() {
        return Integer.parseInt(ask("most-inside"));
    }

    /** The least bytes of stack that a call has found left since the last reset. */
    long leastStack() {
        return Long.parseLong(ask("least-stack"));
    }

    /** The address of the module's function list. */
    public long functionList() {
        return Long.parseLong(ask("list"));
    }

    /** The lines of the calls since the last time. */
    public List<String> calls() {
        return ask("calls").lines().collect(Collectors.toList());
    }

    /** Starts a call that the module keeps inside a function, after letting so many callers of it through. */
    Harness.Background hold(String function, int passing, Executable call) {
        steer("hold " + function + " " + passing);
        Harness.Background held = Harness.start(call);
        steer("await " + function + " 1");
        return held;
    }

    /** Lets the callers of a function go, and waits for the ends of these calls. */
    void release(String function, Harness.Background... calls) throws Throwable {
        steer("release " + function);
        for (Harness.Background each : calls) {
            each.finish();
        }
    }

    /** A new holder of the module. */
    NativePKCS11 load() {
        NativePKCS11 library = new NativePKCS11();
        library.load(path);
        return library;
    }

    /** A new holder, which has initialised the module. */
    NativePKCS11 initialized() {
        NativePKCS11 library = load();
        library.libInitialize();
        return library;
    }

    /** An object of the module's address that the bridge has not loaded. */
    NativePKCS11 stranger() throws ReflectiveOperationException {
        return Harness.with(new NativePKCS11(), "functionList", functionList());
    }

    /** Any other command of token/scripted_token.h. */
    public ScriptedToken steer(String text) {
        ask(CODE.matcher(text).replaceAll(code -> "0x" + Integer.toHexString(value(code.group()))));
        return this;
    }

    /** The number of a code, by its name. */
    private static int value(String code) {
        try {
            return code.startsWith("CKR_0x") ? Integer.parseUnsignedInt(code.substring(6), 16)
                : PKCS11Constants.class.getField(code).getInt(null);
        } catch (ReflectiveOperationException e) {
            throw new AssertionError(e);
        }
    }

    private String ask(String text) {
        String result = command(path, text);
        assertNotNull(result, () -> "no token in " + path);
        assertFalse(result.startsWith("error"), result);
        return result;
    }

    private static native String command(String path, String text);

    /** Calls an exported native method with a null receiver and zero for every argument; false if there is none. */
    public static native boolean callWithNullReceiver(String library, String name);

    /** Sends a file descriptor of the process into a file; the result is what {@code restore} needs. */
    public static native int redirect(int descriptor, String file);

    public static native void restore(int descriptor, int saved);

    /** Sets a variable of the process's environment, or takes it away when the value is null. */
    public static native void setenv(String name, String value);
}
