#include "bridge/exception.h"
#include "bridge/fields.h"
#include "bridge/java_numbers.h"
#include "marshal/mechanism_kinds.h"
#include "marshal/mechanism_params.h"
#include "marshal/mechanisms.h"
#include "marshal/values.h"

namespace {

// The structure of a kind; null for the kinds that are plain values or are never encoded.
const ParameterStructure* descriptionOf(ParameterKind kind)
{
    using enum ParameterKind;
    switch (kind) {
        // clang-format off
    case keyHandle:                    return &kKeyHandle;
    case rc2:                          return &kRC2;
    case rc2Cbc:                       return &kRC2CBC;
    case rc2MacGeneral:                return &kRC2MacGeneral;
    case rc5:                          return &kRC5;
    case rc5Cbc:                       return &kRC5CBC;
    case rc5MacGeneral:                return &kRC5MacGeneral;
    case pbe:                          return &kPBE;
    case version:                      return &kVersion;
    case ssl3MasterKeyDerive:
    case tlsMasterKeyDerive:
    case ssl3MasterKeyDeriveDh:
    case tlsMasterKeyDeriveDh:         return &kSSL3MasterKeyDerive;
    case ssl3KeyAndMacDerive:
    case tlsKeyAndMacDerive:           return &kSSL3KeyMat;
    case tlsPrf:                       return &kTLSPRF;
    case ecdh1Derive:                  return &kECDH1;
    case gcm:                          return &kGCM;
    case oaep:                         return &kOAEP;
    case pss:                          return &kPSS;
    case aesCtr:                       return &kAesCtr;
    case ccm:                          return &kCcm;
    case stringData:                   return &kStringData;
    case aesCbcEncryptData:            return &kAesCbcEncryptData;
    case desCbcEncryptData:            return &kDesCbcEncryptData;
    case rsaAesKeyWrap:                return &kRsaAesKeyWrap;
    case ecdhAesKeyWrap:               return &kEcdhAesKeyWrap;
    case eddsa:                        return &kEddsa;
    case poly1305:                     return &kPoly1305;
    case hkdf:                         return &kHkdf;
    case raw:                          return &kRaw;
    case chaCha20:                     return &kChaCha20;
    case salsa20:                      return &kSalsa20;
    case xeddsa:                       return &kXeddsa;
    case signContext:                  return &kSignContext;
    case hashSignContext:              return &kHashSignContext;
    case tls12MasterKeyDerive:         return &kTls12MasterKeyDerive;
    case tls12ExtendedMasterKeyDerive: return &kTls12ExtendedMasterKeyDerive;
    case tls12KeyMat:                  return &kTls12KeyMat;
    case tlsMac:                       return &kTlsMac;
    case tlsKdf:                       return &kTlsKdf;
    case sp800Kdf:                     return &kSp800Kdf;
    case sp800FeedbackKdf:             return &kSp800FeedbackKdf;
    case x942Dh1:                      return &kX942Dh1;
    case x942Dh2:                      return &kX942Dh2;
    case x942Mqv:                      return &kX942Mqv;
    default:                           return nullptr;
        // clang-format on
    }
}

// Goes through a parameter. Where the class of raw parameters is not on the class path, no object is one: that it is
// missing is no error.
bool readParameter(ParameterFields* java, const ParameterStructure& description, void* structure)
{
    bool done = readStructure(java, description, structure);
    if (done || &description != &kRaw)
        return done;

    if (clearPendingException(java->env, "java/lang/NoClassDefFoundError"))
        demand(java, false);
    return false;
}

// Finds the size of what encodeParameter writes: the value, or the structure and the blocks that it points to. False
// when the virtual machine's error is pending.
bool measureParameter(JNIEnv* env, JavaMechanism* mechanism, std::size_t* size)
{
    if (const ParameterStructure* description = descriptionOf(mechanism->kind)) {
        ParameterFields java = {env, mechanism->parameter, nullptr, nullptr, 0, 0};
        MeasuredStructure structure;
        bool done = readParameter(&java, *description, &structure);
        mechanism->parameterClass = java.type;
        *size = addSize(description->size, java.used);
        return done || env->ExceptionCheck() != JNI_TRUE;
    }
    switch (mechanism->kind) {
    case ParameterKind::macGeneral:
    case ParameterKind::extract: *size = sizeof(CK_ULONG); return true;
    case ParameterKind::iv:
    case ParameterKind::tokenIv:
    case ParameterKind::vector:
        mechanism->parameterClass = classIfInstance(env, mechanism->parameter, "[B");
        if (mechanism->parameterClass == nullptr)
            return env->ExceptionCheck() != JNI_TRUE;
        *size = fromJava(env->GetArrayLength(static_cast<jbyteArray>(mechanism->parameter)));
        return true;
    case ParameterKind::publicValue: return encodedValueSize(env, ValueKind::bigInteger, mechanism->parameter, size);
    default: return true; // takes none, or is refused
    }
}

// Whether a parameter that is not of its kind's class may be a PKCS11RawParameter.
bool takesBytesToo(const JavaMechanism& mechanism)
{
    return mechanism.parameterClass == nullptr && mechanism.kind >= ParameterKind::aesCtr;
}

// A mechanism without a parameter: the pointer is null, and an object is refused.
bool encodeNone(JNIEnv* env, jobject parameter, CK_MECHANISM* mechanism)
{
    mechanism->pParameter = nullptr;
    mechanism->ulParameterLen = 0;
    return require(env, parameter == nullptr, kWrongParameter);
}

bool encodeStructure(JNIEnv* env, const ParameterStructure& description, const JavaMechanism& java,
                     CK_MECHANISM* mechanism)
{
    if (java.parameter == nullptr && description.null == Null::none)
        return encodeNone(env, nullptr, mechanism);

    auto* start = static_cast<CK_BYTE_PTR>(mechanism->pParameter);
    auto size = static_cast<CK_ULONG>(description.size);
    ParameterFields fields = {env, java.parameter, java.parameterClass, start + size, mechanism->ulParameterLen - size,
                              0};
    bool done = fields.type != nullptr ? description.fields(&fields, start) : demand(&fields, false);
    mechanism->ulParameterLen = &description == &kRaw ? fields.used : size;
    return done;
}

// An initialisation vector; none is one of no bytes, or no parameter.
bool encodeVector(JNIEnv* env, const JavaMechanism& java, CK_MECHANISM* mechanism)
{
    if (java.kind == ParameterKind::vector && java.parameter == nullptr)
        return encodeNone(env, nullptr, mechanism);
    if (java.parameterClass != nullptr)
        return copyByteArray(env, static_cast<jbyteArray>(java.parameter), mechanism->pParameter,
                             &mechanism->ulParameterLen);
    mechanism->ulParameterLen = 0;
    return require(env, java.parameter == nullptr, kWrongParameter);
}

bool encodeParameter(JNIEnv* env, const JavaMechanism& java, CK_MECHANISM* mechanism)
{
    void* dest = mechanism->pParameter;
    CK_ULONG* len = &mechanism->ulParameterLen;
    if (const ParameterStructure* description = descriptionOf(java.kind))
        return encodeStructure(env, *description, java, mechanism);

    using enum ParameterKind;
    switch (java.kind) {
    case none: return encodeNone(env, java.parameter, mechanism);
    case macGeneral:
    case extract: return encodeInteger(env, java.parameter, dest, len, kWrongParameter);
    case iv:
    case tokenIv:
    case vector: return encodeVector(env, java, mechanism);
    case publicValue: return encodeBigInteger(env, java.parameter, dest, len, kWrongParameter);
    case derivationString:
    case keaDerive:
    case keyWrapSetOaep:
    case skipjackPrivateWrap:
    case skipjackRelayx:
    case pbkd2: return refuse(env, "parameter encoding not yet implemented!");
    default: return refuse(env, "unknown mechanism parameter type!"); // ecmqvDerive: shown to Java, never derived with
    }
}

// The OAEP structure of an encoded mechanism, its own or the one that its structure points to; null when there is none.
CK_RSA_PKCS_OAEP_PARAMS* oaepIn(ParameterKind kind, const EncodeBuffer& encoded)
{
    bool within = kind == ParameterKind::rsaAesKeyWrap;
    std::size_t place = sizeof(CK_MECHANISM) + (within ? sizeof(CK_RSA_AES_KEY_WRAP_PARAMS) : 0);
    bool there = (within || kind == ParameterKind::oaep) && encoded.size >= place + sizeof(CK_RSA_PKCS_OAEP_PARAMS);
    return there ? reinterpret_cast<CK_RSA_PKCS_OAEP_PARAMS*>(encoded.bytes + place) : nullptr;
}

} // namespace

JavaMechanism measureMechanism(JNIEnv* env, jint mechanism, jobject parameter)
{
    CK_MECHANISM_TYPE type = fromJava(mechanism);
    JavaMechanism measured = {type, parameter, mechanismParameterKind(type), nullptr, sizeof(CK_MECHANISM), false};
    std::size_t size = 0;
    if (parameter != nullptr)
        measured.failed = !measureParameter(env, &measured, &size);
    if (parameter != nullptr && !measured.failed && takesBytesToo(measured)) {
        measured.kind = ParameterKind::raw;
        measured.failed = !measureParameter(env, &measured, &size);
    }
    measured.size = addSize(measured.size, size);
    return measured;
}

bool encodeMechanism(JNIEnv* env, const JavaMechanism& mechanism, const EncodeBuffer& buffer)
{
    if (!require(env, !mechanism.failed, kWrongParameter))
        return false;
    if (buffer.bytes == nullptr)
        return refuse(env, "no space for encoded mechanism / parameter!");

    CK_MECHANISM* encoded = mechanismIn(buffer);
    encoded->mechanism = mechanism.type;
    encoded->pParameter = buffer.bytes + sizeof(CK_MECHANISM);
    encoded->ulParameterLen = static_cast<CK_ULONG>(buffer.size - sizeof(CK_MECHANISM));
    return encodeParameter(env, mechanism, encoded);
}

bool askWithoutLabel(const JavaMechanism& mechanism, const EncodeBuffer& encoded, CK_RV rv)
{
    if (rv != CKR_ARGUMENTS_BAD && rv != CKR_MECHANISM_PARAM_INVALID)
        return false;
    CK_RSA_PKCS_OAEP_PARAMS* oaep = oaepIn(mechanism.kind, encoded);
    if (oaep == nullptr)
        return false;

    bool refusedPointer = oaep->ulSourceDataLen == 0 && oaep->pSourceData != nullptr;
    oaep->pSourceData = refusedPointer ? nullptr : oaep->pSourceData;
    return refusedPointer;
}
