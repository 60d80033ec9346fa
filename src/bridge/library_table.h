// The process-wide table of loaded Cryptoki libraries: one row per distinct function list, at most 20.
//
// Threads: only a caller that holds the bridge lock (bridge_lock.h) may change the table. Reading needs no lock: a
// reader that meets a change in progress looks again, so it never takes one library's flags for another's.
//
// Calls into a library that locks for itself are made without the bridge lock and counted, so that the last holder to
// go can wait for those in progress before it finalises the library. A library's life has a count of its own, in which
// each thread has a place that it shares with few others; a call that never returns spoils no later life's count.
#pragma once

#include <atomic>
#include <cstdint>

#include "bridge/cryptoki.h"

/// What the row of a library says about it.
struct LibraryState
{
    bool known;
    bool initialized;
    bool threadSafe;
};

/// Looks a library up without the lock; nothing is set for a list that has no row.
LibraryState libraryState(CK_FUNCTION_LIST_PTR list);

/// Whether calls into a library must be made under the bridge lock: it has no row, or it did not accept
/// operating-system locking.
bool needsBridgeLock(CK_FUNCTION_LIST_PTR list);

/// A place in a library's count of calls.
using CallCount = std::atomic<std::uint32_t>;

/// Begins a call of a library that locks for itself and answers where it is counted; endCall comes after it. Null when
/// the call must be made under the bridge lock. `thread` is any address of the calling thread's own.
CallCount* beginCall(CK_FUNCTION_LIST_PTR list, const void* thread);

inline void endCall(CallCount* counted)
{
    counted->fetch_sub(1, std::memory_order_release);
}

/// Counts one more holder of a library, in a new row if it has none. False when it has none and the table is full.
/// The caller holds the bridge lock.
bool retainLibrary(CK_FUNCTION_LIST_PTR list);

/// Marks a library as initialised, with or without its own locking; nothing happens to one that has no row.
/// The caller holds the bridge lock.
void recordInitialization(CK_FUNCTION_LIST_PTR list, bool threadSafe);

/// What is left to do after one holder has gone.
enum class Release
{
    unknown, ///< the list has no row
    held,    ///< others hold the library still
    last,    ///< nobody holds it any more: C_Finalize is next if it is initialised, then removeLibrary
};

/// Counts one holder less. With the last one, calls that begin from here on need the bridge lock. The caller holds it.
Release releaseLibrary(CK_FUNCTION_LIST_PTR list);

/// Whether calls begun before releaseLibrary answered last have not ended.
bool callsInProgress(CK_FUNCTION_LIST_PTR list);

/// Waits until they have, for some seconds at most. The caller does not hold the bridge lock.
void awaitCalls(CK_FUNCTION_LIST_PTR list);

/// Whether a library of which the last holder had gone has been taken again meanwhile, or removed by another holder who
/// was the last: then it is none of the caller's any more. One that was taken is open again to calls without the lock.
/// The caller holds the bridge lock.
bool takenOver(CK_FUNCTION_LIST_PTR list);

/// Takes a library's row out; the last row fills its place. The caller holds the bridge lock.
void removeLibrary(CK_FUNCTION_LIST_PTR list);
