package com.kelvane.pkcs11;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import java.math.BigInteger;
import java.util.Arrays;
import java.util.Date;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.stream.Collectors;
import java.util.stream.Stream;

/** The kinds of attributes, as the native library's table has them: of which classes a value may be. */
final class AttributeKinds {
    /** By attribute type: the class that a value is read as, then what is taken besides. */
    private static final Map<Integer, List<Class<?>>> CLASSES = new HashMap<>();

    static {
        kind(List.of(Boolean.class), CKA_TOKEN, CKA_PRIVATE, CKA_SENSITIVE, CKA_ENCRYPT, CKA_DECRYPT, CKA_WRAP,
            CKA_UNWRAP, CKA_SIGN, CKA_SIGN_RECOVER, CKA_VERIFY, CKA_VERIFY_RECOVER, CKA_DERIVE, CKA_EXTRACTABLE,
            CKA_LOCAL, CKA_NEVER_EXTRACTABLE, CKA_ALWAYS_SENSITIVE, CKA_MODIFIABLE, CKA_SECONDARY_AUTH,
            CKA_RESET_ON_INIT, CKA_HAS_RESET, CKA_TRUSTED, CKA_ALWAYS_AUTHENTICATE, CKA_WRAP_WITH_TRUSTED,
            CKA_COPYABLE, CKA_DESTROYABLE, CKA_COLOR, CKA_OTP_USER_FRIENDLY_MODE, CKA_X2RATCHET_ISALICE,
            CKA_ENCAPSULATE, CKA_DECAPSULATE);
        kind(List.of(Integer.class), CKA_CLASS, CKA_CERTIFICATE_TYPE, CKA_KEY_TYPE, CKA_MODULUS_BITS, CKA_VALUE_BITS,
            CKA_VALUE_LEN, CKA_AUTH_PIN_FLAGS, CKA_HW_FEATURE_TYPE, CKA_PRIME_BITS, CKA_SUBPRIME_BITS,
            CKA_KEY_GEN_MECHANISM, CKA_CERTIFICATE_CATEGORY, CKA_NAME_HASH_ALGORITHM, CKA_JAVA_MIDP_SECURITY_DOMAIN,
            CKA_PIXEL_X, CKA_PIXEL_Y, CKA_RESOLUTION, CKA_CHAR_ROWS, CKA_CHAR_COLUMNS, CKA_BITS_PER_PIXEL,
            CKA_MECHANISM_TYPE, CKA_OTP_FORMAT, CKA_OTP_LENGTH, CKA_OTP_TIME_INTERVAL, CKA_OTP_CHALLENGE_REQUIREMENT,
            CKA_OTP_TIME_REQUIREMENT, CKA_OTP_COUNTER_REQUIREMENT, CKA_OTP_PIN_REQUIREMENT, CKA_PROFILE_ID,
            CKA_X2RATCHET_BAGSIZE, CKA_X2RATCHET_NR, CKA_X2RATCHET_NS, CKA_X2RATCHET_PNS, CKA_HSS_LEVELS,
            CKA_HSS_LMS_TYPE, CKA_HSS_LMOTS_TYPE, CKA_HSS_KEYS_REMAINING, CKA_PARAMETER_SET,
            CKA_OBJECT_VALIDATION_FLAGS, CKA_VALIDATION_TYPE, CKA_VALIDATION_LEVEL, CKA_VALIDATION_FLAG,
            CKA_VALIDATION_AUTHORITY_TYPE, CKA_TRUST_SERVER_AUTH, CKA_TRUST_CLIENT_AUTH, CKA_TRUST_CODE_SIGNING,
            CKA_TRUST_EMAIL_PROTECTION, CKA_TRUST_IPSEC_IKE, CKA_TRUST_TIME_STAMPING, CKA_TRUST_OCSP_SIGNING);
        kind(List.of(String.class, byte[].class), CKA_LABEL, CKA_APPLICATION, CKA_URL, CKA_UNIQUE_ID, CKA_CHAR_SETS,
            CKA_ENCODING_METHODS, CKA_MIME_TYPES, CKA_OTP_TIME, CKA_OTP_USER_IDENTIFIER, CKA_OTP_SERVICE_IDENTIFIER,
            CKA_OTP_SERVICE_LOGO_TYPE, CKA_VALIDATION_COUNTRY, CKA_VALIDATION_CERTIFICATE_IDENTIFIER,
            CKA_VALIDATION_CERTIFICATE_URI, CKA_VALIDATION_VENDOR_URI, CKA_VALIDATION_PROFILE);
        kind(List.of(byte[].class), CKA_VALUE, CKA_OBJECT_ID, CKA_ISSUER, CKA_SERIAL_NUMBER, CKA_AC_ISSUER, CKA_OWNER,
            CKA_ATTR_TYPES, CKA_SUBJECT, CKA_ID, CKA_EC_PARAMS, CKA_EC_POINT, CKA_CHECK_VALUE, CKA_PUBLIC_KEY_INFO,
            CKA_HASH_OF_SUBJECT_PUBLIC_KEY, CKA_HASH_OF_ISSUER_PUBLIC_KEY, CKA_REQUIRED_CMS_ATTRIBUTES,
            CKA_DEFAULT_CMS_ATTRIBUTES, CKA_SUPPORTED_CMS_ATTRIBUTES, CKA_OTP_COUNTER, CKA_OTP_SERVICE_LOGO,
            CKA_GOSTR3410_PARAMS, CKA_GOSTR3411_PARAMS, CKA_GOST28147_PARAMS, CKA_X2RATCHET_BAG,
            CKA_X2RATCHET_BOBS1STMSG, CKA_X2RATCHET_CKR, CKA_X2RATCHET_CKS, CKA_X2RATCHET_DHP, CKA_X2RATCHET_DHR,
            CKA_X2RATCHET_DHS, CKA_X2RATCHET_HKR, CKA_X2RATCHET_HKS, CKA_X2RATCHET_NHKR, CKA_X2RATCHET_NHKS,
            CKA_X2RATCHET_RK, CKA_VALIDATION_VERSION, CKA_VALIDATION_MODULE_ID, CKA_HASH_OF_CERTIFICATE,
            CKA_PUBLIC_CRC64_VALUE, CKA_SEED);
        kind(List.of(Date.class), CKA_START_DATE, CKA_END_DATE);
        kind(List.of(BigInteger.class, byte[].class), CKA_MODULUS, CKA_PUBLIC_EXPONENT, CKA_PRIVATE_EXPONENT,
            CKA_PRIME_1, CKA_PRIME_2, CKA_EXPONENT_1, CKA_EXPONENT_2, CKA_COEFFICIENT, CKA_PRIME, CKA_SUBPRIME,
            CKA_BASE);
        kind(List.of(int[].class), CKA_ALLOWED_MECHANISMS, CKA_HSS_LMS_TYPES, CKA_HSS_LMOTS_TYPES);
        kind(List.of(Template.class), CKA_WRAP_TEMPLATE, CKA_UNWRAP_TEMPLATE, CKA_DERIVE_TEMPLATE,
            CKA_ENCAPSULATE_TEMPLATE, CKA_DECAPSULATE_TEMPLATE);
    }

    /** The kinds that have no empty value. */
    private static final Set<Class<?>> NEVER_NULL = Set.of(Boolean.class, Integer.class);

    /** Numbers that have names, and how these begin. */
    private static final Map<Integer, String> NAMED = Map.of(CKA_CLASS, "CKO_", CKA_KEY_TYPE, "CKK_",
        CKA_CERTIFICATE_TYPE, "CKC_", CKA_KEY_GEN_MECHANISM, "CKM_", CKA_ALLOWED_MECHANISMS, "CKM_",
        CKA_MECHANISM_TYPE, "CKM_", CKA_NAME_HASH_ALGORITHM, "CKM_");

    /** Bytes and big integers that are shown: short ones, and never secret. */
    private static final Set<Integer> SHOWN = Set.of(CKA_ID, CKA_SERIAL_NUMBER, CKA_EC_PARAMS, CKA_PUBLIC_EXPONENT);

    /** Nothing to build: the methods are static. */
    private AttributeKinds() {
    }

    /** Enters the attributes of a kind. */
    private static void kind(List<Class<?>> classes, int... types) {
        Arrays.stream(types).forEach(type -> CLASSES.put(type, classes));
    }

    /**
     * Checks that a template can have an attribute with a value.
     *
     * @throws IllegalArgumentException naming the attribute, what it takes, and the class it was given
     */
    static void check(int type, Object value) {
        String name = nameOf("CKA_", type);
        List<Class<?>> classes = CLASSES.get(type);
        if (classes == null) {
            throw new IllegalArgumentException(name + " is not in the table of attributes: no template can have it");
        }
        boolean wrong = value == null ? NEVER_NULL.contains(classes.get(0))
            : classes.stream().noneMatch(each -> each.isInstance(value));
        if (wrong) {
            throw new IllegalArgumentException(name + " takes "
                + classes.stream().map(Class::getSimpleName).collect(Collectors.joining(" or ")) + ", not "
                + (value == null ? null : value.getClass().getSimpleName()));
        }
        if (value instanceof Template && Stream.of(((Template) value).getValues()).anyMatch(Template.class::isInstance)) {
            throw new IllegalArgumentException(name + " takes a Template that holds no further one");
        }
    }

    /** Tells whether values of an attribute are read as text. */
    static boolean isText(int type) {
        return CLASSES.getOrDefault(type, List.of(byte[].class)).get(0) == String.class;
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
