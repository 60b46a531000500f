// Character sets by their names.
#pragma once

#include <string_view>

namespace ombrel {

/// The set of a name, as ombrel_find_charset() finds it; -1 when it is none's.
int find_charset(std::string_view name);

} // namespace ombrel
