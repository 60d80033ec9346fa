// The process-wide table of loaded Cryptoki libraries: one row per distinct function list, at most 20.
//
// Threads: only a caller that holds the bridge lock (frame.h) may change the table. Reading needs no lock: a reader
// that meets a change in progress looks again, so it never takes one library's flags for another's.
#pragma once

#include <cstdint>

#include "cryptoki.h"

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

/// Counts one more holder of a library, in a new row if it has none. False when it has none and the table is full.
/// The caller holds the bridge lock.
bool retainLibrary(CK_FUNCTION_LIST_PTR list);

/// Marks a library as initialised, with or without its own locking; nothing happens to one that has no row.
/// The caller holds the bridge lock.
void recordInitialization(CK_FUNCTION_LIST_PTR list, bool threadSafe);

/// What is left to do after one holder has gone.
enum class Release
{
    unknown,  ///< the list has no row
    held,     ///< others hold the library still
    last,     ///< nobody holds it any more: removeLibrary is next
    finalize, ///< as last, and it is initialised: C_Finalize comes first
};

/// Counts one holder less and clears the row's initialised flag with the last one. The caller holds the bridge lock.
Release releaseLibrary(CK_FUNCTION_LIST_PTR list);

/// Takes a library's row out; the last row fills its place. The caller holds the bridge lock.
void removeLibrary(CK_FUNCTION_LIST_PTR list);
