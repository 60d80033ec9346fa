// The native methods of NativePKCS11Session that generate, wrap, unwrap, derive and digest keys.

#include "com_kelvane_pkcs11_nat_NativePKCS11Session.h"

#include "bridge/buffers.h"
#include "bridge/created_objects.h"
#include "bridge/diagnostics.h"
#include "bridge/frame.h"
#include "bridge/handles.h"
#include "bridge/stack_buffer.h"
#include "marshal/mechanism.h"
#include "marshal/template_encode.h"

namespace {

// Both keys of a new pair as a Java array. Null on failure.
jobjectArray newKeyPair(JNIEnv* env, jobject session, CK_OBJECT_HANDLE publicKey, CK_OBJECT_HANDLE privateKey)
{
    jclass type = env->FindClass("com/kelvane/pkcs11/PKCS11Object");
    jobjectArray pair = type != nullptr ? env->NewObjectArray(2, type, nullptr) : nullptr;
    if (pair == nullptr)
        return nullptr;

    bool stored = storeElement(env, pair, 0, newNativeObject(env, session, publicKey)) &&
                  storeElement(env, pair, 1, newNativeObject(env, session, privateKey));
    return stored ? pair : nullptr;
}

} // namespace

jobject Java_com_kelvane_pkcs11_nat_NativePKCS11Session_generateKey(JNIEnv* env, jobject session, jint mechanism,
                                                                    jobject parameter, jintArray types,
                                                                    jobjectArray values)
{
    SessionHandles handles = {};
    if (!resolveSession(env, session, &handles))
        return nullptr;

    JavaMechanism sized = sizeMechanism(env, mechanism, parameter);
    StackBudget budget;
    EncodeBuffer encoded;
    RESERVE_STACK(budget, encoded, sized.size);
    if (!encodeMechanism(env, sized, encoded))
        return nullptr;
    EncodedTemplate attributes;
    RESERVE_STACK(budget, attributes.buffer, openTemplate(env, types, values, &attributes));
    if (!encodeTemplate(env, &attributes))
        return nullptr;

    CK_OBJECT_HANDLE key = 0;
    Outcome outcome = callGuarded(env, handles.list, &CK_FUNCTION_LIST::C_GenerateKey, handles.session,
                                  mechanismIn(encoded), attributes.entries, attributes.count, &key);
    if (!checkCreated(env, handles, outcome, {key}))
        return nullptr;

    if (!decodeMechanismParameter(env, sized, encoded)) {
        discardObject(env, handles, key);
        return nullptr;
    }
    return newCreatedObject(env, session, handles, key);
}

jobjectArray Java_com_kelvane_pkcs11_nat_NativePKCS11Session_generateKeyPair(
    JNIEnv* env, jobject session, jint mechanism, jobject parameter, jintArray publicTypes, jobjectArray publicValues,
    jintArray privateTypes, jobjectArray privateValues)
{
    SessionHandles handles = {};
    if (!resolveSession(env, session, &handles))
        return nullptr;

    JavaMechanism sized = sizeMechanism(env, mechanism, parameter);
    StackBudget budget;
    EncodeBuffer encoded;
    RESERVE_STACK(budget, encoded, sized.size);
    if (!encodeMechanism(env, sized, encoded))
        return nullptr;
    EncodedTemplate publicAttributes;
    RESERVE_STACK(budget, publicAttributes.buffer, openTemplate(env, publicTypes, publicValues, &publicAttributes));
    if (!encodeTemplate(env, &publicAttributes))
        return nullptr;
    EncodedTemplate privateAttributes;
    RESERVE_STACK(budget, privateAttributes.buffer, openTemplate(env, privateTypes, privateValues, &privateAttributes));
    if (!encodeTemplate(env, &privateAttributes))
        return nullptr;

    CK_OBJECT_HANDLE publicKey = 0;
    CK_OBJECT_HANDLE privateKey = 0;
    Outcome outcome = callGuarded(env, handles.list, &CK_FUNCTION_LIST::C_GenerateKeyPair, handles.session,
                                  mechanismIn(encoded), publicAttributes.entries, publicAttributes.count,
                                  privateAttributes.entries, privateAttributes.count, &publicKey, &privateKey);
    if (!checkCreated(env, handles, outcome, {publicKey, privateKey}))
        return nullptr;

    jobjectArray pair = newKeyPair(env, session, publicKey, privateKey);
    if (pair == nullptr) { // a key without its counterpart is useless
        discardObject(env, handles, publicKey);
        discardObject(env, handles, privateKey);
    }
    return pair;
}

jint Java_com_kelvane_pkcs11_nat_NativePKCS11Session_wrapKey(JNIEnv* env, jobject session, jint mechanism,
                                                             jobject parameter, jobject wrappingKey, jobject key,
                                                             jbyteArray wrappedKey, jint offset)
{
    SessionHandles handles = {};
    if (!resolveSession(env, session, &handles))
        return 0;

    JavaMechanism sized = sizeMechanism(env, mechanism, parameter);
    StackBudget budget;
    EncodeBuffer encoded;
    RESERVE_STACK(budget, encoded, sized.size);
    if (!encodeMechanism(env, sized, encoded))
        return 0;
    CK_OBJECT_HANDLE keyHandle = 0;
    CK_OBJECT_HANDLE wrappingHandle = 0;
    PinnedBytes wrapped = {};
    if (!objectHandleOf(env, key, &keyHandle) || !objectHandleOf(env, wrappingKey, &wrappingHandle) ||
        !getOutputBuffer(env, wrappedKey, offset, &wrapped))
        return 0;

    CK_ULONG length = 0;
    Outcome outcome = callDroppingEmptyLabel(sized, encoded, [&] {
        length = wrapped.length;
        return callGuarded(env, handles.list, &CK_FUNCTION_LIST::C_WrapKey, handles.session, mechanismIn(encoded),
                           wrappingHandle, keyHandle, wrapped.data, &length);
    });

    releaseBuffer(env, wrapped, 0);
    bool written = checkResult(env, outcome) && require(env, length <= wrapped.length, CKR_BUFFER_TOO_SMALL);
    return written ? toJava(length) : 0;
}

jobject Java_com_kelvane_pkcs11_nat_NativePKCS11Session_unwrapKey(JNIEnv* env, jobject session, jint mechanism,
                                                                  jobject parameter, jobject unwrappingKey,
                                                                  jbyteArray wrappedKey, jint offset, jint length,
                                                                  jintArray types, jobjectArray values)
{
    SessionHandles handles = {};
    if (!resolveSession(env, session, &handles))
        return nullptr;

    JavaMechanism sized = sizeMechanism(env, mechanism, parameter);
    StackBudget budget;
    EncodeBuffer encoded;
    RESERVE_STACK(budget, encoded, sized.size);
    if (!encodeMechanism(env, sized, encoded))
        return nullptr;
    CK_OBJECT_HANDLE unwrappingHandle = 0;
    if (!objectHandleOf(env, unwrappingKey, &unwrappingHandle))
        return nullptr;
    EncodedTemplate attributes;
    RESERVE_STACK(budget, attributes.buffer, openTemplate(env, types, values, &attributes));
    PinnedBytes wrapped = {};
    if (!encodeTemplate(env, &attributes) || !getBuffer(env, wrappedKey, offset, length, &wrapped))
        return nullptr;

    CK_OBJECT_HANDLE key = 0;
    Outcome outcome = callDroppingEmptyLabel(sized, encoded, [&] {
        return callGuarded(env, handles.list, &CK_FUNCTION_LIST::C_UnwrapKey, handles.session, mechanismIn(encoded),
                           unwrappingHandle, wrapped.data, wrapped.length, attributes.entries, attributes.count, &key);
    });

    releaseBuffer(env, wrapped, JNI_ABORT);
    return checkCreated(env, handles, outcome, {key}) ? newCreatedObject(env, session, handles, key) : nullptr;
}

jobject Java_com_kelvane_pkcs11_nat_NativePKCS11Session_deriveKey(JNIEnv* env, jobject session, jint mechanism,
                                                                  jobject parameter, jobject baseKey, jintArray types,
                                                                  jobjectArray values)
{
    SessionHandles handles = {};
    if (!resolveSession(env, session, &handles))
        return nullptr;
    if (debugEnabled()) {
        debugFlush();
        debugPrint("tokbridge:  Java_com_kelvane_pkcs11_nat_NativePKCS11Session_deriveKey() was called\n");
        debugFlush();
    }

    JavaMechanism sized = sizeMechanism(env, mechanism, parameter);
    StackBudget budget;
    EncodeBuffer encoded;
    RESERVE_STACK(budget, encoded, sized.size);
    if (!encodeMechanism(env, sized, encoded))
        return nullptr;
    CK_OBJECT_HANDLE baseHandle = 0;
    if (!objectHandleOf(env, baseKey, &baseHandle))
        return nullptr;
    EncodedTemplate attributes;
    RESERVE_STACK(budget, attributes.buffer, openTemplate(env, types, values, &attributes));
    if (!encodeTemplate(env, &attributes))
        return nullptr;

    CK_OBJECT_HANDLE key = 0;
    Outcome outcome = callGuarded(env, handles.list, &CK_FUNCTION_LIST::C_DeriveKey, handles.session,
                                  mechanismIn(encoded), baseHandle, attributes.entries, attributes.count, &key);
    if (!checkCreated(env, handles, outcome, {key})) {
        if (outcome.rv == CKR_OK)
            discardDerivedKeys(env, handles, sized, encoded);
        return nullptr;
    }

    returnDerivedOutput(env, sized, session, handles, encoded);
    if (debugEnabled())
        debugPrint("tokbridge:  Java_com_kelvane_pkcs11_nat_NativePKCS11Session_deriveKey: The returned secretKey is:  "
                   ">%lu<\n",
                   static_cast<unsigned long>(key));

    // An output that could not be returned is raised; the key is then destroyed too.
    if (env->ExceptionCheck() == JNI_TRUE) {
        discardObject(env, handles, key);
        return nullptr;
    }
    return newCreatedObject(env, session, handles, key);
}

void Java_com_kelvane_pkcs11_nat_NativePKCS11Session_digestKey(JNIEnv* env, jobject session, jobject key)
{
    SessionHandles handles = {};
    if (!resolveSession(env, session, &handles))
        return;
    CK_OBJECT_HANDLE handle = 0;
    if (objectHandleOf(env, key, &handle))
        checkResult(env, callGuarded(env, handles.list, &CK_FUNCTION_LIST::C_DigestKey, handles.session, handle));
}
