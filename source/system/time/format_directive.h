// What stands between "%" and the letter of a conversion.
#pragma once

#include <string_view>

namespace ombrel::system {

struct directive {
    char pad = 0; ///< '-', '_', '0', '+'; 0 for what the letter wants
    bool is_upper = false;
    bool is_other_case = false;
    char modifier = 0; ///< 'E', 'O'; 0 for none
    int colons = 0;    ///< before a "z", 4 for more
    int width = -1;    ///< -1 for none

    bool is_plain() const { return pad == 0 && width < 0; }
};

/// Reads a directive from "%" on.
/// @return its text, to the letter; where another conversion begins, or the format ends, to there
std::string_view read_directive(std::string_view format, directive& how);

} // namespace ombrel::system
