// The guarded call: every call of a module goes through here.
#pragma once

#include <jni.h>

#include "bridge/bridge_lock.h"
#include "bridge/cryptoki.h"
#include "bridge/library_table.h"
#include "bridge/stand_ins.h"

/// Calls a function of a module; one that it left null answers CKR_FUNCTION_NOT_SUPPORTED.
template <typename Function, typename... Args>
CK_RV callModule(CK_FUNCTION_LIST_PTR list, Function CK_FUNCTION_LIST::* function, Args... args)
{
    Function entry = list->*function;
    return entry != nullptr ? entry(args...) : CKR_FUNCTION_NOT_SUPPORTED;
}

/// Does work() with a module, which answers a CK_RV: under the bridge lock when the library needs it, which is judged
/// afresh every time; otherwise counted while it lasts, for the library's last holder to wait for. So what work does
/// with the answer belongs to the same life of the library. No exception may be pending, and work raises none.
template <typename Work>
Outcome guarded(JNIEnv* env, CK_FUNCTION_LIST_PTR list, Work work)
{
    if (CallCount* counted = beginCall(list, env)) {
        CK_RV rv = work();
        endCall(counted);
        return {rv, false};
    }

    Held held = lock(env);
    return unlock(env, held, work());
}

/// Makes one Cryptoki call, guarded.
template <typename Function, typename... Args>
Outcome callGuarded(JNIEnv* env, CK_FUNCTION_LIST_PTR list, Function CK_FUNCTION_LIST::* function, Args... args)
{
    return guarded(env, list, [=] { return callModule(list, function, args...); });
}

/// The same for a call that C_Finalize itself ends: nobody waits for it.
template <typename Function, typename... Args>
Outcome callUncounted(JNIEnv* env, CK_FUNCTION_LIST_PTR list, Function CK_FUNCTION_LIST::* function, Args... args)
{
    if (needsBridgeLock(list))
        return callGuarded(env, list, function, args...);
    return {callModule(list, function, args...), false};
}

/// Makes the call that ends something, call(handle), and sees to its numbers: they mean nothing from before the call
/// on, and are given up or put back as it went. A number that means nothing any more is answered as the module would.
template <typename Call>
Outcome callEnding(JNIEnv* env, Ending ending, Call call)
{
    Outcome outcome = guarded(env, ending.list, [&ending, &call] {
        if (!withdraw(&ending))
            return ending.kind == Ending::session ? CKR_SESSION_HANDLE_INVALID : CKR_OBJECT_HANDLE_INVALID;
        CK_RV rv = call(ending.handle);
        settle(ending, rv);
        return rv;
    });
    if (ending.ticket != 0)
        giveUpMembers(ending.list);
    return outcome;
}
