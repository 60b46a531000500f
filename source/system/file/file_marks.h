// What tells two files apart without a look at their bytes.
#pragma once

#include <cstdlib>

#include <ombrel/file.h>

namespace ombrel::system {

inline bool is_directory(const ombrel_file_info_t& info) {
    return info.m_kind == def_ombrel_file_kind_directory;
}

inline bool is_there(const ombrel_file_info_t& info) {
    return info.m_kind != def_ombrel_file_kind_none;
}

/// As exactly as file systems keep them: some to 100 nanoseconds, some to seconds.
inline bool is_same_time(const ombrel_instant_t& a, const ombrel_instant_t& b) {
    constexpr int coarse = 100;
    return a.m_seconds == b.m_seconds && (a.m_nanoseconds == 0 || b.m_nanoseconds == 0 ||
                                          a.m_nanoseconds / coarse == b.m_nanoseconds / coarse);
}

inline int64_t content_size(const ombrel_file_info_t& info) {
    const bool has_content =
        info.m_kind == def_ombrel_file_kind_regular || info.m_kind == def_ombrel_file_kind_link;
    return has_content ? info.m_size : 0;
}

} // namespace ombrel::system
