package com.kelvane.tokbridge.tool.reports;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.tokbridge.tool.token.*;
import java.security.cert.CertificateException;
import java.security.cert.X509Certificate;
import java.time.*;
import java.util.*;
import java.util.stream.Collectors;

/** Descriptions of the objects on a token. */
public final class ObjectRows {
    private static final int[] USES = {CKA_ENCRYPT, CKA_DECRYPT, CKA_SIGN, CKA_VERIFY, CKA_WRAP, CKA_UNWRAP,
        CKA_DERIVE};

    /** The names of curves by their object identifiers in DER. */
    private static final Map<String, String> CURVES = Map.of("06082a8648ce3d030107", "P-256", "06052b81040022", "P-384",
        "06052b81040023", "P-521", "06052b8104000a", "secp256k1", "06032b6570", "Ed25519", "06032b6571", "Ed448",
        "06032b656e", "X25519", "06032b656f", "X448");

    private final Token token;
    private final PKCS11Uri uri;

    /** The ids of the private keys on the token. */
    private final Set<String> privateKeys;

    public ObjectRows(Token token) {
        this.token = token;
        uri = PKCS11Uri.of(token.info());
        privateKeys = token.session.findObjects(Template.of(CKA_CLASS, CKO_PRIVATE_KEY)).stream()
            .map(key -> String.valueOf(Token.hex(key.readAttributes(CKA_ID).getBytes(CKA_ID))))
            .collect(Collectors.toSet());
    }

    /** Returns an object's row: keys and data have uses, certificates a subject, unreadable objects an error. */
    public Row row(NativePKCS11Object object) {
        try {
            PKCS11Attributes read = object.readAttributes(CKA_CLASS, CKA_KEY_TYPE, CKA_CERTIFICATE_TYPE, CKA_LABEL,
                CKA_ID, CKA_MODULUS_BITS, CKA_MODULUS, CKA_EC_PARAMS, CKA_VALUE_LEN, CKA_PARAMETER_SET, CKA_SENSITIVE,
                CKA_EXTRACTABLE, CKA_START_DATE, CKA_END_DATE);
            Row row = new Row();
            name(row, "class", "CKO_", read.getInteger(CKA_CLASS));
            if (read.has(CKA_KEY_TYPE)) {
                name(row, "type", "CKK_", read.getInteger(CKA_KEY_TYPE));
            } else {
                name(row, "type", "CKC_", read.getInteger(CKA_CERTIFICATE_TYPE));
            }
            row.put("label", read.getString(CKA_LABEL)).put("id", Token.hex(read.getBytes(CKA_ID)))
                .below("uri", uri.withObject(read));
            return Integer.valueOf(CKO_CERTIFICATE).equals(read.get(CKA_CLASS)) ? certificate(row, object)
                : row.put("size", size(read)).put("from", day(read.getDate(CKA_START_DATE), ZoneId.systemDefault()))
                    .put("to", day(read.getDate(CKA_END_DATE), ZoneId.systemDefault()))
                    .put("sensitive", read.get(CKA_SENSITIVE)).put("extractable", read.get(CKA_EXTRACTABLE))
                    .put("uses", uses(object.readAttributes(USES)));
        } catch (PKCS11Exception e) { // the others may be readable
            return new Row().put("object", object).put("error", Failure.code(e), e.getMessage());
        }
    }

    /** Adds a number of the standard, which people see without its prefix: "secret key". */
    private static void name(Row row, String title, String prefix, Integer value) {
        String name = value == null ? null : nameOf(prefix, value);
        row.put(title, name, value == null ? null
            : name.substring(prefix.length()).toLowerCase(Locale.ROOT).replace('_', ' '));
    }

    private static List<String> uses(PKCS11Attributes permissions) {
        return Arrays.stream(USES).filter(permissions::isTrue)
            .mapToObj(use -> nameOf("CKA_", use).substring(4).toLowerCase(Locale.ROOT)).collect(Collectors.toList());
    }

    private Row certificate(Row row, NativePKCS11Object object) {
        boolean seesPrivate = token.isLoggedIn() || !token.info().isLoginRequired();
        Boolean keyIsThere = privateKeys.contains(row.text.get("id")) ? Boolean.TRUE : seesPrivate ? false : null;
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
