#include "frame.h"

namespace {

constexpr const char* kMonitorClass = "com/kelvane/pkcs11/nat/NativePKCS11";

} // namespace

jclass lock(JNIEnv* env)
{
    jclass monitor = env->FindClass(kMonitorClass);
    if (monitor == nullptr)
        return nullptr;

    if (env->MonitorEnter(monitor) != JNI_OK) {
        reportFault("tokbridge.dll: can't lock!\n");
        env->DeleteLocalRef(monitor);
        return nullptr;
    }
    return monitor;
}

CK_RV unlock(JNIEnv* env, jclass monitor, CK_RV rv)
{
    if (monitor == nullptr)
        return rv;

    jclass found = env->FindClass(kMonitorClass);
    if (found == nullptr) {
        reportFault("unlock: error - FindClass failed to find %s\n", kMonitorClass);
        if (env->ExceptionCheck() == JNI_TRUE)
            env->ExceptionDescribe();
    }

    // By the reference that lock kept, found again or not: a monitor not left stays locked for ever.
    jint failed = env->MonitorExit(monitor);
    if (failed != JNI_OK)
        reportFault("unlock: error - MonitorExit returned rc=%d\n", static_cast<int>(failed));
    env->DeleteLocalRef(found);
    env->DeleteLocalRef(monitor);
    return rv;
}
