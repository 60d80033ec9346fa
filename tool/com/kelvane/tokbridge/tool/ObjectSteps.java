package com.kelvane.tokbridge.tool;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.nio.charset.StandardCharsets;
import java.time.LocalDate;
import java.time.ZoneId;
import java.time.ZoneOffset;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Date;
import java.util.List;

/** Objects on the token: made, found, read, changed, copied and destroyed. */
final class ObjectSteps {
    private static final LocalDate START = LocalDate.of(2024, 2, 29);
    private static final LocalDate END = LocalDate.of(2034, 12, 31);
    private static final byte[] ID = {0x51, 0x53, 0x01};

    private final Tour tour;
    private final Token token;

    ObjectSteps(Tour tour, Token token) {
        this.tour = tour;
        this.token = token;
    }

    void run() {
        token.step("Data object", this::dataObject);
        token.step("Secret key with label, id and dates", this::secretKey);
        token.step("Nothing is left", session -> tour.check("a search for all objects finds none",
            find(session, Template.of()).isEmpty()));
    }

    private void dataObject(NativePKCS11Session session) throws Exception {
        byte[] content = "Some bytes to keep".getBytes(StandardCharsets.UTF_8);
        Template made = Template.of(CKA_CLASS, CKO_DATA, CKA_TOKEN, true, CKA_PRIVATE, false, CKA_LABEL, "notes",
            CKA_APPLICATION, "quickstart", CKA_VALUE, content);
        NativePKCS11Object data = session.createObject(made.types, made.values);
        tour.check("the object is found by its label",
            find(session, Template.of(CKA_CLASS, CKO_DATA, CKA_LABEL, "notes")).equals(List.of(data)));
        tour.check("no object has another label", find(session, Template.of(CKA_LABEL, "note")).isEmpty());
        checkAttributes(session, data, made);

        data.setAttributeValue(CKA_LABEL, "changed notes");
        tour.check("the label is changed", data.getStringAttributeValue(CKA_LABEL).equals("changed notes"));
        Template change = Template.of(CKA_LABEL, "copied notes", CKA_TOKEN, false);
        NativePKCS11Object copy = data.copy(change.types, change.values);
        tour.check("the copy has the content and a label of its own",
            Arrays.equals(copy.getByteArrayAttributeValue(CKA_VALUE), content)
                && copy.getStringAttributeValue(CKA_LABEL).equals("copied notes")
                && data.getStringAttributeValue(CKA_LABEL).equals("changed notes"));
        int size = data.size();
        tour.check("the size is told, or told to be unknown", size == CK_UNAVAILABLE_INFORMATION || size > 0);
        tour.note("size on the token: " + (size == CK_UNAVAILABLE_INFORMATION ? "not told" : size + " bytes"));
        copy.destroy();
        data.destroy();
        tour.checkRefused("a destroyed object cannot be read", () -> data.getStringAttributeValue(CKA_LABEL),
            CKR_OBJECT_HANDLE_INVALID);
    }

    private void secretKey(NativePKCS11Session session) throws Exception {
        // Public, since SoftHSM2 answers CKR_GENERAL_ERROR for the dates of private keys.
        Template made = Template.of(CKA_CLASS, CKO_SECRET_KEY, CKA_KEY_TYPE, CKK_AES, CKA_TOKEN, true, CKA_PRIVATE,
            false, CKA_LABEL, "key of the tour", CKA_ID, ID, CKA_START_DATE, date(START), CKA_END_DATE, date(END),
            CKA_SENSITIVE, true, CKA_EXTRACTABLE, false, CKA_ENCRYPT, true);
        Template withValue = made.and(CKA_VALUE, Keys.random(session, 32));
        NativePKCS11Object key = session.createObject(withValue.types, withValue.values);
        tour.check("the key is found by class and id",
            find(session, Template.of(CKA_CLASS, CKO_SECRET_KEY, CKA_ID, ID)).equals(List.of(key)));
        checkAttributes(session, key, made);
        tour.checkRefused("its value cannot be read", () -> key.getByteArrayAttributeValue(CKA_VALUE),
            CKR_ATTRIBUTE_SENSITIVE);
        key.destroy();
    }

    /** Prints the attributes of an object, and checks that they are those it was made with. */
    private void checkAttributes(NativePKCS11Session session, NativePKCS11Object object, Template made) {
        Object[] read = session.getAttributeValues(object, made.types, made.types.length);
        Table table = new Table("Attribute", "Class", "Value");
        boolean equal = read.length == made.types.length;
        for (int i = 0; equal && i < read.length; i++) {
            table.row(nameOf("CKA_", made.types[i]), read[i].getClass().getSimpleName(), text(made.types[i], read[i]));
            equal = made.values[i] instanceof Date
                ? day((Date) read[i]).equals(day((Date) made.values[i], ZoneOffset.UTC))
                : Arrays.deepEquals(new Object[] {read[i]}, new Object[] {made.values[i]});
        }
        table.print(System.out);
        tour.check("all attributes are read back as they were set", equal);
    }

    private static String text(int type, Object value) {
        if (value instanceof byte[]) {
            StringBuilder hex = new StringBuilder();
            for (byte b : (byte[]) value) {
                hex.append(String.format("%02x", b));
            }
            return hex.toString();
        }
        if (value instanceof Date) {
            return day((Date) value).toString();
        }
        return type == CKA_CLASS ? nameOf("CKO_", (Integer) value)
            : type == CKA_KEY_TYPE ? nameOf("CKK_", (Integer) value) : value.toString();
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

    private static List<PKCS11Object> find(NativePKCS11Session session, Template template) {
        List<PKCS11Object> found = new ArrayList<>();
        session.findObjectsInit(template.types, template.values);
        for (PKCS11Object object = session.findObject(); object != null; object = session.findObject()) {
            found.add(object);
        }
        session.findObjectsFinal();
        return found;
    }
}
