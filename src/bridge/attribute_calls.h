// The two calls that read and set attributes, for callers that have encoded the entries.
#pragma once

#include <jni.h>

#include "bridge/cryptoki.h"
#include "bridge/resolve.h"

/// One C_GetAttributeValue for `count` entries. Raises what is not CKR_OK.
bool fetchAttributes(JNIEnv* env, const ObjectHandles& handles, CK_ATTRIBUTE* attributes, CK_ULONG count);

/// Resolves a NativePKCS11Object and calls C_SetAttributeValue once for `count` entries. Raises what is not CKR_OK.
bool storeObjectAttributes(JNIEnv* env, jobject object, CK_ATTRIBUTE* attributes, CK_ULONG count);
