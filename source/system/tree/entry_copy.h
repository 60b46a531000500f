// Copies of what is no directory, from name to name.
#pragma once

#include "platform/directory.h"

namespace ombrel::system {

/// A name in an open directory.
struct directory_place {
    platform::open_directory* directory;
    const char* name;
};

/// @param flags def_ombrel_file_no_replace and def_ombrel_file_keep_*; what is replaced is no directory, and
/// a symbolic link is replaced itself
/// @return false, with the fault left; what was made is removed then
bool copy_entry(const directory_place& from, const directory_place& to, uint32_t flags);

} // namespace ombrel::system
