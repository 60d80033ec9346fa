// Parameters of key derivation.

#include <cstring>

#include "frame.h"
#include "mechanism_params.h"
#include "parameter_fields.h"
#include "values.h"

namespace {

// The client's and the server's random bytes, one behind the other. `name` is the field that holds them.
bool placeRandomData(ParameterFields* fields, const char* name, CK_SSL3_RANDOM_DATA* random)
{
    ParameterFields member;
    if (!openMember(*fields, name, parameter_class::SSL3_RANDOM_DATA, &member) ||
        !placeBlock(&member, "clientRandom", &random->pClientRandom, &random->ulClientRandomLen) ||
        !placeBlock(&member, "serverRandom", &random->pServerRandom, &random->ulServerRandomLen))
        return false;
    fields->used = member.used;
    closeMember(member);
    return true;
}

// The version of a field, or two zero bytes where it is null.
bool placeVersion(ParameterFields* fields, const char* name, CK_VERSION_PTR* version)
{
    if (!requireInside(*fields, fields->used, sizeof **version))
        return false;
    *version = reinterpret_cast<CK_VERSION_PTR>(fields->area + fields->used);
    fields->used += sizeof **version;

    jobject object = nullptr;
    if (!readObjectField(fields->env, fields->object, fields->type, name, "Lcom/kelvane/pkcs11/CK_VERSION;", &object))
        return false;
    CK_ULONG room = sizeof **version;
    return object == nullptr || encodeVersion(fields->env, object, *version, &room, fields->wrongType);
}

// The structure that the token fills, with its two IV areas behind it. It lies unaligned behind the random bytes.
bool placeKeyMaterial(ParameterFields* fields, CK_ULONG ivSizeInBits, CK_SSL3_KEY_MAT_OUT** material)
{
    CK_ULONG ivBytes = ivSizeInBits / 8 + (ivSizeInBits % 8 != 0 ? 1 : 0);
    if (!requireInside(*fields, fields->used, sizeof(CK_SSL3_KEY_MAT_OUT) + 2 * ivBytes))
        return false;

    CK_BYTE_PTR place = fields->area + fields->used;
    CK_SSL3_KEY_MAT_OUT out = {};
    out.pIVClient = place + sizeof out;
    out.pIVServer = out.pIVClient + (ivSizeInBits >> 3);
    std::memcpy(place, &out, sizeof out);
    *material = reinterpret_cast<CK_SSL3_KEY_MAT_OUT*>(place);
    return true;
}

// The output's room and, behind it, the word with its length.
bool placeOutput(ParameterFields* fields, const char* name, CK_BYTE_PTR* output, CK_ULONG_PTR* outputLength)
{
    CK_ULONG length = 0;
    if (!readBlockLength(*fields, name, &length))
        return false;
    constexpr CK_ULONG wordSize = sizeof **outputLength;
    if (length > fields->areaSize - fields->used || 2 * wordSize > fields->areaSize - fields->used - length)
        return refuse(fields->env, "no space for encoded attribute!");

    *output = fields->area + fields->used;
    auto end = reinterpret_cast<std::uintptr_t>(*output) + length;
    CK_BYTE_PTR word = *output + length + (wordSize - end % wordSize) % wordSize;
    *outputLength = reinterpret_cast<CK_ULONG_PTR>(word);
    std::memcpy(word, &length, sizeof length);
    return true;
}

} // namespace

bool encodeKeyHandle(JNIEnv* env, CK_FUNCTION_LIST_PTR list, jobject parameter, void* dest, CK_ULONG* len,
                     CK_RV wrongType)
{
    auto* handle = static_cast<CK_OBJECT_HANDLE*>(dest);
    ParameterFields fields;
    jint number = 0;
    return openParameter(env, parameter, "com/kelvane/pkcs11/nat/NativePKCS11Object", dest, sizeof *handle, len,
                         wrongType, &fields) &&
           readIntField(env, parameter, fields.type, "objectID", &number) && objectOfNumber(env, list, number, handle);
}

bool encodeVersion(JNIEnv* env, jobject parameter, void* dest, CK_ULONG* len, CK_RV wrongType)
{
    auto* version = static_cast<CK_VERSION*>(dest);
    ParameterFields fields;
    return openParameter(env, parameter, parameter_class::VERSION, dest, sizeof *version, len, wrongType, &fields) &&
           readByte(fields, "major", &version->major) && readByte(fields, "minor", &version->minor);
}

bool encodeSSL3MasterKeyDeriveParams(JNIEnv* env, jobject parameter, void* dest, CK_ULONG* len, CK_RV wrongType)
{
    auto* derive = static_cast<CK_SSL3_MASTER_KEY_DERIVE_PARAMS*>(dest);
    ParameterFields fields;
    return openParameter(env, parameter, parameter_class::SSL3_MASTER_KEY_DERIVE, dest, sizeof *derive, len, wrongType,
                         &fields) &&
           placeRandomData(&fields, "random_data", &derive->RandomInfo) &&
           placeVersion(&fields, "version", &derive->pVersion);
}

bool encodeSSL3KeyMatParams(JNIEnv* env, jobject parameter, void* dest, CK_ULONG* len, CK_RV wrongType)
{
    auto* material = static_cast<CK_SSL3_KEY_MAT_PARAMS*>(dest);
    ParameterFields fields;
    ParameterFields out;
    return openParameter(env, parameter, parameter_class::SSL3_KEY_MAT, dest, sizeof *material, len, wrongType,
                         &fields) &&
           readUlong(fields, "macSizeInBits", &material->ulMacSizeInBits) &&
           readUlong(fields, "keySizeInBits", &material->ulKeySizeInBits) &&
           readUlong(fields, "ivSizeInBits", &material->ulIVSizeInBits) &&
           readByte(fields, "exportable", &material->bIsExport) &&
           placeRandomData(&fields, "randomData", &material->RandomInfo) &&
           openMember(fields, "returnedKeyMaterial", parameter_class::SSL3_KEY_MAT_OUT, &out) &&
           placeKeyMaterial(&fields, material->ulIVSizeInBits, &material->pReturnedKeyMaterial);
}

bool encodeTLSPRFParams(JNIEnv* env, jobject parameter, void* dest, CK_ULONG* len, CK_RV wrongType)
{
    auto* prf = static_cast<CK_TLS_PRF_PARAMS*>(dest);
    ParameterFields fields;
    return openParameter(env, parameter, parameter_class::TLS_PRF, dest, sizeof *prf, len, wrongType, &fields) &&
           placeBlock(&fields, "seed", &prf->pSeed, &prf->ulSeedLen) &&
           placeBlock(&fields, "label", &prf->pLabel, &prf->ulLabelLen) &&
           placeOutput(&fields, "output", &prf->pOutput, &prf->pulOutputLen);
}

bool encodedECDH1_DERIVE(JNIEnv* env, jobject parameter, void* dest, CK_ULONG* len, CK_RV wrongType)
{
    auto* ecdh = static_cast<CK_ECDH1_DERIVE_PARAMS*>(dest);
    ParameterFields fields;
    if (!openParameter(env, parameter, parameter_class::ECDH1, dest, sizeof *ecdh, len, wrongType, &fields) ||
        !readUlong(fields, "kdf", &ecdh->kdf) || !readUlong(fields, "sharedDataLen", &ecdh->ulSharedDataLen) ||
        !requireInside(fields, 0, ecdh->ulSharedDataLen))
        return false;

    ecdh->pSharedData = nullptr;
    if (ecdh->ulSharedDataLen != 0 && !placeBlock(&fields, "sharedData", &ecdh->pSharedData, nullptr))
        return false;
    if (debugEnabled())
        traceECDH1(*ecdh);

    return readUlong(fields, "publicDataLen", &ecdh->ulPublicDataLen) &&
           placeBlockAt(fields, "publicData", ecdh->ulSharedDataLen, &ecdh->pPublicData) &&
           requireInside(fields, ecdh->ulSharedDataLen, ecdh->ulPublicDataLen);
}
