// Calls that several native methods of sessions and objects share.
#pragma once

#include "bridge/resolve.h"
#include "marshal/template_encode.h"

/// Calls a function whose only parameter is the session, C_Logout for example.
void sessionCall(JNIEnv* env, jobject session, decltype(&CK_FUNCTION_LIST::C_Logout) function);

/// C_Login.
void loginCall(JNIEnv* env, jobject session, CK_USER_TYPE user, jobject pin);

/// C_CopyObject with a template; the copy belongs to the owner's session. Null after raising.
jobject copyObject(JNIEnv* env, jobject owner, const ObjectHandles& source, const EncodedTemplate& attributes);

/// C_DestroyObject; raises what is not CKR_OK. The Java object keeps its handle.
void destroyObject(JNIEnv* env, const ObjectHandles& object);
