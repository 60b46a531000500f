// Patterns of paths by git's rules, as the lists of match_filter.h have them.
#pragma once

#include <string_view>

namespace ombrel::system {

/// Whether any text can match: no class is left open or of an unknown name, and no backslash stands at the
/// end.
bool is_sound_pattern(std::string_view pattern);

/// Whether a sound pattern stands for all of a path whose components are joined by "/". Takes time in
/// proportion to both lengths' product at most, and no memory.
bool matches_pattern(std::string_view pattern, std::string_view path, bool any_case);

} // namespace ombrel::system
