package com.kelvane.tokbridge.tool.commands;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static java.util.stream.Collectors.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import com.kelvane.tokbridge.tool.reports.*;
import com.kelvane.tokbridge.tool.token.*;
import java.security.GeneralSecurityException;
import java.security.cert.*;
import java.time.*;
import java.util.*;
import picocli.CommandLine.*;

/** The command objects: lists what is on a token. */
@Command(name = "objects", mixinStandardHelpOptions = true, sortOptions = false, description = "Lists the objects on a "
    + "token: class, key type and size, label, id, uses and dates; certificates with their names and dates, and "
    + "whether their key is present. Secret values are never read. Private objects are visible after a login only.")
final class ListObjects extends Login {
    private static final int[] USES = {CKA_ENCRYPT, CKA_DECRYPT, CKA_SIGN, CKA_VERIFY, CKA_WRAP, CKA_UNWRAP,
        CKA_DERIVE};

    /** The names of curves by their object identifiers in DER. */
    private static final Map<String, String> CURVES = Map.of("06082a8648ce3d030107", "P-256", "06052b81040022", "P-384",
        "06052b81040023", "P-521", "06052b8104000a", "secp256k1", "06032b6570", "Ed25519", "06032b6571", "Ed448",
        "06032b656e", "X25519", "06032b656f", "X448");

    @Option(names = "--pem", description = "Print the certificates and public keys as PEM instead.")
    private boolean pem;

    /** The token's URI, and the ids of the private keys on it. */
    private PKCS11Uri tokenUri;
    private Set<String> privateKeys;

    @Override
    int run(NativePKCS11 library) throws Exception {
        if (pem && output.json) {
            throw new Failure(Failure.USAGE, "--pem and --json contradict each other", null, "use one of them");
        }
        try (Token token = open(slot(library), false)) {
            List<NativePKCS11Object> objects = token.session.findObjects(uri(PKCS11Uri::objects));
            return pem ? printPem(objects) : list(token, objects);
        }
    }

    private int list(Token token, List<NativePKCS11Object> objects) throws Exception {
        List<Row> rows = Output.withProgress("Reading the objects", () -> {
            tokenUri = PKCS11Uri.of(token.info());
            privateKeys = token.session.findObjects(Template.of(CKA_CLASS, CKO_PRIVATE_KEY)).stream()
                .map(key -> String.valueOf(Token.hex(key.readAttributes(CKA_ID).getBytes(CKA_ID)))).collect(toSet());
            return objects.stream().map(each -> row(token, each)).collect(toList());
        });
        for (String what : List.of("uses", "subject", "error")) { // keys and data, certificates, what cannot be read
            List<Row> alike = rows.stream().filter(row -> row.json.containsKey(what)).collect(toList());
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

    /** Returns an object's row: keys and data have uses, certificates a subject, unreadable objects an error. */
    private Row row(Token token, NativePKCS11Object object) {
        try {
            PKCS11Attributes read = object.readAttributes(CKA_CLASS, CKA_KEY_TYPE, CKA_CERTIFICATE_TYPE, CKA_LABEL,
                CKA_ID, CKA_MODULUS_BITS, CKA_MODULUS, CKA_EC_PARAMS, CKA_VALUE_LEN, CKA_PARAMETER_SET, CKA_SENSITIVE,
                CKA_EXTRACTABLE, CKA_START_DATE, CKA_END_DATE);
            Row row = name(new Row(), "class", "CKO_", read.getInteger(CKA_CLASS));
            name(row, "type", read.has(CKA_KEY_TYPE) ? "CKK_" : "CKC_",
                read.getInteger(read.has(CKA_KEY_TYPE) ? CKA_KEY_TYPE : CKA_CERTIFICATE_TYPE));
            row.put("label", read.getString(CKA_LABEL)).put("id", Token.hex(read.getBytes(CKA_ID)))
                .below("uri", tokenUri.withObject(read));
            return Integer.valueOf(CKO_CERTIFICATE).equals(read.get(CKA_CLASS)) ? certificate(row, token, object)
                : row.put("size", size(read)).put("from", day(read.getDate(CKA_START_DATE), ZoneId.systemDefault()))
                    .put("to", day(read.getDate(CKA_END_DATE), ZoneId.systemDefault()))
                    .put("sensitive", read.get(CKA_SENSITIVE)).put("extractable", read.get(CKA_EXTRACTABLE))
                    .put("uses", Arrays.stream(USES).filter(object.readAttributes(USES)::isTrue)
                        .mapToObj(use -> nameOf("CKA_", use).substring(4).toLowerCase(Locale.ROOT)).collect(toList()));
        } catch (PKCS11Exception e) { // the others may be readable
            return new Row().put("object", object).put("error", Failure.code(e), e.getMessage());
        }
    }

    /** Adds a number of the standard, which people see without its prefix: "secret key". */
    private static Row name(Row row, String title, String prefix, Integer value) {
        String name = value == null ? null : nameOf(prefix, value);
        return row.put(title, name, name == null ? null
            : name.substring(prefix.length()).toLowerCase(Locale.ROOT).replace('_', ' '));
    }

    private Row certificate(Row row, Token token, NativePKCS11Object object) {
        boolean seesPrivate = token.isLoggedIn() || !token.info().isLoginRequired();
        Boolean keyIsThere = privateKeys.contains(row.json.get("id")) ? Boolean.TRUE : seesPrivate ? false : null;
        try {
            X509Certificate read = object.toCertificate();
            return row.put("subject", read.getSubjectX500Principal().getName())
                .put("issuer", read.getIssuerX500Principal().getName())
                .put("serialNumber", read.getSerialNumber().toString(16))
                .put("from", day(read.getNotBefore(), ZoneOffset.UTC))
                .put("to", day(read.getNotAfter(), ZoneOffset.UTC)).put("keyIsThere", keyIsThere);
        } catch (CertificateException | PKCS11Exception e) {
            return row.put("subject", null, "not read: " + e.getMessage()).put("issuer", null)
                .put("serialNumber", null).put("from", null).put("to", null).put("keyIsThere", keyIsThere);
        }
    }

    /** Returns the number of bits, the curve or the set of parameters. */
    private static Object size(PKCS11Attributes read) {
        if (read.has(CKA_MODULUS_BITS)) {
            return read.getInteger(CKA_MODULUS_BITS);
        } else if (read.has(CKA_MODULUS)) {
            return read.getBigInteger(CKA_MODULUS).bitLength();
        } else if (read.has(CKA_VALUE_LEN)) {
            return 8L * read.getInteger(CKA_VALUE_LEN);
        } else if (read.has(CKA_PARAMETER_SET)) {
            return nameOf(nameOf("CKK_", read.getInteger(CKA_KEY_TYPE)).replace("CKK", "CKP") + "_",
                read.getInteger(CKA_PARAMETER_SET)); // "CKP_ML_DSA_44": the numbers depend on the key type
        }
        String curve = Token.hex(read.getBytes(CKA_EC_PARAMS));
        return curve == null ? null : CURVES.getOrDefault(curve, curve);
    }

    private static String day(Date date, ZoneId zone) {
        return date == null ? null : date.toInstant().atZone(zone).toLocalDate().toString();
    }
}
