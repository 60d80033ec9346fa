// The process-wide table of loaded Cryptoki libraries: one row per distinct function list, at most 20.
//
// Threads: only a caller that holds the bridge lock (bridge_lock.h) may change the table. Reading needs no lock: a
// reader that meets a change in progress reads again, so it never mistakes one library's flags for another's.
//
// Calls into a library that locks for itself are made without the bridge lock and counted, so that the last holder to
// go, and closeAllSessions, can wait for those in progress. Each life of a library (from its first holder to its last)
// has counters of its own, so a call that never returns does not affect a later life; each thread uses one of 16
// counters, which few others share. (One shared_timed_mutex per library would be shorter. With two threads it takes 50
// ns a call, the counters 5, and a writer waits for ever while readers come.)
#pragma once

#include <atomic>
#include <cstdint>

#include "bridge/cryptoki.h"

/// The state of a library's row.
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

/// One of the counters of a library's calls in progress.
using CallCount = std::atomic<std::uint32_t>;

/// Counts a call of a library that locks for itself and returns its counter, for endCall after the call. Null when
/// the call must be made under the bridge lock. `thread` is any address of the calling thread's own.
CallCount* beginCall(CK_FUNCTION_LIST_PTR list, const void* thread);

inline void endCall(CallCount* counted)
{
    counted->fetch_sub(1, std::memory_order_release);
}

/// Counts one more holder of a library, in a new row if it has none. `extended` is its list of edition 3, or null.
/// False when it has no row and the table is full. The caller holds the bridge lock.
bool retainLibrary(CK_FUNCTION_LIST_PTR list, CK_FUNCTION_LIST_3_2* extended);

/// A library's function list of edition 3, if that is of this minor version or a later one; else null. Looked up
/// without the lock.
CK_FUNCTION_LIST_3_2* extendedList(CK_FUNCTION_LIST_PTR list, CK_BYTE minor);

/// Marks a library as initialised, with or without its own locking; nothing happens to one that has no row.
/// The caller holds the bridge lock.
void recordInitialization(CK_FUNCTION_LIST_PTR list, bool threadSafe);

/// What releasing one holder leaves to do.
enum class Release
{
    unknown, ///< the list has no row
    held,    ///< others hold the library still
    last,    ///< it has no holder left: C_Finalize is next if it is initialised, then removeLibrary
};

/// Counts one holder less. The caller holds the bridge lock.
Release releaseLibrary(CK_FUNCTION_LIST_PTR list);

/// Whether a library of which the last holder had gone has been acquired again meanwhile, or removed by another holder
/// who was the last: then it is not the caller's to end. The caller holds the bridge lock.
bool reacquiredOrRemoved(CK_FUNCTION_LIST_PTR list);

/// Removes a library's row; the last row takes its place. The caller holds the bridge lock.
void removeLibrary(CK_FUNCTION_LIST_PTR list);

// ---- Calls that must not run beside another one of a library that locks for itself ----

/// The calls in progress in one life of a library.
struct CallCounts;

/// From here on new calls are made under the bridge lock, until resumeCalls; both nest. Null for a library whose
/// calls need the lock anyway. The caller holds the bridge lock.
CallCounts* suspendCalls(CK_FUNCTION_LIST_PTR list);

/// Whether calls that began before suspendCalls are still in progress.
bool callsInProgress(const CallCounts* counts);

/// Waits until they have returned, five seconds at most. The caller does not hold the bridge lock.
void awaitCalls(const CallCounts* counts);

/// Ends a suspendCalls; nothing happens for null. After the last one calls of a library that is still held begin
/// without the lock again. The caller holds the bridge lock.
void resumeCalls(CK_FUNCTION_LIST_PTR list, CallCounts* counts);
