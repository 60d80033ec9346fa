package com.kelvane.tokbridge.test;

import static org.junit.jupiter.api.Assertions.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import java.lang.reflect.Field;
import java.lang.reflect.Method;
import java.nio.charset.*;
import java.nio.file.*;
import java.util.*;
import java.util.concurrent.atomic.*;
import java.util.function.*;
import org.junit.jupiter.api.function.*;

/** What the tests ask of calls, objects, threads and the process. */
final class Harness {
    static final Path DIRECTORY = Path.of(System.getProperty("tokbridge.test.scratch"));
    private static final AtomicInteger FILES = new AtomicInteger();
    private static final long PATIENCE_NANOS = 20_000_000_000L; // on a machine that does other things too

    /** The name of a file that no other test uses. */
    static Path scratchFile(String suffix) {
        return DIRECTORY.resolve(ProcessHandle.current().pid() + "-" + FILES.incrementAndGet() + suffix);
    }

    /** What a call raises: "CKR_PIN_INCORRECT" for a code, the text for a message, "" when it returns. */
    static String raised(Executable call) throws Throwable {
        try {
            call.execute();
            return "";
        } catch (PKCS11Exception e) {
            return e.hasCode() ? e.getName() : e.getMessage();
        }
    }

    /** What a call raises, or else its result: numbers and arrays in Java's notation. */
    static String outcome(ThrowingSupplier<?> call) throws Throwable {
        Object[] result = new Object[1];
        String raised = raised(() -> result[0] = call.get());
        String text = Arrays.deepToString(result);
        return raised.isEmpty() ? text.substring(1, text.length() - 1) : raised;
    }

    /** So many bytes that count up from the first. */
    static byte[] bytes(int first, int length) {
        byte[] bytes = new byte[length];
        for (int i = 0; i < length; i++) {
            bytes[i] = (byte) (first + i);
        }
        return bytes;
    }

    /** The digits of bytes, or of a text in UTF-8. */
    static String hex(Object value) {
        StringBuilder digits = new StringBuilder();
        for (byte each : value instanceof byte[] ? (byte[]) value : ((String) value).getBytes(StandardCharsets.UTF_8)) {
            digits.append(String.format("%02x", each));
        }
        return digits.toString();
    }

    /** Sets a private field, final ones too. */
    static <T> T with(T object, String name, Object value) throws ReflectiveOperationException {
        Field field = object.getClass().getDeclaredField(name);
        field.setAccessible(true);
        field.set(object, value);
        return object;
    }

    /** What is said of each constant with a prefix, null for nothing. */
    private static Map<Integer, String> constants(String prefix, Function<Field, String> what) throws Exception {
        Map<Integer, String> found = new TreeMap<>(Integer::compareUnsigned);
        for (Field field : PKCS11Constants.class.getFields()) {
            String said = field.getName().startsWith(prefix) ? what.apply(field) : null;
            if (said != null) {
                String before = found.put(field.getInt(null), said);
                assertTrue(before == null || before.equals(said), field.getName());
            }
        }
        return found;
    }

    /** The kind of each attribute type, as it is declared. */
    static Map<Integer, String> attributes() throws Exception {
        return constants("CKA_", field -> field.getAnnotations().length == 0 ? null
            : field.getAnnotations()[0].toString().replaceAll(".*[(=]|\\)", ""));
    }

    /** What each mechanism takes that the library has a row of, in its own words. */
    static Map<Integer, String> mechanisms() throws Exception {
        Method describe = Class.forName("com.kelvane.pkcs11.nat.NativeExtensions")
            .getDeclaredMethod("describeParameter",
            int.class, Object.class);
        describe.setAccessible(true);
        return constants("CKM_", field -> {
            try {
                String said = (String) describe.invoke(null, field.getInt(null), new Object());
                return said.startsWith("PKCS11Raw") ? null : said;
            } catch (ReflectiveOperationException e) {
                throw new AssertionError(e);
            }
        });
    }

    /** What the getters of the named properties answer, in the order of the names, which blanks divide. */
    static List<Object> get(Object object, String properties) throws ReflectiveOperationException {
        List<Object> values = new ArrayList<>();
        for (String property : properties.split(" ")) {
            values.add(object.getClass().getMethod("get" + property).invoke(object));
        }
        return values;
    }

    /** Takes a module's row out of the library table, however many hold it. */
    static void forget(ScriptedToken token) throws Throwable {
        String raised = "";
        for (int i = 0; i < 1000 && !raised.equals("attempt to finalize invalid DLL"); i++) {
            raised = raised(token.stranger()::libFinalize);
        }
        assertEquals("attempt to finalize invalid DLL", raised);
    }

    /** A call on a thread of its own. */
    static final class Background extends Thread {
        private final Executable call;
        private Throwable thrown;
        private volatile boolean done; // earlier than the thread's end, which takes monitors too

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

        /** Waits for the call's end; what it threw is thrown here. */
        void finish() throws Throwable {
            join(PATIENCE_NANOS / 1_000_000);
            assertFalse(isAlive(), "the call does not end");
            if (thrown != null) {
                throw thrown;
            }
        }

        /** Waits until the call has ended or stands before a monitor that another thread holds: true for the latter. */
        boolean blocked() throws InterruptedException {
            long end = System.nanoTime() + PATIENCE_NANOS;
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

    /** Whether another thread can take the bridge lock at this moment. */
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

    /** What the process writes to a file descriptor during a call, as far as it has left the buffers by its end. */
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

    /** Makes a call with a variable of the process's environment set. */
    static void withEnvironment(String name, String value, Executable call) throws Throwable {
        String before = System.getenv(name); // which stays what it was when it was first asked
        ScriptedToken.setenv(name, value);
        try {
            call.execute();
        } finally {
            ScriptedToken.setenv(name, before);
        }
    }
}
