package com.kelvane.tokbridge.tool;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.PKCS11TokenInfo;
import com.kelvane.pkcs11.Template;
import java.io.ByteArrayOutputStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.LinkedHashMap;
import java.util.Map;
import java.util.function.Function;

/** A token, and maybe an object on it, as "pkcs11:" names them (RFC 7512). */
final class TokenUri {
    static final String SCHEME = "pkcs11:";

    /** What a slot and its token tell, by the attribute's name. */
    private static final Map<String, Function<PKCS11Slot, String>> TOLD = Map.of(
        "token", slot -> slot.getTokenInfo().getLabel(), "serial", slot -> slot.getTokenInfo().getSerialNumber(),
        "manufacturer", slot -> slot.getTokenInfo().getManufacturerID(),
        "model", slot -> slot.getTokenInfo().getModel(),
        "slot-id", slot -> Integer.toUnsignedString(slot.getSlotID()),
        "slot-description", slot -> slot.getInfo().getSlotDescription(),
        "slot-manufacturer", slot -> slot.getInfo().getManufacturerID());
    private static final Map<String, Integer> CLASSES = Map.of("cert", CKO_CERTIFICATE, "data", CKO_DATA, "private",
        CKO_PRIVATE_KEY, "public", CKO_PUBLIC_KEY, "secret-key", CKO_SECRET_KEY);

    private final Map<String, String> wanted = new LinkedHashMap<>();
    private Template objects = Template.of();
    private Path pinFile;

    /** Reads a URI. */
    TokenUri(String uri) {
        String[] parts = uri.substring(SCHEME.length()).split("\\?", 2);
        for (String each : parts[0].isEmpty() ? new String[0] : parts[0].split(";", -1)) {
            path(name(each), decoded(each));
        }
        for (String each : parts.length == 1 ? new String[0] : parts[1].split("&", -1)) {
            query(name(each), text(decoded(each)));
        }
    }

    private static String name(String attribute) {
        if (!attribute.contains("=")) {
            throw wrong("\"" + attribute + "\" has no value");
        }
        return attribute.substring(0, attribute.indexOf('='));
    }

    private void path(String name, byte[] value) {
        if (name.equals("object")) {
            objects = and(CKA_LABEL, value);
        } else if (name.equals("id")) {
            objects = and(CKA_ID, value);
        } else if (name.equals("type") && CLASSES.containsKey(text(value))) {
            objects = and(CKA_CLASS, CLASSES.get(text(value)));
        } else if (!TOLD.containsKey(name)) {
            throw wrong("\"" + name + "=" + text(value) + "\" is not known here");
        } else if (wanted.put(name, text(value)) != null) {
            throw wrong("\"" + name + "\" stands twice");
        }
    }

    private Template and(int type, Object value) {
        try {
            return objects.and(type, value);
        } catch (IllegalArgumentException e) {
            throw wrong(e.getMessage());
        }
    }

    private void query(String name, String value) {
        if (!name.equals("pin-source") || value.startsWith("|")) {
            throw wrong("\"" + name + "\" is not taken from a URI but for a file in pin-source"
                + (name.equals("pin-value") ? ": all users of this machine can read command lines" : ""));
        }
        pinFile = Path.of(value.startsWith("file:") ? value.substring("file:".length()) : value);
    }

    private static Failure wrong(String why) {
        return new Failure(Main.USAGE, "the token's URI cannot be used", why, "name the token with token, serial, "
            + "manufacturer, model, slot-id, slot-description or slot-manufacturer, and objects with object, id or "
            + "type (cert, data, private, public, secret-key)");
    }

    private static String text(byte[] bytes) {
        return new String(bytes, StandardCharsets.UTF_8);
    }

    /** The value behind the equals sign, whose bytes may be written as percent and two digits. */
    private static byte[] decoded(String attribute) {
        byte[] encoded = attribute.substring(attribute.indexOf('=') + 1).getBytes(StandardCharsets.UTF_8);
        ByteArrayOutputStream bytes = new ByteArrayOutputStream();
        for (int i = 0; i < encoded.length; i++) {
            if (encoded[i] != '%') {
                bytes.write(encoded[i]);
                continue;
            }
            String digits = text(Arrays.copyOfRange(encoded, i + 1, Math.min(i + 3, encoded.length)));
            if (!digits.matches("[0-9A-Fa-f]{2}")) {
                throw wrong("\"%" + digits + "\" is no byte");
            }
            bytes.write(Integer.parseInt(digits, 16));
            i += 2;
        }
        return bytes.toByteArray();
    }

    /** Whether a slot and its token tell what the URI does. */
    boolean means(PKCS11Slot slot) {
        return wanted.entrySet().stream().allMatch(each -> TOLD.get(each.getKey()).apply(slot).equals(each.getValue()));
    }

    /** What the objects have that the URI names. */
    Template objects() {
        return objects;
    }

    /** The file with the PIN; null if the URI names none. */
    Path pinFile() {
        return pinFile;
    }
}
