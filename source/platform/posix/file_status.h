// Kinds of files in the words of POSIX, and the calls over files whose names count from an open directory.
#pragma once

#include <sys/stat.h>

#include "platform/file.h"
#include "platform/file_info.h"
#include "platform/host_text.h"

namespace ombrel::platform {

/// A def_ombrel_file_kind_*.
int kind_of_mode(mode_t mode);

// Each is the call of its name, for a name in the directory of a descriptor; AT_FDCWD stands for none.
bool get_file_info_at(int directory, const char* name, at_link link, ombrel_file_info_t& info);
bool set_file_times_at(int directory, const char* name, at_link link, const file_times& times);
int open_file_at(int directory, const char* name, const file_access& access);
host_text read_link_at(int directory, const char* name);

} // namespace ombrel::platform
