// A fake JVM with the functions that the library uses: objects with fields and contents, separate for each thread, one
// pending exception per thread, one monitor. It is stricter than a real one: see Fake::complaints.
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
    std::string type;                      ///< "java/lang/String", "[B"; the name of a class
    std::map<std::string, int64_t> fields; ///< by "name:signature"; a reference is an Object's address. Getters too
    std::string bytes;                     ///< a String's modified UTF-8, the elements of a byte[] or int[]
    std::vector<Object*> elements;         ///< of an Object[]
    std::string text;                      ///< of an object that the library has constructed: "Class(arguments)"
    bool isOpen = false;                   ///< its class is the first one tested for, see Fake::becomes
    bool isNew = false;                    ///< an array that the library has created
    bool isOutput = false;                 ///< an output byte[]
};

/// An Object as a reference of any type. Each conversion is a reference of its own, like an argument of a call, which
/// the library must not delete.
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

/// The behaviour of the fake JVM, and its records since the test last reset them.
struct Fake
{
    std::deque<Object> objects; ///< they live until forgetObjects

    bool inPlace = false;           ///< arrays are pinned in place, not copied
    int failing = 0;                ///< the call that fails among those that can, from 1; 0 for none
    bool failsWithError = true;     ///< whether a failing call also leaves an exception pending, where it need not
    bool strict = false;            ///< a complaint ends the process at once
    std::string missingClass;       ///< not on the class path
    std::string secret;             ///< what no copy may hold when it is freed
    std::function<void()> meddling; ///< the changes of another thread between two reads of Java objects

    /// Whether an open object is of the class that is tested for; it has that class already, and stays open if not.
    std::function<bool(Object&)> becomes;

    /// The value of a field or getter that an object does not have yet, "name:signature". Without it, an object that
    /// the library has constructed has the arguments of its constructor as fields, by their types.
    std::function<int64_t(Object&, const std::string&)> missingField;

    Object* pending = nullptr;
    int monitor = 0;          ///< the number of times that this thread holds it
    int calls = 0;            ///< of functions that can fail
    std::vector<Object*> put; ///< objects that the library has set in fields
    std::string complaints;   ///< errors and leaks: JNI used with an exception pending, references used after they
                              ///< were deleted or deleted twice, too many of them, fields that an object does not
                              ///< have, releases of arrays that are not pinned, input arrays changed or written
                              ///< back, copies of input that are not wiped, secrets
};

extern thread_local Fake fake;
extern JNIEnv* const env;

/// Begins a call: no references, nothing pinned. endOfCall adds leaks to the complaints: more than this number of
/// pinned arrays, a monitor.
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
