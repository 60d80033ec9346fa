#include <windows.h>

#include "bridge/platform.h"

#include <array>
#include <cstdio>

namespace {

using WidePath = std::array<wchar_t, 1024>;

// Modified UTF-8 as UTF-16: each of its sequences of one to three bytes is one unit. False for malformed text,
// for a path with a NUL in it, which would end it early, and for one that exceeds the buffer.
bool widen(const char* path, WidePath* wide)
{
    const auto* byte = reinterpret_cast<const unsigned char*>(path);
    std::size_t length = 0;
    while (*byte != 0 && length + 1 < wide->size()) {
        unsigned unit = *byte++;
        int more = unit < 0x80 ? 0 : unit < 0xE0 ? 1 : 2;
        unit &= more == 0 ? 0x7FU : more == 1 ? 0x1FU : 0x0FU;
        for (; more > 0 && (*byte & 0xC0) == 0x80; --more)
            unit = unit << 6 | (*byte++ & 0x3FU);
        if (more != 0 || unit == 0)
            return false;
        (*wide)[length++] = static_cast<wchar_t>(unit);
    }
    (*wide)[length] = 0;
    return *byte == 0;
}

} // namespace

// Nothing is kept per thread, so notifications of their starts and ends are not needed. A failure only costs time.
BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, void* /*reserved*/)
{
    if (reason == DLL_PROCESS_ATTACH)
        DisableThreadLibraryCalls(library);
    return TRUE;
}

void* openModule(const char* path)
{
    // UTF-16, since the system's code page has few of the names that a file may have.
    WidePath wide;
    if (!widen(path, &wide)) {
        SetLastError(ERROR_INVALID_NAME);
        return nullptr;
    }
    return reinterpret_cast<void*>(LoadLibraryW(wide.data()));
}

void* findModuleSymbol(void* module, const char* name)
{
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(module), name));
}

void moduleError(char* reason, std::size_t size)
{
    std::snprintf(reason, size, "system error %lu", GetLastError());
}

std::uintptr_t stackLowEnd()
{
    ULONG_PTR lowEnd = 0;
    ULONG_PTR highEnd = 0;
    GetCurrentThreadStackLimits(&lowEnd, &highEnd);
    return lowEnd;
}

std::time_t localSeconds(std::tm calendar)
{
    // mktime supports the years 1970 to 3000 here. The calendar repeats every 400 years.
    constexpr std::time_t kCycle = std::time_t{146097} * 24 * 60 * 60;
    std::time_t cycles = 0;
    for (; calendar.tm_year < 1971 - 1900; calendar.tm_year += 400)
        --cycles;
    for (; calendar.tm_year >= 2900 - 1900; calendar.tm_year -= 400)
        ++cycles;
    return std::mktime(&calendar) + cycles * kCycle;
}

void wipe(void* memory, std::size_t size)
{
    SecureZeroMemory(memory, size);
}
