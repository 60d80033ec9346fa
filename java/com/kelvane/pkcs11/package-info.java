/**
 * The values of PKCS #11 (Cryptoki, version 2) in Java: slots and objects as interfaces, information, exceptions,
 * names, and the parameters of mechanisms. The calls themselves are in {@link com.kelvane.pkcs11.nat}.
 *
 * <h2>Numbers</h2>
 *
 * <p>Handles, ids, types, flags and counts are Cryptoki's unsigned integers in 32 bits, so that those of 2<sup>31</sup>
 * and above are negative. A quantity that a token does not tell is -1
 * ({@link PKCS11Constants#CK_UNAVAILABLE_INFORMATION}). Session and object handles may have 64 bits ({@code getHandle}); a
 * slot id of more than 32 bits is refused by an exception that names it; other numbers keep their low 32 bits. A version
 * is one number, see {@link PKCS11Version}.
 *
 * <h2>Attributes</h2>
 *
 * <p>Attributes have kinds. An attribute that is not in the table, a vendor's own for example, is refused with
 * {@code CKR_ATTRIBUTE_TYPE_INVALID} (0x12) everywhere except in {@code getByteArrayAttributeValue}; a value of another
 * class with {@code CKR_ATTRIBUTE_VALUE_INVALID} (0x13).
 *
 * <table>
 * <caption>Kinds of attributes</caption>
 * <tr>
 * <th scope="col">Kind</th>
 * <th scope="col">Class of a value</th>
 * <th scope="col">null</th>
 * <th scope="col">Attributes</th>
 * </tr>
 * <tr><td>Boolean</td>
 * <td>{@code Boolean}</td>
 * <td>refused</td>
 * <td>{@code CKA_TOKEN}, {@code CKA_PRIVATE}, {@code CKA_SENSITIVE}, {@code CKA_ENCRYPT}, {@code CKA_DECRYPT},
 * {@code CKA_WRAP}, {@code CKA_UNWRAP}, {@code CKA_SIGN}, {@code CKA_SIGN_RECOVER}, {@code CKA_VERIFY},
 * {@code CKA_VERIFY_RECOVER}, {@code CKA_DERIVE}, {@code CKA_EXTRACTABLE}, {@code CKA_LOCAL},
 * {@code CKA_NEVER_EXTRACTABLE}, {@code CKA_ALWAYS_SENSITIVE}, {@code CKA_MODIFIABLE}, {@code CKA_SECONDARY_AUTH},
 * {@code CKA_RESET_ON_INIT}, {@code CKA_HAS_RESET}, {@code CKA_TRUSTED}, {@code CKA_ALWAYS_AUTHENTICATE},
 * {@code CKA_WRAP_WITH_TRUSTED}, {@code CKA_COPYABLE}, {@code CKA_DESTROYABLE}, {@code CKA_COLOR},
 * {@code CKA_OTP_USER_FRIENDLY_MODE}, {@code CKA_X2RATCHET_ISALICE}, {@code CKA_ENCAPSULATE},
 * {@code CKA_DECAPSULATE}</td></tr>
 * <tr><td>Integer</td>
 * <td>{@code Integer}, its 32 bits unsigned</td>
 * <td>refused</td>
 * <td>{@code CKA_CLASS}, {@code CKA_CERTIFICATE_TYPE}, {@code CKA_KEY_TYPE}, {@code CKA_MODULUS_BITS},
 * {@code CKA_VALUE_BITS}, {@code CKA_VALUE_LEN}, {@code CKA_AUTH_PIN_FLAGS}, {@code CKA_HW_FEATURE_TYPE},
 * {@code CKA_PRIME_BITS}, {@code CKA_SUBPRIME_BITS}, {@code CKA_KEY_GEN_MECHANISM}, {@code CKA_CERTIFICATE_CATEGORY},
 * {@code CKA_NAME_HASH_ALGORITHM}, {@code CKA_JAVA_MIDP_SECURITY_DOMAIN}, {@code CKA_PIXEL_X}, {@code CKA_PIXEL_Y},
 * {@code CKA_RESOLUTION}, {@code CKA_CHAR_ROWS}, {@code CKA_CHAR_COLUMNS}, {@code CKA_BITS_PER_PIXEL},
 * {@code CKA_MECHANISM_TYPE}, {@code CKA_OTP_FORMAT}, {@code CKA_OTP_LENGTH}, {@code CKA_OTP_TIME_INTERVAL},
 * {@code CKA_OTP_CHALLENGE_REQUIREMENT}, {@code CKA_OTP_TIME_REQUIREMENT}, {@code CKA_OTP_COUNTER_REQUIREMENT},
 * {@code CKA_OTP_PIN_REQUIREMENT}, {@code CKA_PROFILE_ID}, {@code CKA_X2RATCHET_BAGSIZE}, {@code CKA_X2RATCHET_NR},
 * {@code CKA_X2RATCHET_NS}, {@code CKA_X2RATCHET_PNS}, {@code CKA_HSS_LEVELS}, {@code CKA_HSS_LMS_TYPE},
 * {@code CKA_HSS_LMOTS_TYPE}, {@code CKA_HSS_KEYS_REMAINING}, {@code CKA_PARAMETER_SET},
 * {@code CKA_OBJECT_VALIDATION_FLAGS}, {@code CKA_VALIDATION_TYPE}, {@code CKA_VALIDATION_LEVEL},
 * {@code CKA_VALIDATION_FLAG}, {@code CKA_VALIDATION_AUTHORITY_TYPE}, {@code CKA_TRUST_SERVER_AUTH},
 * {@code CKA_TRUST_CLIENT_AUTH}, {@code CKA_TRUST_CODE_SIGNING}, {@code CKA_TRUST_EMAIL_PROTECTION},
 * {@code CKA_TRUST_IPSEC_IKE}, {@code CKA_TRUST_TIME_STAMPING}, {@code CKA_TRUST_OCSP_SIGNING}</td></tr>
 * <tr><td>String</td>
 * <td>{@code String} as modified UTF-8 without a NUL at its end, or {@code byte[]}</td>
 * <td>empty value</td>
 * <td>{@code CKA_LABEL}, {@code CKA_APPLICATION}, {@code CKA_URL}, {@code CKA_UNIQUE_ID}, {@code CKA_CHAR_SETS},
 * {@code CKA_ENCODING_METHODS}, {@code CKA_MIME_TYPES}, {@code CKA_OTP_TIME}, {@code CKA_OTP_USER_IDENTIFIER},
 * {@code CKA_OTP_SERVICE_IDENTIFIER}, {@code CKA_OTP_SERVICE_LOGO_TYPE}, {@code CKA_VALIDATION_COUNTRY},
 * {@code CKA_VALIDATION_CERTIFICATE_IDENTIFIER}, {@code CKA_VALIDATION_CERTIFICATE_URI},
 * {@code CKA_VALIDATION_VENDOR_URI}, {@code CKA_VALIDATION_PROFILE}</td></tr>
 * <tr><td>byte array</td>
 * <td>{@code byte[]}</td>
 * <td>empty value</td>
 * <td>{@code CKA_VALUE}, {@code CKA_OBJECT_ID}, {@code CKA_ISSUER}, {@code CKA_SERIAL_NUMBER}, {@code CKA_AC_ISSUER},
 * {@code CKA_OWNER}, {@code CKA_ATTR_TYPES}, {@code CKA_SUBJECT}, {@code CKA_ID}, {@code CKA_EC_PARAMS},
 * {@code CKA_EC_POINT}, {@code CKA_CHECK_VALUE}, {@code CKA_PUBLIC_KEY_INFO}, {@code CKA_HASH_OF_SUBJECT_PUBLIC_KEY},
 * {@code CKA_HASH_OF_ISSUER_PUBLIC_KEY}, {@code CKA_REQUIRED_CMS_ATTRIBUTES}, {@code CKA_DEFAULT_CMS_ATTRIBUTES},
 * {@code CKA_SUPPORTED_CMS_ATTRIBUTES}, {@code CKA_OTP_COUNTER}, {@code CKA_OTP_SERVICE_LOGO},
 * {@code CKA_GOSTR3410_PARAMS}, {@code CKA_GOSTR3411_PARAMS}, {@code CKA_GOST28147_PARAMS},
 * {@code CKA_X2RATCHET_BAG}, {@code CKA_X2RATCHET_BOBS1STMSG}, {@code CKA_X2RATCHET_CKR}, {@code CKA_X2RATCHET_CKS},
 * {@code CKA_X2RATCHET_DHP}, {@code CKA_X2RATCHET_DHR}, {@code CKA_X2RATCHET_DHS}, {@code CKA_X2RATCHET_HKR},
 * {@code CKA_X2RATCHET_HKS}, {@code CKA_X2RATCHET_NHKR}, {@code CKA_X2RATCHET_NHKS}, {@code CKA_X2RATCHET_RK},
 * {@code CKA_VALIDATION_VERSION}, {@code CKA_VALIDATION_MODULE_ID}, {@code CKA_HASH_OF_CERTIFICATE},
 * {@code CKA_PUBLIC_CRC64_VALUE}, {@code CKA_SEED}</td></tr>
 * <tr><td>Date</td>
 * <td>{@code java.util.Date}</td>
 * <td>empty value</td>
 * <td>{@code CKA_START_DATE}, {@code CKA_END_DATE}</td></tr>
 * <tr><td>BigInteger</td>
 * <td>{@code BigInteger} as big-endian bytes without leading zeros (a negative one as its two's complement), or
 * {@code byte[]} as it is</td>
 * <td>empty value</td>
 * <td>{@code CKA_MODULUS}, {@code CKA_PUBLIC_EXPONENT}, {@code CKA_PRIVATE_EXPONENT}, {@code CKA_PRIME_1},
 * {@code CKA_PRIME_2}, {@code CKA_EXPONENT_1}, {@code CKA_EXPONENT_2}, {@code CKA_COEFFICIENT}, {@code CKA_PRIME},
 * {@code CKA_SUBPRIME}, {@code CKA_BASE}</td></tr>
 * <tr><td>numbers</td>
 * <td>{@code int[]}, the 32 bits of each unsigned</td>
 * <td>empty value</td>
 * <td>{@code CKA_ALLOWED_MECHANISMS}, {@code CKA_HSS_LMS_TYPES}, {@code CKA_HSS_LMOTS_TYPES}</td></tr>
 * <tr><td>template</td>
 * <td>{@link Template} of attributes that hold no further one</td>
 * <td>empty value</td>
 * <td>{@code CKA_WRAP_TEMPLATE}, {@code CKA_UNWRAP_TEMPLATE}, {@code CKA_DERIVE_TEMPLATE},
 * {@code CKA_ENCAPSULATE_TEMPLATE}, {@code CKA_DECAPSULATE_TEMPLATE}</td></tr>
 * </table>
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
 *
 * <table>
 * <caption>Mechanisms and their parameters</caption>
 * <tr>
 * <th scope="col">Class</th>
 * <th scope="col">Mechanisms</th>
 * </tr>
 * <tr><td>null, or {@link PKCS11RawParameter} with bytes for the module as they are</td>
 * <td>all that the tables do not list, vendors' own among them</td></tr>
 * <tr><td>null only</td>
 * <td>the other mechanisms of the editions before 2.20 that are not listed below</td></tr>
 * <tr><td>{@code Integer}, the length of the MAC in bytes</td>
 * <td>the {@code _MAC_GENERAL} mechanisms of DES, DES3, CDMF, CAST, CAST3, CAST5, IDEA, AES, Camellia, ARIA and SEED,
 * the {@code _CMAC_GENERAL} ones of DES3 and AES, the {@code _HMAC_GENERAL} ones of MD2, MD5, SHA-1, SHA-2, SHA-512/t,
 * SHA-3, BLAKE2b, RIPEMD128 and RIPEMD160, {@code CKM_SSL3_MD5_MAC}, {@code CKM_SSL3_SHA1_MAC}</td></tr>
 * <tr><td>{@code Integer}, the number of the first bit</td>
 * <td>{@code CKM_EXTRACT_KEY_FROM_KEY}</td></tr>
 * <tr><td>{@code byte[]}, the initialisation vector; null is one of no bytes</td>
 * <td>the {@code _CBC} and {@code _CBC_PAD} mechanisms of DES, DES3, CDMF, CAST, CAST3, CAST5, IDEA, AES, Camellia,
 * ARIA, SEED, Blowfish and Twofish, the {@code _OFB} and {@code _CFB} ones of DES and AES, {@code CKM_AES_CTS},
 * {@code CKM_AES_GMAC}</td></tr>
 * <tr><td>{@code byte[]}, an initialisation vector; {@code encryptInit} writes its first 20 bytes, and refuses a
 * shorter one, but only once the operation has started</td>
 * <td>the ciphers of Skipjack ({@code CKM_SKIPJACK_ECB64} to {@code CKM_SKIPJACK_CFB8}), Baton
 * ({@code CKM_BATON_ECB128} to {@code CKM_BATON_SHUFFLE}) and Juniper ({@code CKM_JUNIPER_ECB128} to
 * {@code CKM_JUNIPER_SHUFFLE})</td></tr>
 * <tr><td>{@code BigInteger}, the other side's public value; null is one of no bytes</td>
 * <td>{@code CKM_DH_PKCS_DERIVE}</td></tr>
 * <tr><td>{@link com.kelvane.pkcs11.nat.NativePKCS11Object}, a second key</td>
 * <td>{@code CKM_CONCATENATE_BASE_AND_KEY}</td></tr>
 * <tr><td>{@link PKCS11MechPar_RC2}</td>
 * <td>{@code CKM_RC2_ECB}, {@code CKM_RC2_MAC}</td></tr>
 * <tr><td>{@link PKCS11MechPar_RC2_CBC}</td>
 * <td>{@code CKM_RC2_CBC}, {@code CKM_RC2_CBC_PAD}</td></tr>
 * <tr><td>{@link PKCS11MechPar_RC2_GENMAC}</td>
 * <td>{@code CKM_RC2_MAC_GENERAL}</td></tr>
 * <tr><td>{@link PKCS11MechPar_RC5}</td>
 * <td>{@code CKM_RC5_ECB}, {@code CKM_RC5_MAC}</td></tr>
 * <tr><td>{@link PKCS11MechPar_RC5_CBC}</td>
 * <td>{@code CKM_RC5_CBC}, {@code CKM_RC5_CBC_PAD}</td></tr>
 * <tr><td>{@link PKCS11MechPar_RC5_GENMAC}</td>
 * <td>{@code CKM_RC5_MAC_GENERAL}</td></tr>
 * <tr><td>{@link PKCS11MechPar_PBE}</td>
 * <td>the password-based ones, {@code CKM_PBE_...} and {@code CKM_PBA_SHA1_WITH_SHA1_HMAC}</td></tr>
 * <tr><td>{@link CK_VERSION}</td>
 * <td>{@code CKM_SSL3_PRE_MASTER_KEY_GEN}, {@code CKM_TLS_PRE_MASTER_KEY_GEN}</td></tr>
 * <tr><td>{@link CK_SSL3_MASTER_KEY_DERIVE_PARAMS}</td>
 * <td>{@code CKM_SSL3_MASTER_KEY_DERIVE}, {@code CKM_SSL3_MASTER_KEY_DERIVE_DH}, {@code CKM_TLS_MASTER_KEY_DERIVE},
 * {@code CKM_TLS_MASTER_KEY_DERIVE_DH}</td></tr>
 * <tr><td>{@link CK_SSL3_KEY_MAT_PARAMS}</td>
 * <td>{@code CKM_SSL3_KEY_AND_MAC_DERIVE}, {@code CKM_TLS_KEY_AND_MAC_DERIVE}</td></tr>
 * <tr><td>{@link CK_TLS_PRF_PARAMS}</td>
 * <td>{@code CKM_TLS_PRF}</td></tr>
 * <tr><td>{@link CK_ECDH1_DERIVE_PARAMS}</td>
 * <td>{@code CKM_ECDH1_DERIVE}, {@code CKM_ECDH1_COFACTOR_DERIVE}</td></tr>
 * <tr><td>{@link CK_GCM_PARAMS}</td>
 * <td>{@code CKM_AES_GCM}</td></tr>
 * <tr><td>{@link CK_RSA_PKCS_OAEP_PARAMS}</td>
 * <td>{@code CKM_RSA_PKCS_OAEP}</td></tr>
 * <tr><td>{@link CK_RSA_PKCS_PSS_PARAMS}</td>
 * <td>{@code CKM_RSA_PKCS_PSS}, {@code CKM_SHA1_RSA_PKCS_PSS}, {@code CKM_SHA224_RSA_PKCS_PSS},
 * {@code CKM_SHA256_RSA_PKCS_PSS}, {@code CKM_SHA384_RSA_PKCS_PSS}, {@code CKM_SHA512_RSA_PKCS_PSS} and their
 * {@code CKM_SHA3_} forms</td></tr>
 * <tr><td>{@link CK_AES_CTR_PARAMS} or null</td>
 * <td>{@code CKM_AES_CTR}, {@code CKM_CAMELLIA_CTR}</td></tr>
 * <tr><td>{@link CK_CCM_PARAMS} or null</td>
 * <td>{@code CKM_AES_CCM}</td></tr>
 * <tr><td>{@link CK_KEY_DERIVATION_STRING_DATA} or null</td>
 * <td>the {@code _ECB_ENCRYPT_DATA} mechanisms</td></tr>
 * <tr><td>{@link CK_DES_CBC_ENCRYPT_DATA_PARAMS} or null</td>
 * <td>the {@code _CBC_ENCRYPT_DATA} mechanisms of DES and DES3</td></tr>
 * <tr><td>{@link CK_AES_CBC_ENCRYPT_DATA_PARAMS} or null</td>
 * <td>the {@code _CBC_ENCRYPT_DATA} mechanisms of AES, Camellia, ARIA and SEED</td></tr>
 * <tr><td>{@link CK_RSA_AES_KEY_WRAP_PARAMS} or null</td>
 * <td>{@code CKM_RSA_AES_KEY_WRAP}</td></tr>
 * <tr><td>{@link CK_ECDH_AES_KEY_WRAP_PARAMS} or null</td>
 * <td>{@code CKM_ECDH_AES_KEY_WRAP}, {@code CKM_ECDH_X_AES_KEY_WRAP}, {@code CKM_ECDH_COF_AES_KEY_WRAP}</td></tr>
 * <tr><td>{@link CK_EDDSA_PARAMS} or null</td>
 * <td>{@code CKM_EDDSA}</td></tr>
 * <tr><td>{@link CK_SALSA20_CHACHA20_POLY1305_PARAMS} or null</td>
 * <td>{@code CKM_CHACHA20_POLY1305}, {@code CKM_SALSA20_POLY1305}</td></tr>
 * <tr><td>{@link CK_HKDF_PARAMS} or null</td>
 * <td>{@code CKM_HKDF_DERIVE}, {@code CKM_HKDF_DATA}</td></tr>
 * <tr><td>{@code byte[]}, an initialisation vector, or null</td>
 * <td>the {@code CKM_AES_KEY_WRAP} mechanisms, {@code CKM_AES_XTS}</td></tr>
 * <tr><td>{@link CK_SIGN_ADDITIONAL_CONTEXT} or null</td>
 * <td>{@code CKM_ML_DSA}, {@code CKM_SLH_DSA}, and their {@code CKM_HASH_} forms that name a hash</td></tr>
 * <tr><td>{@link CK_HASH_SIGN_ADDITIONAL_CONTEXT} or null</td>
 * <td>{@code CKM_HASH_ML_DSA}, {@code CKM_HASH_SLH_DSA}</td></tr>
 * <tr><td>{@link CK_XEDDSA_PARAMS} or null</td>
 * <td>{@code CKM_XEDDSA}</td></tr>
 * <tr><td>{@link CK_CHACHA20_PARAMS} or null</td>
 * <td>{@code CKM_CHACHA20}</td></tr>
 * <tr><td>{@link CK_SALSA20_PARAMS} or null</td>
 * <td>{@code CKM_SALSA20}</td></tr>
 * <tr><td>{@link CK_X9_42_DH1_DERIVE_PARAMS} or null</td>
 * <td>{@code CKM_X9_42_DH_DERIVE}</td></tr>
 * <tr><td>{@link CK_X9_42_DH2_DERIVE_PARAMS} or null</td>
 * <td>{@code CKM_X9_42_DH_HYBRID_DERIVE}</td></tr>
 * <tr><td>{@link CK_X9_42_MQV_DERIVE_PARAMS} or null</td>
 * <td>{@code CKM_X9_42_MQV_DERIVE}</td></tr>
 * <tr><td>{@link CK_TLS12_MASTER_KEY_DERIVE_PARAMS} or null</td>
 * <td>{@code CKM_TLS12_MASTER_KEY_DERIVE}, {@code CKM_TLS12_MASTER_KEY_DERIVE_DH}</td></tr>
 * <tr><td>{@link CK_TLS12_EXTENDED_MASTER_KEY_DERIVE_PARAMS} or null</td>
 * <td>{@code CKM_TLS12_EXTENDED_MASTER_KEY_DERIVE},
 * {@code CKM_TLS12_EXTENDED_MASTER_KEY_DERIVE_DH}</td></tr>
 * <tr><td>{@link CK_TLS12_KEY_MAT_PARAMS} or null</td>
 * <td>{@code CKM_TLS12_KEY_AND_MAC_DERIVE}, {@code CKM_TLS12_KEY_SAFE_DERIVE}</td></tr>
 * <tr><td>{@link CK_TLS_MAC_PARAMS} or null</td>
 * <td>{@code CKM_TLS12_MAC}, {@code CKM_TLS_MAC}</td></tr>
 * <tr><td>{@link CK_TLS_KDF_PARAMS} or null</td>
 * <td>{@code CKM_TLS12_KDF}, {@code CKM_TLS_KDF}</td></tr>
 * <tr><td>{@link CK_SP800_108_KDF_PARAMS} or null</td>
 * <td>{@code CKM_SP800_108_COUNTER_KDF}, {@code CKM_SP800_108_DOUBLE_PIPELINE_KDF}</td></tr>
 * <tr><td>{@link CK_SP800_108_FEEDBACK_KDF_PARAMS} or null</td>
 * <td>{@code CKM_SP800_108_FEEDBACK_KDF}</td></tr>
 * <tr><td>always refused with "parameter encoding not yet implemented!"</td>
 * <td>{@code CKM_CONCATENATE_BASE_AND_DATA}, {@code CKM_CONCATENATE_DATA_AND_BASE}, {@code CKM_XOR_BASE_AND_DATA},
 * {@code CKM_KEA_KEY_DERIVE}, {@code CKM_KEY_WRAP_SET_OAEP}, {@code CKM_SKIPJACK_PRIVATE_WRAP},
 * {@code CKM_SKIPJACK_RELAYX}, {@code CKM_PKCS5_PBKD2}</td></tr>
 * <tr><td>always refused with "unknown mechanism parameter type!"</td>
 * <td>{@code CKM_ECMQV_DERIVE}</td></tr>
 * </table>
 *
 * <p>Where null may stand for a structure, {@link PKCS11RawParameter} is taken too, for a module that goes by another
 * layout. An object of another class, or null where an object is needed, is refused with {@code CKR_MECHANISM_PARAM_INVALID}
 * (0x71). The parameter classes are structures: their fields are public, their arrays are kept by reference and not
 * copied, and the token's output comes back in them. They are not to be changed by another thread during a call.
 */
package com.kelvane.pkcs11;
