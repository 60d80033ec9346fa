// Scratch memory on the native method's own stack: the bridge allocates nothing on the heap.
//
// alloca never returns null; a request beyond the stack ends the process. So every reservation is checked first: a
// call gets its first 16 KiB without a check, and more only while the thread keeps 128 KiB below it, which is what a
// module, the JVM's own calls and the constructor of an exception need.
#pragma once

#include <cstddef>
#include <cstdint>

#include "bridge/platform.h"

/// What one native call has reserved so far. Lives in the native method.
struct StackBudget
{
    std::size_t granted = 0;
};

/// Whether `size` more bytes may be reserved by the function with this frame address; counts them when they may.
bool grantStack(StackBudget* budget, std::size_t size, const void* frame);

/// The size that a reservation of `size` bytes occupies: a multiple of 16, at least 16.
constexpr std::size_t reservedSize(std::size_t size)
{
    if (size > SIZE_MAX - 15)
        return SIZE_MAX;
    return size == 0 ? 16 : (size + 15) / 16 * 16;
}

/// The size of `count` elements, or more than any stack holds when it overflows.
constexpr std::size_t arraySize(std::size_t count, std::size_t elementSize)
{
    return count <= SIZE_MAX / elementSize ? count * elementSize : SIZE_MAX;
}

/// The sum of two sizes, or more than any stack holds when it overflows.
constexpr std::size_t addSize(std::size_t size, std::size_t more)
{
    return more <= SIZE_MAX - size ? size + more : SIZE_MAX;
}

/// A reservation made by RESERVE_STACK. `bytes` is null when it was refused. It starts zeroed, so that nothing of the
/// stack reaches a module, and is wiped when its scope ends: it may hold a secret.
struct EncodeBuffer
{
    unsigned char* bytes = nullptr;
    std::size_t size = 0;

    EncodeBuffer() = default;
    EncodeBuffer(const EncodeBuffer&) = delete;
    EncodeBuffer& operator=(const EncodeBuffer&) = delete;
    ~EncodeBuffer()
    {
        if (bytes != nullptr)
            wipe(bytes, size);
    }
};

/// Zeroes new memory and assigns it to `buffer`.
void fillReservation(EncodeBuffer* buffer, void* memory);

/// Reserves at least `needed` bytes, aligned to 16, into the EncodeBuffer variable `buffer`. A macro, because the
/// memory must belong to the function that uses it: an inlined helper's may be freed where the helper's body ends. Only
/// in the outermost block of a function: the memory goes with its block.
#define RESERVE_STACK(budget, buffer, needed)                                                                          \
    ((buffer).size = reservedSize(needed),                                                                             \
     grantStack(&(budget), (buffer).size, __builtin_frame_address(0))                                                  \
         ? fillReservation(&(buffer), __builtin_alloca_with_align((buffer).size, 128))                                 \
         : static_cast<void>(0))
