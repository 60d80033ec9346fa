// Calls that several native methods of sessions and objects share.
#pragma once

#include "bridge/resolve.h"
#include "marshal/values.h"

/// A call that takes the session alone, as C_Logout does.
void sessionCall(JNIEnv* env, jobject session, decltype(&CK_FUNCTION_LIST::C_Logout) function);

/// C_CloseSession. The Java object keeps its number.
void closeSession(JNIEnv* env, jobject session);

/// C_CopyObject with a template; the copy belongs to the owner's session. Null after raising.
jobject copyObject(JNIEnv* env, jobject owner, const ObjectHandles& source, const EncodedTemplate& attributes);

/// C_DestroyObject. The Java object keeps its number.
void destroyObject(JNIEnv* env, const ObjectHandles& object);
