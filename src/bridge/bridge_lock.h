// The bridge lock, the one lock of the process: the monitor of the class NativePKCS11.
//
// An Outcome carries both the module's return code and whether the lock failed. A failing lock never prevents a call;
// but then its error is pending and Java sees it, and what the call created or opened is destroyed or closed. What the
// call ended stays ended.
#pragma once

#include <jni.h>

#include "bridge/cryptoki.h"

/// What lock has acquired, for unlock to release.
struct Held
{
    jclass monitor;   ///< null when the lock was not acquired
    jthrowable first; ///< the virtual machine's error that prevented it, stashed
};

/// Enters the monitor of the class NativePKCS11, the one lock of the process (re-entrant). When
/// that fails, a fault is printed or the error stashed, and the caller goes on unlocked. No exception may be pending,
/// and none is afterwards.
Held lock(JNIEnv* env);

/// The result of a call.
struct Outcome
{
    CK_RV rv;        ///< the module's return code
    bool lockFailed; ///< the lock's error is pending
};

/// Leaves the monitor and passes `rv` through; faults are printed. The first exception is
/// pending afterwards: the error that lock stashed, or what was raised since.
Outcome unlock(JNIEnv* env, const Held& held, CK_RV rv);

/// True for CKR_OK; any other code is raised, unless the lock's error is pending.
bool checkResult(JNIEnv* env, Outcome outcome);
