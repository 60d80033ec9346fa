package com.kelvane.tokbridge.tool;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Attributes;
import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.Template;
import com.kelvane.pkcs11.nat.NativePKCS11;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.io.PrintStream;
import java.math.BigInteger;
import java.security.cert.CertificateException;
import java.security.cert.X509Certificate;
import java.time.Instant;
import java.time.ZoneId;
import java.time.ZoneOffset;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Date;
import java.util.HashSet;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.Set;
import java.util.concurrent.Callable;
import java.util.stream.Collectors;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;

/** The command objects: lists what is on a token. */
@Command(name = "objects", mixinStandardHelpOptions = true, sortOptions = false, description = "Lists the objects on a "
    + "token: class, key type and size, label, id, uses and dates; certificates with what they say, and whether their "
    + "key is there. Secret values are never read. Private objects are there after a login only.")
final class ListObjects implements Callable<Integer> {
    private static final int[] USES = {CKA_ENCRYPT, CKA_DECRYPT, CKA_SIGN, CKA_VERIFY, CKA_WRAP, CKA_UNWRAP,
        CKA_DERIVE};

    /** The object identifiers of curves in DER, in hexadecimal, and their names. */
    private static final Map<String, String> CURVES = Map.of("06082a8648ce3d030107", "P-256", "06052b81040022", "P-384",
        "06052b81040023", "P-521", "06052b8104000a", "secp256k1", "06032b6570", "Ed25519", "06032b6571", "Ed448",
        "06032b656e", "X25519");

    @Mixin
    private ModuleChoice module;

    @Mixin
    private Login login;

    @Mixin
    private Output output;

    /** The ids of the private keys that are there. */
    private final Set<String> keys = new HashSet<>();

    /** Whether private keys would be there, if there were any. */
    private boolean seesPrivate;

    @Override
    public Integer call() {
        PrintStream out = output.text();
        List<Map<String, Object>> objects = new ArrayList<>();
        try (NativePKCS11 library = module.open(); Login user = login) {
            PKCS11Slot slot = user.token.find(library);
            seesPrivate = user.isWanted() || !slot.getTokenInfo().isLoginRequired();
            try (NativePKCS11Session session = user.open(slot, false)) {
                Output.patiently("Reading the objects", () -> {
                    for (NativePKCS11Object key : session.findObjects(Template.of(CKA_CLASS, CKO_PRIVATE_KEY))) {
                        keys.add(hex(key.readAttributes(CKA_ID).getBytes(CKA_ID)));
                    }
                    for (NativePKCS11Object object : session.findObjects(user.token.uri().objects())) {
                        objects.add(describe(object));
                    }
                    return null;
                });
            }
        }
        long wrong = objects.stream().filter(each -> each.containsKey("error")).count();
        for (String what : List.of("uses", "subject", "error")) { // keys and data, certificates, what cannot be read
            List<Map<String, Object>> alike = objects.stream().filter(each -> each.containsKey(what))
                .collect(Collectors.toList());
            if (!alike.isEmpty()) {
                Table.of(alike).print(out);
                out.println();
            }
        }
        Table.line(out, objects.size() + (objects.size() == 1 ? " object" : " objects")
            + (login.isWanted() ? "" : "; private ones are there with --login only"));
        output.result(objects);
        return wrong == 0 ? Main.DONE : Main.FAILED;
    }

    private Map<String, Object> describe(NativePKCS11Object object) {
        Map<String, Object> row = new LinkedHashMap<>();
        try {
            PKCS11Attributes read = object.readAttributes(CKA_CLASS, CKA_KEY_TYPE, CKA_CERTIFICATE_TYPE, CKA_LABEL,
                CKA_ID, CKA_MODULUS_BITS, CKA_MODULUS, CKA_EC_PARAMS, CKA_VALUE_LEN, CKA_SENSITIVE, CKA_EXTRACTABLE,
                CKA_START_DATE, CKA_END_DATE);
            row.put("class", name("CKO_", read.get(CKA_CLASS)));
            row.put("type", read.has(CKA_KEY_TYPE) ? name("CKK_", read.get(CKA_KEY_TYPE))
                : name("CKC_", read.get(CKA_CERTIFICATE_TYPE)));
            row.put("label", read.get(CKA_LABEL));
            row.put("id", hex(read.getBytes(CKA_ID)));
            if (Integer.valueOf(CKO_CERTIFICATE).equals(read.get(CKA_CLASS))) {
                describeCertificate(object, row);
                return row;
            }
            row.put("size", size(read));
            row.put("from", day(read.get(CKA_START_DATE)));
            row.put("to", day(read.get(CKA_END_DATE)));
            row.put("sensitive", read.get(CKA_SENSITIVE));
            row.put("extractable", read.get(CKA_EXTRACTABLE));
            PKCS11Attributes may = object.readAttributes(USES);
            row.put("uses", Arrays.stream(USES).filter(may::isTrue).mapToObj(use -> nameOf("CKA_", use).substring(4)
                .toLowerCase(Locale.ROOT)).collect(Collectors.toList()));
        } catch (PKCS11Exception e) { // the others may be read
            row.clear();
            row.put("object", object.toString());
            row.put("error", e.getMessage());
        }
        return row;
    }

    private void describeCertificate(NativePKCS11Object object, Map<String, Object> row) {
        X509Certificate certificate = null;
        String unread = null;
        try {
            certificate = object.toCertificate();
        } catch (CertificateException | PKCS11Exception e) {
            unread = "not read: " + e.getMessage();
        }
        boolean there = certificate != null;
        row.put("subject", there ? certificate.getSubjectX500Principal().getName() : unread);
        row.put("issuer", there ? certificate.getIssuerX500Principal().getName() : null);
        row.put("serialNumber", there ? certificate.getSerialNumber().toString(16) : null);
        row.put("from", there ? day(certificate.getNotBefore().toInstant(), ZoneOffset.UTC) : null);
        row.put("to", there ? day(certificate.getNotAfter().toInstant(), ZoneOffset.UTC) : null);
        Object id = row.get("id");
        row.put("keyIsThere", id != null && keys.contains(id) ? Boolean.TRUE : seesPrivate ? Boolean.FALSE : null);
    }

    /** The number of bits, or the curve. */
    private static Object size(PKCS11Attributes read) {
        if (read.has(CKA_MODULUS_BITS)) {
            return read.getInteger(CKA_MODULUS_BITS);
        }
        if (read.has(CKA_MODULUS)) {
            return read.getBigInteger(CKA_MODULUS).bitLength();
        }
        if (read.has(CKA_VALUE_LEN)) {
            return 8L * read.getInteger(CKA_VALUE_LEN);
        }
        String curve = hex(read.getBytes(CKA_EC_PARAMS));
        return curve == null ? null : CURVES.getOrDefault(curve, curve);
    }

    /** The name without its prefix, in small letters: "secret key". */
    private static String name(String prefix, Object value) {
        return value == null ? null : nameOf(prefix, (Integer) value).substring(prefix.length())
            .toLowerCase(Locale.ROOT).replace('_', ' ');
    }

    /** Bytes in hexadecimal; null where there are none. */
    static String hex(byte[] bytes) {
        if (bytes == null || bytes.length == 0) {
            return null;
        }
        StringBuilder hex = new StringBuilder();
        for (byte each : bytes) {
            hex.append(String.format("%02x", each));
        }
        return hex.toString();
    }

    private static String day(Object date) {
        return date == null ? null : day(((Date) date).toInstant(), ZoneId.systemDefault());
    }

    private static String day(Instant time, ZoneId zone) {
        return time.atZone(zone).toLocalDate().toString();
    }
}
