// From Java objects to handles, along the chain object → session → slot → library.
//
// Every null link raises "obj is null", a library that is not loaded "functionList is null".
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
};

struct ObjectHandles
{
    CK_FUNCTION_LIST_PTR list;
    CK_SESSION_HANDLE session;
    CK_OBJECT_HANDLE object;
};

/// The function list of a NativePKCS11, or null. Raises "obj is null" and "functionList is null".
CK_FUNCTION_LIST_PTR resolveFunctionList(JNIEnv* env, jobject library);

/// Reads a NativePKCS11Slot's id and function list. Raises "obj is null" for each null link and "functionList is null".
bool resolveSlot(JNIEnv* env, jobject slot, SlotHandles* handles);

/// Reads a NativePKCS11Session's handle and function list. Raises as resolveSlot does.
bool resolveSession(JNIEnv* env, jobject session, SessionHandles* handles);

/// Reads a NativePKCS11Object's handle, its session's handle and the function list. Raises as resolveSlot does.
bool resolveObject(JNIEnv* env, jobject object, ObjectHandles* handles);

/// Reads an object's handle and the handles of the session it is used in, which need not be its own. Raises
/// "session is null" and as resolveObject does; false without an exception when the object's int is 0.
bool resolveSessionObject(JNIEnv* env, jobject session, jobject object, ObjectHandles* handles);

/// Reads the handle of a key or object argument. False when its int is 0, which is no object: the caller returns to
/// Java at once and raises nothing. A null object raises "obj is null".
bool objectHandleOf(JNIEnv* env, jobject object, CK_OBJECT_HANDLE* handle);
