// What POSIX's status of a file is in the records of the library.
#pragma once

#include <sys/stat.h>

#include "platform/file_info.h"

namespace ombrel::platform {

/// A def_ombrel_file_kind_*.
int kind_of_mode(mode_t mode);

/// get_file_info() of a name in an open directory.
bool get_file_info_at(int directory, const char* name, at_link link, ombrel_file_info_t& info);

} // namespace ombrel::platform
