// What files are, and what of that can be set.
#include <ombrel/file.h>

#include "system/file/file_internal.h"

using namespace ombrel;
using namespace ombrel::system;

namespace {

constexpr uint32_t most_mode = 07777;

bool is_mode(uint32_t mode) {
    return mode <= most_mode || refuse(fault_code::invalid);
}

bool is_instant(const ombrel_instant_t* time) {
    constexpr int32_t most = 999'999'999;
    return time == nullptr || (time->m_nanoseconds >= 0 && time->m_nanoseconds <= most) ||
           refuse(fault_code::invalid);
}

bool set_times(const char* path, uint32_t flags, const platform::file_times& times) {
    if (times.accessed == nullptr && times.modified == nullptr)
        return platform::set_file_times_to_now(path, link_of(flags));
    return platform::set_file_times(path, link_of(flags), times);
}

bool set_times(int descriptor, const platform::file_times& times) {
    if (times.accessed == nullptr && times.modified == nullptr)
        return platform::set_file_times_to_now(descriptor);
    return platform::set_file_times(descriptor, times);
}

} // namespace

int ombrel_file_exists(const char* path) {
    return is_path(path) && platform::file_exists(path) ? 1 : 0;
}

int ombrel_get_file_kind(const char* path, uint32_t flags) {
    ombrel_file_info_t info;
    if (ombrel_get_file_info(path, flags, &info) == 0)
        return info.m_kind;
    const fault_code why = last_fault().code;
    const bool is_absent = why == fault_code::not_found || why == fault_code::not_directory;
    return is_absent ? def_ombrel_file_kind_none : -1;
}

int ombrel_get_file_info(const char* path, uint32_t flags, ombrel_file_info_t* info) {
    if (!is_path(path) || !has_only(flags, def_ombrel_file_no_follow))
        return -1;
    return result_of(info != nullptr ? platform::get_file_info(path, link_of(flags), *info)
                                     : refuse(fault_code::invalid));
}

int ombrel_file_get_info(int fd, ombrel_file_info_t* info) {
    return result_of(info != nullptr ? platform::get_file_info(fd, *info) : refuse(fault_code::invalid));
}

int ombrel_check_file_access(const char* path, int mode) {
    if (mode < 0 || mode > 7)
        return result_of(refuse(fault_code::invalid));
    return result_of(is_path(path) && platform::has_file_rights(path, mode));
}

int ombrel_set_file_mode(const char* path, uint32_t mode) {
    return result_of(is_path(path) && is_mode(mode) && platform::set_file_mode(path, mode));
}

int ombrel_file_set_mode(int fd, uint32_t mode) {
    return result_of(is_mode(mode) && platform::set_file_mode(fd, mode));
}

int ombrel_set_file_owner(const char* path, uint32_t flags, uint32_t owner, uint32_t group) {
    return result_of(is_path(path) && has_only(flags, def_ombrel_file_no_follow) &&
                     platform::set_file_owner(path, link_of(flags), owner, group));
}

int ombrel_set_file_times(const char* path, uint32_t flags, const ombrel_instant_t* accessed,
                          const ombrel_instant_t* modified) {
    return result_of(is_path(path) && has_only(flags, def_ombrel_file_no_follow) && is_instant(accessed) &&
                     is_instant(modified) && set_times(path, flags, {accessed, modified}));
}

int ombrel_file_set_times(int fd, const ombrel_instant_t* accessed, const ombrel_instant_t* modified) {
    return result_of(is_instant(accessed) && is_instant(modified) && set_times(fd, {accessed, modified}));
}
