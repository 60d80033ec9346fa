#include "bridge/stand_ins.h"

#include <array>
#include <chrono>
#include <mutex>
#include <thread>
#include <utility>

#include "bridge/platform.h"
#include "bridge/stand_in_table.h"

namespace {

using namespace stand_in;

// So many nodes are given up before others get the table. A lock goes to who asks next, not to who has waited, and who
// waits needs some time to wake up: so one who has much to do stands back for as long.
constexpr int kAtOnce = 250;
constexpr std::chrono::microseconds kStandBack{20};

using Lock = std::lock_guard<std::mutex>;

// ---- From a library to its table ----

// The door of a library with stand-ins. The lock stays where it is when the table goes.
struct alignas(64) Door
{
    std::mutex guard;
    StandInTable* table;
};

constexpr std::size_t kDoors = 64; // more than there may be libraries; those that are not registered need one too

std::array<std::atomic<CK_FUNCTION_LIST_PTR>, kDoors> doorOwners;
std::array<Door, kDoors> doors;
std::mutex ownersGuard; // of a door's change from nobody's to a library's

// The index of a library's door; kDoors when it has none.
std::size_t doorOf(CK_FUNCTION_LIST_PTR list)
{
    std::size_t index = 0;
    while (index < kDoors && doorOwners[index].load(std::memory_order_acquire) != list)
        ++index;
    return index;
}

// Does something with a library's table. False when it has none, or when action(table) is false.
template <typename Action>
bool withTable(CK_FUNCTION_LIST_PTR list, Action action)
{
    std::size_t index = doorOf(list);
    if (index == kDoors)
        return false;
    Lock lock(doors[index].guard);
    return doorOwners[index].load(std::memory_order_relaxed) == list && action(*doors[index].table);
}

bool makeTable(CK_FUNCTION_LIST_PTR list)
{
    Lock owners(ownersGuard);
    if (doorOf(list) != kDoors)
        return true;
    std::size_t index = doorOf(nullptr);
    auto* table = index != kDoors ? static_cast<StandInTable*>(mapMemory(sizeof(StandInTable))) : nullptr;
    if (table == nullptr)
        return false;

    Lock lock(doors[index].guard);
    table->born = turns.load();
    doors[index].table = table;
    doorOwners[index].store(list, std::memory_order_release);
    return true;
}

// ---- Drawing numbers ----

Range& numbersOf(Ending::Kind kind)
{
    return kind == Ending::session ? stand_in::sessionNumbers : stand_in::objectNumbers;
}

template <typename Action>
void forEveryTable(Action action)
{
    for (const auto& owner : doorOwners)
        if (CK_FUNCTION_LIST_PTR list = owner.load(std::memory_order_acquire))
            withTable(list, [&action](StandInTable& table) { return action(table), true; });
}

// Whether any library has the number; *all is whether they have all numbers of its kind.
bool isTaken(Ending::Kind kind, std::uint32_t number, bool* all)
{
    bool taken = false;
    std::uint64_t inUse = 0;
    forEveryTable([&](StandInTable& table) {
        taken = taken || nodeOf(table, number) != nullptr;
        inUse += table.count[kind];
    });
    *all = inUse >= numbersOf(kind).count;
    return taken;
}

// The next number in turn that no library has; 0 when there is none. The caller holds no table.
std::uint32_t drawNumber(Ending::Kind kind)
{
    Range& range = numbersOf(kind);
    for (bool all = false; !all;) {
        std::uint64_t drawn = range.drawn.fetch_add(1);
        auto number = static_cast<std::uint32_t>(range.first + drawn % range.count);
        if (drawn < range.count || !isTaken(kind, number, &all))
            return number;
    }
    return 0;
}

// ---- Giving numbers and taking them ----

bool any(const Node& /*unused*/)
{
    return true;
}

// Has a number drawn and added, or another one found instead: add(table, number) is false without memory.
template <typename Add>
bool numberHandle(CK_FUNCTION_LIST_PTR list, Ending::Kind kind, jint* number, Add add)
{
    std::uint32_t given = drawNumber(kind);
    bool done = given != 0 && (doorOf(list) != kDoors || makeTable(list)) &&
                withTable(list, [&](StandInTable& table) { return add(table, &given); });
    *number = static_cast<jint>(given);
    return done;
}

// Takes all nodes of the ending's handle out of use.
bool withdrawAll(StandInTable& table, Ending* ending)
{
    ending->ticket = ++turns;
    forNodes(table, ending->kind, ending->handle, [&table](Node& node) { ++node.enders, ++table.enders; });
    return true;
}

bool ends(Ending::Kind kind, CK_RV rv)
{
    return rv == CKR_OK || (kind == Ending::object && rv == CKR_OBJECT_HANDLE_INVALID) ||
           (kind == Ending::session && (rv == CKR_SESSION_HANDLE_INVALID || rv == CKR_SESSION_CLOSED));
}

} // namespace

bool stand_in::numberSession(CK_FUNCTION_LIST_PTR list, CK_SLOT_ID slot, CK_SESSION_HANDLE handle, jint* number)
{
    return numberHandle(list, Ending::session, number, [slot, handle](StandInTable& table, std::uint32_t* given) {
        buryAll(table, Ending::session, handle, any);
        std::uint32_t owner = numberOfSlot(table, slot);
        return owner != 0 && addNode(table, Ending::session, *given, handle, owner);
    });
}

bool stand_in::numberNewObject(CK_FUNCTION_LIST_PTR list, CK_SESSION_HANDLE owner, CK_OBJECT_HANDLE handle,
                               jint* number)
{
    return numberHandle(list, Ending::object, number, [owner, handle](StandInTable& table, std::uint32_t* given) {
        buryAll(table, Ending::object, handle, any);
        const Node* session = findInUse(table, Ending::session, owner);
        return addNode(table, Ending::object, *given, handle, session != nullptr ? session->number : 0);
    });
}

bool stand_in::numberFoundObject(CK_FUNCTION_LIST_PTR list, CK_OBJECT_HANDLE handle, jint* number)
{
    auto findNumber = [handle](StandInTable& table, std::uint32_t* found) {
        const Node* node = findInUse(table, Ending::object, handle);
        *found = node != nullptr ? node->number : *found;
        return node != nullptr;
    };
    std::uint32_t known = 0;
    if (withTable(list, [&](StandInTable& table) { return findNumber(table, &known); })) {
        *number = static_cast<jint>(known);
        return true;
    }
    return numberHandle(list, Ending::object, number, [&](StandInTable& table, std::uint32_t* given) {
        return findNumber(table, given) || addNode(table, Ending::object, *given, handle, 0);
    });
}

bool stand_in::handleOf(CK_FUNCTION_LIST_PTR list, jint number, CK_ULONG* handle)
{
    return withTable(list, [number, handle](StandInTable& table) {
        const Node* node = nodeOf(table, static_cast<std::uint32_t>(number));
        bool meansSomething = node != nullptr && isInUse(table, *node);
        *handle = meansSomething ? node->handle : 0;
        return meansSomething;
    });
}

bool withdraw(Ending* ending)
{
    bool byNumber =
        ending->kind != Ending::slot && numbersOf(ending->kind).holds(static_cast<std::uint32_t>(ending->number));
    if (!byNumber && ending->kind != Ending::slot && stand_in::isNumber(ending->handle))
        return true;
    bool withdrawn = withTable(ending->list, [byNumber, ending](StandInTable& table) {
        const Node* node = byNumber ? nodeOf(table, static_cast<std::uint32_t>(ending->number)) : nullptr;
        if (byNumber && (node == nullptr || !isInUse(table, *node)))
            return false;
        ending->handle = byNumber ? node->handle : ending->handle;
        return withdrawAll(table, ending);
    });
    return withdrawn || !byNumber;
}

void settle(const Ending& ending, CK_RV rv)
{
    if (ending.ticket == 0)
        return;
    withTable(ending.list, [&ending, rv](StandInTable& table) {
        if (ending.ticket <= table.born)
            return false;
        // With it has ended what a search has met meanwhile and somebody else is ending too.
        if (ends(ending.kind, rv))
            buryAll(table, ending.kind, ending.handle,
                    [&ending](const Node& node) { return node.since < ending.ticket || node.enders != 0; });
        else
            forNodes(table, ending.kind, ending.handle, [&ending, &table](Node& node) {
                std::uint32_t own = node.since < ending.ticket ? 1 : 0;
                node.enders -= own;
                table.enders -= own;
            });
        return true;
    });
}

void giveUpMembers(CK_FUNCTION_LIST_PTR list)
{
    while (withTable(list, [](StandInTable& table) { return giveUpSome(table, kAtOnce); }))
        std::this_thread::sleep_for(kStandBack);
}

StandInTable* takeStandIns(CK_FUNCTION_LIST_PTR list)
{
    StandInTable* taken = nullptr;
    withTable(list, [list, &taken](StandInTable& table) {
        std::size_t index = doorOf(list);
        doorOwners[index].store(nullptr, std::memory_order_release);
        taken = std::exchange(doors[index].table, nullptr);
        return &table == taken;
    });
    return taken;
}

void giveBack(StandInTable* table)
{
    if (table == nullptr)
        return;
    table->nodes.release();
    table->byHandle.release();
    unmapMemory(table, sizeof *table);
}
