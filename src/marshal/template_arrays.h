// The arrays of a template, opened to be measured or encoded.
#pragma once

#include <jni.h>

#include "bridge/fields.h"
#include "marshal/values.h"

/// Looks at two arrays and pins the types. No when they are of other classes or of unequal lengths; yes even when the
/// types could not be pinned, `typeElements` is null then.
Instance openArrays(JNIEnv* env, jintArray types, jobjectArray values, TemplateArrays* arrays);

void closeArrays(JNIEnv* env, const TemplateArrays& arrays);

/// The same for the arrays of a com.kelvane.pkcs11.Template; no for any other object. Their references are given back
/// too.
Instance openTemplateObject(JNIEnv* env, jobject value, TemplateArrays* arrays);
void closeTemplateObject(JNIEnv* env, const TemplateArrays& arrays);

/// The bytes that the entries and values of open arrays take at most. False when the virtual machine's error is
/// pending.
bool measureArrays(JNIEnv* env, const TemplateArrays& arrays, std::size_t* size);
