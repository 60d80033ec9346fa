#include "fake_jni.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

Fake fake;

namespace {

Object* raw(void* reference) { return static_cast<Object*>(reference); }

// What must not be asked with an exception pending goes through this function or the next.
Object* object(void* reference)
{
    if (fake.pending != nullptr)
        fake.complaints += " JNI used with an exception pending";
    return raw(reference);
}

// Classes, and the IDs of fields and methods, are Objects: one for each name.
Ref named(const std::string& name)
{
    static std::map<std::string, Object*> known;
    Object*& found = known[name];
    if (found == nullptr)
        found = make(name).object;
    return {object(found)};
}

bool isKindOf(const std::string& type, const std::string& wanted)
{
    // PKCS11MechPar_RC2_CBC is a PKCS11MechPar_RC2, and so on.
    bool isBase = wanted.find("PKCS11MechPar_RC") != std::string::npos && type.find(wanted + "_") == 0;
    return type == wanted || isBase;
}

int64_t& fieldOf(jobject of, void* id)
{
    auto found = object(of)->fields.find(raw(id)->type);
    if (found != raw(of)->fields.end())
        return found->second;
    fake.complaints += " no field " + raw(of)->type + "." + raw(id)->type;
    return raw(of)->fields[raw(id)->type];
}

Object*& elementOf(jobjectArray array, jsize i) { return object(array)->elements.at(static_cast<std::size_t>(i)); }

template <typename T>
T* pin(jobject of, jboolean* isCopy)
{
    const std::string& bytes = object(of)->bytes;
    auto* copy = static_cast<char*>(std::malloc(bytes.size() + 1));
    std::memcpy(copy, bytes.c_str(), bytes.size() + 1);
    if (isCopy != nullptr)
        *isCopy = JNI_TRUE;
    ++fake.pins;
    return reinterpret_cast<T*>(copy);
}

void unpin(jobject of, const void* copy, jint mode)
{
    const std::string_view held(static_cast<const char*>(copy), raw(of)->bytes.size());
    if (mode != JNI_ABORT)
        std::memcpy(raw(of)->bytes.data(), copy, raw(of)->bytes.size());
    else if (!fake.secret.empty() && held.find(fake.secret) != std::string_view::npos)
        fake.complaints += " a copy of the secret in the heap";
    std::free(const_cast<void*>(copy));
    --fake.pins;
}

jsize lengthOf(jobject of)
{
    const Object* array = object(of);
    return static_cast<jsize>(array->type[1] == 'B'   ? array->bytes.size()
                              : array->type[1] == 'I' ? array->bytes.size() / sizeof(jint)
                                                      : array->elements.size());
}

jobject newObject(JNIEnv*, jclass type, jmethodID constructor, va_list arguments)
{
    const std::string& name = object(type)->type;
    Ref made = make(name);
    std::string text;
    for (const char* c = raw(constructor)->type.c_str() + std::strlen("<init>:("); *c != ')'; ++c) {
        text += text.empty() ? "" : ",";
        char number[24];
        if (*c == 'I' || *c == 'Z') {
            std::snprintf(number, sizeof number, "0x%x", static_cast<unsigned>(va_arg(arguments, int)));
            text += number;
        } else {
            text += *c == 'J' ? std::to_string(va_arg(arguments, jlong)) : show({va_arg(arguments, Object*)});
        }
        c += *c == '[' ? 1 : 0;
        c = *c == 'L' ? std::strchr(c, ';') : c;
    }
    made.object->text = name.substr(name.rfind('/') + 1) + "(" + text + ")";
    return made;
}

template <typename T>
T callGetter(JNIEnv*, jobject of, jmethodID id, va_list)
{
    return (T)fieldOf(of, id); // a number or a reference
}

template <typename T>
T getField(JNIEnv*, jobject of, jfieldID id)
{
    return (T)fieldOf(of, id); // a number or a reference
}

template <typename T>
void setField(JNIEnv*, jobject of, jfieldID id, T value)
{
    fieldOf(of, id) = (int64_t)value; // a number or a reference
}

template <typename T>
T getID(JNIEnv*, jclass, const char* name, const char* signature)
{
    return named(std::string(name) + ":" + signature);
}

void unexpected()
{
    std::fputs("a JNI function that the fake does not have\n", stderr);
    std::abort();
}

JNINativeInterface_ functions()
{
    JNINativeInterface_ table = {};
    auto* entries = reinterpret_cast<void (**)()>(&table);
    for (std::size_t i = 0; i < sizeof table / sizeof *entries; ++i)
        entries[i] = unexpected;

    table.FindClass = [](JNIEnv*, const char* name) -> jclass {
        if (name != fake.missingClass)
            return named(name);
        fake.pending = make("java/lang/NoClassDefFoundError").object;
        return nullptr;
    };
    table.GetObjectClass = [](JNIEnv*, jobject of) -> jclass { return named(raw(of)->type); };
    table.IsInstanceOf = [](JNIEnv*, jobject of, jclass type) -> jboolean {
        return isKindOf(object(of)->type, raw(type)->type);
    };
    table.GetFieldID = getID<jfieldID>;
    table.GetMethodID = getID<jmethodID>;
    table.GetStaticMethodID = getID<jmethodID>;
    table.GetIntField = getField<jint>;
    table.GetByteField = getField<jbyte>;
    table.GetBooleanField = getField<jboolean>;
    table.GetLongField = getField<jlong>;
    table.GetObjectField = getField<jobject>;
    table.SetByteField = setField<jbyte>;
    table.SetLongField = setField<jlong>;
    table.SetObjectField = setField<jobject>;
    table.CallBooleanMethodV = callGetter<jboolean>;
    table.CallIntMethodV = callGetter<jint>;
    table.CallLongMethodV = callGetter<jlong>;
    table.CallObjectMethodV = callGetter<jobject>;
    table.CallStaticObjectMethodV = newObject;
    table.NewObjectV = newObject;

    table.GetArrayLength = [](JNIEnv*, jarray of) { return lengthOf(of); };
    table.GetByteArrayElements = [](JNIEnv*, jbyteArray of, jboolean* isCopy) { return pin<jbyte>(of, isCopy); };
    table.GetIntArrayElements = [](JNIEnv*, jintArray of, jboolean* isCopy) { return pin<jint>(of, isCopy); };
    table.GetStringUTFChars = [](JNIEnv*, jstring of, jboolean* isCopy) -> const char* {
        return pin<char>(of, isCopy);
    };
    table.GetStringUTFLength = [](JNIEnv*, jstring of) { return static_cast<jsize>(object(of)->bytes.size()); };
    table.ReleaseByteArrayElements = [](JNIEnv*, jbyteArray of, jbyte* copy, jint mode) { unpin(of, copy, mode); };
    table.ReleaseIntArrayElements = [](JNIEnv*, jintArray of, jint* copy, jint mode) { unpin(of, copy, mode); };
    table.ReleaseStringUTFChars = [](JNIEnv*, jstring of, const char* copy) { unpin(of, copy, JNI_ABORT); };
    table.GetIntArrayRegion = [](JNIEnv*, jintArray of, jsize start, jsize length, jint* numbers) {
        auto at = static_cast<std::size_t>(start) * sizeof *numbers;
        std::memcpy(numbers, object(of)->bytes.data() + at, static_cast<std::size_t>(length) * sizeof *numbers);
    };
    table.SetByteArrayRegion = [](JNIEnv*, jbyteArray of, jsize start, jsize length, const jbyte* bytes) {
        std::memcpy(object(of)->bytes.data() + start, bytes, static_cast<std::size_t>(length));
    };
    table.GetObjectArrayElement = [](JNIEnv*, jobjectArray of, jsize i) -> jobject { return Ref{elementOf(of, i)}; };
    table.SetObjectArrayElement = [](JNIEnv*, jobjectArray of, jsize i, jobject value) {
        elementOf(of, i) = raw(value);
    };
    table.NewByteArray = [](JNIEnv*, jsize length) -> jbyteArray {
        return newBytes(std::string(static_cast<std::size_t>(length), 0));
    };
    table.NewIntArray = [](JNIEnv*, jsize length) -> jintArray {
        return newInts(std::vector<jint>(static_cast<std::size_t>(length)));
    };
    table.NewObjectArray = [](JNIEnv*, jsize length, jclass, jobject) -> jobjectArray {
        return newObjects(std::vector<Ref>(static_cast<std::size_t>(length)));
    };
    table.NewStringUTF = [](JNIEnv*, const char* text) -> jstring { return newString(text); };

    table.ExceptionCheck = [](JNIEnv*) -> jboolean { return fake.pending != nullptr; };
    table.ExceptionOccurred = [](JNIEnv*) -> jthrowable { return Ref{fake.pending}; };
    table.ExceptionClear = [](JNIEnv*) { fake.pending = nullptr; };
    table.Throw = [](JNIEnv*, jthrowable exception) -> jint {
        fake.pending = object(exception);
        return 0;
    };
    table.MonitorEnter = [](JNIEnv*, jobject of) -> jint {
        return object(of) != nullptr && ++fake.monitor != 0 ? 0 : -1;
    };
    table.MonitorExit = [](JNIEnv*, jobject) -> jint { return --fake.monitor < 0 ? -1 : 0; };
    table.DeleteLocalRef = [](JNIEnv*, jobject) {};
    return table;
}

const JNINativeInterface_ kFunctions = functions();
JNIEnv machine = {&kFunctions};

} // namespace

JNIEnv* const env = &machine;

Ref make(std::string_view type, std::map<std::string, int64_t> fields, std::string_view bytes)
{
    fake.objects.push_back({std::string(type), std::move(fields), std::string(bytes), {}, ""});
    return {&fake.objects.back()};
}

Ref newString(std::string_view text) { return make("java/lang/String", {}, text); }

Ref newBytes(std::string_view bytes) { return make("[B", {}, bytes); }

Ref newInts(const std::vector<jint>& values)
{
    return make("[I", {}, {reinterpret_cast<const char*>(values.data()), values.size() * sizeof(jint)});
}

Ref newObjects(const std::vector<Ref>& values)
{
    Ref made = make("[Ljava/lang/Object;");
    for (Ref value : values)
        made.object->elements.push_back(value.object);
    return made;
}

int64_t address(Ref object) { return reinterpret_cast<int64_t>(object.object); }

std::string hex(std::string_view bytes)
{
    std::string digits;
    for (char c : bytes) {
        char pair[3];
        std::snprintf(pair, sizeof pair, "%02x", static_cast<unsigned char>(c));
        digits += pair;
    }
    return digits;
}

std::string show(Ref of)
{
    const Object* shown = of.object;
    if (shown == nullptr)
        return "null";
    if (!shown->fields.empty() || !shown->text.empty())
        return shown->fields.empty() ? shown->text : "@";
    if (shown->type == "java/lang/String")
        return "'" + shown->bytes + "'";

    std::string text;
    for (Object* element : shown->elements)
        text += (text.empty() ? "" : " ") + show({element});
    return shown->type.size() == 2 ? hex(shown->bytes) : "{" + text + "}";
}
