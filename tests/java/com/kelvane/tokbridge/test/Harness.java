package com.kelvane.tokbridge.test;

import static org.junit.jupiter.api.Assertions.*;

import com.kelvane.pkcs11.nat.*;
import java.lang.reflect.Field;
import java.lang.reflect.Modifier;
import java.nio.charset.*;
import java.nio.file.*;
import java.util.*;
import java.util.concurrent.*;
import org.junit.jupiter.api.function.*;

/** What the tests ask of calls, objects, threads and the process. */
final class Harness {
    private static final long PATIENCE_SECONDS = 5;

    /** The environment as it was before any test changed it. */
    private static final Map<String, String> ENVIRONMENT = System.getenv();

    private Harness() {
    }

    // ---- Objects ----

    /** Sets a private field, final ones too. */
    static <T> T with(T object, String name, Object value) {
        try {
            Field field = object.getClass().getDeclaredField(name);
            field.setAccessible(true);
            field.set(object, value);
            return object;
        } catch (ReflectiveOperationException e) {
            throw new AssertionError(e);
        }
    }

    /** What the getters of the named properties answer, in the order of the names, which blanks divide. */
    static List<Object> get(Object object, String properties) {
        List<Object> values = new ArrayList<>();
        try {
            for (String property : properties.split(" ")) {
                values.add(object.getClass().getMethod("get" + property).invoke(object));
            }
        } catch (ReflectiveOperationException e) {
            throw new AssertionError(e);
        }
        return values;
    }

    // ---- Threads ----

    /** A call on a thread of its own. */
    static final class Background {
        private final FutureTask<Void> task;
        private final Thread thread;

        private Background(Executable call) {
            task = new FutureTask<>(() -> {
                try {
                    call.execute();
                } catch (Exception | Error e) {
                    throw e;
                } catch (Throwable e) {
                    throw new AssertionError(e);
                }
                return null;
            });
            thread = new Thread(task, "background");
            thread.setDaemon(true);
            thread.start();
        }

        /** Waits for the call's end; what it threw is thrown here. */
        void join() throws Throwable {
            join(0);
        }

        /** The same for a call that is meant to take so long. */
        void join(long nanos) throws Throwable {
            try {
                task.get(TimeUnit.SECONDS.toNanos(PATIENCE_SECONDS) + nanos, TimeUnit.NANOSECONDS);
            } catch (ExecutionException e) {
                throw e.getCause();
            }
        }

        /** Waits until the call has ended or stands before a monitor that another thread holds: true for the latter. */
        boolean blocked() throws InterruptedException {
            long end = System.nanoTime() + TimeUnit.SECONDS.toNanos(PATIENCE_SECONDS);
            while (!task.isDone() && thread.getState() != Thread.State.BLOCKED) {
                assertTrue(System.nanoTime() < end, "neither ended nor blocked");
                Thread.sleep(1);
            }
            return !task.isDone();
        }
    }

    static Background start(Executable call) {
        return new Background(call);
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

    // ---- The process ----

    static final int STDOUT = 1;
    static final int STDERR = 2;

    /** What the process writes to a file descriptor during a call, as far as it has left the buffers by its end. */
    static String written(int descriptor, Executable call) throws Throwable {
        Path file = Scratch.file("written", ".txt");
        int saved = ScriptedToken.redirect(descriptor, file.toString());
        try {
            call.execute();
        } finally {
            ScriptedToken.restore(descriptor, saved);
        }
        return Files.readString(file, StandardCharsets.ISO_8859_1);
    }

    /** Makes a call with a variable of the process's environment set, or unset for null. */
    static void withEnvironment(String name, String value, Executable call) throws Throwable {
        ScriptedToken.setenv(name, value);
        try {
            call.execute();
        } finally {
            ScriptedToken.setenv(name, ENVIRONMENT.get(name));
        }
    }

    /** The outcome of another JVM that runs a main class in the same surroundings. */
    static final class Outcome {
        final int exit;
        final String output;

        private Outcome(int exit, String output) {
            this.exit = exit;
            this.output = output;
        }
    }

    static Outcome inAnotherJvm(Class<?> main, String... arguments) throws Exception {
        List<String> command = new ArrayList<>();
        command.add(Path.of(System.getProperty("java.home"), "bin", "java").toString());
        command.add("--enable-native-access=ALL-UNNAMED");
        command.add("-XX:-CreateCoredumpOnCrash");
        command.add("-XX:ErrorFile=" + Scratch.file("crash", ".log"));
        command.add("-cp");
        command.add(System.getProperty("java.class.path"));
        for (String name : System.getProperties().stringPropertyNames()) {
            if (name.startsWith("tokbridge.")) {
                command.add("-D" + name + "=" + System.getProperty(name));
            }
        }
        command.add(main.getName());
        command.addAll(List.of(arguments));
        Path output = Scratch.file("jvm", ".txt");
        Process process = new ProcessBuilder(command).redirectErrorStream(true).redirectOutput(output.toFile()).start();
        assertTrue(process.waitFor(PATIENCE_SECONDS * 12, TimeUnit.SECONDS), "the other JVM does not end");
        return new Outcome(process.exitValue(), Files.readString(output, StandardCharsets.ISO_8859_1));
    }
}
