// What differs between operating systems, behind a few functions; one file per system implements them
// (src/bridge/platform_*.cpp, chosen by the build).
#pragma once

#include <cfenv>
#include <cstddef>
#include <cstdint>
#include <ctime>

/// Loads the shared library at `path`, modified UTF-8 as JNI returns it; its symbols stay local. Null on
/// failure, then moduleError has the reason. There is no counterpart: a module stays loaded until the process ends.
void* openModule(const char* path);

/// The address of an exported symbol of a loaded module, or null.
void* findModuleSymbol(void* module, const char* name);

/// Writes the system's own reason for the calling thread's last failed openModule, cut to `size` bytes. Called at
/// once: other calls of the system replace it.
void moduleError(char* reason, std::size_t size);

/// The lowest address of the calling thread's stack, or the highest possible one when the system does not report it
/// (so that nothing seems left).
std::uintptr_t stackLowEnd();

/// A local time as seconds since 1970, for every year of four digits; fields out of range carry over, as in mktime.
std::time_t localSeconds(std::tm calendar);

/// Saves the calling thread's floating-point environment and restores it at the end of its scope: some modules change
/// it when they start, and Java depends on it.
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
