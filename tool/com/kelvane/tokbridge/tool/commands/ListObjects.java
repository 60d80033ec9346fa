package com.kelvane.tokbridge.tool.commands;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.NativePKCS11;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.tokbridge.tool.reports.*;
import com.kelvane.tokbridge.tool.token.*;
import java.security.GeneralSecurityException;
import java.util.*;
import java.util.concurrent.Callable;
import java.util.stream.Collectors;
import picocli.CommandLine.*;

/** The command objects: lists what is on a token. */
@Command(name = "objects", mixinStandardHelpOptions = true, sortOptions = false, description = "Lists the objects on a "
    + "token: class, key type and size, label, id, uses and dates; certificates with their names and dates, and "
    + "whether their key is present. Secret values are never read. Private objects are visible after a login only.")
final class ListObjects implements Callable<Integer> {
    @Mixin
    private Login login;

    @Option(names = "--pem", description = "Print the certificates and public keys as PEM instead.")
    private boolean pem;

    @Mixin
    private Output output;

    @Override
    public Integer call() throws Exception {
        if (pem && output.isJson()) {
            throw new Failure(Failure.USAGE, "--pem and --json contradict each other", null, "use one of them");
        }
        try (NativePKCS11 library = login.open(); Token token = login.open(login.slot(library), false)) {
            List<NativePKCS11Object> objects = token.session.findObjects(login.uri(PKCS11Uri::objects));
            return pem ? printPem(objects) : list(token, objects);
        }
    }

    private int list(Token token, List<NativePKCS11Object> objects) throws Exception {
        List<Row> rows = Output.withProgress("Reading the objects", () -> {
            ObjectRows reader = new ObjectRows(token);
            return objects.stream().map(reader::row).collect(Collectors.toList());
        });
        for (String what : List.of("uses", "subject", "error")) { // keys and data, certificates, what cannot be read
            List<Row> alike = rows.stream().filter(row -> row.json.containsKey(what)).collect(Collectors.toList());
            if (!alike.isEmpty()) {
                output.table(alike);
                output.text("");
            }
        }
        output.sentence(rows.size() + (rows.size() == 1 ? " object" : " objects")
            + (token.isLoggedIn() ? "" : "; private ones are there with --login only"));
        output.json(rows);
        return rows.stream().anyMatch(row -> row.json.containsKey("error")) ? Failure.FAILED : Failure.DONE;
    }

    private int printPem(List<NativePKCS11Object> objects) {
        Base64.Encoder encoder = Base64.getMimeEncoder(64, new byte[] {'\n'});
        int status = Failure.NEGATIVE;
        for (NativePKCS11Object object : objects) {
            try {
                int objectClass = object.getIntAttributeValue(CKA_CLASS);
                boolean isCertificate = objectClass == CKO_CERTIFICATE;
                if (isCertificate || objectClass == CKO_PUBLIC_KEY) {
                    byte[] encoded = isCertificate ? object.toCertificate().getEncoded()
                        : object.toPublicKey().getEncoded();
                    String title = isCertificate ? "CERTIFICATE-----" : "PUBLIC KEY-----";
                    output.text("-----BEGIN " + title + "\n" + encoder.encodeToString(encoded) + "\n-----END " + title);
                    status = status == Failure.FAILED ? status : Failure.DONE;
                }
            } catch (GeneralSecurityException | PKCS11Exception e) {
                System.err.println("tokbridge: " + object + " is left out: " + e.getMessage());
                status = Failure.FAILED;
            }
        }
        return status;
    }
}
