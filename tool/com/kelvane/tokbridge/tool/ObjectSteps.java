package com.kelvane.tokbridge.tool;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.Template;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.math.BigInteger;
import java.nio.charset.StandardCharsets;
import java.security.SecureRandom;
import java.time.LocalDate;
import java.time.ZoneId;
import java.time.ZoneOffset;
import java.util.Arrays;
import java.util.Date;
import java.util.List;

/** Objects on the token: made, found, read, changed, copied and destroyed. */
final class ObjectSteps {
    private static final LocalDate START = LocalDate.of(2024, 2, 29);
    private static final LocalDate END = LocalDate.of(2034, 12, 31);

    private final Tour tour;
    private final Token token;

    /** What no other object has, so that those of others are not taken for one's own. */
    private final byte[] id = new byte[16];
    private final String label;

    ObjectSteps(Tour tour, Token token) {
        this.tour = tour;
        this.token = token;
        new SecureRandom().nextBytes(id);
        label = "tokbridge's own, to be destroyed " + new BigInteger(1, id).toString(Character.MAX_RADIX);
    }

    void run() {
        token.step("Data object", this::dataObject);
        token.step("Secret key with label, id and dates", CKM_AES_KEY_GEN, this::secretKey);
    }

    private void dataObject(NativePKCS11Session session) throws Exception {
        byte[] content = "Some bytes to keep".getBytes(StandardCharsets.UTF_8);
        Template made = Template.of(CKA_CLASS, CKO_DATA, CKA_TOKEN, true, CKA_PRIVATE, false, CKA_LABEL, label,
            CKA_APPLICATION, "tokbridge", CKA_VALUE, content);
        NativePKCS11Object data = token.make(session, made);
        tour.check("the object is found by its label",
            session.findObjects(Template.of(CKA_CLASS, CKO_DATA, CKA_LABEL, label)).equals(List.of(data)));
        tour.check("no object has another label",
            session.findObjects(Template.of(CKA_LABEL, label + ".")).isEmpty());
        checkAttributes(session, data, made);

        data.setAttributeValue(CKA_LABEL, "changed, " + label);
        tour.check("the label is changed", data.getStringAttributeValue(CKA_LABEL).equals("changed, " + label));
        NativePKCS11Object copy = data.copy(Template.of(CKA_LABEL, "copied, " + label, CKA_TOKEN, false));
        tour.check("the copy has the content and a label of its own",
            Arrays.equals(copy.getByteArrayAttributeValue(CKA_VALUE), content)
                && copy.getStringAttributeValue(CKA_LABEL).equals("copied, " + label)
                && data.getStringAttributeValue(CKA_LABEL).equals("changed, " + label));
        int size = data.size();
        tour.check("the size is told, or told to be unknown", size == CK_UNAVAILABLE_INFORMATION || size > 0);
        tour.note("size on the token: " + (size == CK_UNAVAILABLE_INFORMATION ? "not told" : size + " bytes"));
        copy.destroy();
        token.destroy(data);
        tour.checkRefused("a destroyed object cannot be read", () -> data.getStringAttributeValue(CKA_LABEL),
            CKR_OBJECT_HANDLE_INVALID);
    }

    private void secretKey(NativePKCS11Session session) throws Exception {
        // Public, since SoftHSM2 answers CKR_GENERAL_ERROR for the dates of private keys.
        Template made = Template.of(CKA_CLASS, CKO_SECRET_KEY, CKA_KEY_TYPE, CKK_AES, CKA_TOKEN, true, CKA_PRIVATE,
            false, CKA_LABEL, label, CKA_ID, id, CKA_START_DATE, date(START), CKA_END_DATE, date(END),
            CKA_SENSITIVE, true, CKA_EXTRACTABLE, false, CKA_ENCRYPT, true);
        Template withValue = made.and(CKA_VALUE, Keys.random(session, 32));
        NativePKCS11Object key = token.make(session, withValue);
        tour.check("the key is found by class and id",
            session.findObjects(Template.of(CKA_CLASS, CKO_SECRET_KEY, CKA_ID, id)).equals(List.of(key)));
        checkAttributes(session, key, made);
        tour.checkRefused("its value cannot be read", () -> key.getByteArrayAttributeValue(CKA_VALUE),
            CKR_ATTRIBUTE_SENSITIVE);
        token.destroy(key);
    }

    /** Prints the attributes of an object, and checks that they are those it was made with. */
    private void checkAttributes(NativePKCS11Session session, NativePKCS11Object object, Template made) {
        int[] types = made.getTypes();
        Object[] values = made.getValues();
        Object[] read = session.getAttributeValues(object, types, types.length);
        boolean equal = read.length == values.length;
        for (int i = 0; equal && i < read.length; i++) {
            equal = values[i] instanceof Date
                ? day((Date) read[i]).equals(day((Date) values[i], ZoneOffset.UTC))
                : Arrays.deepEquals(new Object[] {read[i]}, new Object[] {values[i]});
        }
        tour.note(object.readAttributes(types).toString());
        tour.check("all attributes are read back as they were set", equal);
    }

    /** The moment that is written to the token as this day: dates are written in UTC. */
    private static Date date(LocalDate day) {
        return Date.from(day.atStartOfDay(ZoneOffset.UTC).toInstant());
    }

    /** The day that a date from the token stands for: dates are read in local time. */
    private static LocalDate day(Date date) {
        return day(date, ZoneId.systemDefault());
    }

    private static LocalDate day(Date date, ZoneId zone) {
        return date.toInstant().atZone(zone).toLocalDate();
    }
}
