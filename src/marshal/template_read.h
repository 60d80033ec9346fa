// A template that is an attribute's value, as a com.kelvane.pkcs11.Template.
#pragma once

#include <jni.h>

#include "bridge/resolve.h"
#include "bridge/stack_buffer.h"

/// Reads a template whose length in bytes has been reported: its types and their lengths with one call, their values
/// with another. A value of a type without a row is a byte[]; of a date, a text or a number that is empty, null; of a
/// template in the template, which the standard does not have, null too. Raises 0x13 for lengths that no template and
/// no value of its kind has, 0x150 for one that has grown since its length was reported, "alloca() failed", and as
/// bytesOf does. Null on failure.
jobject readTemplate(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE_TYPE type, CK_ULONG length,
                     StackBudget budget);
