// Parameters of key derivation.

#include <cstdint>
#include <cstring>

#include "bridge/diagnostics.h"
#include "bridge/exception.h"
#include "marshal/parameters.h"

namespace {

bool randomDataFields(ParameterFields* java, CK_SSL3_RANDOM_DATA* random)
{
    return placeBlock(java, "clientRandom", &random->pClientRandom, &random->ulClientRandomLen) &&
           placeBlock(java, "serverRandom", &random->pServerRandom, &random->ulServerRandomLen);
}

bool masterKeyDeriveFields(ParameterFields* java, CK_SSL3_MASTER_KEY_DERIVE_PARAMS* derive)
{
    void* version = nullptr;
    bool done = readMember(java, "random_data", kRandomData, NullPolicy::reject, &derive->RandomInfo) &&
                placeMember(java, "version", kVersion, NullPolicy::omit, &version);
    derive->pVersion = static_cast<CK_VERSION_PTR>(version);
    return done;
}

// The structure lies unaligned behind the random bytes.
bool keyMatOutFields(ParameterFields* java, KeyMaterialPlace* material)
{
    CK_SSL3_KEY_MAT_OUT out = {};
    if (isSizing(java)) {
        java->used += sizeof out;
        return placeBlock(java, "ivClient", &out.pIVClient, nullptr) &&
               placeBlock(java, "ivServer", &out.pIVServer, nullptr);
    }
    CK_ULONG ivBytes = material->ivSizeInBits / 8 + (material->ivSizeInBits % 8 != 0 ? 1 : 0);
    if (!checkInside(java, java->used, sizeof out + 2 * ivBytes))
        return false;

    CK_BYTE_PTR place = java->area + java->used;
    out.pIVClient = place + sizeof out;
    out.pIVServer = out.pIVClient + (material->ivSizeInBits >> 3);
    std::memcpy(place, &out, sizeof out);
    material->place = reinterpret_cast<CK_SSL3_KEY_MAT_OUT*>(place);
    return true;
}

bool keyMatFields(ParameterFields* java, CK_SSL3_KEY_MAT_PARAMS* material)
{
    if (!readUlong(java, "macSizeInBits", &material->ulMacSizeInBits) ||
        !readUlong(java, "keySizeInBits", &material->ulKeySizeInBits) ||
        !readUlong(java, "ivSizeInBits", &material->ulIVSizeInBits) ||
        !readByte(java, "exportable", &material->bIsExport) ||
        !readMember(java, "randomData", kRandomData, NullPolicy::reject, &material->RandomInfo))
        return false;

    KeyMaterialPlace out = {material->ulIVSizeInBits, nullptr};
    bool done = readMember(java, "returnedKeyMaterial", kSSL3KeyMatOut, NullPolicy::reject, &out);
    material->pReturnedKeyMaterial = out.place;
    return done;
}

// The output buffer and, behind it, the word with its length.
bool placeOutput(ParameterFields* java, const char* name, CK_BYTE_PTR* output, CK_ULONG_PTR* outputLength)
{
    CK_ULONG length = 0;
    if (!readBlockLength(java, name, &length))
        return false;
    constexpr CK_ULONG wordSize = sizeof **outputLength;
    if (isSizing(java)) {
        java->used += length + 2 * wordSize; // the word is aligned
        return true;
    }
    if (length > java->areaSize - java->used || 2 * wordSize > java->areaSize - java->used - length)
        return refuse(java->env, "no space for encoded attribute!");

    *output = java->area + java->used;
    auto end = reinterpret_cast<std::uintptr_t>(*output) + length;
    CK_BYTE_PTR word = *output + length + (wordSize - end % wordSize) % wordSize;
    *outputLength = reinterpret_cast<CK_ULONG_PTR>(word);
    std::memcpy(word, &length, sizeof length);
    return true;
}

bool tlsPRFFields(ParameterFields* java, CK_TLS_PRF_PARAMS* prf)
{
    return placeBlock(java, "seed", &prf->pSeed, &prf->ulSeedLen) &&
           placeBlock(java, "label", &prf->pLabel, &prf->ulLabelLen) &&
           placeOutput(java, "output", &prf->pOutput, &prf->pulOutputLen);
}

bool ecdh1Fields(ParameterFields* java, CK_ECDH1_DERIVE_PARAMS* ecdh)
{
    if (!readUlong(java, "kdf", &ecdh->kdf) || !readUlong(java, "sharedDataLen", &ecdh->ulSharedDataLen) ||
        !checkInside(java, 0, ecdh->ulSharedDataLen))
        return false;

    bool hasSharedData = isSizing(java) || ecdh->ulSharedDataLen != 0;
    if (hasSharedData && !placeBlock(java, "sharedData", &ecdh->pSharedData, nullptr))
        return false;
    if (!isSizing(java) && debugEnabled())
        traceECDH1(*ecdh);

    return readUlong(java, "publicDataLen", &ecdh->ulPublicDataLen) &&
           placeBlockAt(java, "publicData", ecdh->ulSharedDataLen, &ecdh->pPublicData) &&
           checkInside(java, ecdh->ulSharedDataLen, ecdh->ulPublicDataLen);
}

bool stringDataFields(ParameterFields* java, CK_KEY_DERIVATION_STRING_DATA* string)
{
    return placeBlockOrNull(java, "pData", &string->pData, &string->ulLen);
}

bool desCbcEncryptDataFields(ParameterFields* java, CK_DES_CBC_ENCRYPT_DATA_PARAMS* encrypt)
{
    return readBytes(java, "iv", encrypt->iv, sizeof encrypt->iv, sizeof encrypt->iv) &&
           placeBlockOrNull(java, "pData", &encrypt->pData, &encrypt->length);
}

bool aesCbcEncryptDataFields(ParameterFields* java, CK_AES_CBC_ENCRYPT_DATA_PARAMS* encrypt)
{
    return readBytes(java, "iv", encrypt->iv, sizeof encrypt->iv, sizeof encrypt->iv) &&
           placeBlockOrNull(java, "pData", &encrypt->pData, &encrypt->length);
}

bool hkdfFields(ParameterFields* java, CK_HKDF_PARAMS* hkdf)
{
    return readFlag(java, "bExtract", &hkdf->bExtract) && readFlag(java, "bExpand", &hkdf->bExpand) &&
           readUlong(java, "prfHashMechanism", &hkdf->prfHashMechanism) &&
           readUlong(java, "ulSaltType", &hkdf->ulSaltType) &&
           placeBlockOrNull(java, "pSalt", &hkdf->pSalt, &hkdf->ulSaltLen) &&
           readMember(java, "hSaltKey", kKeyHandle, NullPolicy::omit, &hkdf->hSaltKey) &&
           placeBlockOrNull(java, "pInfo", &hkdf->pInfo, &hkdf->ulInfoLen);
}

bool x942Dh1Fields(ParameterFields* java, CK_X9_42_DH1_DERIVE_PARAMS* derive)
{
    return readUlong(java, "kdf", &derive->kdf) &&
           placeBlockOrNull(java, "pOtherInfo", &derive->pOtherInfo, &derive->ulOtherInfoLen) &&
           placeBlockOrNull(java, "pPublicData", &derive->pPublicData, &derive->ulPublicDataLen);
}

bool x942Dh2Fields(ParameterFields* java, CK_X9_42_DH2_DERIVE_PARAMS* derive)
{
    return readUlong(java, "kdf", &derive->kdf) &&
           placeBlockOrNull(java, "pOtherInfo", &derive->pOtherInfo, &derive->ulOtherInfoLen) &&
           placeBlockOrNull(java, "pPublicData", &derive->pPublicData, &derive->ulPublicDataLen) &&
           readUlong(java, "ulPrivateDataLen", &derive->ulPrivateDataLen) &&
           readMember(java, "hPrivateData", kKeyHandle, NullPolicy::reject, &derive->hPrivateData) &&
           placeBlockOrNull(java, "pPublicData2", &derive->pPublicData2, &derive->ulPublicDataLen2);
}

bool x942MqvFields(ParameterFields* java, CK_X9_42_MQV_DERIVE_PARAMS* derive)
{
    return readUlong(java, "kdf", &derive->kdf) &&
           placeBlockOrNull(java, "OtherInfo", &derive->OtherInfo, &derive->ulOtherInfoLen) &&
           placeBlockOrNull(java, "PublicData", &derive->PublicData, &derive->ulPublicDataLen) &&
           readUlong(java, "ulPrivateDataLen", &derive->ulPrivateDataLen) &&
           readMember(java, "hPrivateData", kKeyHandle, NullPolicy::reject, &derive->hPrivateData) &&
           placeBlockOrNull(java, "PublicData2", &derive->PublicData2, &derive->ulPublicDataLen2) &&
           readMember(java, "publicKey", kKeyHandle, NullPolicy::reject, &derive->publicKey);
}

} // namespace

constexpr const char* kMasterKeyDeriveClass = "com/kelvane/pkcs11/CK_SSL3_MASTER_KEY_DERIVE_PARAMS";
constexpr ParameterDescriptor kSSL3MasterKeyDerive = describe<CK_SSL3_MASTER_KEY_DERIVE_PARAMS, masterKeyDeriveFields>(
    kMasterKeyDeriveClass, NullPolicy::reject, &kSSL3VersionOutput);
constexpr ParameterDescriptor kSSL3MasterKeyDeriveDh =
    describe<CK_SSL3_MASTER_KEY_DERIVE_PARAMS, masterKeyDeriveFields>(kMasterKeyDeriveClass);
constexpr ParameterDescriptor kSSL3KeyMat = describe<CK_SSL3_KEY_MAT_PARAMS, keyMatFields>(
    "com/kelvane/pkcs11/CK_SSL3_KEY_MAT_PARAMS", NullPolicy::reject, &kSSL3KeyMatOutput);
constexpr ParameterDescriptor kRandomData =
    describe<CK_SSL3_RANDOM_DATA, randomDataFields>("com/kelvane/pkcs11/CK_SSL3_RANDOM_DATA");
constexpr ParameterDescriptor kSSL3KeyMatOut =
    describe<KeyMaterialPlace, keyMatOutFields>("com/kelvane/pkcs11/CK_SSL3_KEY_MAT_OUT");
constexpr ParameterDescriptor kTLSPRF = describe<CK_TLS_PRF_PARAMS, tlsPRFFields>(
    "com/kelvane/pkcs11/CK_TLS_PRF_PARAMS", NullPolicy::reject, &kTLSPRFOutput);
constexpr ParameterDescriptor kECDH1 =
    describe<CK_ECDH1_DERIVE_PARAMS, ecdh1Fields>("com/kelvane/pkcs11/CK_ECDH1_DERIVE_PARAMS");
constexpr ParameterDescriptor kStringData = describe<CK_KEY_DERIVATION_STRING_DATA, stringDataFields>(
    "com/kelvane/pkcs11/CK_KEY_DERIVATION_STRING_DATA", NullPolicy::omit);
constexpr ParameterDescriptor kDesCbcEncryptData = describe<CK_DES_CBC_ENCRYPT_DATA_PARAMS, desCbcEncryptDataFields>(
    "com/kelvane/pkcs11/CK_DES_CBC_ENCRYPT_DATA_PARAMS", NullPolicy::omit);
constexpr ParameterDescriptor kAesCbcEncryptData = describe<CK_AES_CBC_ENCRYPT_DATA_PARAMS, aesCbcEncryptDataFields>(
    "com/kelvane/pkcs11/CK_AES_CBC_ENCRYPT_DATA_PARAMS", NullPolicy::omit);
constexpr ParameterDescriptor kHkdf =
    describe<CK_HKDF_PARAMS, hkdfFields>("com/kelvane/pkcs11/CK_HKDF_PARAMS", NullPolicy::omit);
constexpr ParameterDescriptor kX942Dh1 = describe<CK_X9_42_DH1_DERIVE_PARAMS, x942Dh1Fields>(
    "com/kelvane/pkcs11/CK_X9_42_DH1_DERIVE_PARAMS", NullPolicy::omit);
constexpr ParameterDescriptor kX942Dh2 = describe<CK_X9_42_DH2_DERIVE_PARAMS, x942Dh2Fields>(
    "com/kelvane/pkcs11/CK_X9_42_DH2_DERIVE_PARAMS", NullPolicy::omit);
constexpr ParameterDescriptor kX942Mqv = describe<CK_X9_42_MQV_DERIVE_PARAMS, x942MqvFields>(
    "com/kelvane/pkcs11/CK_X9_42_MQV_DERIVE_PARAMS", NullPolicy::omit);
