#include "frame.h"
#include "values.h"

namespace {

std::size_t byteArraySize(JNIEnv* env, jobject value)
{
    return fromJava(env->GetArrayLength(static_cast<jbyteArray>(value)));
}

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

} // namespace

std::size_t encodedValueSize(JNIEnv* env, jobject value)
{
    if (value == nullptr)
        return 0;
    if (isInstance(env, value, "java/lang/Boolean"))
        return sizeof(CK_BBOOL);
    if (isInstance(env, value, "java/lang/Integer"))
        return sizeof(CK_ULONG);
    if (isInstance(env, value, "[B"))
        return byteArraySize(env, value);
    if (isInstance(env, value, "java/util/Date"))
        return sizeof(CK_DATE);
    if (isInstance(env, value, "java/math/BigInteger"))
        return bigIntegerSize(env, value);
    if (isInstance(env, value, "java/lang/String"))
        return fromJava(env->GetStringUTFLength(static_cast<jstring>(value)));
    if (isInstance(env, value, "com/kelvane/pkcs11/nat/NativePKCS11Object"))
        return sizeof(CK_OBJECT_HANDLE);
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
        size += encodedValueSize(env, value);
        env->DeleteLocalRef(value);
    }
    return size;
}
