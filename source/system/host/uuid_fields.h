// Where versions and times stand in an identifier.
#pragma once

#include <ombrel/uuid.h>

#include <cstdint>

namespace ombrel::system {

/// Steps of 100 nanoseconds in a second.
inline constexpr uint32_t ticks_per_second = 10'000'000;
/// From the beginning of the Gregorian calendar, 1582-10-15, to 1970.
inline constexpr int64_t seconds_from_1582_to_1970 = 12'219'292'800;

/// So many bytes as a number, the first of the highest value.
constexpr uint64_t number_at(const uint8_t* bytes, int count) {
    uint64_t value = 0;
    for (int i = 0; i < count; i++)
        value = value << 8 | bytes[i];
    return value;
}

constexpr void put_number_at(uint8_t* bytes, int count, uint64_t value) {
    for (; count-- > 0; value >>= 8)
        bytes[count] = static_cast<uint8_t>(value);
}

/// Puts the version and the standard variant over the bits that were there.
inline void mark_version(ombrel_uuid_t& uuid, int version) {
    uuid.m_bytes[6] = static_cast<uint8_t>((uuid.m_bytes[6] & 0x0F) | version << 4);
    uuid.m_bytes[8] = static_cast<uint8_t>((uuid.m_bytes[8] & 0x3F) | 0x80);
}

} // namespace ombrel::system
