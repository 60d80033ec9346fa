#include "frame.h"
#include "values.h"

namespace {

// Room for the sign bit too: the two's complement is one byte longer than the magnitude where that begins with a 1.
std::size_t bigIntegerSize(JNIEnv* env, jobject value)
{
    jclass type = env->GetObjectClass(value);
    jmethodID bitLength = type != nullptr ? env->GetMethodID(type, "bitLength", "()I") : nullptr;
    if (bitLength == nullptr)
        return 0;

    jint bits = env->CallIntMethod(value, bitLength);
    env->DeleteLocalRef(type);
    return env->ExceptionCheck() == JNI_TRUE || bits < 0 ? 0 : (fromJava(bits) + 8) / 8;
}

enum class ValueClass
{
    none, // null, another class, or the test failed
    boolean,
    integer,
    bytes,
    date,
    bigInteger,
    string,
    numbers,
    object,
};

struct ClassName
{
    ValueClass valueClass;
    const char* name;
};

using enum ValueClass;

// In the order in which they are tried.
constexpr ClassName kClassNames[] = {
    // clang-format off
    { boolean,    "java/lang/Boolean"                          },
    { integer,    "java/lang/Integer"                          },
    { bytes,      "[B"                                         },
    { date,       "java/util/Date"                             },
    { bigInteger, "java/math/BigInteger"                       },
    { string,     "java/lang/String"                           },
    { numbers,    "[I"                                         },
    { object,     "com/kelvane/pkcs11/nat/NativePKCS11Object"  },
    // clang-format on
};

ValueClass classOf(JNIEnv* env, jobject value)
{
    for (const ClassName& each : kClassNames) {
        Instance tested = testInstance(env, value, each.name);
        if (tested != Instance::no)
            return tested == Instance::yes ? each.valueClass : none;
    }
    return none;
}

} // namespace

std::size_t encodedValueSize(JNIEnv* env, jobject value)
{
    switch (value != nullptr ? classOf(env, value) : none) {
    case boolean: return sizeof(CK_BBOOL);
    case integer: return sizeof(CK_ULONG);
    case bytes: return fromJava(env->GetArrayLength(static_cast<jbyteArray>(value)));
    case date: return sizeof(CK_DATE);
    case bigInteger: return bigIntegerSize(env, value);
    case string: return fromJava(env->GetStringUTFLength(static_cast<jstring>(value)));
    case numbers: return arraySize(fromJava(env->GetArrayLength(static_cast<jintArray>(value))), sizeof(CK_ULONG));
    case object: return sizeof(CK_OBJECT_HANDLE);
    case none: break;
    }
    return 0;
}

std::size_t encodedTemplateSize(JNIEnv* env, jobjectArray values)
{
    if (values == nullptr)
        return 0;

    jsize count = env->GetArrayLength(values);
    std::size_t size = arraySize(fromJava(count), sizeof(CK_ATTRIBUTE));
    for (jsize i = 0; i < count && env->ExceptionCheck() != JNI_TRUE; ++i) {
        jobject value = env->GetObjectArrayElement(values, i);
        size += value != nullptr ? encodedValueSize(env, value) : 0;
        env->DeleteLocalRef(value);
    }
    return size;
}
