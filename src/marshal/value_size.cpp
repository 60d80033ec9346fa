#include "frame.h"
#include "values.h"

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

std::size_t openTemplate(JNIEnv* env, jintArray types, jobjectArray values, EncodedTemplate* opened)
{
    if (types == nullptr || values == nullptr)
        return 0;
    opened->types = types;
    opened->values = values;

    Instance arrays = testInstance(env, types, "[I");
    if (arrays == Instance::yes)
        arrays = testInstance(env, values, "[Ljava/lang/Object;");
    opened->state = arrays == Instance::failed ? EncodedTemplate::failed : EncodedTemplate::inconsistent;
    if (arrays != Instance::yes)
        return 0;
    opened->length = env->GetArrayLength(types);
    if (opened->length != env->GetArrayLength(values))
        return 0;
    opened->state = EncodedTemplate::open;
    opened->typeElements = env->GetIntArrayElements(types, nullptr);

    std::size_t total = arraySize(fromJava(opened->length), sizeof(CK_ATTRIBUTE));
    for (jsize i = 0; opened->typeElements != nullptr && i < opened->length; ++i) {
        ValueKind kind = attributeKind(fromJava(opened->typeElements[i]));
        std::size_t size = 0;
        if (!elementSize(env, kind, values, i, &size)) {
            opened->state = EncodedTemplate::failed;
            break;
        }
        total = addSize(total, size);
    }
    return total;
}
