#include "bridge/library_table.h"

#include <array>
#include <atomic>
#include <chrono>
#include <thread>

namespace {

constexpr std::size_t kMostLibraries = 20;
constexpr std::chrono::seconds kLongestWait{5};

} // namespace

// The counters of one life of a library. `openFor` is its list while calls may begin without the bridge lock.
//
// Invariant: a call that has begun is either counted here before openFor is cleared, or finds openFor cleared and is
// made under the bridge lock. A call increments its counter, then reads openFor; suspendCalls clears openFor, then
// reads the counters. All four accesses are sequentially consistent, so at least one side sees the other's write.
struct CallCounts
{
    // In a cache line of its own, so that two processors do not contend for it.
    struct alignas(64) Place
    {
        CallCount calls;
    };

    std::array<Place, 16> places;
    std::atomic<CK_FUNCTION_LIST_PTR> openFor;
    std::uint32_t suspensions = 0; // changed under the bridge lock

    bool drained() const
    {
        for (const Place& place : places)
            if (place.calls.load(std::memory_order_seq_cst) != 0)
                return false;
        return true;
    }
};

namespace {

struct LibraryEntry
{
    std::atomic<CK_FUNCTION_LIST_PTR> functionList;
    std::atomic<CK_FUNCTION_LIST_3_2*> extended; // null for a module that has none
    std::atomic<std::uint32_t> refCount;         // 0 while the last holder waits for calls in progress
    std::atomic<std::uint32_t> initialized;
    std::atomic<std::uint32_t> threadSafe;
    std::atomic<CallCounts*> counts; // null until it has accepted locking by the system
};

// Invariant: a reader returns a row as it was between two changes. A writer makes `changes` odd, writes the fields with
// release order, and makes it even. A reader loads `changes`, the fields with acquire order, and `changes` again: if it
// read a new field, it also sees that `changes` differs, and reads again. Rows move when one is removed; readers keep
// no pointer to a row.
struct
{
    std::array<LibraryEntry, kMostLibraries> rows;
    std::atomic<std::int32_t> count;
    std::atomic<std::uint32_t> changes; // odd while a change is in progress
} libraryTable;

constexpr std::memory_order kRead = std::memory_order_acquire;
constexpr std::memory_order kWritten = std::memory_order_release;

// More than there are rows: counters that calls are still counted in after five seconds are not reused until those
// calls return.
std::array<CallCounts, 2 * kMostLibraries> callCounts;

bool belongsToRow(const CallCounts& counts)
{
    auto count = static_cast<std::size_t>(libraryTable.count.load(kRead));
    for (std::size_t i = 0; i < count; ++i)
        if (libraryTable.rows[i].counts.load(kRead) == &counts)
            return true;
    return false;
}

// Counters that belong to no row and that no call is counted in. Null when there are none left: the library is then
// called under the lock.
CallCounts* freeCounts()
{
    for (CallCounts& counts : callCounts)
        if (!belongsToRow(counts) && counts.suspensions == 0 && counts.drained())
            return &counts;
    return nullptr;
}

LibraryEntry* findRow(CK_FUNCTION_LIST_PTR list)
{
    std::int32_t count = libraryTable.count.load(kRead);
    for (std::int32_t i = 0; i < count; ++i) {
        LibraryEntry& row = libraryTable.rows[static_cast<std::size_t>(i)];
        if (row.functionList.load(kRead) == list)
            return &row;
    }
    return nullptr;
}

void beginChange()
{
    libraryTable.changes.fetch_add(1);
}

void endChange()
{
    libraryTable.changes.fetch_add(1);
}

void copyRow(LibraryEntry* to, const LibraryEntry& from)
{
    to->functionList.store(from.functionList.load(kRead), kWritten);
    to->extended.store(from.extended.load(kRead), kWritten);
    to->refCount.store(from.refCount.load(kRead), kWritten);
    to->initialized.store(from.initialized.load(kRead), kWritten);
    to->threadSafe.store(from.threadSafe.load(kRead), kWritten);
    to->counts.store(from.counts.load(kRead), kWritten);
}

struct RowCopy
{
    LibraryState state;
    CallCounts* counts;
    CK_FUNCTION_LIST_3_2* extended;
};

// Reads a library's row without the lock.
RowCopy copyOfRow(CK_FUNCTION_LIST_PTR list)
{
    for (;;) {
        std::uint32_t before = libraryTable.changes.load(kRead);

        RowCopy copy = {};
        if (const LibraryEntry* row = findRow(list)) {
            copy.state.known = true;
            copy.state.initialized = row->initialized.load(kRead) != 0;
            copy.state.threadSafe = row->threadSafe.load(kRead) != 0;
            copy.counts = row->counts.load(kRead);
            copy.extended = row->extended.load(kRead);
        }

        if (before % 2 == 0 && libraryTable.changes.load(kRead) == before)
            return copy;
    }
}

// Whether new calls of a library that locks for itself begin without the bridge lock.
void setOpen(LibraryEntry* row, CK_FUNCTION_LIST_PTR list, bool open)
{
    CallCounts* counts = row->counts.load(kRead);
    counts->openFor.store(open ? list : nullptr, std::memory_order_seq_cst);
    beginChange();
    row->threadSafe.store(open ? 1 : 0, kWritten);
    endChange();
}

} // namespace

LibraryState libraryState(CK_FUNCTION_LIST_PTR list)
{
    return copyOfRow(list).state;
}

bool needsBridgeLock(CK_FUNCTION_LIST_PTR list)
{
    return !libraryState(list).threadSafe;
}

CallCount* beginCall(CK_FUNCTION_LIST_PTR list, const void* thread)
{
    const RowCopy row = copyOfRow(list);
    if (!row.state.threadSafe)
        return nullptr;

    // The JNIEnv pointers of threads differ above the lowest 8 bits; the product spreads them over the counters.
    std::size_t mixed = (reinterpret_cast<std::uintptr_t>(thread) >> 8) * 0x9E3779B1U;
    CallCount& counted = row.counts->places[(mixed >> 20) % row.counts->places.size()].calls;
    counted.fetch_add(1, std::memory_order_seq_cst);
    if (row.counts->openFor.load(std::memory_order_seq_cst) == list)
        return &counted;
    endCall(&counted); // calls have been suspended since the look
    return nullptr;
}

CK_FUNCTION_LIST_3_2* extendedList(CK_FUNCTION_LIST_PTR list, CK_BYTE minor)
{
    CK_FUNCTION_LIST_3_2* extended = copyOfRow(list).extended;
    return extended != nullptr && extended->edition2.version.minor >= minor ? extended : nullptr;
}

bool retainLibrary(CK_FUNCTION_LIST_PTR list, CK_FUNCTION_LIST_3_2* extended)
{
    LibraryEntry* row = findRow(list);
    if (row == nullptr) {
        auto count = static_cast<std::size_t>(libraryTable.count.load(kRead));
        if (count == libraryTable.rows.size())
            return false;

        row = &libraryTable.rows[count];
        beginChange();
        copyRow(row, LibraryEntry{list, extended, 0, 0, 0, nullptr});
        libraryTable.count.fetch_add(1, kWritten);
        endChange();
    }

    row->refCount.fetch_add(1, kWritten);
    return true;
}

void recordInitialization(CK_FUNCTION_LIST_PTR list, bool threadSafe)
{
    LibraryEntry* row = findRow(list);
    if (row == nullptr)
        return;

    beginChange();
    row->initialized.store(1, kWritten);
    CallCounts* counts = threadSafe ? freeCounts() : nullptr;
    row->counts.store(counts, kWritten);
    endChange();
    if (counts != nullptr)
        setOpen(row, list, true);
}

Release releaseLibrary(CK_FUNCTION_LIST_PTR list)
{
    LibraryEntry* row = findRow(list);
    if (row == nullptr)
        return Release::unknown;
    std::uint32_t holders = row->refCount.load(kRead);
    if (holders == 0) // its last holder has gone already
        return Release::held;
    row->refCount.store(holders - 1, kWritten);
    return holders == 1 ? Release::last : Release::held;
}

bool reacquiredOrRemoved(CK_FUNCTION_LIST_PTR list)
{
    const LibraryEntry* row = findRow(list);
    return row == nullptr || row->refCount.load(kRead) != 0;
}

void removeLibrary(CK_FUNCTION_LIST_PTR list)
{
    LibraryEntry* row = findRow(list);
    if (row == nullptr)
        return;

    auto last = static_cast<std::size_t>(libraryTable.count.load(kRead) - 1);
    beginChange();
    copyRow(row, libraryTable.rows[last]);
    libraryTable.count.fetch_sub(1, kWritten);
    endChange();
}

CallCounts* suspendCalls(CK_FUNCTION_LIST_PTR list)
{
    LibraryEntry* row = findRow(list);
    CallCounts* counts = row != nullptr ? row->counts.load(kRead) : nullptr;
    if (counts != nullptr && counts->suspensions++ == 0)
        setOpen(row, list, false);
    return counts;
}

bool callsInProgress(const CallCounts* counts)
{
    return counts != nullptr && !counts->drained();
}

void awaitCalls(const CallCounts* counts)
{
    auto end = std::chrono::steady_clock::now() + kLongestWait;
    while (callsInProgress(counts) && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

void resumeCalls(CK_FUNCTION_LIST_PTR list, CallCounts* counts)
{
    if (counts == nullptr || --counts->suspensions != 0)
        return;
    // Not if the library has been removed meanwhile, or has other counters in a new life.
    LibraryEntry* row = findRow(list);
    if (row != nullptr && row->counts.load(kRead) == counts && row->refCount.load(kRead) != 0)
        setOpen(row, list, true);
}
