/**
 * The values of PKCS #11 (Cryptoki, version 2) in Java: slots and objects as interfaces, information, exceptions,
 * names, and the parameters of mechanisms. The calls themselves are in {@link com.kelvane.pkcs11.nat}.
 *
 * <h2>Numbers</h2>
 *
 * <p>Handles, ids, types, flags and counts are Cryptoki's unsigned integers in 32 bits, so that those of 2<sup>31</sup>
 * and above are negative. A quantity that a token does not report is -1
 * ({@link PKCS11Constants#CK_UNAVAILABLE_INFORMATION}). Session and object handles may have 64 bits
 * ({@code getHandle}); a slot id of more than 32 bits is refused by an exception that names it; other numbers keep
 * their low 32 bits. A version is one number, see {@link PKCS11Version}.
 *
 * <h2>Attributes</h2>
 *
 * <p>The class of an attribute's value is that of the group of its constant in {@link PKCS11Constants}. An attribute
 * without one, a vendor's own for example, is refused with {@code CKR_ATTRIBUTE_TYPE_INVALID} (0x12) everywhere except
 * in {@code getByteArrayAttributeValue}; a value of another class with {@code CKR_ATTRIBUTE_VALUE_INVALID} (0x13).
 *
 * <p>A date is written as the day it is in UTC, and read as the first moment of that day in the process's local time
 * zone, as the environment variable {@code TZ} sets it. Only dates of the years 1970 to 9999 can be written: any
 * other is refused with {@code CKR_ATTRIBUTE_VALUE_INVALID} (0x13).
 *
 * <p>A template is a {@link Template}, which is checked when it is built and names the attribute that is wrong. Native
 * methods take it as a pair of arrays of one length, {@code int[]} types and {@code Object[]} values; arrays that
 * differ in length are refused with {@code CKR_TEMPLATE_INCONSISTENT} (0xd1). Type -1 leaves its element out. If either
 * array is null, the template is empty.
 *
 * <h2>Mechanisms</h2>
 *
 * <p>A mechanism is an {@code int} type and a parameter object. The type decides of which class the object has to be:
 * of an {@code Integer}, a {@code byte[]}, or one of the classes here, which name their mechanisms. The page
 * {@code docs/mechanisms.md} has all of them. A mechanism that is not in its table, a vendor's own for example, takes
 * null, or a {@link PKCS11RawParameter} with bytes for the module as they are.
 *
 * <p>Where null is accepted for a structure, {@link PKCS11RawParameter} is accepted too, for a module that uses another
 * layout. An object of another class, or null where an object is needed, is refused with
 * {@code CKR_MECHANISM_PARAM_INVALID} (0x71). The parameter classes are structures: their fields are public, their
 * arrays are kept by reference and not copied, and the token's output comes back in them. They are not to be changed by
 * another thread during a call.
 */
package com.kelvane.pkcs11;
