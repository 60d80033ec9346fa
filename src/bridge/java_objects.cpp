#include "bridge/java_objects.h"

#include <cstdarg>

jobject newJavaObject(JNIEnv* env, const char* className, const char* signature, ...)
{
    jclass type = env->FindClass(className);
    if (type == nullptr)
        return nullptr;

    jmethodID constructor = env->GetMethodID(type, "<init>", signature);
    va_list arguments;
    va_start(arguments, signature);
    jobject object = constructor != nullptr ? env->NewObjectV(type, constructor, arguments) : nullptr;
    va_end(arguments);
    env->DeleteLocalRef(type);
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
