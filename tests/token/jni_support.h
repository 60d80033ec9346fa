// Functions for the native methods of the tests.
#pragma once

#include <string>

#include <dlfcn.h>
#include <jni.h>

/// A Java string's characters.
inline std::string textOf(JNIEnv* env, jstring string)
{
    std::string text(static_cast<std::size_t>(env->GetStringUTFLength(string)) + 1, '\0');
    env->GetStringUTFRegion(string, 0, env->GetStringLength(string), text.data());
    text.pop_back();
    return text;
}

/// A function that a library exports, or null.
template <typename Function>
Function symbolIn(const std::string& library, const std::string& name)
{
    void* module = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
    return module == nullptr ? nullptr : reinterpret_cast<Function>(dlsym(module, name.c_str()));
}
