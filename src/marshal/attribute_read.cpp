#include "marshal/attribute_read.h"

#include "bridge/exception.h"
#include "bridge/java_objects.h"
#include "marshal/attribute_fetch.h"
#include "marshal/template_read.h"
#include "marshal/value_build.h"

namespace {

jobject bigIntegerZero(JNIEnv* env)
{
    jclass type = env->FindClass("java/math/BigInteger");
    jmethodID valueOf =
        type != nullptr ? env->GetStaticMethodID(type, "valueOf", "(J)Ljava/math/BigInteger;") : nullptr;
    if (valueOf == nullptr)
        return nullptr;

    jobject zero = env->CallStaticObjectMethod(type, valueOf, jlong{0});
    return env->ExceptionCheck() == JNI_TRUE ? nullptr : zero;
}

} // namespace

jboolean readBoolean(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type)
{
    Scratch scratch = {};
    CK_ULONG length = 0;
    return fetchFixed(env, handles, type, ValueKind::boolean, &scratch, &length) ? booleanOf(env, scratch.bytes, length)
                                                                                 : JNI_FALSE;
}

jint readInteger(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type)
{
    Scratch scratch = {};
    CK_ULONG length = 0;
    return fetchFixed(env, handles, type, ValueKind::integer, &scratch, &length) ? integerOf(env, scratch.bytes, length)
                                                                                 : 0;
}

jobject readString(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type)
{
    CK_ULONG length = 0;
    if (!fetchLength(env, handles, type, &length))
        return nullptr;
    if (length == 0)
        return env->NewStringUTF("");

    jobject text = nullptr;
    if (!fetchText(env, handles, type, length, StackBudget{}, &text))
        throwPKCS11Exception(env, 0, "getStringAttributeValue(): alloca() failed");
    return text;
}

jobject readByteArray(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type)
{
    CK_ULONG length = 0;
    if (!fetchLength(env, handles, type, &length))
        return nullptr;

    bool fetched = false;
    jbyteArray array = fetchBytes(env, handles, type, length, &fetched);
    return fetched ? array : nullptr;
}

jobject readDate(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type)
{
    Scratch scratch = {};
    CK_ULONG length = 0;
    return fetchFixed(env, handles, type, ValueKind::date, &scratch, &length) ? dateOf(env, scratch.bytes, length)
                                                                              : nullptr;
}

jobject readBigInteger(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type)
{
    CK_ULONG length = 0;
    if (!fetchLength(env, handles, type, &length))
        return nullptr;
    if (length == 0)
        return bigIntegerZero(env);

    bool fetched = false;
    jbyteArray magnitude = fetchBytes(env, handles, type, length, &fetched);
    return fetched && magnitude != nullptr ? newBigInteger(env, magnitude) : nullptr;
}

jobject readNumbers(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type)
{
    CK_ULONG length = 0;
    if (!fetchLength(env, handles, type, &length))
        return nullptr;

    jobject numbers = nullptr;
    if (!fetchNumbers(env, handles, type, length, StackBudget{}, &numbers))
        throwPKCS11Exception(env, 0, "alloca() failed");
    return numbers;
}

jobject readValue(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type)
{
    switch (attributeKind(type)) {
    case ValueKind::boolean: {
        jboolean value = readBoolean(env, handles, type);
        return env->ExceptionCheck() == JNI_TRUE ? nullptr : newBoolean(env, value);
    }
    case ValueKind::integer: {
        jint value = readInteger(env, handles, type);
        return env->ExceptionCheck() == JNI_TRUE ? nullptr : newInteger(env, value);
    }
    case ValueKind::string: return readString(env, handles, type);
    case ValueKind::bytes:
    case ValueKind::unknown: return readByteArray(env, handles, type);
    case ValueKind::date: return readDate(env, handles, type);
    case ValueKind::bigInteger: return readBigInteger(env, handles, type);
    case ValueKind::numbers: return readNumbers(env, handles, type);
    case ValueKind::attributes: {
        CK_ULONG length = 0;
        return fetchLength(env, handles, type, &length) ? readTemplate(env, handles, type, length, StackBudget{})
                                                        : nullptr;
    }
    }
    return nullptr;
}
