#include "layouts.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

enum class Kind
{
    number,  ///< CK_ULONG, shown in decimal
    code,    ///< CK_ULONG, shown in hexadecimal: handles, mechanisms, flags
    bytes,   ///< so many bytes in the structure
    text,    ///< the same, blank-padded when filled
    pointer, ///< shown as null or set, never followed
    data,    ///< pointer to as many bytes as the named field says
    fixed,   ///< pointer to so many bytes
    area,    ///< pointer to room for as many bits as the named field says
    output,  ///< pointer to room for as many bytes as the CK_ULONG says to which the named field leads
    length,  ///< pointer to a CK_ULONG
    record,  ///< pointer to the record that holds the fields after it
};

constexpr const char* kindNames[] = {"number", "code", "bytes",  "text",   "pointer", "data",
                                     "fixed",  "area", "output", "length", "record"};

constexpr std::size_t here = SIZE_MAX;

struct Field
{
    std::string name;
    Kind kind;
    std::size_t offset;
    std::size_t extent;  ///< a number of bytes, or the offset of the field named in the table
    std::size_t through; ///< offset of the pointer to the record that holds the field, if it is another record
};

struct Row
{
    const char* name;
    std::vector<CK_MECHANISM_TYPE> mechanisms;
    const char* fields;
};

// One structure a row: name, the mechanisms that take it, its fields in the standard's order as "name:kind(extent)",
// number when no kind is given. Offsets follow from the order with the platform's alignment; they are worked out here
// and not taken from the library's declarations, so that a mistake there shows as a difference.
// clang-format off
const auto& rows = *new std::vector<Row>{
    {"CK_RC2_PARAMS",             {0x101, 0x103}, "ulEffectiveBits"},
    {"CK_RC2_CBC_PARAMS",         {0x102, 0x105}, "ulEffectiveBits iv:bytes(8)"},
    {"CK_RC2_MAC_GENERAL_PARAMS", {0x104},        "ulEffectiveBits ulMacLength"},
    {"CK_RC5_PARAMS",             {0x331, 0x333}, "ulWordsize ulRounds"},
    {"CK_RC5_CBC_PARAMS",         {0x332, 0x335}, "ulWordsize ulRounds pIv:data(ulIvLen) ulIvLen"},
    {"CK_RC5_MAC_GENERAL_PARAMS", {0x334},        "ulWordsize ulRounds ulMacLength"},
    {"CK_PBE_PARAMS",             {0x3a0, 0x3a1, 0x3a2, 0x3a3, 0x3a4, 0x3a5, 0x3a6, 0x3a7, 0x3a8, 0x3a9, 0x3aa, 0x3ab,
                                   0x3c0},
     "pInitVector:fixed(8) pPassword:data(ulPasswordLen) ulPasswordLen pSalt:data(ulSaltLen) ulSaltLen ulIteration"},
    {"CK_VERSION",                {0x370, 0x374}, "major:bytes(1) minor:bytes(1)"},
    {"CK_GCM_PARAMS",             {0x1087},
     "pIv:data(ulIvLen) ulIvLen ulIvBits pAAD:data(ulAADLen) ulAADLen ulTagBits"},
    {"CK_SSL3_MASTER_KEY_DERIVE_PARAMS", {0x371, 0x373, 0x375, 0x377},
     "pClientRandom:data(ulClientRandomLen) ulClientRandomLen pServerRandom:data(ulServerRandomLen) ulServerRandomLen"
     " pVersion:fixed(2)"},
    {"CK_SSL3_KEY_MAT_PARAMS",    {0x372, 0x376},
     "ulMacSizeInBits ulKeySizeInBits ulIVSizeInBits bIsExport:bytes(1)"
     " pClientRandom:data(ulClientRandomLen) ulClientRandomLen pServerRandom:data(ulServerRandomLen) ulServerRandomLen"
     " pReturnedKeyMaterial:record hClientMacSecret:code hServerMacSecret:code hClientKey:code hServerKey:code"
     " pIVClient:area(ulIVSizeInBits) pIVServer:area(ulIVSizeInBits)"},
    {"CK_TLS_PRF_PARAMS",         {0x378},
     "pSeed:data(ulSeedLen) ulSeedLen pLabel:data(ulLabelLen) ulLabelLen pOutput:output(pulOutputLen)"
     " pulOutputLen:length"},
    {"CK_ECDH1_DERIVE_PARAMS",    {0x1050, 0x1051},
     "kdf:code ulSharedDataLen pSharedData:data(ulSharedDataLen) ulPublicDataLen pPublicData:data(ulPublicDataLen)"},
    {"CK_RSA_PKCS_OAEP_PARAMS",   {0x9},
     "hashAlg:code mgf:code source:code pSourceData:data(ulSourceDataLen) ulSourceDataLen"},
    {"CK_RSA_PKCS_PSS_PARAMS",    {0xd, 0xe, 0x43, 0x44, 0x45, 0x47}, "hashAlg:code mgf:code sLen"},

    {"CK_C_INITIALIZE_ARGS",      {},
     "CreateMutex:pointer DestroyMutex:pointer LockMutex:pointer UnlockMutex:pointer flags:code pReserved:pointer"},
    {"CK_INFO",                   {},
     "cryptokiVersion:bytes(2) manufacturerID:text(32) flags:code libraryDescription:text(32) libraryVersion:bytes(2)"},
    {"CK_SLOT_INFO",              {},
     "slotDescription:text(64) manufacturerID:text(32) flags:code hardwareVersion:bytes(2) firmwareVersion:bytes(2)"},
    {"CK_TOKEN_INFO",             {},
     "label:text(32) manufacturerID:text(32) model:text(16) serialNumber:text(16) flags:code ulMaxSessionCount"
     " ulSessionCount ulMaxRwSessionCount ulRwSessionCount ulMaxPinLen ulMinPinLen ulTotalPublicMemory"
     " ulFreePublicMemory ulTotalPrivateMemory ulFreePrivateMemory hardwareVersion:bytes(2) firmwareVersion:bytes(2)"
     " utcTime:text(16)"},
    {"CK_MECHANISM_INFO",         {}, "ulMinKeySize ulMaxKeySize flags:code"},
    {"CK_SESSION_INFO",           {}, "slotID:code state flags:code ulDeviceError"},
};
// clang-format on

} // namespace

struct Layout
{
    const char* name;
    const std::vector<CK_MECHANISM_TYPE>* mechanisms;
    std::size_t size;
    std::vector<Field> fields;
};

namespace {

Layout parseRow(const Row& row)
{
    Layout layout{row.name, &row.mechanisms, 0, {}};
    std::vector<std::string> extents;
    std::size_t through = here;
    std::size_t end = 0;
    std::size_t alignment = 1;
    for (std::string_view rest = row.fields; !rest.empty();) {
        const std::string_view word = rest.substr(0, rest.find(' '));
        rest.remove_prefix(std::min(word.size() + 1, rest.size()));
        const std::size_t open = std::min(word.find('('), word.size());
        const std::size_t colon = std::min(word.find(':'), open);
        const auto* kind = std::find(std::begin(kindNames), std::end(kindNames),
                                     colon == open ? "number" : word.substr(colon + 1, open - colon - 1));
        Field field{std::string(word.substr(0, colon)), static_cast<Kind>(kind - kindNames), end, 0, through};
        extents.emplace_back(open == word.size() ? "" : word.substr(open + 1, word.size() - open - 2));
        field.extent = std::strtoul(extents.back().c_str(), nullptr, 10);

        const bool inPlace = field.kind == Kind::bytes || field.kind == Kind::text;
        if (!inPlace) {
            alignment = sizeof(CK_ULONG);
            field.offset = (end + alignment - 1) / alignment * alignment;
        }
        end = field.offset + (inPlace ? field.extent : sizeof(CK_ULONG));
        if (through == here)
            layout.size = (end + alignment - 1) / alignment * alignment;
        if (field.kind == Kind::record) {
            through = field.offset;
            end = 0;
        }
        layout.fields.push_back(field);
    }
    for (std::size_t i = 0; i < extents.size(); ++i)
        for (const Field& each : layout.fields)
            if (each.name == extents[i])
                layout.fields[i].extent = each.offset;
    return layout;
}

const std::vector<Layout>& layouts()
{
    static const auto* parsed = [] {
        auto* result = new std::vector<Layout>;
        std::transform(rows.begin(), rows.end(), std::back_inserter(*result), parseRow);
        return result;
    }();
    return *parsed;
}

template <typename T>
T load(const void* from)
{
    T result;
    std::memcpy(&result, from, sizeof result);
    return result;
}

/// The record that holds the field; null when the pointer to it is null.
char* recordOf(const Field& field, char* structure)
{
    return field.through == here ? structure : load<char*>(structure + field.through);
}

/// How many bytes a pointer field leads to.
CK_ULONG roomBehind(const Field& field, const char* structure)
{
    switch (field.kind) {
    case Kind::data: return load<CK_ULONG>(structure + field.extent);
    case Kind::fixed: return field.extent;
    case Kind::area: return load<CK_ULONG>(structure + field.extent) / 8;
    case Kind::output: {
        const auto* length = load<const void*>(structure + field.extent);
        return length == nullptr ? 0 : load<CK_ULONG>(length);
    }
    default: return 0;
    }
}

std::string show(const Field& field, const char* at, const char* structure)
{
    switch (field.kind) {
    case Kind::number: return std::to_string(load<CK_ULONG>(at));
    case Kind::code: return code(load<CK_ULONG>(at));
    case Kind::bytes:
    case Kind::text: return hex(at, field.extent);
    case Kind::pointer: return load<const void*>(at) == nullptr ? "null" : "set";
    default: break;
    }
    const auto* target = load<const char*>(at);
    std::string text = place(target, structure);
    if (target != nullptr && (field.kind == Kind::data || field.kind == Kind::fixed))
        text += ":" + hex(target, roomBehind(field, structure));
    if (target != nullptr && field.kind == Kind::length)
        text += ":" + std::to_string(load<CK_ULONG>(target));
    return text;
}

} // namespace

Values parseValues(std::string_view text)
{
    Values values;
    while (!text.empty()) {
        const std::size_t equals = text.find('=');
        if (equals == std::string_view::npos)
            break;
        std::string name(text.substr(0, equals));
        text.remove_prefix(equals + 1);
        const bool quoted = !text.empty() && text.front() == '\'';
        text.remove_prefix(quoted ? 1 : 0);
        const std::size_t end = std::min(text.find(quoted ? '\'' : ' '), text.size());
        values[name] = quoted ? hex(text.data(), end) : std::string(text.substr(0, end));
        text.remove_prefix(end);
        text.remove_prefix(std::min(text.find_first_not_of("' "), text.size()));
    }
    return values;
}

const std::string* find(const Values& values, std::string_view name)
{
    const auto found = values.find(name);
    return found == values.end() ? nullptr : &found->second;
}

CK_ULONG number(const Values& values, std::string_view name, CK_ULONG fallback)
{
    const std::string* text = find(values, name);
    return text == nullptr ? fallback : std::strtoul(text->c_str(), nullptr, 0);
}

std::string unhex(std::string_view digits)
{
    std::string bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
        bytes += static_cast<char>(std::strtoul(std::string(digits.substr(i, 2)).c_str(), nullptr, 16));
    return bytes;
}

std::string hex(const void* bytes, CK_ULONG length)
{
    constexpr CK_ULONG sane = CK_ULONG{1} << 24;
    if (length > sane)
        return "(" + std::to_string(length) + " bytes)";
    std::string digits;
    for (CK_ULONG i = 0; i < length; ++i) {
        const unsigned byte = static_cast<const unsigned char*>(bytes)[i];
        digits += "0123456789abcdef"[byte >> 4];
        digits += "0123456789abcdef"[byte & 15];
    }
    return digits;
}

std::string code(CK_ULONG value)
{
    char text[2 + 2 * sizeof value + 1];
    std::snprintf(text, sizeof text, "0x%lx", value);
    return text;
}

std::string place(const void* pointer, const void* base)
{
    if (pointer == nullptr)
        return "null";
    const auto distance =
        static_cast<std::intptr_t>(reinterpret_cast<std::uintptr_t>(pointer) - reinterpret_cast<std::uintptr_t>(base));
    return (distance < 0 ? "" : "+") + std::to_string(distance);
}

const Layout* parameterLayout(CK_MECHANISM_TYPE mechanism)
{
    for (const Layout& layout : layouts())
        for (CK_MECHANISM_TYPE each : *layout.mechanisms)
            if (each == mechanism)
                return &layout;
    return nullptr;
}

const Layout& layoutNamed(std::string_view name)
{
    return *std::find_if(layouts().begin(), layouts().end(), [&](const Layout& each) { return each.name == name; });
}

std::size_t layoutSize(const Layout& layout)
{
    return layout.size;
}

std::string describe(const Layout& layout, const void* structure)
{
    auto* start = static_cast<char*>(const_cast<void*>(structure));
    std::string text;
    for (const Field& field : layout.fields)
        if (const char* record = recordOf(field, start))
            text += (text.empty() ? "" : " ") + field.name + "=" + show(field, record + field.offset, start);
    return layout.name + ("{" + text + "}");
}

void fill(const Layout& layout, void* structure, const Values& values)
{
    auto* start = static_cast<char*>(structure);
    for (const Field& field : layout.fields) {
        const std::string* value = find(values, field.name);
        char* record = recordOf(field, start);
        if (value == nullptr || record == nullptr)
            continue;
        char* at = record + field.offset;
        std::string bytes = unhex(*value);
        if (field.kind == Kind::number || field.kind == Kind::code) {
            const CK_ULONG word = number(values, field.name, 0);
            std::memcpy(at, &word, sizeof word);
        } else if (field.kind == Kind::bytes || field.kind == Kind::text) {
            bytes.resize(field.extent, field.kind == Kind::text ? ' ' : '\0');
            std::memcpy(at, bytes.data(), bytes.size());
        } else if (auto* target = load<char*>(at); target != nullptr && bytes.size() <= roomBehind(field, start)) {
            std::memcpy(target, bytes.data(), bytes.size());
        }
    }
}
