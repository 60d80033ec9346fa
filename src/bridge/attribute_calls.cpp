#include "bridge/attribute_calls.h"

#include "bridge/guarded_call.h"

bool fetchAttributes(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE* attributes, CK_ULONG count)
{
    return checkResult(env, callGuarded(env, handles.list, &CK_FUNCTION_LIST::C_GetAttributeValue, handles.session,
                                        handles.object, attributes, count));
}

bool storeObjectAttributes(JNIEnv* env, jobject object, CK_ATTRIBUTE* attributes, CK_ULONG count)
{
    ObjectHandles handles = {};
    if (!resolveObject(env, object, &handles))
        return false;
    return checkResult(env, callGuarded(env, handles.list, &CK_FUNCTION_LIST::C_SetAttributeValue, handles.session,
                                        handles.object, attributes, count));
}
