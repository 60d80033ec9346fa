package com.kelvane.tokbridge.tool;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static com.kelvane.tokbridge.tool.Report.require;

import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.Template;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.nio.charset.StandardCharsets;
import java.time.LocalDate;
import java.time.ZoneId;
import java.time.ZoneOffset;
import java.util.Arrays;
import java.util.Date;
import java.util.List;

/** Objects on the token: made, found, read, changed, copied and destroyed. */
final class ObjectTrial {
    private static final LocalDate START = LocalDate.of(2024, 2, 29);

    private final Token token;
    private final Report report;

    ObjectTrial(Token token, Report report) {
        this.token = token;
        this.report = report;
    }

    void run() {
        report.operation("data object", null, null, () -> token.inSession(this::dataObject));
        report.operation("secret key", null, null, () -> token.inSession(this::secretKey));
    }

    private String dataObject(NativePKCS11Session session) throws Report.Wrong, Report.NotOffered {
        byte[] content = "Some bytes to keep".getBytes(StandardCharsets.UTF_8);
        Template template = Template.of(CKA_CLASS, CKO_DATA, CKA_APPLICATION, "tokbridge", CKA_VALUE, content);
        NativePKCS11Object data = make(session, template);
        Template byLabel = Template.of(CKA_CLASS, CKO_DATA, CKA_LABEL, token.label);
        require(session.findObjects(byLabel).equals(List.of(data)), "it is not found by its label");
        compare(session, data, template);

        String changed = "changed, " + token.label;
        synchronized (token) { // a module may write anew what is destroyed meanwhile, when the program is interrupted
            data.setAttributeValue(CKA_LABEL, changed);
        }
        require(data.getStringAttributeValue(CKA_LABEL).equals(changed), "the label does not change");
        require(session.findObjects(byLabel).isEmpty(), "it is still found by its former label");
        boolean copied = isCopied(data, content);
        require(data.getStringAttributeValue(CKA_LABEL).equals(changed), "copying changes it");
        token.destroy(data::equals);
        try {
            data.getStringAttributeValue(CKA_LABEL);
            throw new Report.Wrong("it is there when it has been destroyed");
        } catch (PKCS11Exception e) {
            return "made, found, changed, " + (copied ? "copied" : "not copied") + ", destroyed";
        }
    }

    /** Copies an object; false if the token does not. */
    private boolean isCopied(NativePKCS11Object data, byte[] content) throws Report.Wrong {
        try {
            NativePKCS11Object copy = data.copy(Template.of(CKA_LABEL, "copied, " + token.label, CKA_TOKEN, false));
            require(Arrays.equals(copy.getByteArrayAttributeValue(CKA_VALUE), content), "its copy is another one");
            copy.destroy();
            return true;
        } catch (PKCS11Exception e) {
            require(e.getCode() == CKR_FUNCTION_NOT_SUPPORTED, "copying raises " + e.getMessage());
            return false;
        }
    }

    private String secretKey(NativePKCS11Session session) throws Report.Wrong, Report.NotOffered {
        // Public, since SoftHSM2 answers CKR_GENERAL_ERROR for the dates of private keys.
        Template template = Template.of(CKA_CLASS, CKO_SECRET_KEY, CKA_KEY_TYPE, CKK_AES, CKA_PRIVATE, false, CKA_ID,
            token.id, CKA_START_DATE, date(START), CKA_END_DATE, date(START.plusYears(10)), CKA_SENSITIVE, true,
            CKA_EXTRACTABLE, false, CKA_ENCRYPT, true);
        NativePKCS11Object key = make(session, template.and(CKA_VALUE, new byte[32]));
        require(session.findObjects(Template.of(CKA_CLASS, CKO_SECRET_KEY, CKA_ID, token.id)).equals(List.of(key)),
            "it is not found by its id");
        compare(session, key, template);
        try {
            key.getByteArrayAttributeValue(CKA_VALUE);
            throw new Report.Wrong("its value can be read");
        } catch (PKCS11Exception e) {
            require(e.getCode() == CKR_ATTRIBUTE_SENSITIVE, "reading its value raises " + e.getMessage());
            return "with id and dates, and its value is not told";
        }
    }

    /** Makes an object on the token; nothing but this tells which ones a token takes from outside. */
    private NativePKCS11Object make(NativePKCS11Session session, Template template) throws Report.NotOffered {
        try {
            return token.makeOnToken(template, session::createObject);
        } catch (PKCS11Exception e) {
            throw new Report.NotOffered(Report.told(e));
        }
    }

    /** Reads all attributes that an object was made with. */
    private static void compare(NativePKCS11Session session, NativePKCS11Object object, Template made)
        throws Report.Wrong {
        int[] types = made.getTypes();
        Object[] read = session.getAttributeValues(object, types, types.length);
        for (int i = 0; i < types.length; i++) {
            Object value = made.getValues()[i];
            // Dates are written in UTC and read in local time.
            boolean same = value instanceof Date ? day((Date) value, ZoneOffset.UTC)
                .equals(day((Date) read[i], ZoneId.systemDefault()))
                : Arrays.deepEquals(new Object[] {read[i]}, new Object[] {value});
            require(same, nameOf("CKA_", types[i]) + " is read as something else");
        }
    }

    private static Date date(LocalDate day) {
        return Date.from(day.atStartOfDay(ZoneOffset.UTC).toInstant());
    }

    private static LocalDate day(Date date, ZoneId zone) {
        return date.toInstant().atZone(zone).toLocalDate();
    }
}
