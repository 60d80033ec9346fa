// Loading a module.
#pragma once

#include <jni.h>

#include "bridge/cryptoki.h"

/// The function lists of a module.
struct ModuleFunctions
{
    CK_FUNCTION_LIST_PTR list;      ///< null after raising
    CK_FUNCTION_LIST_3_2* extended; ///< of edition 3, the newest that is known here; null where there is none
};

/// Loads a module, which stays in the process for good, and gets its function lists. Raises
/// "GetStringUTFChars() failed", "copyStringBytes(): buffer too small for string!" for a path of more than 256 bytes,
/// and the texts for a file that cannot be loaded (the system's reason is printed when debugEnabled()), has no
/// C_GetFunctionList, or is not of major version 2. A path of 256 bytes ends the process.
ModuleFunctions loadModule(JNIEnv* env, jstring path);
