// Watches the JNI calls that one file of native code makes on one thread, and makes one of them fail.
//
// The thread's function table is swapped for a patched copy (the JVM keeps the address per JNIEnv, and lets it be
// changed). The JDK's own natives run through the same copy, so a call counts only when it returns into the file
// watched. What a failing call would have done does not happen, except MonitorExit, whose monitor is freed all the
// same: here only its answer is a lie.

#include "com_kelvane_tokbridge_test_JniSpy.h"

#include <dlfcn.h>
#include <link.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <type_traits>
#include <vector>

namespace {

struct Range
{
    const char* file;
    std::uintptr_t low;
    std::uintptr_t high;
};

struct Pin
{
    const void* memory;
    bool released;
};

// The state of the one thread that is watched at a time.
struct
{
    Range watched;
    const JNINativeInterface_* original;
    std::vector<const void*> patched;
    int failFunction;
    int failCall;
    bool withError;
    std::vector<int> counts;
    std::vector<Pin> pins;
    std::vector<int> modes;
    int wrongReleases;
    char* (*token)(const char* command);
    int callsBefore;
} spy;

int findRange(dl_phdr_info* info, std::size_t /*size*/, void* result)
{
    auto* range = static_cast<Range*>(result);
    if (std::strcmp(info->dlpi_name, range->file) != 0)
        return 0;
    for (int i = 0; i < info->dlpi_phnum; ++i) {
        const auto& segment = info->dlpi_phdr[i];
        if (segment.p_type == PT_LOAD && (segment.p_flags & PF_X) != 0) {
            range->low = info->dlpi_addr + segment.p_vaddr;
            range->high = range->low + segment.p_memsz;
        }
    }
    return 1;
}

bool watched(const void* caller)
{
    auto address = reinterpret_cast<std::uintptr_t>(caller);
    return address >= spy.watched.low && address < spy.watched.high;
}

// Counts a call and answers whether it is the one to fail; its error is pending by then, where one is wanted.
bool fails(JNIEnv* env, std::size_t function, const void* caller)
{
    if (!watched(caller))
        return false;
    int call = ++spy.counts[function];
    if (static_cast<int>(function) != spy.failFunction || call != spy.failCall)
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

void notePin(const void* caller, const void* memory)
{
    if (watched(caller) && memory != nullptr)
        spy.pins.push_back({memory, false});
}

void noteRelease(const void* caller, const void* memory, jint mode)
{
    if (!watched(caller))
        return;
    spy.modes.push_back(mode);
    for (Pin& pin : spy.pins) {
        if (pin.memory == memory && !pin.released) {
            pin.released = true;
            return;
        }
    }
    ++spy.wrongReleases;
}

constexpr std::size_t indexOf(std::size_t offset)
{
    return offset / sizeof(void*);
}

// The functions that can fail: name, how they answer then.
#define FALLIBLE(X)                                                                                                    \
    X(FindClass, nullptr)                                                                                              \
    X(GetObjectClass, nullptr)                                                                                         \
    X(GetFieldID, nullptr)                                                                                             \
    X(GetMethodID, nullptr)                                                                                            \
    X(GetStaticMethodID, nullptr)                                                                                      \
    X(GetObjectField, nullptr)                                                                                         \
    X(GetObjectArrayElement, nullptr)                                                                                  \
    X(NewObjectV, nullptr)                                                                                             \
    X(NewObjectArray, nullptr)                                                                                         \
    X(NewByteArray, nullptr)                                                                                           \
    X(NewIntArray, nullptr)                                                                                            \
    X(NewStringUTF, nullptr)                                                                                           \
    X(CallObjectMethodV, nullptr)                                                                                      \
    X(CallBooleanMethodV, JNI_FALSE)                                                                                   \
    X(CallIntMethodV, 0)                                                                                               \
    X(CallLongMethodV, 0)                                                                                              \
    X(CallStaticObjectMethodV, nullptr)                                                                                \
    X(Throw, JNI_ERR)                                                                                                  \
    X(MonitorEnter, JNI_ERR)                                                                                           \
    X(GetStringUTFChars, nullptr)                                                                                      \
    X(GetByteArrayElements, nullptr)                                                                                   \
    X(GetIntArrayElements, nullptr)

template <std::size_t index, typename Result, typename... Args>
struct Fallible
{
    static inline Result answer;

    static Result JNICALL call(JNIEnv* env, Args... args)
    {
        const void* caller = __builtin_return_address(0);
        if (fails(env, index, caller))
            return answer;
        auto* function = reinterpret_cast<Result(JNICALL*)(JNIEnv*, Args...)>(
            const_cast<void*>(reinterpret_cast<const void* const*>(spy.original)[index]));
        Result result = function(env, args...);
        if constexpr (index == indexOf(offsetof(JNINativeInterface_, GetStringUTFChars)) ||
                      index == indexOf(offsetof(JNINativeInterface_, GetByteArrayElements)) ||
                      index == indexOf(offsetof(JNINativeInterface_, GetIntArrayElements)))
            notePin(caller, result);
        return result;
    }
};

template <std::size_t index, typename Result, typename... Args>
void patch(Result(JNICALL* /*member*/)(JNIEnv*, Args...), std::type_identity_t<Result> answer)
{
    Fallible<index, Result, Args...>::answer = answer;
    spy.patched[index] = reinterpret_cast<const void*>(&Fallible<index, Result, Args...>::call);
}

jint JNICALL monitorExit(JNIEnv* env, jobject object)
{
    jint result = spy.original->MonitorExit(env, object);
    return fails(env, indexOf(offsetof(JNINativeInterface_, MonitorExit)), __builtin_return_address(0)) ? JNI_ERR
                                                                                                        : result;
}

void JNICALL releaseStringUTFChars(JNIEnv* env, jstring string, const char* characters)
{
    noteRelease(__builtin_return_address(0), characters, JNI_ABORT);
    spy.original->ReleaseStringUTFChars(env, string, characters);
}

void JNICALL releaseByteArrayElements(JNIEnv* env, jbyteArray array, jbyte* elements, jint mode)
{
    noteRelease(__builtin_return_address(0), elements, mode);
    spy.original->ReleaseByteArrayElements(env, array, elements, mode);
}

void JNICALL releaseIntArrayElements(JNIEnv* env, jintArray array, jint* elements, jint mode)
{
    noteRelease(__builtin_return_address(0), elements, mode);
    spy.original->ReleaseIntArrayElements(env, array, elements, mode);
}

struct FunctionName
{
    const char* name;
    std::size_t index;
};

constexpr FunctionName kNames[] = {
#define NAME(function, answer) {#function, indexOf(offsetof(JNINativeInterface_, function))},
    FALLIBLE(NAME)
#undef NAME
        {"MonitorExit", indexOf(offsetof(JNINativeInterface_, MonitorExit))},
};

int indexOfName(JNIEnv* env, jstring function)
{
    if (function == nullptr)
        return -1;
    const char* characters = env->GetStringUTFChars(function, nullptr);
    int index = -1;
    for (const FunctionName& name : kNames) {
        if (std::strcmp(name.name, characters) == 0)
            index = static_cast<int>(name.index);
    }
    env->ReleaseStringUTFChars(function, characters);
    return index;
}

jintArray newIntArray(JNIEnv* env, const std::vector<jint>& values)
{
    auto size = static_cast<jsize>(values.size());
    jintArray array = env->NewIntArray(size);
    env->SetIntArrayRegion(array, 0, size, values.data());
    return array;
}

} // namespace

void Java_com_kelvane_tokbridge_test_JniSpy_watch(JNIEnv* env, jclass /*type*/, jstring file, jstring function,
                                                  jint call, jboolean withError, jstring token)
{
    static std::array<char, 4096> tokenPath;
    env->GetStringUTFRegion(token, 0, env->GetStringLength(token), tokenPath.data());
    void* module = dlopen(tokenPath.data(), RTLD_NOW | RTLD_NOLOAD);
    spy.token = reinterpret_cast<char* (*)(const char*)>(dlsym(module, "scriptedTokenCommand"));
    spy.callsBefore = -1;

    static std::array<char, 4096> path;
    env->GetStringUTFRegion(file, 0, env->GetStringLength(file), path.data());
    spy.watched = {path.data(), 0, 0};
    dl_iterate_phdr(findRange, &spy.watched);

    // 234 entries, and two more since version 21.
    std::size_t entries = env->GetVersion() >= 0x00150000 ? 236 : 234;
    spy.original = env->functions;
    const auto* table = reinterpret_cast<const void* const*>(spy.original);
    spy.patched.assign(table, table + entries);
    spy.counts.assign(entries, 0);
    spy.pins.clear();
    spy.modes.clear();
    spy.wrongReleases = 0;
    spy.failFunction = indexOfName(env, function);
    spy.failCall = call;
    spy.withError = withError == JNI_TRUE;

#define PATCH(function, answer) patch<indexOf(offsetof(JNINativeInterface_, function))>(spy.original->function, answer);
    FALLIBLE(PATCH)
#undef PATCH
    spy.patched[indexOf(offsetof(JNINativeInterface_, MonitorExit))] = reinterpret_cast<const void*>(&monitorExit);
    spy.patched[indexOf(offsetof(JNINativeInterface_, ReleaseStringUTFChars))] =
        reinterpret_cast<const void*>(&releaseStringUTFChars);
    spy.patched[indexOf(offsetof(JNINativeInterface_, ReleaseByteArrayElements))] =
        reinterpret_cast<const void*>(&releaseByteArrayElements);
    spy.patched[indexOf(offsetof(JNINativeInterface_, ReleaseIntArrayElements))] =
        reinterpret_cast<const void*>(&releaseIntArrayElements);
    env->functions = reinterpret_cast<const JNINativeInterface_*>(spy.patched.data());
}

void Java_com_kelvane_tokbridge_test_JniSpy_unwatch(JNIEnv* env, jclass /*type*/)
{
    env->functions = spy.original;
}

jobjectArray Java_com_kelvane_tokbridge_test_JniSpy_functions(JNIEnv* env, jclass /*type*/)
{
    jclass string = env->FindClass("java/lang/String");
    jobjectArray names = env->NewObjectArray(static_cast<jsize>(std::size(kNames)), string, nullptr);
    for (std::size_t i = 0; i < std::size(kNames); ++i) {
        jstring name = env->NewStringUTF(kNames[i].name);
        env->SetObjectArrayElement(names, static_cast<jsize>(i), name);
        env->DeleteLocalRef(name);
    }
    return names;
}

jintArray Java_com_kelvane_tokbridge_test_JniSpy_counts(JNIEnv* env, jclass /*type*/)
{
    std::vector<jint> counts;
    for (const FunctionName& name : kNames)
        counts.push_back(spy.counts[name.index]);
    return newIntArray(env, counts);
}

jintArray Java_com_kelvane_tokbridge_test_JniSpy_releaseModes(JNIEnv* env, jclass /*type*/)
{
    return newIntArray(env, spy.modes);
}

jint Java_com_kelvane_tokbridge_test_JniSpy_callsBeforeFailure(JNIEnv* /*env*/, jclass /*type*/)
{
    return spy.callsBefore;
}

jint Java_com_kelvane_tokbridge_test_JniSpy_unbalanced(JNIEnv* /*env*/, jclass /*type*/)
{
    int left = spy.wrongReleases;
    for (const Pin& pin : spy.pins)
        left += pin.released ? 0 : 1;
    return left;
}
