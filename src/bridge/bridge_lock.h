// The bridge lock, the one lock of the process: the monitor of the class NativePKCS11.
//
// What the module has answered and what has failed here are two things, and an Outcome carries both. A lock that fails
// never keeps a call from being made; but then Java sees the lock's error, which is pending, and nothing more is done:
// what the call has made is ended again, what it has ended stays ended.
#pragma once

#include <jni.h>

#include "bridge/cryptoki.h"

/// What lock has acquired, for unlock to release.
struct Held
{
    jclass monitor;   ///< null when the lock was not acquired
    jthrowable first; ///< the virtual machine's error that kept it from that, set aside
};

/// Enters the monitor of the class NativePKCS11, the one lock of the process (re-entrant). One that cannot be entered
/// never keeps a call from being made: a fault is printed or an error set aside, and the caller goes on unlocked. No
/// exception may be pending, and none is afterwards.
Held lock(JNIEnv* env);

/// What came of a call.
struct Outcome
{
    CK_RV rv;        ///< what the module has answered
    bool lockFailed; ///< an error of the lock's own is pending
};

/// Leaves the monitor and passes `rv` through; faults are printed, and never keep the monitor. The first exception is
/// pending afterwards: the error that lock set aside, or what was raised since.
Outcome unlock(JNIEnv* env, const Held& held, CK_RV rv);

/// True for CKR_OK; any other code is raised, unless the lock's error is pending.
bool checkResult(JNIEnv* env, Outcome outcome);
