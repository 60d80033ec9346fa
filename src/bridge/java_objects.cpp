#include "frame.h"

#include <cstdarg>

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

namespace {

bool requireNumber(JNIEnv* env, bool numbered, CK_OBJECT_HANDLE handle)
{
    if (!numbered)
        throwNoStandInLeft(env, "object", handle, "destroy objects");
    return numbered;
}

jobject newObject(JNIEnv* env, jobject owner, jint number)
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

} // namespace

jobject newNativeObject(JNIEnv* env, jobject owner, CK_FUNCTION_LIST_PTR list, CK_OBJECT_HANDLE handle)
{
    jint number = 0;
    return requireNumber(env, objectToJava(list, handle, &number), handle) ? newObject(env, owner, number) : nullptr;
}

jobject newFoundObject(JNIEnv* env, jobject session, CK_FUNCTION_LIST_PTR list, CK_OBJECT_HANDLE handle)
{
    jint number = 0;
    return requireNumber(env, foundObjectToJava(list, handle, &number), handle) ? newObject(env, session, number)
                                                                                : nullptr;
}

void discardSession(JNIEnv* env, const SessionHandles& session)
{
    jthrowable first = setPendingAside(env);
    jint number = withdrawSessionHandle(session.list, session.session);
    CK_RV rv = callGuarded(env, session.list, &CK_FUNCTION_LIST::C_CloseSession, session.session);
    settleSession(number, rv);
    restorePending(env, first);
}

void discardObject(JNIEnv* env, const SessionHandles& session, CK_OBJECT_HANDLE handle)
{
    if (handle == 0)
        return;

    jthrowable first = setPendingAside(env);
    jint number = withdrawObjectHandle(session.list, handle);
    CK_RV rv = callGuarded(env, session.list, &CK_FUNCTION_LIST::C_DestroyObject, session.session, handle);
    settleObject(number, rv);
    restorePending(env, first);
}

jobject newCreatedObject(JNIEnv* env, jobject owner, const SessionHandles& session, CK_OBJECT_HANDLE handle)
{
    jobject object = newNativeObject(env, owner, session.list, handle);
    if (object == nullptr)
        discardObject(env, session, handle);
    return object;
}
