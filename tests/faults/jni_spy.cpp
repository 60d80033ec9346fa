// Watches the JNI calls that one file of native code makes on one thread, and makes one of them fail. It counts them,
// the local references that live at once, and what must not be: JNI or Cryptoki calls with an exception pending.
//
// The thread's function table is swapped for a patched copy (the JVM keeps the address per JNIEnv, and lets it be
// changed). The JDK's own natives run through the same copy, so a call counts only when it returns into the file
// watched. What a failing call would have done does not happen, except MonitorExit, whose monitor is freed all the
// same: here only its answer is a lie.

#include "com_kelvane_tokbridge_test_JniSpy.h"

#include <dlfcn.h>

#include <algorithm>
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
    std::map<std::string, int> fallible;   // calls of the functions that can fail
    std::map<std::string, int> infallible; // and of the others
    std::multiset<const void*> pins;
    int wrongReleases;
    int copiedBack;
    char* (*token)(const char* command);
    int callsBefore;
    int callsWhenRaised; // the Cryptoki calls made when the pending exception was raised; -1 with none pending
    std::string misused;
    int references;
    int mostReferences;
} spy;

bool watched(const void* caller)
{
    Dl_info info;
    return dladdr(caller, &info) != 0 && spy.file == info.dli_fname;
}

int cryptokiCalls()
{
    char* made = spy.token("made");
    const int count = static_cast<int>(std::strtol(made, nullptr, 10));
    std::free(made);
    return count;
}

// Follows an exception from where it is raised to where it is cleared, or reaches Java.
void notePending(JNIEnv* env)
{
    const bool pending = spy.original->ExceptionCheck(env) == JNI_TRUE;
    if (spy.callsWhenRaised >= 0 && cryptokiCalls() != spy.callsWhenRaised)
        spy.misused = "C_*";
    spy.callsWhenRaised = !pending ? -1 : spy.callsWhenRaised >= 0 ? spy.callsWhenRaised : cryptokiCalls();
}

bool allowedWhenPending(std::string_view function)
{
    return function.starts_with("Exception") || function.starts_with("Release") || function == "DeleteLocalRef" ||
           function == "MonitorExit";
}

// Whether the call is the one to fail; its error is pending by then, where one is wanted.
bool fails(JNIEnv* env, const std::string& function)
{
    const auto found = spy.fallible.find(function);
    if (found == spy.fallible.end() || function != spy.failFunction || found->second != spy.failCall)
        return false;
    spy.callsBefore = cryptokiCalls();
    if (spy.withError) {
        jclass type = spy.original->FindClass(env, "java/lang/InternalError");
        spy.original->ThrowNew(env, type, "made by the spy");
        spy.original->DeleteLocalRef(env, type);
    }
    return true;
}

// What is known of every call before it is made.
void noteCall(JNIEnv* env, const std::string& function)
{
    const auto found = spy.fallible.find(function);
    ++(found != spy.fallible.end() ? found->second : spy.infallible[function]);
    notePending(env);
    if (spy.callsWhenRaised >= 0 && !allowedWhenPending(function))
        spy.misused = function;
}

void noteReference(int change)
{
    spy.references += change;
    spy.mostReferences = std::max(spy.mostReferences, spy.references);
}

void noteRelease(const void* memory, jint mode)
{
    spy.copiedBack += mode == JNI_ABORT ? 0 : 1;
    const auto pin = spy.pins.find(memory);
    if (pin == spy.pins.end())
        ++spy.wrongReleases;
    else
        spy.pins.erase(pin);
}

// What the functions without a result give back; the others nothing.
void noteGivenBack(jstring, const char* characters) { noteRelease(characters, JNI_ABORT); }

void noteGivenBack(jbyteArray, jbyte* elements, jint mode) { noteRelease(elements, mode); }

void noteGivenBack(jintArray, jint* elements, jint mode) { noteRelease(elements, mode); }

void noteGivenBack(jobject reference) { noteReference(reference != nullptr ? -1 : 0); }

template <typename... Others>
void noteGivenBack(const Others&...)
{
}

template <typename Result>
void noteResult(const std::string& function, Result result)
{
    if constexpr (std::is_convertible_v<Result, jobject>)
        noteReference(result != nullptr ? 1 : 0);
    else if constexpr (std::is_pointer_v<Result>)
        if ((function.ends_with("Chars") || function.ends_with("Elements")) && result != nullptr)
            spy.pins.insert(result);
}

template <auto member>
struct Watched;

template <typename Result, typename... Args, Result (JNICALL* Table::*member)(JNIEnv*, Args...)>
    requires(!std::is_void_v<Result>)
struct Watched<member>
{
    static inline std::string name;
    static inline Result failure = {};

    static Result JNICALL call(JNIEnv* env, Args... args)
    {
        if (!watched(__builtin_return_address(0)))
            return (spy.original->*member)(env, args...);
        noteCall(env, name);
        const bool failing = fails(env, name);
        Result result = failure;
        if (!failing || name == "MonitorExit")
            result = (spy.original->*member)(env, args...);
        result = failing ? failure : result;
        noteResult(name, result);
        notePending(env);
        return result;
    }
};

template <typename... Args, void (JNICALL* Table::*member)(JNIEnv*, Args...)>
struct Watched<member>
{
    static inline std::string name;

    static void JNICALL call(JNIEnv* env, Args... args)
    {
        const bool ours = watched(__builtin_return_address(0));
        if (ours)
            noteCall(env, name);
        const bool failing = ours && fails(env, name);
        if (ours)
            noteGivenBack(args...);
        if (!failing)
            (spy.original->*member)(env, args...);
        if (ours)
            notePending(env);
    }
};

template <auto member>
void patch(const char* name)
{
    Watched<member>::name = name;
    reinterpret_cast<Table*>(spy.patched.data())->*member = &Watched<member>::call;
}

/// A function that can fail: it answers nothing then, unless told otherwise.
template <auto member>
void fallible(const char* name)
{
    spy.fallible[name] = 0;
    patch<member>(name);
}

} // namespace

void Java_com_kelvane_tokbridge_test_JniSpy_watch(JNIEnv* env, jclass /*type*/, jstring file, jstring function,
                                                  jint call, jboolean withError, jstring token)
{
    spy = {};
    spy.token = symbolIn<char* (*)(const char*)>(textOf(env, token), "scriptedTokenCommand");
    spy.callsBefore = -1;
    spy.callsWhenRaised = -1;
    spy.file = textOf(env, file);
    spy.failFunction = textOf(env, function);
    spy.failCall = call;
    spy.withError = withError == JNI_TRUE;
    spy.original = env->functions;
    const auto* table = reinterpret_cast<const void* const*>(spy.original);
    spy.patched.assign(table, table + (env->GetVersion() >= 0x00150000 ? 236 : 234)); // two more since version 21

#define FALLIBLE(function) fallible<&Table::function>(#function)
#define OTHER(function) patch<&Table::function>(#function)
    // clang-format off
    FALLIBLE(FindClass), FALLIBLE(GetObjectClass), FALLIBLE(GetFieldID), FALLIBLE(GetMethodID),
    FALLIBLE(GetStaticMethodID), FALLIBLE(GetObjectField), FALLIBLE(GetObjectArrayElement), FALLIBLE(NewObjectV),
    FALLIBLE(NewObjectArray), FALLIBLE(NewByteArray), FALLIBLE(NewIntArray), FALLIBLE(NewStringUTF),
    FALLIBLE(CallObjectMethodV), FALLIBLE(CallBooleanMethodV), FALLIBLE(CallIntMethodV), FALLIBLE(CallLongMethodV),
    FALLIBLE(CallStaticObjectMethodV), FALLIBLE(Throw), FALLIBLE(MonitorEnter), FALLIBLE(MonitorExit),
    FALLIBLE(GetStringUTFChars), FALLIBLE(GetByteArrayElements), FALLIBLE(GetIntArrayElements),
    FALLIBLE(GetDirectBufferAddress);
    Watched<&Table::Throw>::failure = JNI_ERR;
    Watched<&Table::MonitorEnter>::failure = JNI_ERR;
    Watched<&Table::MonitorExit>::failure = JNI_ERR;
    spy.fallible["SetObjectArrayElement"] = 0;
    OTHER(SetObjectArrayElement), OTHER(IsInstanceOf), OTHER(GetIntField), OTHER(GetByteField), OTHER(GetLongField),
    OTHER(SetByteField), OTHER(SetLongField), OTHER(SetObjectField), OTHER(GetArrayLength), OTHER(GetStringUTFLength),
    OTHER(SetByteArrayRegion), OTHER(ReleaseStringUTFChars), OTHER(ReleaseByteArrayElements),
    OTHER(ReleaseIntArrayElements), OTHER(ExceptionCheck), OTHER(ExceptionOccurred), OTHER(ExceptionClear),
    OTHER(ExceptionDescribe), OTHER(DeleteLocalRef), OTHER(GetDirectBufferCapacity);
    // clang-format on
    env->functions = reinterpret_cast<const Table*>(spy.patched.data());
}

jstring Java_com_kelvane_tokbridge_test_JniSpy_report(JNIEnv* env, jclass /*type*/)
{
    env->functions = spy.original;
    notePending(env);
    std::string text = std::to_string(spy.callsBefore) + " " + std::to_string(spy.copiedBack) + " " +
                       std::to_string(static_cast<int>(spy.pins.size()) + spy.wrongReleases) + " " +
                       std::to_string(spy.mostReferences) + " " + spy.misused;
    for (const auto& [name, count] : spy.fallible)
        text += " " + name + " " + std::to_string(count);
    for (const auto& [name, count] : spy.infallible)
        text += " +" + name + " " + std::to_string(count);
    return env->NewStringUTF(text.c_str());
}

jboolean Java_com_kelvane_tokbridge_test_JniSpy_visible(JNIEnv* env, jclass /*type*/, jstring symbol)
{
    return dlsym(RTLD_DEFAULT, textOf(env, symbol).c_str()) != nullptr ? JNI_TRUE : JNI_FALSE;
}
