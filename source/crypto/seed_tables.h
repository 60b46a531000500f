// The substitution tables of SEED, made from their definition in RFC 4269.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace ombrel::crypto {

// A row of bits for each result bit, highest first.
using bit_matrix = std::array<uint8_t, 8>;

struct seed_box_definition {
    bit_matrix matrix;
    unsigned exponent;
    uint8_t constant;
};

inline constexpr seed_box_definition seed_boxes[2] = {
    {{0x8A, 0xFE, 0x85, 0x42, 0x45, 0x21, 0x88, 0x14}, 247, 169},
    {{0x45, 0x85, 0xFE, 0x21, 0x8A, 0x88, 0x42, 0x14}, 251, 56},
};

constexpr unsigned seed_field_multiply(unsigned a, unsigned b) {
    unsigned product = 0;
    for (; b != 0; b >>= 1) {
        if (b & 1)
            product ^= a;
        a = a << 1 ^ (a & 0x80 ? 0x163u : 0u);
    }
    return product;
}

constexpr unsigned seed_field_power(unsigned base, unsigned exponent) {
    unsigned power = 1;
    for (; exponent != 0; exponent >>= 1) {
        if (exponent & 1)
            power = seed_field_multiply(power, base);
        base = seed_field_multiply(base, base);
    }
    return power;
}

constexpr uint8_t seed_substitute(const seed_box_definition& box, unsigned value) {
    const unsigned power = seed_field_power(value, box.exponent);
    unsigned result = 0;
    for (const uint8_t row : box.matrix)
        result = result << 1 | (static_cast<unsigned>(std::popcount(row & power)) & 1);
    return static_cast<uint8_t>(result ^ box.constant);
}

// Substitution and mixing of the byte at `position` (0 the lowest) of a word in one look-up.
constexpr std::array<uint32_t, 256> make_seed_table(unsigned position) {
    constexpr uint32_t masks[4] = {0xFC, 0xF3, 0xCF, 0x3F};
    std::array<uint32_t, 256> table{};
    for (unsigned value = 0; value < 256; value++) {
        const uint32_t substitute = seed_substitute(seed_boxes[position % 2], value);
        for (unsigned byte = 0; byte < 4; byte++)
            table[value] |= (substitute & masks[(byte + position) % 4]) << 8 * byte;
    }
    return table;
}

inline constexpr std::array<uint32_t, 256> seed_tables[4] = {make_seed_table(0), make_seed_table(1),
                                                             make_seed_table(2), make_seed_table(3)};

} // namespace ombrel::crypto
