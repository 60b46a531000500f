// Numbers in texts, read strictly: digits alone, behind a "-" where the type has a sign; no space, no "+", no
// "0x". What users are offered to read numbers with (ombrel/scan.h) is lenient and wraps around, as
// documented there.
#pragma once

#include <charconv>
#include <limits>
#include <string_view>
#include <system_error>

namespace ombrel {

/// Takes a number from `least` to `most` off the front of the text. False, with both as they were, when there
/// is none.
template<typename Number>
bool take_number(std::string_view& text, Number least, Number most, Number& value, int base = 10) {
    Number read{};
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), read, base);
    if (error != std::errc{} || read < least || read > most)
        return false;
    text.remove_prefix(static_cast<size_t>(stop - text.data()));
    value = read;
    return true;
}

/// Reads a text that is nothing but a number from `least` to `most`. False, with the value as it was, for any
/// other.
template<typename Number>
bool parse_number(std::string_view text, Number least, Number most, Number& value, int base = 10) {
    Number read{};
    if (!take_number(text, least, most, read, base) || !text.empty())
        return false;
    value = read;
    return true;
}

/// With all the numbers that the type has.
template<typename Number>
bool parse_number(std::string_view text, Number& value) {
    return parse_number(text, std::numeric_limits<Number>::min(), std::numeric_limits<Number>::max(), value);
}

} // namespace ombrel
