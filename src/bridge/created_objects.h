// Objects that a call has created on a token. An object that cannot reach Java is destroyed again: no other
// caller has its handle.
#pragma once

#include <initializer_list>

#include <jni.h>

#include "bridge/bridge_lock.h"
#include "bridge/resolve.h"

/// True for a call that succeeded. Otherwise raises why it failed; where the module succeeded and the lock failed, the
/// objects that the call has created are destroyed.
bool checkCreated(JNIEnv* env, const SessionHandles& session, Outcome outcome,
                  std::initializer_list<CK_OBJECT_HANDLE> created);

/// Destroys an object that Java will never hold; does nothing when its handle is 0. An exception may be pending.
void discardObject(JNIEnv* env, const SessionHandles& session, CK_OBJECT_HANDLE created);

/// Constructs the NativePKCS11Object of an object that a call has created, as newNativeObject does; on failure the
/// object is destroyed.
jobject newCreatedObject(JNIEnv* env, jobject owner, const SessionHandles& session, CK_OBJECT_HANDLE created);
