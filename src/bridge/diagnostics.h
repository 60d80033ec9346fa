// Output: debug lines to standard output when the environment requests them, faults of the bridge to standard error.
#pragma once

/// Whether the environment variable PKCS11DEBUG is set, to any value. Read at every use.
bool debugEnabled();

/// Prints to standard output, unflushed.
__attribute__((format(printf, 1, 2))) void debugPrint(const char* format, ...);

/// Flushes standard output.
void debugFlush();

/// Prints a fault of the bridge's own machinery to standard error and flushes it.
__attribute__((format(printf, 1, 2))) void reportFault(const char* format, ...);
