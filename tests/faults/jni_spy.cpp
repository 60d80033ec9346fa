// Watches the JNI calls that one file of native code makes on one thread, and makes one of them fail.
//
// The thread's function table is swapped for a patched copy (the JVM keeps the address per JNIEnv, and lets it be
// changed). The JDK's own natives run through the same copy, so a call counts only when it returns into the file
// watched. What a failing call would have done does not happen, except MonitorExit, whose monitor is freed all the
// same: here only its answer is a lie.

#include "com_kelvane_tokbridge_test_JniSpy.h"

#include <dlfcn.h>

#include <cstdlib>
#include <map>
#include <set>
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
    std::string failFunction;
    int failCall;
    bool withError;
    std::map<std::string_view, int> counts;
    std::multiset<const void*> pins;
    int wrongReleases;
    int copiedBack;
    char* (*token)(const char* command);
    int callsBefore;
} spy;

bool watched(const void* caller)
{
    Dl_info info;
    return dladdr(caller, &info) != 0 && spy.file == info.dli_fname;
}

// Counts a call and answers whether it is the one to fail; its error is pending by then, where one is wanted.
bool fails(JNIEnv* env, std::string_view function, const void* caller)
{
    if (!watched(caller))
        return false;
    const int call = ++spy.counts[function];
    if (function != spy.failFunction || call != spy.failCall)
        return false;
    char* made = spy.token("made");
    spy.callsBefore = std::atoi(made);
    std::free(made);
    if (spy.withError) {
        jclass type = spy.original->FindClass(env, "java/lang/InternalError");
        spy.original->ThrowNew(env, type, "made by the spy");
        spy.original->DeleteLocalRef(env, type);
    }
    return true;
}

void noteRelease(const void* caller, jobject /*owner*/, const void* memory, jint mode = JNI_ABORT)
{
    if (!watched(caller))
        return;
    spy.copiedBack += mode == JNI_ABORT ? 0 : 1;
    const auto pin = spy.pins.find(memory);
    if (pin == spy.pins.end())
        ++spy.wrongReleases;
    else
        spy.pins.erase(pin);
}

template <auto member>
struct Watched;

template <typename Result, typename... Args, Result (JNICALL* Table::*member)(JNIEnv*, Args...)>
requires(!std::is_void_v<Result>) struct Watched<member>
{
    static inline std::string_view name;
    static inline Result failure;

    static Result JNICALL call(JNIEnv* env, Args... args)
    {
        const void* caller = __builtin_return_address(0);
        const bool failing = fails(env, name, caller);
        if (failing && name != "MonitorExit")
            return failure;
        Result result = (spy.original->*member)(env, args...);
        if constexpr (std::is_pointer_v<Result>)
            if ((name.ends_with("Chars") || name.ends_with("Elements")) && result != nullptr && watched(caller))
                spy.pins.insert(result);
        return failing ? failure : result;
    }
};

template <typename... Args, void (JNICALL* Table::*member)(JNIEnv*, Args...)>
struct Watched<member>
{
    static void JNICALL call(JNIEnv* env, Args... args)
    {
        noteRelease(__builtin_return_address(0), args...);
        (spy.original->*member)(env, args...);
    }
};

template <auto member>
void patch()
{
    reinterpret_cast<Table*>(spy.patched.data())->*member = &Watched<member>::call;
}

/// A function that can fail, and how it answers then.
template <auto member>
void fallible(const char* name, decltype(Watched<member>::failure) failure)
{
    Watched<member>::name = name;
    Watched<member>::failure = failure;
    spy.counts[name] = 0;
    patch<member>();
}

} // namespace

void Java_com_kelvane_tokbridge_test_JniSpy_watch(JNIEnv* env, jclass /*type*/, jstring file, jstring function,
                                                  jint call, jboolean withError, jstring token)
{
    spy = {};
    spy.token = symbolIn<char* (*)(const char*)>(textOf(env, token), "scriptedTokenCommand");
    spy.callsBefore = -1;
    spy.file = textOf(env, file);
    spy.failFunction = textOf(env, function);
    spy.failCall = call;
    spy.withError = withError == JNI_TRUE;
    spy.original = env->functions;
    const auto* table = reinterpret_cast<const void* const*>(spy.original);
    spy.patched.assign(table, table + (env->GetVersion() >= 0x00150000 ? 236 : 234)); // two more since version 21

#define FALLIBLE(function, failure) fallible<&Table::function>(#function, failure)
    FALLIBLE(FindClass, nullptr);
    FALLIBLE(GetObjectClass, nullptr);
    FALLIBLE(GetFieldID, nullptr);
    FALLIBLE(GetMethodID, nullptr);
    FALLIBLE(GetStaticMethodID, nullptr);
    FALLIBLE(GetObjectField, nullptr);
    FALLIBLE(GetObjectArrayElement, nullptr);
    FALLIBLE(NewObjectV, nullptr);
    FALLIBLE(NewObjectArray, nullptr);
    FALLIBLE(NewByteArray, nullptr);
    FALLIBLE(NewIntArray, nullptr);
    FALLIBLE(NewStringUTF, nullptr);
    FALLIBLE(CallObjectMethodV, nullptr);
    FALLIBLE(CallBooleanMethodV, JNI_FALSE);
    FALLIBLE(CallIntMethodV, 0);
    FALLIBLE(CallLongMethodV, 0);
    FALLIBLE(CallStaticObjectMethodV, nullptr);
    FALLIBLE(Throw, JNI_ERR);
    FALLIBLE(MonitorEnter, JNI_ERR);
    FALLIBLE(MonitorExit, JNI_ERR);
    FALLIBLE(GetStringUTFChars, nullptr);
    FALLIBLE(GetByteArrayElements, nullptr);
    FALLIBLE(GetIntArrayElements, nullptr);
#undef FALLIBLE
    patch<&Table::ReleaseStringUTFChars>();
    patch<&Table::ReleaseByteArrayElements>();
    patch<&Table::ReleaseIntArrayElements>();
    env->functions = reinterpret_cast<const Table*>(spy.patched.data());
}

jstring Java_com_kelvane_tokbridge_test_JniSpy_report(JNIEnv* env, jclass /*type*/)
{
    env->functions = spy.original;
    std::string text = "calls=" + std::to_string(spy.callsBefore) + " copied=" + std::to_string(spy.copiedBack) +
                       " unbalanced=" + std::to_string(static_cast<int>(spy.pins.size()) + spy.wrongReleases);
    for (const auto& [name, count] : spy.counts)
        text += " " + std::string(name) + "=" + std::to_string(count);
    return env->NewStringUTF(text.c_str());
}
