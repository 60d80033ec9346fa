#include "marshal/value_encode.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <cstring>

#include "bridge/buffers.h"
#include "bridge/exception.h"
#include "bridge/fields.h"
#include "bridge/java_numbers.h"
#include "marshal/attribute_kinds.h"
#include "marshal/template_encode.h"

// ---- Sizes ----

namespace {

// The length of a value that is a byte[]; 0 for another value.
bool arrayValueSize(JNIEnv* env, jobject value, const char* className, std::size_t elementSize, std::size_t* size)
{
    Instance array = testInstance(env, value, className);
    if (array == Instance::yes)
        *size = arraySize(fromJava(env->GetArrayLength(static_cast<jarray>(value))), elementSize);
    return array != Instance::failed;
}

// Whether a value's size follows from its kind: no JNI call is needed then.
bool sizeIsFixed(ValueKind kind)
{
    return kind == ValueKind::boolean || kind == ValueKind::integer || kind == ValueKind::date ||
           kind == ValueKind::unknown;
}

} // namespace

// With the sign bit: the two's complement is one byte longer than the magnitude where that begins with a 1.
bool bigIntegerSize(JNIEnv* env, jobject value, std::size_t* size)
{
    jclass type = env->GetObjectClass(value);
    jmethodID bitLength = type != nullptr ? env->GetMethodID(type, "bitLength", "()I") : nullptr;
    if (bitLength == nullptr)
        return false;

    jint bits = env->CallIntMethod(value, bitLength);
    env->DeleteLocalRef(type);
    if (env->ExceptionCheck() == JNI_TRUE)
        return false;
    *size = bits < 0 ? 0 : (fromJava(bits) + 8) / 8;
    return true;
}

bool encodedValueSize(JNIEnv* env, ValueKind kind, jobject value, std::size_t* size)
{
    *size = 0;
    Instance own = Instance::no;
    switch (kind) {
    case ValueKind::boolean: *size = sizeof(CK_BBOOL); return true;
    case ValueKind::integer: *size = sizeof(CK_ULONG); return true;
    case ValueKind::date: *size = sizeof(CK_DATE); return true;
    case ValueKind::numbers: return arrayValueSize(env, value, "[I", sizeof(CK_ULONG), size);
    case ValueKind::attributes: return templateObjectSize(env, value, true, size);
    case ValueKind::string:
        own = testInstance(env, value, "java/lang/String");
        if (own == Instance::yes)
            *size = fromJava(env->GetStringUTFLength(static_cast<jstring>(value)));
        break;
    case ValueKind::bigInteger:
        own = testInstance(env, value, "java/math/BigInteger");
        if (own == Instance::yes)
            return bigIntegerSize(env, value, size);
        break;
    case ValueKind::bytes: break;
    case ValueKind::unknown: return true;
    }
    return own == Instance::yes || (own == Instance::no && arrayValueSize(env, value, "[B", 1, size));
}

bool encodedElementSize(JNIEnv* env, ValueKind kind, jobjectArray values, jsize index, std::size_t* size)
{
    if (sizeIsFixed(kind))
        return encodedValueSize(env, kind, nullptr, size);

    jobject value = env->GetObjectArrayElement(values, index);
    if (value == nullptr)
        return env->ExceptionCheck() != JNI_TRUE;
    bool sized = encodedValueSize(env, kind, value, size);
    env->DeleteLocalRef(value);
    return sized;
}

// ---- Values ----

namespace {

constexpr const char* kNoSpace = "no space for encoded attribute!";

// Copies an encoded value to its place; raises when it does not fit.
bool store(JNIEnv* env, const void* bytes, CK_ULONG size, void* dest, CK_ULONG* len)
{
    if (dest == nullptr || size > *len)
        return refuse(env, kNoSpace);
    std::memcpy(dest, bytes, size);
    *len = size;
    return true;
}

// The ID of a method without arguments of a class, the reference to which is deleted; null with the lookup error
// pending.
jmethodID methodOf(JNIEnv* env, jclass type, const char* name, const char* signature)
{
    jmethodID method = env->GetMethodID(type, name, signature);
    env->DeleteLocalRef(type);
    return method;
}

bool encodeBoolean(JNIEnv* env, jobject value, CK_ATTRIBUTE* attr)
{
    jclass type = classIfInstance(env, value, "java/lang/Boolean");
    if (type == nullptr)
        return refuse(env, CKR_ATTRIBUTE_VALUE_INVALID);
    jmethodID booleanValue = methodOf(env, type, "booleanValue", "()Z");
    if (booleanValue == nullptr)
        return false;

    CK_BBOOL flag = env->CallBooleanMethod(value, booleanValue);
    return env->ExceptionCheck() != JNI_TRUE && store(env, &flag, sizeof flag, attr->pValue, &attr->ulValueLen);
}

bool encodeString(JNIEnv* env, jobject value, CK_ATTRIBUTE* attr)
{
    Instance string = testInstance(env, value, "java/lang/String");
    if (string == Instance::no)
        return encodeByteArray(env, value, attr->pValue, &attr->ulValueLen, CKR_ATTRIBUTE_VALUE_INVALID);
    if (string == Instance::failed)
        return refuse(env, CKR_ATTRIBUTE_VALUE_INVALID);

    return copyString(env, static_cast<jstring>(value), static_cast<unsigned char*>(attr->pValue), &attr->ulValueLen,
                      kNoSpace);
}

// The day in UTC as 8 digits. Times before 1970 and years of more than 4 digits are refused.
bool encodeDate(JNIEnv* env, jobject value, CK_ATTRIBUTE* attr)
{
    if (value == nullptr) {
        attr->ulValueLen = 0;
        return true;
    }
    jclass type = classIfInstance(env, value, "java/util/Date");
    if (type == nullptr)
        return refuse(env, CKR_ATTRIBUTE_VALUE_INVALID);
    jmethodID getTime = methodOf(env, type, "getTime", "()J");
    if (getTime == nullptr)
        return false;

    jlong milliseconds = env->CallLongMethod(value, getTime);
    if (env->ExceptionCheck() == JNI_TRUE)
        return false;
    // The date is computed here: a C library's calendar may end earlier.
    using namespace std::chrono;
    auto days = floor<std::chrono::days>(sys_time<std::chrono::milliseconds>{std::chrono::milliseconds{milliseconds}});
    if (milliseconds < 0 || days > sys_days{year{9999} / December / 31})
        return refuse(env, CKR_ATTRIBUTE_VALUE_INVALID);

    year_month_day date{days};
    std::array<char, 40> text;
    std::snprintf(text.data(), text.size(), "%04d%02u%02u", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
    return store(env, text.data(), sizeof(CK_DATE), attr->pValue, &attr->ulValueLen);
}

bool encodeNumber(JNIEnv* env, jobject value, CK_ATTRIBUTE* attr)
{
    jclass type = classIfInstance(env, value, "java/lang/Integer");
    if (type == nullptr)
        return refuse(env, CKR_ATTRIBUTE_VALUE_INVALID);
    bool done = encodeInteger(env, value, type, attr->pValue, &attr->ulValueLen);
    env->DeleteLocalRef(type);
    return done;
}

bool encodeMagnitude(JNIEnv* env, jobject value, CK_ATTRIBUTE* attr)
{
    jclass type = classIfInstance(env, value, "java/math/BigInteger");
    if (type == nullptr && value != nullptr && env->ExceptionCheck() == JNI_TRUE)
        return false;
    if (type == nullptr)
        return encodeByteArray(env, value, attr->pValue, &attr->ulValueLen, CKR_ATTRIBUTE_VALUE_INVALID);
    bool done = encodeBigInteger(env, value, type, attr->pValue, &attr->ulValueLen);
    env->DeleteLocalRef(type);
    return done;
}

bool encodeNumbers(JNIEnv* env, jobject value, CK_ATTRIBUTE* attr)
{
    if (value != nullptr && !isInstance(env, value, "[I"))
        return refuse(env, CKR_ATTRIBUTE_VALUE_INVALID);
    auto* array = static_cast<jintArray>(value);
    jsize count = array != nullptr ? env->GetArrayLength(array) : 0;
    std::size_t size = arraySize(fromJava(count), sizeof(CK_ULONG));
    if (count != 0 && (attr->pValue == nullptr || size > attr->ulValueLen))
        return refuse(env, kNoSpace);

    auto* place = static_cast<unsigned char*>(attr->pValue);
    for (jsize i = 0; i < count; ++i, place += sizeof(CK_ULONG)) {
        jint number = 0;
        env->GetIntArrayRegion(array, i, 1, &number);
        CK_ULONG encoded = fromJava(number);
        std::memcpy(place, &encoded, sizeof encoded);
    }
    attr->ulValueLen = static_cast<CK_ULONG>(size);
    return true;
}

} // namespace

bool encodeByteArray(JNIEnv* env, jobject value, void* dest, CK_ULONG* len, CK_RV wrongType)
{
    if (value == nullptr) {
        *len = 0;
        return true;
    }
    if (!isInstance(env, value, "[B"))
        return refuse(env, wrongType);
    return copyByteArray(env, static_cast<jbyteArray>(value), dest, len);
}

bool copyByteArray(JNIEnv* env, jbyteArray array, void* dest, CK_ULONG* len)
{
    PinnedBytes pinned = {};
    if (!pinArray(env, array, &pinned))
        return refuse(env, "encodeByteArray(): can't get elements");

    bool stored = store(env, pinned.data, pinned.length, dest, len);
    releaseBuffer(env, pinned, JNI_ABORT);
    return stored;
}

bool encodeBigInteger(JNIEnv* env, jobject value, jclass type, void* dest, CK_ULONG* len)
{
    jmethodID toByteArray = env->GetMethodID(type, "toByteArray", "()[B");
    if (toByteArray == nullptr)
        return false;

    auto* array = static_cast<jbyteArray>(env->CallObjectMethod(value, toByteArray));
    if (env->ExceptionCheck() == JNI_TRUE)
        return false;
    if (array == nullptr)
        return refuse(env, "toByteArray() returned null");
    PinnedBytes pinned = {};
    if (!pinArray(env, array, &pinned))
        return refuse(env, "encodeBigInteger(): can't get elements");

    CK_ULONG zeros = 0;
    while (zeros + 1 < pinned.length && pinned.data[zeros] == 0)
        ++zeros;
    bool stored = store(env, pinned.data + zeros, pinned.length - zeros, dest, len);
    releaseBuffer(env, pinned, JNI_ABORT);
    env->DeleteLocalRef(array);
    return stored;
}

bool encodeInteger(JNIEnv* env, jobject value, jclass type, void* dest, CK_ULONG* len)
{
    jmethodID intValue = env->GetMethodID(type, "intValue", "()I");
    if (intValue == nullptr)
        return false;

    CK_ULONG number = fromJava(env->CallIntMethod(value, intValue));
    return env->ExceptionCheck() != JNI_TRUE && store(env, &number, sizeof number, dest, len);
}

namespace {

// Encodes a value at attr->pValue. attr->ulValueLen holds the capacity on entry and the bytes written on success.
bool encodePlainValue(JNIEnv* env, jobject value, ValueKind kind, CK_ATTRIBUTE* attr)
{
    switch (kind) {
    case ValueKind::boolean: return encodeBoolean(env, value, attr);
    case ValueKind::integer: return encodeNumber(env, value, attr);
    case ValueKind::string: return encodeString(env, value, attr);
    case ValueKind::bytes:
        return encodeByteArray(env, value, attr->pValue, &attr->ulValueLen, CKR_ATTRIBUTE_VALUE_INVALID);
    case ValueKind::date: return encodeDate(env, value, attr);
    case ValueKind::bigInteger: return encodeMagnitude(env, value, attr);
    case ValueKind::numbers: return encodeNumbers(env, value, attr);
    default: return refuse(env, CKR_ATTRIBUTE_TYPE_INVALID);
    }
}

bool encodeNestedTemplate(JNIEnv* env, jobject value, CK_ATTRIBUTE* attr, EncodeArea* area)
{
    CK_ATTRIBUTE* entries = nullptr;
    CK_ULONG count = 0;
    if (!encodeTemplateObject(env, value, true, &entries, &count, area))
        return false;
    attr->pValue = entries;
    attr->ulValueLen = static_cast<CK_ULONG>(count * sizeof(CK_ATTRIBUTE));
    return true;
}

} // namespace

bool encodeAttributeValue(JNIEnv* env, jobject value, CK_ATTRIBUTE* attr, EncodeArea* area)
{
    ValueKind kind = attributeKind(attr->type);
    if (kind == ValueKind::attributes)
        return encodeNestedTemplate(env, value, attr, area);

    attr->pValue = area->cursor;
    attr->ulValueLen = static_cast<CK_ULONG>(area->end - area->cursor);
    if (!encodePlainValue(env, value, kind, attr))
        return false;
    area->cursor += attr->ulValueLen;
    return true;
}
