// Returning what a module wrote into an encoded mechanism to the Java parameter.
//
// Invariant: nothing that the module may have changed is trusted. The reservation was encoded by us, but the module
// owned it during the call: every pointer is checked to lie in the reservation, and every count against it, before it
// is used.
//
// A derivation may create keys besides the one it returns. Each is either set in a Java object or destroyed, whatever
// fails in between: keysOf reads their handles first, and from then on a failure for one key leaves the others to be
// returned.

#include <array>
#include <cstring>

#include "bridge/buffers.h"
#include "bridge/created_objects.h"
#include "bridge/exception.h"
#include "bridge/fields.h"
#include "bridge/handles.h"
#include "bridge/java_numbers.h"
#include "bridge/resolve.h"
#include "marshal/mechanism.h"
#include "marshal/parameters.h"

/// The keys that a derivation has created besides its own, as the module has written them into the mechanism.
struct DerivedKeys
{
    std::array<CK_OBJECT_HANDLE, 4> material = {}; ///< of SSL3 and TLS: MAC secrets and keys of client and server
    const CK_DERIVED_KEY* additional = nullptr;    ///< of SP 800-108
    CK_ULONG count = 0;
};

/// The functions that return outputs to Java; null where a parameter has none of the kind.
struct ParameterOutput
{
    /// After C_EncryptInit and C_GenerateKey. False after raising.
    bool (*afterStart)(const ParameterFields& fields, const EncodeBuffer& encoded);

    /// After C_DeriveKey: the handles of the keys, and the setter of the fields.
    DerivedKeys (*keys)(const EncodeBuffer& encoded);
    void (*afterDerivation)(const ParameterFields& fields, jobject session, const SessionHandles& handles,
                            const EncodeBuffer& encoded, const DerivedKeys& keys);
};

namespace {

constexpr CK_ULONG kTokenInitVector = 20;

constexpr const char* kObjectSignature = "Lcom/kelvane/pkcs11/PKCS11Object;";
constexpr const char* kNativeObjectSignature = "Lcom/kelvane/pkcs11/nat/NativePKCS11Object;";
constexpr const char* kVersionSignature = "Lcom/kelvane/pkcs11/CK_VERSION;";
constexpr const char* kKeyMatOutSignature = "Lcom/kelvane/pkcs11/CK_SSL3_KEY_MAT_OUT;";

// Whether a block that the module may have moved still lies in the reservation.
bool liesIn(const EncodeBuffer& encoded, const void* block, std::size_t size)
{
    auto start = reinterpret_cast<std::uintptr_t>(encoded.bytes);
    auto place = reinterpret_cast<std::uintptr_t>(block);
    return place >= start && place - start <= encoded.size && size <= encoded.size - (place - start);
}

// The same for structures, which must also be aligned.
template <typename Structure>
bool lieIn(const EncodeBuffer& encoded, const Structure* first, std::size_t count)
{
    return reinterpret_cast<std::uintptr_t>(first) % alignof(Structure) == 0 &&
           liesIn(encoded, first, arraySize(count, sizeof(Structure)));
}

// The structure behind the CK_MECHANISM, or null when the module has cleared the pointer.
template <typename Params>
const Params* paramsIn(const EncodeBuffer& encoded)
{
    bool there = mechanismIn(encoded)->pParameter != nullptr &&
                 liesIn(encoded, encoded.bytes + sizeof(CK_MECHANISM), sizeof(Params));
    return there ? reinterpret_cast<const Params*>(encoded.bytes + sizeof(CK_MECHANISM)) : nullptr;
}

// Copies `count` bytes of a block into an array.
bool returnBytes(JNIEnv* env, const EncodeBuffer& encoded, const void* block, jbyteArray array, CK_ULONG count)
{
    if (array != nullptr && !liesIn(encoded, block, count))
        return refuse(env, CKR_BUFFER_TOO_SMALL);
    return decodeByteArray(env, block, array, count);
}

// Fills a whole byte[] field; null is skipped.
void returnField(const ParameterFields& fields, const EncodeBuffer& encoded, const char* name, const void* block)
{
    jbyteArray array = nullptr;
    if (readByteArrayField(&fields, name, &array) && array != nullptr)
        returnBytes(fields.env, encoded, block, array, fromJava(fields.env->GetArrayLength(array)));
    fields.env->DeleteLocalRef(array);
}

// The parameter, whose class the encoder has checked, as the owner of fields to set.
ParameterFields fieldsOf(JNIEnv* env, const JavaMechanism& mechanism)
{
    return {env, mechanism.parameter, mechanism.parameterClass, nullptr, 0, 0};
}

// The object of a field as the owner of fields; nothing is raised for one that is null or of another class.
bool openMember(const ParameterFields& owner, const char* name, const char* signature,
                const ParameterDescriptor& descriptor, ParameterFields* member)
{
    *member = {owner.env, nullptr, nullptr, nullptr, 0, 0};
    if (!readObjectField(owner.env, owner.object, owner.type, name, signature, &member->object))
        return false;
    member->type = classIfInstance(owner.env, member->object, descriptor.className);
    return member->type != nullptr;
}

bool setByte(const ParameterFields& fields, const char* name, CK_BYTE value)
{
    jfieldID field = fields.env->GetFieldID(fields.type, name, "B");
    if (field != nullptr)
        fields.env->SetByteField(fields.object, field, static_cast<jbyte>(value));
    return field != nullptr;
}

// Sets a field to the object of a created key; a key that no field can hold is destroyed. After a failure the
// fields that follow are still set.
void setKey(const ParameterFields& fields, const char* name, const char* signature, jobject session,
            const SessionHandles& handles, CK_OBJECT_HANDLE created)
{
    JNIEnv* env = fields.env;
    jthrowable first = stashPendingException(env);
    jobject key = newNativeObject(env, session, created);
    jfieldID field = key != nullptr ? env->GetFieldID(fields.type, name, signature) : nullptr;
    if (field != nullptr)
        env->SetObjectField(fields.object, field, key);
    else
        discardObject(env, handles, created);
    env->DeleteLocalRef(key);
    restorePendingException(env, first);
}

// Copies the version that a token has written to a field of the parameter.
template <typename Params>
void returnVersion(const ParameterFields& fields, const EncodeBuffer& encoded, const char* name)
{
    const auto* derive = paramsIn<Params>(encoded);
    ParameterFields version;
    if (derive == nullptr || derive->pVersion == nullptr ||
        !require(fields.env, liesIn(encoded, derive->pVersion, sizeof(CK_VERSION)), CKR_BUFFER_TOO_SMALL) ||
        !openMember(fields, name, kVersionSignature, kVersion, &version))
        return;

    if (setByte(version, "major", derive->pVersion->major))
        setByte(version, "minor", derive->pVersion->minor);
}

// The structure that the module wrote beside the parameter; false when the pointer no longer leads into the
// reservation.
template <typename Params>
bool readKeyMaterial(const EncodeBuffer& encoded, CK_SSL3_KEY_MAT_OUT* material)
{
    const auto* params = paramsIn<Params>(encoded);
    bool there = params != nullptr && liesIn(encoded, params->pReturnedKeyMaterial, sizeof *material);
    if (there)
        std::memcpy(material, params->pReturnedKeyMaterial, sizeof *material); // it lies unaligned
    return there;
}

template <typename Params>
DerivedKeys keysOfMaterial(const EncodeBuffer& encoded)
{
    DerivedKeys keys = {};
    CK_SSL3_KEY_MAT_OUT material = {};
    if (readKeyMaterial<Params>(encoded, &material))
        keys.material = {material.hClientMacSecret, material.hServerMacSecret, material.hClientKey,
                         material.hServerKey};
    return keys;
}

// No keys when the pointers no longer lead into the reservation.
template <typename Params>
DerivedKeys additionalKeys(const EncodeBuffer& encoded)
{
    DerivedKeys keys = {};
    const auto* params = paramsIn<Params>(encoded);
    if (params != nullptr && lieIn(encoded, params->pAdditionalDerivedKeys, params->ulAdditionalDerivedKeys)) {
        keys.additional = params->pAdditionalDerivedKeys;
        keys.count = params->ulAdditionalDerivedKeys;
    }
    return keys;
}

// One of the additional keys; 0 when the pointer to its handle no longer leads into the reservation.
CK_OBJECT_HANDLE additionalKey(const EncodeBuffer& encoded, const DerivedKeys& keys, CK_ULONG index)
{
    const CK_OBJECT_HANDLE* handle = keys.additional[index].phKey;
    return lieIn(encoded, handle, 1) ? *handle : 0;
}

template <typename Params>
void returnKeyMaterial(const ParameterFields& fields, const char* name, jobject session, const SessionHandles& handles,
                       const EncodeBuffer& encoded, const DerivedKeys& keys)
{
    JNIEnv* env = fields.env;
    CK_SSL3_KEY_MAT_OUT material = {};
    if (mechanismIn(encoded)->pParameter == nullptr ||
        !require(env, readKeyMaterial<Params>(encoded, &material), CKR_BUFFER_TOO_SMALL))
        return;

    ParameterFields out;
    if (!openMember(fields, name, kKeyMatOutSignature, kSSL3KeyMatOut, &out)) {
        // Another thread has removed the object since it was encoded: no object is left for the keys.
        for (CK_OBJECT_HANDLE each : keys.material)
            discardObject(env, handles, each);
        refuse(env, CKR_MECHANISM_PARAM_INVALID);
        return;
    }

    returnField(out, encoded, "ivClient", material.pIVClient);
    jthrowable first = stashPendingException(env);
    returnField(out, encoded, "ivServer", material.pIVServer);
    restorePendingException(env, first);
    constexpr std::array<const char*, 4> names = {"clientMacSecret", "serverMacSecret", "clientKey", "serverKey"};
    for (std::size_t i = 0; i < names.size(); ++i)
        setKey(out, names[i], kObjectSignature, session, handles, keys.material[i]);
}

// Sets the keys in the elements of an array; a key whose element is gone is destroyed.
void returnAdditionalKeys(const ParameterFields& fields, jobject session, const SessionHandles& handles,
                          const EncodeBuffer& encoded, const DerivedKeys& keys)
{
    JNIEnv* env = fields.env;
    if (keys.count == 0)
        return;
    jobject value = nullptr;
    bool read = readObjectField(env, fields.object, fields.type, "pAdditionalDerivedKeys",
                                "[Lcom/kelvane/pkcs11/CK_DERIVED_KEY;", &value);
    auto* array = static_cast<jobjectArray>(value);
    jsize length = read && array != nullptr ? env->GetArrayLength(array) : 0;
    for (CK_ULONG i = 0; i < keys.count; ++i) {
        CK_OBJECT_HANDLE created = additionalKey(encoded, keys, i);
        if (created == 0)
            continue;
        jthrowable first = stashPendingException(env);
        jobject owner = i < fromJava(length) ? env->GetObjectArrayElement(array, toJava(i)) : nullptr;
        ParameterFields key = {env, owner, classIfInstance(env, owner, kDerivedKey.className), nullptr, 0, 0};
        if (key.type != nullptr) {
            setKey(key, "phKey", kNativeObjectSignature, session, handles, created);
        } else {
            discardObject(env, handles, created);
            refuse(env, CKR_MECHANISM_PARAM_INVALID);
        }
        env->DeleteLocalRef(key.type);
        env->DeleteLocalRef(owner);
        restorePendingException(env, first);
    }
    env->DeleteLocalRef(array);
}

// ---- The functions of the outputs ----

bool returnPBEInitVector(const ParameterFields& fields, const EncodeBuffer& encoded)
{
    const auto* pbe = paramsIn<CK_PBE_PARAMS>(encoded);
    jbyteArray iv = nullptr;
    return pbe == nullptr || (readByteArrayField(&fields, "iv", &iv) &&
                              returnBytes(fields.env, encoded, pbe->pInitVector, iv, kPBEInitVector));
}

bool returnTokenIv(const ParameterFields& fields, const EncodeBuffer& encoded)
{
    return returnBytes(fields.env, encoded, encoded.bytes + sizeof(CK_MECHANISM),
                       static_cast<jbyteArray>(fields.object), kTokenInitVector);
}

void returnSSL3Version(const ParameterFields& fields, jobject /*session*/, const SessionHandles& /*handles*/,
                       const EncodeBuffer& encoded, const DerivedKeys& /*keys*/)
{
    returnVersion<CK_SSL3_MASTER_KEY_DERIVE_PARAMS>(fields, encoded, "version");
}

template <typename Params>
void returnTls12Version(const ParameterFields& fields, jobject /*session*/, const SessionHandles& /*handles*/,
                        const EncodeBuffer& encoded, const DerivedKeys& /*keys*/)
{
    returnVersion<Params>(fields, encoded, "pVersion");
}

void returnSSL3KeyMat(const ParameterFields& fields, jobject session, const SessionHandles& handles,
                      const EncodeBuffer& encoded, const DerivedKeys& keys)
{
    returnKeyMaterial<CK_SSL3_KEY_MAT_PARAMS>(fields, "returnedKeyMaterial", session, handles, encoded, keys);
}

void returnTls12KeyMat(const ParameterFields& fields, jobject session, const SessionHandles& handles,
                       const EncodeBuffer& encoded, const DerivedKeys& keys)
{
    returnKeyMaterial<CK_TLS12_KEY_MAT_PARAMS>(fields, "pReturnedKeyMaterial", session, handles, encoded, keys);
}

void returnTLSPRFOutput(const ParameterFields& fields, jobject /*session*/, const SessionHandles& /*handles*/,
                        const EncodeBuffer& encoded, const DerivedKeys& /*keys*/)
{
    const auto* prf = paramsIn<CK_TLS_PRF_PARAMS>(encoded);
    if (prf != nullptr)
        returnField(fields, encoded, "output", prf->pOutput);
}

DerivedKeys keysOf(const JavaMechanism& mechanism, const EncodeBuffer& encoded)
{
    const ParameterOutput* output = mechanism.descriptor->output;
    return output != nullptr && output->keys != nullptr ? output->keys(encoded) : DerivedKeys{};
}

} // namespace

// clang-format off
constexpr ParameterOutput kPBEOutput =                  {returnPBEInitVector, nullptr, nullptr};
constexpr ParameterOutput kTokenIvOutput =              {returnTokenIv, nullptr, nullptr};
constexpr ParameterOutput kSSL3VersionOutput =          {nullptr, nullptr, returnSSL3Version};
constexpr ParameterOutput kTls12VersionOutput =         {nullptr, nullptr, returnTls12Version<CK_TLS12_MASTER_KEY_DERIVE_PARAMS>};
constexpr ParameterOutput kTls12ExtendedVersionOutput = {nullptr, nullptr, returnTls12Version<CK_TLS12_EXTENDED_MASTER_KEY_DERIVE_PARAMS>};
constexpr ParameterOutput kSSL3KeyMatOutput =           {nullptr, keysOfMaterial<CK_SSL3_KEY_MAT_PARAMS>, returnSSL3KeyMat};
constexpr ParameterOutput kTls12KeyMatOutput =          {nullptr, keysOfMaterial<CK_TLS12_KEY_MAT_PARAMS>, returnTls12KeyMat};
constexpr ParameterOutput kTLSPRFOutput =               {nullptr, nullptr, returnTLSPRFOutput};
constexpr ParameterOutput kSp800Output =                {nullptr, additionalKeys<CK_SP800_108_KDF_PARAMS>, returnAdditionalKeys};
constexpr ParameterOutput kSp800FeedbackOutput =        {nullptr, additionalKeys<CK_SP800_108_FEEDBACK_KDF_PARAMS>, returnAdditionalKeys};
// clang-format on

bool decodeMechanismParameter(JNIEnv* env, const JavaMechanism& mechanism, const EncodeBuffer& encoded)
{
    const ParameterOutput* output = mechanism.descriptor->output;
    return output == nullptr || output->afterStart == nullptr || output->afterStart(fieldsOf(env, mechanism), encoded);
}

void discardDerivedKeys(JNIEnv* env, const SessionHandles& session, const JavaMechanism& mechanism,
                        const EncodeBuffer& encoded)
{
    DerivedKeys keys = keysOf(mechanism, encoded);
    for (CK_OBJECT_HANDLE each : keys.material)
        discardObject(env, session, each);
    for (CK_ULONG i = 0; i < keys.count; ++i)
        discardObject(env, session, additionalKey(encoded, keys, i));
}

void returnDerivedOutput(JNIEnv* env, const JavaMechanism& mechanism, jobject session, const SessionHandles& handles,
                         const EncodeBuffer& encoded)
{
    const ParameterOutput* output = mechanism.descriptor->output;
    if (output != nullptr && output->afterDerivation != nullptr)
        output->afterDerivation(fieldsOf(env, mechanism), session, handles, encoded, keysOf(mechanism, encoded));
}
