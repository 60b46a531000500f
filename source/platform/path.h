// How the platform writes paths.
#pragma once

namespace ombrel::platform {

#if defined(_WIN32)

/// Between a directory and what is in it.
inline constexpr char path_separator[] = "\\";
/// Each of them stands between directories of a list.
inline constexpr char list_separators[] = ":;";
/// Whether paths may begin with a letter and ":".
inline constexpr bool has_drives = true;

#else

inline constexpr char path_separator[] = "/";
inline constexpr char list_separators[] = ":";
inline constexpr bool has_drives = false;

#endif

/// Whether paths may begin with a drive ("C:/") or, behind two separators, with another host.
#if defined(_WIN32)
inline constexpr bool paths_have_drives_and_hosts = true;
#else
inline constexpr bool paths_have_drives_and_hosts = false;
#endif

} // namespace ombrel::platform
