// The natives of com.kelvane.tokbridge.bench.Bare and JniCosts: a batch of calls straight through a module's function
// list, with nothing of Java between them; native methods that make the JNI calls of the bridge's and do nothing else
// of what the bridge does; and batches of single JNI functions.
//
// This file is a Cryptoki module too: the module that was opened, but for refusing locks of the operating system, so
// that the bridge takes its own around each call of it.
#include <array>
#include <cstring>
#include <vector>

#include "bridge/cryptoki_parameters.h"
#include <dlfcn.h>
#include <jni.h>

#include "com_kelvane_tokbridge_bench_Bare.h"
#include "com_kelvane_tokbridge_bench_JniCosts.h"

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

/// A Java byte array's elements while it lives; at its end they are copied back, unless the mode is JNI_ABORT.
struct Bytes
{
    JNIEnv* env;
    jbyteArray array;
    CK_BYTE_PTR data;
    CK_ULONG size;
    jint mode;

    Bytes(JNIEnv* jni, jbyteArray from, jint release = 0)
        : env(jni), array(from), data(reinterpret_cast<CK_BYTE_PTR>(env->GetByteArrayElements(array, nullptr))),
          size(static_cast<CK_ULONG>(env->GetArrayLength(array))), mode(release)
    {
    }
    Bytes(const Bytes&) = delete;
    Bytes& operator=(const Bytes&) = delete;
    ~Bytes()
    {
        env->ReleaseByteArrayElements(array, reinterpret_cast<jbyte*>(data), mode);
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

/// What the native methods find in the Java objects: a session's chain of handles.
struct Chain
{
    jobject session, slot, library;
    jclass sessionClass, slotClass, libraryClass;
    jfieldID sessionID, slotOfSession, slotID, libraryOfSlot, functionList;
    jmethodID constructor;
    jbyteArray array;
};

constexpr const char* kSessionClass = "com/kelvane/pkcs11/nat/NativePKCS11Session";

Chain chainOf(JNIEnv* env, jobject session)
{
    Chain chain = {};
    chain.session = session;
    chain.sessionClass = env->GetObjectClass(session);
    chain.sessionID = env->GetFieldID(chain.sessionClass, "sessionID", "I");
    chain.slotOfSession = env->GetFieldID(chain.sessionClass, "slot", "Lcom/kelvane/pkcs11/nat/NativePKCS11Slot;");
    chain.constructor = env->GetMethodID(chain.sessionClass, "<init>", "(Lcom/kelvane/pkcs11/nat/NativePKCS11Slot;I)V");
    chain.slot = env->GetObjectField(session, chain.slotOfSession);
    chain.slotClass = env->GetObjectClass(chain.slot);
    chain.slotID = env->GetFieldID(chain.slotClass, "slotID", "I");
    chain.libraryOfSlot = env->GetFieldID(chain.slotClass, "pkcs11", "Lcom/kelvane/pkcs11/nat/NativePKCS11;");
    chain.library = env->GetObjectField(chain.slot, chain.libraryOfSlot);
    chain.libraryClass = env->GetObjectClass(chain.library);
    chain.functionList = env->GetFieldID(chain.libraryClass, "functionList", "J");
    chain.array = env->NewByteArray(16);
    return chain;
}

/// The session's handle, by the JNI calls with which the bridge follows the chain.
CK_SESSION_HANDLE follow(JNIEnv* env, jobject session)
{
    jclass sessionClass = env->GetObjectClass(session);
    jint number = env->GetIntField(session, env->GetFieldID(sessionClass, "sessionID", "I"));
    jobject slot = env->GetObjectField(
        session, env->GetFieldID(sessionClass, "slot", "Lcom/kelvane/pkcs11/nat/NativePKCS11Slot;"));
    jclass slotClass = env->GetObjectClass(slot);
    env->GetFieldID(slotClass, "slotID", "I");
    jobject library =
        env->GetObjectField(slot, env->GetFieldID(slotClass, "pkcs11", "Lcom/kelvane/pkcs11/nat/NativePKCS11;"));
    jclass libraryClass = env->GetObjectClass(library);
    env->GetLongField(library, env->GetFieldID(libraryClass, "functionList", "J"));
    return handle(number);
}

struct JniFunction
{
    const char* name;
    jint calls; ///< how many of it one run makes
    void (*run)(JNIEnv* env, const Chain& chain);
};

// References that a run makes are freed with a frame of some runs, as they are when a native method returns.
constexpr jint kRunsInFrame = 32;

constexpr std::array<JniFunction, 14> kFunctions = {{
    {"nothing", 1, [](JNIEnv*, const Chain&) {}},
    {"GetObjectClass", 1, [](JNIEnv* env, const Chain& chain) { env->GetObjectClass(chain.session); }},
    {"GetFieldID", 5,
     [](JNIEnv* env, const Chain& chain) {
         env->GetFieldID(chain.sessionClass, "sessionID", "I");
         env->GetFieldID(chain.sessionClass, "slot", "Lcom/kelvane/pkcs11/nat/NativePKCS11Slot;");
         env->GetFieldID(chain.slotClass, "slotID", "I");
         env->GetFieldID(chain.slotClass, "pkcs11", "Lcom/kelvane/pkcs11/nat/NativePKCS11;");
         env->GetFieldID(chain.libraryClass, "functionList", "J");
     }},
    {"GetIntField", 1, [](JNIEnv* env, const Chain& chain) { env->GetIntField(chain.session, chain.sessionID); }},
    {"GetLongField", 1, [](JNIEnv* env, const Chain& chain) { env->GetLongField(chain.library, chain.functionList); }},
    {"GetObjectField", 1,
     [](JNIEnv* env, const Chain& chain) { env->GetObjectField(chain.session, chain.slotOfSession); }},
    {"FindClass", 1, [](JNIEnv* env, const Chain&) { env->FindClass(kSessionClass); }},
    {"IsInstanceOf", 1, [](JNIEnv* env, const Chain& chain) { env->IsInstanceOf(chain.session, chain.sessionClass); }},
    {"GetMethodID", 1,
     [](JNIEnv* env, const Chain& chain) {
         env->GetMethodID(chain.sessionClass, "<init>", "(Lcom/kelvane/pkcs11/nat/NativePKCS11Slot;I)V");
     }},
    {"NewObjectV", 1,
     [](JNIEnv* env, const Chain& chain) { env->NewObject(chain.sessionClass, chain.constructor, chain.slot, 1); }},
    {"NewLocalRef", 1, [](JNIEnv* env, const Chain& chain) { env->NewLocalRef(chain.session); }},
    {"NewLocalRef and DeleteLocalRef", 1,
     [](JNIEnv* env, const Chain& chain) { env->DeleteLocalRef(env->NewLocalRef(chain.session)); }},
    {"ExceptionCheck", 1, [](JNIEnv* env, const Chain&) { env->ExceptionCheck(); }},
    {"GetArrayLength", 1, [](JNIEnv* env, const Chain& chain) { env->GetArrayLength(chain.array); }},
}};

} // namespace

CK_RV C_GetFunctionList(CK_FUNCTION_LIST** to)
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

void Java_com_kelvane_tokbridge_bench_Bare_encrypt(JNIEnv* env, jclass, jlong session, jint times, jint key,
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

void Java_com_kelvane_tokbridge_bench_Bare_encryptGcm(JNIEnv* env, jclass, jlong session, jint times, jint key,
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

void Java_com_kelvane_tokbridge_bench_Bare_sign(JNIEnv* env, jclass, jlong session, jint times, jint type, jint key,
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

void Java_com_kelvane_tokbridge_bench_Bare_read(JNIEnv* env, jclass, jlong session, jint times, jint object)
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

void Java_com_kelvane_tokbridge_bench_JniCosts_functionStatus(JNIEnv* env, jclass, jobject session)
{
    list->C_GetFunctionStatus(follow(env, session));
}

void Java_com_kelvane_tokbridge_bench_JniCosts_random(JNIEnv* env, jclass, jobject session, jbyteArray out)
{
    CK_SESSION_HANDLE of = follow(env, session);
    Bytes result(env, out);
    list->C_GenerateRandom(of, result.data, result.size);
}

void Java_com_kelvane_tokbridge_bench_JniCosts_digestInit(JNIEnv* env, jclass, jobject session)
{
    CK_MECHANISM mechanism = {CKM_SHA256, nullptr, 0};
    list->C_DigestInit(follow(env, session), &mechanism);
}

void Java_com_kelvane_tokbridge_bench_JniCosts_digest(JNIEnv* env, jclass, jobject session, jbyteArray message,
                                                      jbyteArray out)
{
    CK_SESSION_HANDLE of = follow(env, session);
    Bytes in(env, message, JNI_ABORT), result(env, out);
    CK_ULONG length = result.size;
    list->C_Digest(of, in.data, in.size, result.data, &length);
}

void Java_com_kelvane_tokbridge_bench_JniCosts_call(JNIEnv* env, jclass, jint times, jstring name, jobject session)
{
    const char* wanted = env->GetStringUTFChars(name, nullptr);
    const JniFunction* function = nullptr;
    for (const JniFunction& each : kFunctions)
        if (std::strcmp(each.name, wanted) == 0)
            function = &each;
    env->ReleaseStringUTFChars(name, wanted);
    if (function == nullptr) {
        env->ThrowNew(env->FindClass("java/lang/IllegalArgumentException"), "not measured");
        return;
    }
    Chain chain = chainOf(env, session);
    for (jint done = 0; done < times;) {
        env->PushLocalFrame(kRunsInFrame);
        for (jint i = 0; i < kRunsInFrame && done < times; ++i, done += function->calls)
            function->run(env, chain);
        env->PopLocalFrame(nullptr);
    }
}

void Java_com_kelvane_tokbridge_bench_JniCosts_pin(JNIEnv* env, jclass, jint times, jbyteArray array, jint mode)
{
    for (jint i = 0; i < times; ++i)
        env->ReleaseByteArrayElements(array, env->GetByteArrayElements(array, nullptr), mode);
}

void Java_com_kelvane_tokbridge_bench_JniCosts_enter(JNIEnv*, jclass)
{
}
