package com.kelvane.pkcs11;

import java.util.HashMap;
import java.util.HashSet;
import java.util.Map;
import java.util.Set;

/**
 * Attributes of an object as they were read at one time: those that there are, and which of the others the token keeps
 * to itself. {@link PKCS11Object#readAttributes} reads them.
 */
public final class PKCS11Attributes {
    /** The values by their types; null for one that is empty. */
    private final Map<Integer, Object> values = new HashMap<>();

    /** The types that the token refused to reveal. */
    private final Set<Integer> sensitive = new HashSet<>();

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
                } else if (e.getCode() != PKCS11Constants.CKR_ATTRIBUTE_TYPE_INVALID) {
                    throw e;
                }
            }
        }
        return read;
    }

    /** Reads one attribute, as bytes where its kind is not known. */
    private static Object value(PKCS11Object object, int type) {
        try {
            return object.getAttributeValue(type);
        } catch (PKCS11Exception e) {
            if (e.getCode() != PKCS11Constants.CKR_ATTRIBUTE_TYPE_INVALID) {
                throw e;
            }
            return object.getByteArrayAttributeValue(type); // refused in the same way where the object lacks it
        }
    }

    /**
     * Tells whether the object has an attribute and the token gave it out.
     *
     * @param type the attribute type
     * @return true for an empty value too; false for a type that was not asked for
     */
    public boolean has(int type) {
        return values.containsKey(type);
    }

    /**
     * Tells whether the object has an attribute that the token does not give out.
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
     *     not in the table of kinds; null for an attribute that is absent or sensitive, and for an empty date
     */
    public Object get(int type) {
        return values.get(type);
    }
}
