// Session and object handles in Java objects.
//
// Java holds a handle in an int (`sessionID`, `objectID`). Some modules return pointers or structured numbers that
// need more than 32 bits. Such a handle is in the object's field `handle`, a long, and its int is the marker
// 0xFFFFFFFF:
//
//     handle              int          long
//     0x7                 0x7          0x7
//     0x55c400000007      0xFFFFFFFF   0x55c400000007
//     0xFFFFFFFF          0xFFFFFFFF   0xFFFFFFFF
//     0, of a search      0xFFFFFFFF   0               (in the int 0 means "no object")
//
// A class without the field or the constructor for it, an application's own, holds handles of 32 bits: its int is
// the handle, 0xFFFFFFFF included.
#pragma once

#include <jni.h>

#include "bridge/cryptoki.h"

/// Reads the handle of an object whose int field has this name. False when the virtual machine's error is pending.
bool readHandle(JNIEnv* env, jobject object, jclass type, const char* intField, CK_ULONG* handle);

/// The same for an object whose int has been read.
bool handleOfInt(JNIEnv* env, jobject object, jclass type, jint number, CK_ULONG* handle);

/// Constructs a NativePKCS11Session. Raises that the handle does not fit when it is wide and the class has only the
/// int. Null on failure; the caller closes the session then.
jobject newNativeSession(JNIEnv* env, jobject slot, CK_SESSION_HANDLE handle);

/// Constructs a NativePKCS11Object. The owner is its session, or another NativePKCS11Object whose session it shares.
/// Raises as newNativeSession does. Null on failure; the caller destroys a created object then.
jobject newNativeObject(JNIEnv* env, jobject owner, CK_OBJECT_HANDLE handle);

/// The same for an object that a search has found, whose handle may be 0.
jobject newFoundObject(JNIEnv* env, jobject owner, CK_OBJECT_HANDLE handle);
