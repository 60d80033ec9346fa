#include "frame.h"
#include "mechanism_kinds.h"
#include "mechanism_params.h"
#include "mechanisms.h"
#include "values.h"

namespace {

// A mechanism without a parameter: the pointer is null, and an object is refused.
bool encodeNone(JNIEnv* env, jobject parameter, CK_MECHANISM* mechanism, CK_RV wrongType)
{
    mechanism->pParameter = nullptr;
    mechanism->ulParameterLen = 0;
    return require(env, parameter == nullptr, wrongType);
}

bool encodeParameter(JNIEnv* env, CK_FUNCTION_LIST_PTR list, ParameterKind kind, jobject parameter,
                     CK_MECHANISM* mechanism)
{
    constexpr CK_RV wrong = CKR_MECHANISM_PARAM_INVALID;
    void* dest = mechanism->pParameter;
    CK_ULONG* len = &mechanism->ulParameterLen;

    using enum ParameterKind;
    switch (kind) {
        // clang-format off
    case none:                  return encodeNone(env, parameter, mechanism, wrong);
    case macGeneral:
    case extract:               return encodeInteger(env, parameter, dest, len, wrong);
    case iv:
    case tokenIv:               return encodeByteArray(env, parameter, dest, len, wrong);
    case publicValue:           return encodeBigInteger(env, parameter, dest, len, wrong);
    case keyHandle:             return encodeKeyHandle(env, list, parameter, dest, len, wrong);
    case rc2:                   return encodeRC2Params(env, parameter, dest, len, wrong);
    case rc2Cbc:                return encodeRC2CBCParams(env, parameter, dest, len, wrong);
    case rc2MacGeneral:         return encodeRC2MacGeneralParams(env, parameter, dest, len, wrong);
    case rc5:                   return encodeRC5Params(env, parameter, dest, len, wrong);
    case rc5Cbc:                return encodeRC5CBCParams(env, parameter, dest, len, wrong);
    case rc5MacGeneral:         return encodeRC5MacGeneralParams(env, parameter, dest, len, wrong);
    case pbe:                   return encodePBEParams(env, parameter, dest, len, wrong);
    case version:               return encodeVersion(env, parameter, dest, len, wrong);
    case ssl3MasterKeyDerive:
    case tlsMasterKeyDerive:
    case ssl3MasterKeyDeriveDh:
    case tlsMasterKeyDeriveDh:  return encodeSSL3MasterKeyDeriveParams(env, parameter, dest, len, wrong);
    case ssl3KeyAndMacDerive:
    case tlsKeyAndMacDerive:    return encodeSSL3KeyMatParams(env, parameter, dest, len, wrong);
    case tlsPrf:                return encodeTLSPRFParams(env, parameter, dest, len, wrong);
    case ecdh1Derive:           return encodedECDH1_DERIVE(env, parameter, dest, len, wrong);
    case gcm:                   return encodeGCMParams(env, parameter, dest, len, wrong);
    case oaep:                  return encode_RSA_PKCS_OAEP_PARAMS(env, parameter, dest, len, wrong);
    case pss:                   return encode_RSA_PKCS_PSS_PARAMS(env, parameter, dest, len, wrong);
    case derivationString:
    case keaDerive:
    case keyWrapSetOaep:
    case skipjackPrivateWrap:
    case skipjackRelayx:
    case pbkd2:                 return refuse(env, "parameter encoding not yet implemented!");
    case ecmqvDerive:           break; // sized and shown to Java, but never derived with
        // clang-format on
    }
    return refuse(env, "unknown mechanism parameter type!");
}

} // namespace

bool encodeMechanism(JNIEnv* env, CK_FUNCTION_LIST_PTR list, CK_MECHANISM_TYPE mechanism, jobject parameter,
                     const EncodeBuffer& buffer)
{
    if (env->ExceptionCheck() == JNI_TRUE)
        return false;
    if (buffer.bytes == nullptr)
        return refuse(env, "no space for encoded mechanism / parameter!");

    CK_MECHANISM* encoded = mechanismIn(buffer);
    encoded->mechanism = mechanism;
    encoded->pParameter = buffer.bytes + sizeof(CK_MECHANISM);
    encoded->ulParameterLen = static_cast<CK_ULONG>(buffer.size - sizeof(CK_MECHANISM));
    return encodeParameter(env, list, mechanismParameterKind(mechanism), parameter, encoded) &&
           env->ExceptionCheck() != JNI_TRUE;
}

bool askWithoutLabel(CK_MECHANISM_TYPE mechanism, const EncodeBuffer& encoded, CK_RV rv)
{
    if ((rv != CKR_ARGUMENTS_BAD && rv != CKR_MECHANISM_PARAM_INVALID) ||
        mechanismParameterKind(mechanism) != ParameterKind::oaep)
        return false;

    auto* oaep = reinterpret_cast<CK_RSA_PKCS_OAEP_PARAMS*>(encoded.bytes + sizeof(CK_MECHANISM));
    bool refusedPointer = oaep->ulSourceDataLen == 0 && oaep->pSourceData != nullptr;
    oaep->pSourceData = refusedPointer ? nullptr : oaep->pSourceData;
    return refusedPointer;
}
