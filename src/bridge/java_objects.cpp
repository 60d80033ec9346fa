#include "frame.h"

#include <cstdarg>

jobject newJavaObject(JNIEnv* env, const char* className, const char* signature, ...)
{
    jclass type = env->FindClass(className);
    if (type == nullptr)
        return nullptr;
    jmethodID constructor = env->GetMethodID(type, "<init>", signature);
    if (constructor == nullptr)
        return nullptr;

    va_list arguments;
    va_start(arguments, signature);
    jobject object = env->NewObjectV(type, constructor, arguments);
    va_end(arguments);
    env->DeleteLocalRef(type);
    return object;
}

jobject newNativeObject(JNIEnv* env, jobject owner, CK_OBJECT_HANDLE handle)
{
    if (!survivesJava(handle)) {
        throwHandleTooWide(env, "object handle", handle);
        return nullptr;
    }

    jclass objectClass = env->FindClass("com/kelvane/pkcs11/nat/NativePKCS11Object");
    if (objectClass == nullptr)
        return nullptr;
    jobject session = owner;
    if (owner != nullptr && env->IsInstanceOf(owner, objectClass) == JNI_TRUE &&
        !readObjectField(env, owner, objectClass, "session", "Lcom/kelvane/pkcs11/nat/NativePKCS11Session;", &session))
        return nullptr;
    env->DeleteLocalRef(objectClass);
    return newJavaObject(env, "com/kelvane/pkcs11/nat/NativePKCS11Object",
                         "(Lcom/kelvane/pkcs11/nat/NativePKCS11Session;I)V", session, toJava(handle));
}

void discardObject(JNIEnv* env, const SessionHandles& session, CK_OBJECT_HANDLE handle)
{
    if (handle == 0)
        return;

    jthrowable first = setPendingAside(env);
    callGuarded(env, session.list, &CK_FUNCTION_LIST::C_DestroyObject, session.session, handle);
    restorePending(env, first);
}

jobject newCreatedObject(JNIEnv* env, jobject owner, const SessionHandles& session, CK_OBJECT_HANDLE handle)
{
    jobject object = newNativeObject(env, owner, handle);
    if (object == nullptr)
        discardObject(env, session, handle);
    return object;
}
