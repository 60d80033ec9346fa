package com.kelvane.tokbridge.tool;

import java.io.IOException;
import java.io.PrintStream;
import java.io.Reader;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Properties;
import java.util.concurrent.Callable;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Option;

/** The command quickstart: shows on a throw-away SoftHSM2 token what the library does, and checks every result. */
@Command(name = "quickstart", mixinStandardHelpOptions = true, sortOptions = false, description = "Tours the library "
    + "on a token that it makes in a throw-away SoftHSM2 directory, named by the configuration file in the environment "
    + "variable SOFTHSM2_CONF, and checks every result.")
final class QuickStart implements Callable<Integer> {
    @Option(names = "--softhsm", paramLabel = "PATH", defaultValue = "/usr/lib/softhsm/libsofthsm2.so", description =
        "The SoftHSM2 module of the tour; ${DEFAULT-VALUE} if it is not given.")
    private String softhsm;

    @Option(names = "--leave-out", description = "Leave the steps out whose mechanism the token does not offer; they "
        + "fail otherwise.")
    private boolean leaveOut;

    @Mixin
    private Output output;

    @Override
    public Integer call() {
        String path = ModuleChoice.path(softhsm);
        checkTokenDirectory(System.getenv("SOFTHSM2_CONF"));
        PrintStream out = output.text();
        Tour tour = new Tour(out, leaveOut);
        ModuleSteps steps = new ModuleSteps(tour, path);
        if (steps.load()) {
            steps.describe();
            tourToken(tour, steps);
            steps.finalizeLibrary();
        }
        out.println("\n== Summary");
        Table.of(tour.results()).print(out);
        output.result(tour.results());
        if (tour.failed() == 0) {
            out.println("\nAll checks of " + tour.results().size() + " steps held.");
            return Main.DONE;
        }
        System.err.println("tokbridge: " + tour.failed() + " of " + tour.results().size() + " steps failed");
        return Main.NEGATIVE;
    }

    private static void tourToken(Tour tour, ModuleSteps module) {
        NewToken made = new NewToken(tour, module);
        Token token = made.initialize() ? made.open() : null;
        if (token != null) {
            token.drawRandom();
            new ObjectSteps(tour, token).run();
            new CipherSteps(tour, token).run();
            new RsaSteps(tour, token).run();
            new EllipticCurveSteps(tour, token).run();
            token.compare();
            made.close();
        }
    }

    /** Makes sure that SoftHSM2 has a directory to make a token in. */
    private static void checkTokenDirectory(String file) {
        Properties configuration = new Properties();
        String obstacle = null;
        if (file == null || file.isEmpty()) {
            obstacle = "SOFTHSM2_CONF is not set";
        } else {
            try (Reader reader = Files.newBufferedReader(Path.of(file))) {
                configuration.load(reader);
                String directory = configuration.getProperty("directories.tokendir", "").strip();
                if (directory.isEmpty() || !Files.isDirectory(Path.of(directory))) {
                    obstacle = "SOFTHSM2_CONF names \"" + file + "\", whose directories.tokendir \"" + directory
                        + "\" is no directory";
                }
            } catch (IOException | IllegalArgumentException e) {
                obstacle = "SOFTHSM2_CONF names \"" + file + "\", which cannot be read";
            }
        }
        if (obstacle != null) {
            throw new Failure(Main.USAGE, "the tour cannot start", obstacle, "let SOFTHSM2_CONF name a configuration "
                + "file whose directories.tokendir is a throw-away directory: the tour makes a token there");
        }
    }
}
