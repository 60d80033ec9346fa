// Parameters of the RSA paddings.

#include "frame.h"
#include "mechanism_params.h"

namespace {

bool oaepFields(ParameterFields* java, CK_RSA_PKCS_OAEP_PARAMS* oaep)
{
    CK_ULONG start = java->used;
    CK_BYTE_PTR sourceData = nullptr;
    if (!readUlong(java, "hashAlg", &oaep->hashAlg) || !readUlong(java, "mgf", &oaep->mgf) ||
        !readUlong(java, "source", &oaep->source) || !placeBlock(java, "pSourceData", &sourceData, nullptr) ||
        !readUlong(java, "ulSourceDataLen", &oaep->ulSourceDataLen) ||
        !demandInside(java, start, oaep->ulSourceDataLen))
        return false;

    oaep->pSourceData = sourceData;
    if (!measures(java) && debugEnabled())
        traceOAEP(*oaep);
    return true;
}

bool pssFields(ParameterFields* java, CK_RSA_PKCS_PSS_PARAMS* pss)
{
    if (!readUlong(java, "hashAlg", &pss->hashAlg) || !readUlong(java, "mgf", &pss->mgf) ||
        !readUlong(java, "sLen", &pss->sLen))
        return false;

    if (!measures(java) && debugEnabled())
        tracePSS(*pss);
    return true;
}

} // namespace

constexpr ParameterStructure kOAEP =
    describe<CK_RSA_PKCS_OAEP_PARAMS, oaepFields>("com/kelvane/pkcs11/CK_RSA_PKCS_OAEP_PARAMS");
constexpr ParameterStructure kPSS =
    describe<CK_RSA_PKCS_PSS_PARAMS, pssFields>("com/kelvane/pkcs11/CK_RSA_PKCS_PSS_PARAMS");
