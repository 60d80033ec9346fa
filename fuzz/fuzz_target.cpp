// An input as calls: its bytes choose a few native methods, their arguments, failures of JNI, and what the module
// returns. After each call the rules that every method keeps are checked: each pinned array is released, once and in
// the right mode; the monitor is left; local references are within bounds; JNI and the module are not called with an
// exception pending; sessions and objects that the module has created are Java's, or are closed or destroyed again. The
// sanitizers check what is read and written.

#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <set>
#include <tuple>
#include <utility>

#include "fake_jni.h"
#include "hostile_token.h"
#include "java_values.h"
#include "native_methods.h"

namespace {

constexpr std::size_t kMostCalls = 12; // of one input
#define ONE(function, letters) +1
constexpr std::size_t kFunctions = CRYPTOKI_FUNCTIONS(ONE) CRYPTOKI_3_FUNCTIONS(ONE);
constexpr const char* kModules[] = {FUZZ_MODULES};

using Objects = std::vector<Object*>;
Objects libraries, slots, sessions, keys; // receivers and arguments
const Objects noReceiver = {nullptr};     // of static methods

Object* anyOf(const Objects& objects)
{
    return input.oneIn(64) ? nullptr : objects[input.below(objects.size())];
}

// ---- Arguments, by their letters ----

struct Arguments
{
    const char* letters;
    Ref types = {}, buffer = {};

    jint number(char letter)
    {
        switch (letter) {
        case 'm': return anyMechanism();
        case 't': return anyAttribute();
        case 'f': return input.oneIn(8) ? anyInt() : static_cast<jint>(input.below(4));
        case 'n': return input.oneIn(8) ? anyInt() : static_cast<jint>(input.below(12));
        case 'N':
            return input.oneIn(4) || types.object == nullptr
                       ? number('n')
                       : static_cast<jint>(types.object->bytes.size() / sizeof(jint));
        case 'z': return input.oneIn(2) ? JNI_TRUE : JNI_FALSE;
        default: return anyInt();
        }
    }

    Ref parameter()
    {
        Ref made = input.oneIn(3) ? Ref{} : anyObject("", true);
        hostile.parameter = made.object;
        return made;
    }

    // Another one, or the same, so that input and output overlap.
    Ref directBuffer()
    {
        bool isSame = buffer.object != nullptr && input.oneIn(4);
        return buffer = isSame ? buffer : anyObject(input.oneIn(16) ? "" : "java/nio/DirectByteBuffer");
    }

    Ref object(char letter)
    {
        switch (letter) {
        case 'p': return parameter();
        case 'T': return types = anyTypes();
        case 'V': return anyValues(types);
        case 'k': return {anyOf(keys)};
        case 's': return {anyOf(sessions)};
        case 'L': return {anyOf(libraries)};
        case 'b': return anyObject("[B");
        case 'w': return anyObject("[B", true);
        case 'd':
        case 'D': return directBuffer();
        case 'c': return input.oneIn(4) ? anyObject() : Ref{};
        default: return anyObject();
        }
    }

    template <typename T>
    T next()
    {
        if constexpr (std::is_pointer_v<T>)
            return object(*letters++);
        else
            return static_cast<T>(number(*letters++));
    }
};

// ---- Methods ----

struct Method
{
    std::string name;
    const Objects& receivers;
    std::function<Object*(Ref receiver)> call; // null from those that return no object
};

template <typename Receiver, typename Result, typename... Parameters>
Method method(const char* name, const char* letters, const Objects& receivers,
              Result (*function)(JNIEnv*, Receiver, Parameters...))
{
    return {name, receivers, [letters, function](Ref receiver) -> Object* {
                [[maybe_unused]] Arguments chosen{letters};
                std::tuple<Parameters...> arguments{chosen.next<Parameters>()...}; // in this order
                auto call = [&](Parameters... each) { return function(env, receiver, each...); };
                if constexpr (std::is_pointer_v<Result>)
                    return returned(std::apply(call, arguments)).object;
                std::apply(call, arguments);
                return nullptr;
            }};
}

#define LIBRARY(name) libraries, Java_com_kelvane_pkcs11_nat_NativePKCS11_##name
#define SLOT(name) slots, Java_com_kelvane_pkcs11_nat_NativePKCS11Slot_##name
#define SESSION(name) sessions, Java_com_kelvane_pkcs11_nat_NativePKCS11Session_##name
#define OBJECT(name) keys, Java_com_kelvane_pkcs11_nat_NativePKCS11Object_##name
#define EXTENSIONS(name) noReceiver, Java_com_kelvane_pkcs11_nat_NativeExtensions_##name
#define METHOD(receivers, name, letters, expected) method(#name, letters, receivers(name)),
const Method kMethods[] = {NATIVE_METHODS(METHOD)};

// ---- The rules ----

[[noreturn]] void fail(const std::string& method, const std::string& what)
{
    std::fprintf(stderr, "%s:%s\n", method.c_str(), what.c_str());
    std::abort();
}

// The handle of an object that the library has constructed from a long, or from an int.
CK_ULONG handleOf(const Object& object)
{
    auto wide = object.fields.find("J");
    return wide != object.fields.end() ? static_cast<CK_ULONG>(wide->second)
                                       : static_cast<std::uint32_t>(object.fields.at("I"));
}

// What the module has created in a call is in Java's hands, as the result, an element of it or a field, or the module
// was called to end it.
void checkHandles(const std::string& method, Object* result)
{
    Objects found = fake.put;
    if (result != nullptr) {
        found.push_back(result);
        found.insert(found.end(), result->elements.begin(), result->elements.end());
    }
    std::set<CK_ULONG> accounted(hostile.ended.begin(), hostile.ended.end());
    for (Object* each : found) {
        if (each == nullptr)
            continue;
        bool isSession = each->type.ends_with("/NativePKCS11Session");
        if (!isSession && !each->type.ends_with("/NativePKCS11Object"))
            continue;
        accounted.insert(handleOf(*each));
        (isSession ? sessions : keys).push_back(each);
    }
    for (CK_ULONG each : hostile.made)
        if (!accounted.contains(each))
            fail(method, " handle " + std::to_string(each) + " was lost");
}

// The behaviour of the fake JVM in a call.
void chooseBehaviour(std::size_t kept)
{
    fake.failing = input.oneIn(4) ? static_cast<int>(input.below(64)) : 0;
    fake.failsWithError = input.oneIn(2);
    fake.inPlace = input.oneIn(2);
    fake.missingClass = input.oneIn(32) ? "com/kelvane/pkcs11/PKCS11RawParameter" : "";
    if (input.oneIn(4))
        fake.meddling = [kept] { meddle(kept); };
}

void makeCall(const Method& method, std::size_t kept, bool complete)
{
    hostile = {};
    chooseBehaviour(kept);

    startOfCall();
    Object* result = method.call({anyOf(method.receivers)});
    bool raised = fake.pending != nullptr;
    fake.failing = 0;
    fake.meddling = nullptr;
    endOfCall(method.name == "getAttributeValues" ? 1 : 0); // which leaves its types pinned
    if (complete)
        checkHandles(method.name, raised ? nullptr : result);
}

// ---- An input ----

constexpr const char* kLibrary = "com/kelvane/pkcs11/nat/NativePKCS11";

// Calls the one method that the table does not have.
ModuleLists* load(Ref path)
{
    startOfCall();
    jlong list = Java_com_kelvane_pkcs11_nat_NativePKCS11_loadPKCS11Library(env, nullptr, path);
    endOfCall(0);
    return reinterpret_cast<ModuleLists*>(list);
}

// A module and its library.
ModuleLists* makeLibrary(const char* path, std::size_t missing)
{
    ModuleLists* lists = load(newString(path));
    if (lists == nullptr)
        fail(path, " cannot be loaded");
    fillLists(lists, missing);
    lists->list.version.minor = input.oneIn(8) ? 0 : 20;
    lists->extended.edition2.version.minor = input.oneIn(8) ? 0 : 2;
    libraries.push_back(make(kLibrary, {{"functionList:J", reinterpret_cast<std::int64_t>(lists)}}).object);
    return lists;
}

// Loads a module once more, one of other versions, a library that is no module, or a path that is null or leads
// nowhere. A path of 256 bytes ends the process on purpose.
void loadAgain(ModuleLists* lists, std::size_t kept)
{
    const std::string paths[] = {kModules[0], kModules[0], "libm.so.6", std::string(input.byte(), 'x'),
                                 std::string(257 + input.byte(), 'x')};
    constexpr CK_BYTE versions[] = {2, 2, 2, 2, 2, 2, 3, 0};
    lists->list.version.major = input.of(versions);
    lists->extended.edition2.version.major = input.oneIn(4) ? 2 : 3;
    chooseBehaviour(kept);
    ModuleLists* loaded = load(input.oneIn(16) ? Ref{} : newString(input.of(paths)));
    lists->list.version.major = 2;
    lists->extended.edition2.version.major = 3;
    fake.failing = 0;
    fake.meddling = nullptr;
    if (loaded != nullptr)
        libraries[0]->fields["functionList:J"] = reinterpret_cast<std::int64_t>(loaded);
}

// Finalises a library until it has no holder, so that every input begins with a new one.
void end(Object* library, ModuleLists* lists, const char* path)
{
    fillLists(lists);
    load(newString(path)); // one holder at least
    do {
        library->fields["functionList:J"] = reinterpret_cast<std::int64_t>(lists);
        startOfCall();
        Java_com_kelvane_pkcs11_nat_NativePKCS11_libFinalize(env, Ref{library});
    } while (std::exchange(fake.pending, nullptr) == nullptr);
}

// The owners of an object, up to its library, are receivers too.
std::int64_t missingField(Object& owner, const std::string& name)
{
    for (const Objects* each : {&libraries, &slots, &sessions})
        if (name.ends_with(each->front()->type + ";"))
            return address({anyOf(*each)});
    return missingValue(owner, name);
}

// A small stack, so that many inputs do not fit into it.
bool makeReady()
{
    fake.strict = true;
    fake.becomes = [](Object&) { return !input.oneIn(16); };
    fake.missingField = missingField;
    rlimit stack = {};
    getrlimit(RLIMIT_STACK, &stack);
    stack.rlim_cur = rlim_t{320} * 1024;
    return setrlimit(RLIMIT_STACK, &stack) == 0 && std::freopen("/dev/null", "w", stdout) != nullptr &&
           setenv("TZ", "UTC0", 1) == 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const bool ready = makeReady();
    static_cast<void>(ready);
    input = {data, data + size};
    forgetObjects();
    const std::string library = kLibrary;
    libraries.clear();
    slots = {make(library + "Slot").object};
    sessions = {make(library + "Session").object};
    keys = {make(library + "Object").object};
    if (input.oneIn(8))
        setenv("PKCS11DEBUG", "1", 1);
    else
        unsetenv("PKCS11DEBUG");

    bool complete = !input.oneIn(8); // all functions are there
    std::size_t missing = complete ? SIZE_MAX : input.below(kFunctions);
    ModuleLists* first = makeLibrary(kModules[0], missing);
    ModuleLists* second = makeLibrary(kModules[1], missing);
    // An object that Java has constructed by itself: it is not counted as a holder.
    libraries.push_back(make(kLibrary, libraries[0]->fields).object);
    std::size_t kept = fake.objects.size();
    for (std::size_t calls = 0; calls < kMostCalls && !input.isOver(); ++calls) {
        std::size_t index = input.below(std::size(kMethods) + 1);
        if (index < std::size(kMethods))
            makeCall(kMethods[index], kept, complete);
        else
            loadAgain(first, kept);
    }

    input = {};
    end(libraries[0], first, kModules[0]);
    end(libraries[1], second, kModules[1]);
    return 0;
}
