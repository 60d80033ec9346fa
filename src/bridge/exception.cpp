#include "bridge/exception.h"

#include <array>
#include <cstdio>

#include "bridge/diagnostics.h"
#include "bridge/fields.h"
#include "bridge/java_numbers.h"

namespace {

jobject reportUnlessCreated(jobject exception)
{
    if (exception == nullptr)
        reportFault("tokbridge.dll: can't create exception object");
    return exception;
}

jobject newMessageException(JNIEnv* env, jclass type, const char* message)
{
    jstring text = env->NewStringUTF(message);
    if (text == nullptr) {
        reportFault("tokbridge.dll: can't create message string for exception");
        return nullptr;
    }
    jmethodID constructor = env->GetMethodID(type, "<init>", "(Ljava/lang/String;)V");
    if (constructor == nullptr) {
        reportFault("tokbridge.dll: can't find method PKCS11Exception(String)");
        return nullptr;
    }
    jobject exception = reportUnlessCreated(env->NewObject(type, constructor, text));
    env->DeleteLocalRef(text);
    return exception;
}

jobject newCodeException(JNIEnv* env, jclass type, CK_RV code)
{
    jmethodID constructor = env->GetMethodID(type, "<init>", "(I)V");
    if (constructor == nullptr) {
        reportFault("tokbridge.dll: can't find method PKCS11Exception(int)");
        return nullptr;
    }
    return reportUnlessCreated(env->NewObject(type, constructor, toJava(code)));
}

} // namespace

jint throwPKCS11Exception(JNIEnv* env, CK_RV code, const char* message)
{
    if (env->ExceptionCheck() == JNI_TRUE)
        return 0;

    jclass type = env->FindClass("com/kelvane/pkcs11/PKCS11Exception");
    if (type == nullptr) {
        reportFault("tokbridge.dll: can't find class PKCS11Exception");
        return 0;
    }

    jobject exception =
        message != nullptr ? newMessageException(env, type, message) : newCodeException(env, type, code);
    if (exception != nullptr && env->Throw(static_cast<jthrowable>(exception)) < 0)
        reportFault("tokbridge.dll: can't throw PKCS11Exception");
    env->DeleteLocalRef(exception);
    env->DeleteLocalRef(type);
    return 0;
}

bool refuse(JNIEnv* env, CK_RV code)
{
    throwPKCS11Exception(env, code);
    return false;
}

bool refuse(JNIEnv* env, const char* message)
{
    throwPKCS11Exception(env, 0, message);
    return false;
}

bool require(JNIEnv* env, bool condition, CK_RV code)
{
    return condition || refuse(env, code);
}

void throwTooWide(JNIEnv* env, const char* noun, CK_ULONG value)
{
    std::array<char, 64> message;
    std::snprintf(message.data(), message.size(), "%s 0x%llx does not fit into 32 bits", noun,
                  static_cast<unsigned long long>(value));
    throwPKCS11Exception(env, 0, message.data());
}

jthrowable stashPendingException(JNIEnv* env)
{
    jthrowable pending = env->ExceptionOccurred();
    if (pending != nullptr)
        env->ExceptionClear();
    return pending;
}

bool clearPendingException(JNIEnv* env, const char* className)
{
    jthrowable pending = stashPendingException(env);
    if (!isInstance(env, pending, className)) {
        restorePendingException(env, pending);
        return false;
    }
    env->DeleteLocalRef(pending);
    return true;
}

void restorePendingException(JNIEnv* env, jthrowable first)
{
    if (first == nullptr)
        return;

    env->ExceptionClear();
    env->Throw(first);
    env->DeleteLocalRef(first);
}
