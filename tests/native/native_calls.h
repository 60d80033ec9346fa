// What the programs without a JVM share that call every native method: Java's values, the handle chain, and a call with
// all that came of it as text. What the module must see is written down in numbers, for the layout of a Unix build and
// for the packed one of Windows.
#pragma once

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#ifndef _WIN32
#include <unistd.h>
#endif

#include "bridge/cryptoki.h" // for the names of numbers alone
#include "check.h"
#include "com_kelvane_pkcs11_nat_NativePKCS11.h"
#include "com_kelvane_pkcs11_nat_NativePKCS11Object.h"
#include "com_kelvane_pkcs11_nat_NativePKCS11Session.h"
#include "com_kelvane_pkcs11_nat_NativePKCS11Slot.h"
#include "fake_jni.h"
#include "stub_token.h"

// ---- The tests, by what they look at ----

void testEveryMethod();
void testFailedLock();
void testParameters();
void testReturnedParameters();
void testMovedPointers();
void testTemplates();
void testSecrets();
void testStacks();
void testDates();
void testFailedLoads(const char* debugOutput);

// ---- Calls ----

inline std::set<std::string> methodsCalled;

inline Ref library, slot, session, key; // S and K stand for the handles of the last two in what is expected
inline Ref out;                         // the output array of the current call

template <typename T>
std::string text(T value)
{
    if constexpr (std::is_pointer_v<T>)
        return show(returned(value));
    else
        return std::to_string(value);
}

// A native method of a receiver. Called with Java's arguments it returns the result as text.
template <typename Result, typename... Parameters>
struct Method
{
    std::string name;
    const Ref* self;
    Result (*function)(JNIEnv*, jobject, Parameters...);

    std::string operator()(Parameters... arguments) const
    {
        methodsCalled.insert(self->object->type + "." + name);
        if constexpr (!std::is_void_v<Result>)
            return text(function(env, *self, arguments...));
        else
            function(env, *self, arguments...);
        return "";
    }
};

template <typename Result, typename... Parameters>
Method(const char*, const Ref*, Result (*)(JNIEnv*, jobject, Parameters...)) -> Method<Result, Parameters...>;

// clang-format off
#define METHOD(self, type, name) Method{#name, &self, Java_com_kelvane_pkcs11_nat_NativePKCS11##type##name}
#define LIBRARY(name) METHOD(library, _, name)
#define SLOT(name) METHOD(slot, Slot_, name)
#define SESSION(name) METHOD(session, Session_, name)
#define OBJECT(name) METHOD(key, Object_, name)
#define CALL(...) [=] { return __VA_ARGS__; }
// clang-format on

inline std::string hexadecimal(unsigned long number)
{
    std::array<char, 20> digits;
    std::snprintf(digits.data(), digits.size(), "%lx", number);
    return digits.data();
}

inline void replace(std::string* in, const std::string& what, const std::string& with)
{
    for (std::size_t at = 0; (at = in->find(what, at)) != std::string::npos; at += with.size())
        in->replace(at, what.size(), with);
}

// The handles that the module has made in a call and that neither Java has got nor the module was asked to end. Java's
// numbers stand in the result, "NativePKCS11Object(@,0x11)", and in fields.
inline std::string lostHandles(std::string handedOut)
{
    for (Object* each : fake.put)
        handedOut += show({each});
    std::string lost;
    for (unsigned long each : token.made) {
        bool ended = std::find(token.ended.begin(), token.ended.end(), each) != token.ended.end();
        if (!ended && handedOut.find("(@,0x" + hexadecimal(each) + ")") == std::string::npos)
            lost += " lost=" + hexadecimal(each);
    }
    return lost;
}

#ifndef _WIN32
// A call that does not end has a name: what it has asked of the module.
inline void endOfPatience(int /*signal*/)
{
    std::fprintf(stderr, "does not end: %s\n", token.log.c_str());
    std::_Exit(1);
}
#endif

inline void giveItAMinute()
{
#ifndef _WIN32
    std::signal(SIGALRM, endOfPatience);
    alarm(60);
#endif
}

// What is raised for a code.
inline std::string raised(unsigned long code) { return "PKCS11Exception(0x" + hexadecimal(code) + ")"; }

// Makes a call and tells all that came of it: "the module's calls -> result exception, output, what was left behind".
inline std::string outcome(const std::function<std::string()>& call)
{
    token.log.clear();
    token.handle = 0x11;
    token.made.clear();
    token.ended.clear();
    out = newBytes(std::string(4, 0));

    giveItAMinute();
    startOfCall();
    std::string result = call();
    endOfCall(0);
    std::string told = token.log + " -> " + result;
    fake.complaints += lostHandles(fake.pending == nullptr ? result : "");
    if (Object* raised = std::exchange(fake.pending, nullptr))
        told += " " + show({raised});
    if (std::any_of(out.object->bytes.begin(), out.object->bytes.end(), [](char c) { return c != 0; }))
        told += " out=" + show(out);
    told += fake.complaints;
    replace(&told, "80000007", "S");
    replace(&told, "80000009", "K");
    return told;
}

inline void checkCall(const std::string& expected, const std::function<std::string()>& call)
{
    check(expected, outcome(call));
}

// Makes a call again and again, with another of the JNI calls in it failing each time. Whatever becomes of it, nothing
// is left behind, lost or asked that must not be; `pinned` is what it leaves when nothing fails.
inline void checkFailures(const std::function<std::string()>& call, const std::string& pinned = "")
{
    for (fake.failing = 1; fake.calls + 1 >= fake.failing; ++fake.failing) {
        std::string told = outcome(call);
        bool clean = fake.complaints.empty() || fake.complaints == pinned;
        check("", clean ? "" : told + " when call " + std::to_string(fake.failing) + " fails");
    }
    fake.failing = 0;
}

// ---- Java values ----

inline int64_t bytes(std::string_view value) { return address(newBytes(value)); }
inline Ref integer(jint value) { return make("java/lang/Integer", {{"intValue:()I", value}}); }
inline Ref date(int64_t milliseconds) { return make("java/util/Date", {{"getTime:()J", milliseconds}}); }

inline Ref bigInteger(std::string_view twosComplement)
{
    auto bits = static_cast<int64_t>(8 * twosComplement.size() - 1);
    return make("java/math/BigInteger", {{"bitLength:()I", bits}, {"toByteArray:()[B", bytes(twosComplement)}});
}

// The object with fields like "bits=40 major=b3 phFlag=z1 iv='text'": an int, a byte, a boolean, a byte[].
inline Ref with(Ref made, const std::string& fields)
{
    std::istringstream words(fields);
    for (std::string word; words >> word;) {
        std::size_t at = word.find('=');
        std::string field = word.substr(0, at);
        std::string value = word.substr(at + 1);
        if (value[0] == '\'')
            made.object->fields[field + ":[B"] = bytes(value.substr(1, value.size() - 2));
        else if (value[0] == 'b' || value[0] == 'z')
            made.object->fields[field + (value[0] == 'b' ? ":B" : ":Z")] = std::stoi(value.substr(1));
        else
            made.object->fields[field + ":I"] = std::stoi(value);
    }
    return made;
}

inline Ref parameter(const std::string& name, const std::string& fields)
{
    return with(make("com/kelvane/pkcs11/" + name), fields);
}

// The object with one more field, which holds another.
inline Ref with(Ref object, const std::string& field, Ref member)
{
    const std::string& type = member.object->type;
    object.object->fields[field + ":" + (type[0] == '[' ? type : "L" + type + ";")] = address(member);
    return object;
}

constexpr jint kNegative = -0x7FFFFFFB; // 0x80000005: never extended by its sign

inline void makeReceivers(int64_t list)
{
    library = make("com/kelvane/pkcs11/nat/NativePKCS11", {{"functionList:J", list}});
    slot = with(parameter("nat/NativePKCS11Slot", "slotID=5"), "pkcs11", library);
    session = with(parameter("nat/NativePKCS11Session", "sessionID=-2147483641"), "slot", slot); // 0x80000007
    key = with(parameter("nat/NativePKCS11Object", "objectID=-2147483639"), "session", session); // 0x80000009
}

inline std::string modulePath; // modified UTF-8

inline void load()
{
    int64_t list = 0;
    check(" -> ", outcome([&list] {
              list = Java_com_kelvane_pkcs11_nat_NativePKCS11_loadPKCS11Library(env, nullptr, newString(modulePath));
              return "";
          }));
    if (list == 0)
        std::exit(1);
    fillFunctionList(list);
    makeReceivers(list);
}

// An entry of a template as the module sees it.
inline std::string entry(unsigned long type, const std::string& value)
{
    return " " + hexadecimal(type) + "='" + hex(value) + "'";
}

// An entry of a C_GetAttributeValue as the module sees it: the room that it offers.
inline std::string fetch(unsigned long type, std::size_t room)
{
    return " " + hexadecimal(type) + "/" + hexadecimal(static_cast<unsigned long>(room));
}
