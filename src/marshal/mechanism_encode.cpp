#include <cstdio>
#include <cstring>

#include "bridge/exception.h"
#include "bridge/java_numbers.h"
#include "marshal/mechanism.h"
#include "marshal/mechanism_table.h"
#include "marshal/parameters.h"

namespace {

// Encoding takes two passes over the fields of the Java object, with the same functions: the first computes the size of
// the structure and of the blocks behind it, the second writes them into the reservation of that size.
//
// Invariant: another thread may change the object between the passes, so the second pass trusts no size of the first.
// Each block is checked against what is left of the reservation, and one that no longer fits is refused; the structure
// only ever points into the reservation.

// One pass over a parameter. If the class PKCS11RawParameter is not on the class path, no object is one, and that is no
// error.
bool readParameter(ParameterFields* java, const ParameterDescriptor& descriptor, void* structure)
{
    bool done = readStructure(java, descriptor, structure);
    if (done || &descriptor != &kRaw)
        return done;

    if (clearPendingException(java->env, "java/lang/NoClassDefFoundError"))
        checkParameter(java, false);
    return false;
}

// Computes the size of the parameter: the value, or the structure and the blocks that it points to. False when the
// virtual machine's error is pending.
bool sizeParameter(JNIEnv* env, JavaMechanism* mechanism, std::size_t* size)
{
    const ParameterDescriptor& descriptor = *mechanism->descriptor;
    if (descriptor.className == nullptr)
        return true;
    ParameterFields java = {env, mechanism->parameter, nullptr, nullptr, 0, 0};
    SizedStructure structure;
    bool done = readParameter(&java, descriptor, &structure);
    mechanism->parameterClass = java.type;
    *size = addSize(descriptor.size, java.used);
    return done || env->ExceptionCheck() != JNI_TRUE;
}

// Whether a parameter that is not of its descriptor's class may be a PKCS11RawParameter.
bool acceptsRaw(const JavaMechanism& mechanism)
{
    const ParameterDescriptor& descriptor = *mechanism.descriptor;
    return mechanism.parameterClass == nullptr && descriptor.className != nullptr &&
           descriptor.null == NullPolicy::omit;
}

bool encodeParameter(JNIEnv* env, const JavaMechanism& java, CK_MECHANISM* mechanism)
{
    const ParameterDescriptor& descriptor = *java.descriptor;
    if (descriptor.refusal != nullptr)
        return refuse(env, descriptor.refusal);
    if (java.parameter == nullptr && descriptor.null == NullPolicy::omit)
        mechanism->pParameter = nullptr;
    if (java.parameter == nullptr && descriptor.null != NullPolicy::reject) {
        mechanism->ulParameterLen = 0;
        return true;
    }

    auto* start = static_cast<CK_BYTE_PTR>(mechanism->pParameter);
    auto size = static_cast<CK_ULONG>(descriptor.size);
    ParameterFields fields = {env, java.parameter, java.parameterClass, start + size, mechanism->ulParameterLen - size,
                              0};
    bool done = fields.type != nullptr ? descriptor.fields(&fields, start) : checkParameter(&fields, false);
    mechanism->ulParameterLen = size != 0 ? size : fields.used;
    return done;
}

// The OAEP structure of an encoded mechanism, its own or the one that its structure points to; null when there is none.
CK_RSA_PKCS_OAEP_PARAMS* oaepIn(const ParameterDescriptor* descriptor, const EncodeBuffer& encoded)
{
    bool within = descriptor == &kRsaAesKeyWrap;
    std::size_t place = sizeof(CK_MECHANISM) + (within ? sizeof(CK_RSA_AES_KEY_WRAP_PARAMS) : 0);
    bool there = (within || descriptor == &kOAEP) && encoded.size >= place + sizeof(CK_RSA_PKCS_OAEP_PARAMS);
    return there ? reinterpret_cast<CK_RSA_PKCS_OAEP_PARAMS*>(encoded.bytes + place) : nullptr;
}

// The class's name without its package.
const char* simpleName(const char* className)
{
    const char* slash = std::strrchr(className, '/');
    return std::strcmp(className, "[B") == 0 ? "byte[]" : slash != nullptr ? slash + 1 : className;
}

} // namespace

JavaMechanism sizeMechanism(JNIEnv* env, jint mechanism, jobject parameter)
{
    CK_MECHANISM_TYPE type = fromJava(mechanism);
    JavaMechanism sized = {type, parameter, &parameterDescriptor(type), nullptr, sizeof(CK_MECHANISM), false};
    std::size_t size = 0;
    if (parameter != nullptr)
        sized.failed = !sizeParameter(env, &sized, &size);
    if (parameter != nullptr && !sized.failed && acceptsRaw(sized) && sized.descriptor != &kRaw) {
        sized.descriptor = &kRaw;
        sized.failed = !sizeParameter(env, &sized, &size);
    }
    sized.size = addSize(sized.size, size);
    return sized;
}

bool encodeMechanism(JNIEnv* env, const JavaMechanism& mechanism, const EncodeBuffer& buffer)
{
    if (!require(env, !mechanism.failed, kWrongParameter))
        return false;
    if (buffer.bytes == nullptr)
        return refuse(env, "no space for encoded mechanism / parameter!");

    CK_MECHANISM* encoded = mechanismIn(buffer);
    encoded->mechanism = mechanism.type;
    encoded->pParameter = buffer.bytes + sizeof(CK_MECHANISM);
    encoded->ulParameterLen = static_cast<CK_ULONG>(buffer.size - sizeof(CK_MECHANISM));
    return encodeParameter(env, mechanism, encoded);
}

bool describeParameter(const JavaMechanism& mechanism, char* text, std::size_t capacity)
{
    const ParameterDescriptor& descriptor = parameterDescriptor(mechanism.type);
    bool fits =
        mechanism.parameter != nullptr ? mechanism.parameterClass != nullptr : descriptor.null != NullPolicy::reject;
    if (fits)
        return false;

    const char* name = descriptor.refusal != nullptr ? descriptor.refusal : descriptor.className;
    if (name == nullptr)
        std::snprintf(text, capacity, "no parameter");
    else
        std::snprintf(text, capacity, "%s%s%s", simpleName(name),
                      &descriptor == &kTokenIv ? " that the token fills" : "",
                      descriptor.null == NullPolicy::omit ? " or none" : "");
    return true;
}

bool dropEmptyOaepLabel(const JavaMechanism& mechanism, const EncodeBuffer& encoded, CK_RV rv)
{
    if (rv != CKR_ARGUMENTS_BAD && rv != CKR_MECHANISM_PARAM_INVALID)
        return false;
    CK_RSA_PKCS_OAEP_PARAMS* oaep = oaepIn(mechanism.descriptor, encoded);
    if (oaep == nullptr || oaep->ulSourceDataLen != 0 || oaep->pSourceData == nullptr)
        return false;

    oaep->pSourceData = nullptr;
    return true;
}
