#include "bridge/bridge_lock.h"

#include "bridge/diagnostics.h"
#include "bridge/exception.h"

namespace {

constexpr const char* kMonitorClass = "com/kelvane/pkcs11/nat/NativePKCS11";

} // namespace

Held lock(JNIEnv* env)
{
    jclass monitor = env->FindClass(kMonitorClass);
    if (monitor != nullptr && env->MonitorEnter(monitor) == JNI_OK)
        return {monitor, nullptr};

    if (monitor != nullptr)
        reportFault("tokbridge.dll: can't lock!\n");
    env->DeleteLocalRef(monitor);
    return {nullptr, stashPendingException(env)};
}

Outcome unlock(JNIEnv* env, const Held& held, CK_RV rv)
{
    jthrowable first = held.first != nullptr ? held.first : stashPendingException(env);
    bool failed = held.first != nullptr;

    if (held.monitor != nullptr) {
        jclass found = env->FindClass(kMonitorClass);
        if (found == nullptr) {
            reportFault("unlock: error - FindClass failed to find %s\n", kMonitorClass);
            if (env->ExceptionCheck() == JNI_TRUE)
                env->ExceptionDescribe();
        }

        // With the reference that lock kept, even if the class is not found again: the monitor must not stay locked.
        jint result = env->MonitorExit(held.monitor);
        if (result != JNI_OK) {
            reportFault("unlock: error - MonitorExit returned rc=%d\n", static_cast<int>(result));
            failed = env->ExceptionCheck() == JNI_TRUE;
        }
        env->DeleteLocalRef(found);
        env->DeleteLocalRef(held.monitor);
    }

    restorePendingException(env, first);
    return {rv, failed};
}

bool checkResult(JNIEnv* env, Outcome outcome)
{
    return !outcome.lockFailed && require(env, outcome.rv == CKR_OK, outcome.rv);
}
