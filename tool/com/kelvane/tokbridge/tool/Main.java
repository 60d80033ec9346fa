package com.kelvane.tokbridge.tool;

import java.io.FileDescriptor;
import java.io.FileOutputStream;
import java.io.IOException;
import java.io.PrintStream;
import java.nio.charset.Charset;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
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
    footer = {"", "Tokens are initialised, PINs set, keys made and deleted with other programs: the vendor's, or "
        + "softhsm2-util, pkcs11-tool, p11tool, certutil and tpm2_ptool, as the token is.", "",
        "Exit status: 0 done, 1 a negative answer, 2 asked wrongly, 3 the module, the token or the output failed."})
public final class Main {
    static final int DONE = 0;
    static final int NEGATIVE = 1;
    static final int USAGE = 2;
    static final int FAILED = 3;

    /** As of a program that is ended because nobody reads what it writes. */
    private static final int BROKEN_PIPE = 128 + 13;

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
     * Standard output. Where nobody reads it any more the program ends, as others do, without a word; where it takes no
     * more, it says so.
     */
    private static final class Out extends FileOutputStream {
        Out() {
            super(FileDescriptor.out);
        }

        @Override
        public void write(byte[] bytes, int offset, int length) {
            try {
                super.write(bytes, offset, length);
            } catch (IOException e) {
                if (isPipe()) {
                    System.exit(BROKEN_PIPE);
                }
                new Failure(FAILED, "the output could not be written", e.getMessage(),
                    "look at the disk's space, or at the program that reads it").print(false);
                System.exit(FAILED);
            }
        }

        private static boolean isPipe() {
            try {
                return Files.readSymbolicLink(Path.of("/proc/self/fd/1")).toString().matches("(pipe|socket):.*");
            } catch (IOException e) {
                return false;
            }
        }
    }

    /** Text in the charset of the surroundings; UTF-8 where these say nothing, as tokens have it. */
    private static Charset charset() {
        Charset told = Charset.forName(System.getProperty("stdout.encoding", Charset.defaultCharset().name()));
        return told.equals(StandardCharsets.US_ASCII) ? StandardCharsets.UTF_8 : told;
    }

    /**
     * Runs the program.
     *
     * @param arguments a command and its options
     */
    public static void main(String[] arguments) {
        // So that there is a console only where there is a terminal, and a PIN is never asked for on anything else.
        System.setProperty("jdk.console", "java.base");
        System.setOut(new PrintStream(new Out(), true, charset()));
        boolean json = List.of(arguments).contains(Output.JSON);
        CommandLine line = new CommandLine(new Main()).setUsageHelpAutoWidth(true)
            .setParameterExceptionHandler((e, given) -> {
                new Failure(USAGE, e.getMessage(), null, e.getCommandLine().getCommandSpec().qualifiedName()
                    + " --help").print(json);
                return USAGE;
            })
            .setExecutionExceptionHandler((e, given, parsed) -> report(e, json));
        int status;
        try {
            status = line.execute(arguments);
        } catch (Error e) { // a missing native library for one: the handler is for exceptions alone
            status = report(e, json);
        }
        System.exit(status);
    }

    private static int report(Throwable e, boolean json) {
        Failure failure = Failure.of(e);
        failure.print(json);
        return failure.status;
    }
}
