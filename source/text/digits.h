// Digits up to those of base 16, as characters and as values.
#pragma once

#include <array>
#include <climits>
#include <cstdint>

namespace ombrel {

inline constexpr char upper_digits[] = "0123456789ABCDEF";
inline constexpr char lower_digits[] = "0123456789abcdef";

inline constexpr unsigned no_digit = UINT_MAX;

// -1, which becomes no_digit, for what is none.
inline constexpr std::array<int8_t, 256> digit_values = [] {
    std::array<int8_t, 256> values{};
    values.fill(-1);
    for (int8_t value = 0; value < 16; value++)
        for (const char* const digits : {upper_digits, lower_digits})
            values[static_cast<unsigned char>(digits[value])] = value;
    return values;
}();

/// The value of a digit, whose letter may be of either case, or no_digit.
constexpr unsigned digit_value(char c) {
    return static_cast<unsigned>(int{digit_values[static_cast<unsigned char>(c)]});
}

/// Writes a byte as two digits and gives the place behind them.
constexpr char* put_hex(char* to, uint8_t byte, const char* digits = upper_digits) {
    *to++ = digits[byte >> 4];
    *to++ = digits[byte & 15];
    return to;
}

} // namespace ombrel
