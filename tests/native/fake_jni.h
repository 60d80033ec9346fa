// A virtual machine just large enough for the library: objects with fields and contents, which each thread has for
// itself, one pending exception a thread, one monitor. It is strict in what a real one lets pass: see Fake::complaints.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <jni.h>

struct Object
{
    std::string type;                      ///< "java/lang/String", "[B"; of a class the name that it stands for
    std::map<std::string, int64_t> fields; ///< by "name:signature"; a reference is an Object's address. Getters too
    std::string bytes;                     ///< a String's modified UTF-8, the elements of a byte[] or int[]
    std::vector<Object*> elements;         ///< of an Object[]
    std::string text;                      ///< of an object that the library has made: "Class(arguments)"
    bool isOpen = false;                   ///< an object of the class that is asked for first, see Fake::becomes
    bool isNew = false;                    ///< an array that the library has made, whatever becomes of it
    bool isOutput = false;                 ///< a byte[] that a call is given to write to
};

/// An Object as whatever reference type a call wants. Each conversion is a reference of its own, as a call's argument
/// is, which the library must not give back.
struct Ref
{
    Object* object = nullptr;

    template <typename T>
    operator T*() const
    {
        return static_cast<T*>(reference());
    }

private:
    void* reference() const;
};

/// How the machine behaves, and what it has seen since a test last looked.
struct Fake
{
    std::deque<Object> objects; ///< they live until forgetObjects

    bool inPlace = false;           ///< arrays are handed out as they are, and not as copies
    int failing = 0;                ///< the call that fails of those that can, counted from 1; 0 for none
    bool failsWithError = true;     ///< whether it leaves an exception pending, where it need not
    bool strict = false;            ///< a complaint ends the process where it arises
    std::string missingClass;       ///< not on the class path
    std::string secret;             ///< what no copy may hold when it is freed
    std::function<void()> meddling; ///< what another thread does between two looks at Java's objects

    /// Whether an open object is of the class that is asked for; it has that class already, and stays open if not.
    std::function<bool(Object&)> becomes;

    /// The value of a field or getter that an object does not have yet, "name:signature". Without it, an object that
    /// the library has made has the arguments of its constructor as fields, by their types.
    std::function<int64_t(Object&, const std::string&)> missingField;

    Object* pending = nullptr;
    int monitor = 0;          ///< how often this thread holds it
    int calls = 0;            ///< of functions that can fail
    std::vector<Object*> put; ///< objects that the library has put into fields
    std::string complaints;   ///< what a real machine may not forgive, or what is lost: JNI used with an exception
                            ///< pending, references used when given back or given back twice, too many of them, fields
                            ///< that an object does not have, releases of what is not pinned, arrays changed or
                            ///< written back that were only read, copies of such that are not wiped, secrets
};

extern thread_local Fake fake;
extern JNIEnv* const env;

/// Begins a call: no references, nothing pinned. endOfCall adds what is left behind to the complaints: more than so
/// many pinned arrays, a monitor.
void startOfCall();
void endOfCall(int pinned);

/// Forgets all objects.
void forgetObjects();

Ref make(std::string_view type, std::map<std::string, int64_t> fields = {}, std::string_view bytes = {});
Ref newString(std::string_view text);
Ref newBytes(std::string_view bytes);
Ref newBuffer(std::string_view bytes); ///< a direct ByteBuffer
Ref newInts(const std::vector<jint>& values);
Ref newObjects(const std::vector<Ref>& values);

int64_t address(Ref object);

/// The object that a native method has returned.
Ref returned(jobject result);

std::string hex(std::string_view bytes);

/// 'a String', the digits of a byte[], {the elements}, {0xint 0xint}, Class(0xint,long,...), or @ for an object with
/// fields.
std::string show(Ref object);
