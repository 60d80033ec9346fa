// What the operating system is asked for, behind a few functions; one file per system implements them
// (src/bridge/platform_*.cpp, chosen by the build).
#pragma once

#include <cfenv>
#include <cstddef>
#include <cstdint>
#include <ctime>

/// Loads the shared library at `path` with its symbols kept to itself. Null on failure, then moduleError tells why.
/// There is no counterpart: a module stays loaded until the process ends.
void* openModule(const char* path);

/// The address of an exported symbol of a loaded module, or null.
void* findModuleSymbol(void* module, const char* name);

/// The system's own reason for the calling thread's last failed openModule. Valid until its next module call.
const char* moduleError();

/// The lowest address of the calling thread's stack, or the highest possible one when the system cannot tell
/// (so that nothing seems left).
std::uintptr_t stackLowEnd();

/// Breaks seconds since 1970 down in UTC. False when they are beyond the calendar.
bool utcCalendar(std::time_t seconds, std::tm* calendar);

/// Keeps the calling thread's floating-point environment while it lives: there are modules whose start-up changes it,
/// and Java counts on it.
struct FloatingPointKeeper
{
    std::fenv_t kept;

    FloatingPointKeeper()
    {
        std::fegetenv(&kept);
    }
    FloatingPointKeeper(const FloatingPointKeeper&) = delete;
    FloatingPointKeeper& operator=(const FloatingPointKeeper&) = delete;
    ~FloatingPointKeeper()
    {
        std::fesetenv(&kept);
    }
};

/// Overwrites memory with zeros in a way that no compiler drops.
void wipe(void* memory, std::size_t size);
