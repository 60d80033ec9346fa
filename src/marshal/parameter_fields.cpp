#include "marshal/parameter_fields.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <limits>

#include "bridge/exception.h"
#include "bridge/fields.h"
#include "bridge/java_numbers.h"
#include "marshal/values.h"

namespace {

CK_ULONG lengthOf(const ParameterFields* java, jbyteArray array)
{
    return array != nullptr ? fromJava(java->env->GetArrayLength(array)) : 0;
}

// Copies an array to an offset in the area, or only measures it, and gives the reference back. *size is the room there,
// and then the bytes copied.
bool placeArray(ParameterFields* java, jbyteArray array, CK_ULONG offset, CK_BYTE_PTR* block, CK_ULONG* size)
{
    bool placed = true;
    if (!measures(java))
        *block = java->area + offset;
    if (measures(java) || array == nullptr)
        *size = lengthOf(java, array);
    else
        placed = copyByteArray(java->env, array, *block, size);
    java->env->DeleteLocalRef(array);
    return placed;
}

} // namespace

bool demand(const ParameterFields* java, bool condition)
{
    return measures(java) || require(java->env, condition, kWrongParameter);
}

bool demandInside(const ParameterFields* java, CK_ULONG offset, CK_ULONG length)
{
    return demand(java, offset <= java->areaSize && length <= java->areaSize - offset);
}

bool readStructure(ParameterFields* java, const ParameterStructure& description, void* structure)
{
    java->type = classIfInstance(java->env, java->object, description.className);
    if (java->type == nullptr) {
        demand(java, false);
        return false;
    }
    return description.fields(java, structure);
}

bool readMember(ParameterFields* java, const char* name, const ParameterStructure& description, Null null,
                void* structure, bool* there)
{
    std::array<char, 96> signature;
    std::snprintf(signature.data(), signature.size(), "L%s;", description.className);
    ParameterFields member = *java;
    member.type = nullptr;
    if (!readObjectField(java->env, java->object, java->type, name, signature.data(), &member.object))
        return false;

    bool absent = member.object == nullptr && null != Null::refused;
    bool done = absent || readStructure(&member, description, structure);
    java->env->DeleteLocalRef(member.type);
    java->env->DeleteLocalRef(member.object);
    java->used = member.used;
    if (there != nullptr)
        *there = !absent;
    return done;
}

bool placeMember(ParameterFields* java, const char* name, const ParameterStructure& description, Null null,
                 void** place)
{
    CK_ULONG offset = java->used;
    auto size = static_cast<CK_ULONG>(description.size);
    if (!demandInside(java, offset, size))
        return false;

    java->used += size;
    MeasuredStructure measured;
    bool there = false;
    *place = measures(java) ? static_cast<void*>(&measured) : java->area + offset;
    bool done = readMember(java, name, description, null, *place, &there);
    if (measures(java) || (null == Null::pointer && !there))
        *place = nullptr;
    return done;
}

bool takeRoom(ParameterFields* java, std::size_t size, void** place)
{
    // Where a CK_ULONG has 32 bits a size may be beyond it: such a one is more than any area holds.
    constexpr std::size_t largest = std::numeric_limits<CK_ULONG>::max();
    auto room = static_cast<CK_ULONG>(std::min(size, largest));
    constexpr CK_ULONG alignment = 16; // everywhere, so that a parameter lies the same on every processor
    auto start = reinterpret_cast<std::uintptr_t>(java->area) + java->used;
    java->used += measures(java) ? alignment - 1 : static_cast<CK_ULONG>(-start % alignment);
    if (!demandInside(java, java->used, room))
        return false;
    *place = measures(java) ? nullptr : java->area + java->used;
    java->used = static_cast<CK_ULONG>(std::min(addSize(java->used, room), largest));
    return true;
}

bool placeRecords(ParameterFields* java, const char* name, const ParameterStructure& description, void** records,
                  CK_ULONG* count)
{
    std::array<char, 96> signature;
    std::snprintf(signature.data(), signature.size(), "[L%s;", description.className);
    jobject value = nullptr;
    if (!readObjectField(java->env, java->object, java->type, name, signature.data(), &value))
        return false;

    auto* array = static_cast<jobjectArray>(value);
    jsize length = array != nullptr ? java->env->GetArrayLength(array) : 0;
    *count = fromJava(length);
    bool done = takeRoom(java, arraySize(*count, description.size), records);
    for (jsize i = 0; done && i < length; ++i) {
        MeasuredStructure measured;
        auto* record = static_cast<CK_BYTE_PTR>(*records);
        ParameterFields element = *java;
        element.object = java->env->GetObjectArrayElement(array, i);
        element.type = nullptr;
        done = readStructure(&element, description,
                             measures(java) ? static_cast<void*>(&measured) : record + fromJava(i) * description.size);
        java->env->DeleteLocalRef(element.type);
        java->env->DeleteLocalRef(element.object);
        java->used = element.used;
    }
    if (length == 0)
        *records = nullptr;
    java->env->DeleteLocalRef(array);
    return done;
}

namespace {

// The description whose class an object is of; its class stays in `type`. Null when there is none, or with the virtual
// machine's error pending.
const ParameterStructure* descriptionOf(ParameterFields* java,
                                        std::initializer_list<const ParameterStructure*> descriptions)
{
    for (const ParameterStructure* each : descriptions) {
        java->type = classIfInstance(java->env, java->object, each->className);
        if (java->type != nullptr)
            return each;
        if (java->env->ExceptionCheck() == JNI_TRUE)
            return nullptr;
    }
    return nullptr;
}

// Places an object that is none of a structure: a byte[], or what is refused.
bool placeBytes(ParameterFields* java, jobject value, void** place, CK_ULONG* size)
{
    if (java->env->ExceptionCheck() == JNI_TRUE || !isInstance(java->env, value, "[B")) {
        demand(java, false);
        java->env->DeleteLocalRef(value);
        return false;
    }
    CK_BYTE_PTR block = nullptr;
    *size = java->areaSize - java->used;
    bool placed = placeArray(java, static_cast<jbyteArray>(value), java->used, &block, size);
    *place = block;
    java->used += *size;
    return placed;
}

} // namespace

bool placeAny(ParameterFields* java, const char* name, std::initializer_list<const ParameterStructure*> descriptions,
              void** place, CK_ULONG* size)
{
    *place = nullptr;
    *size = 0;
    ParameterFields member = *java;
    if (!readObjectField(java->env, java->object, java->type, name, "Ljava/lang/Object;", &member.object))
        return false;
    if (member.object == nullptr)
        return true;
    const ParameterStructure* description = descriptionOf(&member, descriptions);
    if (description == nullptr)
        return placeBytes(java, member.object, place, size);

    MeasuredStructure measured;
    *size = static_cast<CK_ULONG>(description->size);
    bool done = takeRoom(&member, *size, place) && description->fields(&member, measures(java) ? &measured : *place);
    java->used = member.used;
    java->env->DeleteLocalRef(member.type);
    java->env->DeleteLocalRef(member.object);
    return done;
}

bool readUlong(ParameterFields* java, const char* name, CK_ULONG* value)
{
    jint number = 0;
    if (measures(java))
        return true;
    if (!readIntField(java->env, java->object, java->type, name, &number))
        return false;
    *value = fromJava(number);
    return true;
}

bool readByte(ParameterFields* java, const char* name, CK_BYTE* value)
{
    jbyte number = 0;
    if (measures(java))
        return true;
    if (!readByteField(java->env, java->object, java->type, name, &number))
        return false;
    *value = static_cast<CK_BYTE>(number);
    return true;
}

bool readFlag(ParameterFields* java, const char* name, CK_BBOOL* value)
{
    jboolean flag = JNI_FALSE;
    if (measures(java))
        return true;
    if (!readBooleanField(java->env, java->object, java->type, name, &flag))
        return false;
    *value = flag != JNI_FALSE ? CK_TRUE : CK_FALSE;
    return true;
}

bool readByteArrayField(const ParameterFields* java, const char* name, jbyteArray* array)
{
    jobject value = nullptr;
    if (!readObjectField(java->env, java->object, java->type, name, "[B", &value))
        return false;
    *array = static_cast<jbyteArray>(value);
    return true;
}

bool readBlockLength(ParameterFields* java, const char* name, CK_ULONG* length)
{
    jbyteArray array = nullptr;
    if (!readByteArrayField(java, name, &array))
        return false;
    *length = lengthOf(java, array);
    java->env->DeleteLocalRef(array);
    return true;
}

bool placeBlock(ParameterFields* java, const char* name, CK_BYTE_PTR* block, CK_ULONG* length)
{
    jbyteArray array = nullptr;
    CK_ULONG size = java->areaSize - java->used;
    if (!readByteArrayField(java, name, &array) || !placeArray(java, array, java->used, block, &size))
        return false;

    java->used += size;
    if (length != nullptr)
        *length = size;
    return true;
}

bool placeBlockOrNull(ParameterFields* java, const char* name, CK_BYTE_PTR* block, CK_ULONG* length)
{
    if (!placeBlock(java, name, block, length))
        return false;
    *block = *length != 0 ? *block : nullptr;
    return true;
}

bool placeBlockAt(ParameterFields* java, const char* name, CK_ULONG offset, CK_BYTE_PTR* block)
{
    jbyteArray array = nullptr;
    if (!readByteArrayField(java, name, &array))
        return false;

    CK_ULONG size = lengthOf(java, array);
    if (!demandInside(java, offset, size) || !placeArray(java, array, offset, block, &size))
        return false;
    java->used += size;
    return true;
}

bool readBytes(ParameterFields* java, const char* name, void* bytes, CK_ULONG room, CK_ULONG shortest)
{
    jbyteArray array = nullptr;
    if (measures(java))
        return true;
    if (!readByteArrayField(java, name, &array))
        return false;

    CK_ULONG size = lengthOf(java, array);
    bool copied = demand(java, size >= shortest && size <= room) &&
                  (array == nullptr || copyByteArray(java->env, array, bytes, &room));
    java->env->DeleteLocalRef(array);
    return copied;
}
