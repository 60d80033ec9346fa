#include "session/session_calls.h"

#include "bridge/created_objects.h"
#include "bridge/frame.h"

void sessionCall(JNIEnv* env, jobject session, decltype(&CK_FUNCTION_LIST::C_Logout) function)
{
    SessionHandles handles = {};
    if (resolveSession(env, session, &handles))
        checkResult(env, callGuarded(env, handles.list, function, handles.session));
}

jobject copyObject(JNIEnv* env, jobject owner, const ObjectHandles& source, const EncodedTemplate& attributes)
{
    SessionHandles session = {source.list, source.session};
    CK_OBJECT_HANDLE copy = 0;
    Outcome outcome = callGuarded(env, source.list, &CK_FUNCTION_LIST::C_CopyObject, source.session, source.object,
                                  attributes.entries, attributes.count, &copy);
    return checkCreated(env, session, outcome, {copy}) ? newCreatedObject(env, owner, session, copy) : nullptr;
}

void destroyObject(JNIEnv* env, const ObjectHandles& object)
{
    checkResult(env, callGuarded(env, object.list, &CK_FUNCTION_LIST::C_DestroyObject, object.session, object.object));
}
