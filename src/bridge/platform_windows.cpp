#include <windows.h>

#include "platform.h"

#include <cstdio>

void* openModule(const char* path)
{
    return reinterpret_cast<void*>(LoadLibraryA(path));
}

void* findModuleSymbol(void* module, const char* name)
{
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(module), name));
}

const char* moduleError()
{
    thread_local char reason[32];
    std::snprintf(reason, sizeof reason, "system error %lu", GetLastError());
    return reason;
}

std::uintptr_t stackLowEnd()
{
    ULONG_PTR lowEnd = 0;
    ULONG_PTR highEnd = 0;
    GetCurrentThreadStackLimits(&lowEnd, &highEnd);
    return lowEnd;
}

bool utcCalendar(std::time_t seconds, std::tm* calendar)
{
    return gmtime_s(calendar, &seconds) == 0;
}

void wipe(void* memory, std::size_t size)
{
    SecureZeroMemory(memory, size);
}
