// Raising: one PKCS11Exception for every failure, whose first cause wins.
#pragma once

#include <jni.h>

#include "bridge/cryptoki.h"

/// Raises a Cryptoki code, or the message when there is one. The first exception of a native call wins: with one
/// pending nothing happens. What fails on the way is printed to standard error. Always returns 0.
jint throwPKCS11Exception(JNIEnv* env, CK_RV code, const char* message = nullptr);

/// Raises a code or a message, as throwPKCS11Exception does, and returns false.
bool refuse(JNIEnv* env, CK_RV code);
bool refuse(JNIEnv* env, const char* message);

/// Raises the code unless the condition holds, and returns the condition.
bool require(JNIEnv* env, bool condition, CK_RV code);

/// Raises that a slot id does not fit into a Java int, naming its value.
void throwSlotTooWide(JNIEnv* env, CK_SLOT_ID slot);

/// Raises that there is no stand-in left for a handle, naming its value and what to do.
void throwNoStandInLeft(JNIEnv* env, const char* kind, CK_ULONG handle, const char* remedy);

/// Sets a pending exception aside, so that JNI may be used again, and hands it out; null when there is none.
/// restorePending gives it back.
jthrowable setPendingAside(JNIEnv* env);

/// Makes `first` the pending exception again, in place of one raised since. Nothing happens when it is null.
void restorePending(JNIEnv* env, jthrowable first);
