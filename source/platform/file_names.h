// Names of files: changed, removed, made, resolved. What fails leaves its fault (fault.h). Paths are not
// null.
#pragma once

#include <cstdint>

#include "platform/host_text.h"

namespace ombrel::platform {

enum class at_target { replace, refuse };

/// In one step; what is at `to` is replaced or makes it fail as "exists".
bool rename_file(const char* from, const char* to, at_target target);

/// A file of any kind but a directory; symbolic links themselves.
bool remove_file(const char* path);
/// An empty one.
bool remove_directory(const char* path);
bool make_directory(const char* path, uint32_t mode);

/// One more name for what is at `path`, symbolic links themselves.
bool make_link(const char* path, const char* new_path);
bool make_symbolic_link(const char* text, const char* new_path);
host_text read_link(const char* path);

/// Hands a directory's names to the device; a host that does so by itself succeeds.
bool sync_directory(const char* path);

/// Absolute, through all links.
host_text canonical_path(const char* path);

host_text current_directory();
bool set_current_directory(const char* path);

/// Of this process's program.
host_text program_path();

/// For temporary files, without a separator at its end.
host_text temporary_folder();

} // namespace ombrel::platform
