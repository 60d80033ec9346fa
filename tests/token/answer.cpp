#include <cstdlib>
#include <cstring>
#include <sstream>

#include "call.h"

namespace {

/// Whether the answer leaves an output unchanged.
bool untouched(const Call& call, const std::string& name)
{
    return call.failing && find(*call.values, name) == nullptr && find(*call.values, name + ".length") == nullptr;
}

/// Numbers divided by commas, as bytes in memory.
std::string numbers(const std::string& text, bool handles)
{
    std::string bytes;
    std::istringstream words(text);
    for (std::string word; std::getline(words, word, ',');) {
        const CK_ULONG given = std::strtoul(word.c_str(), nullptr, 0);
        const CK_ULONG value = handles ? widened(given) : given;
        bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
    }
    return bytes;
}

/// Copies an output into its buffer and reports its length, or the length that the answer names ("keep": unchanged). A
/// buffer that is too small is CKR_BUFFER_TOO_SMALL.
void putOutput(Call& call, const Argument& argument)
{
    const auto& [name, kind, words] = argument;
    auto* length = kind == "buffer" ? nullptr : pointer<CK_ULONG>(words[kind == "found" ? 2 : 1]);
    if (untouched(call, name) || (kind != "buffer" && length == nullptr))
        return;
    const std::string* scripted = find(*call.values, name);
    const std::string text = scripted != nullptr ? *scripted : call.failing ? "" : call.input;
    const bool ofNumbers = argument.is({"list", "found"});
    const std::string bytes = ofNumbers ? numbers(text, argument.isHandle()) : unhex(text);
    const CK_ULONG count = bytes.size() / (ofNumbers ? sizeof(CK_ULONG) : 1);
    const CK_ULONG capacity = argument.is({"buffer", "found"}) ? words[1] : *length;
    if (words[0] != 0 && count > capacity)
        call.rv = CKR_BUFFER_TOO_SMALL;
    else if (words[0] != 0)
        std::memcpy(pointer<void>(words[0]), bytes.data(), bytes.size());
    const std::string* reported = find(*call.values, name + ".length");
    if (length != nullptr && (reported == nullptr || *reported != "keep"))
        *length = number(*call.values, name + ".length", count);
}

void putAttributes(Call& call, CK_ATTRIBUTE* attributes, CK_ULONG count);

/// A template that is a value, as "type:value,type:value,type.length:number": its size, or its attributes.
void putTemplate(Call& call, CK_ATTRIBUTE& attribute, std::string text)
{
    std::replace(text.begin(), text.end(), ':', '=');
    std::replace(text.begin(), text.end(), ',', ' ');
    const Values within = parseValues(text);
    const auto isLength = [](const auto& value) { return value.first.ends_with(".length"); };
    const auto lengths = static_cast<CK_ULONG>(std::count_if(within.begin(), within.end(), isLength));
    const CK_ULONG size = (within.size() - lengths) * sizeof(CK_ATTRIBUTE);
    auto* entry = static_cast<CK_ATTRIBUTE*>(attribute.pValue);
    if (entry != nullptr && attribute.ulValueLen < size) {
        call.rv = CKR_BUFFER_TOO_SMALL;
        return;
    }
    attribute.ulValueLen = number(*call.values, code(attribute.type) + ".length", size);
    for (auto it = within.begin(); entry != nullptr && it != within.end(); ++it) {
        if (isLength(*it))
            continue;
        entry->type = std::strtoul(it->first.c_str(), nullptr, 0);
        Call one{&within};
        putAttributes(one, entry++, 1);
        call.rv = call.rv == CKR_OK ? one.rv : call.rv;
    }
}

void putAttributes(Call& call, CK_ATTRIBUTE* attributes, CK_ULONG count)
{
    for (CK_ULONG i = 0; attributes != nullptr && i < count; ++i) {
        CK_ATTRIBUTE& each = attributes[i];
        const std::string name = code(each.type);
        if (untouched(call, name))
            continue;
        if (const std::string* text = find(*call.values, name); text != nullptr && holdsTemplate(each.type)) {
            putTemplate(call, each, *text);
            continue;
        }
        CK_ULONG length = each.ulValueLen;
        const Word output[] = {Word(each.pValue), Word(&length)};
        Call one{call.values, call.failing};
        putOutput(one, {name, "out", output});
        if (find(*call.values, name) == nullptr && !call.failing)
            one.rv = CKR_ATTRIBUTE_TYPE_INVALID;
        each.ulValueLen = one.rv == CKR_OK ? length : CK_UNAVAILABLE_INFORMATION;
        call.rv = call.rv == CKR_OK ? one.rv : call.rv;
    }
}

void putParameter(Call& call, const CK_MECHANISM& mechanism)
{
    const std::string structure = structureOf(mechanism, *call.values);
    const std::string* flat = find(*call.values, "parameter");
    if (!structure.empty()) {
        fill(structure, mechanism.pParameter, *call.values);
    } else if (mechanism.pParameter != nullptr && flat != nullptr) {
        const std::string bytes = unhex(*flat);
        std::memcpy(mechanism.pParameter, bytes.data(), std::min(bytes.size(), mechanism.ulParameterLen));
    }
}

void putInterfaces(Call& call, const Argument& argument)
{
    const Word* words = argument.words;
    const CK_ULONG count = number(*call.values, argument.name, 0);
    for (CK_ULONG i = 0; words[0] != 0 && i < std::min(count, *pointer<CK_ULONG>(words[1])); ++i)
        pointer<CK_INTERFACE>(words[0])[i] = {"PKCS 11", i == 0 ? static_cast<void*>(&extended) : &list, i};
    *pointer<CK_ULONG>(words[1]) = number(*call.values, argument.name + ".length", count);
}

void putResult(CK_ULONG& to, CK_ULONG value, bool handle) { to = handle ? widened(value) : value; }

} // namespace

void answer(Call& call, const Argument& argument, CK_OBJECT_HANDLE& nextObject)
{
    const auto& [name, kind, words] = argument;
    const std::string* scripted = find(*call.values, name);
    call.isQuery = call.isQuery || (kind == "out" && words[0] == 0);
    if (argument.is({"out", "buffer", "list", "found"}))
        putOutput(call, argument);
    else if (kind == "interfaces")
        putInterfaces(call, argument);
    else if (words[0] == 0)
        return;
    else if (kind == "in" && find(*call.values, "scribble") != nullptr)
        std::memset(pointer<void>(words[0]), 0xEE, words[1]);
    else if (kind == "query")
        putAttributes(call, pointer<CK_ATTRIBUTE>(words[0]), words[1]);
    else if (kind == "mechanism")
        putParameter(call, *pointer<CK_MECHANISM>(words[0]));
    else if (kind.starts_with("CK_"))
        fill(kind, pointer<void>(words[0]), *call.values);
    else if (kind == "result" && !untouched(call, name) && (scripted != nullptr || !call.isQuery))
        putResult(*pointer<CK_ULONG>(words[0]), scripted != nullptr ? number(*call.values, name, 0) : nextObject++,
                  argument.isHandle());
    else if (kind == "functions" && scripted != nullptr)
        *pointer<List*>(words[0]) = *scripted == "new" ? new List(list) : nullptr; // a caller may keep it for ever
    else if (kind == "functions" && !call.failing)
        *pointer<List*>(words[0]) = &list;
}
