// The natives of com.kelvane.tokbridge.test.ScriptedToken: the door to every copy of the token's library, and what a
// test needs of the process that Java does not offer.
#include <cstdlib>

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include "com_kelvane_tokbridge_test_ScriptedToken.h"
#include "scripted_token.h"

namespace {

/// A Java string's characters for as long as they are needed.
class Characters {
public:
    Characters(JNIEnv* owner, jstring from)
        : env(owner), string(from), text(from == nullptr ? nullptr : owner->GetStringUTFChars(from, nullptr))
    {
    }

    ~Characters()
    {
        if (text != nullptr)
            env->ReleaseStringUTFChars(string, text);
    }

    Characters(const Characters&) = delete;
    Characters& operator=(const Characters&) = delete;

    operator const char*() const
    {
        return text;
    }

private:
    JNIEnv* env;
    jstring string;
    const char* text;
};

void* symbolIn(const char* library, const char* name)
{
    void* module = dlopen(library, RTLD_NOW | RTLD_LOCAL);
    return module == nullptr ? nullptr : dlsym(module, name);
}

} // namespace

extern "C" {

/// Has the library file at `path` carry out a command; null when there is no token.
JNIEXPORT jstring JNICALL Java_com_kelvane_tokbridge_test_ScriptedToken_command(JNIEnv* env, jclass, jstring path,
                                                                                jstring text)
{
    auto* steer =
        reinterpret_cast<decltype(&scriptedTokenCommand)>(symbolIn(Characters(env, path), "scriptedTokenCommand"));
    if (steer == nullptr)
        return nullptr;
    char* result = steer(Characters(env, text));
    jstring string = env->NewStringUTF(result);
    std::free(result);
    return string;
}

/// Calls an exported native method with a null receiver and zero for every argument.
JNIEXPORT jboolean JNICALL Java_com_kelvane_tokbridge_test_ScriptedToken_callWithNullReceiver(JNIEnv* env, jclass,
                                                                                              jstring library,
                                                                                              jstring name)
{
    using Export = void (*)(JNIEnv*, jobject, jlong, jlong, jlong, jlong, jlong, jlong, jlong, jlong);
    auto call = reinterpret_cast<Export>(symbolIn(Characters(env, library), Characters(env, name)));
    if (call == nullptr)
        return JNI_FALSE;
    call(env, nullptr, 0, 0, 0, 0, 0, 0, 0, 0);
    return JNI_TRUE;
}

/// Sends a file descriptor of the process into a file; the result is what restore needs.
JNIEXPORT jint JNICALL Java_com_kelvane_tokbridge_test_ScriptedToken_redirect(JNIEnv* env, jclass, jint descriptor,
                                                                              jstring file)
{
    const int saved = dup(descriptor);
    const int target = open(Characters(env, file), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(target, descriptor);
    close(target);
    return saved;
}

JNIEXPORT void JNICALL Java_com_kelvane_tokbridge_test_ScriptedToken_restore(JNIEnv*, jclass, jint descriptor,
                                                                             jint saved)
{
    dup2(saved, descriptor);
    close(saved);
}

/// Sets a variable of the process's environment, or takes it away when the value is null.
JNIEXPORT void JNICALL Java_com_kelvane_tokbridge_test_ScriptedToken_setenv(JNIEnv* env, jclass, jstring name,
                                                                            jstring value)
{
    const Characters text(env, value);
    if (text == nullptr)
        unsetenv(Characters(env, name));
    else
        setenv(Characters(env, name), text, 1);
}
}
