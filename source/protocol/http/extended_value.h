// Values of parameters whose names end in "*" (RFC 8187): UTF-8, percent-coded.
#pragma once

#include <cstddef>
#include <string_view>

#include <ombrel/http_field.h>

#include "text/digits.h"
#include "text/slice.h"

namespace ombrel::protocol {

/// Decodes such a value, which gets shorter by it: the result may lie in its place. No zero is written, and
/// none is let through. False for another character set and for broken codes.
inline bool decode_extended_value(std::string_view value, char* to, size_t room, size_t& size) {
    const size_t quote = value.find('\'');
    const size_t second = quote != std::string_view::npos ? value.find('\'', quote + 1) : quote;
    if (second == std::string_view::npos || ombrel_is_http_name(value.data(), quote, "UTF-8") == 0)
        return false;
    size = 0;
    for (value = slice(value, second + 1); !value.empty(); size++) {
        const bool is_coded = value.front() == '%';
        unsigned byte = static_cast<unsigned char>(value.front());
        if (is_coded) {
            const unsigned high = value.size() > 2 ? digit_value(value[1]) : no_digit;
            const unsigned low = value.size() > 2 ? digit_value(value[2]) : no_digit;
            if (high == no_digit || low == no_digit)
                return false;
            byte = high << 4 | low;
        }
        if (size == room || byte == 0)
            return false;
        to[size] = static_cast<char>(byte);
        value.remove_prefix(is_coded ? 3 : 1);
    }
    return true;
}

} // namespace ombrel::protocol
