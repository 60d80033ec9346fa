#include "bridge/guarded_call.h"

void awaitCallsUnlocked(JNIEnv* env, Held* held, const CallCounts* counts)
{
    if (!callsInProgress(counts))
        return;
    unlock(env, {held->monitor, nullptr}, CKR_OK);
    awaitCalls(counts);
    Held again = lock(env);
    *held = {again.monitor, held->first != nullptr ? held->first : again.first};
}
