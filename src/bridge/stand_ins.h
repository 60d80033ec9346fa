// Stand-ins: the 32-bit numbers by which Java knows the handles that an int cannot hold.
//
// A handle that fits into 32 bits is its own number. One that does not fit gets a stand-in, as does an object handle of
// 0 that a search has found (0 from Java means "no object"), and a handle that fits but lies among the numbers kept for
// stand-ins, so that the two are never confused:
//
//     0x00000000 … 0x57FFFFFF   handles that are their own numbers
//     0x58000000 … 0x5FFFFFFF   stand-ins of sessions
//     0x60000000 … 0x6FFFFFFF   stand-ins of objects
//     0x70000000 … 0xFFFFFFFF   handles that are their own numbers
//
// What a call hands out as new gets a new number, and whatever number its handle had before means nothing from then on:
// a module gives a handle on as soon as it has it back, and tells nobody when a token is pulled. Only a search meets
// what has a number already. Numbers are given out in turn, and none comes back before all of its range have been used.
//
// What a number stands for ends with what it belongs to: a session's ends with its slot's sessions, and an object's
// with the session that made it, unless it is on the token. Of objects that a search has found and of copies that only
// inherit it nobody here knows which they are: their numbers last until they are destroyed. All end with the library.
//
// A call that ends something takes the numbers out of use before it is made, and afterwards gives them up, or puts
// them back if it has failed (withdraw, settle). In between they mean nothing; the handle, should it turn up, gets a
// new number.
//
// Any thread may call any of these. A handle or number that needs no stand-in costs a comparison or two. The others
// take the lock of their library for one look into a table. A library's table is made at its first wide handle and
// given back at its end; what ends with something else is given up a little at a time. Nothing here calls the JVM or a
// module, or raises.
#pragma once

#include <atomic>
#include <cstdint>

#include <jni.h>

#include "bridge/java_numbers.h"

namespace stand_in {

/// The numbers of one kind, given out in turn.
struct Range
{
    std::uint32_t first;
    std::uint32_t count;
    std::atomic<std::uint64_t> drawn = 0; ///< how often one was

    /// Whether the number was ever given out. One that was not is what it was always: a handle.
    bool holds(std::uint32_t number) const
    {
        return number - first < count && number - first < drawn.load(std::memory_order_acquire);
    }
};

inline constexpr std::uint32_t kFirst = 0x58000000;
inline constexpr std::uint32_t kFirstObject = 0x60000000;
inline constexpr std::uint32_t kEnd = 0x70000000;

inline Range sessionNumbers = {kFirst, kFirstObject - kFirst};
inline Range objectNumbers = {kFirstObject, kEnd - kFirstObject};

/// Whether a handle is its own number.
constexpr bool isNumber(CK_ULONG handle)
{
    return handle < kFirst || (handle >= kEnd && handle <= UINT32_MAX);
}

// What the inline functions below leave to the tables, with the meaning said there.
bool numberSession(CK_FUNCTION_LIST_PTR list, CK_SLOT_ID slot, CK_SESSION_HANDLE handle, jint* number);
bool numberNewObject(CK_FUNCTION_LIST_PTR list, CK_SESSION_HANDLE owner, CK_OBJECT_HANDLE handle, jint* number);
bool numberFoundObject(CK_FUNCTION_LIST_PTR list, CK_OBJECT_HANDLE handle, jint* number);
bool handleOf(CK_FUNCTION_LIST_PTR list, jint number, CK_ULONG* handle);

} // namespace stand_in

// ---- From a module to Java. False when the system has no memory, or every number is in use. ----

/// The number of a session opened in the slot.
inline bool sessionToJava(CK_FUNCTION_LIST_PTR list, CK_SLOT_ID slot, CK_SESSION_HANDLE handle, jint* number)
{
    *number = toJava(handle);
    return stand_in::isNumber(handle) || stand_in::numberSession(list, slot, handle, number);
}

/// The number of an object that a call has made; that of 0, no object, is 0. `owner` is the session that it ends with,
/// or 0.
inline bool newObjectToJava(CK_FUNCTION_LIST_PTR list, CK_SESSION_HANDLE owner, CK_OBJECT_HANDLE handle, jint* number)
{
    *number = toJava(handle);
    return stand_in::isNumber(handle) || stand_in::numberNewObject(list, owner, handle, number);
}

/// The number of an object that a search has found, whose handle may be 0: the one that it has, if any.
inline bool foundObjectToJava(CK_FUNCTION_LIST_PTR list, CK_OBJECT_HANDLE handle, jint* number)
{
    *number = toJava(handle);
    return (stand_in::isNumber(handle) && handle != 0) || stand_in::numberFoundObject(list, handle, number);
}

// ---- From Java to a module. False for a number that stands for nothing in the library any more. ----

inline bool sessionFromJava(CK_FUNCTION_LIST_PTR list, jint number, CK_SESSION_HANDLE* handle)
{
    *handle = fromJava(number);
    return !stand_in::sessionNumbers.holds(static_cast<std::uint32_t>(number)) ||
           stand_in::handleOf(list, number, handle);
}

inline bool objectFromJava(CK_FUNCTION_LIST_PTR list, jint number, CK_OBJECT_HANDLE* handle)
{
    *handle = fromJava(number);
    return !stand_in::objectNumbers.holds(static_cast<std::uint32_t>(number)) ||
           stand_in::handleOf(list, number, handle);
}

// ---- Around a call that ends something: callEnding (guarded_call.h) is the one place that asks for these. ----

/// What a call ends: one session or object, or all sessions of a slot.
struct Ending
{
    enum Kind : std::uint32_t
    {
        session = 1,
        object,
        slot,
    } kind;
    CK_FUNCTION_LIST_PTR list;
    CK_ULONG handle;          ///< or the slot's id
    jint number = 0;          ///< by which Java knows the session or object; 0 when it has never seen it
    std::uint64_t ticket = 0; ///< tells what was there when it began; 0 when there were no numbers
};

/// Takes the numbers of what is ending out of use, and finds its handle if Java knows it by a number. False for a
/// number that stands for nothing any more.
bool withdraw(Ending* ending);

/// Gives the numbers up when the call has ended what they stood for, or finds that there is no such thing; puts them
/// back into use when it has failed otherwise. `rv` is what the module has answered.
void settle(const Ending& ending, CK_RV rv);

/// Gives up what has ended with its owner, a little at a time; others get their turn in between.
void giveUpMembers(CK_FUNCTION_LIST_PTR list);

// ---- The end of a library ----

/// Takes all stand-ins of a library out of use at once, for giveBack; null when it has none.
struct StandInTable;
StandInTable* takeStandIns(CK_FUNCTION_LIST_PTR list);

/// Gives their memory back, which takes its time: to be called without a lock.
void giveBack(StandInTable* table);
