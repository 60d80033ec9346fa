#include "layouts.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <iomanip>
#include <sstream>
#include <vector>

namespace {

struct Field
{
    std::string name;
    std::string kind;
    std::string extent; ///< a number of bytes, or the name of a field
    std::size_t offset;
    const Field* record; ///< the pointer to the record that holds the field, if it is another record

    bool inPlace() const { return kind == "bytes" || kind == "text"; }

    std::size_t bytes() const { return std::strtoul(extent.c_str(), nullptr, 10); }
};

struct Layout
{
    std::deque<Field> fields;
    std::size_t size = 0;
};

struct Row
{
    std::string name;
    std::vector<CK_MECHANISM_TYPE> mechanisms;
    const char* fields;
};

// One structure a row: name, its mechanisms in the tests, its fields in the standard's order as "name:kind(extent)".
// Offsets follow from the order with the platform's alignment, and not from the library's declarations, so that a
// mistake there shows as a difference. Kinds:
//
//   number           CK_ULONG, shown in decimal; also when no kind is given
//   code             CK_ULONG, shown in hexadecimal: mechanisms, flags
//   handle           the same, a handle
//   bytes, text      so many bytes in the structure; text is blank-padded when filled
//   pointer          shown as null or set, never followed
//   data             pointer to as many bytes as the named field has, or to so many
//   area             pointer to a buffer for the number of bits in the named field
//   output           pointer to a buffer for the number of bytes in the CK_ULONG behind the named field
//   length           pointer to a CK_ULONG
//   template         pointer to the number of attributes in the named field
//   bits             pointer to the number of bits in the named field
//   record           pointer to the record that holds the fields after it, up to a "^"
// clang-format off
const auto& rows = *new std::vector<Row>{
    {"CK_OBJECT_HANDLE", {CKM_CONCATENATE_BASE_AND_KEY}, "key:handle"},
    {"CK_RC2_PARAMS", {CKM_RC2_ECB, CKM_RC2_MAC}, "ulEffectiveBits"},
    {"CK_RC2_CBC_PARAMS", {CKM_RC2_CBC, CKM_RC2_CBC_PAD}, "ulEffectiveBits iv:bytes(8)"},
    {"CK_RC2_MAC_GENERAL_PARAMS", {CKM_RC2_MAC_GENERAL}, "ulEffectiveBits ulMacLength"},
    {"CK_RC5_PARAMS", {CKM_RC5_ECB, CKM_RC5_MAC}, "ulWordsize ulRounds"},
    {"CK_RC5_CBC_PARAMS", {CKM_RC5_CBC, CKM_RC5_CBC_PAD}, "ulWordsize ulRounds pIv:data(ulIvLen) ulIvLen"},
    {"CK_RC5_MAC_GENERAL_PARAMS", {CKM_RC5_MAC_GENERAL}, "ulWordsize ulRounds ulMacLength"},
    {"CK_PBE_PARAMS", {CKM_PBE_MD2_DES_CBC, CKM_PBE_MD5_DES_CBC},
     "pInitVector:data(8) pPassword:data(ulPasswordLen) ulPasswordLen pSalt:data(ulSaltLen) ulSaltLen ulIteration"},
    {"CK_VERSION", {CKM_SSL3_PRE_MASTER_KEY_GEN, CKM_TLS_PRE_MASTER_KEY_GEN}, "major:bytes(1) minor:bytes(1)"},
    {"CK_GCM_PARAMS", {CKM_AES_GCM}, "pIv:data(ulIvLen) ulIvLen ulIvBits pAAD:data(ulAADLen) ulAADLen ulTagBits"},
    {"CK_SSL3_MASTER_KEY_DERIVE_PARAMS",
     {CKM_SSL3_MASTER_KEY_DERIVE, CKM_SSL3_MASTER_KEY_DERIVE_DH, CKM_TLS_MASTER_KEY_DERIVE,
      CKM_TLS_MASTER_KEY_DERIVE_DH}, "pClientRandom:data(ulClientRandomLen)"
     " ulClientRandomLen pServerRandom:data(ulServerRandomLen) ulServerRandomLen pVersion:data(2)"},
    {"CK_SSL3_KEY_MAT_PARAMS", {CKM_SSL3_KEY_AND_MAC_DERIVE, CKM_TLS_KEY_AND_MAC_DERIVE},
     "ulMacSizeInBits ulKeySizeInBits ulIVSizeInBits bIsExport:bytes(1)"
     " pClientRandom:data(ulClientRandomLen) ulClientRandomLen pServerRandom:data(ulServerRandomLen) ulServerRandomLen"
     " pReturnedKeyMaterial:record hClientMacSecret:handle hServerMacSecret:handle hClientKey:handle hServerKey:handle"
     " pIVClient:area(ulIVSizeInBits) pIVServer:area(ulIVSizeInBits)"},
    {"CK_TLS_PRF_PARAMS", {CKM_TLS_PRF}, "pSeed:data(ulSeedLen) ulSeedLen pLabel:data(ulLabelLen) ulLabelLen"
     " pOutput:output(pulOutputLen) pulOutputLen:length"},
    {"CK_ECDH1_DERIVE_PARAMS", {CKM_ECDH1_DERIVE, CKM_ECDH1_COFACTOR_DERIVE},
     "kdf:code ulSharedDataLen pSharedData:data(ulSharedDataLen) ulPublicDataLen pPublicData:data(ulPublicDataLen)"},
    {"CK_RSA_PKCS_OAEP_PARAMS", {CKM_RSA_PKCS_OAEP},
     "hashAlg:code mgf:code source:code pSourceData:data(ulSourceDataLen) ulSourceDataLen"},
    {"CK_RSA_PKCS_PSS_PARAMS", {CKM_RSA_PKCS_PSS, CKM_SHA224_RSA_PKCS_PSS}, "hashAlg:code mgf:code sLen"},
    {"CK_AES_CTR_PARAMS", {CKM_AES_CTR, CKM_CAMELLIA_CTR}, "ulCounterBits cb:bytes(16)"},
    {"CK_CCM_PARAMS", {CKM_AES_CCM},
     "ulDataLen pNonce:data(ulNonceLen) ulNonceLen pAAD:data(ulAADLen) ulAADLen ulMACLen"},
    {"CK_KEY_DERIVATION_STRING_DATA", {CKM_AES_ECB_ENCRYPT_DATA}, "pData:data(ulLen) ulLen"},
    {"CK_DES_CBC_ENCRYPT_DATA_PARAMS", {CKM_DES3_CBC_ENCRYPT_DATA}, "iv:bytes(8) pData:data(length) length"},
    {"CK_AES_CBC_ENCRYPT_DATA_PARAMS", {CKM_AES_CBC_ENCRYPT_DATA}, "iv:bytes(16) pData:data(length) length"},
    {"CK_X9_42_DH1_DERIVE_PARAMS", {},
     "kdf:code ulOtherInfoLen pOtherInfo:data(ulOtherInfoLen) ulPublicDataLen pPublicData:data(ulPublicDataLen)"},
    {"CK_X9_42_DH2_DERIVE_PARAMS", {},
     "kdf:code ulOtherInfoLen pOtherInfo:data(ulOtherInfoLen) ulPublicDataLen pPublicData:data(ulPublicDataLen)"
     " ulPrivateDataLen hPrivateData:handle ulPublicDataLen2 pPublicData2:data(ulPublicDataLen2)"},
    {"CK_X9_42_MQV_DERIVE_PARAMS", {},
     "kdf:code ulOtherInfoLen OtherInfo:data(ulOtherInfoLen) ulPublicDataLen PublicData:data(ulPublicDataLen)"
     " ulPrivateDataLen hPrivateData:handle ulPublicDataLen2 PublicData2:data(ulPublicDataLen2) publicKey:handle"},
    {"CK_TLS12_MASTER_KEY_DERIVE_PARAMS", {}, "pClientRandom:data(ulClientRandomLen) ulClientRandomLen"
     " pServerRandom:data(ulServerRandomLen) ulServerRandomLen pVersion:data(2) prfHashMechanism:code"},
    {"CK_TLS12_EXTENDED_MASTER_KEY_DERIVE_PARAMS", {},
     "prfHashMechanism:code pSessionHash:data(ulSessionHashLen) ulSessionHashLen pVersion:data(2)"},
    {"CK_TLS12_KEY_MAT_PARAMS", {}, "ulMacSizeInBits ulKeySizeInBits ulIVSizeInBits bIsExport:bytes(1)"
     " pClientRandom:data(ulClientRandomLen) ulClientRandomLen pServerRandom:data(ulServerRandomLen) ulServerRandomLen"
     " pReturnedKeyMaterial:record hClientMacSecret:handle hServerMacSecret:handle hClientKey:handle hServerKey:handle"
     " pIVClient:area(ulIVSizeInBits) pIVServer:area(ulIVSizeInBits) ^ prfHashMechanism:code"},
    {"CK_TLS_MAC_PARAMS", {}, "prfHashMechanism:code ulMacLength ulServerOrClient"},
    {"CK_TLS_KDF_PARAMS", {}, "prfMechanism:code pLabel:data(ulLabelLength) ulLabelLength"
     " pClientRandom:data(ulClientRandomLen) ulClientRandomLen pServerRandom:data(ulServerRandomLen) ulServerRandomLen"
     " pContextData:data(ulContextDataLength) ulContextDataLength"},
    {"CK_CHACHA20_PARAMS", {},
     "pBlockCounter:bits(blockCounterBits) blockCounterBits pNonce:bits(ulNonceBits) ulNonceBits"},
    {"CK_SALSA20_PARAMS", {}, "pBlockCounter:data(8) pNonce:bits(ulNonceBits) ulNonceBits"},
    {"CK_XEDDSA_PARAMS", {}, "hash:code"},
    {"CK_SP800_108_KDF_PARAMS", {}, "prfType:code ulNumberOfDataParams pDataParams:record type"
     " pValue:data(ulValueLen) ulValueLen ^ ulAdditionalDerivedKeys pAdditionalDerivedKeys:record"
     " pTemplate:template(ulAttributeCount) ulAttributeCount phKey:data(8)"},
    {"CK_SP800_108_FEEDBACK_KDF_PARAMS", {}, "prfType:code ulNumberOfDataParams pDataParams:record type"
     " pValue:data(ulValueLen) ulValueLen ^ ulIVLen pIV:data(ulIVLen) ulAdditionalDerivedKeys"
     " pAdditionalDerivedKeys:record pTemplate:template(ulAttributeCount) ulAttributeCount phKey:data(8)"},
    {"CK_SIGN_ADDITIONAL_CONTEXT", {}, "hedgeVariant pContext:data(ulContextLen) ulContextLen"},
    {"CK_HASH_SIGN_ADDITIONAL_CONTEXT", {}, "hedgeVariant pContext:data(ulContextLen) ulContextLen hash:code"},
    {"CK_RSA_AES_KEY_WRAP_PARAMS", {CKM_RSA_AES_KEY_WRAP}, "ulAESKeyBits pOAEPParams:record hashAlg:code mgf:code"
     " source:code pSourceData:data(ulSourceDataLen) ulSourceDataLen"},
    {"CK_ECDH_AES_KEY_WRAP_PARAMS", {CKM_ECDH_AES_KEY_WRAP},
     "ulAESKeyBits kdf:code ulSharedDataLen pSharedData:data(ulSharedDataLen)"},
    {"CK_EDDSA_PARAMS", {CKM_EDDSA}, "phFlag:bytes(1) ulContextDataLen pContextData:data(ulContextDataLen)"},
    {"CK_SALSA20_CHACHA20_POLY1305_PARAMS", {CKM_CHACHA20_POLY1305},
     "pNonce:data(ulNonceLen) ulNonceLen pAAD:data(ulAADLen) ulAADLen"},
    {"CK_HKDF_PARAMS", {CKM_HKDF_DERIVE}, "bExtract:bytes(1) bExpand:bytes(1) prfHashMechanism:code ulSaltType"
     " pSalt:data(ulSaltLen) ulSaltLen hSaltKey:handle pInfo:data(ulInfoLen) ulInfoLen"},

    {"CK_C_INITIALIZE_ARGS", {},
     "CreateMutex:pointer DestroyMutex:pointer LockMutex:pointer UnlockMutex:pointer flags:code pReserved:pointer"},
    {"CK_INFO", {},
     "cryptokiVersion:bytes(2) manufacturerID:text(32) flags:code libraryDescription:text(32) libraryVersion:bytes(2)"},
    {"CK_SLOT_INFO", {},
     "slotDescription:text(64) manufacturerID:text(32) flags:code hardwareVersion:bytes(2) firmwareVersion:bytes(2)"},
    {"CK_TOKEN_INFO", {}, "label:text(32) manufacturerID:text(32) model:text(16) serialNumber:text(16) flags:code"
     " ulMaxSessionCount ulSessionCount ulMaxRwSessionCount ulRwSessionCount ulMaxPinLen ulMinPinLen"
     " ulTotalPublicMemory ulFreePublicMemory ulTotalPrivateMemory ulFreePrivateMemory hardwareVersion:bytes(2)"
     " firmwareVersion:bytes(2) utcTime:text(16)"},
    {"CK_MECHANISM_INFO", {}, "ulMinKeySize ulMaxKeySize flags:code"},
    {"CK_SESSION_INFO", {}, "slotID:code state flags:code ulDeviceError"},
};
// clang-format on

Layout parse(const Row& row)
{
    Layout layout;
    const Field* record = nullptr;
    std::size_t end = 0;
    std::size_t outerEnd = 0;
    std::size_t alignment = 1;
    std::istringstream words(row.fields);
    for (std::string word; words >> word;) {
        if (word == "^") {
            record = nullptr;
            end = outerEnd;
            continue;
        }
        char name[32] = "";
        char kind[32] = "number";
        char extent[32] = "";
        std::sscanf(word.c_str(), "%31[^:]:%31[^(](%31[^)])", name, kind, extent);
        Field& field = layout.fields.emplace_back(Field{name, kind, extent, end, record});
        if (!field.inPlace()) {
            alignment = sizeof(CK_ULONG);
            field.offset = (end + alignment - 1) / alignment * alignment;
        }
        end = field.offset + (field.inPlace() ? field.bytes() : sizeof(CK_ULONG));
        if (record == nullptr)
            layout.size = (end + alignment - 1) / alignment * alignment;
        if (field.kind == "record") {
            record = &field;
            outerEnd = end;
            end = 0;
        }
    }
    return layout;
}

Layout layoutNamed(const std::string& name)
{
    return parse(*std::find_if(rows.begin(), rows.end(), [&](const Row& each) { return each.name == name; }));
}

constexpr CK_ULONG kWide = 0x55c400000000;

template <typename T>
T load(const void* from)
{
    T result;
    std::memcpy(&result, from, sizeof result);
    return result;
}

/// The address of a field; null when the pointer to its record is null.
char* addressOf(const Field& field, char* structure)
{
    auto* record = field.record == nullptr ? structure : load<char*>(structure + field.record->offset);
    return record == nullptr ? nullptr : record + field.offset;
}

/// The number of bytes behind a pointer field.
CK_ULONG lengthBehind(const Field& field, const Layout& layout, char* structure)
{
    for (const Field& each : layout.fields) {
        const char* at = addressOf(each, structure);
        if (each.name == field.extent && field.kind == "output")
            return load<const void*>(at) == nullptr ? 0 : load<CK_ULONG>(load<const void*>(at));
        if (each.name == field.extent)
            return load<CK_ULONG>(at) / (field.kind == "area" || field.kind == "bits" ? 8 : 1);
    }
    return field.bytes();
}

std::string show(const Field& field, const Layout& layout, const char* at, char* structure)
{
    if (field.inPlace())
        return hex(at, field.bytes());
    if (field.kind == "number")
        return std::to_string(load<CK_ULONG>(at));
    if (field.kind == "code")
        return code(load<CK_ULONG>(at));
    if (field.kind == "handle")
        return code(narrowed(load<CK_ULONG>(at)));
    const auto* target = load<const char*>(at);
    if (field.kind == "pointer")
        return target == nullptr ? "null" : "set";
    if (field.kind == "template")
        return showTemplate(load<const CK_ATTRIBUTE*>(at), lengthBehind(field, layout, structure), false);
    std::string text = place(target, structure);
    if (target != nullptr && (field.kind == "data" || field.kind == "bits"))
        text += ":" + hex(target, lengthBehind(field, layout, structure));
    if (target != nullptr && field.kind == "length")
        text += ":" + std::to_string(load<CK_ULONG>(target));
    return text;
}

} // namespace

Values parseValues(const std::string& text)
{
    Values values;
    std::istringstream words(text);
    for (std::string name; std::getline(words >> std::ws, name, '=');) {
        std::string& value = values[name];
        if (words.peek() == '\'') {
            words >> std::quoted(value, '\'');
            value = hex(value.data(), value.size());
        } else {
            std::getline(words, value, ' ');
        }
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

CK_ULONG widened(CK_ULONG handle)
{
    return wideHandles && handle != 0 && handle <= UINT32_MAX ? kWide + handle : handle;
}

CK_ULONG narrowed(CK_ULONG handle) { return wideHandles && handle - kWide <= UINT32_MAX ? handle - kWide : handle; }

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
    char text[24];
    std::snprintf(text, sizeof text, "%+td", static_cast<const char*>(pointer) - static_cast<const char*>(base));
    return text;
}

std::string showBytes(const void* bytes, CK_ULONG length)
{
    if (bytes == nullptr)
        return length == 0 ? "null" : "null/" + std::to_string(length);
    return hex(bytes, length);
}

bool holdsTemplate(CK_ATTRIBUTE_TYPE type)
{
    return type == CKA_WRAP_TEMPLATE || type == CKA_UNWRAP_TEMPLATE || type == CKA_DERIVE_TEMPLATE ||
           type == CKA_ENCAPSULATE_TEMPLATE || type == CKA_DECAPSULATE_TEMPLATE;
}

std::string showTemplate(const CK_ATTRIBUTE* attributes, CK_ULONG count, bool query)
{
    if (attributes == nullptr)
        return showBytes(nullptr, count);
    std::string text;
    for (CK_ULONG i = 0; i < count; ++i) {
        const CK_ATTRIBUTE& each = attributes[i];
        text += (i == 0 ? "" : " ") + code(each.type);
        if (query || each.pValue == nullptr)
            text += (each.pValue == nullptr ? "@null/" : "@buffer/") + std::to_string(each.ulValueLen);
        else if (holdsTemplate(each.type))
            text += "@" + place(each.pValue, attributes) + ":" +
                    showTemplate(static_cast<const CK_ATTRIBUTE*>(each.pValue), each.ulValueLen / sizeof(CK_ATTRIBUTE),
                                 false);
        else
            text += "@" + place(each.pValue, attributes) + ":" + hex(each.pValue, each.ulValueLen);
    }
    return "[" + text + "]";
}

std::string structureOf(const CK_MECHANISM& mechanism, const Values& values)
{
    const std::string* requested = find(values, "as");
    const auto row = std::find_if(rows.begin(), rows.end(), [&](const Row& each) {
        return requested != nullptr ? each.name == *requested
                                    : std::find(each.mechanisms.begin(), each.mechanisms.end(), mechanism.mechanism) !=
                                          each.mechanisms.end();
    });
    const bool fits = row != rows.end() && mechanism.pParameter != nullptr;
    return fits && mechanism.ulParameterLen == parse(*row).size ? row->name : "";
}

std::string describe(const std::string& name, const void* structure)
{
    auto* start = static_cast<char*>(const_cast<void*>(structure));
    const Layout layout = layoutNamed(name);
    std::string text;
    for (const Field& field : layout.fields)
        if (const char* at = addressOf(field, start))
            text += (text.empty() ? "" : " ") + field.name + "=" + show(field, layout, at, start);
    return name + "{" + text + "}";
}

void fill(const std::string& name, void* structure, const Values& values)
{
    auto* start = static_cast<char*>(structure);
    const Layout layout = layoutNamed(name);
    for (const Field& field : layout.fields) {
        const std::string* value = find(values, field.name);
        char* at = addressOf(field, start);
        if (at != nullptr && find(values, field.name + ".pointer") != nullptr) {
            const CK_ULONG moved = number(values, field.name + ".pointer", 0);
            std::memcpy(at, &moved, sizeof moved);
        }
        if (value == nullptr || at == nullptr)
            continue;
        std::string bytes = unhex(*value);
        if (field.kind == "number" || field.kind == "code" || field.kind == "handle") {
            const CK_ULONG given = number(values, field.name, 0);
            const CK_ULONG word = field.kind == "handle" ? widened(given) : given;
            std::memcpy(at, &word, sizeof word);
        } else if (field.inPlace()) {
            bytes.resize(field.bytes(), field.kind == "text" ? ' ' : '\0');
            std::memcpy(at, bytes.data(), bytes.size());
        } else if (auto* to = load<char*>(at); to != nullptr && bytes.size() <= lengthBehind(field, layout, start)) {
            std::memcpy(to, bytes.data(), bytes.size());
        }
    }
}
