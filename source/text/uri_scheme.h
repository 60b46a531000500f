// The scheme of a resource name, for those who need no more of it.
#pragma once

#include <cstddef>
#include <string_view>

namespace ombrel {

/// Bytes of the scheme that a text begins with, without its colon; 0 for a plain path.
size_t uri_scheme_size(std::string_view text);

} // namespace ombrel
