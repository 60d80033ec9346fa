package com.kelvane.tokbridge.test;

import static org.junit.jupiter.api.Assertions.*;

import com.kelvane.pkcs11.nat.*;
import java.io.*;
import java.nio.charset.*;
import java.nio.file.*;
import java.util.*;
import java.util.concurrent.*;
import java.util.function.*;

/** Java programs in processes of their own, and a SoftHSM2 directory that they share; the user's PIN is 1234. */
final class Programs {
    final Path directory;
    private final Path configuration;
    private final Path socket;

    Programs() {
        try {
            directory = Files.createTempDirectory("run");
            configuration = directory.resolve("softhsm2.conf");
            socket = directory.resolve("socket");
            Files.createDirectory(directory.resolve("tokens"));
            Files.writeString(configuration, "directories.tokendir = " + directory.resolve("tokens")
                + "\nobjectstore.backend = file\nlog.level = ERROR\n");
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
    }

    /** Initialises tokens, and does work in a session of the user on each. */
    void onNewTokens(List<String> labels, Consumer<NativePKCS11Session> work) {
        assertDoesNotThrow(() -> Harness.withEnvironment("SOFTHSM2_CONF", configuration.toString(), () -> {
            for (String label : labels) {
                NativePKCS11Session session = new RealTokenTest().newToken(RealTokenTest.SOFTHSM, label);
                work.accept(session);
                session.getSlot().getPKCS11().libFinalize();
            }
        }));
    }

    /** Serves the tokens on the socket. */
    Process serve() throws Exception {
        return RealTokenTest.startServer(socket, configuration.toString());
    }

    /** A Java program of the class path, with its output and errors together. */
    ProcessBuilder java(String library, String program, String... arguments) {
        return command(List.of(Path.of(System.getProperty("java.home"), "bin", "java").toString(),
            "--enable-native-access=ALL-UNNAMED", "-XX:-CreateCoredumpOnCrash", "-XX:ErrorFile=" + directory + "/crash",
            "-Dtokbridge.library=" + library, "-cp", System.getProperty("java.class.path"), program), arguments);
    }

    /** A command with its output and errors together. */
    ProcessBuilder command(List<String> words, String... arguments) {
        List<String> command = new ArrayList<>(words);
        command.addAll(List.of(arguments));
        ProcessBuilder builder = new ProcessBuilder(command).redirectErrorStream(true);
        builder.environment().put("JAVA_HOME", System.getProperty("java.home"));
        builder.environment().put("SOFTHSM2_CONF", configuration.toString());
        builder.environment().put("P11_KIT_SERVER_ADDRESS", "unix:path=" + socket);
        builder.environment().put("TOKEN_PIN", "1234");
        return builder;
    }

    static BufferedReader told(Process process) {
        return new BufferedReader(new InputStreamReader(process.getInputStream(), StandardCharsets.UTF_8));
    }

    /** The output of a process and its exit status. */
    static String outcome(Process process) throws Exception {
        String told = new String(process.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
        assertTrue(process.waitFor(60, TimeUnit.SECONDS), "it does not end");
        return told + "exit " + process.exitValue();
    }
}
