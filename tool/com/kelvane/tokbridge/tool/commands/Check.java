package com.kelvane.tokbridge.tool.commands;

import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.PKCS11Uri;
import com.kelvane.pkcs11.nat.NativePKCS11;
import com.kelvane.tokbridge.tool.reports.*;
import com.kelvane.tokbridge.tool.token.Token;
import com.kelvane.tokbridge.tool.trials.Examination;
import picocli.CommandLine.*;

/** The command check: checks whether a token works from Java. */
@Command(name = "check", mixinStandardHelpOptions = true, sortOptions = false, description = "Checks whether a token "
    + "works from Java: tries the keys that are on it, and with --write every mechanism that it offers and this "
    + "program knows, on objects of its own, which are destroyed afterwards. Results are compared with the JDK's. What "
    + "was on the token stays as it was.")
final class Check extends Login {
    @Option(names = "--write", description = "Create objects, try them, and destroy them again.")
    private boolean write;

    @Override
    int run(NativePKCS11 library) throws Exception {
        PKCS11Slot slot = slot(library);
        Row about = new Row().put("tool", Main.version())
            .put("java", System.getProperty("java.vendor") + " " + System.getProperty("java.runtime.version"))
            .put("system", System.getProperty("os.name") + " " + System.getProperty("os.version") + " "
                + System.getProperty("os.arch")).put("module", module());
        Info.token(Info.library(about, library).put("slot", Info.number(slot)), slot.getTokenInfo());
        output.list(about);
        output.json(about);
        output.text("");
        try (Token token = open(slot, write)) {
            return new Examination(output, token, uri(PKCS11Uri::objects)).run();
        }
    }
}
