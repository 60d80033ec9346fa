// Parameters of ciphers and password-based key generation.

#include "frame.h"
#include "mechanism_params.h"
#include "parameter_fields.h"
#include "values.h"

bool encodeRC2Params(JNIEnv* env, jobject parameter, void* dest, CK_ULONG* len, CK_RV wrongType)
{
    auto* effectiveBits = static_cast<CK_RC2_PARAMS*>(dest);
    ParameterFields fields;
    return openParameter(env, parameter, parameter_class::RC2, dest, sizeof *effectiveBits, len, wrongType, &fields) &&
           readUlong(fields, "bits", effectiveBits);
}

bool encodeRC2CBCParams(JNIEnv* env, jobject parameter, void* dest, CK_ULONG* len, CK_RV wrongType)
{
    auto* rc2 = static_cast<CK_RC2_CBC_PARAMS*>(dest);
    CK_ULONG baseLength = *len;
    ParameterFields fields;
    CK_ULONG ivLength = 0;
    if (!encodeRC2Params(env, parameter, dest, &baseLength, wrongType) ||
        !openParameter(env, parameter, parameter_class::RC2_CBC, dest, sizeof *rc2, len, wrongType, &fields) ||
        !readBlockLength(fields, "iv", &ivLength) || !require(env, ivLength <= sizeof rc2->iv, wrongType))
        return false;

    // The one block that lies in the structure itself; a shorter one leaves the rest zero.
    fields.area = rc2->iv;
    fields.areaSize = sizeof rc2->iv;
    CK_BYTE_PTR block = nullptr;
    return placeBlock(&fields, "iv", &block, nullptr);
}

bool encodeRC2MacGeneralParams(JNIEnv* env, jobject parameter, void* dest, CK_ULONG* len, CK_RV wrongType)
{
    auto* rc2 = static_cast<CK_RC2_MAC_GENERAL_PARAMS*>(dest);
    CK_ULONG baseLength = *len;
    ParameterFields fields;
    return encodeRC2Params(env, parameter, dest, &baseLength, wrongType) &&
           openParameter(env, parameter, parameter_class::RC2_GENMAC, dest, sizeof *rc2, len, wrongType, &fields) &&
           readUlong(fields, "macLength", &rc2->ulMacLength);
}

bool encodeRC5Params(JNIEnv* env, jobject parameter, void* dest, CK_ULONG* len, CK_RV wrongType)
{
    auto* rc5 = static_cast<CK_RC5_PARAMS*>(dest);
    ParameterFields fields;
    return openParameter(env, parameter, parameter_class::RC5, dest, sizeof *rc5, len, wrongType, &fields) &&
           readUlong(fields, "wordSize", &rc5->ulWordsize) && readUlong(fields, "rounds", &rc5->ulRounds);
}

bool encodeRC5CBCParams(JNIEnv* env, jobject parameter, void* dest, CK_ULONG* len, CK_RV wrongType)
{
    auto* rc5 = static_cast<CK_RC5_CBC_PARAMS*>(dest);
    CK_ULONG baseLength = *len;
    ParameterFields fields;
    return encodeRC5Params(env, parameter, dest, &baseLength, wrongType) &&
           openParameter(env, parameter, parameter_class::RC5_CBC, dest, sizeof *rc5, len, wrongType, &fields) &&
           placeBlock(&fields, "iv", &rc5->pIv, &rc5->ulIvLen);
}

bool encodeRC5MacGeneralParams(JNIEnv* env, jobject parameter, void* dest, CK_ULONG* len, CK_RV wrongType)
{
    auto* rc5 = static_cast<CK_RC5_MAC_GENERAL_PARAMS*>(dest);
    CK_ULONG baseLength = *len;
    ParameterFields fields;
    return encodeRC5Params(env, parameter, dest, &baseLength, wrongType) &&
           openParameter(env, parameter, parameter_class::RC5_GENMAC, dest, sizeof *rc5, len, wrongType, &fields) &&
           readUlong(fields, "macLength", &rc5->ulMacLength);
}

bool encodePBEParams(JNIEnv* env, jobject parameter, void* dest, CK_ULONG* len, CK_RV wrongType)
{
    auto* pbe = static_cast<CK_PBE_PARAMS*>(dest);
    ParameterFields fields;
    return openParameter(env, parameter, parameter_class::PBE, dest, sizeof *pbe, len, wrongType, &fields) &&
           placeBlock(&fields, "iv", &pbe->pInitVector, nullptr) &&
           placeBlock(&fields, "password", &pbe->pPassword, &pbe->ulPasswordLen) &&
           placeBlock(&fields, "salt", &pbe->pSalt, &pbe->ulSaltLen) &&
           readUlong(fields, "iterations", &pbe->ulIteration);
}

bool encodeGCMParams(JNIEnv* env, jobject parameter, void* dest, CK_ULONG* len, CK_RV wrongType)
{
    auto* gcm = static_cast<GcmParams*>(dest);
    ParameterFields fields;
    if (!openParameter(env, parameter, parameter_class::GCM, dest, sizeof *gcm, len, wrongType, &fields) ||
        !placeBlock(&fields, "pIv", &gcm->pIv, nullptr) || !readUlong(fields, "ulIvLen", &gcm->ulIvLen))
        return false;

    // The AAD goes where the Java length of the IV puts it, not behind the array: a shorter length lets it overwrite
    // the IV's tail.
    setIvBits(gcm);
    return placeBlockAt(fields, "pAAD", gcm->ulIvLen, &gcm->pAAD) && readUlong(fields, "ulAADLen", &gcm->ulAADLen) &&
           requireInside(fields, gcm->ulIvLen, gcm->ulAADLen) && readUlong(fields, "ulTagBits", &gcm->ulTagBits);
}
