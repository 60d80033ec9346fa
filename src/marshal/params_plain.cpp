// Parameters that are not structures, and those that are refused.

#include "bridge/fields.h"
#include "bridge/handles.h"
#include "marshal/parameters.h"
#include "marshal/value_encode.h"

namespace {

bool numberFields(ParameterFields* java, CK_ULONG* number)
{
    CK_ULONG size = sizeof *number;
    return isSizing(java) || encodeInteger(java->env, java->object, java->type, number, &size);
}

bool arrayFields(ParameterFields* java, void* /*unused*/)
{
    CK_BYTE_PTR start = nullptr;
    return placeArray(java, static_cast<jbyteArray>(java->object), &start, nullptr);
}

bool publicValueFields(ParameterFields* java, void* /*unused*/)
{
    if (isSizing(java)) {
        std::size_t size = 0;
        bool sized = bigIntegerSize(java->env, java->object, &size);
        java->used = static_cast<CK_ULONG>(size);
        return sized;
    }
    java->used = java->areaSize;
    return encodeBigInteger(java->env, java->object, java->type, java->area, &java->used);
}

bool keyHandleFields(ParameterFields* java, CK_OBJECT_HANDLE* handle)
{
    return isSizing(java) || readHandle(java->env, java->object, java->type, "objectID", handle);
}

bool versionFields(ParameterFields* java, CK_VERSION* version)
{
    return readByte(java, "major", &version->major) && readByte(java, "minor", &version->minor);
}

bool rawFields(ParameterFields* java, void* /*unused*/)
{
    CK_BYTE_PTR start = nullptr;
    return placeBlock(java, "bytes", &start, nullptr);
}

} // namespace

constexpr ParameterDescriptor kNone = {nullptr, 0, NullPolicy::omit, nullptr, nullptr, nullptr};
constexpr ParameterDescriptor kNumber = describe<CK_ULONG, numberFields>("java/lang/Integer");
constexpr ParameterDescriptor kIv = {"[B", 0, NullPolicy::noBytes, arrayFields, nullptr, nullptr};
constexpr ParameterDescriptor kOptionalIv = {"[B", 0, NullPolicy::omit, arrayFields, nullptr, nullptr};
constexpr ParameterDescriptor kTokenIv = {"[B", 0, NullPolicy::noBytes, arrayFields, &kTokenIvOutput, nullptr};
constexpr ParameterDescriptor kPublicValue = {"java/math/BigInteger", 0,       NullPolicy::noBytes,
                                              publicValueFields,      nullptr, nullptr};
constexpr ParameterDescriptor kKeyHandle =
    describe<CK_OBJECT_HANDLE, keyHandleFields>("com/kelvane/pkcs11/nat/NativePKCS11Object");
constexpr ParameterDescriptor kVersion = describe<CK_VERSION, versionFields>("com/kelvane/pkcs11/CK_VERSION");
constexpr ParameterDescriptor kRaw = {
    "com/kelvane/pkcs11/PKCS11RawParameter", 0, NullPolicy::omit, rawFields, nullptr, nullptr};
constexpr ParameterDescriptor kNotEncoded = {nullptr, 0,       NullPolicy::reject,
                                             nullptr, nullptr, "parameter encoding not yet implemented!"};
constexpr ParameterDescriptor kUnknown = {nullptr, 0,       NullPolicy::reject,
                                          nullptr, nullptr, "unknown mechanism parameter type!"};
