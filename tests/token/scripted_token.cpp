// A Cryptoki module that a test controls. It records every call as a line of text (show.cpp) and answers from a queue
// of words (answer.cpp); without an answer it succeeds with the default of the table in functions.cpp. All else follows
// from the kinds of the arguments. A copy of the library file is a module of its own: nothing is shared between copies.
#include "scripted_token.h"

#include <algorithm>
#include <cfenv>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <pthread.h>

#include "call.h"

namespace {

std::mutex guard; // of everything below and of the steering above
auto& changed = *new std::condition_variable;
auto& calls = *new std::string; // their lines
CK_OBJECT_HANDLE nextObject;
int insideNow;
int mostInside;
std::size_t leastStack;

/// The bytes of the thread's stack that are left.
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

/// Changes the rounding, as some modules do for a thread that loads or initialises them, if the environment has the
/// variable.
bool spoilRounding() { return std::getenv("SCRIPTED_TOKEN_ROUNDS_UP") != nullptr && std::fesetround(FE_UPWARD) == 0; }

std::string reset()
{
    for (auto& [name, function] : functions()) {
        const int inside = function.inside;
        function = {function.parameters, function.defaults, function.install};
        function.inside = inside;
        function.install(true);
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
    if (verb == "version" || verb == "extended") {
        CK_VERSION& version = verb == "version" ? list.version : extended.edition2.version;
        version = {static_cast<CK_BYTE>(std::stoi(name)), static_cast<CK_BYTE>(std::stoi(rest))};
        return "";
    }

    const auto found = functions().find(name);
    if (found == functions().end())
        return "error: no function " + name;
    Function& function = found->second;
    if (verb == "answer") {
        function.queue.push_back(parseValues(rest));
    } else if (verb == "always") {
        function.standing = parseValues(rest);
    } else if (verb == "missing") {
        function.install(false);
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

CK_RV run(const char* name, const std::vector<Word>& words)
{
    spoilRounding();
    std::unique_lock<std::mutex> hold(guard);
    Function& function = functions().at(name);
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
        answer(call, each, nextObject);

    --function.inside;
    --insideNow;
    changed.notify_all();
    return find(values, "rv") != nullptr ? rv : call.rv;
}

CK_RV C_GetFunctionList(CK_FUNCTION_LIST** to) { return run("C_GetFunctionList", {Word(to)}); }

// Not recorded: tests of version 2 do not expect it.
CK_RV C_GetInterface(const char* name, CK_VERSION* version, CK_INTERFACE** to, CK_FLAGS)
{
    static CK_INTERFACE found = {"PKCS 11", &extended, 0};
    const CK_VERSION& own = extended.edition2.version;
    const bool isWanted = version == nullptr || (version->major == own.major && version->minor == own.minor);
    if (std::string_view(name) != "PKCS 11" || own.major == 0 || !isWanted)
        return CKR_FUNCTION_FAILED;
    *to = &found;
    return CKR_OK;
}

char* scriptedTokenCommand(const char* command) { return strdup(steer(command).c_str()); }
