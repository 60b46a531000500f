// Parts of paths as files are named by them.
#pragma once

#include <string_view>

#include "platform/path.h"
#include "text/slice.h"

namespace ombrel::system {

/// Between components and, where paths have drives, behind the drive.
inline constexpr std::string_view path_separators = platform::has_drives ? "/\\:" : "/";

constexpr bool is_path_separator(char c) {
    return path_separators.find(c) != std::string_view::npos;
}

/// Without separators at the end: of a root empty or a drive.
constexpr std::string_view without_last_separators(std::string_view path) {
    constexpr std::string_view separators = platform::has_drives ? "/\\" : "/";
    return slice(path, 0, path.find_last_not_of(separators) + 1);
}

/// The last component of a path without separators at its end.
constexpr std::string_view last_name(std::string_view path) {
    return slice(path, path.find_last_of(path_separators) + 1);
}

} // namespace ombrel::system
