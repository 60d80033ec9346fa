#include <sstream>

#include "call.h"

std::vector<Argument> argumentsOf(const Function& function, const std::vector<Word>& words)
{
    std::vector<Argument> arguments;
    const Word* next = words.data();
    std::istringstream parameters(function.parameters);
    for (std::string word; parameters >> word;) {
        const std::size_t colon = word.find(':');
        Argument& each = arguments.emplace_back(Argument{word.substr(0, colon), word.substr(colon + 1), next});
        const bool two = each.is({"in", "template", "query", "out", "buffer", "list", "interfaces"});
        next += two ? 2 : each.kind == "found" ? 3 : 1;
    }
    return arguments;
}

namespace {

std::string showMechanism(const CK_MECHANISM& mechanism, const Values& values)
{
    const auto& [type, bytes, length] = mechanism;
    const std::string text = code(type) + " parameter=" + place(bytes, &mechanism);
    const std::string structure = structureOf(mechanism, values);
    if (!structure.empty())
        return text + " " + describe(structure, bytes);
    return text + "/" + std::to_string(length) + (bytes == nullptr ? "" : ":" + hex(bytes, length));
}

/// Some modules read labels and PINs as C strings: each is followed by a zero.
std::string unlessTerminated(const char* text, CK_ULONG length)
{
    return text == nullptr || text[length] == 0 ? "" : "+unterminated";
}

} // namespace

void show(Call& call, const Argument& argument)
{
    const auto& [name, kind, words] = argument;
    const bool null = words[0] == 0;
    std::string label = name;
    std::string shown = code(argument.isHandle() ? narrowed(words[0]) : words[0]);
    if (kind == "count") {
        shown = std::to_string(words[0]);
    } else if (kind == "pointer") {
        shown = null ? "null" : "set";
    } else if (kind == "label") {
        shown = showBytes(pointer<const void>(words[0]), 32) + unlessTerminated(pointer<const char>(words[0]), 32);
    } else if (kind == "in") {
        shown = showBytes(pointer<const void>(words[0]), words[1]);
        if (name.ends_with("pin") || name.ends_with("Pin"))
            shown += unlessTerminated(pointer<const char>(words[0]), words[1]);
        if (call.input.empty() && !null)
            call.input = shown;
    } else if (argument.is({"template", "query"})) {
        shown = showTemplate(pointer<const CK_ATTRIBUTE>(words[0]), words[1], kind == "query");
    } else if (kind == "mechanism") {
        shown = null ? "null" : showMechanism(*pointer<const CK_MECHANISM>(words[0]), *call.values);
    } else if (argument.is({"out", "list", "interfaces"})) {
        label = "capacity";
        shown = null || words[1] == 0 ? "null" : std::to_string(*pointer<const CK_ULONG>(words[1]));
    } else if (argument.is({"buffer", "found"})) {
        label = "capacity";
        shown = null ? "null" : std::to_string(words[1]);
    } else if (kind == "CK_C_INITIALIZE_ARGS" && !null) {
        shown = describe(kind, pointer<const void>(words[0]));
    } else if (argument.is({"result", "functions"}) || kind.starts_with("CK_")) {
        if (!null)
            return;
        shown = "null";
    }
    call.text += " " + label + "=" + shown;
}
