#include "parameter_fields.h"

#include <array>
#include <cstdio>

#include "frame.h"
#include "values.h"

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
                void* structure)
{
    std::array<char, 96> signature;
    std::snprintf(signature.data(), signature.size(), "L%s;", description.className);
    ParameterFields member = *java;
    member.type = nullptr;
    if (!readObjectField(java->env, java->object, java->type, name, signature.data(), &member.object))
        return false;

    bool done = (member.object == nullptr && null == Null::none) || readStructure(&member, description, structure);
    java->env->DeleteLocalRef(member.type);
    java->env->DeleteLocalRef(member.object);
    java->used = member.used;
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
    if (measures(java))
        return readMember(java, name, description, null, &measured);
    *place = java->area + offset;
    return readMember(java, name, description, null, *place);
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
