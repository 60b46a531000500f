// Schemes of sources.
#pragma once

#include <string_view>

#include <ombrel/string.h>

#include "text/slice.h"
#include "text/uri_scheme.h"

namespace ombrel::protocol {

/// That of a plain path is "file".
inline std::string_view scheme_of(const char* uri) {
    const std::string_view text = uri;
    const size_t size = uri_scheme_size(text);
    return size > 0 ? slice(text, 0, size) : "file";
}

inline bool is_same_scheme(std::string_view a, std::string_view b) {
    return a.size() == b.size() && ombrel_strncasecmp(a.data(), b.data(), a.size()) == 0;
}

} // namespace ombrel::protocol
