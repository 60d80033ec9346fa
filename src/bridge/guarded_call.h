// The guarded call: every call of a module goes through here.
#pragma once

#include <jni.h>

#include "bridge/bridge_lock.h"
#include "bridge/cryptoki.h"
#include "bridge/library_table.h"

/// Calls a function of a module; one that it left null returns CKR_FUNCTION_NOT_SUPPORTED.
template <typename List, typename Function, typename... Args>
CK_RV callModule(List* list, Function List::* function, Args... args)
{
    Function entry = list->*function;
    return entry != nullptr ? entry(args...) : CKR_FUNCTION_NOT_SUPPORTED;
}

/// Makes one call to a library's module, which returns a CK_RV: under the bridge lock when the library needs it, which
/// is checked at every call; otherwise counted while it lasts, so that the library's last holder can wait for it. No
/// exception may be pending.
template <typename Call>
Outcome guarded(JNIEnv* env, CK_FUNCTION_LIST_PTR list, Call call)
{
    if (CallCount* counted = beginCall(list, env)) {
        CK_RV rv = call();
        endCall(counted);
        return {rv, false};
    }

    Held held = lock(env);
    return unlock(env, held, call());
}

/// Makes one Cryptoki call, guarded.
template <typename Function, typename... Args>
Outcome callGuarded(JNIEnv* env, CK_FUNCTION_LIST_PTR list, Function CK_FUNCTION_LIST::* function, Args... args)
{
    return guarded(env, list, [=] { return callModule(list, function, args...); });
}

/// The same for a function that edition 3.`minor` introduced. CKR_FUNCTION_NOT_SUPPORTED without a call for a module
/// that does not offer that edition.
template <typename Function, typename... Args>
Outcome callExtended(JNIEnv* env, CK_FUNCTION_LIST_PTR list, CK_BYTE minor, Function CK_FUNCTION_LIST_3_2::* function,
                     Args... args)
{
    CK_FUNCTION_LIST_3_2* extended = extendedList(list, minor);
    if (extended == nullptr)
        return {CKR_FUNCTION_NOT_SUPPORTED, false};
    return guarded(env, list, [=] { return callModule(extended, function, args...); });
}

/// The same for a call that C_Finalize itself ends: it is not counted, and not waited for.
template <typename Function, typename... Args>
Outcome callUncounted(JNIEnv* env, CK_FUNCTION_LIST_PTR list, Function CK_FUNCTION_LIST::* function, Args... args)
{
    if (needsBridgeLock(list))
        return callGuarded(env, list, function, args...);
    return {callModule(list, function, args...), false};
}

/// Waits until the calls in progress have returned, some seconds at most. Other libraries go on meanwhile: the lock is
/// released for as long, and an error that kept it from being acquired stays stashed.
void awaitCallsUnlocked(JNIEnv* env, Held* held, const CallCounts* counts);

/// The same for a call that must not run beside another one of the library: it is made under the bridge lock, after
/// those in progress have returned or some seconds have passed.
template <typename Function, typename... Args>
Outcome callAlone(JNIEnv* env, CK_FUNCTION_LIST_PTR list, Function CK_FUNCTION_LIST::* function, Args... args)
{
    Held held = lock(env);
    CallCounts* counts = suspendCalls(list);
    awaitCallsUnlocked(env, &held, counts);
    CK_RV rv = callModule(list, function, args...);
    resumeCalls(list, counts);
    return unlock(env, held, rv);
}
