package com.kelvane.tokbridge.tool;

import picocli.AutoComplete.GenerateCompletion;
import picocli.CommandLine;
import picocli.CommandLine.Command;
import picocli.CommandLine.IVersionProvider;

/**
 * The program tokbridge.
 *
 * <p>The exit status is 0 if it was done, 1 for a negative answer, 2 if it was asked wrongly, 3 if the module, the
 * token or the output failed.
 */
@Command(name = "tokbridge", mixinStandardHelpOptions = true, versionProvider = Main.Version.class,
    description = "Answers whether a security token works from Java.", subcommands = {QuickStart.class, Info.class,
        ListObjects.class, Check.class, GenerateCompletion.class},
    footer = {"", "Exit status: 0 done, 1 a negative answer, 2 asked wrongly, 3 the module, the token or the output "
        + "failed."})
public final class Main {
    static final int DONE = 0;
    static final int NEGATIVE = 1;
    static final int USAGE = 2;
    static final int FAILED = 3;

    /** The version in the jar's manifest. */
    static final class Version implements IVersionProvider {
        @Override
        public String[] getVersion() {
            return new String[] {"tokbridge " + text()};
        }

        static String text() {
            String version = Main.class.getPackage().getImplementationVersion();
            return version != null ? version : "(not from its jar)";
        }
    }

    /**
     * Runs the program.
     *
     * @param arguments a command and its options
     */
    public static void main(String[] arguments) {
        // So that there is a console only where there is a terminal, and a PIN is never asked for on anything else.
        System.setProperty("jdk.console", "java.base");
        CommandLine line = new CommandLine(new Main()).setUsageHelpAutoWidth(true)
            .setParameterExceptionHandler((e, given) -> {
                System.err.println("tokbridge: " + e.getMessage());
                System.err.println("  Try: " + e.getCommandLine().getCommandSpec().qualifiedName() + " --help");
                return USAGE;
            })
            .setExecutionExceptionHandler((e, given, parsed) -> report(e));
        int status;
        try {
            status = line.execute(arguments);
        } catch (Error e) { // a missing native library for one: the handler is for exceptions alone
            status = report(e);
        }
        if (System.out.checkError()) {
            new Failure(FAILED, "the output could not be written", "where it goes to takes no more",
                "look at the disk's space, or at the program that reads it").print(System.err);
            status = FAILED;
        }
        System.exit(status);
    }

    private static int report(Throwable e) {
        Failure failure = Failure.of(e);
        failure.print(System.err);
        return failure.status;
    }
}
