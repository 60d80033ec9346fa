#include "hostile_token.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "fake_jni.h"
#include "function_arguments.h"

HostileToken hostile;

namespace {

Input& input()
{
    return *hostile.input;
}

CK_ULONG anyHandle()
{
    constexpr CK_ULONG edges[] = {0, 1, 0x80000000, 0xFFFFFFFF, 0x100000000, 0x58000000, ~CK_ULONG{0}, 0x7F00DEAD0000};
    return input().oneIn(4) ? input().of(edges) : input().oneIn(3) ? CK_ULONG{input().word()} : 0x20 + input().byte();
}

// A length near the room that there is, or anywhere.
CK_ULONG anyLength(CK_ULONG room)
{
    constexpr CK_ULONG edges[] = {0, 1, ~CK_ULONG{0}, 0x80000000, 0x7FFFFFFF, 0xFFFFFFFF, 8, 1 << 20};
    unsigned choice = input().byte();
    if (choice < 128)
        return choice % 40;
    return choice < 200 ? room : choice < 220 ? room + 1 : choice < 240 ? room - 1 : input().of(edges);
}

void fillBytes(void* bytes, CK_ULONG length)
{
    if (bytes != nullptr)
        std::memset(bytes, static_cast<int>(input().byte()), length);
}

unsigned sum; // what has been read; the sanitizer sees what must not be

void readBytes(const void* bytes, CK_ULONG length)
{
    for (CK_ULONG i = 0; bytes != nullptr && i < length; ++i)
        sum += static_cast<const unsigned char*>(bytes)[i];
}

bool holdsTemplate(CK_ATTRIBUTE_TYPE type)
{
    return type == CKA_WRAP_TEMPLATE || type == CKA_UNWRAP_TEMPLATE || type == CKA_DERIVE_TEMPLATE;
}

// Reads a template, and once in a while spoils it for whoever looks at it after the call.
void readTemplate(CK_ATTRIBUTE* entries, CK_ULONG count)
{
    for (CK_ULONG i = 0; entries != nullptr && i < count; ++i) {
        readBytes(entries[i].pValue, entries[i].ulValueLen);
        if (holdsTemplate(entries[i].type))
            readTemplate(static_cast<CK_ATTRIBUTE*>(entries[i].pValue), entries[i].ulValueLen / sizeof(CK_ATTRIBUTE));
        if (input().oneIn(32))
            entries[i] = {CKA_TOKEN, nullptr, 1};
    }
}

// Within a template another one is but bytes.
void fillEntry(CK_ATTRIBUTE* entry, bool within)
{
    CK_ULONG room = entry->pValue != nullptr ? entry->ulValueLen : 0;
    CK_ULONG length = anyLength(room);
    if (within || !holdsTemplate(entry->type)) {
        constexpr std::string_view day = "20240229";
        fillBytes(entry->pValue, std::min(length, room));
        if (entry->type == CKA_START_DATE && room >= day.size() && !input().oneIn(4))
            std::memcpy(entry->pValue, day.data(), day.size());
        entry->ulValueLen = length;
        return;
    }
    CK_ULONG count = input().oneIn(16) ? 1 << 20 : input().below(4); // more than a stack holds
    auto* inner = static_cast<CK_ATTRIBUTE*>(entry->pValue);
    for (CK_ULONG i = 0; i < room / sizeof(CK_ATTRIBUTE); ++i) {
        constexpr CK_ATTRIBUTE_TYPE types[] = {
            CKA_TOKEN,        CKA_CLASS, CKA_LABEL, CKA_ID, CKA_START_DATE, CKA_MODULUS, CKA_ALLOWED_MECHANISMS,
            CKA_WRAP_TEMPLATE};
        inner[i].type = inner[i].type != 0 && !input().oneIn(8) ? inner[i].type : input().of(types);
        fillEntry(inner + i, true);
    }
    entry->ulValueLen =
        room != 0 && !input().oneIn(8) ? room : count * sizeof(CK_ATTRIBUTE) + (input().oneIn(8) ? 1 : 0);
}

void fillTemplate(CK_ATTRIBUTE* entries, CK_ULONG count)
{
    for (CK_ULONG i = 0; entries != nullptr && i < count; ++i)
        fillEntry(entries + i, false);
}

void makeHandle(CK_ULONG* place, bool counted)
{
    *place = anyHandle();
    if (counted && *place != 0)
        hostile.made.push_back(*place);
}

// The keys that a derivation makes besides its own.
void writeKeyMaterial(CK_SSL3_KEY_MAT_OUT* material, CK_ULONG ivBits)
{
    CK_SSL3_KEY_MAT_OUT out; // it lies unaligned
    std::memcpy(&out, material, sizeof out);
    for (CK_ULONG* each : {&out.hClientMacSecret, &out.hServerMacSecret, &out.hClientKey, &out.hServerKey})
        makeHandle(each, true);
    fillBytes(out.pIVClient, ivBits / 8);
    fillBytes(out.pIVServer, ivBits / 8);
    std::memcpy(material, &out, sizeof out);
}

template <typename Params>
void writeMore(Params* params)
{
    for (CK_ULONG i = 0; i < params->ulAdditionalDerivedKeys; ++i) {
        readTemplate(params->pAdditionalDerivedKeys[i].pTemplate, params->pAdditionalDerivedKeys[i].ulAttributeCount);
        makeHandle(params->pAdditionalDerivedKeys[i].phKey, true);
    }
    for (CK_ULONG i = 0; i < params->ulNumberOfDataParams; ++i)
        readBytes(params->pDataParams[i].pValue, params->pDataParams[i].ulValueLen);
}

void writeParameter(const CK_MECHANISM& mechanism)
{
    void* params = mechanism.pParameter;
    switch (mechanism.mechanism) {
    case CKM_SSL3_KEY_AND_MAC_DERIVE:
    case CKM_TLS_KEY_AND_MAC_DERIVE: {
        auto* material = static_cast<CK_SSL3_KEY_MAT_PARAMS*>(params);
        return writeKeyMaterial(material->pReturnedKeyMaterial, material->ulIVSizeInBits);
    }
    case CKM_TLS12_KEY_AND_MAC_DERIVE: {
        auto* material = static_cast<CK_TLS12_KEY_MAT_PARAMS*>(params);
        return writeKeyMaterial(material->pReturnedKeyMaterial, material->ulIVSizeInBits);
    }
    case CKM_SP800_108_COUNTER_KDF: return writeMore(static_cast<CK_SP800_108_KDF_PARAMS*>(params));
    case CKM_SP800_108_FEEDBACK_KDF: return writeMore(static_cast<CK_SP800_108_FEEDBACK_KDF_PARAMS*>(params));
    case CKM_TLS_PRF: {
        auto* prf = static_cast<CK_TLS_PRF_PARAMS*>(params);
        return fillBytes(prf->pOutput, *prf->pulOutputLen);
    }
    case CKM_TLS12_MASTER_KEY_DERIVE:
        return fillBytes(static_cast<CK_TLS12_MASTER_KEY_DERIVE_PARAMS*>(params)->pVersion, sizeof(CK_VERSION));
    default: return readBytes(params, mechanism.ulParameterLen);
    }
}

// Moves a pointer within the parameter, or the parameter's own, to somewhere near the reservation or far from it.
void movePointer(CK_MECHANISM* mechanism)
{
    auto* start = reinterpret_cast<CK_BYTE_PTR>(mechanism);
    CK_BYTE_PTR targets[] = {nullptr, reinterpret_cast<CK_BYTE_PTR>(~std::uintptr_t{7}), start - 1,
                             start + input().byte(), start + 16 * input().byte()};
    CK_BYTE_PTR moved = input().of(targets);
    std::vector<void*> pointers = {&mechanism->pParameter};
    auto* parameter = static_cast<CK_BYTE_PTR>(mechanism->pParameter);
    for (CK_ULONG at = 0; at + sizeof moved <= mechanism->ulParameterLen; at += sizeof moved) {
        std::uintptr_t word = 0;
        std::memcpy(&word, parameter + at, sizeof word);
        if (word - reinterpret_cast<std::uintptr_t>(start) < 4096)
            pointers.push_back(parameter + at);
    }
    std::memcpy(pointers[input().below(pointers.size())], &moved, sizeof moved);
}

void takeMechanism(CK_MECHANISM* mechanism, bool derives)
{
    if (mechanism->pParameter == nullptr || hostile.hasMoved)
        return;
    if (derives && hostile.knowsParameter)
        writeParameter(*mechanism);
    else if (mechanism->mechanism == CKM_PBE_MD5_DES_CBC && hostile.knowsParameter)
        fillBytes(static_cast<CK_PBE_PARAMS*>(mechanism->pParameter)->pInitVector, 8);
    else
        readBytes(mechanism->pParameter, mechanism->ulParameterLen);
    if (input().oneIn(4)) {
        hostile.made.clear(); // what they lead to cannot be found any more
        hostile.hasMoved = true;
        movePointer(mechanism);
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
    constexpr CK_RV codes[] = {CKR_BUFFER_TOO_SMALL,       CKR_CANT_LOCK,
                               CKR_DEVICE_ERROR,           CKR_MECHANISM_PARAM_INVALID,
                               CKR_ARGUMENTS_BAD,          CKR_SESSION_HANDLE_INVALID,
                               CKR_OBJECT_HANDLE_INVALID,  CKR_SIGNATURE_INVALID,
                               CKR_ATTRIBUTE_TYPE_INVALID, ~CK_RV{0}};
    return input().oneIn(4) ? input().of(codes) : CKR_OK;
}

// Output of bytes, or of numbers of that width; its true length, whatever it says of it.
void putOutput(void* bytes, CK_ULONG* length, std::size_t width)
{
    CK_ULONG room = *length;
    *length = anyLength(room);
    fillBytes(bytes, std::min(*length, room) * width);
}

CK_RV carryOut(std::string_view name, const char* arguments, const std::uint64_t* word)
{
    if (fake.pending != nullptr)
        std::abort(); // nothing is to be called with an exception pending
    CK_RV rv = anyResult();
    bool ends = name == "C_CloseSession" || name == "C_DestroyObject";
    bool makes = rv == CKR_OK && name != "C_GetObjectSize" && name != "C_WaitForSlotEvent";
    for (; *arguments != 0; ++arguments, ++word) {
        auto* pointer = reinterpret_cast<void*>(*word);
        auto* number = reinterpret_cast<CK_ULONG*>(*word);
        switch (*arguments) {
        case 'n': hostile.asked = *word; break;
        case 'i': readBytes(pointer, *++word); break;
        case 'x': fillBytes(pointer, *++word); break;
        case 'l': readBytes(pointer, 32); break;
        case 't': readTemplate(static_cast<CK_ATTRIBUTE*>(pointer), *++word); break;
        case 'g': fillTemplate(static_cast<CK_ATTRIBUTE*>(pointer), *++word); break;
        case 'm': takeMechanism(static_cast<CK_MECHANISM*>(pointer), rv == CKR_OK && name == "C_DeriveKey"); break;
        case 's': fillBytes(pointer, sizeOfInformation(name)); break;
        case 'r':
            if (rv == CKR_OK || input().oneIn(4))
                makeHandle(number, makes);
            break;
        case 'f':
            *number = anyHandle();
            *reinterpret_cast<CK_ULONG*>(word[2]) = input().oneIn(4) ? anyLength(1) : 1;
            break;
        case 'o': putOutput(pointer, reinterpret_cast<CK_ULONG*>(*++word), 1); break;
        case 'O': putOutput(pointer, reinterpret_cast<CK_ULONG*>(*++word), sizeof(CK_ULONG)); break;
        default: break;
        }
    }
    if (ends)
        hostile.ended.push_back(hostile.asked);
    return rv;
}

// A function of the list as the library calls it.
template <auto member>
struct Entry;

template <typename... Arguments, CK_RV (*CK_FUNCTION_LIST::*member)(Arguments...)>
struct Entry<member>
{
    static inline const char* name;
    static inline const char* letters;

    static CK_RV call(Arguments... arguments)
    {
        const std::uint64_t words[] = {std::uint64_t(arguments)..., 0};
        return carryOut(name, letters, words);
    }
};

} // namespace

void fillHostileList(CK_FUNCTION_LIST* list, std::size_t missing)
{
    std::size_t index = 0;
#define FILL(function, arguments)                                                                                      \
    Entry<&CK_FUNCTION_LIST::function>::name = #function;                                                              \
    Entry<&CK_FUNCTION_LIST::function>::letters = arguments;                                                           \
    list->function = index++ == missing ? nullptr : Entry<&CK_FUNCTION_LIST::function>::call;
    CRYPTOKI_FUNCTIONS(FILL)
}
