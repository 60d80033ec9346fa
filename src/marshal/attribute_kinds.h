// The kind of value of each attribute type.
#pragma once

#include "bridge/cryptoki.h"

enum class ValueKind
{
    unknown,    ///< no row: refused
    boolean,    ///< java.lang.Boolean, one byte
    integer,    ///< java.lang.Integer, a CK_ULONG
    string,     ///< java.lang.String, its modified UTF-8 bytes
    bytes,      ///< byte[]
    date,       ///< java.util.Date, a CK_DATE
    bigInteger, ///< java.math.BigInteger, its big-endian bytes
    numbers,    ///< int[], as many CK_ULONGs
    attributes, ///< com.kelvane.pkcs11.Template, as many CK_ATTRIBUTEs
};

/// The kind of an attribute type; unknown for one without a row, vendor-defined types included.
ValueKind attributeKind(CK_ATTRIBUTE_TYPE type);
