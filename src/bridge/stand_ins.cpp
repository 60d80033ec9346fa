#include "stand_ins.h"

#include <algorithm>
#include <array>
#include <mutex>
#include <utility>

namespace {

// Where a CK_ULONG has 32 bits, only handles that lie among the stand-ins' own numbers need one.
constexpr bool kWide = sizeof(CK_ULONG) > 4;
constexpr std::size_t kMostSessions = std::size_t{1} << (kWide ? 20 : 14);
constexpr std::size_t kMostObjects = std::size_t{1} << (kWide ? 24 : 18);

enum class State : std::uint8_t
{
    free,
    used,
    withdrawn,     ///< until its own call is settled
    withdrawnSlot, ///< until the call for its whole slot is settled
};

// What one number stands for. The number is not kept: it is the range's first + lap × places + the entry's own place.
struct Entry
{
    CK_ULONG handle;
    std::uint32_t twin; // the place of another number of the same handle; its own where there is no other
    std::uint16_t lap;
    std::uint8_t library; // index into Table::libraries
    State state;
};

// Numbers go round the places, which are more than may be in use, so that a free one is never far. `byHandle` finds the
// place of a handle: open addressing with linear probing, a place + 1 or 0.
struct Table
{
    stand_in::Range& numbers;
    std::size_t capacity;
    std::size_t places;
    Entry* entries;
    std::uint32_t* byHandle;
    CK_SLOT_ID* slots; // of the sessions; null for objects
    std::mutex& guard; // of all that follows and of what the pointers lead to

    std::uint32_t next = 0; // the number to try next, counted from the range's first
    std::size_t inUse = 0;
    std::array<CK_FUNCTION_LIST_PTR, 255> libraries = {};
    std::array<std::uint32_t, 255> inUseBy = {};
};

constexpr std::size_t placesFor(std::size_t capacity)
{
    return capacity + capacity / 4;
}

// A lap must fit where it is kept.
static_assert((stand_in::kFirstObject - stand_in::kFirst) / placesFor(kMostSessions) <= UINT16_MAX);
static_assert((stand_in::kEnd - stand_in::kFirstObject) / placesFor(kMostObjects) <= UINT16_MAX);

std::array<Entry, placesFor(kMostSessions)> sessionEntries;
std::array<std::uint32_t, placesFor(kMostSessions)> sessionsByHandle;
std::array<CK_SLOT_ID, placesFor(kMostSessions)> sessionSlots;
std::array<Entry, placesFor(kMostObjects)> objectEntries;
std::array<std::uint32_t, placesFor(kMostObjects)> objectsByHandle;
std::mutex sessionGuard;
std::mutex objectGuard;

constinit Table sessions = {stand_in::sessionNumbers, kMostSessions,       sessionEntries.size(), sessionEntries.data(),
                            sessionsByHandle.data(),  sessionSlots.data(), sessionGuard};
constinit Table objects = {stand_in::objectNumbers, kMostObjects, objectEntries.size(), objectEntries.data(),
                           objectsByHandle.data(),  nullptr,      objectGuard};

using Lock = std::lock_guard<std::mutex>;

// ---- From a handle to its place ----

std::size_t after(const Table& table, std::size_t index)
{
    return index + 1 < table.places ? index + 1 : 0;
}

std::size_t distance(const Table& table, std::size_t from, std::size_t to)
{
    return to >= from ? to - from : to + table.places - from;
}

std::size_t homeOf(const Table& table, std::size_t library, CK_ULONG handle)
{
    std::uint64_t mixed = (std::uint64_t{handle} + library) * 0x9E3779B97F4A7C15;
    return static_cast<std::size_t>(mixed >> 32) % table.places;
}

// The index of a handle in byHandle, or the empty one where it would be.
std::size_t indexOf(const Table& table, std::size_t library, CK_ULONG handle)
{
    std::size_t index = homeOf(table, library, handle);
    for (; table.byHandle[index] != 0; index = after(table, index)) {
        const Entry& entry = table.entries[table.byHandle[index] - 1];
        if (entry.handle == handle && entry.library == library)
            break;
    }
    return index;
}

// Takes an index out; those behind it that may stand nearer to their homes move up, so that no gap hides them.
void removeIndex(Table& table, std::size_t hole)
{
    for (std::size_t index = after(table, hole); table.byHandle[index] != 0; index = after(table, index)) {
        const Entry& entry = table.entries[table.byHandle[index] - 1];
        std::size_t home = homeOf(table, entry.library, entry.handle);
        if (distance(table, home, index) >= distance(table, hole, index)) {
            table.byHandle[hole] = table.byHandle[index];
            hole = index;
        }
    }
    table.byHandle[hole] = 0;
}

// ---- From a number to its place ----

jint numberAt(const Table& table, std::size_t place)
{
    std::size_t number = table.numbers.first + table.entries[place].lap * table.places + place;
    return static_cast<jint>(static_cast<std::uint32_t>(number));
}

std::size_t placeOf(const Table& table, jint number)
{
    return (static_cast<std::uint32_t>(number) - table.numbers.first) % table.places;
}

// Whether a number given out is in that state.
bool isIn(const Table& table, jint number, State state)
{
    std::size_t place = placeOf(table, number);
    return table.entries[place].state == state && numberAt(table, place) == number;
}

std::size_t placesTouched(const Table& table)
{
    return std::min<std::size_t>(table.numbers.used, table.places);
}

// ---- Libraries ----

// The index of a library with stand-ins, or one that is free; the array's size when there is neither.
std::size_t libraryIndex(const Table& table, CK_FUNCTION_LIST_PTR list)
{
    std::size_t vacant = table.libraries.size();
    for (std::size_t i = 0; i < table.libraries.size(); ++i) {
        if (table.inUseBy[i] != 0 && table.libraries[i] == list)
            return i;
        if (table.inUseBy[i] == 0 && i < vacant)
            vacant = i;
        if (table.libraries[i] == nullptr) // none was ever entered from here on
            break;
    }
    return vacant;
}

bool hasStandIns(const Table& table, std::size_t library)
{
    return library < table.libraries.size() && table.inUseBy[library] != 0;
}

// ---- Entries ----

// All numbers of one handle. They change their state together.
template <typename Action>
void forTwins(Table& table, std::size_t place, Action action)
{
    std::size_t each = place;
    do {
        std::size_t next = table.entries[each].twin;
        action(each);
        each = next;
    } while (each != place);
}

void giveUp(Table& table, std::size_t place)
{
    Entry& entry = table.entries[place];
    entry.state = State::free;
    --table.inUse;
    --table.inUseBy[entry.library];
}

bool add(Table& table, std::size_t library, CK_FUNCTION_LIST_PTR list, CK_ULONG handle, std::size_t index)
{
    if (table.inUse == table.capacity)
        return false;
    while (table.entries[table.next % table.places].state != State::free)
        table.next = (table.next + 1) % table.numbers.count;

    std::size_t place = table.next % table.places;
    table.entries[place] = {handle, static_cast<std::uint32_t>(place),
                            static_cast<std::uint16_t>(table.next / table.places), static_cast<std::uint8_t>(library),
                            State::used};
    table.byHandle[index] = static_cast<std::uint32_t>(place + 1);
    table.libraries[library] = list;
    ++table.inUseBy[library];
    ++table.inUse;

    table.next = (table.next + 1) % table.numbers.count;
    if (table.next > table.numbers.used || table.next == 0)
        table.numbers.used = table.next != 0 ? table.next : table.numbers.count;
    return true;
}

// The number of a handle, a new one if it has none.
bool numberOf(Table& table, CK_FUNCTION_LIST_PTR list, CK_ULONG handle, jint* number)
{
    std::size_t library = libraryIndex(table, list);
    if (library == table.libraries.size())
        return false;
    std::size_t index = indexOf(table, library, handle);
    if (table.byHandle[index] == 0 && !add(table, library, list, handle, index))
        return false;
    *number = numberAt(table, table.byHandle[index] - 1);
    return true;
}

bool handleOf(Table& table, CK_FUNCTION_LIST_PTR list, jint number, CK_ULONG* handle)
{
    const Entry& entry = table.entries[placeOf(table, number)];
    if (!isIn(table, number, State::used) || table.libraries[entry.library] != list)
        return false;
    *handle = entry.handle;
    return true;
}

// Takes a handle's number, or numbers, out of use.
void withdraw(Table& table, std::size_t place, State how)
{
    const Entry& entry = table.entries[place];
    removeIndex(table, indexOf(table, entry.library, entry.handle));
    forTwins(table, place, [&table, how](std::size_t each) { table.entries[each].state = how; });
}

bool withdrawNumber(Table& table, CK_FUNCTION_LIST_PTR list, jint number, CK_ULONG* handle)
{
    *handle = fromJava(number);
    if (!table.numbers.holds(static_cast<std::uint32_t>(number)))
        return true;

    Lock lock(table.guard);
    if (!handleOf(table, list, number, handle))
        return false;
    withdraw(table, placeOf(table, number), State::withdrawn);
    return true;
}

jint withdrawHandle(Table& table, CK_FUNCTION_LIST_PTR list, CK_ULONG handle)
{
    if (table.numbers.used == 0)
        return 0;

    Lock lock(table.guard);
    std::size_t library = libraryIndex(table, list);
    std::size_t index = hasStandIns(table, library) ? indexOf(table, library, handle) : 0;
    if (!hasStandIns(table, library) || table.byHandle[index] == 0)
        return 0;
    std::size_t place = table.byHandle[index] - 1;
    withdraw(table, place, State::withdrawn);
    return numberAt(table, place);
}

void settlePlace(Table& table, std::size_t place, bool gone)
{
    const Entry& entry = table.entries[place];
    std::size_t index = indexOf(table, entry.library, entry.handle);
    // A session's handle that has turned up meanwhile is another session's: the old one has ended all the same. An
    // object's is the same object, found while it was not destroyed: both numbers are Java's, and stay.
    if (gone || (table.byHandle[index] != 0 && table.slots != nullptr)) {
        forTwins(table, place, [&table](std::size_t each) { giveUp(table, each); });
        return;
    }

    forTwins(table, place, [&table](std::size_t each) { table.entries[each].state = State::used; });
    if (table.byHandle[index] == 0)
        table.byHandle[index] = static_cast<std::uint32_t>(place + 1);
    else
        std::swap(table.entries[place].twin, table.entries[table.byHandle[index] - 1].twin);
}

void settle(Table& table, jint number, bool gone)
{
    if (!table.numbers.holds(static_cast<std::uint32_t>(number)))
        return;
    Lock lock(table.guard);
    if (isIn(table, number, State::withdrawn))
        settlePlace(table, placeOf(table, number), gone);
}

// Visits the places of a library's sessions in a slot that are in a state.
template <typename Action>
void forSessionsOf(CK_FUNCTION_LIST_PTR list, CK_SLOT_ID slot, State state, Action action)
{
    if (sessions.numbers.used == 0)
        return;
    Lock lock(sessions.guard);
    std::size_t library = libraryIndex(sessions, list);
    if (!hasStandIns(sessions, library))
        return;
    for (std::size_t place = 0; place < placesTouched(sessions); ++place) {
        const Entry& entry = sessions.entries[place];
        if (entry.state == state && entry.library == library && sessions.slots[place] == slot)
            action(place);
    }
}

void forget(Table& table, CK_FUNCTION_LIST_PTR list)
{
    if (table.numbers.used == 0)
        return;
    Lock lock(table.guard);
    std::size_t library = libraryIndex(table, list);
    for (std::size_t place = 0; hasStandIns(table, library) && place < placesTouched(table); ++place) {
        const Entry& entry = table.entries[place];
        if (entry.state == State::free || entry.library != library)
            continue;
        if (entry.state == State::used)
            withdraw(table, place, State::withdrawn);
        forTwins(table, place, [&table](std::size_t each) { giveUp(table, each); });
    }
}

bool endsSession(CK_RV rv)
{
    return rv == CKR_OK || rv == CKR_SESSION_HANDLE_INVALID || rv == CKR_SESSION_CLOSED;
}

} // namespace

bool stand_in::numberSession(CK_FUNCTION_LIST_PTR list, CK_SLOT_ID slot, CK_SESSION_HANDLE handle, jint* number)
{
    Lock lock(sessions.guard);
    if (!numberOf(sessions, list, handle, number))
        return false;
    sessions.slots[placeOf(sessions, *number)] = slot;
    return true;
}

bool stand_in::numberObject(CK_FUNCTION_LIST_PTR list, CK_OBJECT_HANDLE handle, jint* number)
{
    Lock lock(objects.guard);
    return numberOf(objects, list, handle, number);
}

bool stand_in::handleOfSession(CK_FUNCTION_LIST_PTR list, jint number, CK_SESSION_HANDLE* handle)
{
    Lock lock(sessions.guard);
    return handleOf(sessions, list, number, handle);
}

bool stand_in::handleOfObject(CK_FUNCTION_LIST_PTR list, jint number, CK_OBJECT_HANDLE* handle)
{
    Lock lock(objects.guard);
    return handleOf(objects, list, number, handle);
}

bool withdrawSession(CK_FUNCTION_LIST_PTR list, jint number, CK_SESSION_HANDLE* handle)
{
    return withdrawNumber(sessions, list, number, handle);
}

bool withdrawObject(CK_FUNCTION_LIST_PTR list, jint number, CK_OBJECT_HANDLE* handle)
{
    return withdrawNumber(objects, list, number, handle);
}

jint withdrawSessionHandle(CK_FUNCTION_LIST_PTR list, CK_SESSION_HANDLE handle)
{
    return withdrawHandle(sessions, list, handle);
}

jint withdrawObjectHandle(CK_FUNCTION_LIST_PTR list, CK_OBJECT_HANDLE handle)
{
    return withdrawHandle(objects, list, handle);
}

void withdrawSessionsOf(CK_FUNCTION_LIST_PTR list, CK_SLOT_ID slot)
{
    forSessionsOf(list, slot, State::used, [](std::size_t place) { withdraw(sessions, place, State::withdrawnSlot); });
}

void settleSession(jint number, CK_RV rv)
{
    settle(sessions, number, endsSession(rv));
}

void settleObject(jint number, CK_RV rv)
{
    settle(objects, number, rv == CKR_OK || rv == CKR_OBJECT_HANDLE_INVALID);
}

void settleSessionsOf(CK_FUNCTION_LIST_PTR list, CK_SLOT_ID slot, CK_RV rv)
{
    forSessionsOf(list, slot, State::withdrawnSlot,
                  [rv](std::size_t place) { settlePlace(sessions, place, rv == CKR_OK); });
}

void forgetStandIns(CK_FUNCTION_LIST_PTR list)
{
    forget(sessions, list);
    forget(objects, list);
}
