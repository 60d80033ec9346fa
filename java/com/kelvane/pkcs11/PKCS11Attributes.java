package com.kelvane.pkcs11;

import java.math.BigInteger;
import java.nio.charset.StandardCharsets;
import java.util.Date;
import java.util.LinkedHashMap;
import java.util.LinkedHashSet;
import java.util.Map;
import java.util.Set;
import java.util.stream.Collectors;
import java.util.stream.Stream;

/**
 * Attributes of an object as they were read at one time: those that there are, and which of the others the token keeps
 * to itself. {@link PKCS11Object#readAttributes} reads them.
 */
public final class PKCS11Attributes {
    /** The native library's text for a length that no array has: modules report -1 for an attribute that is absent. */
    private static final String NO_LENGTH = "NewByteArray() failed";

    /** The values by their types; null for one that is empty. */
    private final Map<Integer, Object> values = new LinkedHashMap<>();

    /** The types that the token refused to reveal. */
    private final Set<Integer> sensitive = new LinkedHashSet<>();

    /** Nothing is read yet. */
    private PKCS11Attributes() {
    }

    /** Reads attributes one by one. */
    static PKCS11Attributes read(PKCS11Object object, int... types) {
        PKCS11Attributes read = new PKCS11Attributes();
        for (int type : types) {
            try {
                read.values.put(type, value(object, type));
            } catch (PKCS11Exception e) {
                if (e.getCode() == PKCS11Constants.CKR_ATTRIBUTE_SENSITIVE) {
                    read.sensitive.add(type);
                } else if (!isAbout(e) && !isReadable(object)) {
                    throw e;
                }
            }
        }
        return read;
    }

    /** Returns whether an exception concerns one attribute, which the object lacks or has with an impossible length. */
    private static boolean isAbout(PKCS11Exception e) {
        return e.getCode() == PKCS11Constants.CKR_ATTRIBUTE_TYPE_INVALID
            || e.getCode() == PKCS11Constants.CKR_ATTRIBUTE_VALUE_INVALID || NO_LENGTH.equals(e.getMessage());
    }

    /** Returns whether an object can be read at all: then a failure with any code concerned the attribute. */
    private static boolean isReadable(PKCS11Object object) {
        try {
            object.getByteArrayAttributeValue(PKCS11Constants.CKA_CLASS);
            return true;
        } catch (PKCS11Exception e) {
            return false;
        }
    }

    /** Reads one attribute, as bytes where its kind is not known or the value is long. */
    private static Object value(PKCS11Object object, int type) {
        try {
            return object.getAttributeValue(type);
        } catch (PKCS11Exception e) {
            if (e.hasCode() && e.getCode() != PKCS11Constants.CKR_ATTRIBUTE_TYPE_INVALID) {
                throw e;
            }
            byte[] bytes = object.getByteArrayAttributeValue(type); // refused in the same way where the object lacks it
            return AttributeKind.isText(type) ? new String(bytes, StandardCharsets.UTF_8) : bytes;
        }
    }

    /**
     * Returns whether the object has an attribute and the token returned it.
     *
     * @param type the attribute type
     * @return true for an empty value too; false for a type that was not read
     */
    public boolean has(int type) {
        return values.containsKey(type);
    }

    /**
     * Returns whether the object has an attribute that the token does not return, a sensitive one.
     *
     * @param type the attribute type
     * @return true if the token refused it with {@code CKR_ATTRIBUTE_SENSITIVE}
     */
    public boolean isSensitive(int type) {
        return sensitive.contains(type);
    }

    /**
     * Returns the value of an attribute.
     *
     * @param type the attribute type
     * @return the value, as {@link PKCS11Object#getAttributeValue} returns it, or a {@code byte[]} for a type that is
     *     not in the table of kinds or has more numbers than the thread's stack holds; null for an attribute that is
     *     absent or sensitive, and for an empty date
     */
    public Object get(int type) {
        return values.get(type);
    }

    /**
     * Returns whether a boolean attribute is present and true.
     *
     * @param type the attribute type
     * @return false too for one that is absent or sensitive
     * @throws IllegalArgumentException if the attribute is of another kind
     */
    public boolean isTrue(int type) {
        return Boolean.TRUE.equals(get(type, Boolean.class));
    }

    /**
     * Returns the value of an integer attribute.
     *
     * @param type the attribute type
     * @return the value, its 32 bits unsigned; null for one that is absent or sensitive
     * @throws IllegalArgumentException if the attribute is of another kind
     */
    public Integer getInteger(int type) {
        return get(type, Integer.class);
    }

    /**
     * Returns the value of a text attribute.
     *
     * @param type the attribute type
     * @return the value; null for one that is absent or sensitive
     * @throws IllegalArgumentException if the attribute is of another kind
     */
    public String getString(int type) {
        return get(type, String.class);
    }

    /**
     * Returns the value of a byte array attribute, or of one whose kind is not known.
     *
     * @param type the attribute type
     * @return the value itself, not a copy; null for one that is absent or sensitive
     * @throws IllegalArgumentException if the attribute is of another kind
     */
    public byte[] getBytes(int type) {
        return get(type, byte[].class);
    }

    /**
     * Returns the value of a big integer attribute.
     *
     * @param type the attribute type
     * @return the value; null for one that is absent or sensitive
     * @throws IllegalArgumentException if the attribute is of another kind
     */
    public BigInteger getBigInteger(int type) {
        return get(type, BigInteger.class);
    }

    /**
     * Returns the value of a date attribute.
     *
     * @param type the attribute type
     * @return the first moment of the day in the process's local time zone; null for one that is absent, sensitive or
     *     empty
     * @throws IllegalArgumentException if the attribute is of another kind
     */
    public Date getDate(int type) {
        return get(type, Date.class);
    }

    /** Returns a value as one of a class. */
    private <T> T get(int type, Class<T> wanted) {
        Object value = get(type);
        if (value != null && !wanted.isInstance(value)) {
            throw new IllegalArgumentException(PKCS11Constants.nameOf("CKA_", type) + " is "
                + value.getClass().getSimpleName() + ", not " + wanted.getSimpleName());
        }
        return wanted.cast(value);
    }

    /**
     * Names the attributes and shows their values; of bytes and big integers, which may be secret, the size alone.
     *
     * @return for example {@code [CKA_LABEL="mine", CKA_MODULUS=2048 bits, CKA_VALUE sensitive]}; what is absent is not
     *     in it
     */
    @Override
    public String toString() {
        return Stream.concat(
            values.entrySet().stream().map(each -> AttributeKind.text(each.getKey(), each.getValue())),
            sensitive.stream().map(each -> PKCS11Constants.nameOf("CKA_", each) + " sensitive"))
            .collect(Collectors.joining(", ", "[", "]"));
    }
}
