// The native methods of NativeExtensions that log in with a user type, and those of the functions that the editions 3.0
// and 3.2 introduced. A module without these is not called: CKR_FUNCTION_NOT_SUPPORTED is raised.

#include "com_kelvane_pkcs11_nat_NativeExtensions.h"

#include <array>
#include <cstring>

#include "bridge/buffers.h"
#include "bridge/created_objects.h"
#include "bridge/diagnostics.h"
#include "bridge/frame.h"
#include "bridge/handles.h"
#include "bridge/stack_buffer.h"
#include "marshal/mechanism.h"
#include "marshal/pin_buffer.h"
#include "marshal/template_encode.h"
#include "marshal/value_build.h"
#include "session/session_calls.h"

namespace {

// The minor versions of edition 3 that introduced the functions.
constexpr CK_BYTE kLoginUser = 0;
constexpr CK_BYTE kSessionCancel = 0;
constexpr CK_BYTE kEncapsulation = 2;

// More than any ciphertext of a key that has been standardised or proposed. C_EncapsulateKey is called once, with
// this capacity: a module that creates a key when only the length is queried would create two.
constexpr CK_ULONG kCiphertextCapacity = 32768;

void traceCall(const char* method)
{
    if (!debugEnabled())
        return;
    debugFlush();
    debugPrint("tokbridge:  Java_com_kelvane_pkcs11_nat_NativeExtensions_%s() was called\n", method);
    debugFlush();
}

jobject newInterface(JNIEnv* env, const CK_INTERFACE& found)
{
    // A name without a terminator is cut, and a missing list has version 0.0.
    std::array<char, 64> name = {};
    if (found.pInterfaceName != nullptr)
        std::strncpy(name.data(), found.pInterfaceName, name.size() - 1);
    CK_VERSION version = {};
    if (found.pFunctionList != nullptr)
        std::memcpy(&version, found.pFunctionList, sizeof version);
    jstring text = nullptr;
    if (!newStringFromText(env, name.data(), &text))
        return nullptr;
    jobject result = newJavaObject(env, "com/kelvane/pkcs11/PKCS11Interface", "(Ljava/lang/String;II)V", text,
                                   toJava(version), toJava(found.flags));
    env->DeleteLocalRef(text);
    return result;
}

// The ciphertext and the key as a Java array. Null on failure.
jobjectArray newEncapsulation(JNIEnv* env, jobject session, const CK_BYTE* ciphertext, CK_ULONG length,
                              CK_OBJECT_HANDLE key)
{
    jclass type = env->FindClass("java/lang/Object");
    jobjectArray result = type != nullptr ? env->NewObjectArray(2, type, nullptr) : nullptr;
    if (result == nullptr)
        return nullptr;
    bool stored = storeElement(env, result, 0, bytesOf(env, ciphertext, length)) &&
                  storeElement(env, result, 1, newNativeObject(env, session, key));
    return stored ? result : nullptr;
}

} // namespace

jstring Java_com_kelvane_pkcs11_nat_NativeExtensions_describeParameter(JNIEnv* env, jclass /*type*/, jint mechanism,
                                                                       jobject parameter)
{
    std::array<char, 96> text = {};
    jstring result = nullptr;
    JavaMechanism sized = sizeMechanism(env, mechanism, parameter);
    if (!sized.failed && describeParameter(sized, text.data(), text.size()))
        newStringFromText(env, text.data(), &result);
    return result;
}

jobjectArray Java_com_kelvane_pkcs11_nat_NativeExtensions_getInterfaces(JNIEnv* env, jclass /*type*/, jobject library)
{
    CK_FUNCTION_LIST_PTR list = resolveFunctionList(env, library);
    if (list == nullptr)
        return nullptr;

    constexpr auto function = &CK_FUNCTION_LIST_3_2::C_GetInterfaceList;
    CK_INTERFACE* noInterfaces = nullptr;
    CK_ULONG capacity = 0;
    if (!checkResult(env, callExtended(env, list, 0, function, noInterfaces, &capacity)))
        return nullptr;

    StackBudget budget;
    EncodeBuffer scratch;
    RESERVE_STACK(budget, scratch, arraySize(capacity, sizeof(CK_INTERFACE)));
    if (scratch.bytes == nullptr) {
        throwPKCS11Exception(env, 0, "alloca() failed");
        return nullptr;
    }
    auto* interfaces = reinterpret_cast<CK_INTERFACE*>(scratch.bytes);
    CK_ULONG count = capacity;
    Outcome outcome = callExtended(env, list, 0, function, interfaces, &count);
    if (!checkResult(env, outcome) || !require(env, count <= capacity, CKR_BUFFER_TOO_SMALL))
        return nullptr;

    jclass type = env->FindClass("com/kelvane/pkcs11/PKCS11Interface");
    jobjectArray result = type != nullptr ? env->NewObjectArray(toJava(count), type, nullptr) : nullptr;
    for (CK_ULONG i = 0; result != nullptr && i < count; ++i)
        if (!storeElement(env, result, toJava(i), newInterface(env, interfaces[i])))
            return nullptr;
    return result;
}

void Java_com_kelvane_pkcs11_nat_NativeExtensions_login(JNIEnv* env, jclass /*type*/, jobject session, jint userType,
                                                        jobject pin)
{
    loginCall(env, session, fromJava(userType), pin);
}

void Java_com_kelvane_pkcs11_nat_NativeExtensions_loginUser(JNIEnv* env, jclass /*type*/, jobject session,
                                                            jint userType, jobject pin, jobject userName)
{
    SessionHandles handles = {};
    PinBuffer userPin;
    std::array<CK_UTF8CHAR, 256> name = {};
    CK_ULONG nameLength = name.size() - 1;
    if (!resolveSession(env, session, &handles) || !readPin(env, pin, &userPin) ||
        !copyStringBytes(env, userName, name.data(), &nameLength))
        return;

    checkResult(env, callExtended(env, handles.list, kLoginUser, &CK_FUNCTION_LIST_3_2::C_LoginUser, handles.session,
                                  fromJava(userType), userPin.bytes, userPin.length, name.data(), nameLength));
}

void Java_com_kelvane_pkcs11_nat_NativeExtensions_sessionCancel(JNIEnv* env, jclass /*type*/, jobject session,
                                                                jint operations)
{
    SessionHandles handles = {};
    if (resolveSession(env, session, &handles))
        checkResult(env, callExtended(env, handles.list, kSessionCancel, &CK_FUNCTION_LIST_3_2::C_SessionCancel,
                                      handles.session, fromJava(operations)));
}

jobjectArray Java_com_kelvane_pkcs11_nat_NativeExtensions_encapsulateKey(JNIEnv* env, jclass /*type*/, jobject session,
                                                                         jint mechanism, jobject parameter,
                                                                         jobject publicKey, jintArray types,
                                                                         jobjectArray values)
{
    traceCall("encapsulateKey");
    SessionHandles handles = {};
    CK_OBJECT_HANDLE publicHandle = 0;
    if (!resolveSession(env, session, &handles) || !objectHandleOf(env, publicKey, &publicHandle))
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

    EncodeBuffer ciphertext;
    RESERVE_STACK(budget, ciphertext, kCiphertextCapacity);
    if (ciphertext.bytes == nullptr) {
        throwPKCS11Exception(env, 0, "alloca() failed");
        return nullptr;
    }
    CK_OBJECT_HANDLE key = 0;
    CK_ULONG length = kCiphertextCapacity;
    Outcome outcome = callExtended(env, handles.list, kEncapsulation, &CK_FUNCTION_LIST_3_2::C_EncapsulateKey,
                                   handles.session, mechanismIn(encoded), publicHandle, attributes.entries,
                                   attributes.count, ciphertext.bytes, &length, &key);
    if (!checkCreated(env, handles, outcome, {key}))
        return nullptr;

    jobjectArray result = require(env, length <= kCiphertextCapacity, CKR_BUFFER_TOO_SMALL)
                              ? newEncapsulation(env, session, ciphertext.bytes, length, key)
                              : nullptr;
    if (result == nullptr)
        discardObject(env, handles, key);
    return result;
}

jobject Java_com_kelvane_pkcs11_nat_NativeExtensions_decapsulateKey(JNIEnv* env, jclass /*type*/, jobject session,
                                                                    jint mechanism, jobject parameter,
                                                                    jobject privateKey, jbyteArray ciphertext,
                                                                    jint offset, jint length, jintArray types,
                                                                    jobjectArray values)
{
    traceCall("decapsulateKey");
    SessionHandles handles = {};
    CK_OBJECT_HANDLE privateHandle = 0;
    if (!resolveSession(env, session, &handles) || !objectHandleOf(env, privateKey, &privateHandle))
        return nullptr;

    JavaMechanism sized = sizeMechanism(env, mechanism, parameter);
    StackBudget budget;
    EncodeBuffer encoded;
    RESERVE_STACK(budget, encoded, sized.size);
    if (!encodeMechanism(env, sized, encoded))
        return nullptr;
    EncodedTemplate attributes;
    RESERVE_STACK(budget, attributes.buffer, openTemplate(env, types, values, &attributes));
    PinnedBytes pinned = {};
    if (!encodeTemplate(env, &attributes) || !getBuffer(env, ciphertext, offset, length, &pinned))
        return nullptr;

    CK_OBJECT_HANDLE key = 0;
    Outcome outcome = callExtended(env, handles.list, kEncapsulation, &CK_FUNCTION_LIST_3_2::C_DecapsulateKey,
                                   handles.session, mechanismIn(encoded), privateHandle, attributes.entries,
                                   attributes.count, pinned.data, pinned.length, &key);

    releaseBuffer(env, pinned, JNI_ABORT);
    return checkCreated(env, handles, outcome, {key}) ? newCreatedObject(env, session, handles, key) : nullptr;
}
