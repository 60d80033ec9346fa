// Counts the JNI calls that one file of native code makes on one thread, and lets one of them fail.
//
// The thread's function table is swapped for a patched copy (the JVM keeps the address per JNIEnv, and lets it be
// changed). The JDK's own natives run through the same copy, so a call counts only when it returns into the file
// watched. A failing call has no effect, except MonitorExit: the monitor is left although the call reports an error.

#include "com_kelvane_tokbridge_test_JniSpy.h"

#include <dlfcn.h>

#include <cstdlib>
#include <map>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "../token/jni_support.h"

namespace {

using Table = JNINativeInterface_;

// The state of the one thread that is watched at a time.
struct
{
    std::string file;
    const Table* original;
    std::vector<const void*> patched;
    int failing; // the number of the call to fail, of those that can
    bool withError;
    char* (*token)(const char* command);
    std::map<std::string, int> counts;
    int fallible; // calls so far of those that can fail
    std::string failed;
    std::string moduleCalls = "0"; // when it failed
} spy;

bool watched(const void* caller)
{
    Dl_info info;
    return dladdr(caller, &info) != 0 && spy.file == info.dli_fname;
}

// Counts a call and returns whether it is the one to fail. Its error is pending by then.
bool fails(JNIEnv* env, const char* function, bool canFail)
{
    ++spy.counts[function];
    if (!canFail || ++spy.fallible != spy.failing)
        return false;
    spy.failed = function;
    char* made = spy.token("made");
    spy.moduleCalls = made;
    std::free(made);
    if (spy.withError) {
        jclass type = spy.original->FindClass(env, "java/lang/InternalError");
        spy.original->ThrowNew(env, type, "of the spy");
        spy.original->DeleteLocalRef(env, type);
    }
    return true;
}

template <auto member>
struct Watched;

template <typename Result, typename... Args, Result (JNICALL* Table::*member)(JNIEnv*, Args...)>
struct Watched<member>
{
    static inline const char* name;
    static inline bool canFail;
    static inline int failure; // returned by calls that report success as a number

    static Result JNICALL call(JNIEnv* env, Args... args)
    {
        bool failing = watched(__builtin_return_address(0)) && fails(env, name, canFail);
        if constexpr (std::is_void_v<Result>) {
            if (!failing)
                (spy.original->*member)(env, args...);
        } else {
            if (failing && std::string_view(name) == "MonitorExit")
                (spy.original->*member)(env, args...);
            if constexpr (std::is_same_v<Result, jint>)
                return failing ? failure : (spy.original->*member)(env, args...);
            else
                return failing ? Result{} : (spy.original->*member)(env, args...);
        }
    }
};

template <auto member>
void patch(const char* name, bool canFail, int failure = 0)
{
    Watched<member>::name = name;
    Watched<member>::canFail = canFail;
    Watched<member>::failure = failure;
    reinterpret_cast<Table*>(spy.patched.data())->*member = &Watched<member>::call;
}

} // namespace

void Java_com_kelvane_tokbridge_test_JniSpy_watch(JNIEnv* env, jclass, jstring file, jint failing, jboolean withError,
                                                  jstring token)
{
    spy = {};
    spy.token = symbolIn<char* (*)(const char*)>(textOf(env, token), "scriptedTokenCommand");
    spy.file = textOf(env, file);
    spy.failing = failing;
    spy.withError = withError == JNI_TRUE;
    spy.original = env->functions;
    const auto* table = reinterpret_cast<const void* const*>(spy.original);
    spy.patched.assign(table, table + (env->GetVersion() >= 0x00150000 ? 236 : 234)); // two more since version 21

#define FALLIBLE(function, ...) patch<&Table::function>(#function, true __VA_OPT__(, ) __VA_ARGS__)
#define OTHER(function) patch<&Table::function>(#function, false)
    // clang-format off
    FALLIBLE(FindClass), FALLIBLE(GetObjectClass), FALLIBLE(GetFieldID), FALLIBLE(GetMethodID),
    FALLIBLE(GetStaticMethodID), FALLIBLE(GetObjectField), FALLIBLE(GetObjectArrayElement), FALLIBLE(NewObjectV),
    FALLIBLE(NewObjectArray), FALLIBLE(NewByteArray), FALLIBLE(NewIntArray), FALLIBLE(NewStringUTF),
    FALLIBLE(CallObjectMethodV), FALLIBLE(CallBooleanMethodV), FALLIBLE(CallIntMethodV), FALLIBLE(CallLongMethodV),
    FALLIBLE(CallStaticObjectMethodV), FALLIBLE(SetObjectArrayElement), FALLIBLE(GetStringUTFChars),
    FALLIBLE(GetByteArrayElements), FALLIBLE(GetIntArrayElements), FALLIBLE(GetDirectBufferAddress),
    FALLIBLE(Throw, JNI_ERR), FALLIBLE(MonitorEnter, JNI_ERR), FALLIBLE(MonitorExit, JNI_ERR);
    OTHER(IsInstanceOf), OTHER(GetIntField), OTHER(GetByteField), OTHER(GetLongField), OTHER(SetByteField),
    OTHER(SetLongField), OTHER(SetObjectField), OTHER(GetArrayLength), OTHER(GetStringUTFLength),
    OTHER(SetByteArrayRegion), OTHER(ReleaseStringUTFChars), OTHER(ReleaseByteArrayElements),
    OTHER(ReleaseIntArrayElements), OTHER(ExceptionCheck), OTHER(ExceptionOccurred), OTHER(ExceptionClear),
    OTHER(ExceptionDescribe), OTHER(DeleteLocalRef), OTHER(GetDirectBufferCapacity);
    // clang-format on
    env->functions = reinterpret_cast<const Table*>(spy.patched.data());
}

jstring Java_com_kelvane_tokbridge_test_JniSpy_report(JNIEnv* env, jclass)
{
    env->functions = spy.original;
    std::string text = spy.failed + " " + spy.moduleCalls;
    for (const auto& [name, count] : spy.counts)
        text += " " + (name + " " + std::to_string(count));
    return env->NewStringUTF(text.c_str());
}

jboolean Java_com_kelvane_tokbridge_test_JniSpy_visible(JNIEnv* env, jclass, jstring symbol)
{
    return dlsym(RTLD_DEFAULT, textOf(env, symbol).c_str()) != nullptr ? JNI_TRUE : JNI_FALSE;
}
