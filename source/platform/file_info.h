// What is known about files, and what of it can be set. What fails leaves its fault (fault.h). Paths are not
// null.
#pragma once

#include <cstdint>

#include <ombrel/file.h>

namespace ombrel::platform {

/// Whether a symbolic link at the end of a path stands for itself or for what it leads to.
enum class at_link { stay, follow };

bool get_file_info(const char* path, at_link link, ombrel_file_info_t& info);
bool get_file_info(int descriptor, ombrel_file_info_t& info);

/// Whether this process may use what is there.
/// @param rights 4 to read, 2 to write, 1 to run it or pass through it, added; 0 if it is there
bool has_file_rights(const char* path, int rights);

/// Whether modes tell who may read and write a file, rather than whether anybody may.
bool modes_tell_users_apart();

bool set_file_mode(const char* path, uint32_t mode);
bool set_file_mode(int descriptor, uint32_t mode);

/// UINT32_MAX leaves the user or the group as it is.
bool set_file_owner(const char* path, at_link link, uint32_t owner, uint32_t group);
bool set_file_owner(int descriptor, uint32_t owner, uint32_t group);

/// A null time stays as it is.
struct file_times {
    const ombrel_instant_t* accessed;
    const ombrel_instant_t* modified;
};
bool set_file_times(const char* path, at_link link, const file_times& times);
bool set_file_times(int descriptor, const file_times& times);

/// The same with the present for both.
bool set_file_times_to_now(const char* path, at_link link);
bool set_file_times_to_now(int descriptor);

} // namespace ombrel::platform
