package com.kelvane.tokbridge.tool.commands;

import com.kelvane.tokbridge.tool.reports.Output;
import com.kelvane.tokbridge.tool.token.Failure;
import java.io.*;
import java.nio.charset.*;
import java.util.List;
import picocli.AutoComplete.GenerateCompletion;
import picocli.CommandLine;
import picocli.CommandLine.*;

/** The program tokbridge. */
@Command(name = "tokbridge", mixinStandardHelpOptions = true,
    description = "Checks whether a security token works from Java.",
    subcommands = {Info.class, ListObjects.class, Check.class, GenerateCompletion.class},
    footer = {"", "Tokens are initialised, PINs set, keys created and destroyed with other programs: the vendor's, or "
        + "softhsm2-util, pkcs11-tool, p11tool, certutil and tpm2_ptool, depending on the token.", "",
        "Exit status: 0 done, 1 a negative result, 2 usage error, 3 the module, the token or the output failed."})
public final class Main {
    /** Returns the version in the jar's manifest. */
    static String version() {
        String version = Main.class.getPackage().getImplementationVersion();
        return "tokbridge " + (version != null ? version : "(not from its jar)");
    }

    /** Runs the program with a command and its options, and ends with the exit status. */
    public static void main(String[] arguments) {
        // A console only where there is a terminal, so that a PIN is never read from anything else.
        System.setProperty("jdk.console", "java.base");
        // Tokens have texts in UTF-8, so a locale that knows ASCII alone does not choose the charset.
        Charset locale = Charset.forName(System.getProperty("stdout.encoding", Charset.defaultCharset().name()));
        System.setOut(new PrintStream(new FileOutputStream(FileDescriptor.out), true,
            locale.equals(StandardCharsets.US_ASCII) ? StandardCharsets.UTF_8 : locale));
        boolean json = List.of(arguments).contains("--json");
        CommandLine line = new CommandLine(new Main()).setUsageHelpAutoWidth(true)
            .registerConverter(Long.class, Long::decode)
            .setParameterExceptionHandler((e, given) -> Output.failure(new Failure(Failure.USAGE, e.getMessage(), null,
                e.getCommandLine().getCommandSpec().qualifiedName() + " --help"), json))
            .setExecutionExceptionHandler((e, given, parsed) -> Output.failure(Failure.of(e), json));
        line.getCommandSpec().version(version());
        System.exit(line.execute(arguments));
    }
}
