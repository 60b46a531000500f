// The scheme of a resource name, for those who need no more of it.
#pragma once

#include <cstddef>
#include <string_view>

namespace ombrel {

/// Bytes of the scheme that a text begins with, without its colon; 0 for a plain path.
size_t uri_scheme_size(std::string_view text);

/// The scheme of a resource name, "file" for a plain path.
std::string_view scheme_of(std::string_view text);

/// Letters match either case.
bool is_same_scheme(std::string_view a, std::string_view b);

/// Whether a list of schemes, separated by "|", has one.
bool is_listed_scheme(std::string_view list, std::string_view scheme);

} // namespace ombrel
