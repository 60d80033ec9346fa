// The native methods of com.kelvane.tokbridge.bench.Bare: batches of calls through a module's function list, with
// nothing of Java between them.
//
// This file is a Cryptoki module too: the module that was opened, but for refusing locks of the operating system, so
// that the bridge takes its own around each call of it.
#include <array>
#include <vector>

#include "bridge/cryptoki_parameters.h"
#include <dlfcn.h>
#include <jni.h>

#include "com_kelvane_tokbridge_bench_Bare.h"

namespace {

CK_FUNCTION_LIST_PTR list;
CK_FUNCTION_LIST lockedList;

CK_RV initializeWithoutLocks(void* arguments)
{
    auto* wishes = static_cast<CK_C_INITIALIZE_ARGS*>(arguments);
    return wishes != nullptr && (wishes->flags & CKF_OS_LOCKING_OK) != 0 ? CKR_CANT_LOCK : CKR_OK;
}

CK_RV leaveInitialized(void*)
{
    return CKR_OK;
}

/// A Java byte array's elements while it lives; at its end they are copied back.
struct Bytes
{
    JNIEnv* env;
    jbyteArray array;
    CK_BYTE_PTR data;
    CK_ULONG size;

    Bytes(JNIEnv* jni, jbyteArray from)
        : env(jni), array(from), data(reinterpret_cast<CK_BYTE_PTR>(env->GetByteArrayElements(array, nullptr))),
          size(static_cast<CK_ULONG>(env->GetArrayLength(array)))
    {
    }
    Bytes(const Bytes&) = delete;
    Bytes& operator=(const Bytes&) = delete;
    ~Bytes()
    {
        env->ReleaseByteArrayElements(array, reinterpret_cast<jbyte*>(data), 0);
    }
};

void refuse(JNIEnv* env, CK_RV rv)
{
    jclass type = env->FindClass("com/kelvane/pkcs11/PKCS11Exception");
    if (type == nullptr)
        return;
    jmethodID constructor = env->GetMethodID(type, "<init>", "(I)V");
    if (constructor == nullptr)
        return;
    auto exception = static_cast<jthrowable>(env->NewObject(type, constructor, static_cast<jint>(rv)));
    if (exception != nullptr)
        env->Throw(exception);
}

/// Makes a call so many times, or until it fails, which is raised.
template <typename Call>
void repeat(JNIEnv* env, jint times, Call call)
{
    CK_RV rv = CKR_OK;
    for (jint i = 0; i < times && rv == CKR_OK; ++i)
        rv = call();
    if (rv != CKR_OK)
        refuse(env, rv);
}

CK_ULONG handle(jlong number)
{
    return static_cast<CK_ULONG>(number);
}

} // namespace

extern "C" CK_RV C_GetFunctionList(CK_FUNCTION_LIST** to)
{
    *to = &lockedList;
    return CKR_OK;
}

jboolean Java_com_kelvane_tokbridge_bench_Bare_open(JNIEnv* env, jclass, jstring path)
{
    const char* name = env->GetStringUTFChars(path, nullptr);
    void* module = dlopen(name, RTLD_NOW | RTLD_LOCAL);
    env->ReleaseStringUTFChars(path, name);
    auto get = module == nullptr ? nullptr : reinterpret_cast<CK_C_GetFunctionList>(dlsym(module, "C_GetFunctionList"));
    if (get == nullptr || get(&list) != CKR_OK)
        return JNI_FALSE;
    lockedList = *list;
    lockedList.C_GetFunctionList = C_GetFunctionList;
    lockedList.C_Initialize = initializeWithoutLocks;
    lockedList.C_Finalize = leaveInitialized;
    return JNI_TRUE;
}

jlong Java_com_kelvane_tokbridge_bench_Bare_openSession(JNIEnv* env, jclass, jint slot)
{
    CK_SESSION_HANDLE session = 0;
    repeat(env, 1, [&] {
        return list->C_OpenSession(handle(slot), CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr, &session);
    });
    return static_cast<jlong>(session);
}

void Java_com_kelvane_tokbridge_bench_Bare_openAndClose(JNIEnv* env, jclass, jint slot, jint times)
{
    repeat(env, times, [&] {
        CK_SESSION_HANDLE session = 0;
        CK_RV rv = list->C_OpenSession(handle(slot), CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr, &session);
        return rv != CKR_OK ? rv : list->C_CloseSession(session);
    });
}

void Java_com_kelvane_tokbridge_bench_Bare_functionStatus(JNIEnv* env, jclass, jlong session, jint times)
{
    repeat(env, times, [&] {
        CK_RV rv = list->C_GetFunctionStatus(handle(session));
        return rv == CKR_FUNCTION_NOT_PARALLEL ? CKR_OK : rv;
    });
}

void Java_com_kelvane_tokbridge_bench_Bare_encrypt(JNIEnv* env, jclass, jlong session, jint times, jlong key,
                                                   jbyteArray iv, jbyteArray message, jbyteArray out)
{
    Bytes initial(env, iv), in(env, message), result(env, out);
    CK_MECHANISM mechanism = {CKM_AES_CBC, initial.data, initial.size};
    repeat(env, times, [&] {
        CK_ULONG length = result.size;
        CK_RV rv = list->C_EncryptInit(handle(session), &mechanism, handle(key));
        return rv != CKR_OK ? rv : list->C_Encrypt(handle(session), in.data, in.size, result.data, &length);
    });
}

void Java_com_kelvane_tokbridge_bench_Bare_encryptGcm(JNIEnv* env, jclass, jlong session, jint times, jlong key,
                                                      jbyteArray iv, jbyteArray message, jbyteArray out)
{
    Bytes counter(env, iv), in(env, message), result(env, out);
    CK_GCM_PARAMS parameter = {counter.data, counter.size, counter.size * 8, nullptr, 0, 128};
    CK_MECHANISM mechanism = {CKM_AES_GCM, &parameter, sizeof(parameter)};
    repeat(env, times, [&] {
        for (CK_ULONG i = counter.size; i-- > 0 && ++counter.data[i] == 0;)
            ;
        CK_ULONG length = result.size;
        CK_RV rv = list->C_EncryptInit(handle(session), &mechanism, handle(key));
        return rv != CKR_OK ? rv : list->C_Encrypt(handle(session), in.data, in.size, result.data, &length);
    });
}

void Java_com_kelvane_tokbridge_bench_Bare_digest(JNIEnv* env, jclass, jlong session, jint times, jbyteArray message,
                                                  jbyteArray out)
{
    Bytes in(env, message), result(env, out);
    CK_MECHANISM mechanism = {CKM_SHA256, nullptr, 0};
    repeat(env, times, [&] {
        CK_ULONG length = result.size;
        CK_RV rv = list->C_DigestInit(handle(session), &mechanism);
        return rv != CKR_OK ? rv : list->C_Digest(handle(session), in.data, in.size, result.data, &length);
    });
}

void Java_com_kelvane_tokbridge_bench_Bare_sign(JNIEnv* env, jclass, jlong session, jint times, jint type, jlong key,
                                                jbyteArray message, jbyteArray out)
{
    Bytes in(env, message), result(env, out);
    CK_MECHANISM mechanism = {handle(type), nullptr, 0};
    repeat(env, times, [&] {
        CK_ULONG length = result.size;
        CK_RV rv = list->C_SignInit(handle(session), &mechanism, handle(key));
        return rv != CKR_OK ? rv : list->C_Sign(handle(session), in.data, in.size, result.data, &length);
    });
}

void Java_com_kelvane_tokbridge_bench_Bare_random(JNIEnv* env, jclass, jlong session, jint times, jbyteArray out)
{
    Bytes result(env, out);
    repeat(env, times, [&] { return list->C_GenerateRandom(handle(session), result.data, result.size); });
}

void Java_com_kelvane_tokbridge_bench_Bare_read(JNIEnv* env, jclass, jlong session, jint times, jlong object)
{
    repeat(env, times, [&] {
        CK_ULONG kind = 0;
        CK_BBOOL onToken = CK_FALSE, isPrivate = CK_FALSE;
        std::array<CK_ATTRIBUTE, 5> attributes = {{{CKA_CLASS, &kind, sizeof(kind)},
                                                   {CKA_TOKEN, &onToken, sizeof(onToken)},
                                                   {CKA_PRIVATE, &isPrivate, sizeof(isPrivate)},
                                                   {CKA_LABEL, nullptr, 0},
                                                   {CKA_VALUE, nullptr, 0}}};
        CK_RV rv = list->C_GetAttributeValue(handle(session), handle(object), attributes.data(), attributes.size());
        for (std::size_t i = 3; i < attributes.size() && rv == CKR_OK; ++i) {
            std::array<CK_BYTE, 256> room;
            if (attributes[i].ulValueLen > room.size())
                return CK_RV{CKR_BUFFER_TOO_SMALL};
            attributes[i].pValue = room.data();
            rv = list->C_GetAttributeValue(handle(session), handle(object), &attributes[i], 1);
        }
        return rv;
    });
}

jint Java_com_kelvane_tokbridge_bench_Bare_find(JNIEnv* env, jclass, jlong session, jint times, jintArray types,
                                                jobjectArray values)
{
    auto count = static_cast<std::size_t>(env->GetArrayLength(types));
    std::vector<jint> kinds(count);
    env->GetIntArrayRegion(types, 0, static_cast<jsize>(count), kinds.data());
    std::vector<std::vector<CK_BYTE>> bytes(count);
    std::vector<CK_ATTRIBUTE> attributes(count);
    for (std::size_t i = 0; i < count; ++i) {
        auto value = static_cast<jbyteArray>(env->GetObjectArrayElement(values, static_cast<jsize>(i)));
        Bytes from(env, value);
        bytes[i].assign(from.data, from.data + from.size);
        attributes[i] = {handle(kinds[i]), bytes[i].data(), bytes[i].size()};
    }
    CK_ULONG found = 0;
    repeat(env, times, [&] {
        found = 0;
        CK_RV rv = list->C_FindObjectsInit(handle(session), attributes.data(), count);
        for (CK_ULONG more = 1; rv == CKR_OK && more == 1; found += more) {
            CK_OBJECT_HANDLE object = 0;
            rv = list->C_FindObjects(handle(session), &object, 1, &more);
        }
        return rv != CKR_OK ? rv : list->C_FindObjectsFinal(handle(session));
    });
    return static_cast<jint>(found);
}
