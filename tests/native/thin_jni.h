// Just enough of a JVM for many threads: objects that hold an int, a long and the next link of the handle chain, one
// monitor, one exception a thread. And the calls that the programs here make through the library's exports.
#pragma once

#include <atomic>
#include <cstdarg>
#include <cstring>
#include <mutex>
#include <string>
#include <utility>

#include "bridge/cryptoki.h"
#include "com_kelvane_pkcs11_nat_NativePKCS11.h"
#include "com_kelvane_pkcs11_nat_NativePKCS11Object.h"
#include "com_kelvane_pkcs11_nat_NativePKCS11Session.h"
#include "com_kelvane_pkcs11_nat_NativePKCS11Slot.h"

/// Every Java object: its int field, the next link of the handle chain, and its long field, a library's list or a
/// handle.
struct Thing
{
    jint number = 0;
    Thing* owner = nullptr;
    jlong wide = 0;

    std::atomic_ref<jlong> sharedWide() { return std::atomic_ref<jlong>(wide); }
};

inline thread_local Thing made;         // by the last call
inline thread_local std::string raised; // by the last call: a text, or a code
inline std::recursive_mutex monitor;

template <typename T>
T reference(const void* object)
{
    return reinterpret_cast<T>(const_cast<void*>(object));
}

inline jobject newThing(JNIEnv*, jclass, jmethodID constructor, va_list arguments)
{
    const std::string signature = reinterpret_cast<const char*>(constructor);
    if (signature == "(I)V") { // of an exception
        raised = std::to_string(va_arg(arguments, int));
    } else if (signature == "(III)V") { // of information, whose first number is kept
        made.number = va_arg(arguments, int);
    } else if (signature.ends_with(";J)V")) {
        auto* owner = va_arg(arguments, Thing*);
        made = {-1, owner, va_arg(arguments, jlong)};
    } else if (signature != "(Ljava/lang/String;)V") {
        auto* owner = va_arg(arguments, Thing*);
        made = {va_arg(arguments, int), owner, 0};
    }
    return reference<jobject>(&made);
}

inline JNINativeInterface_ thinFunctions()
{
    JNINativeInterface_ table = {};
    table.FindClass = [](JNIEnv*, const char* name) { return reference<jclass>(name); };
    table.GetObjectClass = [](JNIEnv*, jobject object) { return reference<jclass>(object); };
    table.IsInstanceOf = [](JNIEnv*, jobject, jclass) { return jboolean{JNI_FALSE}; };
    table.GetFieldID = [](JNIEnv*, jclass, const char* name, const char*) { return reference<jfieldID>(name); };
    table.GetMethodID = [](JNIEnv*, jclass, const char*, const char* type) { return reference<jmethodID>(type); };
    table.GetIntField = [](JNIEnv*, jobject object, jfieldID) { return reinterpret_cast<Thing*>(object)->number; };
    table.GetLongField = [](JNIEnv*, jobject object, jfieldID) {
        return reinterpret_cast<Thing*>(object)->sharedWide().load();
    };
    table.SetLongField = [](JNIEnv*, jobject object, jfieldID, jlong list) {
        reinterpret_cast<Thing*>(object)->sharedWide() = list;
    };
    table.GetObjectField = [](JNIEnv*, jobject object, jfieldID) {
        return reference<jobject>(reinterpret_cast<Thing*>(object)->owner);
    };
    table.NewObjectV = newThing;
    table.NewStringUTF = [](JNIEnv*, const char* text) { return raised = text, reference<jstring>(text); };
    table.GetStringUTFLength = [](JNIEnv*, jstring text) {
        return static_cast<jsize>(std::strlen(reinterpret_cast<char*>(text)));
    };
    table.GetStringUTFChars = [](JNIEnv*, jstring text, jboolean*) { return reinterpret_cast<const char*>(text); };
    table.ReleaseStringUTFChars = [](JNIEnv*, jstring, const char*) {};
    table.ExceptionCheck = [](JNIEnv*) -> jboolean { return !raised.empty(); };
    table.ExceptionOccurred = [](JNIEnv*) { return jthrowable{}; };
    table.Throw = [](JNIEnv*, jthrowable) -> jint { return 0; };
    table.MonitorEnter = [](JNIEnv*, jobject) -> jint { return monitor.lock(), 0; };
    table.MonitorExit = [](JNIEnv*, jobject) -> jint { return monitor.unlock(), 0; };
    table.DeleteLocalRef = [](JNIEnv*, jobject) {};
    return table;
}

inline const JNINativeInterface_ kThinFunctions = thinFunctions();
inline JNIEnv thinMachine = {&kThinFunctions};
inline JNIEnv* const env = &thinMachine;

#define LIBRARY(method) Java_com_kelvane_pkcs11_nat_NativePKCS11_##method
#define SLOT(method) Java_com_kelvane_pkcs11_nat_NativePKCS11Slot_##method
#define SESSION(method) Java_com_kelvane_pkcs11_nat_NativePKCS11Session_##method
#define OBJECT(method) Java_com_kelvane_pkcs11_nat_NativePKCS11Object_##method

/// Calls a native method of a receiver and answers what it has raised; what it made is in `made`.
template <typename Result, typename... Parameters, typename... Arguments>
std::string on(Thing& receiver, Result (*method)(JNIEnv*, jobject, Parameters...), Arguments... arguments)
{
    raised.clear();
    made = {};
    method(env, reference<jobject>(&receiver), arguments...);
    return raised;
}

/// Loads a module into a library object.
inline std::string load(Thing& library, const char* path)
{
    raised.clear();
    library.wide = LIBRARY(loadPKCS11Library)(env, nullptr, reference<jstring>(path));
    return raised;
}
