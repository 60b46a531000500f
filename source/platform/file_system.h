// File systems. What fails leaves its fault (fault.h).
#pragma once

#include <ombrel/file.h>

#include "platform/host_text.h"

namespace ombrel::platform {

/// Of the file system in which something lies.
bool get_file_space(const char* path, ombrel_file_space_t& space);

/// The mounted file systems, one a line, in the order in which they were mounted: source, directory, kind and
/// options, a space between. Spaces, tabs, line ends and backslashes in them are written as a backslash and
/// three octal digits.
host_text mount_lines();

} // namespace ombrel::platform
