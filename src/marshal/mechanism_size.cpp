#include <initializer_list>

#include "frame.h"
#include "mechanism_kinds.h"
#include "mechanism_params.h"
#include "mechanisms.h"
#include "parameter_fields.h"
#include "values.h"

namespace {

// The length of a byte[]; 0 for an object of another class, which the encoder refuses.
std::size_t byteArraySize(JNIEnv* env, jobject parameter)
{
    return isInstance(env, parameter, "[B") ? fromJava(env->GetArrayLength(static_cast<jbyteArray>(parameter))) : 0;
}

// The lengths of an object's byte[] fields together; 0 for an object of another class, which the encoder refuses.
std::size_t blockLengths(JNIEnv* env, jobject object, const char* className, std::initializer_list<const char*> names)
{
    ParameterFields fields = {env, object, classIfInstance(env, object, className), CKR_OK, nullptr, 0, 0};
    if (fields.type == nullptr)
        return 0;

    std::size_t total = 0;
    for (const char* name : names) {
        CK_ULONG length = 0;
        if (!readBlockLength(fields, name, &length))
            break;
        total += length;
    }
    env->DeleteLocalRef(fields.type);
    return total;
}

// An object field of the parameter, or null when there is none.
jobject memberOf(JNIEnv* env, jobject parameter, const char* className, const char* name, const char* signature)
{
    jclass type = classIfInstance(env, parameter, className);
    jobject member = nullptr;
    if (type != nullptr)
        readObjectField(env, parameter, type, name, signature, &member);
    env->DeleteLocalRef(type);
    return member;
}

// The lengths of the random data that a field of the parameter holds.
std::size_t randomLengths(JNIEnv* env, jobject parameter, const char* className, const char* name)
{
    jobject random = memberOf(env, parameter, className, name, "Lcom/kelvane/pkcs11/CK_SSL3_RANDOM_DATA;");
    std::size_t size = blockLengths(env, random, parameter_class::SSL3_RANDOM_DATA, {"clientRandom", "serverRandom"});
    env->DeleteLocalRef(random);
    return size;
}

std::size_t ivLengths(JNIEnv* env, jobject parameter)
{
    if (env->ExceptionCheck() == JNI_TRUE) // from the random data before it
        return 0;
    jobject out = memberOf(env, parameter, parameter_class::SSL3_KEY_MAT, "returnedKeyMaterial",
                           "Lcom/kelvane/pkcs11/CK_SSL3_KEY_MAT_OUT;");
    std::size_t size = blockLengths(env, out, parameter_class::SSL3_KEY_MAT_OUT, {"ivClient", "ivServer"});
    env->DeleteLocalRef(out);
    return size;
}

std::size_t materialLengths(JNIEnv* env, jobject parameter)
{
    std::size_t random = randomLengths(env, parameter, parameter_class::SSL3_KEY_MAT, "randomData");
    return random + ivLengths(env, parameter);
}

// What the encoder of the kind writes: the structure and the blocks that it points to.
std::size_t parameterSize(JNIEnv* env, ParameterKind kind, jobject parameter)
{
    using enum ParameterKind;
    namespace name = parameter_class;
    switch (kind) {
        // clang-format off
    case macGeneral:
    case extract:       return sizeof(CK_ULONG);
    case iv:
    case tokenIv:       return byteArraySize(env, parameter);
    case publicValue:   return encodedValueSize(env, parameter);
    case keyHandle:     return sizeof(CK_OBJECT_HANDLE);
    case rc2:           return sizeof(CK_RC2_PARAMS);
    case rc2Cbc:        return sizeof(CK_RC2_CBC_PARAMS);
    case rc2MacGeneral: return sizeof(CK_RC2_MAC_GENERAL_PARAMS);
    case rc5:           return sizeof(CK_RC5_PARAMS);
    case rc5Cbc:        return sizeof(CK_RC5_CBC_PARAMS) + blockLengths(env, parameter, name::RC5_CBC, {"iv"});
    case rc5MacGeneral: return sizeof(CK_RC5_MAC_GENERAL_PARAMS);
    // The token writes an IV where the parameter points, however short the Java array is.
    case pbe:           return sizeof(CK_PBE_PARAMS) + kPBEInitVector
                             + blockLengths(env, parameter, name::PBE, {"iv", "password", "salt"});
    case version:       return sizeof(CK_VERSION);
    case ssl3MasterKeyDerive:
    case tlsMasterKeyDerive:
    case ssl3MasterKeyDeriveDh:
    case tlsMasterKeyDeriveDh:
                        return sizeof(CK_SSL3_MASTER_KEY_DERIVE_PARAMS) + sizeof(CK_VERSION)
                             + randomLengths(env, parameter, name::SSL3_MASTER_KEY_DERIVE, "random_data");
    case ssl3KeyAndMacDerive:
    case tlsKeyAndMacDerive:
                        return sizeof(CK_SSL3_KEY_MAT_PARAMS) + sizeof(CK_SSL3_KEY_MAT_OUT)
                             + materialLengths(env, parameter);
    // The word that holds the output's length is aligned.
    case tlsPrf:        return sizeof(CK_TLS_PRF_PARAMS) + 2 * sizeof(CK_ULONG)
                             + blockLengths(env, parameter, name::TLS_PRF, {"seed", "label", "output"});
    case ecdh1Derive:   return sizeof(CK_ECDH1_DERIVE_PARAMS)
                             + blockLengths(env, parameter, name::ECDH1, {"sharedData", "publicData"});
    case gcm:           return sizeof(GcmParams) + blockLengths(env, parameter, name::GCM, {"pIv", "pAAD"});
    case oaep:          return sizeof(CK_RSA_PKCS_OAEP_PARAMS)
                             + blockLengths(env, parameter, name::OAEP, {"pSourceData"});
    case pss:           return sizeof(CK_RSA_PKCS_PSS_PARAMS);
    default:            return 0; // takes none, or is refused
        // clang-format on
    }
}

} // namespace

std::size_t encodedMechanismSize(JNIEnv* env, CK_MECHANISM_TYPE mechanism, jobject parameter)
{
    std::size_t size = sizeof(CK_MECHANISM);
    return parameter != nullptr ? size + parameterSize(env, mechanismParameterKind(mechanism), parameter) : size;
}
