#include "bridge/fields.h"

bool readIntField(JNIEnv* env, jobject object, jclass type, const char* name, jint* value)
{
    jfieldID field = env->GetFieldID(type, name, "I");
    if (field == nullptr)
        return false;
    *value = env->GetIntField(object, field);
    return true;
}

bool readBooleanField(JNIEnv* env, jobject object, jclass type, const char* name, jboolean* value)
{
    jfieldID field = env->GetFieldID(type, name, "Z");
    if (field == nullptr)
        return false;
    *value = env->GetBooleanField(object, field);
    return true;
}

bool readByteField(JNIEnv* env, jobject object, jclass type, const char* name, jbyte* value)
{
    jfieldID field = env->GetFieldID(type, name, "B");
    if (field == nullptr)
        return false;
    *value = env->GetByteField(object, field);
    return true;
}

bool readObjectField(JNIEnv* env, jobject object, jclass type, const char* name, const char* signature, jobject* value)
{
    jfieldID field = env->GetFieldID(type, name, signature);
    if (field == nullptr)
        return false;
    *value = env->GetObjectField(object, field);
    return *value != nullptr || env->ExceptionCheck() != JNI_TRUE;
}

jclass classIfInstance(JNIEnv* env, jobject object, const char* className)
{
    jclass type = object != nullptr ? env->FindClass(className) : nullptr;
    if (type == nullptr || env->IsInstanceOf(object, type) == JNI_TRUE)
        return type;
    env->DeleteLocalRef(type);
    return nullptr;
}

Instance testInstance(JNIEnv* env, jobject object, const char* className)
{
    if (object == nullptr)
        return Instance::no;
    jclass type = env->FindClass(className);
    if (type == nullptr)
        return Instance::failed;
    bool is = env->IsInstanceOf(object, type) == JNI_TRUE;
    env->DeleteLocalRef(type);
    return is ? Instance::yes : Instance::no;
}

bool isInstance(JNIEnv* env, jobject object, const char* className)
{
    return testInstance(env, object, className) == Instance::yes;
}
