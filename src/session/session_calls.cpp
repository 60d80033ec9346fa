#include "session/session_calls.h"

#include "bridge/created_objects.h"
#include "bridge/frame.h"
#include "marshal/pin_buffer.h"

void sessionCall(JNIEnv* env, jobject session, decltype(&CK_FUNCTION_LIST::C_Logout) function)
{
    SessionHandles handles = {};
    if (resolveSession(env, session, &handles))
        checkResult(env, callGuarded(env, handles.list, function, handles.session));
}

void loginCall(JNIEnv* env, jobject session, CK_USER_TYPE user, jobject pin)
{
    SessionHandles handles = {};
    PinBuffer userPin;
    if (!resolveSession(env, session, &handles) || !readPin(env, pin, &userPin))
        return;

    checkResult(env, callGuarded(env, handles.list, &CK_FUNCTION_LIST::C_Login, handles.session, user, userPin.bytes,
                                 userPin.length));
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
