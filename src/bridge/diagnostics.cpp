#include "bridge/diagnostics.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

bool debugEnabled()
{
    return std::getenv("PKCS11DEBUG") != nullptr; // NOLINT(concurrency-mt-unsafe): only tested for presence
}

void debugPrint(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    std::vprintf(format, arguments);
    va_end(arguments);
}

void debugFlush()
{
    std::fflush(stdout);
}

void reportFault(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    std::vfprintf(stderr, format, arguments);
    va_end(arguments);
    std::fflush(stderr);
}
