// Parts of a text. The members of std::string_view that check where a part begins, substr(), copy() and the
// starts_with() made of them, do so by a function of the C++ run-time library, which this library does
// without.
#pragma once

#include <algorithm>
#include <string_view>

namespace ombrel {

/// At most `count` characters from `start` on; empty beyond the end.
constexpr std::string_view slice(std::string_view text, size_t start, size_t count = std::string_view::npos) {
    text.remove_prefix(std::min(start, text.size()));
    return {text.data(), std::min(count, text.size())};
}

constexpr bool starts_with(std::string_view text, std::string_view start) {
    return slice(text, 0, start.size()) == start;
}

/// Writes the text, which gets no terminator, and gives the place behind it.
constexpr char* put_text(char* to, std::string_view text) {
    return std::copy(text.begin(), text.end(), to);
}

} // namespace ombrel
