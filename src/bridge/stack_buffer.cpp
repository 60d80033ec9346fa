#include "bridge/stack_buffer.h"

#include <cstring>

namespace {

constexpr std::size_t kGrantedUnchecked = std::size_t{16} * 1024;
constexpr std::size_t kLeftUntouched = std::size_t{128} * 1024;

} // namespace

bool grantStack(StackBudget* budget, std::size_t size, const void* frame)
{
    if (budget->granted > kGrantedUnchecked || size > kGrantedUnchecked - budget->granted) {
        auto top = reinterpret_cast<std::uintptr_t>(frame);
        std::uintptr_t lowEnd = stackLowEnd();
        std::size_t left = top > lowEnd ? top - lowEnd : 0;
        std::size_t reserved = kLeftUntouched + budget->granted;
        if (left <= reserved || size >= left - reserved)
            return false;
    }

    budget->granted += size;
    return true;
}

void fillReservation(EncodeBuffer* buffer, void* memory)
{
    buffer->bytes = static_cast<unsigned char*>(memory);
    std::memset(memory, 0, buffer->size);
}
