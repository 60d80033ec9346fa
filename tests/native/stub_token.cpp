#include "stub_token.h"

#include <cstring>
#include <sstream>
#include <string_view>

#include "fake_jni.h"
#include "function_arguments.h"

StubToken token;

namespace {

using U = unsigned long;

// In CK_ATTRIBUTE and CK_MECHANISM: a number, a pointer, a length.
constexpr std::size_t kPointerAt = packed ? 4 : 8;
constexpr std::size_t kLengthAt = packed ? 12 : 16;
constexpr std::size_t kEntrySize = packed ? 16 : 24;

#define FUNCTION(name, arguments) {#name, arguments},
constexpr std::pair<const char*, const char*> kFunctions[] = {CRYPTOKI_FUNCTIONS(FUNCTION)};
constexpr std::size_t kFunctionCount = std::size(kFunctions);
static_assert(kFunctionCount == 68);

constexpr U kTooSmall = 0x150;
constexpr U kCannotLock = 0xA;

template <typename T>
T at(const void* memory, std::size_t offset)
{
    T value;
    std::memcpy(&value, static_cast<const char*>(memory) + offset, sizeof value);
    return value;
}

std::string number(U value)
{
    std::ostringstream text;
    text << std::hex << value;
    return text.str();
}

std::string bytesAt(const char* bytes, U length)
{
    if (bytes == nullptr || length > 64)
        return bytes == nullptr ? "null" : "(" + std::to_string(length) + " bytes)";
    return "'" + hex({bytes, length}) + "'";
}

std::string showTemplate(const char* entries, U count)
{
    std::string text = entries == nullptr ? " null" : "";
    for (U i = 0; i < count; ++i, entries += kEntrySize)
        text +=
            " " + number(at<U>(entries, 0)) + "=" + bytesAt(at<char*>(entries, kPointerAt), at<U>(entries, kLengthAt));
    return text;
}

std::string fillTemplate(char* entries, U count)
{
    std::string text;
    for (U i = 0; i < count; ++i, entries += kEntrySize) {
        const std::string& value = token.attributes[at<U>(entries, 0)];
        auto length = static_cast<U>(value.size());
        text += " " + number(at<U>(entries, 0)) + "/" + number(at<U>(entries, kLengthAt));
        if (at<char*>(entries, kPointerAt) != nullptr && length <= at<U>(entries, kLengthAt))
            std::memcpy(at<char*>(entries, kPointerAt), value.data(), length);
        std::memcpy(entries + kLengthAt, &length, sizeof length);
    }
    return text;
}

std::string shownBy(const std::string& layout, const char* memory, unsigned long length)
{
    std::istringstream items(layout);
    std::string text = std::to_string(length);
    std::string item;
    for (items >> item; items >> item;) {
        std::size_t kind = item.find(':') + 1;
        const char* place = memory + std::stoul(item);
        std::string shown = "-";
        if (item[kind] == 'u')
            shown = std::to_string(at<U>(place, 0));
        else if (item[kind] == 'b')
            shown = std::to_string(*place);
        else if (item[kind] == 'x')
            shown = hex({place, (item.size() - kind - 1) / 2});
        else if (at<char*>(place, 0) != nullptr)
            shown = std::to_string(at<char*>(place, 0) - memory);
        text += " " + item.substr(0, kind + 1) + shown;
    }
    return text;
}

std::string takeMechanism(const char* mechanism)
{
    token.mechanism = at<U>(mechanism, 0);
    char* parameter = at<char*>(mechanism, kPointerAt);
    U length = at<U>(mechanism, kLengthAt);
    std::string text = token.layout.empty() ? bytesAt(parameter, length) : shownBy(token.layout, parameter, length);
    for (const auto& [offset, bytes] : token.returned)
        std::memcpy(parameter + offset, bytes.data(), bytes.size());
    for (const auto& [offset, distance] : token.moved) {
        char* target = parameter + distance;
        std::memcpy(parameter + offset, &target, sizeof target);
    }
    return " {" + text + "}";
}

U outputLength(char argument) { return static_cast<U>(token.answer.size() / (argument == 'O' ? sizeof(U) : 1)); }

// Keeps account of a call: what it has made, beginning with that handle, or what it was asked to end.
void note(std::string_view name, U rv, U first, U last)
{
    constexpr std::string_view makers =
        "C_OpenSession C_CreateObject C_CopyObject C_GenerateKeyPair C_UnwrapKey C_DeriveKey";
    if (name == "C_CloseSession" || name == "C_DestroyObject")
        token.ended.push_back(last);
    if (rv != 0 || makers.find(name) == std::string_view::npos)
        return;
    for (U handle = first; handle < token.handle; ++handle)
        token.made.push_back(handle);
    if (name == "C_DeriveKey")
        token.made.insert(token.made.end(), token.more.begin(), token.more.end());
}

U carryOut(const char* name, const char* arguments, const uint64_t* word)
{
    std::string text = (token.log.empty() ? "" : "; ") + std::string(name);
    U refused = 0;
    U last = 0;
    const U first = token.handle;
    const bool alone = name == std::string_view("C_CloseAllSessions"); // under the lock whatever the library can do
    if (fake.monitor != (alone ? 1 : token.monitor))
        text += " monitor=" + std::to_string(fake.monitor);
    for (; *arguments != 0; ++arguments, ++word) {
        auto* pointer = reinterpret_cast<char*>(*word);
        auto* result = reinterpret_cast<U*>(*word);
        auto value = static_cast<U>(*word); // the upper half of a CK_ULONG of 4 bytes is rubbish
        switch (*arguments) {
        case 'n': text += " " + number(last = value); break;
        case 'b': text += " " + number(value & 0xFF); break;
        case 'z': text += pointer == nullptr ? "" : " not-null"; break;
        case 'i':
        case 'x': text += " " + bytesAt(pointer, static_cast<U>(*++word)); break;
        case 't':
            text += showTemplate(pointer, static_cast<U>(*++word));
            if (token.spoils && pointer != nullptr)
                std::memset(pointer, 0, kEntrySize * static_cast<U>(*word));
            break;
        case 'g': text += fillTemplate(pointer, static_cast<U>(*++word)); break;
        case 'm': text += takeMechanism(pointer); break;
        case 's': std::memcpy(pointer, token.answer.data(), token.answer.size()); break;
        case 'l': text += " '" + std::string(pointer, 32) + "'"; break;
        case 'r': *result = token.handle++; break;
        case 'f':
            text += " " + number(static_cast<U>(word[1]));
            *result = token.handle++;
            *reinterpret_cast<U*>(word[2]) = 1;
            break;
        case 'a':
            text += pointer == nullptr ? " null" : " flags=" + number(at<U>(pointer, 32));
            refused = pointer == nullptr || token.canLock ? 0 : kCannotLock;
            break;
        case 'o':
        case 'O':
            result = reinterpret_cast<U*>(*++word);
            text += " room=" + number(*result);
            refused = pointer != nullptr && outputLength(*arguments) > *result ? kTooSmall : 0;
            if (pointer != nullptr && refused == 0)
                std::memcpy(pointer, token.answer.data(), token.answer.size());
            *result = outputLength(*arguments);
            break;
        }
    }
    token.log += text;
    U rv = token.rv != 0 ? token.rv : refused;
    note(name, rv, first, last);
    return rv;
}

template <std::size_t index>
U called(uint64_t a, uint64_t b, uint64_t c, uint64_t d, uint64_t e, uint64_t f, uint64_t g, uint64_t h)
{
    const uint64_t words[] = {a, b, c, d, e, f, g, h};
    return carryOut(kFunctions[index].first, kFunctions[index].second, words);
}

template <std::size_t... index>
void fill(char* entries, std::index_sequence<index...>)
{
    // No function has more than 8 arguments, and each of them is one word: those that are not there are not looked at.
    U(*const functions[])
    (uint64_t, uint64_t, uint64_t, uint64_t, uint64_t, uint64_t, uint64_t, uint64_t) = {called<index>...};
    std::memcpy(entries, functions, sizeof functions);
}

} // namespace

std::string ulongBytes(unsigned long value) { return {reinterpret_cast<const char*>(&value), sizeof value}; }

void fillFunctionList(int64_t list)
{
    fill(reinterpret_cast<char*>(list) + (packed ? 2 : 8), std::make_index_sequence<kFunctionCount>());
}
