#include "platform/random.h"

#include <cstdint>
#include <cstring>

#include "platform/clock.h"

namespace ombrel::platform {

namespace {

/// The clock and where the system put this program, mixed.
uint64_t guess(uint64_t round) {
    uint64_t value = monotonic_nanoseconds() ^ reinterpret_cast<uintptr_t>(&value) ^ round << 56;
    for (int i = 0; i < 3; i++)
        value = (value ^ value >> 31) * 0x9E3779B97F4A7C15u;
    return value;
}

} // namespace

void fill_random(void* bytes, size_t size) {
    if (ask_for_random(bytes, size))
        return;
    for (size_t at = 0; at < size; at += sizeof(uint64_t)) {
        const uint64_t value = guess(at);
        memcpy(static_cast<char*>(bytes) + at, &value, size - at < sizeof value ? size - at : sizeof value);
    }
}

} // namespace ombrel::platform
