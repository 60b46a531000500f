// Decimal numbers of network protocols: digits only, without sign or space.
#pragma once

#include <cstdint>
#include <string_view>

namespace ombrel::protocol {

/// False for a text that is empty, has other characters, or exceeds `most`.
inline bool parse_decimal(std::string_view text, uint64_t most, uint64_t& value) {
    uint64_t result = 0;
    for (const char c : text) {
        if (c < '0' || c > '9')
            return false;
        const uint64_t digit = static_cast<uint64_t>(c - '0');
        if (digit > most || result > (most - digit) / 10)
            return false;
        result = result * 10 + digit;
    }
    value = result;
    return !text.empty();
}

} // namespace ombrel::protocol
