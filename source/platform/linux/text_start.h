// How texts of the kernel begin.
#pragma once

#include <string_view>

namespace ombrel::platform {

/// What the member starts_with() tells, which calls the C++ run-time library where it is not optimised.
constexpr bool begins_with(std::string_view text, std::string_view start) {
    return text.size() >= start.size() && std::string_view(text.data(), start.size()) == start;
}

} // namespace ombrel::platform
