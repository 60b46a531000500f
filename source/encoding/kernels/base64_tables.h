// What base64 kernels look up, worked out from the alphabets.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace ombrel::encoding {

struct base64_alphabet {
    std::array<char, 64> characters;
    // What to add to a value to get its character, for each class of values: 0 for 26 to 51, 13 for 0 to 25,
    // the value less 51 for those above. Values of one class have consecutive characters.
    std::array<int8_t, 16> offsets;
};

constexpr base64_alphabet make_base64_alphabet(std::string_view characters) {
    base64_alphabet alphabet{};
    for (size_t value = 0; value < 64; value++) {
        const size_t group = value < 26 ? 13 : value < 52 ? 0 : value - 51;
        alphabet.characters[value] = characters[value];
        alphabet.offsets[group] = static_cast<int8_t>(characters[value] - static_cast<int>(value));
    }
    return alphabet;
}

inline constexpr base64_alphabet base64_standard =
    make_base64_alphabet("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
inline constexpr base64_alphabet base64_url_safe =
    make_base64_alphabet("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_");

/// In a table of values: the character has none.
inline constexpr uint8_t base64_no_value = 0xFF;

/// Values of all characters; of the standard alphabet only, as the decoder reads no other: meant so.
inline constexpr std::array<uint8_t, 256> base64_values = [] {
    std::array<uint8_t, 256> values{};
    values.fill(base64_no_value);
    for (size_t value = 0; value < 64; value++)
        values[static_cast<unsigned char>(base64_standard.characters[value])] = static_cast<uint8_t>(value);
    return values;
}();

/// Classes of characters by their half bytes, for processors that look up sixteen bytes at once.
struct base64_half_bytes {
    // A character is of the alphabet when the entries of its two halves share a bit: one for each high half.
    std::array<uint8_t, 16> by_low, by_high;
    // What to add to a character to get its value, by the high half; for "/" by one less, where no other is.
    std::array<int8_t, 16> offsets;
};

inline constexpr base64_half_bytes base64_halves = [] {
    base64_half_bytes halves{};
    for (size_t value = 0; value < 64; value++) {
        const int character = static_cast<unsigned char>(base64_standard.characters[value]);
        const auto low = static_cast<size_t>(character & 15), high = static_cast<size_t>(character >> 4);
        const auto bit = static_cast<uint8_t>(1u << high);
        halves.by_low[low] = static_cast<uint8_t>(halves.by_low[low] | bit);
        halves.by_high[high] = bit;
        halves.offsets[character == '/' ? high - 1 : high] =
            static_cast<int8_t>(static_cast<int>(value) - character);
    }
    return halves;
}();

} // namespace ombrel::encoding
