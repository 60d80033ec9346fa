#include "library_table.h"

#include <array>
#include <atomic>

namespace {

struct LibraryEntry
{
    std::atomic<CK_FUNCTION_LIST_PTR> functionList;
    std::atomic<std::uint32_t> refCount;
    std::atomic<std::uint32_t> initialized;
    std::atomic<std::uint32_t> threadSafe;
};

struct
{
    std::array<LibraryEntry, 20> rows;
    std::atomic<std::int32_t> count;
    std::atomic<std::uint32_t> changes; // odd while a change is in progress
} libraryTable;

LibraryEntry* findRow(CK_FUNCTION_LIST_PTR list)
{
    std::int32_t count = libraryTable.count.load(std::memory_order_relaxed);
    for (std::int32_t i = 0; i < count; ++i) {
        LibraryEntry& row = libraryTable.rows[static_cast<std::size_t>(i)];
        if (row.functionList.load(std::memory_order_relaxed) == list)
            return &row;
    }
    return nullptr;
}

void beginChange()
{
    libraryTable.changes.fetch_add(1, std::memory_order_relaxed);
    std::atomic_thread_fence(std::memory_order_release);
}

void endChange()
{
    libraryTable.changes.fetch_add(1, std::memory_order_release);
}

void setRow(LibraryEntry* row, CK_FUNCTION_LIST_PTR list, std::uint32_t refCount, std::uint32_t initialized,
            std::uint32_t threadSafe)
{
    row->functionList.store(list, std::memory_order_relaxed);
    row->refCount.store(refCount, std::memory_order_relaxed);
    row->initialized.store(initialized, std::memory_order_relaxed);
    row->threadSafe.store(threadSafe, std::memory_order_relaxed);
}

} // namespace

LibraryState libraryState(CK_FUNCTION_LIST_PTR list)
{
    for (;;) {
        std::uint32_t before = libraryTable.changes.load(std::memory_order_acquire);

        LibraryState state = {};
        if (const LibraryEntry* row = findRow(list)) {
            state.known = true;
            state.initialized = row->initialized.load(std::memory_order_relaxed) != 0;
            state.threadSafe = row->threadSafe.load(std::memory_order_relaxed) != 0;
        }

        std::atomic_thread_fence(std::memory_order_acquire);
        if (before % 2 == 0 && libraryTable.changes.load(std::memory_order_relaxed) == before)
            return state;
    }
}

bool needsBridgeLock(CK_FUNCTION_LIST_PTR list)
{
    return !libraryState(list).threadSafe;
}

bool retainLibrary(CK_FUNCTION_LIST_PTR list)
{
    LibraryEntry* row = findRow(list);
    if (row == nullptr) {
        auto count = static_cast<std::size_t>(libraryTable.count.load(std::memory_order_relaxed));
        if (count == libraryTable.rows.size())
            return false;

        row = &libraryTable.rows[count];
        beginChange();
        setRow(row, list, 0, 0, 0);
        libraryTable.count.fetch_add(1, std::memory_order_relaxed);
        endChange();
    }

    row->refCount.fetch_add(1, std::memory_order_relaxed);
    return true;
}

void recordInitialization(CK_FUNCTION_LIST_PTR list, bool threadSafe)
{
    LibraryEntry* row = findRow(list);
    if (row == nullptr)
        return;

    beginChange();
    row->initialized.store(1, std::memory_order_relaxed);
    row->threadSafe.store(threadSafe ? 1 : 0, std::memory_order_relaxed);
    endChange();
}

Release releaseLibrary(CK_FUNCTION_LIST_PTR list)
{
    LibraryEntry* row = findRow(list);
    if (row == nullptr)
        return Release::unknown;
    if (row->refCount.fetch_sub(1, std::memory_order_relaxed) != 1)
        return Release::held;
    return row->initialized.exchange(0, std::memory_order_relaxed) != 0 ? Release::finalize : Release::last;
}

void removeLibrary(CK_FUNCTION_LIST_PTR list)
{
    LibraryEntry* row = findRow(list);
    if (row == nullptr)
        return;

    auto last = static_cast<std::size_t>(libraryTable.count.load(std::memory_order_relaxed) - 1);
    const LibraryEntry& moved = libraryTable.rows[last];
    beginChange();
    setRow(row, moved.functionList.load(std::memory_order_relaxed), moved.refCount.load(std::memory_order_relaxed),
           moved.initialized.load(std::memory_order_relaxed), moved.threadSafe.load(std::memory_order_relaxed));
    libraryTable.count.fetch_sub(1, std::memory_order_relaxed);
    endChange();
}
