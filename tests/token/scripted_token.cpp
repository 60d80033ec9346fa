// A Cryptoki module that does what a test has told it. It writes down every call as one line of text and answers from a
// queue of words; without an answer it succeeds with plain data. The table below says, for each function, what its
// arguments are and what it answers by itself; everything else follows from the arguments' kinds.
//
// A byte copy of the library's file is a module of its own: nothing here is shared between copies.
#include "scripted_token.h"

#include <algorithm>
#include <cfenv>
#include <chrono>
#include <climits>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <pthread.h>

#include "layouts.h"

namespace {

using List = CK_FUNCTION_LIST;
using Word = std::uintptr_t;

/// What a function takes and answers by itself, what a test has told it, and how many callers are in it.
struct Function
{
    const char* parameters;
    Values defaults;
    void (*install)(List& list, bool present);
    std::deque<Values> queue{};
    Values standing{};
    int admitted = INT_MAX; ///< callers that are not held inside
    int inside = 0;
};

CK_RV run(const char* name, const std::vector<Word>& words);

template <auto member>
struct Entry;

template <typename... Arguments, CK_RV (*List::*member)(Arguments...)>
struct Entry<member>
{
    static inline const char* name;

    static CK_RV call(Arguments... arguments) { return run(name, {Word(arguments)...}); }

    static void install(List& list, bool present) { list.*member = present ? &call : nullptr; }
};

template <auto member>
Function row(const char* name, const char* parameters, const char* defaults = "")
{
    Entry<member>::name = name;
    return {parameters, parseValues(defaults), &Entry<member>::install};
}

// Each row: name, parameters, and what it answers by itself. A parameter is "name:kind", or a kind alone that is its
// name too; any other is a number, shown in hexadecimal. Nothing here is ever destroyed: a process may end while
// callers are held. Kinds and the C arguments that they stand for:
//
//   count       a number, shown in decimal
//   pointer     shown as null or set
//   label       32 bytes
//   in          bytes, length
//   template    attributes, count
//   query       the same, to be read
//   mechanism   answered by writing into its parameter
//   out         room, pointer to its length; without an answer it receives the input
//   room        room, its length
//   list        room for numbers, pointer to their count
//   found       room for numbers, its size, pointer to their count
//   result      pointer to a number or handle; without an answer the next handle
//   functions   pointer to the list; "list=new" answers a new one each time, "list=null" none
//   CK_...      pointer to that structure
// clang-format off
std::map<std::string, Function>& functions = *new std::map<std::string, Function>{
#define ROW(name, ...) {#name, row<&List::name>(#name, __VA_ARGS__)}
    ROW(C_Initialize, "args:CK_C_INITIALIZE_ARGS"),
    ROW(C_Finalize, "reserved:pointer"),
    ROW(C_GetInfo, "info:CK_INFO",
        "cryptokiVersion=0228 manufacturerID='Scripted' flags=0 libraryDescription='A token' libraryVersion=0102"),
    ROW(C_GetFunctionList, "list:functions"),
    ROW(C_GetSlotList, "tokenPresent:count slots:list", "slots=1,2"),
    ROW(C_GetSlotInfo, "slot info:CK_SLOT_INFO",
        "slotDescription='Slot' manufacturerID='Scripted' flags=1 hardwareVersion=0100 firmwareVersion=0005"),
    ROW(C_GetTokenInfo, "slot info:CK_TOKEN_INFO",
        "label='Token' manufacturerID='Scripted' model='Model' serialNumber='0001' flags=0x404 ulMaxSessionCount=0"
        " ulSessionCount=0 ulMaxRwSessionCount=0 ulRwSessionCount=0 ulMaxPinLen=50 ulMinPinLen=4 ulTotalPublicMemory=0"
        " ulFreePublicMemory=0 ulTotalPrivateMemory=0 ulFreePrivateMemory=0 hardwareVersion=0100 firmwareVersion=0005"),
    ROW(C_GetMechanismList, "slot mechanisms:list", "mechanisms=0x1080,0x1082"),
    ROW(C_GetMechanismInfo, "slot type info:CK_MECHANISM_INFO", "ulMinKeySize=16 ulMaxKeySize=32 flags=0x300"),
    ROW(C_InitToken, "slot pin:in label"),
    ROW(C_InitPIN, "session pin:in"),
    ROW(C_SetPIN, "session oldPin:in newPin:in"),
    ROW(C_OpenSession, "slot flags application:pointer notify:pointer session:result", "session=7"),
    ROW(C_CloseSession, "session"),
    ROW(C_CloseAllSessions, "slot"),
    ROW(C_GetSessionInfo, "session info:CK_SESSION_INFO", "slotID=1 state=2 flags=6 ulDeviceError=0"),
    ROW(C_GetOperationState, "session out", "out=5e55"),
    ROW(C_SetOperationState, "session in encryptionKey authenticationKey"),
    ROW(C_Login, "session user pin:in"),
    ROW(C_Logout, "session"),
    ROW(C_CreateObject, "session template object:result"),
    ROW(C_CopyObject, "session source template object:result"),
    ROW(C_DestroyObject, "session object"),
    ROW(C_GetObjectSize, "session object size:result", "size=42"),
    ROW(C_GetAttributeValue, "session object template:query",
        "0x0=0300000000000000 0x1=01 0x3='label' 0x11=0102 0x110='20240229' 0x120=ff01"
        " 0x40000600=82100000000000000100008000000000"),
    ROW(C_SetAttributeValue, "session object template"),
    ROW(C_FindObjectsInit, "session template"),
    ROW(C_FindObjects, "session objects:found"),
    ROW(C_FindObjectsFinal, "session"),
    ROW(C_EncryptInit, "session mechanism key"),
    ROW(C_Encrypt, "session in out"),
    ROW(C_EncryptUpdate, "session in out"),
    ROW(C_EncryptFinal, "session out", "out=ef"),
    ROW(C_DecryptInit, "session mechanism key"),
    ROW(C_Decrypt, "session in out"),
    ROW(C_DecryptUpdate, "session in out"),
    ROW(C_DecryptFinal, "session out", "out=df"),
    ROW(C_DigestInit, "session mechanism"),
    ROW(C_Digest, "session in out", "out=d16e57"),
    ROW(C_DigestUpdate, "session in"),
    ROW(C_DigestKey, "session key"),
    ROW(C_DigestFinal, "session out", "out=d16e57"),
    ROW(C_SignInit, "session mechanism key"),
    ROW(C_Sign, "session in out", "out=516e"),
    ROW(C_SignUpdate, "session in"),
    ROW(C_SignFinal, "session out", "out=516e"),
    ROW(C_SignRecoverInit, "session mechanism key"),
    ROW(C_SignRecover, "session in out", "out=516e"),
    ROW(C_VerifyInit, "session mechanism key"),
    ROW(C_Verify, "session in signature:in"),
    ROW(C_VerifyUpdate, "session in"),
    ROW(C_VerifyFinal, "session signature:in"),
    ROW(C_VerifyRecoverInit, "session mechanism key"),
    ROW(C_VerifyRecover, "session signature:in out"),
    ROW(C_DigestEncryptUpdate, "session in out"),
    ROW(C_DecryptDigestUpdate, "session in out"),
    ROW(C_SignEncryptUpdate, "session in out"),
    ROW(C_DecryptVerifyUpdate, "session in out"),
    ROW(C_GenerateKey, "session mechanism template key:result"),
    ROW(C_GenerateKeyPair, "session mechanism publicTemplate:template privateTemplate:template"
        " publicKey:result privateKey:result"),
    ROW(C_WrapKey, "session mechanism wrappingKey key out", "out=33a9"),
    ROW(C_UnwrapKey, "session mechanism unwrappingKey in template key:result"),
    ROW(C_DeriveKey, "session mechanism baseKey template key:result"),
    ROW(C_SeedRandom, "session in"),
    ROW(C_GenerateRandom, "session out:room"),
    ROW(C_GetFunctionStatus, "session"),
    ROW(C_CancelFunction, "session"),
    ROW(C_WaitForSlotEvent, "flags slot:result reserved:pointer", "slot=1"),
#undef ROW
};
// clang-format on

std::mutex guard; // of everything below and of the steering above
auto& changed = *new std::condition_variable;
auto& calls = *new std::string; // their lines
List list;
CK_OBJECT_HANDLE nextObject;
int insideNow;
int mostInside;
std::size_t leastStack;

/// One call: first its arguments are shown in the order of the parameters, then, in the same order, answered.
struct Call
{
    const Values* values = nullptr;
    bool failing = false; ///< the answer is an error: only what it names is written
    CK_RV rv = CKR_OK;
    std::string text{};
    std::string input{}; ///< the first input, which is also the output for want of an answer
};

struct Argument
{
    std::string name;
    std::string kind;
    const Word* words;

    bool isHandle() const
    {
        return name == "session" || name == "source" || name.starts_with("object") || name.ends_with("key") ||
               name.ends_with("Key");
    }

    bool is(std::initializer_list<std::string_view> kinds) const
    {
        return std::find(kinds.begin(), kinds.end(), kind) != kinds.end();
    }
};

std::vector<Argument> argumentsOf(const Function& function, const std::vector<Word>& words)
{
    std::vector<Argument> arguments;
    const Word* next = words.data();
    std::istringstream parameters(function.parameters);
    for (std::string word; parameters >> word;) {
        const std::size_t colon = word.find(':');
        Argument& each = arguments.emplace_back(Argument{word.substr(0, colon), word.substr(colon + 1), next});
        const bool two = each.is({"in", "template", "query", "out", "room", "list"});
        next += two ? 2 : each.kind == "found" ? 3 : 1;
    }
    return arguments;
}

template <typename T>
T* pointer(Word word)
{
    return reinterpret_cast<T*>(word);
}

std::string showMechanism(const CK_MECHANISM& mechanism, const Values& values)
{
    const auto& [type, bytes, length] = mechanism;
    const std::string text = code(type) + " parameter=" + place(bytes, &mechanism);
    const std::string structure = structureOf(mechanism, values);
    if (!structure.empty())
        return text + " " + describe(structure, bytes);
    return text + "/" + std::to_string(length) + (bytes == nullptr ? "" : ":" + hex(bytes, length));
}

/// There are modules that take labels and PINs for C strings: a zero stands behind each.
std::string unlessTerminated(const char* text, CK_ULONG length)
{
    return text == nullptr || text[length] == 0 ? "" : "+unterminated";
}

void show(Call& call, const Argument& argument)
{
    const auto& [name, kind, words] = argument;
    const bool null = words[0] == 0;
    std::string label = name;
    std::string shown = code(argument.isHandle() ? narrowed(words[0]) : words[0]);
    if (kind == "count") {
        shown = std::to_string(words[0]);
    } else if (kind == "pointer") {
        shown = null ? "null" : "set";
    } else if (kind == "label") {
        shown = showBytes(pointer<const void>(words[0]), 32) + unlessTerminated(pointer<const char>(words[0]), 32);
    } else if (kind == "in") {
        shown = showBytes(pointer<const void>(words[0]), words[1]);
        if (name.ends_with("pin") || name.ends_with("Pin"))
            shown += unlessTerminated(pointer<const char>(words[0]), words[1]);
        if (call.input.empty() && !null)
            call.input = shown;
    } else if (argument.is({"template", "query"})) {
        shown = showTemplate(pointer<const CK_ATTRIBUTE>(words[0]), words[1], kind == "query");
    } else if (kind == "mechanism") {
        shown = null ? "null" : showMechanism(*pointer<const CK_MECHANISM>(words[0]), *call.values);
    } else if (argument.is({"out", "list"})) {
        label = "room";
        shown = null || words[1] == 0 ? "null" : std::to_string(*pointer<const CK_ULONG>(words[1]));
    } else if (argument.is({"room", "found"})) {
        label = "room";
        shown = null ? "null" : std::to_string(words[1]);
    } else if (kind == "CK_C_INITIALIZE_ARGS" && !null) {
        shown = describe(kind, pointer<const void>(words[0]));
    } else if (argument.is({"result", "functions"}) || kind.starts_with("CK_")) {
        if (!null)
            return;
        shown = "null";
    }
    call.text += " " + label + "=" + shown;
}

/// Whether the answer leaves an output alone.
bool untouched(const Call& call, const std::string& name)
{
    return call.failing && find(*call.values, name) == nullptr && find(*call.values, name + ".length") == nullptr;
}

/// Numbers divided by commas, as they lie in memory.
std::string numbers(const std::string& text, bool handles)
{
    std::string bytes;
    std::istringstream words(text);
    for (std::string word; std::getline(words, word, ',');) {
        const CK_ULONG given = std::strtoul(word.c_str(), nullptr, 0);
        const CK_ULONG value = handles ? widened(given) : given;
        bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
    }
    return bytes;
}

/// Copies an output into its room and reports its length, or the length that the answer puts in its place ("keep": as
/// it was). Too little room is CKR_BUFFER_TOO_SMALL, as the standard has it.
void putOutput(Call& call, const Argument& argument)
{
    const auto& [name, kind, words] = argument;
    auto* length = kind == "room" ? nullptr : pointer<CK_ULONG>(words[kind == "found" ? 2 : 1]);
    if (untouched(call, name) || (kind != "room" && length == nullptr))
        return;
    const std::string* scripted = find(*call.values, name);
    const std::string text = scripted != nullptr ? *scripted : call.failing ? "" : call.input;
    const bool ofNumbers = argument.is({"list", "found"});
    const std::string bytes = ofNumbers ? numbers(text, argument.isHandle()) : unhex(text);
    const CK_ULONG count = bytes.size() / (ofNumbers ? sizeof(CK_ULONG) : 1);
    const CK_ULONG room = argument.is({"room", "found"}) ? words[1] : *length;
    if (words[0] != 0 && count > room)
        call.rv = CKR_BUFFER_TOO_SMALL;
    else if (words[0] != 0)
        std::memcpy(pointer<void>(words[0]), bytes.data(), bytes.size());
    const std::string* reported = find(*call.values, name + ".length");
    if (length != nullptr && (reported == nullptr || *reported != "keep"))
        *length = number(*call.values, name + ".length", count);
}

void putAttributes(Call& call, CK_ATTRIBUTE* attributes, CK_ULONG count);

/// A template that is a value, as "type:value,type:value": its size, or its types with what their rooms take.
void putTemplate(Call& call, CK_ATTRIBUTE& attribute, std::string text)
{
    std::replace(text.begin(), text.end(), ':', '=');
    std::replace(text.begin(), text.end(), ',', ' ');
    const Values within = parseValues(text);
    const CK_ULONG size = within.size() * sizeof(CK_ATTRIBUTE);
    auto* entry = static_cast<CK_ATTRIBUTE*>(attribute.pValue);
    if (entry != nullptr && attribute.ulValueLen < size) {
        call.rv = CKR_BUFFER_TOO_SMALL;
        return;
    }
    attribute.ulValueLen = number(*call.values, code(attribute.type) + ".length", size);
    for (auto it = within.begin(); entry != nullptr && it != within.end(); ++it, ++entry) {
        entry->type = std::strtoul(it->first.c_str(), nullptr, 0);
        Call one{&within};
        putAttributes(one, entry, 1);
        call.rv = call.rv == CKR_OK ? one.rv : call.rv;
    }
}

void putAttributes(Call& call, CK_ATTRIBUTE* attributes, CK_ULONG count)
{
    for (CK_ULONG i = 0; attributes != nullptr && i < count; ++i) {
        CK_ATTRIBUTE& each = attributes[i];
        const std::string name = code(each.type);
        if (untouched(call, name))
            continue;
        if (const std::string* text = find(*call.values, name); text != nullptr && holdsTemplate(each.type)) {
            putTemplate(call, each, *text);
            continue;
        }
        CK_ULONG length = each.ulValueLen;
        const Word output[] = {Word(each.pValue), Word(&length)};
        Call one{call.values, call.failing};
        putOutput(one, {name, "out", output});
        if (find(*call.values, name) == nullptr && !call.failing)
            one.rv = CKR_ATTRIBUTE_TYPE_INVALID;
        each.ulValueLen = one.rv == CKR_OK ? length : CK_UNAVAILABLE_INFORMATION;
        call.rv = call.rv == CKR_OK ? one.rv : call.rv;
    }
}

void putParameter(Call& call, const CK_MECHANISM& mechanism)
{
    const std::string structure = structureOf(mechanism, *call.values);
    const std::string* flat = find(*call.values, "parameter");
    if (!structure.empty()) {
        fill(structure, mechanism.pParameter, *call.values);
    } else if (mechanism.pParameter != nullptr && flat != nullptr) {
        const std::string bytes = unhex(*flat);
        std::memcpy(mechanism.pParameter, bytes.data(), std::min(bytes.size(), mechanism.ulParameterLen));
    }
}

void putResult(CK_ULONG& to, CK_ULONG value, bool handle) { to = handle ? widened(value) : value; }

void answer(Call& call, const Argument& argument)
{
    const auto& [name, kind, words] = argument;
    const std::string* scripted = find(*call.values, name);
    if (argument.is({"out", "room", "list", "found"}))
        putOutput(call, argument);
    else if (words[0] == 0)
        return;
    else if (kind == "in" && find(*call.values, "scribble") != nullptr)
        std::memset(pointer<void>(words[0]), 0xEE, words[1]);
    else if (kind == "query")
        putAttributes(call, pointer<CK_ATTRIBUTE>(words[0]), words[1]);
    else if (kind == "mechanism")
        putParameter(call, *pointer<CK_MECHANISM>(words[0]));
    else if (kind.starts_with("CK_"))
        fill(kind, pointer<void>(words[0]), *call.values);
    else if (kind == "result" && !untouched(call, name))
        putResult(*pointer<CK_ULONG>(words[0]), scripted != nullptr ? number(*call.values, name, 0) : nextObject++,
                  argument.isHandle());
    else if (kind == "functions" && scripted != nullptr)
        *pointer<List*>(words[0]) = *scripted == "new" ? new List(list) : nullptr; // a caller may keep it for ever
    else if (kind == "functions" && !call.failing)
        *pointer<List*>(words[0]) = &list;
}

/// How much of the thread's stack is left.
std::size_t stackLeft()
{
    pthread_attr_t attributes;
    void* low = nullptr;
    std::size_t size = 0;
    pthread_getattr_np(pthread_self(), &attributes);
    pthread_attr_getstack(&attributes, &low, &size);
    pthread_attr_destroy(&attributes);
    return static_cast<std::size_t>(static_cast<char*>(__builtin_frame_address(0)) - static_cast<char*>(low));
}

/// Does what some modules do to a thread that loads or starts them, when the environment says so.
bool spoilRounding() { return std::getenv("SCRIPTED_TOKEN_ROUNDS_UP") != nullptr && std::fesetround(FE_UPWARD) == 0; }

CK_RV run(const char* name, const std::vector<Word>& words)
{
    spoilRounding();
    std::unique_lock<std::mutex> hold(guard);
    Function& function = functions.at(name);
    const std::vector<Argument> arguments = argumentsOf(function, words);
    Call call{&function.standing};
    for (const Argument& each : arguments)
        show(call, each);
    calls += name + call.text + "\n";
    leastStack = std::min(leastStack, stackLeft());
    ++function.inside;
    mostInside = std::max(mostInside, ++insideNow);
    changed.notify_all();

    changed.wait(hold, [&] { return function.admitted > 0; });
    --function.admitted;
    Values values = function.standing;
    if (!function.queue.empty()) {
        values = function.queue.front();
        function.queue.pop_front();
    }
    const CK_RV rv = number(values, "rv", CKR_OK);
    call.failing = rv != CKR_OK;
    if (!call.failing)
        values.insert(function.defaults.begin(), function.defaults.end());
    call.values = &values;
    for (const Argument& each : arguments)
        answer(call, each);

    --function.inside;
    --insideNow;
    changed.notify_all();
    return find(values, "rv") != nullptr ? rv : call.rv;
}

std::string reset()
{
    for (auto& [name, function] : functions) {
        const int inside = function.inside;
        function = {function.parameters, function.defaults, function.install};
        function.inside = inside;
        function.install(list, true);
    }
    list.version = {2, 40};
    nextObject = 100;
    mostInside = insideNow;
    leastStack = SIZE_MAX;
    calls.clear();
    changed.notify_all();
    return "";
}

std::string steer(const std::string& command)
{
    std::unique_lock<std::mutex> hold(guard);
    std::istringstream words(command);
    std::string verb;
    std::string name;
    std::string rest;
    words >> verb >> name >> std::ws;
    std::getline(words, rest);
    if (verb == "calls")
        return std::exchange(calls, "");
    if (verb == "made")
        return std::to_string(std::count(calls.begin(), calls.end(), '\n'));
    if (verb == "reset")
        return reset();
    if (verb == "list")
        return std::to_string(Word(&list));
    if (verb == "least-stack")
        return std::to_string(leastStack);
    if (verb == "wide") {
        wideHandles = true;
        return "";
    }
    if (verb == "most-inside")
        return std::to_string(mostInside);
    if (verb == "version") {
        list.version = {static_cast<CK_BYTE>(std::stoi(name)), static_cast<CK_BYTE>(std::stoi(rest))};
        return "";
    }

    const auto found = functions.find(name);
    if (found == functions.end())
        return "error: no function " + name;
    Function& function = found->second;
    if (verb == "answer") {
        function.queue.push_back(parseValues(rest));
    } else if (verb == "always") {
        function.standing = parseValues(rest);
    } else if (verb == "missing") {
        function.install(list, false);
    } else if (verb == "hold") {
        function.admitted = std::stoi(rest);
    } else if (verb == "release") {
        function.admitted = INT_MAX;
        changed.notify_all();
    } else if (verb == "await") {
        const auto arrived = [&] { return function.inside >= std::stoi(rest); };
        return changed.wait_for(hold, std::chrono::seconds(20), arrived) ? "" : "error: too few callers in " + name;
    } else {
        return "error: no verb " + verb;
    }
    return "";
}

[[maybe_unused]] const std::string ready = reset();
[[maybe_unused]] const bool spoiled = spoilRounding();

} // namespace

CK_RV C_GetFunctionList(CK_FUNCTION_LIST** to) { return Entry<&List::C_GetFunctionList>::call(to); }

char* scriptedTokenCommand(const char* command) { return strdup(steer(command).c_str()); }
