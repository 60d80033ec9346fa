#include "marshal/template_read.h"

#include "bridge/attribute_calls.h"
#include "bridge/buffers.h"
#include "bridge/exception.h"
#include "bridge/java_numbers.h"
#include "bridge/java_objects.h"
#include "marshal/value_build.h"

// A template as a value takes two calls: the first returns the types and lengths of its entries, for the second each
// entry has a buffer of its length. Invariant: the module may change the entries in between, so types, lengths and
// places are copied to `reported` after the first call; the second call's lengths are checked against these, and values
// are read from our places, never from the module's pointers.

namespace {

// The bytes behind each value: a text's terminator, and the rest of a date.
constexpr CK_ULONG kSpare = 16;

// An entry as the token first reported it; the length that it returns later is checked against this.
struct Reported
{
    CK_ATTRIBUTE_TYPE type;
    std::size_t offset; // of its value
    CK_ULONG capacity;
};

// Reads the template, which the module fills like the template of a C_GetAttributeValue.
bool fetchEntries(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type, CK_ATTRIBUTE* entries,
                  CK_ULONG count)
{
    CK_ATTRIBUTE whole = {type, entries, count * CK_ULONG{sizeof(CK_ATTRIBUTE)}};
    return fetchAttributes(env, handles, &whole, 1) &&
           require(env, whole.ulValueLen == count * sizeof(CK_ATTRIBUTE), CKR_ATTRIBUTE_VALUE_INVALID);
}

jobject buildValue(JNIEnv* env, ValueKind kind, unsigned char* bytes, CK_ULONG length)
{
    switch (kind) {
    case ValueKind::boolean: {
        jboolean flag = booleanOf(env, bytes, length);
        return env->ExceptionCheck() == JNI_TRUE ? nullptr : newBoolean(env, flag);
    }
    case ValueKind::integer: {
        jint number = integerOf(env, bytes, length);
        return env->ExceptionCheck() == JNI_TRUE ? nullptr : newInteger(env, number);
    }
    case ValueKind::date: return dateOf(env, bytes, length);
    case ValueKind::numbers: return numbersOf(env, bytes, length);
    case ValueKind::string: return length != 0 ? newStringFromBytes(env, bytes, length, false) : nullptr;
    case ValueKind::bigInteger: {
        jbyteArray magnitude = length != 0 ? bytesOf(env, bytes, length) : nullptr;
        jobject number = magnitude != nullptr ? newBigInteger(env, magnitude) : nullptr;
        env->DeleteLocalRef(magnitude);
        return number;
    }
    case ValueKind::bytes:
    case ValueKind::unknown: return bytesOf(env, bytes, length);
    case ValueKind::attributes: break;
    }
    return nullptr;
}

bool buildEntry(JNIEnv* env, const CK_ATTRIBUTE& entry, const Reported& reported, unsigned char* values,
                jintArray types, jobjectArray results, jsize index)
{
    if (!require(env, entry.ulValueLen <= reported.capacity, CKR_BUFFER_TOO_SMALL))
        return false;
    jint type = toJava(reported.type);
    env->SetIntArrayRegion(types, index, 1, &type);
    jobject value = buildValue(env, attributeKind(reported.type), values + reported.offset, entry.ulValueLen);
    return value != nullptr ? storeElement(env, results, index, value) : env->ExceptionCheck() != JNI_TRUE;
}

jobject buildTemplate(JNIEnv* env, const CK_ATTRIBUTE* entries, const Reported* reported, unsigned char* values,
                      jsize count)
{
    jclass object = env->FindClass("java/lang/Object");
    jintArray types = object != nullptr ? env->NewIntArray(count) : nullptr;
    jobjectArray results = types != nullptr ? env->NewObjectArray(count, object, nullptr) : nullptr;
    bool built = results != nullptr;
    for (jsize i = 0; built && i < count; ++i)
        built = buildEntry(env, entries[i], reported[i], values, types, results, i);

    jobject result =
        built ? newJavaObject(env, "com/kelvane/pkcs11/Template", "([I[Ljava/lang/Object;)V", types, results) : nullptr;
    env->DeleteLocalRef(results);
    env->DeleteLocalRef(types);
    env->DeleteLocalRef(object);
    return result;
}

// The second call: all values, now that the types and lengths of the entries are known.
jobject readEntryValues(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type, CK_ATTRIBUTE* entries,
                        Reported* reported, CK_ULONG count, StackBudget budget)
{
    std::size_t size = 0;
    for (CK_ULONG i = 0; i < count; ++i) {
        reported[i] = {entries[i].type, size, entries[i].ulValueLen};
        size = addSize(size, reservedSize(addSize(entries[i].ulValueLen, kSpare)));
    }
    EncodeBuffer values;
    RESERVE_STACK(budget, values, size);
    if (values.bytes == nullptr) {
        throwPKCS11Exception(env, 0, "alloca() failed");
        return nullptr;
    }

    for (CK_ULONG i = 0; i < count; ++i)
        entries[i] = {reported[i].type, reported[i].capacity != 0 ? values.bytes + reported[i].offset : nullptr,
                      reported[i].capacity};
    if (count != 0 && !fetchEntries(env, handles, type, entries, count))
        return nullptr;
    return buildTemplate(env, entries, reported, values.bytes, static_cast<jsize>(count));
}

} // namespace

jobject readTemplate(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type, CK_ULONG length,
                     StackBudget budget)
{
    CK_ULONG count = length / sizeof(CK_ATTRIBUTE);
    if (!require(env, length % sizeof(CK_ATTRIBUTE) == 0, CKR_ATTRIBUTE_VALUE_INVALID))
        return nullptr;
    EncodeBuffer shape;
    RESERVE_STACK(budget, shape, arraySize(count, sizeof(CK_ATTRIBUTE) + sizeof(Reported)));
    if (shape.bytes == nullptr) {
        throwPKCS11Exception(env, 0, "alloca() failed");
        return nullptr;
    }

    auto* reported = reinterpret_cast<Reported*>(shape.bytes);
    auto* entries = reinterpret_cast<CK_ATTRIBUTE*>(reported + count);
    if (count != 0 && !fetchEntries(env, handles, type, entries, count))
        return nullptr;
    return readEntryValues(env, handles, type, entries, reported, count, budget);
}
