#include "session/session_calls.h"

#include "bridge/frame.h"
#include "bridge/handed_out.h"

void sessionCall(JNIEnv* env, jobject session, decltype(&CK_FUNCTION_LIST::C_Logout) function)
{
    SessionHandles handles = {};
    if (resolveSession(env, session, &handles))
        checkResult(env, callGuarded(env, handles.list, function, handles.session));
}

jobject copyObject(JNIEnv* env, jobject owner, const ObjectHandles& source, const EncodedTemplate& attributes)
{
    SessionHandles session = {source.list, source.session, 0};
    MadeObject copy;
    // Whether it is on the token the source may decide, so no session is known to own it.
    Outcome outcome = callMaking(env, source.list, 0, &copy, &CK_FUNCTION_LIST::C_CopyObject, source.session,
                                 source.object, attributes.entries, attributes.count);
    return checkMade(env, session, outcome, {&copy}) ? newMadeObject(env, owner, session, copy) : nullptr;
}

void closeSession(JNIEnv* env, jobject session)
{
    SessionHandles handles = {};
    if (resolveSession(env, session, &handles))
        checkResult(env, endSession(env, handles.list, handles.session, handles.sessionID));
}

void destroyObject(JNIEnv* env, const ObjectHandles& object)
{
    checkResult(env, endObject(env, {object.list, object.session, 0}, object.object, object.objectID));
}
