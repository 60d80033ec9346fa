// The bytes of a fuzzer's input as decisions. After their end every decision is the plainest one: 0.
#pragma once

#include <cstddef>
#include <cstdint>

struct Input
{
    const std::uint8_t* next = nullptr;
    const std::uint8_t* end = nullptr;

    bool isOver() const
    {
        return next == end;
    }

    unsigned byte()
    {
        return isOver() ? 0U : *next++;
    }

    std::uint64_t word(int bytes = 8)
    {
        std::uint64_t value = 0;
        for (; bytes > 0; --bytes)
            value = value << 8 | byte();
        return value;
    }

    /// A number below a limit of at most 65,536.
    std::size_t below(std::size_t limit)
    {
        return static_cast<std::size_t>(word(limit > 256 ? 2 : 1) % limit);
    }

    /// True once in so many times, and never after the end.
    bool oneIn(unsigned times)
    {
        return byte() % times == times - 1;
    }

    template <typename T, std::size_t size>
    const T& of(const T (&choices)[size])
    {
        return choices[below(size)];
    }
};

inline Input input;
