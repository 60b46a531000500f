// What there is to know about a checksum before any input: its polynomial and the tables that follow from it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace ombrel::crypto {

template<typename Word>
constexpr Word reverse_bits(Word value) {
    uint64_t reversed = 0;
    for (size_t i = 0; i < 8 * sizeof(Word); i++)
        reversed |= (static_cast<uint64_t>(value) >> i & 1) << (8 * sizeof(Word) - 1 - i);
    return static_cast<Word>(reversed);
}

/// Two factors that move the halves of 16 bytes over `distance` bits of message, for carry-less
/// multiplication: the first belongs to the 8 bytes that come first.
struct fold_factors {
    uint64_t first, second;
};

/// A checksum of `Register`'s width, least significant bit first, by the normal form of its polynomial.
template<typename Register, Register normal>
struct crc_model {
    using word = Register;
    using slices = std::array<std::array<Register, 256>, 8>;

    static constexpr Register polynomial = reverse_bits(normal);

    static constexpr Register shift_bit(Register crc) {
        return static_cast<Register>(crc >> 1 ^ ((crc & 1) != 0 ? polynomial : 0));
    }

    /// slices[n][b] is what the byte b does to the register when n more zero bytes follow it.
    static constexpr slices make_slices() {
        slices made{};
        for (size_t byte = 0; byte < 256; byte++) {
            auto crc = static_cast<Register>(byte);
            for (int bit = 0; bit < 8; bit++)
                crc = shift_bit(crc);
            made[0][byte] = crc;
        }
        for (size_t n = 1; n < made.size(); n++)
            for (size_t byte = 0; byte < 256; byte++) {
                const uint64_t last = made[n - 1][byte];
                made[n][byte] = static_cast<Register>(last >> 8 ^ made[0][last & 255]);
            }
        return made;
    }

    /// x to the power of n, modulo the polynomial; the coefficient of x^0 is bit 63, that of x^63 bit 0.
    static constexpr uint64_t power_of_x(unsigned n) {
        auto power = static_cast<Register>(Register{1} << (8 * sizeof(Register) - 1));
        for (; n > 0; n--)
            power = shift_bit(power);
        return static_cast<uint64_t>(power) << (64 - 8 * sizeof(Register));
    }

    /// One power less than the distance, as the product of two words in this bit order is shifted by one.
    static constexpr fold_factors fold_over(unsigned distance) {
        return {power_of_x(distance + 63), power_of_x(distance - 1)};
    }

    static constexpr slices table = make_slices();
};

using crc16_ibm_model = crc_model<uint16_t, 0x8005>;
using crc16_ccitt_model = crc_model<uint16_t, 0x1021>;
using crc32_model = crc_model<uint32_t, 0x04C11DB7>;
using crc64_model = crc_model<uint64_t, 0x1B>;

} // namespace ombrel::crypto
