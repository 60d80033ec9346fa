#include "fake_jni.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <sstream>

thread_local Fake fake;

namespace {

constexpr std::string_view kDirectBuffer = "java/nio/DirectByteBuffer";
constexpr int kLocalReferences = 16; // that a native method may hold at once without asking for more

struct Reference
{
    Object* object;
    bool isArgument;
    bool isLive = true;
};

// The elements of a pinned array.
struct Pin
{
    Object* array;
    bool inPlace;
    std::string before;
};

thread_local std::deque<Reference> references;
thread_local int localReferences = 0;
thread_local int mostReferences = 0;
thread_local std::map<const void*, Pin> pins;
std::recursive_mutex monitor;

void complain(const std::string& of)
{
    if (fake.strict) {
        std::fprintf(stderr, "%s\n", of.c_str());
        std::abort();
    }
    if (fake.complaints.find(of.substr(0, of.find(':'))) == std::string::npos)
        fake.complaints += " " + of;
}

template <typename T>
T newReference(Object* object)
{
    if (object == nullptr)
        return nullptr;
    references.push_back({object, false});
    if (++localReferences > mostReferences) {
        std::string held;
        for (const Reference& each : references)
            held += !each.isArgument && each.isLive ? " " + each.object->type : "";
        complain("too many references:" + held);
    }
    return reinterpret_cast<T>(&references.back());
}

Object* raw(void* reference)
{
    if (reference == nullptr)
        return nullptr;
    auto* given = static_cast<Reference*>(reference);
    if (!given->isLive)
        complain("a reference used that was given back");
    return given->object;
}

// Functions that must not be called with an exception pending call this one.
Object* object(void* reference)
{
    if (fake.pending != nullptr)
        complain("JNI used with an exception pending");
    if (fake.meddling)
        fake.meddling();
    return raw(reference);
}

void raise(const char* error)
{
    if (fake.pending == nullptr)
        fake.pending = make(error).object;
}

// Whether this call fails, among those that can.
bool fails(bool always = true)
{
    if (++fake.calls != fake.failing)
        return false;
    if (always || fake.failsWithError)
        raise("java/lang/OutOfMemoryError");
    return true;
}

// Classes, and the IDs of fields and methods, are Objects: one for each name.
Object* named(const std::string& name)
{
    static thread_local std::map<std::string, Object> known;
    Object& found = known[name];
    found.type = name;
    return &found;
}

const std::string& nameOf(void* id) { return static_cast<Object*>(id)->type; }

bool isKindOf(Object* object, const std::string& wanted)
{
    if (object->isOpen) {
        object->type = wanted;
        object->isOpen = !fake.becomes(*object);
        return !object->isOpen;
    }
    // PKCS11MechPar_RC2_CBC is a PKCS11MechPar_RC2, and so on.
    bool isBase = wanted.find("PKCS11MechPar_RC") != std::string::npos && object->type.find(wanted + "_") == 0;
    return object->type == wanted || isBase;
}

// The field of an object that the library has constructed: the constructor's argument of its type. A handle is an int
// and a long in Java, with either constructor.
int64_t constructedField(Object& owner, const std::string& name)
{
    std::map<std::string, int64_t>& arguments = owner.fields;
    bool isWide = arguments.contains("J");
    switch (name[name.find(':') + 1]) {
    case 'I': return isWide ? -1 : arguments["I"];
    case 'J': return isWide ? arguments["J"] : static_cast<std::uint32_t>(arguments["I"]);
    default: return arguments["L"];
    }
}

int64_t& fieldOf(jobject of, void* id)
{
    Object* owner = object(of);
    const std::string& name = nameOf(id);
    auto found = owner->fields.find(name);
    if (found != owner->fields.end())
        return found->second;
    int64_t value = 0;
    if (!owner->text.empty())
        value = constructedField(*owner, name);
    else if (fake.missingField)
        value = fake.missingField(*owner, name);
    else
        complain("no field " + owner->type + "." + name);
    return owner->fields[name] = value;
}

// Returns elements in memory of exactly their size, and a String's with its terminator.
template <typename T>
T* pin(jobject of, jboolean* isCopy, std::size_t terminator = 0)
{
    Object* array = object(of);
    if (fails(false))
        return nullptr;
    std::size_t size = array->bytes.size() + terminator;
    auto* elements = static_cast<char*>(std::malloc(std::max<std::size_t>(size, 1)));
    std::memcpy(elements, array->bytes.c_str(), size);
    if (isCopy != nullptr)
        *isCopy = fake.inPlace ? JNI_FALSE : JNI_TRUE;
    pins[elements] = {array, fake.inPlace, array->bytes};
    return reinterpret_cast<T*>(elements);
}

void unpin(jobject of, const void* elements, jint mode)
{
    auto found = pins.find(elements);
    if (found == pins.end() || found->second.array != raw(of)) {
        complain("a release of what is not pinned");
        return;
    }
    const Pin& pinned = found->second;
    std::string_view held(static_cast<const char*>(elements), pinned.before.size());
    if (pinned.inPlace && mode == JNI_ABORT && !pinned.array->isNew && held != pinned.before)
        complain("an array changed that was only read");
    bool isBytes = pinned.array->type == "[B";
    bool isRead = mode == JNI_ABORT && (isBytes || pinned.array->type == "java/lang/String");
    if (!pinned.inPlace && isRead && held.find_first_not_of('\0') != std::string_view::npos)
        complain("a copy that was not wiped");
    if (fake.strict && isBytes && mode != JNI_ABORT && !pinned.array->isNew && !pinned.array->isOutput)
        complain("an array written back that was only read");
    if (!pinned.inPlace && !fake.secret.empty() && held.find(fake.secret) != std::string_view::npos)
        complain("a copy of the secret in the heap");
    if (pinned.inPlace || mode != JNI_ABORT)
        pinned.array->bytes = held;
    std::free(const_cast<void*>(elements));
    pins.erase(found);
}

jsize lengthOf(jobject of)
{
    const Object* array = object(of);
    return static_cast<jsize>(array->type[1] == 'B'   ? array->bytes.size()
                              : array->type[1] == 'I' ? array->bytes.size() / sizeof(jint)
                                                      : array->elements.size());
}

std::string number(unsigned value)
{
    char digits[16];
    std::snprintf(digits, sizeof digits, "0x%x", value);
    return digits;
}

// A constructed object, with the constructor's arguments as fields by their types.
Object* construct(const std::string& name, const std::string& constructor, va_list arguments)
{
    Object* made = make(name).object;
    std::string text;
    for (const char* c = constructor.c_str() + std::strlen("<init>:("); *c != ')'; ++c) {
        text += text.empty() ? "" : ",";
        if (*c == 'I' || *c == 'Z') {
            int value = va_arg(arguments, int);
            text += number(static_cast<unsigned>(value));
            made->fields["I"] = value;
        } else if (*c == 'J') {
            jlong value = va_arg(arguments, jlong);
            made->fields["J"] = value;
            std::ostringstream hexadecimal;
            hexadecimal << "0x" << std::hex << value;
            text += name.find("Native") != std::string::npos ? hexadecimal.str() : std::to_string(value);
        } else {
            Object* value = raw(va_arg(arguments, void*));
            text += show({value});
            made->fields["L"] = address({value});
        }
        c += *c == '[' ? 1 : 0;
        c = *c == 'L' ? std::strchr(c, ';') : c;
    }
    made->text = name.substr(name.rfind('/') + 1) + "(" + text + ")";
    return made;
}

jobject newObject(JNIEnv*, jclass type, jmethodID constructor, va_list arguments)
{
    const std::string& name = object(type)->type;
    return fails() ? nullptr : newReference<jobject>(construct(name, nameOf(constructor), arguments));
}

template <typename T>
T callGetter(JNIEnv*, jobject of, jmethodID id, va_list)
{
    int64_t value = fieldOf(of, id);
    if (fails())
        return T{};
    if constexpr (std::is_pointer_v<T>)
        return newReference<T>(reinterpret_cast<Object*>(value));
    else
        return static_cast<T>(value);
}

template <typename T>
T getField(JNIEnv*, jobject of, jfieldID id)
{
    if constexpr (std::is_pointer_v<T>)
        return newReference<T>(reinterpret_cast<Object*>(fieldOf(of, id)));
    else
        return static_cast<T>(fieldOf(of, id));
}

template <typename T>
void setField(JNIEnv*, jobject of, jfieldID id, T value)
{
    if constexpr (std::is_pointer_v<T>) {
        fake.put.push_back(raw(value));
        fieldOf(of, id) = address({raw(value)});
    } else {
        fieldOf(of, id) = static_cast<int64_t>(value);
    }
}

template <typename T>
T getID(JNIEnv*, jclass type, const char* name, const char* signature)
{
    object(type);
    return fails() ? nullptr : reinterpret_cast<T>(named(std::string(name) + ":" + signature));
}

jclass findClass(JNIEnv*, const char* name)
{
    Object* type = named(name);
    if (fake.pending != nullptr)
        complain("JNI used with an exception pending");
    if (name == fake.missingClass)
        raise("java/lang/NoClassDefFoundError");
    return name == fake.missingClass || fails() ? nullptr : newReference<jclass>(type);
}

jint changeMonitor(jobject of, int by)
{
    if (by > 0)
        object(of);
    bool failed = fails(false);
    if (by > 0 && !failed)
        monitor.lock();
    if (by < 0 && fake.monitor > 0)
        monitor.unlock();
    fake.monitor += failed && by > 0 ? 0 : by; // MonitorExit releases the monitor even when it reports a failure
    if (fake.monitor < 0)
        complain("a monitor left that is not held");
    return failed ? JNI_ERR : JNI_OK;
}

jobject elementOf(jobjectArray array, jsize i)
{
    std::vector<Object*>& elements = object(array)->elements;
    if (i < 0 || static_cast<std::size_t>(i) >= elements.size()) {
        raise("java/lang/ArrayIndexOutOfBoundsException");
        return nullptr;
    }
    return fails() ? nullptr : newReference<jobject>(elements[static_cast<std::size_t>(i)]);
}

// The range of an array that is copied from or to.
char* region(jarray of, jsize start, jsize length, std::size_t width)
{
    std::string& bytes = object(of)->bytes;
    if (start < 0 || length < 0 ||
        (static_cast<std::size_t>(start) + static_cast<std::size_t>(length)) * width > bytes.size())
        std::abort();
    return bytes.data() + static_cast<std::size_t>(start) * width;
}

// A new array with new elements; null if it exceeds the heap.
template <typename T, typename Make>
T newArray(jsize length, Make make)
{
    constexpr jsize heap = 1 << 22;
    object(nullptr);
    if (length < 0 || length > heap)
        raise("java/lang/OutOfMemoryError");
    if (length < 0 || length > heap || fails())
        return nullptr;
    Object* made = make(static_cast<std::size_t>(length)).object;
    made->isNew = true;
    return newReference<T>(made);
}

void dropReference(void* reference)
{
    if (reference == nullptr)
        return;
    auto* given = static_cast<Reference*>(reference);
    if (given->isArgument || !given->isLive)
        complain("a reference given back that is not held");
    else
        --localReferences;
    given->isLive = given->isArgument;
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

    table.FindClass = findClass;
    table.GetObjectClass = [](JNIEnv*, jobject of) { return newReference<jclass>(named(object(of)->type)); };
    table.IsInstanceOf = [](JNIEnv*, jobject of, jclass type) -> jboolean {
        return of == nullptr || isKindOf(object(of), raw(type)->type);
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
        return pin<char>(of, isCopy, 1);
    };
    table.GetStringUTFLength = [](JNIEnv*, jstring of) { return static_cast<jsize>(object(of)->bytes.size()); };
    table.ReleaseByteArrayElements = [](JNIEnv*, jbyteArray of, jbyte* at, jint mode) { unpin(of, at, mode); };
    table.ReleaseIntArrayElements = [](JNIEnv*, jintArray of, jint* at, jint mode) { unpin(of, at, mode); };
    table.ReleaseStringUTFChars = [](JNIEnv*, jstring of, const char* at) { unpin(of, at, JNI_ABORT); };
    table.GetIntArrayRegion = [](JNIEnv*, jintArray of, jsize start, jsize length, jint* numbers) {
        std::memcpy(numbers, region(of, start, length, sizeof(jint)), static_cast<std::size_t>(length) * sizeof(jint));
    };
    table.SetIntArrayRegion = [](JNIEnv*, jintArray of, jsize start, jsize length, const jint* numbers) {
        std::memcpy(region(of, start, length, sizeof(jint)), numbers, static_cast<std::size_t>(length) * sizeof(jint));
    };
    table.SetByteArrayRegion = [](JNIEnv*, jbyteArray of, jsize start, jsize length, const jbyte* bytes) {
        std::memcpy(region(of, start, length, 1), bytes, static_cast<std::size_t>(length));
    };
    table.GetObjectArrayElement = [](JNIEnv*, jobjectArray of, jsize i) { return elementOf(of, i); };
    table.SetObjectArrayElement = [](JNIEnv*, jobjectArray of, jsize i, jobject value) {
        Object* array = object(of);
        if (!fails())
            array->elements.at(static_cast<std::size_t>(i)) = raw(value);
    };
    table.NewByteArray = [](JNIEnv*, jsize length) {
        return newArray<jbyteArray>(length, [](std::size_t count) { return newBytes(std::string(count, 0)); });
    };
    table.NewIntArray = [](JNIEnv*, jsize length) {
        return newArray<jintArray>(length, [](std::size_t count) { return newInts(std::vector<jint>(count)); });
    };
    table.NewObjectArray = [](JNIEnv*, jsize length, jclass, jobject) {
        return newArray<jobjectArray>(length, [](std::size_t count) { return newObjects(std::vector<Ref>(count)); });
    };
    table.NewStringUTF = [](JNIEnv*, const char* text) {
        return newArray<jstring>(0, [text](std::size_t) { return newString(text); });
    };

    table.GetDirectBufferAddress = [](JNIEnv*, jobject of) -> void* {
        Object* buffer = object(of);
        return buffer->type == kDirectBuffer ? buffer->bytes.data() : nullptr;
    };
    table.GetDirectBufferCapacity = [](JNIEnv*, jobject of) { return static_cast<jlong>(object(of)->bytes.size()); };

    table.ExceptionCheck = [](JNIEnv*) -> jboolean { return fake.pending != nullptr; };
    table.ExceptionOccurred = [](JNIEnv*) { return newReference<jthrowable>(fake.pending); };
    table.ExceptionClear = [](JNIEnv*) { fake.pending = nullptr; };
    table.ExceptionDescribe = [](JNIEnv*) { fake.pending = nullptr; };
    table.Throw = [](JNIEnv*, jthrowable exception) -> jint {
        Object* thrown = object(exception);
        if (fails(false))
            return JNI_ERR;
        fake.pending = thrown;
        return JNI_OK;
    };
    table.MonitorEnter = [](JNIEnv*, jobject of) { return changeMonitor(of, 1); };
    table.MonitorExit = [](JNIEnv*, jobject of) { return changeMonitor(of, -1); };
    table.EnsureLocalCapacity = [](JNIEnv*, jint more) -> jint {
        object(nullptr);
        if (fails())
            return JNI_ERR;
        mostReferences = std::max(mostReferences, localReferences + int{more});
        return JNI_OK;
    };
    table.DeleteLocalRef = [](JNIEnv*, jobject reference) { dropReference(reference); };
    return table;
}

const JNINativeInterface_ kFunctions = functions();
JNIEnv machine = {&kFunctions};

} // namespace

JNIEnv* const env = &machine;

void* Ref::reference() const
{
    if (object == nullptr)
        return nullptr;
    references.push_back({object, true});
    return &references.back();
}

void startOfCall()
{
    fake.complaints.clear();
    fake.pending = nullptr;
    fake.calls = 0;
    fake.monitor = 0;
    fake.put.clear();
    references.clear();
    localReferences = 0;
    mostReferences = kLocalReferences;
}

void endOfCall(int pinned)
{
    if (static_cast<int>(pins.size()) > pinned)
        complain("pins=" + std::to_string(pins.size()));
    if (fake.monitor != 0)
        complain("monitor=" + std::to_string(fake.monitor));
    for (const auto& [elements, pin] : pins)
        std::free(const_cast<void*>(elements));
    pins.clear();
}

void forgetObjects()
{
    references.clear();
    fake.objects.clear();
}

Ref make(std::string_view type, std::map<std::string, int64_t> fields, std::string_view bytes)
{
    Object& made = fake.objects.emplace_back();
    made.type = type;
    made.fields = std::move(fields);
    made.bytes = bytes;
    return {&made};
}

Ref newString(std::string_view text) { return make("java/lang/String", {}, text); }

Ref newBytes(std::string_view bytes) { return make("[B", {}, bytes); }

Ref newBuffer(std::string_view bytes) { return make(kDirectBuffer, {}, bytes); }

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

Ref returned(jobject result) { return {raw(result)}; }

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
    if (!shown->text.empty() || !shown->fields.empty())
        return shown->text.empty() ? "@" : shown->text;
    if (shown->type == "java/lang/String")
        return "'" + shown->bytes + "'";
    if (shown->type == "[B")
        return hex(shown->bytes);

    std::string text;
    for (Object* element : shown->elements)
        text += (text.empty() ? "" : " ") + show({element});
    if (shown->type == "[I") {
        std::vector<unsigned> numbers(shown->bytes.size() / sizeof(jint));
        shown->bytes.copy(reinterpret_cast<char*>(numbers.data()), shown->bytes.size());
        for (unsigned each : numbers)
            text += (text.empty() ? "" : " ") + number(each);
    }
    return "{" + text + "}";
}
