// The bytes of attribute values as Java values. A length that no value of the kind has raises 0x13.
#pragma once

#include <jni.h>

#include "marshal/attribute_kinds.h"

/// Whether the first byte is not 0, and the number; the value is returned also after raising.
jboolean booleanOf(JNIEnv* env, const unsigned char* bytes, CK_ULONG length);
jint integerOf(JNIEnv* env, const unsigned char* bytes, CK_ULONG length);

/// Midnight of the day in the local zone of the process; null without an exception for length 0. The capacity of
/// `bytes` is a CK_DATE's for every length.
jobject dateOf(JNIEnv* env, const unsigned char* bytes, CK_ULONG length);

/// The CK_ULONGs as an int[].
jobject numbersOf(JNIEnv* env, const unsigned char* bytes, CK_ULONG length);

/// A copy of the bytes. Raises "NewByteArray() failed".
jbyteArray bytesOf(JNIEnv* env, const unsigned char* bytes, CK_ULONG length);

/// A Boolean, an Integer, and a BigInteger of unsigned bytes.
jobject newBoolean(JNIEnv* env, jboolean value);
jobject newInteger(JNIEnv* env, jint value);
jobject newBigInteger(JNIEnv* env, jbyteArray magnitude);
