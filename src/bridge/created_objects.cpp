#include "bridge/created_objects.h"

#include "bridge/exception.h"
#include "bridge/guarded_call.h"
#include "bridge/handles.h"

bool checkCreated(JNIEnv* env, const SessionHandles& session, Outcome outcome,
                  std::initializer_list<CK_OBJECT_HANDLE> created)
{
    if (checkResult(env, outcome))
        return true;
    for (CK_OBJECT_HANDLE each : created)
        if (outcome.rv == CKR_OK)
            discardObject(env, session, each);
    return false;
}

void discardObject(JNIEnv* env, const SessionHandles& session, CK_OBJECT_HANDLE created)
{
    if (created == 0)
        return;

    jthrowable first = stashPendingException(env);
    callGuarded(env, session.list, &CK_FUNCTION_LIST::C_DestroyObject, session.session, created);
    restorePendingException(env, first);
}

jobject newCreatedObject(JNIEnv* env, jobject owner, const SessionHandles& session, CK_OBJECT_HANDLE created)
{
    jobject object = newNativeObject(env, owner, created);
    if (object == nullptr)
        discardObject(env, session, created);
    return object;
}
