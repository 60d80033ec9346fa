// What a fuzzer's input does: a few native methods are called, one after the other, with arguments, objects, failures
// of JNI and a module's answers as the bytes say. After each call the rule is checked that every method keeps: what was
// pinned is released, once and in the right mode; the monitor is left; references are within bounds; JNI and the module
// are left alone with an exception pending; sessions and objects that the module has made are Java's, or ended again.
// What is read or written outside of memory the sanitizers see.

#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <set>
#include <tuple>
#include <utility>

#include "com_kelvane_pkcs11_nat_NativePKCS11.h"
#include "com_kelvane_pkcs11_nat_NativePKCS11Object.h"
#include "com_kelvane_pkcs11_nat_NativePKCS11Session.h"
#include "com_kelvane_pkcs11_nat_NativePKCS11Slot.h"
#include "fake_jni.h"
#include "hostile_token.h"
#include "java_values.h"

namespace {

constexpr std::size_t kMostCalls = 12; // of one input
constexpr const char* kModules[] = {FUZZ_MODULES};

Input input;
std::vector<Object*> libraries, slots, sessions, keys; // those that a call may be made on or with

Object* anyOf(const std::vector<Object*>& objects)
{
    return input.oneIn(64) ? nullptr : objects[input.below(objects.size())];
}

jint elements(Ref ints)
{
    return static_cast<jint>(ints.object->bytes.size() / sizeof(jint));
}

// ---- Arguments, one letter each ----
//
// m a mechanism, p its parameter; t the type of an attribute, v its value; T the types of a template, V its values; k a
// key; o any object; b a byte[], w one that is written to, f an offset in it, n a length; N how many types; i an int;
// z a boolean.

struct Arguments
{
    MechanismValue mechanism{};
    jint attribute = 0;
    Ref types;

    jint number(char letter)
    {
        switch (letter) {
        case 'm': mechanism = anyMechanism(&input, keys); return mechanism.mechanism;
        case 't': return attribute = anyAttribute(&input);
        case 'f': return input.oneIn(8) ? anyInt(&input) : static_cast<jint>(input.below(4));
        case 'n': return input.oneIn(8) ? anyInt(&input) : static_cast<jint>(input.below(12));
        case 'N': return input.oneIn(4) || types.object == nullptr ? number('n') : elements(types);
        case 'z': return input.byte() & 1;
        default: return anyInt(&input);
        }
    }

    Ref object(char letter)
    {
        switch (letter) {
        case 'p': return mechanism.parameter;
        case 'v': return valueOf(&input, attribute);
        case 'T': return types = anyTypes(&input);
        case 'V': return valuesFor(&input, types);
        case 'k': return {anyOf(keys)};
        case 'b': return anyBytes(&input);
        case 'w': return anyOutput(&input);
        default: return anyObject(&input);
        }
    }

    template <typename T>
    T next(char letter)
    {
        if constexpr (std::is_pointer_v<T>)
            return object(letter);
        else
            return static_cast<T>(number(letter));
    }
};

// ---- Methods ----

struct Method
{
    const char* name;
    const std::vector<Object*>* receivers;
    std::function<Object*(Object* receiver, Arguments* arguments)> call; // null from those that return no object
};

template <typename Result, typename... Parameters, std::size_t... index>
Object* callWith(Result (*function)(JNIEnv*, jobject, Parameters...), const char* letters, Object* receiver,
                 Arguments* chosen, std::index_sequence<index...>)
{
    std::tuple<Parameters...> arguments{chosen->next<Parameters>(letters[index])...};
    const Object* parameter = chosen->mechanism.parameter.object;
    hostile.knowsParameter = parameter == nullptr || parameter->type.find("Raw") == std::string::npos;
    if constexpr (std::is_pointer_v<Result>)
        return returned(function(env, Ref{receiver}, std::get<index>(arguments)...)).object;
    else
        function(env, Ref{receiver}, std::get<index>(arguments)...);
    return nullptr;
}

template <typename Result, typename... Parameters>
Method method(const char* name, const std::vector<Object*>& receivers, const char* letters,
              Result (*function)(JNIEnv*, jobject, Parameters...))
{
    return {name, &receivers, [letters, function](Object* receiver, Arguments* arguments) {
                return callWith(function, letters, receiver, arguments, std::index_sequence_for<Parameters...>());
            }};
}

// clang-format off
#define LIBRARY(letters, name) \
    method("NativePKCS11." #name, libraries, letters, Java_com_kelvane_pkcs11_nat_NativePKCS11_##name)
#define SLOT(letters, name) \
    method("NativePKCS11Slot." #name, slots, letters, Java_com_kelvane_pkcs11_nat_NativePKCS11Slot_##name)
#define SESSION(letters, name) \
    method("NativePKCS11Session." #name, sessions, letters, Java_com_kelvane_pkcs11_nat_NativePKCS11Session_##name)
#define OBJECT(letters, name) \
    method("NativePKCS11Object." #name, keys, letters, Java_com_kelvane_pkcs11_nat_NativePKCS11Object_##name)

// All but loadPKCS11Library, which every input begins with.
const Method kMethods[] = {
    LIBRARY("", libInitialize), LIBRARY("", libFinalize), LIBRARY("", getInfo), LIBRARY("z", getSlotList),
    LIBRARY("z", waitForSlotEvent),
    SLOT("", getInfo), SLOT("", getTokenInfo), SLOT("", getMechanismList), SLOT("i", getMechanismInfo),
    SLOT("oo", initToken), SLOT("fo", openSession), SLOT("", closeAllSessions),
    OBJECT("t", getBoolAttributeValue), OBJECT("t", getIntAttributeValue), OBJECT("t", getStringAttributeValue),
    OBJECT("t", getByteArrayAttributeValue), OBJECT("t", getDateAttributeValue),
    OBJECT("t", getBigIntegerAttributeValue), OBJECT("t", getAttributeValue), OBJECT("TV", copy), OBJECT("", destroy),
    OBJECT("", size), OBJECT("tv", setAttributeValue), OBJECT("TV", setAttributeValues),
    OBJECT("tz", setBoolAttributeValue), OBJECT("ti", setIntAttributeValue),
    SESSION("", close), SESSION("", getInfo), SESSION("zo", login), SESSION("", logout), SESSION("o", initPIN),
    SESSION("oo", setPIN), SESSION("", getOperationState), SESSION("bkk", setOperationState),
    SESSION("", getFunctionStatus), SESSION("", cancelFunction), SESSION("wfn", generateRandom),
    SESSION("bfn", seedRandom), SESSION("mpk", encryptInit), SESSION("bfnwf", encrypt),
    SESSION("bfnwf", encryptUpdate), SESSION("wf", encryptFinal), SESSION("mpkbfnwf", encryptDoFinalGCM),
    SESSION("mpk", decryptInit), SESSION("bfnwf", decrypt), SESSION("bfnwf", decryptUpdate),
    SESSION("wf", decryptFinal), SESSION("mpkbfnwf", decryptDoFinalGCM), SESSION("mp", digestInit),
    SESSION("bfnwf", digest), SESSION("bfn", digestUpdate), SESSION("k", digestKey), SESSION("wf", digestFinal),
    SESSION("mpk", signInit), SESSION("bfnwf", sign), SESSION("bfn", signUpdate), SESSION("wf", signFinal),
    SESSION("mpk", signRecoverInit), SESSION("bfnwf", signRecover), SESSION("mpk", verifyInit),
    SESSION("bfnbfn", verify), SESSION("bfn", verifyUpdate), SESSION("bfn", verifyFinal),
    SESSION("mpk", verifyRecoverInit), SESSION("bfnwf", verifyRecover), SESSION("bfnwf", digestEncryptUpdate),
    SESSION("bfnwf", decryptDigestUpdate), SESSION("bfnwf", signEncryptUpdate), SESSION("bfnwf", decryptVerifyUpdate),
    SESSION("mpTV", generateKey), SESSION("mpTVTV", generateKeyPair), SESSION("mpkkwf", wrapKey),
    SESSION("mpkbfnTV", unwrapKey), SESSION("mpkTV", deriveKey), SESSION("TV", createObject), SESSION("kTV", copy),
    SESSION("k", destroyObject), SESSION("TV", findObjectsInit), SESSION("", findObject), SESSION("", findObjectsFinal),
    SESSION("kt", getBoolAttributeValue), SESSION("kt", getIntAttributeValue), SESSION("kt", getStringAttributeValue),
    SESSION("kt", getByteArrayAttributeValue), SESSION("kt", getDateAttributeValue),
    SESSION("kt", getBigIntegerAttributeValue), SESSION("kt", getAttributeValue), SESSION("kTN", getAttributeValues),
};
static_assert(std::size(kMethods) == 88);
constexpr std::size_t kGetAttributeValues = std::size(kMethods) - 1;
// clang-format on

// ---- The rule ----

[[noreturn]] void fail(const char* method, const std::string& what)
{
    std::fprintf(stderr, "%s:%s\n", method, what.c_str());
    std::abort();
}

bool isHandle(const Object* object)
{
    return object->type.ends_with("/NativePKCS11Session") || object->type.ends_with("/NativePKCS11Object");
}

// The sessions and objects that Java has got from a call: its result, the elements of it, and what is in fields.
std::set<Object*> handedOut(Object* result)
{
    std::vector<Object*> found = fake.put;
    if (result != nullptr) {
        found.push_back(result);
        found.insert(found.end(), result->elements.begin(), result->elements.end());
    }
    std::set<Object*> handles;
    std::copy_if(found.begin(), found.end(), std::inserter(handles, handles.end()),
                 [](const Object* each) { return each != nullptr && isHandle(each); });
    return handles;
}

// The handle that the module is told for an object of Java's.
CK_ULONG handleOf(Object* object)
{
    startOfCall();
    hostile.asked = 0;
    if (object->type.ends_with("Session"))
        Java_com_kelvane_pkcs11_nat_NativePKCS11Session_logout(env, Ref{object});
    else
        Java_com_kelvane_pkcs11_nat_NativePKCS11Object_size(env, Ref{object});
    endOfCall(0);
    return hostile.asked;
}

// Gives an object that the library has made the fields of its class, and a place among those to be used.
void adopt(Object* object)
{
    const std::string base = object->type.substr(0, object->type.rfind('/') + 1);
    bool isSession = object->type.ends_with("Session");
    auto& fields = object->fields;
    if (fields.count("number") == 0 && fields.count("wide") == 0)
        return;
    bool isWide = fields.count("wide") != 0;
    const std::int64_t number = isWide ? -1 : fields["number"];
    fields[isSession ? "sessionID:I" : "objectID:I"] = number;
    fields["handle:J"] = isWide ? fields["wide"] : static_cast<std::uint32_t>(number);
    fields[isSession ? "slot:L" + base + "NativePKCS11Slot;" : "session:L" + base + "NativePKCS11Session;"] =
        fields["object"];
    fields.erase("number");
    fields.erase("wide");
    fields.erase("object");
    auto& others = isSession ? sessions : keys;
    if (number != 0 && others.size() < 8)
        others.push_back(object);
}

// What the module made in a call is in Java's hands, or it was asked to end it.
void checkHandles(const char* method, Object* result)
{
    std::vector<CK_ULONG> made = std::exchange(hostile.made, {});
    std::set<Object*> held = handedOut(result);
    for (Object* each : held)
        adopt(each);

    std::set<CK_ULONG> accounted(hostile.ended.begin(), hostile.ended.end());
    Input after = input;
    input = {nullptr, nullptr}; // no lies meanwhile
    for (Object* each : held)
        accounted.insert(handleOf(each));
    input = after;
    for (CK_ULONG each : made) {
        if (accounted.count(each) == 0)
            fail(method, " handle " + std::to_string(each) + " was lost");
    }
    hostile.made.clear();
}

// How the machine behaves in a call.
void chooseBehaviour(std::size_t kept)
{
    fake.failing = input.oneIn(4) ? static_cast<int>(input.below(64)) : 0;
    fake.failsWithError = input.oneIn(2);
    fake.inPlace = input.oneIn(2);
    fake.missingClass = input.oneIn(32) ? "com/kelvane/pkcs11/PKCS11RawParameter" : "";
    if (input.oneIn(4))
        fake.meddling = [kept] { meddle(&input, kept); };
}

void makeCall(std::size_t index, std::size_t kept, bool complete)
{
    const Method& method = kMethods[index];
    Arguments arguments;
    hostile.made.clear();
    hostile.ended.clear();
    hostile.hasMoved = false;
    chooseBehaviour(kept);

    startOfCall();
    Object* result = method.call(anyOf(*method.receivers), &arguments);
    bool raised = fake.pending != nullptr;
    fake.failing = 0;
    fake.meddling = nullptr;
    endOfCall(index == kGetAttributeValues ? 1 : 0); // which leaves its types pinned
    if (complete)
        checkHandles(method.name, raised ? nullptr : result);
}

// ---- An input ----

Object* newReceiver(const char* type, const char* number, const char* owner, Object* of)
{
    Ref made = make(std::string("com/kelvane/pkcs11/nat/") + type, {{owner, address({of})}});
    made.object->fields[number] = input.oneIn(4) ? anyInt(&input) : 7;
    made.object->fields["handle:J"] = static_cast<std::int64_t>(input.word());
    return made.object;
}

// Calls the one method that the table does not have.
jlong load(Ref path)
{
    startOfCall();
    jlong list = Java_com_kelvane_pkcs11_nat_NativePKCS11_loadPKCS11Library(env, nullptr, path);
    endOfCall(0);
    return list;
}

// A module with a library, a slot, a session and a key of Java's to begin with.
CK_FUNCTION_LIST* makeReceivers(const char* path, std::size_t missing)
{
    jlong list = load(newString(path));
    if (list == 0)
        fail(path, " cannot be loaded");
    libraries.push_back(make("com/kelvane/pkcs11/nat/NativePKCS11", {{"functionList:J", list}}).object);
    slots.push_back(
        newReceiver("NativePKCS11Slot", "slotID:I", "pkcs11:Lcom/kelvane/pkcs11/nat/NativePKCS11;", libraries.back()));
    sessions.push_back(newReceiver("NativePKCS11Session", "sessionID:I",
                                   "slot:Lcom/kelvane/pkcs11/nat/NativePKCS11Slot;", slots.back()));
    keys.push_back(newReceiver("NativePKCS11Object", "objectID:I",
                               "session:Lcom/kelvane/pkcs11/nat/NativePKCS11Session;", sessions.back()));
    auto* functions = reinterpret_cast<CK_FUNCTION_LIST*>(list);
    functions->version = {2, static_cast<CK_BYTE>(input.oneIn(8) ? 0 : 20)};
    fillHostileList(functions, missing);
    return functions;
}

// Loads what a path leads to: a module of which one object more holds the library then, one of another edition, none,
// no path. One of 256 bytes ends the process on purpose.
void loadAgain(CK_FUNCTION_LIST* list, std::size_t kept)
{
    const std::string paths[] = {kModules[0], kModules[0], "libm.so.6", std::string(input.byte(), 'x'),
                                 std::string(257 + input.byte(), 'x')};
    constexpr CK_BYTE editions[] = {2, 2, 2, 2, 2, 2, 3, 0};
    list->version.major = input.of(editions);
    chooseBehaviour(kept);
    jlong loaded = load(input.oneIn(16) ? Ref{} : newString(input.of(paths)));
    list->version.major = 2;
    fake.failing = 0;
    fake.meddling = nullptr;
    if (loaded != 0)
        libraries[0]->fields["functionList:J"] = loaded;
}

// Finalises a library whatever its holders met, so that every input finds a fresh one.
void end(Object* library, CK_FUNCTION_LIST* list, const char* path)
{
    fillHostileList(list, SIZE_MAX);
    load(newString(path)); // one holder at least
    do {
        library->fields["functionList:J"] = reinterpret_cast<std::int64_t>(list);
        startOfCall();
        Java_com_kelvane_pkcs11_nat_NativePKCS11_libFinalize(env, Ref{library});
    } while (std::exchange(fake.pending, nullptr) == nullptr);
}

// Little stack, so that what does not fit is seen often.
bool makeReady()
{
    rlimit stack = {};
    getrlimit(RLIMIT_STACK, &stack);
    stack.rlim_cur = 320 * 1024;
    return setrlimit(RLIMIT_STACK, &stack) == 0 && std::freopen("/dev/null", "w", stdout) != nullptr &&
           setenv("TZ", "UTC0", 1) == 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const bool ready = makeReady();
    static_cast<void>(ready);
    input = {data, data + size};
    hostile.input = &input;
    fake.strict = true;
    forgetObjects();
    for (auto* each : {&libraries, &slots, &sessions, &keys})
        each->clear();
    if (input.oneIn(8))
        setenv("PKCS11DEBUG", "1", 1);
    else
        unsetenv("PKCS11DEBUG");

    bool complete = !input.oneIn(8); // all functions are there
    std::size_t missing = complete ? SIZE_MAX : input.below(68);
    CK_FUNCTION_LIST* first = makeReceivers(kModules[0], missing);
    CK_FUNCTION_LIST* second = makeReceivers(kModules[1], missing);
    // One that Java has put together by itself, and that nobody counts.
    libraries.push_back(make("com/kelvane/pkcs11/nat/NativePKCS11", libraries[0]->fields).object);
    std::size_t kept = fake.objects.size();
    for (std::size_t calls = 0; calls < kMostCalls && !input.isOver(); ++calls) {
        std::size_t index = input.below(std::size(kMethods) + 1);
        if (index < std::size(kMethods))
            makeCall(index, kept, complete);
        else
            loadAgain(first, kept);
    }

    input = {nullptr, nullptr};
    end(libraries[0], first, kModules[0]);
    end(libraries[1], second, kModules[1]);
    return 0;
}
