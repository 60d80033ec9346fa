#include "bridge/fields.h"
#include "bridge/java_numbers.h"
#include "marshal/template_arrays.h"
#include "marshal/values.h"

namespace {

// Room for the sign bit too: the two's complement is one byte longer than the magnitude where that begins with a 1.
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

// The size of an array that a value may be; 0 for another value.
bool arrayValueSize(JNIEnv* env, jobject value, const char* className, std::size_t elementSize, std::size_t* size)
{
    Instance array = testInstance(env, value, className);
    if (array == Instance::yes)
        *size = arraySize(fromJava(env->GetArrayLength(static_cast<jarray>(value))), elementSize);
    return array != Instance::failed;
}

// Whether a value's size follows from its kind: nothing is asked of the virtual machine then.
bool sizeIsFixed(ValueKind kind)
{
    return kind == ValueKind::boolean || kind == ValueKind::integer || kind == ValueKind::date ||
           kind == ValueKind::unknown;
}

} // namespace

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

namespace {

bool elementSize(JNIEnv* env, ValueKind kind, jobjectArray values, jsize index, std::size_t* size)
{
    if (sizeIsFixed(kind))
        return encodedValueSize(env, kind, nullptr, size);

    jobject value = env->GetObjectArrayElement(values, index);
    if (value == nullptr)
        return env->ExceptionCheck() != JNI_TRUE;
    bool measured = encodedValueSize(env, kind, value, size);
    env->DeleteLocalRef(value);
    return measured;
}

} // namespace

Instance openArrays(JNIEnv* env, jintArray types, jobjectArray values, TemplateArrays* arrays)
{
    Instance are = testInstance(env, types, "[I");
    if (are == Instance::yes)
        are = testInstance(env, values, "[Ljava/lang/Object;");
    if (are != Instance::yes)
        return are;
    arrays->length = env->GetArrayLength(types);
    if (arrays->length != env->GetArrayLength(values))
        return Instance::no;

    arrays->types = types;
    arrays->values = values;
    arrays->typeElements = env->GetIntArrayElements(types, nullptr);
    return Instance::yes;
}

Instance openTemplateObject(JNIEnv* env, jobject value, TemplateArrays* arrays)
{
    jclass type = classIfInstance(env, value, "com/kelvane/pkcs11/Template");
    if (type == nullptr)
        return value != nullptr && env->ExceptionCheck() == JNI_TRUE ? Instance::failed : Instance::no;

    // Templates in templates in records hold more references than a native method may without asking.
    constexpr jint more = 16;
    jobject types = nullptr;
    jobject values = nullptr;
    bool read = env->EnsureLocalCapacity(more) == JNI_OK && readObjectField(env, value, type, "types", "[I", &types) &&
                readObjectField(env, value, type, "values", "[Ljava/lang/Object;", &values);
    Instance are = read ? openArrays(env, static_cast<jintArray>(types), static_cast<jobjectArray>(values), arrays)
                        : Instance::failed;
    if (are != Instance::yes)
        closeTemplateObject(env, {static_cast<jintArray>(types), static_cast<jobjectArray>(values)});
    env->DeleteLocalRef(type);
    return are;
}

void closeTemplateObject(JNIEnv* env, const TemplateArrays& arrays)
{
    closeArrays(env, arrays);
    env->DeleteLocalRef(arrays.types);
    env->DeleteLocalRef(arrays.values);
}

void closeArrays(JNIEnv* env, const TemplateArrays& arrays)
{
    if (arrays.typeElements != nullptr)
        env->ReleaseIntArrayElements(arrays.types, arrays.typeElements, JNI_ABORT);
}

bool measureArrays(JNIEnv* env, const TemplateArrays& arrays, std::size_t* size)
{
    *size = arraySize(fromJava(arrays.length), sizeof(CK_ATTRIBUTE));
    if (arrays.typeElements == nullptr)
        return env->ExceptionCheck() != JNI_TRUE;
    for (jsize i = 0; i < arrays.length; ++i) {
        ValueKind kind = attributeKind(fromJava(arrays.typeElements[i]));
        std::size_t of = 0;
        bool tooDeep = arrays.nested && kind == ValueKind::attributes;
        if (!tooDeep && !elementSize(env, kind, arrays.values, i, &of))
            return false;
        *size = addSize(*size, of);
    }
    return true;
}

std::size_t openTemplate(JNIEnv* env, jintArray types, jobjectArray values, EncodedTemplate* opened)
{
    if (types == nullptr || values == nullptr)
        return 0;

    std::size_t size = 0;
    Instance arrays = openArrays(env, types, values, &opened->arrays);
    bool measured = arrays == Instance::yes && measureArrays(env, opened->arrays, &size);
    opened->state = measured                 ? EncodedTemplate::open
                    : arrays == Instance::no ? EncodedTemplate::inconsistent
                                             : EncodedTemplate::failed;
    return size;
}

bool templateObjectSize(JNIEnv* env, jobject value, bool nested, std::size_t* size)
{
    *size = 0;
    TemplateArrays arrays;
    arrays.nested = nested;
    Instance is = openTemplateObject(env, value, &arrays);
    bool measured = is != Instance::failed && (is == Instance::no || measureArrays(env, arrays, size));
    closeTemplateObject(env, arrays);
    *size = addSize(*size, is == Instance::yes ? alignof(CK_ATTRIBUTE) - 1 : 0);
    return measured;
}
