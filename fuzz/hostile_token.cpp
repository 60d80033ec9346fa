#include "hostile_token.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "bridge/cryptoki_parameters.h"
#include "java_values.h"
#include "marshal/attribute_kinds.h"

HostileToken hostile;

namespace {

CK_ULONG anyHandle()
{
    constexpr CK_ULONG edges[] = {0, 1, 0x80000000, 0xFFFFFFFF, 0x100000000, 0x58000000, ~CK_ULONG{0}, 0x7F00DEAD0000};
    return input.oneIn(4) ? input.of(edges) : input.oneIn(3) ? CK_ULONG{input.word()} : 0x20 + input.byte();
}

// A length, often by one beyond the room that there is.
CK_ULONG anyLength(CK_ULONG room)
{
    constexpr CK_ULONG edges[] = {0, 1, ~CK_ULONG{0}, 0x80000000, 0x7FFFFFFF, 0xFFFFFFFF, 8, 1 << 20};
    unsigned choice = input.byte();
    if (choice < 96)
        return choice % 40;
    return choice < 160 ? room : choice < 232 ? room + 1 : choice < 240 ? room - 1 : input.of(edges);
}

void fillBytes(void* bytes, CK_ULONG length)
{
    if (bytes != nullptr)
        std::memset(bytes, static_cast<int>(input.byte()), length);
}

// The sanitizer sees what must not be read.
void readBytes(const void* bytes, CK_ULONG length)
{
    [[maybe_unused]] static volatile unsigned read;
    unsigned sum = 0;
    for (CK_ULONG i = 0; bytes != nullptr && i < length; ++i)
        sum += static_cast<const unsigned char*>(bytes)[i];
    read = sum;
}

// Reads a template, and once in a while spoils it for whoever looks at it after the call.
void readTemplate(CK_ATTRIBUTE* entries, CK_ULONG count)
{
    for (CK_ULONG i = 0; entries != nullptr && i < count; ++i) {
        readBytes(entries[i].pValue, entries[i].ulValueLen);
        if (attributeKind(entries[i].type) == ValueKind::attributes)
            readTemplate(static_cast<CK_ATTRIBUTE*>(entries[i].pValue), entries[i].ulValueLen / sizeof(CK_ATTRIBUTE));
        if (input.oneIn(32))
            entries[i] = {CKA_TOKEN, nullptr, 1};
    }
}

// Within a template another one is but bytes.
void fillTemplate(CK_ATTRIBUTE* entries, CK_ULONG count, bool within = false)
{
    for (CK_ULONG i = 0; entries != nullptr && i < count; ++i) {
        CK_ATTRIBUTE& entry = entries[i];
        if (within && (entry.type == 0 || input.oneIn(8)))
            entry.type = static_cast<std::uint32_t>(anyAttribute());
        ValueKind kind = attributeKind(entry.type);
        CK_ULONG room = entry.pValue != nullptr ? entry.ulValueLen : 0;
        CK_ULONG length = anyLength(room);
        if (kind == ValueKind::attributes && !within) {
            fillTemplate(static_cast<CK_ATTRIBUTE*>(entry.pValue), room / sizeof(CK_ATTRIBUTE), true);
            CK_ULONG inner = input.oneIn(16) ? 1 << 20 : input.below(4); // the former is more than a stack holds
            if (room == 0 || input.oneIn(8))
                length = inner * sizeof(CK_ATTRIBUTE) + (input.oneIn(8) ? 1 : 0);
        } else {
            fillBytes(entry.pValue, std::min(length, room));
            if (kind == ValueKind::date && room >= sizeof(CK_DATE) && !input.oneIn(4))
                std::memcpy(entry.pValue, input.oneIn(4) ? " -1+2  3" : "20240229", sizeof(CK_DATE));
        }
        entry.ulValueLen = length;
    }
}

void makeHandle(CK_ULONG* place, bool counted)
{
    *place = anyHandle();
    if (counted && *place != 0)
        hostile.made.push_back(*place);
}

void useKeyMaterial(CK_SSL3_KEY_MAT_OUT* material, CK_ULONG ivSize, bool derives)
{
    CK_SSL3_KEY_MAT_OUT out; // it lies unaligned
    std::memcpy(&out, material, sizeof out);
    for (CK_ULONG* each : {&out.hClientMacSecret, &out.hServerMacSecret, &out.hClientKey, &out.hServerKey})
        makeHandle(each, derives);
    fillBytes(out.pIVClient, ivSize);
    fillBytes(out.pIVServer, ivSize);
    std::memcpy(material, &out, sizeof out);
}

// Reads and writes what a structure points to, and creates the keys that a derivation has besides its own.
template <typename Structure>
void use(void* parameter, bool derives)
{
    auto* params = static_cast<Structure*>(parameter);
#define READ_BLOCK(block, length)                                                                                      \
    if constexpr (requires { params->length; })                                                                        \
        readBytes(params->block, params->length);
    READ_BLOCK(pIv, ulIvLen)
    READ_BLOCK(pAAD, ulAADLen)
    READ_BLOCK(pSourceData, ulSourceDataLen)
    READ_BLOCK(pSharedData, ulSharedDataLen)
    READ_BLOCK(pPublicData, ulPublicDataLen)
    if constexpr (requires { params->pInitVector; })
        fillBytes(params->pInitVector, 8);
    if constexpr (requires { params->pVersion; })
        fillBytes(params->pVersion, sizeof(CK_VERSION));
    if constexpr (requires { params->pOutput; })
        fillBytes(params->pOutput, *params->pulOutputLen);
    if constexpr (requires { params->pReturnedKeyMaterial; })
        useKeyMaterial(params->pReturnedKeyMaterial, params->ulIVSizeInBits / 8, derives);
    if constexpr (requires { params->pAdditionalDerivedKeys; }) {
        for (CK_ULONG i = 0; i < params->ulAdditionalDerivedKeys; ++i) {
            const CK_DERIVED_KEY& key = params->pAdditionalDerivedKeys[i];
            readTemplate(key.pTemplate, key.ulAttributeCount);
            makeHandle(key.phKey, derives);
        }
        for (CK_ULONG i = 0; i < params->ulNumberOfDataParams; ++i)
            readBytes(params->pDataParams[i].pValue, params->pDataParams[i].ulValueLen);
    }
}

// The structures with outputs or with lengths that Java sets by itself, by their classes in Java.
struct
{
    std::string_view javaClass;
    void (*use)(void* parameter, bool derives);
} constexpr kStructures[] = {
#define STRUCTURE(name) {"/" #name, use<name>}
    {"/PKCS11MechPar_PBE", use<CK_PBE_PARAMS>},
    STRUCTURE(CK_GCM_PARAMS),
    STRUCTURE(CK_RSA_PKCS_OAEP_PARAMS),
    STRUCTURE(CK_ECDH1_DERIVE_PARAMS),
    STRUCTURE(CK_TLS_PRF_PARAMS),
    STRUCTURE(CK_SSL3_MASTER_KEY_DERIVE_PARAMS),
    STRUCTURE(CK_TLS12_MASTER_KEY_DERIVE_PARAMS),
    STRUCTURE(CK_SSL3_KEY_MAT_PARAMS),
    STRUCTURE(CK_TLS12_KEY_MAT_PARAMS),
    STRUCTURE(CK_SP800_108_KDF_PARAMS),
    STRUCTURE(CK_SP800_108_FEEDBACK_KDF_PARAMS),
};

// Moves the parameter, or a pointer in it, to somewhere near the reservation or far from it; a number is spoilt so.
void spoilWord(CK_MECHANISM* mechanism)
{
    auto* start = reinterpret_cast<CK_BYTE_PTR>(mechanism);
    CK_BYTE_PTR targets[] = {nullptr, reinterpret_cast<CK_BYTE_PTR>(~std::uintptr_t{7}), start - 1,
                             start + input.byte(), start + std::size_t{16} * input.byte()};
    CK_BYTE_PTR moved = input.of(targets);
    std::size_t word = input.below(mechanism->ulParameterLen / sizeof moved + 1);
    auto* end = static_cast<CK_BYTE_PTR>(mechanism->pParameter) + word * sizeof moved;
    std::memcpy(word == 0 ? reinterpret_cast<CK_BYTE_PTR>(&mechanism->pParameter) : end - sizeof moved, &moved,
                sizeof moved);
}

void takeMechanism(CK_MECHANISM* mechanism, bool derives)
{
    if (mechanism->pParameter == nullptr || hostile.hasSpoilt)
        return;
    readBytes(mechanism->pParameter, mechanism->ulParameterLen);
    for (const auto& each : kStructures)
        if (hostile.parameter != nullptr && hostile.parameter->type.ends_with(each.javaClass))
            each.use(mechanism->pParameter, derives);
    if (input.oneIn(4)) {
        hostile.made.clear(); // the library cannot find them any more
        hostile.hasSpoilt = true;
        spoilWord(mechanism);
    }
}

std::size_t sizeOfInformation(std::string_view function)
{
    return function == "C_GetInfo"            ? sizeof(CK_INFO)
           : function == "C_GetSlotInfo"      ? sizeof(CK_SLOT_INFO)
           : function == "C_GetTokenInfo"     ? sizeof(CK_TOKEN_INFO)
           : function == "C_GetMechanismInfo" ? sizeof(CK_MECHANISM_INFO)
                                              : sizeof(CK_SESSION_INFO);
}

CK_RV anyResult()
{
    constexpr CK_RV codes[] = {CKR_BUFFER_TOO_SMALL, CKR_CANT_LOCK,         CKR_ARGUMENTS_BAD,
                               CKR_DEVICE_ERROR,     CKR_SIGNATURE_INVALID, CKR_ATTRIBUTE_TYPE_INVALID,
                               CKR_VENDOR_DEFINED};
    return input.oneIn(4) ? input.of(codes) : CKR_OK;
}

// What lies in a direct buffer ends in it, which the sanitizer does not see.
void checkBuffers(std::uint64_t block, CK_ULONG length)
{
    for (const Object& each : fake.objects) {
        std::uint64_t offset = block - reinterpret_cast<std::uint64_t>(each.bytes.data());
        std::size_t capacity = each.bytes.size();
        if (each.type == "java/nio/DirectByteBuffer" && offset <= capacity && length > capacity - offset)
            std::abort();
    }
}

// Output of bytes, numbers or interfaces, and their number, true or not.
void putOutput(char letter, void* output, CK_ULONG* length)
{
    static char name[] = "an interface of which the name is longer than any that a module has, to be cut short";
    static CK_VERSION version = {3, 2};
    CK_ULONG room = *length;
    *length = anyLength(room);
    CK_ULONG count = output != nullptr ? std::min(*length, room) : 0;
    auto* interfaces = static_cast<CK_INTERFACE*>(output);
    for (CK_ULONG i = 0; letter == 'I' && i < count; ++i)
        interfaces[i] = {input.oneIn(4) ? nullptr : name, input.oneIn(4) ? nullptr : &version, input.byte()};
    if (letter != 'I')
        fillBytes(output, count * (letter == 'o' ? 1 : sizeof(CK_ULONG)));
}

} // namespace

CK_RV carryOut(const char* function, const char* letters, const std::uint64_t* word)
{
    if (fake.pending != nullptr)
        std::abort(); // nothing is to be called with an exception pending
    const std::string_view name = function;
    CK_RV rv = anyResult();
    bool makes = rv == CKR_OK && name != "C_GetObjectSize" && name != "C_WaitForSlotEvent";
    CK_ULONG last = 0;
    for (; *letters != 0; ++letters, ++word) {
        auto* pointer = reinterpret_cast<char*>(*word);
        auto* number = reinterpret_cast<CK_ULONG*>(*word);
        auto* length = reinterpret_cast<CK_ULONG*>(word[1]);
        switch (*letters) {
        case 'n': last = *word; break;
        case 'i':
            checkBuffers(word[0], word[1]);
            readBytes(pointer, *++word);
            break;
        case 'x': fillBytes(pointer, *++word); break;
        case 'l': readBytes(pointer, 32); break;
        case 't': readTemplate(reinterpret_cast<CK_ATTRIBUTE*>(pointer), *++word); break;
        case 'g': fillTemplate(reinterpret_cast<CK_ATTRIBUTE*>(pointer), *++word); break;
        case 'm': takeMechanism(reinterpret_cast<CK_MECHANISM*>(pointer), rv == CKR_OK && name == "C_DeriveKey"); break;
        case 's': fillBytes(pointer, sizeOfInformation(name)); break;
        case 'r':
            if (rv == CKR_OK || input.oneIn(4))
                makeHandle(number, makes);
            break;
        case 'f':
            *number = anyHandle();
            *reinterpret_cast<CK_ULONG*>(word[2]) = input.oneIn(4) ? anyLength(1) : 1;
            break;
        case 'o':
        case 'O':
        case 'I':
            checkBuffers(*word, *length);
            putOutput(*letters, pointer, length);
            ++word;
            break;
        default: break;
        }
    }
    if (name == "C_CloseSession" || name == "C_DestroyObject")
        hostile.ended.push_back(last);
    return rv;
}
