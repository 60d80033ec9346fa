// The bytes that a fuzzer has thought of, as decisions. Where they end, every further decision is the plainest: 0.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>

struct Input
{
    const std::uint8_t* next;
    const std::uint8_t* end;

    bool isOver() const
    {
        return next == end;
    }

    unsigned byte()
    {
        return isOver() ? 0U : *next++;
    }

    /// A number below a limit of at most 256.
    unsigned below(std::size_t limit)
    {
        return static_cast<unsigned>(byte() % limit);
    }

    /// True once in so many times, and never at the end.
    bool oneIn(unsigned times)
    {
        return byte() % times == times - 1;
    }

    std::uint64_t word()
    {
        std::uint64_t value = 0;
        for (int i = 0; i < 8; ++i)
            value = value << 8 | byte();
        return value;
    }

    template <typename T, std::size_t size>
    const T& of(const T (&choices)[size])
    {
        return choices[below(size)];
    }
};
