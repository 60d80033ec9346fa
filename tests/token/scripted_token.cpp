// A Cryptoki module that does what a test has told it. It writes down every call as one line of text and answers from a
// queue of words; without an answer it succeeds with plain data. The table below says, for each function, what its
// arguments are and what it answers by itself; everything else follows from the arguments' kinds.
//
// A byte copy of the library's file is a module of its own: nothing here is shared between copies.
#include "scripted_token.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <deque>
#include <mutex>
#include <string>
#include <type_traits>
#include <vector>

#include "layouts.h"

namespace {

using Word = std::uintptr_t;

/// What a test has told a function, and how many callers are in it.
struct Steering
{
    std::deque<Values> queue;
    Values standing;
    bool held;
    int passing; ///< callers that a hold lets through first
    int inside;
    int most;
};

struct Function
{
    const char* name;
    const char* parameters;
    Values defaults;
    void (*install)(CK_FUNCTION_LIST& list, bool present);
    Steering steering;
};

CK_RV run(std::size_t index, const Word* words);

template <typename Argument>
Word toWord(Argument argument)
{
    if constexpr (std::is_pointer_v<Argument>)
        return reinterpret_cast<Word>(argument);
    else
        return argument;
}

/// The place of a function in the list, which is also its row's.
template <typename Member>
std::size_t indexOf(Member member)
{
    const CK_FUNCTION_LIST list{};
    const auto* entry = reinterpret_cast<const char*>(&(list.*member));
    const auto* first = reinterpret_cast<const char*>(&list.C_Initialize);
    return static_cast<std::size_t>(entry - first) / sizeof(void*);
}

template <auto member>
struct Entry;

template <typename... Arguments, CK_RV (*CK_FUNCTION_LIST::*member)(Arguments...)>
struct Entry<member>
{
    static CK_RV call(Arguments... arguments)
    {
        const Word words[] = {toWord(arguments)...};
        return run(indexOf(member), words);
    }

    static void install(CK_FUNCTION_LIST& list, bool present)
    {
        list.*member = present ? &call : nullptr;
    }
};

template <auto member>
Function row(const char* name, const char* parameters, const char* defaults = "")
{
    return {name, parameters, parseValues(defaults), &Entry<member>::install, {}};
}

using List = CK_FUNCTION_LIST;

// Each row: name, parameters as "name:kind" with the kinds of the table below (none: a number in hexadecimal), and what
// it answers by itself. In the order of the function list. Nothing here is ever destroyed: a process may end while
// callers are held.
// clang-format off
std::vector<Function>& functions = *new std::vector<Function>{
    row<&List::C_Initialize>         ("C_Initialize",          "args:CK_C_INITIALIZE_ARGS"),
    row<&List::C_Finalize>           ("C_Finalize",            "reserved:pointer"),
    row<&List::C_GetInfo>            ("C_GetInfo",             "info:CK_INFO",
                                      "cryptokiVersion=0228 manufacturerID='Scripted' flags=0"
                                      " libraryDescription='Scripted token' libraryVersion=0102"),
    row<&List::C_GetFunctionList>    ("C_GetFunctionList",     "list:functions"),
    row<&List::C_GetSlotList>        ("C_GetSlotList",         "tokenPresent:count slots:list", "slots=1,2"),
    row<&List::C_GetSlotInfo>        ("C_GetSlotInfo",         "slot info:CK_SLOT_INFO",
                                      "slotDescription='Slot' manufacturerID='Scripted' flags=1 hardwareVersion=0100"
                                      " firmwareVersion=0005"),
    row<&List::C_GetTokenInfo>       ("C_GetTokenInfo",        "slot info:CK_TOKEN_INFO",
                                      "label='Token' manufacturerID='Scripted' model='Model' serialNumber='0001'"
                                      " flags=0x404 ulMaxSessionCount=0 ulSessionCount=0 ulMaxRwSessionCount=0 ulRwSessionCount=0"
                                      " ulMaxPinLen=50 ulMinPinLen=4 ulTotalPublicMemory=0 ulFreePublicMemory=0"
                                      " ulTotalPrivateMemory=0 ulFreePrivateMemory=0 hardwareVersion=0100"
                                      " firmwareVersion=0005 utcTime=''"),
    row<&List::C_GetMechanismList>   ("C_GetMechanismList",    "slot mechanisms:list", "mechanisms=0x1080,0x1082"),
    row<&List::C_GetMechanismInfo>   ("C_GetMechanismInfo",    "slot type info:CK_MECHANISM_INFO",
                                      "ulMinKeySize=16 ulMaxKeySize=32 flags=0x300"),
    row<&List::C_InitToken>          ("C_InitToken",           "slot pin:data label:label"),
    row<&List::C_InitPIN>            ("C_InitPIN",             "session pin:data"),
    row<&List::C_SetPIN>             ("C_SetPIN",              "session oldPin:data newPin:data"),
    row<&List::C_OpenSession>        ("C_OpenSession",         "slot flags application:pointer notify:pointer"
                                      " session:result", "session=7"),
    row<&List::C_CloseSession>       ("C_CloseSession",        "session"),
    row<&List::C_CloseAllSessions>   ("C_CloseAllSessions",    "slot"),
    row<&List::C_GetSessionInfo>     ("C_GetSessionInfo",      "session info:CK_SESSION_INFO",
                                      "slotID=1 state=2 flags=6 ulDeviceError=0"),
    row<&List::C_GetOperationState>  ("C_GetOperationState",   "session out:out", "out=5e55"),
    row<&List::C_SetOperationState>  ("C_SetOperationState",   "session in:data encryptionKey authenticationKey"),
    row<&List::C_Login>              ("C_Login",               "session user pin:data"),
    row<&List::C_Logout>             ("C_Logout",              "session"),
    row<&List::C_CreateObject>       ("C_CreateObject",        "session template:template object:result"),
    row<&List::C_CopyObject>         ("C_CopyObject",          "session source template:template object:result"),
    row<&List::C_DestroyObject>      ("C_DestroyObject",       "session object"),
    row<&List::C_GetObjectSize>      ("C_GetObjectSize",       "session object size:result", "size=42"),
    row<&List::C_GetAttributeValue>  ("C_GetAttributeValue",   "session object template:query",
                                      "0x0=0300000000000000 0x1=01 0x3='label' 0x11=0102 0x110='20240229' 0x120=ff01"),
    row<&List::C_SetAttributeValue>  ("C_SetAttributeValue",   "session object template:template"),
    row<&List::C_FindObjectsInit>    ("C_FindObjectsInit",     "session template:template"),
    row<&List::C_FindObjects>        ("C_FindObjects",         "session objects:found", "objects="),
    row<&List::C_FindObjectsFinal>   ("C_FindObjectsFinal",    "session"),
    row<&List::C_EncryptInit>        ("C_EncryptInit",         "session mechanism:mechanism key"),
    row<&List::C_Encrypt>            ("C_Encrypt",             "session in:data out:out"),
    row<&List::C_EncryptUpdate>      ("C_EncryptUpdate",       "session in:data out:out"),
    row<&List::C_EncryptFinal>       ("C_EncryptFinal",        "session out:out", "out=ef"),
    row<&List::C_DecryptInit>        ("C_DecryptInit",         "session mechanism:mechanism key"),
    row<&List::C_Decrypt>            ("C_Decrypt",             "session in:data out:out"),
    row<&List::C_DecryptUpdate>      ("C_DecryptUpdate",       "session in:data out:out"),
    row<&List::C_DecryptFinal>       ("C_DecryptFinal",        "session out:out", "out=df"),
    row<&List::C_DigestInit>         ("C_DigestInit",          "session mechanism:mechanism"),
    row<&List::C_Digest>             ("C_Digest",              "session in:data out:out", "out=d16e57"),
    row<&List::C_DigestUpdate>       ("C_DigestUpdate",        "session in:data"),
    row<&List::C_DigestKey>          ("C_DigestKey",           "session key"),
    row<&List::C_DigestFinal>        ("C_DigestFinal",         "session out:out", "out=d16e57"),
    row<&List::C_SignInit>           ("C_SignInit",            "session mechanism:mechanism key"),
    row<&List::C_Sign>               ("C_Sign",                "session in:data out:out", "out=516e"),
    row<&List::C_SignUpdate>         ("C_SignUpdate",          "session in:data"),
    row<&List::C_SignFinal>          ("C_SignFinal",           "session out:out", "out=516e"),
    row<&List::C_SignRecoverInit>    ("C_SignRecoverInit",     "session mechanism:mechanism key"),
    row<&List::C_SignRecover>        ("C_SignRecover",         "session in:data out:out", "out=516e"),
    row<&List::C_VerifyInit>         ("C_VerifyInit",          "session mechanism:mechanism key"),
    row<&List::C_Verify>             ("C_Verify",              "session in:data signature:data"),
    row<&List::C_VerifyUpdate>       ("C_VerifyUpdate",        "session in:data"),
    row<&List::C_VerifyFinal>        ("C_VerifyFinal",         "session signature:data"),
    row<&List::C_VerifyRecoverInit>  ("C_VerifyRecoverInit",   "session mechanism:mechanism key"),
    row<&List::C_VerifyRecover>      ("C_VerifyRecover",       "session signature:data out:out"),
    row<&List::C_DigestEncryptUpdate>("C_DigestEncryptUpdate", "session in:data out:out"),
    row<&List::C_DecryptDigestUpdate>("C_DecryptDigestUpdate", "session in:data out:out"),
    row<&List::C_SignEncryptUpdate>  ("C_SignEncryptUpdate",   "session in:data out:out"),
    row<&List::C_DecryptVerifyUpdate>("C_DecryptVerifyUpdate", "session in:data out:out"),
    row<&List::C_GenerateKey>        ("C_GenerateKey",         "session mechanism:mechanism template:template"
                                      " key:result"),
    row<&List::C_GenerateKeyPair>    ("C_GenerateKeyPair",     "session mechanism:mechanism publicTemplate:template"
                                      " privateTemplate:template publicKey:result privateKey:result"),
    row<&List::C_WrapKey>            ("C_WrapKey",             "session mechanism:mechanism wrappingKey key out:out",
                                      "out=33a9"),
    row<&List::C_UnwrapKey>          ("C_UnwrapKey",           "session mechanism:mechanism unwrappingKey in:data"
                                      " template:template key:result"),
    row<&List::C_DeriveKey>          ("C_DeriveKey",           "session mechanism:mechanism baseKey template:template"
                                      " key:result"),
    row<&List::C_SeedRandom>         ("C_SeedRandom",          "session in:data"),
    row<&List::C_GenerateRandom>     ("C_GenerateRandom",      "session out:room"),
    row<&List::C_GetFunctionStatus>  ("C_GetFunctionStatus",   "session"),
    row<&List::C_CancelFunction>     ("C_CancelFunction",      "session"),
    row<&List::C_WaitForSlotEvent>   ("C_WaitForSlotEvent",    "flags slot:result reserved:pointer", "slot=1"),
};
// clang-format on

std::mutex guard; // of everything below and of the steering above
auto& changed = *new std::condition_variable;
auto& calls = *new std::vector<std::string>;
CK_FUNCTION_LIST list;
CK_OBJECT_HANDLE nextObject;
int insideNow;
int mostInside;

/// One call: first its arguments are shown in the order of the parameters, then, in the same order, answered.
struct Call
{
    const Values* values = nullptr;
    bool failing = false; ///< the answer is an error: only what it names is written
    CK_RV rv = CKR_OK;
    std::string text{};
    std::string input{}; ///< the first input, which is also the output for want of an answer
};

struct Parameter
{
    std::string name;
    std::string kind;
};

using Step = void (*)(Call& call, const Parameter& parameter, const Word* words);

struct Kind
{
    const char* name;
    std::size_t width; ///< C arguments
    Step show;
    Step answer;
};

template <typename T>
T* pointer(Word word)
{
    return reinterpret_cast<T*>(word);
}

void show(Call& call, const std::string& name, const std::string& value)
{
    call.text += " " + name + "=" + value;
}

std::string showData(const void* bytes, CK_ULONG length)
{
    if (bytes == nullptr)
        return length == 0 ? "null" : "null/" + std::to_string(length);
    return hex(bytes, length);
}

void showCode(Call& call, const Parameter& parameter, const Word* words)
{
    show(call, parameter.name, code(words[0]));
}

void showCount(Call& call, const Parameter& parameter, const Word* words)
{
    show(call, parameter.name, std::to_string(words[0]));
}

void showPointer(Call& call, const Parameter& parameter, const Word* words)
{
    show(call, parameter.name, words[0] == 0 ? "null" : "set");
}

void showLabel(Call& call, const Parameter& parameter, const Word* words)
{
    show(call, parameter.name, showData(pointer<const void>(words[0]), 32));
}

void showInput(Call& call, const Parameter& parameter, const Word* words)
{
    if (call.input.empty() && words[0] != 0)
        call.input = hex(pointer<const void>(words[0]), words[1]);
    show(call, parameter.name, showData(pointer<const void>(words[0]), words[1]));
}

void showRoom(Call& call, const Parameter&, const Word* words)
{
    const bool null = words[0] == 0 || words[1] == 0;
    show(call, "room", null ? "null" : std::to_string(*pointer<const CK_ULONG>(words[1])));
}

void showSizedRoom(Call& call, const Parameter&, const Word* words)
{
    show(call, "room", words[0] == 0 ? "null" : std::to_string(words[1]));
}

void showIfNull(Call& call, const Parameter& parameter, const Word* words)
{
    if (words[0] == 0)
        show(call, parameter.name, "null");
}

void showStructure(Call& call, const Parameter& parameter, const Word* words)
{
    showIfNull(call, parameter, words);
    if (words[0] != 0 && parameter.name == "args")
        show(call, parameter.name, describe(layoutNamed(parameter.kind), pointer<const void>(words[0])));
}

void showTemplate(Call& call, const Parameter& parameter, const Word* words)
{
    const auto* attributes = pointer<const CK_ATTRIBUTE>(words[0]);
    if (attributes == nullptr)
        return show(call, parameter.name, showData(nullptr, words[1]));
    std::string text;
    for (CK_ULONG i = 0; i < words[1]; ++i) {
        const CK_ATTRIBUTE& each = attributes[i];
        text += (i == 0 ? "" : " ") + code(each.type);
        if (parameter.kind == "query" || each.pValue == nullptr)
            text += (each.pValue == nullptr ? "@null/" : "@room/") + std::to_string(each.ulValueLen);
        else
            text += "@" + place(each.pValue, attributes) + ":" + hex(each.pValue, each.ulValueLen);
    }
    show(call, parameter.name, "[" + text + "]");
}

const Layout* structuredParameter(const CK_MECHANISM& mechanism)
{
    const Layout* layout = parameterLayout(mechanism.mechanism);
    const bool fits = layout != nullptr && mechanism.pParameter != nullptr;
    return fits && mechanism.ulParameterLen == layoutSize(*layout) ? layout : nullptr;
}

void showMechanism(Call& call, const Parameter& parameter, const Word* words)
{
    const auto* mechanism = pointer<const CK_MECHANISM>(words[0]);
    if (mechanism == nullptr)
        return show(call, parameter.name, "null");
    const void* bytes = mechanism->pParameter;
    const CK_ULONG length = mechanism->ulParameterLen;
    show(call, parameter.name, code(mechanism->mechanism));
    show(call, "parameter", place(bytes, mechanism));
    if (const Layout* layout = structuredParameter(*mechanism))
        call.text += " " + describe(*layout, bytes);
    else
        call.text += "/" + std::to_string(length) + (bytes == nullptr ? "" : ":" + hex(bytes, length));
}

/// Copies an output into its room and reports its length, or the length that the answer puts in its place ("keep": as
/// it was). Too little room is CKR_BUFFER_TOO_SMALL, as the standard has it.
void put(Call& call, const std::string& name, const void* from, CK_ULONG count, CK_ULONG size, Word to, CK_ULONG room,
         CK_ULONG* length)
{
    if (to != 0 && count <= room && count != 0)
        std::memcpy(pointer<void>(to), from, count * size);
    if (to != 0 && count > room)
        call.rv = CKR_BUFFER_TOO_SMALL;
    const std::string* reported = find(*call.values, name + ".length");
    if (length != nullptr && (reported == nullptr || *reported != "keep"))
        *length = number(*call.values, name + ".length", count);
}

/// Whether the answer leaves an output alone.
bool untouched(const Call& call, const std::string& name)
{
    return call.failing && find(*call.values, name) == nullptr && find(*call.values, name + ".length") == nullptr;
}

void putBytes(Call& call, const Parameter& parameter, const Word* words)
{
    auto* length = pointer<CK_ULONG>(words[1]);
    if (untouched(call, parameter.name) || length == nullptr)
        return;
    const std::string* scripted = find(*call.values, parameter.name);
    const std::string bytes = unhex(scripted != nullptr ? *scripted : call.failing ? "" : call.input);
    put(call, parameter.name, bytes.data(), bytes.size(), 1, words[0], *length, length);
}

void putRandom(Call& call, const Parameter& parameter, const Word* words)
{
    const std::string* scripted = find(*call.values, parameter.name);
    std::string bytes(scripted == nullptr && !call.failing ? words[1] : 0, '\0');
    std::generate(bytes.begin(), bytes.end(), [next = '\xa0']() mutable { return next++; });
    if (scripted != nullptr)
        bytes = unhex(*scripted);
    put(call, parameter.name, bytes.data(), bytes.size(), 1, words[0], words[1], nullptr);
}

void putNumbers(Call& call, const Parameter& parameter, const Word* words, CK_ULONG room, CK_ULONG* length)
{
    if (untouched(call, parameter.name) || length == nullptr)
        return;
    const std::string* scripted = find(*call.values, parameter.name);
    const char* rest = scripted == nullptr ? "" : scripted->c_str();
    std::vector<CK_ULONG> values;
    for (char* end = nullptr; *rest != '\0'; rest = *end == ',' ? end + 1 : end)
        values.push_back(std::strtoul(rest, &end, 0));
    if (parameter.kind == "found")
        values.resize(std::min(values.size(), room));
    put(call, parameter.name, values.data(), values.size(), sizeof(CK_ULONG), words[0], room, length);
}

void putList(Call& call, const Parameter& parameter, const Word* words)
{
    auto* length = pointer<CK_ULONG>(words[1]);
    putNumbers(call, parameter, words, length == nullptr ? 0 : *length, length);
}

void putFound(Call& call, const Parameter& parameter, const Word* words)
{
    putNumbers(call, parameter, words, words[1], pointer<CK_ULONG>(words[2]));
}

void putNumber(Call& call, const Parameter& parameter, const Word* words)
{
    if (words[0] == 0 || untouched(call, parameter.name))
        return;
    const bool scripted = find(*call.values, parameter.name) != nullptr;
    *pointer<CK_ULONG>(words[0]) = scripted ? number(*call.values, parameter.name, 0) : nextObject++;
}

void putStructure(Call& call, const Parameter& parameter, const Word* words)
{
    if (words[0] != 0)
        fill(layoutNamed(parameter.kind), pointer<void>(words[0]), *call.values);
}

void putFunctions(Call& call, const Parameter& parameter, const Word* words)
{
    const std::string* which = find(*call.values, parameter.name);
    if (words[0] == 0 || untouched(call, parameter.name))
        return;
    CK_FUNCTION_LIST* answered = which == nullptr ? &list : nullptr;
    if (which != nullptr && *which == "new")
        answered = new CK_FUNCTION_LIST(list); // a caller may keep it for ever
    *pointer<CK_FUNCTION_LIST*>(words[0]) = answered;
}

void putAttributes(Call& call, const Parameter&, const Word* words)
{
    auto* attributes = pointer<CK_ATTRIBUTE>(words[0]);
    for (CK_ULONG i = 0; attributes != nullptr && i < words[1]; ++i) {
        CK_ATTRIBUTE& each = attributes[i];
        const Parameter value{code(each.type), ""};
        if (untouched(call, value.name))
            continue;
        CK_ULONG length = each.ulValueLen;
        const Word output[] = {toWord(each.pValue), toWord(&length)};
        Call one{call.values, call.failing, CKR_OK, "", ""};
        putBytes(one, value, output);
        if (find(*call.values, value.name) == nullptr && !call.failing)
            one.rv = CKR_ATTRIBUTE_TYPE_INVALID;
        each.ulValueLen = one.rv == CKR_OK ? length : CK_UNAVAILABLE_INFORMATION;
        call.rv = call.rv == CKR_OK ? one.rv : call.rv;
    }
}

void putParameter(Call& call, const Parameter&, const Word* words)
{
    auto* mechanism = pointer<CK_MECHANISM>(words[0]);
    const std::string* flat = find(*call.values, "parameter");
    if (mechanism == nullptr || mechanism->pParameter == nullptr)
        return;
    if (const Layout* layout = structuredParameter(*mechanism))
        return fill(*layout, mechanism->pParameter, *call.values);
    const std::string bytes = flat == nullptr ? "" : unhex(*flat);
    std::memcpy(mechanism->pParameter, bytes.data(), std::min(bytes.size(), mechanism->ulParameterLen));
}

// clang-format off
const Kind kinds[] = {
    // kind, C arguments, how it is shown, what an answer writes
    {"",          1, showCode,      nullptr},
    {"count",     1, showCount,     nullptr},
    {"pointer",   1, showPointer,   nullptr},
    {"label",     1, showLabel,     nullptr},      // 32 bytes
    {"data",      2, showInput,     nullptr},
    {"template",  2, showTemplate,  nullptr},
    {"query",     2, showTemplate,  putAttributes},
    {"mechanism", 1, showMechanism, putParameter},
    {"out",       2, showRoom,      putBytes},     // room, pointer to its length
    {"room",      2, showSizedRoom, putRandom},    // room, its length
    {"list",      2, showRoom,      putList},      // room for numbers, pointer to their count
    {"found",     3, showSizedRoom, putFound},     // room for numbers, its size, pointer to their count
    {"result",    1, showIfNull,    putNumber},    // pointer to a number or handle; without an answer the next handle
    {"functions", 1, showIfNull,    putFunctions}, // "list=new" answers a new list each time, "list=null" none
    {"CK_",       1, showStructure, putStructure}, // the structure's name; shown when the parameter is called args
};
// clang-format on

/// Takes every parameter of a call in turn.
void walk(const Function& function, Step Kind::*step, Call& call, const Word* words)
{
    std::string_view rest = function.parameters;
    while (!rest.empty()) {
        const std::string_view word = rest.substr(0, rest.find(' '));
        rest.remove_prefix(std::min(word.size() + 1, rest.size()));
        const std::size_t colon = std::min(word.find(':'), word.size() - 1);
        Parameter parameter{std::string(word), ""};
        if (word[colon] == ':')
            parameter = {std::string(word.substr(0, colon)), std::string(word.substr(colon + 1))};
        const Kind* kind = std::find_if(std::begin(kinds), std::end(kinds) - 1,
                                        [&](const Kind& each) { return each.name == parameter.kind; });
        if (kind->*step != nullptr)
            (kind->*step)(call, parameter, words);
        words += kind->width;
    }
}

void answer(Function& function, Call& call, const Word* words)
{
    Values values = function.steering.standing;
    if (!function.steering.queue.empty()) {
        values = function.steering.queue.front();
        function.steering.queue.pop_front();
    }
    const CK_RV rv = number(values, "rv", CKR_OK);
    call.failing = rv != CKR_OK;
    if (!call.failing)
        values.insert(function.defaults.begin(), function.defaults.end());
    call.values = &values;
    walk(function, &Kind::answer, call, words);
    if (find(values, "rv") != nullptr)
        call.rv = rv;
}

CK_RV run(std::size_t index, const Word* words)
{
    Function& function = functions[index];
    Steering& steering = function.steering;
    std::unique_lock<std::mutex> hold(guard);

    Call call;
    walk(function, &Kind::show, call, words);
    calls.push_back(function.name + call.text);
    steering.most = std::max(steering.most, ++steering.inside);
    mostInside = std::max(mostInside, ++insideNow);
    changed.notify_all();

    if (steering.passing == 0)
        changed.wait(hold, [&] { return !steering.held; });
    else
        --steering.passing;
    answer(function, call, words);

    --steering.inside;
    --insideNow;
    changed.notify_all();
    return call.rv;
}

void reset()
{
    for (Function& each : functions) {
        const int inside = each.steering.inside;
        each.steering = {};
        each.steering.inside = inside;
        each.install(list, true);
    }
    list.version = {2, 40};
    nextObject = 100;
    mostInside = insideNow;
    calls.clear();
    changed.notify_all();
}

/// Takes the next word off a command.
std::string next(std::string_view& command)
{
    const std::string word(command.substr(0, command.find(' ')));
    command.remove_prefix(std::min(word.size() + 1, command.size()));
    return word;
}

std::string steer(std::string_view command)
{
    std::unique_lock<std::mutex> hold(guard);
    const std::string verb = next(command);
    if (verb == "calls") {
        std::string text;
        for (const std::string& line : calls)
            text += line + "\n";
        calls.clear();
        return text;
    }
    if (verb == "made")
        return std::to_string(calls.size());
    if (verb == "reset")
        return reset(), "";
    if (verb == "list")
        return std::to_string(toWord(&list));
    if (verb == "most-inside")
        return std::to_string(mostInside);
    if (verb == "version") {
        list.version.major = static_cast<unsigned char>(std::stoi(next(command)));
        list.version.minor = static_cast<unsigned char>(std::stoi(next(command)));
        return "";
    }

    const std::string name = next(command);
    auto function = std::find_if(functions.begin(), functions.end(), [&](auto& f) { return f.name == name; });
    if (function == functions.end())
        return "error: no function " + name;
    Steering& steering = function->steering;
    if (verb == "answer")
        return steering.queue.push_back(parseValues(command)), "";
    if (verb == "always")
        return steering.standing = parseValues(command), "";
    if (verb == "missing")
        return function->install(list, false), "";
    if (verb == "hold")
        return steering.held = true, steering.passing = std::stoi(command.data()), "";
    if (verb == "release")
        return steering.held = false, changed.notify_all(), "";
    if (verb == "most")
        return std::to_string(steering.most);
    if (verb == "await") {
        const int wanted = std::stoi(next(command));
        const auto limit = std::chrono::milliseconds(std::stoi(next(command)));
        return changed.wait_for(hold, limit, [&] { return steering.inside >= wanted; }) ? "yes" : "no";
    }
    return "error: no verb " + verb;
}

/// Every row must stand where its function stands in the list, since a call finds its row by that place.
[[maybe_unused]] const bool ready = [] {
    std::memset(&list, 0, sizeof list);
    for (Function& each : functions) {
        each.install(list, true);
        void* entry;
        std::memcpy(&entry, reinterpret_cast<void**>(&list.C_Initialize) + (&each - functions.data()), sizeof entry);
        if (entry == nullptr)
            std::abort();
    }
    reset();
    return true;
}();

} // namespace

extern "C" {

EXPORTED CK_RV C_GetFunctionList(CK_FUNCTION_LIST** to)
{
    return Entry<&List::C_GetFunctionList>::call(to);
}

EXPORTED char* scriptedTokenCommand(const char* command)
{
    return strdup(steer(command).c_str());
}
}
