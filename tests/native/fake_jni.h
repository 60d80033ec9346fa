// A virtual machine just large enough for the library, on one thread at a time: objects with fields and contents, one
// pending exception, one monitor. What Get*Elements and GetStringUTFChars hand out are copies from malloc. It is strict
// in what a real one lets pass: see Fake::complaints.
#pragma once

#include <cstdint>
#include <deque>
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
};

/// An Object as whatever reference type a call wants.
struct Ref
{
    Object* object = nullptr;

    template <typename T>
    operator T*() const
    {
        return reinterpret_cast<T*>(object);
    }
};

struct Fake
{
    std::deque<Object> objects; ///< they live as long as the program
    Object* pending = nullptr;
    int pins = 0;             ///< copies not yet given back
    int monitor = 0;          ///< how often it is held
    std::string missingClass; ///< not on the class path
    std::string secret;       ///< what no copy may hold when it is freed, unless Java gets it back
    std::string complaints;   ///< JNI used with an exception pending, fields that an object does not have, secrets
};

extern Fake fake;
extern JNIEnv* const env;

Ref make(std::string_view type, std::map<std::string, int64_t> fields = {}, std::string_view bytes = {});
Ref newString(std::string_view text);
Ref newBytes(std::string_view bytes);
Ref newInts(const std::vector<jint>& values);
Ref newObjects(const std::vector<Ref>& values);

int64_t address(Ref object);
std::string hex(std::string_view bytes);

/// 'a String', the digits of a byte[] or int[], {the elements}, Class(0xint,long,...), or @ for an object with fields.
std::string show(Ref object);
