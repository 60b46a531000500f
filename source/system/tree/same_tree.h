// Where trees lie.
#pragma once

#include <ombrel/file.h>

namespace ombrel::system {

/// Whether a path, at which there need not be anything, is not a directory and does not lead through it.
/// False leaves the fault: "invalid", or why that cannot be found out.
bool lies_outside(const char* path, const ombrel_file_info_t& directory);

} // namespace ombrel::system
