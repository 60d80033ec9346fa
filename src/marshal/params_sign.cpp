// Parameters of signatures, of the RSA paddings, and of key wrapping with RSA or ECDH.

#include "bridge/diagnostics.h"
#include "marshal/parameters.h"

namespace {

bool oaepFields(ParameterFields* java, CK_RSA_PKCS_OAEP_PARAMS* oaep)
{
    CK_ULONG start = java->used;
    CK_BYTE_PTR sourceData = nullptr;
    if (!readUlong(java, "hashAlg", &oaep->hashAlg) || !readUlong(java, "mgf", &oaep->mgf) ||
        !readUlong(java, "source", &oaep->source) || !placeBlock(java, "pSourceData", &sourceData, nullptr) ||
        !readUlong(java, "ulSourceDataLen", &oaep->ulSourceDataLen) || !checkInside(java, start, oaep->ulSourceDataLen))
        return false;

    oaep->pSourceData = sourceData;
    if (!isSizing(java) && debugEnabled())
        traceOAEP(*oaep);
    return true;
}

bool pssFields(ParameterFields* java, CK_RSA_PKCS_PSS_PARAMS* pss)
{
    if (!readUlong(java, "hashAlg", &pss->hashAlg) || !readUlong(java, "mgf", &pss->mgf) ||
        !readUlong(java, "sLen", &pss->sLen))
        return false;

    if (!isSizing(java) && debugEnabled())
        tracePSS(*pss);
    return true;
}

bool rsaAesKeyWrapFields(ParameterFields* java, CK_RSA_AES_KEY_WRAP_PARAMS* wrap)
{
    void* oaep = nullptr;
    bool done = readUlong(java, "ulAESKeyBits", &wrap->ulAESKeyBits) &&
                placeMember(java, "pOAEPParams", kOAEP, NullPolicy::reject, &oaep);
    wrap->pOAEPParams = static_cast<CK_RSA_PKCS_OAEP_PARAMS*>(oaep);
    return done;
}

bool ecdhAesKeyWrapFields(ParameterFields* java, CK_ECDH_AES_KEY_WRAP_PARAMS* wrap)
{
    return readUlong(java, "ulAESKeyBits", &wrap->ulAESKeyBits) && readUlong(java, "kdf", &wrap->kdf) &&
           placeBlockOrNull(java, "pSharedData", &wrap->pSharedData, &wrap->ulSharedDataLen);
}

bool eddsaFields(ParameterFields* java, CK_EDDSA_PARAMS* eddsa)
{
    return readFlag(java, "phFlag", &eddsa->phFlag) &&
           placeBlockOrNull(java, "pContextData", &eddsa->pContextData, &eddsa->ulContextDataLen);
}

bool xeddsaFields(ParameterFields* java, CK_XEDDSA_PARAMS* xeddsa)
{
    return readUlong(java, "hash", &xeddsa->hash);
}

bool signContextFields(ParameterFields* java, CK_SIGN_ADDITIONAL_CONTEXT* sign)
{
    return readUlong(java, "hedgeVariant", &sign->hedgeVariant) &&
           placeBlockOrNull(java, "pContext", &sign->pContext, &sign->ulContextLen);
}

bool hashSignContextFields(ParameterFields* java, CK_HASH_SIGN_ADDITIONAL_CONTEXT* sign)
{
    return readUlong(java, "hedgeVariant", &sign->hedgeVariant) &&
           placeBlockOrNull(java, "pContext", &sign->pContext, &sign->ulContextLen) &&
           readUlong(java, "hash", &sign->hash);
}

} // namespace

constexpr ParameterDescriptor kOAEP =
    describe<CK_RSA_PKCS_OAEP_PARAMS, oaepFields>("com/kelvane/pkcs11/CK_RSA_PKCS_OAEP_PARAMS");
constexpr ParameterDescriptor kPSS =
    describe<CK_RSA_PKCS_PSS_PARAMS, pssFields>("com/kelvane/pkcs11/CK_RSA_PKCS_PSS_PARAMS");
constexpr ParameterDescriptor kRsaAesKeyWrap = describe<CK_RSA_AES_KEY_WRAP_PARAMS, rsaAesKeyWrapFields>(
    "com/kelvane/pkcs11/CK_RSA_AES_KEY_WRAP_PARAMS", NullPolicy::omit);
constexpr ParameterDescriptor kEcdhAesKeyWrap = describe<CK_ECDH_AES_KEY_WRAP_PARAMS, ecdhAesKeyWrapFields>(
    "com/kelvane/pkcs11/CK_ECDH_AES_KEY_WRAP_PARAMS", NullPolicy::omit);
constexpr ParameterDescriptor kEddsa =
    describe<CK_EDDSA_PARAMS, eddsaFields>("com/kelvane/pkcs11/CK_EDDSA_PARAMS", NullPolicy::omit);
constexpr ParameterDescriptor kXeddsa =
    describe<CK_XEDDSA_PARAMS, xeddsaFields>("com/kelvane/pkcs11/CK_XEDDSA_PARAMS", NullPolicy::omit);
constexpr ParameterDescriptor kSignContext = describe<CK_SIGN_ADDITIONAL_CONTEXT, signContextFields>(
    "com/kelvane/pkcs11/CK_SIGN_ADDITIONAL_CONTEXT", NullPolicy::omit);
constexpr ParameterDescriptor kHashSignContext = describe<CK_HASH_SIGN_ADDITIONAL_CONTEXT, hashSignContextFields>(
    "com/kelvane/pkcs11/CK_HASH_SIGN_ADDITIONAL_CONTEXT", NullPolicy::omit);
