#include "stub_token.h"

#include <cstring>
#include <sstream>
#include <string_view>

#include "fake_jni.h"

StubToken token;

namespace {

std::string number(CK_ULONG value)
{
    std::ostringstream text;
    text << std::hex << value;
    return text.str();
}

std::string bytesAt(const void* bytes, CK_ULONG length)
{
    if (bytes == nullptr || length > 64)
        return bytes == nullptr ? "null" : "(" + std::to_string(length) + " bytes)";
    return "'" + hex({static_cast<const char*>(bytes), length}) + "'";
}

std::string takeTemplate(CK_ATTRIBUTE* entries, CK_ULONG count)
{
    std::string text = entries == nullptr ? " null" : "";
    for (CK_ULONG i = 0; i < count; ++i) {
        text += " " + number(entries[i].type) + "=" + bytesAt(entries[i].pValue, entries[i].ulValueLen);
        if (token.spoils)
            entries[i] = {};
    }
    return text;
}

std::string fillTemplate(CK_ATTRIBUTE* entries, CK_ULONG count)
{
    std::string text;
    for (CK_ULONG i = 0; i < count; ++i) {
        const std::string& value = token.attributes[entries[i].type];
        text += " " + number(entries[i].type) + "/" + number(entries[i].ulValueLen);
        if (entries[i].pValue != nullptr && value.size() <= entries[i].ulValueLen)
            std::memcpy(entries[i].pValue, value.data(), value.size());
        entries[i].ulValueLen = static_cast<CK_ULONG>(value.size());
    }
    return text;
}

template <std::size_t size>
void setText(CK_UTF8CHAR (&field)[size], std::string_view text)
{
    std::memset(field, ' ', size);
    std::memcpy(field, text.data(), text.size());
}

void fillInformation(std::string_view function, void* place)
{
    constexpr CK_VERSION one = {2, 20}, other = {3, 1};
    if (function == "C_GetInfo") {
        auto* info = static_cast<CK_INFO*>(place);
        *info = {one, {}, 7, {}, other};
        setText(info->manufacturerID, "maker");
        setText(info->libraryDescription, "two words\t");
    } else if (function == "C_GetSlotInfo") {
        auto* info = static_cast<CK_SLOT_INFO*>(place);
        *info = {{}, {}, 7, one, other};
        setText(info->slotDescription, "slot");
        setText(info->manufacturerID, "maker");
    } else if (function == "C_GetTokenInfo") {
        auto* info = static_cast<CK_TOKEN_INFO*>(place);
        *info = {{}, {}, {}, {}, 0x40, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, one, other, {}};
        setText(info->label, "label");
        setText(info->manufacturerID, "maker");
        setText(info->model, "model");
        setText(info->serialNumber, "1");
        setText(info->utcTime, "2024022900000000");
    } else if (function == "C_GetMechanismInfo") {
        *static_cast<CK_MECHANISM_INFO*>(place) = {1, 2, 0x80000003};
    } else {
        *static_cast<CK_SESSION_INFO*>(place) = {2, 0x80000003, 4, 5};
    }
}

std::string_view outputFor(char letter)
{
    static const CK_ULONG numbers[] = {1, 2, 0x80000003};
    static CK_VERSION version = {3, 2};
    static const CK_INTERFACE interfaces[] = {{"PKCS 11", &version, 1}};
    if (letter == 'O')
        return {reinterpret_cast<const char*>(numbers), sizeof numbers};
    if (letter == 'I')
        return {reinterpret_cast<const char*>(interfaces), sizeof interfaces};
    return token.answer;
}

} // namespace

CK_RV carryOut(const char* function, const char* letters, const std::uint64_t* word)
{
    constexpr std::string_view makers = "C_OpenSession C_CreateObject C_CopyObject C_GenerateKeyPair C_UnwrapKey "
                                        "C_DeriveKey C_EncapsulateKey C_DecapsulateKey";
    const std::string_view name = function;
    const bool makes = makers.find(name) != std::string_view::npos;
    const bool alone = name == "C_CloseAllSessions"; // under the lock whatever the library can do
    std::string text = (token.log.empty() ? "" : "; ") + std::string(name);
    CK_RV refused = CKR_OK;
    CK_ULONG last = 0;
    std::vector<CK_ULONG> made;
    if (fake.monitor != (alone ? 1 : token.monitor))
        text += " monitor=" + std::to_string(fake.monitor);
    for (; *letters != 0; ++letters, ++word) {
        auto* pointer = reinterpret_cast<char*>(*word);
        auto* result = reinterpret_cast<CK_ULONG*>(*word);
        auto value = static_cast<CK_ULONG>(*word); // the upper half of a CK_ULONG of 4 bytes is rubbish
        switch (*letters) {
        case 'n': text += " " + number(last = value); break;
        case 'b': text += " " + number(value & 0xFF); break;
        case 'z': text += pointer == nullptr ? "" : " not-null"; break;
        case 'i':
        case 'x': text += " " + bytesAt(pointer, static_cast<CK_ULONG>(*++word)); break;
        case 't': text += takeTemplate(reinterpret_cast<CK_ATTRIBUTE*>(pointer), static_cast<CK_ULONG>(*++word)); break;
        case 'g': text += fillTemplate(reinterpret_cast<CK_ATTRIBUTE*>(pointer), static_cast<CK_ULONG>(*++word)); break;
        case 'm': {
            const auto* mechanism = reinterpret_cast<const CK_MECHANISM*>(pointer);
            text += " {" + number(mechanism->mechanism) + " " +
                    bytesAt(mechanism->pParameter, mechanism->ulParameterLen) + "}";
            break;
        }
        case 's': fillInformation(name, pointer); break;
        case 'l': text += " '" + std::string(pointer, 32) + "'"; break;
        case 'r': made.push_back(*result = token.handle++); break;
        case 'f':
            text += " " + number(static_cast<CK_ULONG>(word[1]));
            *result = token.handle++;
            *reinterpret_cast<CK_ULONG*>(word[2]) = 1;
            break;
        case 'a':
            text += pointer == nullptr ? " null"
                                       : " flags=" + number(reinterpret_cast<CK_C_INITIALIZE_ARGS*>(pointer)->flags);
            refused = pointer == nullptr || token.canLock ? CKR_OK : CKR_CANT_LOCK;
            break;
        default: { // o, O, I
            std::string_view output = outputFor(*letters);
            std::size_t width = *letters == 'O' ? sizeof(CK_ULONG) : *letters == 'I' ? sizeof(CK_INTERFACE) : 1;
            auto length = static_cast<CK_ULONG>(output.size() / width);
            result = reinterpret_cast<CK_ULONG*>(*++word);
            text += " room=" + number(*result);
            refused = pointer != nullptr && length > *result ? CKR_BUFFER_TOO_SMALL : CKR_OK;
            if (pointer != nullptr && refused == CKR_OK)
                std::memcpy(pointer, output.data(), output.size());
            *result = length;
            break;
        }
        }
    }
    token.log += text;
    if (name == "C_CloseSession" || name == "C_DestroyObject")
        token.ended.push_back(last);
    CK_RV rv = token.rv != CKR_OK ? token.rv : refused;
    if (rv == CKR_OK && makes)
        token.made.insert(token.made.end(), made.begin(), made.end());
    return rv;
}

std::string ulongBytes(CK_ULONG value) { return {reinterpret_cast<const char*>(&value), sizeof value}; }
