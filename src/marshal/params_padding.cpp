// Parameters of the RSA paddings.

#include "frame.h"
#include "mechanism_params.h"
#include "parameter_fields.h"

bool encode_RSA_PKCS_OAEP_PARAMS(JNIEnv* env, jobject parameter, void* dest, CK_ULONG* len, CK_RV wrongType)
{
    auto* oaep = static_cast<CK_RSA_PKCS_OAEP_PARAMS*>(dest);
    ParameterFields fields;
    CK_BYTE_PTR sourceData = nullptr;
    if (!openParameter(env, parameter, parameter_class::OAEP, dest, sizeof *oaep, len, wrongType, &fields) ||
        !readUlong(fields, "hashAlg", &oaep->hashAlg) || !readUlong(fields, "mgf", &oaep->mgf) ||
        !readUlong(fields, "source", &oaep->source) || !placeBlock(&fields, "pSourceData", &sourceData, nullptr) ||
        !readUlong(fields, "ulSourceDataLen", &oaep->ulSourceDataLen) ||
        !requireInside(fields, 0, oaep->ulSourceDataLen))
        return false;

    oaep->pSourceData = sourceData;
    if (debugEnabled())
        traceOAEP(*oaep);
    return true;
}

bool encode_RSA_PKCS_PSS_PARAMS(JNIEnv* env, jobject parameter, void* dest, CK_ULONG* len, CK_RV wrongType)
{
    auto* pss = static_cast<CK_RSA_PKCS_PSS_PARAMS*>(dest);
    ParameterFields fields;
    if (!openParameter(env, parameter, parameter_class::PSS, dest, sizeof *pss, len, wrongType, &fields) ||
        !readUlong(fields, "hashAlg", &pss->hashAlg) || !readUlong(fields, "mgf", &pss->mgf) ||
        !readUlong(fields, "sLen", &pss->sLen))
        return false;

    if (debugEnabled())
        tracePSS(*pss);
    return true;
}
