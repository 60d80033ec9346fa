package com.kelvane.tokbridge.tool.commands;

import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.PKCS11Uri;
import com.kelvane.pkcs11.nat.NativePKCS11;
import com.kelvane.tokbridge.tool.reports.*;
import com.kelvane.tokbridge.tool.token.*;
import java.nio.file.Path;
import picocli.CommandLine.*;

/** A command that logs the user in. */
abstract class Login extends Target {
    @Option(names = "--login", description = "Log in. The PIN is entered without echo, unless --pin-file or "
        + "--pin-env names it.")
    private boolean login;

    @ArgGroup
    private PinSource pin = new PinSource();

    static final class PinSource {
        @Option(names = "--pin-file", paramLabel = "FILE",
            description = "Log in with the PIN in the first line of this file.")
        private Path file;

        @Option(names = "--pin-env", paramLabel = "NAME",
            description = "Log in with the PIN in this environment variable.")
        private String variable;
    }

    @Override
    NativePKCS11 open() throws Exception {
        Path inUri = uri(PKCS11Uri::pinFile);
        agreed("--pin-env", pin.variable, "pin-source", inUri == null ? null : inUri.toString());
        pin.file = agreed("--pin-file", pin.file, "pin-source", inUri);
        return super.open();
    }

    /** Opens a session, and logs in if the user wants it. */
    final Token open(PKCS11Slot slot, boolean write) throws Exception {
        Token token = new Token(slot, write);
        if (!login && pin.file == null && pin.variable == null) {
            return token;
        }
        // With a PIN pad it is entered at the token.
        char[] with = pin.variable != null ? Pin.fromEnvironment(pin.variable)
            : pin.file != null ? Pin.fromFile(pin.file) : token.info().hasProtectedAuthenticationPath() ? null
            : Pin.fromTerminal(Row.oneLine(token.info().getLabel()));
        return Output.withProgress("Logging in", () -> token.login(with));
    }
}
