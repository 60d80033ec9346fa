// Parameters of TLS 1.2. Their fields in Java have the standard's names.

#include "marshal/parameters.h"

namespace {

bool placeVersion(ParameterFields* java, CK_VERSION_PTR* version)
{
    void* place = nullptr;
    bool done = placeMember(java, "pVersion", kVersion, NullPolicy::nullPointer, &place);
    *version = static_cast<CK_VERSION_PTR>(place);
    return done;
}

bool masterKeyDeriveFields(ParameterFields* java, CK_TLS12_MASTER_KEY_DERIVE_PARAMS* derive)
{
    return readMember(java, "RandomInfo", kRandomData, NullPolicy::reject, &derive->RandomInfo) &&
           placeVersion(java, &derive->pVersion) && readUlong(java, "prfHashMechanism", &derive->prfHashMechanism);
}

bool extendedMasterKeyDeriveFields(ParameterFields* java, CK_TLS12_EXTENDED_MASTER_KEY_DERIVE_PARAMS* derive)
{
    return readUlong(java, "prfHashMechanism", &derive->prfHashMechanism) &&
           placeBlockOrNull(java, "pSessionHash", &derive->pSessionHash, &derive->ulSessionHashLen) &&
           placeVersion(java, &derive->pVersion);
}

bool keyMatFields(ParameterFields* java, CK_TLS12_KEY_MAT_PARAMS* material)
{
    if (!readUlong(java, "ulMacSizeInBits", &material->ulMacSizeInBits) ||
        !readUlong(java, "ulKeySizeInBits", &material->ulKeySizeInBits) ||
        !readUlong(java, "ulIVSizeInBits", &material->ulIVSizeInBits) ||
        !readFlag(java, "bIsExport", &material->bIsExport) ||
        !readMember(java, "RandomInfo", kRandomData, NullPolicy::reject, &material->RandomInfo) ||
        !readUlong(java, "prfHashMechanism", &material->prfHashMechanism))
        return false;

    KeyMaterialPlace out = {material->ulIVSizeInBits, nullptr};
    bool done = readMember(java, "pReturnedKeyMaterial", kSSL3KeyMatOut, NullPolicy::reject, &out);
    material->pReturnedKeyMaterial = out.place;
    return done;
}

bool macFields(ParameterFields* java, CK_TLS_MAC_PARAMS* mac)
{
    return readUlong(java, "prfHashMechanism", &mac->prfHashMechanism) &&
           readUlong(java, "ulMacLength", &mac->ulMacLength) &&
           readUlong(java, "ulServerOrClient", &mac->ulServerOrClient);
}

bool kdfFields(ParameterFields* java, CK_TLS_KDF_PARAMS* kdf)
{
    return readUlong(java, "prfMechanism", &kdf->prfMechanism) &&
           placeBlockOrNull(java, "pLabel", &kdf->pLabel, &kdf->ulLabelLength) &&
           readMember(java, "RandomInfo", kRandomData, NullPolicy::reject, &kdf->RandomInfo) &&
           placeBlockOrNull(java, "pContextData", &kdf->pContextData, &kdf->ulContextDataLength);
}

} // namespace

constexpr ParameterDescriptor kTls12MasterKeyDerive =
    describe<CK_TLS12_MASTER_KEY_DERIVE_PARAMS, masterKeyDeriveFields>(
        "com/kelvane/pkcs11/CK_TLS12_MASTER_KEY_DERIVE_PARAMS", NullPolicy::omit, &kTls12VersionOutput);
constexpr ParameterDescriptor kTls12ExtendedMasterKeyDerive =
    describe<CK_TLS12_EXTENDED_MASTER_KEY_DERIVE_PARAMS, extendedMasterKeyDeriveFields>(
        "com/kelvane/pkcs11/CK_TLS12_EXTENDED_MASTER_KEY_DERIVE_PARAMS", NullPolicy::omit,
        &kTls12ExtendedVersionOutput);
constexpr ParameterDescriptor kTls12KeyMat = describe<CK_TLS12_KEY_MAT_PARAMS, keyMatFields>(
    "com/kelvane/pkcs11/CK_TLS12_KEY_MAT_PARAMS", NullPolicy::omit, &kTls12KeyMatOutput);
constexpr ParameterDescriptor kTlsMac =
    describe<CK_TLS_MAC_PARAMS, macFields>("com/kelvane/pkcs11/CK_TLS_MAC_PARAMS", NullPolicy::omit);
constexpr ParameterDescriptor kTlsKdf =
    describe<CK_TLS_KDF_PARAMS, kdfFields>("com/kelvane/pkcs11/CK_TLS_KDF_PARAMS", NullPolicy::omit);
