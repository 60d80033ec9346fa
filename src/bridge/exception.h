// Raising exceptions: one PKCS11Exception for every failure; the first cause wins.
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

/// Raises that a slot id or handle does not fit into a Java int, naming its value.
void throwTooWide(JNIEnv* env, const char* noun, CK_ULONG value);

/// Clears the pending exception, so that JNI may be used again, and returns it; null when there is none.
/// restorePendingException makes it pending again.
jthrowable stashPendingException(JNIEnv* env);

/// Clears the pending exception if it is of this class, and returns whether it was; any other one stays pending.
bool clearPendingException(JNIEnv* env, const char* className);

/// Makes `first` the pending exception again, in place of one raised since. Nothing happens when it is null.
void restorePendingException(JNIEnv* env, jthrowable first);
