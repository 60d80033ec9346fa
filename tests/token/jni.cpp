// The native methods of com.kelvane.tokbridge.test.ScriptedToken: commands to a copy of the module, and functions of
// the process that Java lacks.
#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

#include "com_kelvane_tokbridge_test_ScriptedToken.h"
#include "jni_support.h"
#include "scripted_token.h"

jstring Java_com_kelvane_tokbridge_test_ScriptedToken_command(JNIEnv* env, jclass, jstring path, jstring text)
{
    auto steer = symbolIn<decltype(&scriptedTokenCommand)>(textOf(env, path), "scriptedTokenCommand");
    if (steer == nullptr)
        return nullptr;
    char* result = steer(textOf(env, text).c_str());
    jstring string = env->NewStringUTF(result);
    std::free(result);
    return string;
}

jboolean Java_com_kelvane_tokbridge_test_ScriptedToken_callWithNullReceiver(JNIEnv* env, jclass, jstring library,
                                                                            jstring name)
{
    using Export = void (*)(JNIEnv*, jobject, jlong, jlong, jlong, jlong, jlong, jlong, jlong, jlong, jlong);
    auto call = symbolIn<Export>(textOf(env, library), textOf(env, name));
    if (call == nullptr)
        return JNI_FALSE;
    call(env, nullptr, 0, 0, 0, 0, 0, 0, 0, 0, 0);
    return JNI_TRUE;
}

jint Java_com_kelvane_tokbridge_test_ScriptedToken_redirect(JNIEnv* env, jclass, jint descriptor, jstring file)
{
    const int target = open(textOf(env, file).c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (target < 0)
        return -1;
    const int saved = dup(descriptor);
    dup2(target, descriptor);
    close(target);
    return saved;
}

void Java_com_kelvane_tokbridge_test_ScriptedToken_restore(JNIEnv*, jclass, jint descriptor, jint saved)
{
    dup2(saved, descriptor);
    close(saved);
}

void Java_com_kelvane_tokbridge_test_ScriptedToken_setenv(JNIEnv* env, jclass, jstring name, jstring value)
{
    if (value == nullptr)
        unsetenv(textOf(env, name).c_str());
    else
        setenv(textOf(env, name).c_str(), textOf(env, value).c_str(), 1);
}
