package com.kelvane.tokbridge.test;

import static org.junit.jupiter.api.Assertions.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import java.lang.reflect.Field;
import java.lang.reflect.Method;
import java.math.*;
import java.nio.charset.*;
import java.nio.file.*;
import java.util.*;
import java.util.concurrent.atomic.*;
import java.util.function.*;
import org.junit.jupiter.api.function.*;

/** Outcomes of calls, bytes as text, fields, constants, threads and the process. */
final class Harness {
    static final Path DIRECTORY = Path.of(System.getProperty("tokbridge.test.scratch"));
    private static final AtomicInteger FILES = new AtomicInteger();
    private static final long TIMEOUT_NANOS = 20_000_000_000L;

    /** The name of a file that no other test uses. */
    static Path scratchFile(String suffix) {
        return DIRECTORY.resolve(ProcessHandle.current().pid() + "-" + FILES.incrementAndGet() + suffix);
    }

    /** Returns the name of the code that a call throws, or its message; "" when it returns. */
    static String raised(Executable call) throws Throwable {
        try {
            call.execute();
            return "";
        } catch (PKCS11Exception e) {
            return e.hasCode() ? e.getName() : e.getMessage();
        }
    }

    /** Returns what a call throws, or else its result in Java's notation. */
    static String outcome(ThrowingSupplier<?> call) throws Throwable {
        Object[] result = new Object[1];
        String raised = raised(() -> result[0] = call.get());
        String text = Arrays.deepToString(result);
        return raised.isEmpty() ? text.substring(1, text.length() - 1) : raised;
    }

    /** Bytes that count up from the first. */
    static byte[] bytes(int first, int length) {
        byte[] bytes = new byte[length];
        for (int i = 0; i < length; i++) {
            bytes[i] = (byte) (first + i);
        }
        return bytes;
    }

    /** The hexadecimal digits of bytes, or of a text in UTF-8. */
    static String hex(Object value) {
        byte[] bytes = value instanceof byte[] ? (byte[]) value : ((String) value).getBytes(StandardCharsets.UTF_8);
        return bytes.length == 0 ? "" : String.format("%0" + 2 * bytes.length + "x", new BigInteger(1, bytes));
    }

    /** Sets a private field, final ones too. */
    static <T> T with(T object, String name, Object value) throws ReflectiveOperationException {
        Field field = object.getClass().getDeclaredField(name);
        field.setAccessible(true);
        field.set(object, value);
        return object;
    }

    /** Maps each constant with a prefix to a text, unless that is null. */
    private static Map<Integer, String> constants(String prefix, Function<Field, String> text) throws Exception {
        Map<Integer, String> found = new TreeMap<>(Integer::compareUnsigned);
        for (Field field : PKCS11Constants.class.getFields()) {
            String value = field.getName().startsWith(prefix) ? text.apply(field) : null;
            String before = value == null ? null : found.put(field.getInt(null), value);
            assertTrue(before == null || before.equals(value), field.getName());
        }
        return found;
    }

    /** The kind of each attribute type, as it is annotated. */
    static Map<Integer, String> attributes() throws Exception {
        return constants("CKA_", field -> field.getAnnotations().length == 0 ? null
            : field.getAnnotations()[0].toString().replaceAll(".*[(=]|\\)", ""));
    }

    /** The parameter of each mechanism in the library's table. */
    static Map<Integer, String> mechanisms() throws Exception {
        Method describe = Calls.EXTENSIONS.getDeclaredMethod("describeParameter", int.class, Object.class);
        describe.setAccessible(true);
        return constants("CKM_", field -> {
            String text = (String) assertDoesNotThrow(() -> describe.invoke(null, field.getInt(null), new Object()));
            return text.startsWith("PKCS11Raw") ? null : text;
        });
    }

    /** Removes a module's row from the library table, whatever the number of its holders. */
    static void forget(ScriptedToken token) throws Throwable {
        String raised = "";
        for (int i = 0; i < 1000 && !raised.equals("attempt to finalize invalid DLL"); i++) {
            raised = raised(token.stranger()::libFinalize);
        }
        assertEquals("attempt to finalize invalid DLL", raised);
    }

    /** A call on another thread. */
    static final class Background extends Thread {
        private final Executable call;
        private Throwable thrown;
        private volatile boolean done; // before the thread ends, which acquires monitors too

        private Background(Executable call) {
            this.call = call;
            setDaemon(true);
        }

        @Override
        public void run() {
            try {
                call.execute();
            } catch (Throwable e) {
                thrown = e;
            }
            done = true;
        }

        /** Waits for the end of the call and throws what it threw. */
        void finish() throws Throwable {
            join(TIMEOUT_NANOS / 1_000_000);
            assertFalse(isAlive(), "the call does not end");
            if (thrown != null) {
                throw thrown;
            }
        }

        /** Waits until the call has ended or waits for a monitor. Returns true for the latter. */
        boolean blocked() throws InterruptedException {
            long end = System.nanoTime() + TIMEOUT_NANOS;
            while (!done && getState() != State.BLOCKED) {
                assertTrue(System.nanoTime() < end, "neither ended nor blocked");
                sleep(1);
            }
            return !done;
        }
    }

    static Background start(Executable call) {
        Background background = new Background(call);
        background.start();
        return background;
    }

    /** Whether another thread can acquire the bridge lock at this moment. */
    static boolean lockIsFree() throws Throwable {
        Background other = start(() -> {
            synchronized (NativePKCS11.class) {
                Thread.onSpinWait();
            }
        });
        return !other.blocked();
    }

    static final int STDOUT = 1;
    static final int STDERR = 2;

    /** Returns what the process writes to a file descriptor during a call, as far as it is flushed. */
    static String written(int descriptor, Executable call) throws Throwable {
        Path file = scratchFile(".txt");
        int saved = ScriptedToken.redirect(descriptor, file.toString());
        try {
            call.execute();
        } finally {
            ScriptedToken.restore(descriptor, saved);
        }
        return Files.readString(file, StandardCharsets.ISO_8859_1);
    }

    /** Executes a call with a variable of the process's environment set. */
    static void withEnvironment(String name, String value, Executable call) throws Throwable {
        String before = System.getenv(name); // the JVM's copy, which does not change
        ScriptedToken.setenv(name, value);
        try {
            call.execute();
        } finally {
            ScriptedToken.setenv(name, before);
        }
    }
}
