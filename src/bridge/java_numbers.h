// Cryptoki's unsigned numbers and Java's ints: named conversions, so that a search finds every one. Session and object
// handles have conversions of their own (handles.h).
#pragma once

#include <cstdint>

#include "bridge/cryptoki.h"

/// A Java int as an unsigned Cryptoki value: 0x80000001 stays 0x80000001 for every width of CK_ULONG.
inline CK_ULONG fromJava(std::int32_t value)
{
    return static_cast<std::uint32_t>(value);
}

/// A Cryptoki value as a Java int: its low 32 bits.
inline std::int32_t toJava(CK_ULONG value)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
}

/// Whether an id is unchanged by the conversion to a Java int and back; a truncated one would be another slot's.
inline bool survivesJava(CK_SLOT_ID slot)
{
    return fromJava(toJava(slot)) == slot;
}

/// A version as one Java int: major × 256 + minor.
inline std::int32_t toJava(const CK_VERSION& version)
{
    return version.major * 256 + version.minor;
}
