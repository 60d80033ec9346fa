// Java objects for the results of calls.
#pragma once

#include <jni.h>

/// Constructs an object, or returns null with the virtual machine's error pending.
jobject newJavaObject(JNIEnv* env, const char* className, const char* signature, ...);

/// Stores a new object in an array and deletes the local reference to it. False when it is null, or on failure.
bool storeElement(JNIEnv* env, jobjectArray array, jsize index, jobject element);
