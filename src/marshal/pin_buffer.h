// A PIN for a module: on the stack, unpadded, and wiped when its scope ends. The zeros behind it are for modules that
// look for a terminator in spite of the length.
#pragma once

#include <array>

#include "bridge/buffers.h"
#include "bridge/platform.h"

struct PinBuffer
{
    static constexpr CK_ULONG capacity = 50;

    std::array<CK_UTF8CHAR, capacity + 1> storage = {};
    CK_UTF8CHAR_PTR bytes = nullptr; ///< null for a PIN that is entered at the token (protected authentication path)
    CK_ULONG length = 0;

    PinBuffer() = default;
    PinBuffer(const PinBuffer&) = delete;
    PinBuffer& operator=(const PinBuffer&) = delete;
    ~PinBuffer()
    {
        wipe(storage.data(), storage.size());
    }
};

/// Reads a PIN from a String or byte[] of at most 50 bytes; for null the buffer stays empty. Raises as
/// copyStringBytes does.
inline bool readPin(JNIEnv* env, jobject value, PinBuffer* pin)
{
    if (value == nullptr)
        return true;

    pin->length = PinBuffer::capacity;
    pin->bytes = pin->storage.data();
    return copyStringBytes(env, value, pin->bytes, &pin->length);
}
