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
// While a stand-in lasts, one handle of one library has one number, and a number stands for one handle. A session's
// lasts until the session is closed, an object's until the object is destroyed (not until the session ends in which it
// was found: an object on the token outlives that), a library's until its last libFinalize. Numbers are given out in
// turn, and none comes back before all of its range have been used: one that Java has kept too long means nothing.
//
// A module may give a handle that it takes back to the next session or object before its call has even returned. So a
// number is withdrawn before the call that closes or destroys, and settled after it: given up, or in use again if the
// call failed. In between it means nothing, and the handle, should it turn up, gets a new number.
//
// Any thread may call any of these. A handle or number that needs no stand-in costs a comparison or two; the others
// take a lock for as long as a look into a table lasts. The tables are static and their pages are touched only as they
// fill. Nothing here calls the JVM or a module, or raises.
#pragma once

#include <atomic>
#include <cstdint>

#include <jni.h>

#include "java_numbers.h"

namespace stand_in {

/// The numbers of one kind of stand-in, and how many of them have ever been given out.
struct Range
{
    std::uint32_t first;
    std::uint32_t count;
    std::atomic<std::uint32_t> used = 0;

    /// Whether the number was ever given out. One that was not is what it was always: a handle.
    bool holds(std::uint32_t number) const
    {
        return number - first < used.load(std::memory_order_acquire);
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
bool numberObject(CK_FUNCTION_LIST_PTR list, CK_OBJECT_HANDLE handle, jint* number);
bool handleOfSession(CK_FUNCTION_LIST_PTR list, jint number, CK_SESSION_HANDLE* handle);
bool handleOfObject(CK_FUNCTION_LIST_PTR list, jint number, CK_OBJECT_HANDLE* handle);

} // namespace stand_in

// ---- From a module to Java. False when every stand-in there is room for is in use. ----

/// The number of a session opened in the slot.
inline bool sessionToJava(CK_FUNCTION_LIST_PTR list, CK_SLOT_ID slot, CK_SESSION_HANDLE handle, jint* number)
{
    *number = toJava(handle);
    return stand_in::isNumber(handle) || stand_in::numberSession(list, slot, handle, number);
}

/// The number of an object that a call has made; that of 0, no object, is 0.
inline bool objectToJava(CK_FUNCTION_LIST_PTR list, CK_OBJECT_HANDLE handle, jint* number)
{
    *number = toJava(handle);
    return stand_in::isNumber(handle) || stand_in::numberObject(list, handle, number);
}

/// The number of an object that a search has found, whose handle may be 0.
inline bool foundObjectToJava(CK_FUNCTION_LIST_PTR list, CK_OBJECT_HANDLE handle, jint* number)
{
    return handle != 0 ? objectToJava(list, handle, number) : stand_in::numberObject(list, handle, number);
}

// ---- From Java to a module. False for a number that stands for nothing in the library any more. ----

inline bool sessionFromJava(CK_FUNCTION_LIST_PTR list, jint number, CK_SESSION_HANDLE* handle)
{
    *handle = fromJava(number);
    return !stand_in::sessionNumbers.holds(static_cast<std::uint32_t>(number)) ||
           stand_in::handleOfSession(list, number, handle);
}

inline bool objectFromJava(CK_FUNCTION_LIST_PTR list, jint number, CK_OBJECT_HANDLE* handle)
{
    *handle = fromJava(number);
    return !stand_in::objectNumbers.holds(static_cast<std::uint32_t>(number)) ||
           stand_in::handleOfObject(list, number, handle);
}

// ---- Around the call that closes or destroys ----

/// As sessionFromJava and objectFromJava, and takes the number out of use. What was withdrawn is settled after the
/// call.
bool withdrawSession(CK_FUNCTION_LIST_PTR list, jint number, CK_SESSION_HANDLE* handle);
bool withdrawObject(CK_FUNCTION_LIST_PTR list, jint number, CK_OBJECT_HANDLE* handle);

/// Takes the number of a handle out of use and answers it, for a session or object that Java will never see.
jint withdrawSessionHandle(CK_FUNCTION_LIST_PTR list, CK_SESSION_HANDLE handle);
jint withdrawObjectHandle(CK_FUNCTION_LIST_PTR list, CK_OBJECT_HANDLE handle);

/// Takes the numbers of all sessions in a slot out of use.
void withdrawSessionsOf(CK_FUNCTION_LIST_PTR list, CK_SLOT_ID slot);

/// Gives a withdrawn number up when the call has ended what it stood for, or finds that there is no such thing; puts it
/// back into use when the call failed otherwise. `rv` is what the call answered.
void settleSession(jint number, CK_RV rv);
void settleObject(jint number, CK_RV rv);
void settleSessionsOf(CK_FUNCTION_LIST_PTR list, CK_SLOT_ID slot, CK_RV rv);

/// Gives up every stand-in of a library.
void forgetStandIns(CK_FUNCTION_LIST_PTR list);
