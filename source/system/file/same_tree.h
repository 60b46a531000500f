// Where trees lie.
#pragma once

#include <ombrel/file.h>

namespace ombrel::system {

/// Whether a path, at which there need not be anything, is a directory or leads through it. False, too, when
/// that cannot be found out.
bool is_at_or_below(const char* path, const ombrel_file_info_t& directory);

} // namespace ombrel::system
