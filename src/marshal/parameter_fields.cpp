#include "parameter_fields.h"

#include <array>
#include <cstdio>

#include "frame.h"
#include "values.h"

namespace {

bool classOf(const char* className, ParameterFields* fields)
{
    fields->type = classIfInstance(fields->env, fields->object, className);
    return require(fields->env, fields->type != nullptr, fields->wrongType);
}

} // namespace

bool openParameter(JNIEnv* env, jobject parameter, const char* className, void* dest, std::size_t structSize,
                   CK_ULONG* len, CK_RV wrongType, ParameterFields* fields)
{
    *fields = {env,
               parameter,
               nullptr,
               wrongType,
               static_cast<CK_BYTE_PTR>(dest) + structSize,
               static_cast<CK_ULONG>(*len - structSize),
               0};
    *len = static_cast<CK_ULONG>(structSize);
    return classOf(className, fields);
}

bool openMember(const ParameterFields& owner, const char* name, const char* className, ParameterFields* member)
{
    std::array<char, 96> signature;
    std::snprintf(signature.data(), signature.size(), "L%s;", className);
    *member = owner;
    return readObjectField(owner.env, owner.object, owner.type, name, signature.data(), &member->object) &&
           classOf(className, member);
}

void closeMember(const ParameterFields& member)
{
    member.env->DeleteLocalRef(member.type);
    member.env->DeleteLocalRef(member.object);
}

bool readUlong(const ParameterFields& fields, const char* name, CK_ULONG* value)
{
    jint number = 0;
    if (!readIntField(fields.env, fields.object, fields.type, name, &number))
        return false;
    *value = fromJava(number);
    return true;
}

bool readByte(const ParameterFields& fields, const char* name, CK_BYTE* value)
{
    jbyte number = 0;
    if (!readByteField(fields.env, fields.object, fields.type, name, &number))
        return false;
    *value = static_cast<CK_BYTE>(number);
    return true;
}

bool readByteArrayField(JNIEnv* env, jobject object, jclass type, const char* name, jbyteArray* array)
{
    jobject value = nullptr;
    if (!readObjectField(env, object, type, name, "[B", &value))
        return false;
    *array = static_cast<jbyteArray>(value);
    return true;
}

bool readBlockLength(const ParameterFields& fields, const char* name, CK_ULONG* length)
{
    jbyteArray array = nullptr;
    if (!readByteArrayField(fields.env, fields.object, fields.type, name, &array))
        return false;
    *length = array != nullptr ? fromJava(fields.env->GetArrayLength(array)) : 0;
    fields.env->DeleteLocalRef(array);
    return true;
}

bool placeBlock(ParameterFields* fields, const char* name, CK_BYTE_PTR* block, CK_ULONG* length)
{
    jbyteArray array = nullptr;
    if (!readByteArrayField(fields->env, fields->object, fields->type, name, &array))
        return false;

    *block = fields->area + fields->used;
    CK_ULONG size = fields->areaSize - fields->used;
    bool placed = encodeByteArray(fields->env, array, *block, &size, fields->wrongType);
    fields->env->DeleteLocalRef(array);
    if (!placed)
        return false;

    fields->used += size;
    if (length != nullptr)
        *length = size;
    return true;
}

bool placeBlockAt(const ParameterFields& fields, const char* name, CK_ULONG offset, CK_BYTE_PTR* block)
{
    jbyteArray array = nullptr;
    if (!readByteArrayField(fields.env, fields.object, fields.type, name, &array))
        return false;

    CK_ULONG size = array != nullptr ? fromJava(fields.env->GetArrayLength(array)) : 0;
    bool placed = requireInside(fields, offset, size);
    if (placed) {
        *block = fields.area + offset;
        placed = encodeByteArray(fields.env, array, *block, &size, fields.wrongType);
    }
    fields.env->DeleteLocalRef(array);
    return placed;
}

bool requireInside(const ParameterFields& fields, CK_ULONG offset, CK_ULONG length)
{
    bool inside = offset <= fields.areaSize && length <= fields.areaSize - offset;
    return require(fields.env, inside, fields.wrongType);
}
