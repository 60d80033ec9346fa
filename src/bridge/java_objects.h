// Java objects for what a call has yielded.
#pragma once

#include <jni.h>

/// Constructs an object, or returns null with the virtual machine's error pending.
jobject newJavaObject(JNIEnv* env, const char* className, const char* signature, ...);

/// Stores an object just made into an array and drops the reference to it. False when it is null, or on failure.
bool storeElement(JNIEnv* env, jobjectArray array, jsize index, jobject element);
