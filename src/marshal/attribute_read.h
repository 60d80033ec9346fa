// Attribute values of an object as Java values: a C_GetAttributeValue for those of fixed size, a size query and a
// second call for the others. The caller has checked the attribute's kind and resolved the handles.
//
// A module may return another length from the second call, within the capacity it was given: a shorter value is
// a shorter result, a longer one is refused with 0x150 and never read. All of these raise on failure and return 0 or
// null; a length that no value of the kind has raises 0x13 (readBoolean and readInteger return what they read all the
// same).
#pragma once

#include <jni.h>

#include "bridge/resolve.h"
#include "marshal/attribute_kinds.h"

jboolean readBoolean(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type);
jint readInteger(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type);

/// An empty value is the empty String. Raises "getStringAttributeValue(): alloca() failed".
jobject readString(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type);

/// Any attribute's bytes. Raises "NewByteArray() failed" and "can't get byte[] elements".
jobject readByteArray(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type);

/// Midnight of the day in the local zone of the process; null without an exception for an empty value.
jobject readDate(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type);

/// The bytes as an unsigned number; an empty value is 0. Raises as readByteArray does.
jobject readBigInteger(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type);

/// The CK_ULONGs as an int[]. Raises "alloca() failed", "NewIntArray() failed" and "GetIntArrayElements() failed".
jobject readNumbers(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type);

/// The value by the kind of its attribute, a Boolean or Integer boxed; null after raising 0x12 for an unknown kind.
jobject readValue(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type);

/// The values of the first `count` types, of an object used in a session; both are resolved here, behind the
/// reservation, so that a count too large is raised first. One call for all of fixed size and for all lengths, then one
/// for each of the others. An empty String, Date or BigInteger is a null element, as is a type without a kind. A wrong
/// length or a failed read of one element is raised and the others are still read; Java sees the first exception. Null
/// after what ends the call: "alloca() failed", "getStringAttributeValues(): alloca() failed", "NewByteArray() failed",
/// "can't get byte[] elements", a wrong date.
jobjectArray readValues(JNIEnv* env, jobject session, jobject object, const jint* types, jsize count);
