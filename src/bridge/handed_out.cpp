#include "bridge/handed_out.h"

#include <algorithm>

#include "bridge/exception.h"
#include "bridge/java_objects.h"

Outcome endSession(JNIEnv* env, CK_FUNCTION_LIST_PTR list, CK_SESSION_HANDLE handle, jint number)
{
    return callEnding(env, {Ending::session, list, handle, number}, [list](CK_SESSION_HANDLE session) {
        return callModule(list, &CK_FUNCTION_LIST::C_CloseSession, session);
    });
}

Outcome endObject(JNIEnv* env, const SessionHandles& session, CK_OBJECT_HANDLE handle, jint number)
{
    return callEnding(env, {Ending::object, session.list, handle, number}, [&session](CK_OBJECT_HANDLE object) {
        return callModule(session.list, &CK_FUNCTION_LIST::C_DestroyObject, session.session, object);
    });
}

CK_SESSION_HANDLE ownerOf(const SessionHandles& session, const CK_ATTRIBUTE* attributes, CK_ULONG count)
{
    const CK_ATTRIBUTE* end = attributes + count;
    const CK_ATTRIBUTE* token =
        std::find_if(attributes, end, [](const CK_ATTRIBUTE& each) { return each.type == CKA_TOKEN; });
    bool onToken = token != end && *static_cast<const CK_BBOOL*>(token->pValue) != CK_FALSE;
    return onToken ? 0 : session.session;
}

void numberMade(CK_FUNCTION_LIST_PTR list, CK_SESSION_HANDLE owner, MadeObject* made)
{
    made->numbered = newObjectToJava(list, owner, made->handle, &made->number);
}

bool checkMade(JNIEnv* env, const SessionHandles& session, Outcome outcome,
               std::initializer_list<const MadeObject*> made)
{
    if (checkResult(env, outcome))
        return true;
    for (const MadeObject* each : made)
        if (outcome.rv == CKR_OK)
            discardObject(env, session, *each);
    return false;
}

void discardObject(JNIEnv* env, const SessionHandles& session, const MadeObject& made)
{
    if (made.handle == 0)
        return;

    jthrowable first = setPendingAside(env);
    endObject(env, session, made.handle, 0);
    restorePending(env, first);
}

jobject newObjectFor(JNIEnv* env, jobject owner, const MadeObject& made)
{
    if (made.numbered)
        return newNativeObject(env, owner, made.number);
    throwNoStandInLeft(env, "object", made.handle, "destroy objects");
    return nullptr;
}

jobject newMadeObject(JNIEnv* env, jobject owner, const SessionHandles& session, const MadeObject& made)
{
    jobject object = newObjectFor(env, owner, made);
    if (object == nullptr)
        discardObject(env, session, made);
    return object;
}
