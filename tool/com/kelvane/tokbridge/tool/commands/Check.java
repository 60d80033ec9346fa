package com.kelvane.tokbridge.tool.commands;

import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.PKCS11Uri;
import com.kelvane.pkcs11.nat.NativePKCS11;
import com.kelvane.tokbridge.tool.reports.*;
import com.kelvane.tokbridge.tool.token.Token;
import com.kelvane.tokbridge.tool.trials.Examination;
import java.util.concurrent.Callable;
import picocli.CommandLine.*;

/** The command check: checks whether a token works from Java. */
@Command(name = "check", mixinStandardHelpOptions = true, sortOptions = false, description = "Checks whether a token "
    + "works from Java: tries the keys that are on it, and with --write every mechanism that it offers and this "
    + "program knows, on objects of its own, which are destroyed afterwards. Results are compared with the JDK's. What "
    + "was on the token stays as it was.")
final class Check implements Callable<Integer> {
    @Mixin
    private Login login;

    @Option(names = "--write", description = "Create objects, try them, and destroy them again.")
    private boolean write;

    @Mixin
    private Output output;

    @Override
    public Integer call() throws Exception {
        try (NativePKCS11 library = login.open()) {
            PKCS11Slot slot = login.slot(library);
            Row about = new Row().put("tool", Main.Version.text())
                .put("java", System.getProperty("java.vendor") + " " + System.getProperty("java.runtime.version"))
                .put("system", System.getProperty("os.name") + " " + System.getProperty("os.version") + " "
                    + System.getProperty("os.arch")).put("module", login.module());
            Info.token(Info.library(about, library).put("slot", Info.number(slot)), slot.getTokenInfo());
            output.list(about);
            output.json(about);
            output.text("");
            try (Token token = login.open(slot, write)) {
                return new Examination(output, token, login.uri(PKCS11Uri::objects)).run();
            }
        }
    }
}
