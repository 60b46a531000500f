// Parts of a text. std::string_view::substr() checks its start by a function of the C++ run-time library,
// which this library does without.
#pragma once

#include <algorithm>
#include <string_view>

namespace ombrel {

/// At most `count` characters from `start` on; empty beyond the end.
constexpr std::string_view slice(std::string_view text, size_t start, size_t count = std::string_view::npos) {
    text.remove_prefix(std::min(start, text.size()));
    return {text.data(), std::min(count, text.size())};
}

} // namespace ombrel
