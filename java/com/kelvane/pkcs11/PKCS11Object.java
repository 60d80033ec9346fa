package com.kelvane.pkcs11;

import com.kelvane.pkcs11.nat.NativePKCS11Object;
import java.math.BigInteger;
import java.util.Date;

/**
 * An object on a token or in a session: a key, a certificate, data.
 *
 * <p>Which attribute is of which kind, and what Java classes a value may have, is in the description of this package.
 */
public interface PKCS11Object {
    /**
     * Returns the object's handle as an {@code int}.
     *
     * @return the handle, its 32 bits unsigned; 0 for no object; 0xFFFFFFFF (-1) for a handle that needs more bits, and
     *     for an object whose handle is 0: {@link com.kelvane.pkcs11.nat.NativePKCS11Object#getHandle} returns those
     */
    int getObjectID();

    /**
     * Reads a boolean attribute ({@code C_GetAttributeValue}).
     *
     * @param type the attribute type
     * @return the value
     * @throws PKCS11Exception with {@code CKR_ATTRIBUTE_TYPE_INVALID} (0x12) if the type is not known as one of kind
     *     Boolean, before the token is called; with {@code CKR_ATTRIBUTE_VALUE_INVALID} (0x13) if the token's value is
     *     not 1 byte long
     */
    boolean getBoolAttributeValue(int type);

    /**
     * Reads an integer attribute ({@code C_GetAttributeValue}).
     *
     * @param type the attribute type
     * @return the value, its low 32 bits unsigned
     * @throws PKCS11Exception with {@code CKR_ATTRIBUTE_TYPE_INVALID} (0x12) if the type is not known as one of kind
     *     Integer, before the token is called; with {@code CKR_ATTRIBUTE_VALUE_INVALID} (0x13) if the token's value is
     *     not of a {@code CK_ULONG}'s length
     */
    int getIntAttributeValue(int type);

    /**
     * Reads a text attribute ({@code C_GetAttributeValue}).
     *
     * @param type the attribute type
     * @return the value, trailing blanks kept and cut at a NUL; "" for an empty value
     * @throws PKCS11Exception with {@code CKR_ATTRIBUTE_TYPE_INVALID} (0x12) if the type is not known as one of kind
     *     String, before the token is called; "getStringAttributeValue(): alloca() failed" if it is too long for the
     *     thread's stack
     */
    String getStringAttributeValue(int type);

    /**
     * Reads an attribute of any type as bytes ({@code C_GetAttributeValue}), vendor-defined types included.
     *
     * @param type the attribute type
     * @return the value as it is; an empty array for an empty value
     * @throws PKCS11Exception "NewByteArray() failed" or "can't get byte[] elements" without memory
     */
    byte[] getByteArrayAttributeValue(int type);

    /**
     * Reads a date attribute ({@code C_GetAttributeValue}).
     *
     * <p>A date is written in UTC and read in local time: unless the zone is UTC, it comes back shifted by the zone's
     * offset. The zone is that of the process (the environment variable {@code TZ}), not the one set in Java.
     *
     * @param type the attribute type
     * @return the first moment of the day in the process's local time zone; null for an empty value
     * @throws PKCS11Exception with {@code CKR_ATTRIBUTE_TYPE_INVALID} (0x12) if the type is not known as one of kind
     *     Date, before the token is called; with {@code CKR_ATTRIBUTE_VALUE_INVALID} (0x13) if the value is not a date
     *     in 8 digits
     */
    Date getDateAttributeValue(int type);

    /**
     * Reads a big integer attribute ({@code C_GetAttributeValue}).
     *
     * @param type the attribute type
     * @return the value, never negative; 0 for an empty value
     * @throws PKCS11Exception with {@code CKR_ATTRIBUTE_TYPE_INVALID} (0x12) if the type is not known as one of kind
     *     BigInteger, before the token is called; "NewByteArray() failed" or "can't get byte[] elements" without memory
     */
    BigInteger getBigIntegerAttributeValue(int type);

    /**
     * Reads an attribute. The class of the result follows from the kind of the attribute: {@code Boolean},
     * {@code Integer}, {@code String}, {@code byte[]}, {@code Date}, {@code BigInteger} or {@code int[]}.
     *
     * @param type the attribute type
     * @return the value, as the method for its kind returns it
     * @throws PKCS11Exception with {@code CKR_ATTRIBUTE_TYPE_INVALID} (0x12) if the type is not known; otherwise as the
     *     method for its kind raises it
     */
    Object getAttributeValue(int type);

    /**
     * Reads several attributes, each by calls of its own ({@code C_GetAttributeValue}), so that one which the object
     * lacks or that is sensitive does not hide the others. An attribute also counts as absent when the token
     * returns it with a length that no array has, or fails to return it while it returns the object's class.
     *
     * @param types the attribute types, of which any may be unknown here
     * @return what there is
     * @throws PKCS11Exception if the object cannot be read at all, with {@code CKR_SESSION_HANDLE_INVALID} for example
     */
    default PKCS11Attributes readAttributes(int... types) {
        return PKCS11Attributes.read(this, types);
    }

    /**
     * Copies the object, with some attributes changed.
     *
     * @param types the attribute types to be changed, or null
     * @param values their values, or null
     * @return the copy, in the same session
     * @throws PKCS11Exception with {@code CKR_TEMPLATE_INCONSISTENT} (0xd1), {@code CKR_ATTRIBUTE_TYPE_INVALID} (0x12)
     *     or {@code CKR_ATTRIBUTE_VALUE_INVALID} (0x13) if the attributes are refused
     */
    NativePKCS11Object copy(int[] types, Object[] values);

    /**
     * Copies the object, with some attributes changed.
     *
     * @param changes the attributes to be changed
     * @return the copy, in the same session
     */
    NativePKCS11Object copy(Template changes);

    /** Destroys the object. This Java object is not changed, but of no use any more. */
    void destroy();

    /**
     * Returns the size of the object on the token.
     *
     * @return the size in bytes, its low 32 bits unsigned; -1 ({@link PKCS11Constants#CK_UNAVAILABLE_INFORMATION}) if
     *     the token does not report it
     */
    int size();

    /**
     * Sets an attribute.
     *
     * @param type the attribute type
     * @param value the value, of a class that the kind of the attribute allows
     * @throws PKCS11Exception with {@code CKR_ATTRIBUTE_TYPE_INVALID} (0x12) if the type is not known, with
     *     {@code CKR_ATTRIBUTE_VALUE_INVALID} (0x13) if the value is of the wrong class, a null that the kind does not
     *     allow, or a date before 1970
     */
    void setAttributeValue(int type, Object value);

    /**
     * Sets several attributes.
     *
     * @param types the attribute types, or null
     * @param values their values, or null
     * @throws PKCS11Exception with {@code CKR_TEMPLATE_INCONSISTENT} (0xd1), {@code CKR_ATTRIBUTE_TYPE_INVALID} (0x12)
     *     or {@code CKR_ATTRIBUTE_VALUE_INVALID} (0x13) if the attributes are refused
     */
    void setAttributeValues(int[] types, Object[] values);

    /**
     * Sets several attributes.
     *
     * @param attributes the attributes and their new values
     */
    void setAttributeValues(Template attributes);

    /**
     * Sets a boolean attribute.
     *
     * @param type the attribute type
     * @param value the value
     * @throws PKCS11Exception with {@code CKR_ATTRIBUTE_TYPE_INVALID} (0x12) if the type is not known as one of kind
     *     Boolean
     */
    void setBoolAttributeValue(int type, boolean value);

    /**
     * Sets an integer attribute.
     *
     * @param type the attribute type
     * @param value the value, its 32 bits unsigned
     * @throws PKCS11Exception with {@code CKR_ATTRIBUTE_TYPE_INVALID} (0x12) if the type is not known as one of kind
     *     Integer
     */
    void setIntAttributeValue(int type, int value);
}
