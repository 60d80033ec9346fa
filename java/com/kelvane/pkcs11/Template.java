package com.kelvane.pkcs11;

import java.util.Arrays;
import java.util.stream.Collectors;
import java.util.stream.IntStream;

/**
 * A template: attributes that an object is to have, to be made or found with.
 *
 * <pre>{@code
 * Template.of(CKA_CLASS, CKO_SECRET_KEY, CKA_LABEL, "mine", CKA_TOKEN, true)
 * }</pre>
 *
 * <p>It is checked when it is built, so that an error has the attribute's name and is thrown before any call. A
 * template that is read as the value of an attribute, {@code CKA_WRAP_TEMPLATE} for example, is as the token has it: a
 * value of an attribute that is not in the table is its bytes.
 *
 * <p>A template does not change. Values that are arrays are kept by reference and not copied, so that a secret can be
 * wiped by its owner once the template is no longer used.
 */
public final class Template {
    /** The attribute types, each once. */
    private final int[] types;

    /** Their values, of the classes that their kinds allow. */
    private final Object[] values;

    /** Keeps the arrays, which no other object may hold. The native library creates templates that it reads with it. */
    private Template(int[] types, Object[] values) {
        this.types = types;
        this.values = values;
    }

    /** Checks attributes first. */
    private static Template checked(int[] types, Object[] values) {
        for (int i = 0; i < types.length; i++) {
            AttributeKind.check(types[i], values[i]);
            for (int j = 0; j < i; j++) {
                if (types[j] == types[i]) {
                    throw new IllegalArgumentException(PKCS11Constants.nameOf("CKA_", types[i]) + " appears twice");
                }
            }
        }
        return new Template(types, values);
    }

    /**
     * Creates a template.
     *
     * @param typesAndValues attribute types and their values in turn; none for a template that all objects match. Which
     *     class a value has to be of, and where null is an empty value, is in the description of this package
     * @return the template
     * @throws IllegalArgumentException if a value is of another class ("CKA_VALUE_LEN takes Integer, not Long"), a type
     *     is not in the table of attributes or appears twice, or a type has no value
     */
    public static Template of(Object... typesAndValues) {
        int[] types = new int[(typesAndValues.length + 1) / 2];
        Object[] values = new Object[types.length];
        for (int i = 0; i < types.length; i++) {
            Object type = typesAndValues[2 * i];
            if (!(type instanceof Integer)) {
                throw new IllegalArgumentException("argument " + (2 * i + 1) + " is " + (type == null ? "null"
                    : "of class " + type.getClass().getSimpleName()) + ": an attribute's type is an int, as CKA_LABEL");
            }
            types[i] = (Integer) type;
            if (2 * i + 1 == typesAndValues.length) {
                throw new IllegalArgumentException(PKCS11Constants.nameOf("CKA_", types[i]) + " has no value");
            }
            values[i] = typesAndValues[2 * i + 1];
        }
        return checked(types, values);
    }

    /**
     * Creates a template of these attributes and more.
     *
     * @param typesAndValues more attribute types and their values in turn
     * @return the new template
     * @throws IllegalArgumentException as {@link #of} throws it
     */
    public Template and(Object... typesAndValues) {
        Template more = of(typesAndValues);
        int[] allTypes = Arrays.copyOf(types, types.length + more.types.length);
        Object[] allValues = Arrays.copyOf(values, allTypes.length);
        System.arraycopy(more.types, 0, allTypes, types.length, more.types.length);
        System.arraycopy(more.values, 0, allValues, types.length, more.types.length);
        return checked(allTypes, allValues);
    }

    /**
     * Returns the attribute types, as the methods take them that take two arrays.
     *
     * @return the types, in a new array
     */
    public int[] getTypes() {
        return types.clone();
    }

    /**
     * Returns the values, in the order of the types.
     *
     * @return the values themselves, in a new array
     */
    public Object[] getValues() {
        return values.clone();
    }

    /**
     * Names the attributes and shows their values; of bytes and big integers, which may be secret, the size alone.
     *
     * @return for example {@code [CKA_CLASS=CKO_SECRET_KEY, CKA_VALUE=32 bytes]}
     */
    @Override
    public String toString() {
        return IntStream.range(0, types.length).mapToObj(i -> AttributeKind.text(types[i], values[i]))
            .collect(Collectors.joining(", ", "[", "]"));
    }
}
