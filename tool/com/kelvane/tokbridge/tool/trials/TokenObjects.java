package com.kelvane.tokbridge.tool.trials;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static com.kelvane.tokbridge.tool.trials.Verdict.require;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import java.nio.charset.StandardCharsets;
import java.time.*;
import java.util.*;

/** Attempts at objects that stay on the token: created, found, read, changed, copied and destroyed. */
final class TokenObjects {
    private static final LocalDate START = LocalDate.of(2024, 2, 29);

    private TokenObjects() {
    }

    static String dataObject(Attempt a) throws Verdict {
        byte[] content = "Some bytes to keep".getBytes(StandardCharsets.UTF_8);
        Template byLabel = Template.of(CKA_CLASS, CKO_DATA, CKA_LABEL, a.token.label);
        NativePKCS11Object data = create(a, byLabel,
            Template.of(CKA_CLASS, CKO_DATA, CKA_APPLICATION, "tokbridge", CKA_VALUE, content));
        String changed = "changed, " + a.token.label;
        synchronized (a.token) { // a module may write an object again that an interrupt destroys meanwhile
            data.setAttributeValue(CKA_LABEL, changed);
        }
        require(a.session.findObjects(byLabel).isEmpty(), "it is still found by its former label");
        String copied = "copied";
        try {
            NativePKCS11Object copy = data.copy(Template.of(CKA_LABEL, "copied, " + a.token.label, CKA_TOKEN, false));
            require(Arrays.equals(copy.getByteArrayAttributeValue(CKA_VALUE), content), "its copy differs");
            copy.destroy();
        } catch (PKCS11Exception e) {
            require(e.getCode() == CKR_FUNCTION_NOT_SUPPORTED, "copying raises " + e.getMessage());
            copied = "not copied";
        }
        require(data.getStringAttributeValue(CKA_LABEL).equals(changed), "copying changes it");
        a.token.destroy(data::equals);
        require(a.session.findObjects(Template.of(CKA_LABEL, changed)).isEmpty(), "it is found after its destruction");
        return "created, found, changed, " + copied + ", destroyed";
    }

    static String secretKey(Attempt a) throws Verdict {
        byte[] id = a.token.label.substring(a.token.label.length() - 16).getBytes(StandardCharsets.US_ASCII);
        // Public: SoftHSM2 returns CKR_GENERAL_ERROR for the dates of private keys.
        NativePKCS11Object key = create(a, Template.of(CKA_CLASS, CKO_SECRET_KEY, CKA_ID, id),
            Template.of(CKA_CLASS, CKO_SECRET_KEY, CKA_KEY_TYPE, CKK_AES, CKA_PRIVATE, false, CKA_ID, id,
                CKA_SENSITIVE, true, CKA_EXTRACTABLE, false, CKA_ENCRYPT, true),
            CKA_START_DATE, Date.from(START.atStartOfDay(ZoneOffset.UTC).toInstant()), CKA_VALUE, new byte[32]);
        Date start = key.getDateAttributeValue(CKA_START_DATE); // written in UTC, read in local time
        require(START.equals(start.toInstant().atZone(ZoneId.systemDefault()).toLocalDate()),
            "CKA_START_DATE is read as " + start);
        require(key.readAttributes(CKA_VALUE).isSensitive(CKA_VALUE), "its value can be read");
        return "keeps its id and date, and its value secret";
    }

    /** Creates an object on the token, finds it, and reads the attributes of its template, but not those added. */
    private static NativePKCS11Object create(Attempt a, Template identity, Template template, Object... added)
        throws Verdict {
        NativePKCS11Object object;
        try {
            object = a.token.create(true, place -> a.session.createObject(template.and(added).and(place)));
        } catch (PKCS11Exception e) { // nothing else reveals which objects a token imports
            throw new Verdict(e);
        }
        require(a.session.findObjects(identity).equals(List.of(object)), "it is not found by " + identity);
        int[] types = template.getTypes();
        Object[] read = a.session.getAttributeValues(object, types, types.length);
        for (int i = 0; i < types.length; i++) {
            require(Arrays.deepEquals(new Object[] {read[i]}, new Object[] {template.getValues()[i]}),
                nameOf("CKA_", types[i]) + " is read as another value");
        }
        return object;
    }
}
