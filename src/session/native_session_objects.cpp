// The native methods of NativePKCS11Session that create, find and destroy objects. A template is encoded before the
// receiver is resolved, so that a wrong one is reported first.

#include "com_kelvane_pkcs11_nat_NativePKCS11Session.h"

#include "bridge/created_objects.h"
#include "bridge/frame.h"
#include "bridge/handles.h"
#include "bridge/stack_buffer.h"
#include "marshal/template_encode.h"
#include "session/session_calls.h"

jobject Java_com_kelvane_pkcs11_nat_NativePKCS11Session_createObject(JNIEnv* env, jobject session, jintArray types,
                                                                     jobjectArray values)
{
    StackBudget budget;
    EncodedTemplate attributes;
    RESERVE_STACK(budget, attributes.buffer, openTemplate(env, types, values, &attributes));
    SessionHandles handles = {};
    if (!encodeTemplate(env, &attributes) || !resolveSession(env, session, &handles))
        return nullptr;

    CK_OBJECT_HANDLE created = 0;
    Outcome outcome = callGuarded(env, handles.list, &CK_FUNCTION_LIST::C_CreateObject, handles.session,
                                  attributes.entries, attributes.count, &created);
    return checkCreated(env, handles, outcome, {created}) ? newCreatedObject(env, session, handles, created) : nullptr;
}

jobject Java_com_kelvane_pkcs11_nat_NativePKCS11Session_copy(JNIEnv* env, jobject session, jobject source,
                                                             jintArray types, jobjectArray values)
{
    StackBudget budget;
    EncodedTemplate attributes;
    RESERVE_STACK(budget, attributes.buffer, openTemplate(env, types, values, &attributes));
    ObjectHandles handles = {};
    if (!encodeTemplate(env, &attributes) || !resolveSessionObject(env, session, source, &handles))
        return nullptr;
    return copyObject(env, session, handles, attributes);
}

void Java_com_kelvane_pkcs11_nat_NativePKCS11Session_destroyObject(JNIEnv* env, jobject session, jobject object)
{
    ObjectHandles handles = {};
    if (resolveSessionObject(env, session, object, &handles))
        destroyObject(env, handles);
}

void Java_com_kelvane_pkcs11_nat_NativePKCS11Session_findObjectsInit(JNIEnv* env, jobject session, jintArray types,
                                                                     jobjectArray values)
{
    StackBudget budget;
    EncodedTemplate attributes;
    RESERVE_STACK(budget, attributes.buffer, openTemplate(env, types, values, &attributes));
    SessionHandles handles = {};
    if (!encodeTemplate(env, &attributes) || !resolveSession(env, session, &handles))
        return;

    checkResult(env, callGuarded(env, handles.list, &CK_FUNCTION_LIST::C_FindObjectsInit, handles.session,
                                 attributes.entries, attributes.count));
}

jobject Java_com_kelvane_pkcs11_nat_NativePKCS11Session_findObject(JNIEnv* env, jobject session)
{
    SessionHandles handles = {};
    if (!resolveSession(env, session, &handles))
        return nullptr;

    CK_OBJECT_HANDLE found = 0;
    CK_ULONG capacity = 1;
    CK_ULONG count = 0;
    Outcome outcome =
        callGuarded(env, handles.list, &CK_FUNCTION_LIST::C_FindObjects, handles.session, &found, capacity, &count);
    if (!checkResult(env, outcome) || !require(env, count <= capacity, CKR_BUFFER_TOO_SMALL))
        return nullptr;
    return count != 0 ? newFoundObject(env, session, found) : nullptr;
}

void Java_com_kelvane_pkcs11_nat_NativePKCS11Session_findObjectsFinal(JNIEnv* env, jobject session)
{
    sessionCall(env, session, &CK_FUNCTION_LIST::C_FindObjectsFinal);
}
