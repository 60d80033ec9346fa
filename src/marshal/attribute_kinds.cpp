#include "marshal/attribute_kinds.h"

#include <iterator>

#include "marshal/sorted_rows.h"

namespace {

struct AttributeKind
{
    CK_ATTRIBUTE_TYPE type;
    ValueKind kind;
};

using enum ValueKind;

// The first row with a type wins.
constexpr AttributeKind AttributeKindTable[] = {
    // clang-format off
    { CKA_CLASS,             integer    },
    { CKA_TOKEN,             boolean    },
    { CKA_PRIVATE,           boolean    },
    { CKA_LABEL,             string     },
    { CKA_APPLICATION,       string     },
    { CKA_VALUE,             bytes      },
    { CKA_CERTIFICATE_TYPE,  integer    },
    { CKA_ISSUER,            bytes      },
    { CKA_SERIAL_NUMBER,     bytes      },
    { CKA_KEY_TYPE,          integer    },
    { CKA_SUBJECT,           bytes      },
    { CKA_ID,                bytes      },
    { CKA_SENSITIVE,         boolean    },
    { CKA_ENCRYPT,           boolean    },
    { CKA_DECRYPT,           boolean    },
    { CKA_WRAP,              boolean    },
    { CKA_UNWRAP,            boolean    },
    { CKA_SIGN,              boolean    },
    { CKA_SIGN_RECOVER,      boolean    },
    { CKA_VERIFY,            boolean    },
    { CKA_VERIFY_RECOVER,    boolean    },
    { CKA_DERIVE,            boolean    },
    { CKA_START_DATE,        date       },
    { CKA_END_DATE,          date       },
    { CKA_MODULUS,           bigInteger },
    { CKA_MODULUS_BITS,      integer    },
    { CKA_PUBLIC_EXPONENT,   bigInteger },
    { CKA_PRIVATE_EXPONENT,  bigInteger },
    { CKA_PRIME_1,           bigInteger },
    { CKA_PRIME_2,           bigInteger },
    { CKA_EXPONENT_1,        bigInteger },
    { CKA_EXPONENT_2,        bigInteger },
    { CKA_COEFFICIENT,       bigInteger },
    { CKA_PRIME,             bigInteger },
    { CKA_SUBPRIME,          bigInteger },
    { CKA_BASE,              bigInteger },
    { CKA_VALUE_BITS,        integer    },
    { CKA_VALUE_LEN,         integer    },
    { CKA_EXTRACTABLE,       boolean    },
    { CKA_LOCAL,             boolean    },
    { CKA_NEVER_EXTRACTABLE, boolean    },
    { CKA_ALWAYS_SENSITIVE,  boolean    },
    { CKA_MODIFIABLE,        boolean    },
    { CKA_OBJECT_ID,         bytes      },
    { CKA_AC_ISSUER,         bytes      },
    { CKA_OWNER,             bytes      },
    { CKA_ATTR_TYPES,        bytes      },
    { CKA_HW_FEATURE_TYPE,   integer    },
    { CKA_SECONDARY_AUTH,    boolean    },
    { CKA_AUTH_PIN_FLAGS,    integer    },
    { CKA_HW_FEATURE_TYPE,   boolean    }, // never reached: callers rely on the row above, an integer
    { CKA_RESET_ON_INIT,     boolean    },
    { CKA_EC_PARAMS,         bytes      },
    { CKA_EC_POINT,          bytes      },
    { CKA_HAS_RESET,         boolean    },

    // ---- Edition 2.11 ----
    { CKA_TRUSTED,           boolean },
    { CKA_PRIME_BITS,        integer },
    { CKA_SUB_PRIME_BITS,    integer },
    { CKA_KEY_GEN_MECHANISM, integer },

    // ---- Edition 2.20 ----
    { CKA_CERTIFICATE_CATEGORY,       integer    },
    { CKA_URL,                        string     },
    { CKA_HASH_OF_SUBJECT_PUBLIC_KEY, bytes      },
    { CKA_HASH_OF_ISSUER_PUBLIC_KEY,  bytes      },
    { CKA_CHECK_VALUE,                bytes      },
    { CKA_ALWAYS_AUTHENTICATE,        boolean    },
    { CKA_WRAP_WITH_TRUSTED,          boolean    },
    { CKA_ALLOWED_MECHANISMS,         numbers    },
    { CKA_WRAP_TEMPLATE,              attributes },
    { CKA_UNWRAP_TEMPLATE,            attributes },
    { CKA_JAVA_MIDP_SECURITY_DOMAIN,  integer    },
    { CKA_PIXEL_X,                    integer    },
    { CKA_PIXEL_Y,                    integer    },
    { CKA_RESOLUTION,                 integer    },
    { CKA_CHAR_ROWS,                  integer    },
    { CKA_CHAR_COLUMNS,               integer    },
    { CKA_COLOR,                      boolean    },
    { CKA_BITS_PER_PIXEL,             integer    },
    { CKA_CHAR_SETS,                  string     },
    { CKA_ENCODING_METHODS,           string     },
    { CKA_MIME_TYPES,                 string     },
    { CKA_MECHANISM_TYPE,             integer    },
    { CKA_REQUIRED_CMS_ATTRIBUTES,    bytes      },
    { CKA_DEFAULT_CMS_ATTRIBUTES,     bytes      },
    { CKA_SUPPORTED_CMS_ATTRIBUTES,   bytes      },
    { CKA_OTP_FORMAT,                 integer    },
    { CKA_OTP_LENGTH,                 integer    },
    { CKA_OTP_TIME_INTERVAL,          integer    },
    { CKA_OTP_USER_FRIENDLY_MODE,     boolean    },
    { CKA_OTP_CHALLENGE_REQUIREMENT,  integer    },
    { CKA_OTP_TIME_REQUIREMENT,       integer    },
    { CKA_OTP_COUNTER_REQUIREMENT,    integer    },
    { CKA_OTP_PIN_REQUIREMENT,        integer    },
    { CKA_OTP_COUNTER,                bytes      },
    { CKA_OTP_TIME,                   string     },
    { CKA_OTP_USER_IDENTIFIER,        string     },
    { CKA_OTP_SERVICE_IDENTIFIER,     string     },
    { CKA_OTP_SERVICE_LOGO,           bytes      },
    { CKA_OTP_SERVICE_LOGO_TYPE,      string     },

    // ---- Edition 2.40 ----
    { CKA_NAME_HASH_ALGORITHM, integer    },
    { CKA_PUBLIC_KEY_INFO,     bytes      },
    { CKA_COPYABLE,            boolean    },
    { CKA_DESTROYABLE,         boolean    },
    { CKA_DERIVE_TEMPLATE,     attributes },
    { CKA_GOSTR3410_PARAMS,    bytes      },
    { CKA_GOSTR3411_PARAMS,    bytes      },
    { CKA_GOST28147_PARAMS,    bytes      },

    // ---- Editions 3.0 and 3.1 ----
    { CKA_UNIQUE_ID,            string  },
    { CKA_PROFILE_ID,           integer },
    { CKA_X2RATCHET_BAG,        bytes   },
    { CKA_X2RATCHET_BAGSIZE,    integer },
    { CKA_X2RATCHET_BOBS1STMSG, bytes   },
    { CKA_X2RATCHET_CKR,        bytes   },
    { CKA_X2RATCHET_CKS,        bytes   },
    { CKA_X2RATCHET_DHP,        bytes   },
    { CKA_X2RATCHET_DHR,        bytes   },
    { CKA_X2RATCHET_DHS,        bytes   },
    { CKA_X2RATCHET_HKR,        bytes   },
    { CKA_X2RATCHET_HKS,        bytes   },
    { CKA_X2RATCHET_ISALICE,    boolean },
    { CKA_X2RATCHET_NHKR,       bytes   },
    { CKA_X2RATCHET_NHKS,       bytes   },
    { CKA_X2RATCHET_NR,         integer },
    { CKA_X2RATCHET_NS,         integer },
    { CKA_X2RATCHET_PNS,        integer },
    { CKA_X2RATCHET_RK,         bytes   },
    { CKA_HSS_LEVELS,           integer },
    { CKA_HSS_LMS_TYPE,         integer },
    { CKA_HSS_LMOTS_TYPE,       integer },
    { CKA_HSS_LMS_TYPES,        numbers },
    { CKA_HSS_LMOTS_TYPES,      numbers },
    { CKA_HSS_KEYS_REMAINING,   integer },

    // ---- Edition 3.2 ----
    { CKA_PARAMETER_SET,                     integer    },
    { CKA_OBJECT_VALIDATION_FLAGS,           integer    },
    { CKA_VALIDATION_TYPE,                   integer    },
    { CKA_VALIDATION_VERSION,                bytes      },
    { CKA_VALIDATION_LEVEL,                  integer    },
    { CKA_VALIDATION_MODULE_ID,              bytes      },
    { CKA_VALIDATION_FLAG,                   integer    },
    { CKA_VALIDATION_AUTHORITY_TYPE,         integer    },
    { CKA_VALIDATION_COUNTRY,                string     },
    { CKA_VALIDATION_CERTIFICATE_IDENTIFIER, string     },
    { CKA_VALIDATION_CERTIFICATE_URI,        string     },
    { CKA_VALIDATION_VENDOR_URI,             string     },
    { CKA_VALIDATION_PROFILE,                string     },
    { CKA_ENCAPSULATE_TEMPLATE,              attributes },
    { CKA_DECAPSULATE_TEMPLATE,              attributes },
    { CKA_TRUST_SERVER_AUTH,                 integer    },
    { CKA_TRUST_CLIENT_AUTH,                 integer    },
    { CKA_TRUST_CODE_SIGNING,                integer    },
    { CKA_TRUST_EMAIL_PROTECTION,            integer    },
    { CKA_TRUST_IPSEC_IKE,                   integer    },
    { CKA_TRUST_TIME_STAMPING,               integer    },
    { CKA_TRUST_OCSP_SIGNING,                integer    },
    { CKA_ENCAPSULATE,                       boolean    },
    { CKA_DECAPSULATE,                       boolean    },
    { CKA_HASH_OF_CERTIFICATE,               bytes      },
    { CKA_PUBLIC_CRC64_VALUE,                bytes      },
    { CKA_SEED,                              bytes      },
    // clang-format on
};

// The first 55 rows stay as they are; those of later editions follow.
static_assert(AttributeKindTable[55 - 1].type == CKA_HAS_RESET);
static_assert(std::size(AttributeKindTable) == 55 + 103);

constexpr auto sorted = sortedRows(AttributeKindTable, &AttributeKind::type);

} // namespace

ValueKind attributeKind(CK_ATTRIBUTE_TYPE type)
{
    const auto* row = findRow(AttributeKindTable, sorted, &AttributeKind::type, type);
    return row != nullptr ? row->kind : unknown;
}
