#include "bridge/java_objects.h"

#include <cstdarg>

#include "bridge/fields.h"

namespace {

// Constructs an object of a class and drops the reference to the class.
jobject constructV(JNIEnv* env, jclass type, const char* signature, va_list arguments)
{
    jmethodID constructor = env->GetMethodID(type, "<init>", signature);
    jobject object = constructor != nullptr ? env->NewObjectV(type, constructor, arguments) : nullptr;
    env->DeleteLocalRef(type);
    return object;
}

jobject construct(JNIEnv* env, jclass type, const char* signature, ...)
{
    va_list arguments;
    va_start(arguments, signature);
    jobject object = constructV(env, type, signature, arguments);
    va_end(arguments);
    return object;
}

} // namespace

jobject newJavaObject(JNIEnv* env, const char* className, const char* signature, ...)
{
    jclass type = env->FindClass(className);
    if (type == nullptr)
        return nullptr;

    va_list arguments;
    va_start(arguments, signature);
    jobject object = constructV(env, type, signature, arguments);
    va_end(arguments);
    return object;
}

bool storeElement(JNIEnv* env, jobjectArray array, jsize index, jobject element)
{
    if (element == nullptr)
        return false;
    env->SetObjectArrayElement(array, index, element);
    env->DeleteLocalRef(element);
    return env->ExceptionCheck() != JNI_TRUE;
}

jobject newNativeObject(JNIEnv* env, jobject owner, jint number)
{
    jclass objectClass = env->FindClass("com/kelvane/pkcs11/nat/NativePKCS11Object");
    if (objectClass == nullptr)
        return nullptr;
    jobject session = owner;
    if (owner != nullptr && env->IsInstanceOf(owner, objectClass) == JNI_TRUE &&
        !readObjectField(env, owner, objectClass, "session", "Lcom/kelvane/pkcs11/nat/NativePKCS11Session;", &session))
        return nullptr;
    return construct(env, objectClass, "(Lcom/kelvane/pkcs11/nat/NativePKCS11Session;I)V", session, number);
}
