#include "session_calls.h"

void sessionCall(JNIEnv* env, jobject session, CK_C_Logout CK_FUNCTION_LIST::*function)
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
    return newCreatedObject(env, owner, {source.list, source.session}, copy);
}

void destroyObject(JNIEnv* env, const ObjectHandles& object)
{
    checkResult(env, callGuarded(env, object.list, &CK_FUNCTION_LIST::C_DestroyObject, object.session, object.object));
}
