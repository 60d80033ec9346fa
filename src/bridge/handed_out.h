// What a module hands out, sessions and objects: their numbers, the Java objects for them, and their end. What cannot
// reach Java is ended again, so that nothing is left on a token that nobody can name.
#pragma once

#include <initializer_list>

#include <jni.h>

#include "bridge/guarded_call.h"
#include "bridge/resolve.h"

// ---- Ends ----

/// C_CloseSession and C_DestroyObject, for what Java knows by the number; 0 when it has never seen it.
Outcome endSession(JNIEnv* env, CK_FUNCTION_LIST_PTR list, CK_SESSION_HANDLE handle, jint number);
Outcome endObject(JNIEnv* env, const SessionHandles& session, CK_OBJECT_HANDLE handle, jint number);

// ---- Objects that a call has made ----

/// An object as the module has handed it out, and its number in Java.
struct MadeObject
{
    CK_OBJECT_HANDLE handle = 0;
    jint number = 0;
    bool numbered = true; ///< false when no number was to be had
};

/// The session that an object made of these attributes ends with; 0 when it is on the token.
CK_SESSION_HANDLE ownerOf(const SessionHandles& session, const CK_ATTRIBUTE* attributes, CK_ULONG count);

/// Gives an object just made its number. `owner` is as ownerOf says, or 0 when that is not known.
void numberMade(CK_FUNCTION_LIST_PTR list, CK_SESSION_HANDLE owner, MadeObject* made);

/// Makes the call that makes an object, whose handle is the last argument, and numbers it while the call counts.
template <typename Function, typename... Args>
Outcome callMaking(JNIEnv* env, CK_FUNCTION_LIST_PTR list, CK_SESSION_HANDLE owner, MadeObject* made,
                   Function CK_FUNCTION_LIST::* function, Args... args)
{
    return guarded(env, list, [=] {
        CK_RV rv = callModule(list, function, args..., &made->handle);
        if (rv == CKR_OK)
            numberMade(list, owner, made);
        return rv;
    });
}

/// True for a call that went well. Otherwise raises why it did not, and destroys what it has made all the same.
bool checkMade(JNIEnv* env, const SessionHandles& session, Outcome outcome,
               std::initializer_list<const MadeObject*> made);

/// Destroys an object that Java will never hold; nothing happens when its handle is 0. An exception may be pending.
void discardObject(JNIEnv* env, const SessionHandles& session, const MadeObject& made);

/// Constructs the NativePKCS11Object of an object that a call has made, as newNativeObject does. Raises as
/// throwNoStandInLeft does. Null on failure.
jobject newObjectFor(JNIEnv* env, jobject owner, const MadeObject& made);

/// The same; on failure the object is destroyed again.
jobject newMadeObject(JNIEnv* env, jobject owner, const SessionHandles& session, const MadeObject& made);
