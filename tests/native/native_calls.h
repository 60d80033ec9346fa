// What the tests without a JVM share: Java's values, the handle chain, and a call with all that came of it as text.
#pragma once

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#ifndef _WIN32
#include <unistd.h>
#endif

#include "check.h"
#include "fake_jni.h"
#include "native_methods.h"
#include "stub_token.h"

// ---- The tests, by what they look at ----

void testEveryMethod();
void testGrowingArrays();
void testSecrets();
void testStacks();
void testDates();
void testFailedLoads(const char* debugOutput);

// ---- Calls ----

inline Ref library, slot, session, key; // S and K are the handles of the last two in expected texts
inline Ref out, outBuffer;              // the outputs of the current call: an array, a direct buffer

template <typename T>
std::string text(T value)
{
    if constexpr (std::is_pointer_v<T>)
        return show(returned(value));
    else
        return std::to_string(value);
}

template <typename Parameter, typename Argument>
Parameter argument(Argument value)
{
    if constexpr (std::is_pointer_v<Parameter>)
        return value;
    else
        return static_cast<Parameter>(value);
}

// Calls a native method of a receiver with Java's arguments and returns the result as text.
template <typename Receiver, typename Result, typename... Parameters, typename... Arguments>
std::string callOn(Ref receiver, Result (*function)(JNIEnv*, Receiver, Parameters...), Arguments... arguments)
{
    if constexpr (!std::is_void_v<Result>)
        return text(function(env, receiver, argument<Parameters>(arguments)...));
    else
        function(env, receiver, argument<Parameters>(arguments)...);
    return "";
}

// clang-format off
#define LIBRARY(name) library, Java_com_kelvane_pkcs11_nat_NativePKCS11_##name
#define SLOT(name) slot, Java_com_kelvane_pkcs11_nat_NativePKCS11Slot_##name
#define SESSION(name) session, Java_com_kelvane_pkcs11_nat_NativePKCS11Session_##name
#define OBJECT(name) key, Java_com_kelvane_pkcs11_nat_NativePKCS11Object_##name
#define EXTENSIONS(name) Ref{}, Java_com_kelvane_pkcs11_nat_NativeExtensions_##name
#define CALL(...) [=] { return callOn(__VA_ARGS__); }
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

// The handles that the module has created in a call and that were neither returned to Java nor closed or destroyed.
// Java has them in the result, "NativePKCS11Object(@,0x11)", and in fields.
inline std::string lostHandles(std::string kept)
{
    for (Object* each : fake.put)
        kept += show({each});
    std::string lost;
    for (unsigned long each : token.made) {
        bool isEnded = std::find(token.ended.begin(), token.ended.end(), each) != token.ended.end();
        if (!isEnded && kept.find("(@,0x" + hexadecimal(each) + ")") == std::string::npos)
            lost += " lost=" + hexadecimal(each);
    }
    return lost;
}

#ifndef _WIN32
// Reports a call that does not end, by its calls of the module.
inline void reportTimeout(int /*signal*/)
{
    std::fprintf(stderr, "does not end: %s\n", token.log.c_str());
    std::_Exit(1);
}
#endif

inline void setTimeout()
{
#ifndef _WIN32
    std::signal(SIGALRM, reportTimeout);
    alarm(60);
#endif
}

// The exception for a code.
inline std::string raised(unsigned long code) { return "PKCS11Exception(0x" + hexadecimal(code) + ")"; }

// Makes a call and returns its effects: "the module's calls -> result exception, output, leaks".
inline std::string outcome(const std::function<std::string()>& call)
{
    token.log.clear();
    token.handle = 0x11;
    token.made.clear();
    token.ended.clear();
    for (Ref each : {out, outBuffer})
        each.object->bytes.assign(4, 0);

    setTimeout();
    startOfCall();
    std::string result = call();
    endOfCall(0);
    std::string found = token.log + " -> " + result;
    fake.complaints += lostHandles(fake.pending == nullptr ? result : "");
    if (Object* raised = std::exchange(fake.pending, nullptr))
        found += " " + show({raised});
    for (Ref each : {out, outBuffer})
        if (each.object->bytes != std::string(4, 0))
            found += " out=" + hex(each.object->bytes);
    found += fake.complaints;
    replace(&found, "80000007", "S");
    replace(&found, "80000009", "K");
    return found;
}

inline void checkCall(const std::string& expected, const std::function<std::string()>& call)
{
    check(expected, outcome(call));
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

constexpr jint kNegative = -0x7FFFFFFB; // 0x80000005: never extended by its sign

inline void makeReceivers(int64_t list)
{
    const std::string package = "com/kelvane/pkcs11/nat/NativePKCS11";
    auto of = [&package](const char* type, const char* number, jint value, const std::string& owner, Ref by) {
        return make(package + type, {{number, value}, {owner, address(by)}});
    };
    library = make(package, {{"functionList:J", list}});
    slot = of("Slot", "slotID:I", 5, "pkcs11:L" + package + ";", library);
    session = of("Session", "sessionID:I", -0x7FFFFFF9, "slot:L" + package + "Slot;", slot);    // 0x80000007
    key = of("Object", "objectID:I", -0x7FFFFFF7, "session:L" + package + "Session;", session); // 0x80000009
}

inline std::string modulePath; // modified UTF-8

inline void load()
{
    int64_t list = 0;
    out = newBytes("");
    outBuffer = newBuffer("");
    check(" -> ", outcome([&list] {
              list = Java_com_kelvane_pkcs11_nat_NativePKCS11_loadPKCS11Library(env, nullptr, newString(modulePath));
              return "";
          }));
    if (list == 0)
        std::exit(1);
    fillLists(reinterpret_cast<ModuleLists*>(list));
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
