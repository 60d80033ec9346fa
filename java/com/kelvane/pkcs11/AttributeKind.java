package com.kelvane.pkcs11;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import java.lang.annotation.ElementType;
import java.lang.annotation.Retention;
import java.lang.annotation.RetentionPolicy;
import java.lang.annotation.Target;
import java.lang.reflect.Field;
import java.math.BigInteger;
import java.util.Arrays;
import java.util.Date;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.stream.Collectors;
import java.util.stream.Stream;

/**
 * The kinds of attributes: the class that a value is read as, then the other classes accepted. {@link PKCS11Constants}
 * has the attributes of each kind, and the native library's table is generated from it.
 */
enum AttributeKind {
    BOOLEAN(Boolean.class),
    INTEGER(Integer.class),
    STRING(String.class, byte[].class),
    BYTES(byte[].class),
    DATE(Date.class),
    BIG_INTEGER(BigInteger.class, byte[].class),
    NUMBERS(int[].class),
    ATTRIBUTES(Template.class);

    /** The kind of the attribute types that are declared with it. */
    @Retention(RetentionPolicy.RUNTIME)
    @Target(ElementType.FIELD)
    @interface Of {
        AttributeKind value();
    }

    /** Numbers that have names, and how these begin. */
    private static final Map<Integer, String> NAMED = Map.of(CKA_CLASS, "CKO_", CKA_KEY_TYPE, "CKK_",
        CKA_CERTIFICATE_TYPE, "CKC_", CKA_KEY_GEN_MECHANISM, "CKM_", CKA_ALLOWED_MECHANISMS, "CKM_",
        CKA_MECHANISM_TYPE, "CKM_", CKA_NAME_HASH_ALGORITHM, "CKM_");

    /** Bytes and big integers that are shown: short ones, and never secret. */
    private static final Set<Integer> SHOWN = Set.of(CKA_ID, CKA_SERIAL_NUMBER, CKA_EC_PARAMS, CKA_PUBLIC_EXPONENT);

    private final List<Class<?>> classes;

    AttributeKind(Class<?>... classes) {
        this.classes = List.of(classes);
    }

    /** The kinds by attribute type, built from the constants at the first use. */
    private static final class Kinds {
        static final Map<Integer, AttributeKind> BY_TYPE = new HashMap<>();

        private Kinds() {
        }

        static {
            try {
                for (Field field : PKCS11Constants.class.getFields()) {
                    Of kind = field.getName().startsWith("CKA_") ? field.getAnnotation(Of.class) : null;
                    if (kind != null) {
                        BY_TYPE.put(field.getInt(null), kind.value());
                    }
                }
            } catch (IllegalAccessException e) {
                throw new ExceptionInInitializerError(e);
            }
        }
    }

    /**
     * Checks that a template can have an attribute with a value.
     *
     * @throws IllegalArgumentException naming the attribute, the classes that it takes, and the value's class
     */
    static void check(int type, Object value) {
        AttributeKind kind = Kinds.BY_TYPE.get(type);
        if (kind == null) {
            throw refused(type, "is not in the table of attributes: no template can have it");
        }
        boolean isWrong = value == null ? kind == BOOLEAN || kind == INTEGER
            : kind.classes.stream().noneMatch(each -> each.isInstance(value));
        if (isWrong) {
            throw refused(type, "takes " + kind.classes.stream().map(Class::getSimpleName)
                .collect(Collectors.joining(" or ")) + ", not " + (value == null ? null
                : value.getClass().getSimpleName()));
        }
        if (value instanceof Template
            && Stream.of(((Template) value).getValues()).anyMatch(Template.class::isInstance)) {
            throw refused(type, "takes a Template that holds no further one");
        }
    }

    private static IllegalArgumentException refused(int type, String why) {
        return new IllegalArgumentException(nameOf("CKA_", type) + " " + why);
    }

    /** Returns whether values of an attribute are read as text. */
    static boolean isText(int type) {
        return Kinds.BY_TYPE.get(type) == STRING;
    }

    /** Names an attribute and shows its value: of bytes and big integers, which may be secret, the size only. */
    static String text(int type, Object value) {
        return nameOf("CKA_", type) + "=" + (value instanceof Integer ? number(type, (Integer) value)
            : value instanceof String ? "\"" + value + "\""
            : value instanceof byte[] ? bytes(type, (byte[]) value)
            : value instanceof BigInteger && !SHOWN.contains(type) ? ((BigInteger) value).bitLength() + " bits"
            : value instanceof int[] ? Arrays.stream((int[]) value).mapToObj(each -> number(type, each))
                .collect(Collectors.toList())
            : value);
    }

    /** A number, by its name where it has one. */
    private static String number(int type, int value) {
        return NAMED.containsKey(type) ? nameOf(NAMED.get(type), value) : Integer.toUnsignedString(value);
    }

    /** Bytes in hexadecimal, or how many they are. */
    private static String bytes(int type, byte[] value) {
        if (!SHOWN.contains(type)) {
            return value.length + " bytes";
        }
        StringBuilder hex = new StringBuilder();
        for (byte each : value) {
            hex.append(String.format("%02x", each));
        }
        return hex.toString();
    }
}
