#include "session_calls.h"

void sessionCall(JNIEnv* env, jobject session, decltype(&CK_FUNCTION_LIST::C_Logout) function)
{
    SessionHandles handles = {};
    if (resolveSession(env, session, &handles))
        checkResult(env, callGuarded(env, handles.list, function, handles.session));
}

jobject copyObject(JNIEnv* env, jobject owner, const ObjectHandles& source, const EncodedTemplate& attributes)
{
    CK_OBJECT_HANDLE copy = 0;
    if (!checkResult(env, callGuarded(env, source.list, &CK_FUNCTION_LIST::C_CopyObject, source.session, source.object,
                                      attributes.entries, attributes.count, &copy)))
        return nullptr;
    return newCreatedObject(env, owner, {source.list, source.session, 0}, copy);
}

void closeSession(JNIEnv* env, jobject session)
{
    SessionHandles handles = {};
    if (!resolveSession(env, session, &handles) ||
        !require(env, withdrawSession(handles.list, handles.sessionID, &handles.session), CKR_SESSION_HANDLE_INVALID))
        return;

    CK_RV rv = callGuarded(env, handles.list, &CK_FUNCTION_LIST::C_CloseSession, handles.session);
    settleSession(handles.sessionID, rv);
    checkResult(env, rv);
}

void destroyObject(JNIEnv* env, const ObjectHandles& object)
{
    CK_OBJECT_HANDLE handle = 0;
    if (!require(env, withdrawObject(object.list, object.objectID, &handle), CKR_OBJECT_HANDLE_INVALID))
        return;

    CK_RV rv = callGuarded(env, object.list, &CK_FUNCTION_LIST::C_DestroyObject, object.session, handle);
    settleObject(object.objectID, rv);
    checkResult(env, rv);
}
