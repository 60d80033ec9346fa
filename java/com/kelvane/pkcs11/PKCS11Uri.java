package com.kelvane.pkcs11;

import com.kelvane.pkcs11.nat.NativePKCS11;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.CharBuffer;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.TreeSet;
import java.util.function.Function;
import java.util.function.Predicate;

/**
 * A PKCS #11 URI (RFC 7512). It names a token, or objects on it, and may name the module of the token and where
 * its PIN is:
 *
 * <pre>{@code
 * pkcs11:token=mine;object=key;type=private?module-path=/usr/lib/softhsm/libsofthsm2.so&pin-source=file:/run/pin
 * }</pre>
 *
 * <p>The attributes of the path are {@code token}, {@code serial}, {@code manufacturer}, {@code model},
 * {@code slot-id}, {@code slot-description} and {@code slot-manufacturer}, which a slot must match, and {@code object},
 * {@code id} and {@code type}, which objects must match. Those of the query are {@code module-path},
 * {@code module-name}, {@code pin-source} and {@code pin-value}. Any other attribute is refused, so that a misspelt one
 * does not widen the search.
 */
public final class PKCS11Uri {
    private static final String SCHEME = "pkcs11:";

    /** The value that a slot has for each attribute of the path. */
    private static final Map<String, Function<PKCS11Slot, String>> OF_SLOT = Map.of(
        "token", slot -> slot.getTokenInfo().getLabel(),
        "serial", slot -> slot.getTokenInfo().getSerialNumber(),
        "manufacturer", slot -> slot.getTokenInfo().getManufacturerID(),
        "model", slot -> slot.getTokenInfo().getModel(),
        "slot-id", slot -> Integer.toUnsignedString(slot.getSlotID()),
        "slot-description", slot -> slot.getInfo().getSlotDescription(),
        "slot-manufacturer", slot -> slot.getInfo().getManufacturerID());
    private static final Map<String, Integer> CLASSES = Map.of("cert", PKCS11Constants.CKO_CERTIFICATE,
        "data", PKCS11Constants.CKO_DATA, "private", PKCS11Constants.CKO_PRIVATE_KEY,
        "public", PKCS11Constants.CKO_PUBLIC_KEY, "secret-key", PKCS11Constants.CKO_SECRET_KEY);
    private static final String VERBATIM = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-.";
    private static final List<String> OF_OBJECT = List.of("object", "id", "type");
    private static final List<String> QUERY = List.of("module-path", "module-name", "pin-source", "pin-value");

    /** The decoded values by their names, in the order of the text. */
    private final Map<String, byte[]> values = new LinkedHashMap<>();

    private PKCS11Uri() {
    }

    /**
     * Returns whether a text begins as a PKCS #11 URI.
     *
     * @param text any text
     * @return true if it begins with {@code pkcs11:}
     */
    public static boolean isUri(String text) {
        return text.startsWith(SCHEME);
    }

    /**
     * Parses a URI.
     *
     * @param text the URI
     * @return the parsed URI
     * @throws IllegalArgumentException naming the part that is wrong, if the text is no PKCS #11 URI, if an attribute
     *     is unknown, appears twice or has no value, or if a value is not encoded correctly
     */
    public static PKCS11Uri parse(String text) {
        if (!isUri(text)) {
            throw new IllegalArgumentException("\"" + text + "\" does not begin with " + SCHEME);
        }
        PKCS11Uri uri = new PKCS11Uri();
        String[] parts = text.substring(SCHEME.length()).split("\\?", 2);
        uri.add(parts[0], ";", "path", name -> OF_SLOT.containsKey(name) || OF_OBJECT.contains(name));
        uri.add(parts.length == 1 ? "" : parts[1], "&", "query", QUERY::contains);
        String type = uri.get("type");
        if (type != null && !CLASSES.containsKey(type)) {
            throw new IllegalArgumentException("\"type=" + type + "\" is not one of "
                + new TreeSet<>(CLASSES.keySet()));
        }
        return uri;
    }

    private void add(String part, String separator, String title, Predicate<String> isKnown) {
        for (String each : part.isEmpty() ? new String[0] : part.split(separator, -1)) {
            int equals = each.indexOf('=');
            if (equals < 0) {
                throw new IllegalArgumentException("\"" + each + "\" in the URI's " + title + " has no value");
            }
            String name = each.substring(0, equals);
            if (!isKnown.test(name)) {
                throw new IllegalArgumentException("\"" + name + "\" is not a known attribute of the URI's " + title);
            }
            if (values.put(name, decode(each.substring(equals + 1))) != null) {
                throw new IllegalArgumentException("\"" + name + "\" appears twice in the URI");
            }
        }
    }

    private static byte[] decode(String value) {
        byte[] encoded = value.getBytes(StandardCharsets.UTF_8);
        ByteArrayOutputStream bytes = new ByteArrayOutputStream();
        for (int i = 0; i < encoded.length; i++) {
            if (encoded[i] != '%') {
                bytes.write(encoded[i]);
                continue;
            }
            String digits = text(Arrays.copyOfRange(encoded, i + 1, Math.min(i + 3, encoded.length)));
            if (!digits.matches("[0-9A-Fa-f]{2}")) {
                throw new IllegalArgumentException("\"%" + digits + "\" in the URI is not an encoded byte");
            }
            bytes.write(Integer.parseInt(digits, 16));
            i += 2;
        }
        return bytes.toByteArray();
    }

    private static String text(byte[] bytes) {
        return new String(bytes, StandardCharsets.UTF_8);
    }

    /**
     * Returns the URI of a token, with its model, manufacturer, serial number and label.
     *
     * @param token the token's information
     * @return the URI
     */
    public static PKCS11Uri of(PKCS11TokenInfo token) {
        PKCS11Uri uri = new PKCS11Uri();
        uri.put("model", token.getModel());
        uri.put("manufacturer", token.getManufacturerID());
        uri.put("serial", token.getSerialNumber());
        uri.put("token", token.getLabel());
        return uri;
    }

    /**
     * Returns the URI of an object on this URI's token.
     *
     * @param object the object's {@code CKA_CLASS}, {@code CKA_LABEL} and {@code CKA_ID}, as far as it has them
     * @return a new URI
     */
    public PKCS11Uri withObject(PKCS11Attributes object) {
        PKCS11Uri uri = new PKCS11Uri();
        uri.values.putAll(values);
        uri.values.keySet().removeAll(OF_OBJECT);
        byte[] id = object.getBytes(PKCS11Constants.CKA_ID);
        if (id != null && id.length > 0) {
            uri.values.put("id", id.clone());
        }
        uri.put("object", object.getString(PKCS11Constants.CKA_LABEL));
        CLASSES.forEach((name, value) -> {
            if (value.equals(object.getInteger(PKCS11Constants.CKA_CLASS))) {
                uri.put("type", name);
            }
        });
        return uri;
    }

    private void put(String name, String value) {
        if (value != null && !value.isEmpty()) {
            values.put(name, value.getBytes(StandardCharsets.UTF_8));
        }
    }

    /**
     * Returns the value of an attribute as text.
     *
     * @param name the attribute's name, {@code "token"} for example
     * @return the decoded value; null if the URI does not have the attribute
     */
    public String get(String name) {
        byte[] value = values.get(name);
        return value == null ? null : text(value);
    }

    /**
     * Returns whether a slot and its token match the URI's path.
     *
     * @param slot the slot
     * @return true if they match; attributes of objects are ignored
     * @throws PKCS11Exception if the slot or its token cannot be read
     */
    public boolean matches(PKCS11Slot slot) {
        return values.keySet().stream().filter(OF_SLOT::containsKey)
            .allMatch(name -> get(name).equals(OF_SLOT.get(name).apply(slot)));
    }

    /**
     * Returns a template for the objects that the URI names.
     *
     * @return {@code CKA_LABEL}, {@code CKA_ID} and {@code CKA_CLASS}, as far as the URI names them
     */
    public Template objects() {
        Template objects = Template.of();
        objects = values.containsKey("object") ? objects.and(PKCS11Constants.CKA_LABEL, values.get("object")) : objects;
        objects = values.containsKey("id") ? objects.and(PKCS11Constants.CKA_ID, values.get("id")) : objects;
        return values.containsKey("type") ? objects.and(PKCS11Constants.CKA_CLASS, CLASSES.get(get("type"))) : objects;
    }

    /**
     * Returns the file whose first line is the PIN.
     *
     * @return the file of {@code pin-source}, a path or a {@code file:} URI; null if the URI does not have it
     * @throws IllegalArgumentException if {@code pin-source} is a command, which is never run
     */
    public Path pinFile() {
        String source = get("pin-source");
        if (source == null) {
            return null;
        }
        if (source.startsWith("|")) {
            throw new IllegalArgumentException("\"pin-source\" is a command; only a file is read");
        }
        return Path.of(source.replaceFirst("(?i)^file:(//(localhost)?(?=/))?", ""));
    }

    /**
     * Reads a PIN.
     *
     * @param file a file as that of {@code pin-source}
     * @return its first line, in UTF-8, without the end of the line; to be wiped by the caller
     * @throws IOException if the file cannot be read, or if the line is not UTF-8
     */
    public static char[] readPin(Path file) throws IOException {
        byte[] content = Files.readAllBytes(file);
        try {
            int end = 0;
            while (end < content.length && content[end] != '\n' && content[end] != '\r') {
                end++;
            }
            CharBuffer line = StandardCharsets.UTF_8.newDecoder().decode(ByteBuffer.wrap(content, 0, end));
            char[] pin = Arrays.copyOf(line.array(), line.limit());
            Arrays.fill(line.array(), '\0');
            return pin;
        } finally {
            Arrays.fill(content, (byte) 0);
        }
    }

    /**
     * Returns the path of the module.
     *
     * @return the file of {@code module-path}, which may also be the directory of {@code module-name}; else the file
     *     that {@link NativePKCS11#findModule} finds for {@code module-name}; null if the URI has neither
     * @throws IllegalArgumentException if there is no file for {@code module-name}, or a path is not one
     */
    public String modulePath() {
        String path = get("module-path");
        String name = get("module-name");
        if (path != null && (name == null || !Files.isDirectory(Path.of(path)))) {
            return path;
        }
        if (name == null) {
            return null;
        }
        Path[] directories = path == null ? new Path[0] : new Path[] {Path.of(path)};
        return NativePKCS11.findModule(name, directories).orElseThrow(() -> new IllegalArgumentException(
            "\"module-name=" + name + "\": no such file "
                + (path == null ? "where modules are installed" : "in " + path)))
            .toString();
    }

    /**
     * Returns the text of the URI, without a {@code pin-value}.
     *
     * @return the URI, its values encoded as p11-kit does
     */
    @Override
    public String toString() {
        StringBuilder path = new StringBuilder();
        StringBuilder query = new StringBuilder();
        values.forEach((name, value) -> {
            if (!QUERY.contains(name)) {
                path.append(path.length() == 0 ? "" : ";").append(name).append('=')
                    .append(encode(value, name.equals("id") ? "" : VERBATIM));
            } else if (!name.equals("pin-value")) {
                query.append(query.length() == 0 ? "?" : "&").append(name).append('=')
                    .append(encode(value, VERBATIM + "/:"));
            }
        });
        return SCHEME + path + query;
    }

    private static String encode(byte[] value, String verbatim) {
        StringBuilder encoded = new StringBuilder();
        for (byte each : value) {
            encoded.append(verbatim.indexOf(each) >= 0 ? String.valueOf((char) each) : String.format("%%%02X", each));
        }
        return encoded.toString();
    }
}
