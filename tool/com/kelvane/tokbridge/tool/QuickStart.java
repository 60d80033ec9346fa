package com.kelvane.tokbridge.tool;

import java.io.IOException;
import java.io.Reader;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Properties;
import java.util.concurrent.Callable;
import picocli.CommandLine;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.ParameterException;

/**
 * The program quickstart: shows on a throw-away SoftHSM2 token what the library does, and checks every result; or
 * describes any other Cryptoki module without changing it.
 *
 * <p>The exit status is 0 if all checks held, 1 if one failed, 2 if the program cannot start.
 */
@Command(name = "quickstart", sortOptions = false, description = {
    "Tours the library on a token that it makes in a throw-away SoftHSM2 directory, named by the configuration file in "
        + "the environment variable SOFTHSM2_CONF, and checks every result.",
    "With --module it only describes another module."})
public final class QuickStart implements Callable<Integer> {
    private static final String SOFTHSM = "/usr/lib/softhsm/libsofthsm2.so";

    /** A path of 256 bytes would end the process: longer ones than this are not passed on. */
    private static final int LONGEST_PATH = 255;

    @Option(names = "--module", paramLabel = "PATH", description = "Describe this module: the library, its slots, "
        + "tokens and mechanisms. Nothing is initialised but the library, no session is opened, nobody logged in.")
    private String module;

    @Option(names = "--softhsm", paramLabel = "PATH", description = "The SoftHSM2 module of the tour; " + SOFTHSM
        + " if it is not given.")
    private String softhsm;

    @Option(names = "--leave-out", description = "Leave the steps out whose mechanism the token does not offer; they "
        + "fail otherwise.")
    private boolean leaveOut;

    @Option(names = {"-h", "--help"}, usageHelp = true, description = "Show this text.")
    private boolean help;

    /**
     * Runs the program.
     *
     * @param arguments its options
     */
    public static void main(String[] arguments) {
        System.exit(new CommandLine(new QuickStart()).setParameterExceptionHandler((e, given) -> {
            System.err.println("quickstart: " + e.getMessage() + "; --help shows the options");
            return CommandLine.ExitCode.USAGE;
        }).execute(arguments));
    }

    @Override
    public Integer call() {
        if (module != null && softhsm != null) {
            throw new ParameterException(new CommandLine(this), "--module and --softhsm exclude each other");
        }
        String path = module != null ? module : softhsm != null ? softhsm : SOFTHSM;
        String obstacle = obstacle(path);
        if (obstacle == null && module == null) {
            obstacle = tokenDirectoryObstacle(System.getenv("SOFTHSM2_CONF"));
        }
        if (obstacle != null) {
            System.err.println("quickstart: " + obstacle);
            return CommandLine.ExitCode.USAGE;
        }

        Tour tour = new Tour(leaveOut);
        ModuleSteps steps = new ModuleSteps(tour, path);
        if (steps.load()) {
            steps.describe();
            if (module == null) {
                tourToken(tour, steps);
            }
            steps.finalizeLibrary();
        } else {
            System.err.println("quickstart: is this a Cryptoki library for this machine, and does it find its own "
                + "configuration? With PKCS11DEBUG=1 the system's reason for a file that does not load is printed");
        }
        return tour.finish();
    }

    private static void tourToken(Tour tour, ModuleSteps module) {
        Token token = new Token(tour, module);
        if (token.initialize() && token.open()) {
            token.drawRandom();
            new ObjectSteps(tour, token).run();
            new CipherSteps(tour, token).run();
            new RsaSteps(tour, token).run();
            new EllipticCurveSteps(tour, token).run();
            token.close();
        }
    }

    /** Says why a module cannot be loaded, as far as that can be seen beforehand; null if it may be. */
    private static String obstacle(String path) {
        if (path.getBytes(StandardCharsets.UTF_8).length > LONGEST_PATH) {
            return "the module's path is longer than " + LONGEST_PATH + " bytes";
        }
        // A name without a slash is looked for by the system in its own directories.
        boolean missing = path.contains("/") && !Files.isRegularFile(Path.of(path));
        return path.isEmpty() || missing ? "there is no module \"" + path + "\"" : null;
    }

    /** Says why SoftHSM2 would have no directory to make a token in; null if it has one. */
    private static String tokenDirectoryObstacle(String file) {
        String wanted = "; the tour needs it to name a configuration file whose directories.tokendir is a throw-away "
            + "directory, since it makes a token there";
        if (file == null || file.isEmpty()) {
            return "SOFTHSM2_CONF is not set" + wanted;
        }
        Properties configuration = new Properties();
        try (Reader reader = Files.newBufferedReader(Path.of(file))) {
            configuration.load(reader);
        } catch (IOException | IllegalArgumentException e) {
            return "SOFTHSM2_CONF names \"" + file + "\", which cannot be read" + wanted;
        }
        String directory = configuration.getProperty("directories.tokendir", "").strip();
        if (directory.isEmpty() || !Files.isDirectory(Path.of(directory))) {
            return "SOFTHSM2_CONF names \"" + file + "\", whose directories.tokendir \"" + directory
                + "\" is no directory" + wanted;
        }
        return null;
    }
}
