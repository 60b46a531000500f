// CRC-32 of any part of a stream from what is known of its beginnings.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include <ombrel/crc.h>

namespace ombrel {

// The register is a polynomial over two elements with its highest power in the lowest bit, and a byte that
// passes multiplies it by x to the 8th. As that is linear, the register of a part is that of the stream up to
// its end, less that of the stream up to its start, moved on by the part's bytes.

/// The product of two polynomials, reduced.
constexpr uint32_t multiply_crc(uint32_t a, uint32_t b) {
    constexpr uint32_t polynomial = 0xEDB88320;
    uint32_t product = 0;
    for (uint32_t bit = 0x80000000; bit != 0; bit >>= 1) {
        if ((a & bit) != 0)
            product ^= b;
        b = (b & 1) != 0 ? b >> 1 ^ polynomial : b >> 1;
    }
    return product;
}

/// By what a register is multiplied when so many bytes pass: 1, 2, 4, 8 and so on.
inline constexpr std::array<uint32_t, 32> crc_powers = [] {
    std::array<uint32_t, 32> powers{};
    uint32_t power = 0x00800000;
    for (uint32_t& each : powers) {
        each = power;
        power = multiply_crc(power, power);
    }
    return powers;
}();

/// A register after so many zero bytes.
constexpr uint32_t move_crc(uint32_t crc, size_t bytes) {
    for (const uint32_t power : crc_powers) {
        if ((bytes & 1) != 0)
            crc = multiply_crc(crc, power);
        bytes >>= 1;
    }
    return crc;
}

/// A register after bytes.
inline uint32_t feed_crc(uint32_t crc, const void* data, size_t size) {
    return ~ombrel_crc32_ieee_802_3(1, crc, data, size);
}

/// The checksum of a part by the registers at its ends, both from 0.
constexpr uint32_t crc_between(uint32_t before, uint32_t behind, size_t size) {
    return ~(behind ^ move_crc(~before, size));
}

} // namespace ombrel
