// From Java objects to handles, along the chain object → session → slot → library.
//
// Every null link raises "obj is null", a library that is not loaded "functionList is null". A number that stands for
// nothing any more raises the code of its kind.
#pragma once

#include <jni.h>

#include "bridge/cryptoki.h"

struct SlotHandles
{
    CK_FUNCTION_LIST_PTR list;
    CK_SLOT_ID slot;
};

struct SessionHandles
{
    CK_FUNCTION_LIST_PTR list;
    CK_SESSION_HANDLE session;
    jint sessionID; ///< the session's number in Java
};

struct ObjectHandles
{
    CK_FUNCTION_LIST_PTR list;
    CK_SESSION_HANDLE session;
    CK_OBJECT_HANDLE object;
    jint objectID; ///< the object's number in Java
};

/// The function list of a NativePKCS11, or null. Raises "obj is null" and "functionList is null".
CK_FUNCTION_LIST_PTR resolveFunctionList(JNIEnv* env, jobject library);

/// Reads a NativePKCS11Slot's id and function list. Raises "obj is null" for each null link and "functionList is null".
bool resolveSlot(JNIEnv* env, jobject slot, SlotHandles* handles);

/// Reads a NativePKCS11Session's handle and function list. Raises as resolveSlot does, and CKR_SESSION_HANDLE_INVALID
/// for a number that stands for no session any more.
bool resolveSession(JNIEnv* env, jobject session, SessionHandles* handles);

/// Reads a NativePKCS11Object's handle, its session's handle and the function list. Raises as resolveSession does, and
/// CKR_OBJECT_HANDLE_INVALID for a number that stands for no object any more.
bool resolveObject(JNIEnv* env, jobject object, ObjectHandles* handles);

/// Reads an object's handle and the handles of the session it is used in, which need not be its own. Raises
/// "session is null" and as resolveObject does; false without an exception when the object's number is 0.
bool resolveSessionObject(JNIEnv* env, jobject session, jobject object, ObjectHandles* handles);

/// Java's number of a key or object argument. 0 when it is 0 or the field is missing: a caller that gets 0 returns to
/// Java at once and raises nothing, since 0 is no object. A null object raises "obj is null".
jint objectNumberOf(JNIEnv* env, jobject object);

/// The handle that an object's number stands for. Raises CKR_OBJECT_HANDLE_INVALID for one that stands for none any
/// more.
bool objectOfNumber(JNIEnv* env, CK_FUNCTION_LIST_PTR list, jint number, CK_OBJECT_HANDLE* handle);

/// Reads the handle of a key or object argument; both steps of the above. False when the caller is to return to Java.
bool objectHandleOf(JNIEnv* env, CK_FUNCTION_LIST_PTR list, jobject object, CK_OBJECT_HANDLE* handle);
