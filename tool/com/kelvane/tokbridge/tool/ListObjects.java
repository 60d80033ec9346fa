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
import java.time.ZoneId;
import java.util.ArrayList;
import java.util.Date;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.concurrent.Callable;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;

/** The command objects: lists what is on a token. */
@Command(name = "objects", mixinStandardHelpOptions = true, sortOptions = false, description = "Lists the objects on a "
    + "token: class, key type and size, label, id, uses and dates. Values are never read. Private objects are there "
    + "after a login only.")
final class ListObjects implements Callable<Integer> {
    private static final int[] USES = {CKA_ENCRYPT, CKA_DECRYPT, CKA_SIGN, CKA_VERIFY, CKA_WRAP, CKA_UNWRAP,
        CKA_DERIVE};

    /** The object identifiers of curves in DER, in hexadecimal, and their names. */
    private static final Map<String, String> CURVES = Map.of("06082a8648ce3d030107", "P-256", "06052b81040022", "P-384",
        "06052b81040023", "P-521", "06052b8104000a", "secp256k1");

    @Mixin
    private ModuleChoice module;

    @Mixin
    private TokenChoice token;

    @Mixin
    private Output output;

    @Override
    public Integer call() {
        PrintStream out = output.text();
        try (NativePKCS11 library = module.open()) {
            PKCS11Slot slot = token.find(library);
            List<Map<String, Object>> rows = new ArrayList<>();
            try (NativePKCS11Session session = token.open(slot, false)) {
                Output.patiently("Reading the objects", () -> {
                    for (NativePKCS11Object object : session.findObjects(Template.of())) {
                        rows.add(describe(object));
                    }
                    return null;
                });
            }
            if (!rows.isEmpty()) {
                Table.of(rows).print(out);
            }
            out.println((rows.isEmpty() ? "" : "\n") + "     " + rows.size()
                + (rows.size() == 1 ? " object" : " objects")
                + (token.wantsLogin() ? "" : "; private ones are there with --login only"));
            output.result(rows);
        }
        return Main.DONE;
    }

    private static Map<String, Object> describe(NativePKCS11Object object) {
        PKCS11Attributes read = object.readAttributes(CKA_CLASS, CKA_KEY_TYPE, CKA_CERTIFICATE_TYPE, CKA_LABEL, CKA_ID,
            CKA_MODULUS_BITS, CKA_MODULUS, CKA_EC_PARAMS, CKA_VALUE_LEN);
        Map<String, Object> row = new LinkedHashMap<>();
        row.put("class", name("CKO_", read.getInteger(CKA_CLASS)));
        row.put("type", read.has(CKA_KEY_TYPE) ? name("CKK_", read.getInteger(CKA_KEY_TYPE))
            : name("CKC_", read.getInteger(CKA_CERTIFICATE_TYPE)));
        row.put("size", size(read));
        row.put("label", read.getString(CKA_LABEL));
        row.put("id", hex(read.getBytes(CKA_ID)));
        row.put("from", day(object, CKA_START_DATE));
        row.put("to", day(object, CKA_END_DATE));
        List<String> uses = new ArrayList<>();
        PKCS11Attributes may = object.readAttributes(USES);
        for (int use : USES) {
            if (may.isTrue(use)) {
                uses.add(nameOf("CKA_", use).substring(4).toLowerCase());
            }
        }
        row.put("uses", uses);
        return row;
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
            return 8 * read.getInteger(CKA_VALUE_LEN);
        }
        String curve = hex(read.getBytes(CKA_EC_PARAMS));
        return curve == null ? null : CURVES.getOrDefault(curve, curve);
    }

    /** The name without its prefix, in small letters: "secret key". */
    private static String name(String prefix, Integer value) {
        return value == null ? null : nameOf(prefix, value).substring(prefix.length()).toLowerCase().replace('_', ' ');
    }

    static String hex(byte[] bytes) {
        if (bytes == null) {
            return null;
        }
        StringBuilder hex = new StringBuilder();
        for (byte each : bytes) {
            hex.append(String.format("%02x", each));
        }
        return hex.toString();
    }

    /** The day of a date; null where there is none, or the token cannot tell: some fail for those of private keys. */
    private static String day(NativePKCS11Object object, int type) {
        try {
            Date date = object.readAttributes(type).getDate(type);
            return date == null ? null : date.toInstant().atZone(ZoneId.systemDefault()).toLocalDate().toString();
        } catch (PKCS11Exception e) {
            if (e.getCode() != CKR_GENERAL_ERROR && e.getCode() != CKR_ATTRIBUTE_VALUE_INVALID) {
                throw e;
            }
            return null;
        }
    }
}
