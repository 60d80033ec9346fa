#include "java_values.h"

#include <iterator>
#include <utility>

#include "bridge/cryptoki.h"
#include "marshal/attribute_kinds.h"

namespace {

// The entries of a template: a few, or so many, in turn, that a local reference left behind by each is too many.
constexpr std::size_t kDifferent = 6;
constexpr std::size_t kMany = 200;
constexpr std::size_t kMore = 9000; // than a stack holds, whatever their values

using enum ValueKind;

constexpr std::pair<CK_ATTRIBUTE_TYPE, ValueKind> kAttributes[] = {
#include "attribute_rows.h"
};

constexpr CK_MECHANISM_TYPE kMechanisms[] = {
#include "mechanism_rows.h"
};

// The content of an array or a String.
std::string anyContent()
{
    constexpr std::size_t large[] = {300, 4096, 20000, 100000, 8, 16};
    unsigned choice = input.byte();
    std::size_t size = choice >= 240 ? input.of(large) : choice % 48;
    return std::string(size, static_cast<char>(choice));
}

// The class in a signature "Lclass;".
std::string classIn(const std::string& signature)
{
    return signature.substr(1, signature.size() - 2);
}

Ref anyArray(const std::string& signature)
{
    Ref array = newObjects({});
    array.object->type = signature;
    for (std::size_t count = input.below(4); count > 0; --count)
        array.object->elements.push_back(input.oneIn(16) ? nullptr : make(classIn(signature.substr(1))).object);
    return array;
}

Ref anyReference(Object& owner, const std::string& name, const std::string& signature)
{
    if (signature == "[B")
        return newBytes(name == "toByteArray:()[B" ? owner.bytes : anyContent());
    if (signature == "[I")
        return anyTypes(true);
    if (signature == "[Ljava/lang/Object;")
        return anyValues({reinterpret_cast<Object*>(owner.fields["types:[I"])});
    if (signature == "Ljava/lang/Object;")
        return anyObject();
    return signature[0] == '[' ? anyArray(signature) : make(classIn(signature));
}

} // namespace

jint anyInt()
{
    constexpr jint edges[] = {0, 1, -1, 8, 16, 64, 128, 4096, INT32_MAX, INT32_MIN, INT32_MAX - 8, -8, 0x10000};
    return input.oneIn(2)   ? static_cast<jint>(input.word(4))
           : input.oneIn(2) ? input.of(edges)
                            : static_cast<jint>(input.byte()) + 1;
}

jint anyAttribute()
{
    return input.oneIn(16) ? anyInt() : static_cast<jint>(input.of(kAttributes).first);
}

jint anyMechanism()
{
    return input.oneIn(16) ? anyInt() : static_cast<jint>(input.of(kMechanisms));
}

Ref anyTypes(bool within)
{
    if (input.oneIn(32))
        return {};
    std::vector<jint> types(input.oneIn(128) && !within ? kMore : input.oneIn(16) ? kMany : input.below(kDifferent));
    for (std::size_t i = 0; i < types.size(); ++i)
        types[i] = i < kDifferent ? anyAttribute() : types[i % kDifferent];
    return newInts(types);
}

Ref anyValues(Ref types)
{
    if (types.object == nullptr || input.oneIn(32))
        return {};
    std::vector<Ref> values(types.object->bytes.size() / sizeof(jint) + (input.oneIn(32) ? 1 : 0));
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = i < kDifferent ? anyObject() : i < kMany ? values[i % kDifferent] : Ref{};
    return newObjects(values);
}

Ref anyObject(std::string_view type, bool isOutput)
{
    if (input.oneIn(16))
        return {};
    Ref made = make(type, {}, anyContent());
    made.object->isOpen = type.empty();
    made.object->isOutput = isOutput;
    return made;
}

std::int64_t missingValue(Object& owner, const std::string& name)
{
    const std::string signature = name.substr(name.find_last_of(":)") + 1);
    if (name == "bitLength:()I" && !input.oneIn(8))
        return static_cast<std::int64_t>(owner.bytes.size()) * 8 - 1; // as toByteArray has it
    switch (signature[0]) {
    case 'I': return anyInt();
    case 'J': return static_cast<std::int64_t>(input.word()) >> 12; // as a Date it lies in the calendar or beyond
    case 'B': return static_cast<std::int8_t>(input.byte());
    case 'Z': return input.byte() & 1;
    default: break;
    }
    if (input.oneIn(16))
        return 0;
    Ref made = anyReference(owner, name, signature);
    if (made.object != nullptr)
        made.object->isOutput = owner.isOutput;
    return address(made);
}

void meddle(std::size_t kept)
{
    if (input.isOver() || input.byte() < 250 || fake.objects.size() <= kept)
        return;
    Object& object = fake.objects[kept + input.below(fake.objects.size() - kept)];
    if (object.isNew || !object.text.empty())
        return; // the library's own, which Java has not seen yet
    if (!object.fields.empty()) {
        auto field = object.fields.begin();
        for (std::size_t before = input.below(object.fields.size()); before > 0; --before)
            ++field;
        field->second = fake.missingField(object, field->first);
    } else if (!object.elements.empty()) {
        bool isAny = object.type == "[Ljava/lang/Object;";
        object.elements[input.below(object.elements.size())] = isAny ? anyObject().object : nullptr;
    } else if (!object.bytes.empty()) {
        object.bytes[input.below(object.bytes.size())] = static_cast<char>(input.byte());
    }
}
