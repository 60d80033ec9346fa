#include "bridge/platform.h"

#include <dlfcn.h>
#include <pthread.h>
#include <strings.h>

#include <cstdio>
#include <cstring>

void* openModule(const char* path)
{
    // dlopen returns the program itself for an empty path.
    return *path != 0 ? dlopen(path, RTLD_NOW | RTLD_LOCAL) : nullptr;
}

void* findModuleSymbol(void* module, const char* name)
{
    return dlsym(module, name);
}

void moduleError(char* reason, std::size_t size)
{
    const char* text = dlerror(); // NOLINT(concurrency-mt-unsafe): glibc keeps one text per thread
    std::snprintf(reason, size, "%s", text != nullptr ? text : "no reason given");
}

std::uintptr_t stackLowEnd()
{
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) != 0)
        return UINTPTR_MAX;

    void* lowEnd = nullptr;
    std::size_t size = 0;
    int failed = pthread_attr_getstack(&attributes, &lowEnd, &size);
    pthread_attr_destroy(&attributes);
    return failed == 0 ? reinterpret_cast<std::uintptr_t>(lowEnd) : UINTPTR_MAX;
}

std::time_t localSeconds(std::tm calendar)
{
    return std::mktime(&calendar); // NOLINT(concurrency-mt-unsafe): the C library guards the zone itself
}

void wipe(void* memory, std::size_t size)
{
    explicit_bzero(memory, size);
}
