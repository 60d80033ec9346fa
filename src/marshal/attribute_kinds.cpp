#include "attribute_kinds.h"

#include <iterator>

#include "sorted_rows.h"

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
    { CKA_TRUSTED,           boolean    },
    { CKA_PRIME_BITS,        integer    },
    { CKA_SUB_PRIME_BITS,    integer    },
    { CKA_KEY_GEN_MECHANISM, integer    },

    // ---- Edition 2.20 ----
    { CKA_CERTIFICATE_CATEGORY,       integer },
    { CKA_URL,                        string  },
    { CKA_HASH_OF_SUBJECT_PUBLIC_KEY, bytes   },
    { CKA_HASH_OF_ISSUER_PUBLIC_KEY,  bytes   },
    { CKA_CHECK_VALUE,                bytes   },
    { CKA_ALWAYS_AUTHENTICATE,        boolean },
    { CKA_WRAP_WITH_TRUSTED,          boolean },
    { CKA_ALLOWED_MECHANISMS,         numbers },

    // ---- Edition 2.40 ----
    { CKA_NAME_HASH_ALGORITHM, integer },
    { CKA_PUBLIC_KEY_INFO,     bytes   },
    { CKA_COPYABLE,            boolean },
    { CKA_DESTROYABLE,         boolean },

    // ---- Edition 3.0 ----
    { CKA_UNIQUE_ID, string },
    // clang-format on
};

// The first 55 rows stay as they are; those of later editions follow.
static_assert(AttributeKindTable[55 - 1].type == CKA_HAS_RESET);
static_assert(std::size(AttributeKindTable) == 55 + 17);

constexpr auto sorted = sortedRows(AttributeKindTable, &AttributeKind::type);

} // namespace

ValueKind attributeKind(CK_ATTRIBUTE_TYPE type)
{
    const auto* row = findRow(AttributeKindTable, sorted, &AttributeKind::type, type);
    return row != nullptr ? row->kind : unknown;
}
