// Parameters of the derivations of SP 800-108: data composed of segments, and additional keys.

#include "bridge/fields.h"
#include "marshal/parameters.h"
#include "marshal/template_encode.h"

namespace {

bool counterFormatFields(ParameterFields* java, CK_SP800_108_COUNTER_FORMAT* format)
{
    return readFlag(java, "bLittleEndian", &format->bLittleEndian) &&
           readUlong(java, "ulWidthInBits", &format->ulWidthInBits);
}

bool lengthFormatFields(ParameterFields* java, CK_SP800_108_DKM_LENGTH_FORMAT* format)
{
    return readUlong(java, "dkmLengthMethod", &format->dkmLengthMethod) &&
           readFlag(java, "bLittleEndian", &format->bLittleEndian) &&
           readUlong(java, "ulWidthInBits", &format->ulWidthInBits);
}

constexpr ParameterDescriptor kCounterFormat =
    describe<CK_SP800_108_COUNTER_FORMAT, counterFormatFields>("com/kelvane/pkcs11/CK_SP800_108_COUNTER_FORMAT");
constexpr ParameterDescriptor kLengthFormat =
    describe<CK_SP800_108_DKM_LENGTH_FORMAT, lengthFormatFields>("com/kelvane/pkcs11/CK_SP800_108_DKM_LENGTH_FORMAT");

bool prfDataFields(ParameterFields* java, CK_PRF_DATA_PARAM* data)
{
    return readUlong(java, "type", &data->type) &&
           placeAny(java, "pValue", {&kCounterFormat, &kLengthFormat, &kKeyHandle}, &data->pValue, &data->ulValueLen);
}

constexpr ParameterDescriptor kPrfData =
    describe<CK_PRF_DATA_PARAM, prfDataFields>("com/kelvane/pkcs11/CK_PRF_DATA_PARAM");

// The template's entries and values go into the area too.
bool placeTemplate(ParameterFields* java, const char* name, CK_ATTRIBUTE** entries, CK_ULONG* count)
{
    jobject attributes = nullptr;
    if (!readObjectField(java->env, java->object, java->type, name, "Lcom/kelvane/pkcs11/Template;", &attributes))
        return false;

    bool done = false;
    if (isSizing(java)) {
        std::size_t size = 0;
        done = templateObjectSize(java->env, attributes, false, &size);
        java->used = static_cast<CK_ULONG>(addSize(java->used, size));
    } else {
        EncodeArea area = {java->area + java->used, java->area + java->areaSize};
        done = encodeTemplateObject(java->env, attributes, false, entries, count, &area);
        java->used = static_cast<CK_ULONG>(area.cursor - java->area);
    }
    java->env->DeleteLocalRef(attributes);
    return done;
}

bool derivedKeyFields(ParameterFields* java, CK_DERIVED_KEY* key)
{
    void* handle = nullptr;
    if (!placeTemplate(java, "pTemplate", &key->pTemplate, &key->ulAttributeCount) ||
        !reserveAligned(java, sizeof(CK_OBJECT_HANDLE), &handle))
        return false;
    key->phKey = static_cast<CK_OBJECT_HANDLE*>(handle);
    return true;
}

bool placeDataAndKeys(ParameterFields* java, CK_PRF_DATA_PARAM** data, CK_ULONG* dataCount, CK_DERIVED_KEY** keys,
                      CK_ULONG* keyCount)
{
    void* dataPlace = nullptr;
    void* keyPlace = nullptr;
    bool done = placeStructures(java, "pDataParams", kPrfData, &dataPlace, dataCount) &&
                placeStructures(java, "pAdditionalDerivedKeys", kDerivedKey, &keyPlace, keyCount);
    *data = static_cast<CK_PRF_DATA_PARAM*>(dataPlace);
    *keys = static_cast<CK_DERIVED_KEY*>(keyPlace);
    return done;
}

bool kdfFields(ParameterFields* java, CK_SP800_108_KDF_PARAMS* kdf)
{
    return readUlong(java, "prfType", &kdf->prfType) &&
           placeDataAndKeys(java, &kdf->pDataParams, &kdf->ulNumberOfDataParams, &kdf->pAdditionalDerivedKeys,
                            &kdf->ulAdditionalDerivedKeys);
}

bool feedbackKdfFields(ParameterFields* java, CK_SP800_108_FEEDBACK_KDF_PARAMS* kdf)
{
    return readUlong(java, "prfType", &kdf->prfType) &&
           placeDataAndKeys(java, &kdf->pDataParams, &kdf->ulNumberOfDataParams, &kdf->pAdditionalDerivedKeys,
                            &kdf->ulAdditionalDerivedKeys) &&
           placeBlockOrNull(java, "pIV", &kdf->pIV, &kdf->ulIVLen);
}

} // namespace

constexpr ParameterDescriptor kDerivedKey =
    describe<CK_DERIVED_KEY, derivedKeyFields>("com/kelvane/pkcs11/CK_DERIVED_KEY");
constexpr ParameterDescriptor kSp800Kdf = describe<CK_SP800_108_KDF_PARAMS, kdfFields>(
    "com/kelvane/pkcs11/CK_SP800_108_KDF_PARAMS", NullPolicy::omit, &kSp800Output);
constexpr ParameterDescriptor kSp800FeedbackKdf = describe<CK_SP800_108_FEEDBACK_KDF_PARAMS, feedbackKdfFields>(
    "com/kelvane/pkcs11/CK_SP800_108_FEEDBACK_KDF_PARAMS", NullPolicy::omit, &kSp800FeedbackOutput);
