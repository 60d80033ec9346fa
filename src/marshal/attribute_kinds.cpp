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

// The rows { CKA_..., kind }, generated from PKCS11Constants.java.
constexpr AttributeKind AttributeKindTable[] = {
#include "attribute_rows.h"
};

constexpr auto sorted = sortedRows(AttributeKindTable, &AttributeKind::type);

} // namespace

ValueKind attributeKind(CK_ATTRIBUTE_TYPE type)
{
    const auto* row = findRow(AttributeKindTable, sorted, &AttributeKind::type, type);
    return row != nullptr ? row->kind : unknown;
}
