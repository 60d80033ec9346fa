// The fields and classes of Java objects.
//
// False when the virtual machine's error is pending, as it is for a missing field. The caller owns the reference that
// readObjectField returns.
#pragma once

#include <jni.h>

bool readIntField(JNIEnv* env, jobject object, jclass type, const char* name, jint* value);
bool readBooleanField(JNIEnv* env, jobject object, jclass type, const char* name, jboolean* value);
bool readByteField(JNIEnv* env, jobject object, jclass type, const char* name, jbyte* value);
bool readObjectField(JNIEnv* env, jobject object, jclass type, const char* name, const char* signature, jobject* value);

/// The named class when `object` is an instance of it; null for null, for another object and for a class that cannot be
/// found. The caller owns the reference.
jclass classIfInstance(JNIEnv* env, jobject object, const char* className);

/// The result of a class test. After a failure the virtual machine's error is pending and no JNI call may follow.
enum class Instance
{
    no,
    yes,
    failed,
};

Instance testInstance(JNIEnv* env, jobject object, const char* className);

/// Whether `object` is an instance of the named class, for callers that make no further JNI call if it is not.
bool isInstance(JNIEnv* env, jobject object, const char* className);
