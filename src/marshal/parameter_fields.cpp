#include "marshal/parameter_fields.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <limits>

#include "bridge/exception.h"
#include "bridge/fields.h"
#include "bridge/java_numbers.h"
#include "marshal/value_encode.h"

namespace {

CK_ULONG lengthOf(const ParameterFields* java, jbyteArray array)
{
    return array != nullptr ? fromJava(java->env->GetArrayLength(array)) : 0;
}

// Copies an array to an offset in the area, or only sizes it. *size is the capacity there, and then the bytes copied.
bool placeArrayAt(ParameterFields* java, jbyteArray array, CK_ULONG offset, CK_BYTE_PTR* block, CK_ULONG* size)
{
    if (!isSizing(java))
        *block = java->area + offset;
    if (!isSizing(java) && array != nullptr)
        return copyByteArray(java->env, array, *block, size);
    *size = lengthOf(java, array);
    return true;
}

} // namespace

bool checkParameter(const ParameterFields* java, bool condition)
{
    return isSizing(java) || require(java->env, condition, kWrongParameter);
}

bool checkInside(const ParameterFields* java, CK_ULONG offset, CK_ULONG length)
{
    return checkParameter(java, offset <= java->areaSize && length <= java->areaSize - offset);
}

bool readStructure(ParameterFields* java, const ParameterDescriptor& descriptor, void* structure)
{
    java->type = classIfInstance(java->env, java->object, descriptor.className);
    if (java->type == nullptr) {
        checkParameter(java, false);
        return false;
    }
    return descriptor.fields(java, structure);
}

bool readMember(ParameterFields* java, const char* name, const ParameterDescriptor& descriptor, NullPolicy null,
                void* structure, bool* present)
{
    std::array<char, 96> signature;
    std::snprintf(signature.data(), signature.size(), "L%s;", descriptor.className);
    ParameterFields member = *java;
    member.type = nullptr;
    if (!readObjectField(java->env, java->object, java->type, name, signature.data(), &member.object))
        return false;

    bool absent = member.object == nullptr && null != NullPolicy::reject;
    bool done = absent || readStructure(&member, descriptor, structure);
    java->env->DeleteLocalRef(member.type);
    java->env->DeleteLocalRef(member.object);
    java->used = member.used;
    if (present != nullptr)
        *present = !absent;
    return done;
}

bool placeMember(ParameterFields* java, const char* name, const ParameterDescriptor& descriptor, NullPolicy null,
                 void** place)
{
    CK_ULONG offset = java->used;
    auto size = static_cast<CK_ULONG>(descriptor.size);
    if (!checkInside(java, offset, size))
        return false;

    java->used += size;
    SizedStructure sized;
    bool there = false;
    *place = isSizing(java) ? static_cast<void*>(&sized) : java->area + offset;
    bool done = readMember(java, name, descriptor, null, *place, &there);
    if (isSizing(java) || (null == NullPolicy::nullPointer && !there))
        *place = nullptr;
    return done;
}

bool reserveAligned(ParameterFields* java, std::size_t size, void** place)
{
    // With a CK_ULONG of 32 bits a size may exceed it; the largest CK_ULONG is more than any area holds.
    constexpr std::size_t largest = std::numeric_limits<CK_ULONG>::max();
    auto needed = static_cast<CK_ULONG>(std::min(size, largest));
    constexpr CK_ULONG alignment = 16; // the same on every processor, so that offsets are too
    auto start = reinterpret_cast<std::uintptr_t>(java->area) + java->used;
    java->used += isSizing(java) ? alignment - 1 : static_cast<CK_ULONG>(-start % alignment);
    if (!checkInside(java, java->used, needed))
        return false;
    *place = isSizing(java) ? nullptr : java->area + java->used;
    java->used = static_cast<CK_ULONG>(std::min(addSize(java->used, needed), largest));
    return true;
}

bool placeStructures(ParameterFields* java, const char* name, const ParameterDescriptor& descriptor, void** records,
                     CK_ULONG* count)
{
    std::array<char, 96> signature;
    std::snprintf(signature.data(), signature.size(), "[L%s;", descriptor.className);
    jobject value = nullptr;
    if (!readObjectField(java->env, java->object, java->type, name, signature.data(), &value))
        return false;

    auto* array = static_cast<jobjectArray>(value);
    jsize length = array != nullptr ? java->env->GetArrayLength(array) : 0;
    *count = fromJava(length);
    bool done = reserveAligned(java, arraySize(*count, descriptor.size), records);
    for (jsize i = 0; done && i < length; ++i) {
        SizedStructure sized;
        auto* record = static_cast<CK_BYTE_PTR>(*records);
        ParameterFields element = *java;
        element.object = java->env->GetObjectArrayElement(array, i);
        element.type = nullptr;
        done = readStructure(&element, descriptor,
                             isSizing(java) ? static_cast<void*>(&sized) : record + fromJava(i) * descriptor.size);
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

// The descriptor whose class an object is of; its class stays in `type`. Null when there is none, or with the virtual
// machine's error pending.
const ParameterDescriptor* descriptorFor(ParameterFields* java,
                                         std::initializer_list<const ParameterDescriptor*> descriptors)
{
    for (const ParameterDescriptor* each : descriptors) {
        java->type = classIfInstance(java->env, java->object, each->className);
        if (java->type != nullptr)
            return each;
        if (java->env->ExceptionCheck() == JNI_TRUE)
            return nullptr;
    }
    return nullptr;
}

// Places the bytes of a byte[]; any other object is rejected. Deletes the reference.
bool placeBytes(ParameterFields* java, jobject value, void** place, CK_ULONG* size)
{
    CK_BYTE_PTR block = nullptr;
    bool isBytes = java->env->ExceptionCheck() != JNI_TRUE && isInstance(java->env, value, "[B");
    bool placed = isBytes && placeArray(java, static_cast<jbyteArray>(value), &block, size);
    if (!isBytes)
        checkParameter(java, false);
    *place = block;
    java->env->DeleteLocalRef(value);
    return placed;
}

} // namespace

bool placeAny(ParameterFields* java, const char* name, std::initializer_list<const ParameterDescriptor*> descriptors,
              void** place, CK_ULONG* size)
{
    *place = nullptr;
    *size = 0;
    ParameterFields member = *java;
    if (!readObjectField(java->env, java->object, java->type, name, "Ljava/lang/Object;", &member.object))
        return false;
    if (member.object == nullptr)
        return true;
    const ParameterDescriptor* descriptor = descriptorFor(&member, descriptors);
    if (descriptor == nullptr)
        return placeBytes(java, member.object, place, size);

    SizedStructure sized;
    *size = static_cast<CK_ULONG>(descriptor->size);
    bool done = reserveAligned(&member, *size, place) && descriptor->fields(&member, isSizing(java) ? &sized : *place);
    java->used = member.used;
    java->env->DeleteLocalRef(member.type);
    java->env->DeleteLocalRef(member.object);
    return done;
}

bool readUlong(ParameterFields* java, const char* name, CK_ULONG* value)
{
    jint number = 0;
    if (isSizing(java))
        return true;
    if (!readIntField(java->env, java->object, java->type, name, &number))
        return false;
    *value = fromJava(number);
    return true;
}

bool readByte(ParameterFields* java, const char* name, CK_BYTE* value)
{
    jbyte number = 0;
    if (isSizing(java))
        return true;
    if (!readByteField(java->env, java->object, java->type, name, &number))
        return false;
    *value = static_cast<CK_BYTE>(number);
    return true;
}

bool readFlag(ParameterFields* java, const char* name, CK_BBOOL* value)
{
    jboolean flag = JNI_FALSE;
    if (isSizing(java))
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

bool placeArray(ParameterFields* java, jbyteArray array, CK_BYTE_PTR* block, CK_ULONG* length)
{
    CK_ULONG size = java->areaSize - java->used;
    if (!placeArrayAt(java, array, java->used, block, &size))
        return false;

    java->used += size;
    if (length != nullptr)
        *length = size;
    return true;
}

bool placeBlock(ParameterFields* java, const char* name, CK_BYTE_PTR* block, CK_ULONG* length)
{
    jbyteArray array = nullptr;
    bool placed = readByteArrayField(java, name, &array) && placeArray(java, array, block, length);
    java->env->DeleteLocalRef(array);
    return placed;
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
    bool placed = checkInside(java, offset, size) && placeArrayAt(java, array, offset, block, &size);
    java->used += placed ? size : 0;
    java->env->DeleteLocalRef(array);
    return placed;
}

bool readBytes(ParameterFields* java, const char* name, void* bytes, CK_ULONG longest, CK_ULONG shortest)
{
    jbyteArray array = nullptr;
    if (isSizing(java))
        return true;
    if (!readByteArrayField(java, name, &array))
        return false;

    CK_ULONG size = lengthOf(java, array);
    bool copied = checkParameter(java, size >= shortest && size <= longest) &&
                  (array == nullptr || copyByteArray(java->env, array, bytes, &longest));
    java->env->DeleteLocalRef(array);
    return copied;
}
