// How the platform writes paths.
#pragma once

namespace ombrel::platform {

/// Between a directory and what is in it.
#if defined(_WIN32)
inline constexpr char path_separator[] = "\\";
#else
inline constexpr char path_separator[] = "/";
#endif

/// Whether paths may begin with a drive ("C:/") or, behind two separators, with another host.
#if defined(_WIN32)
inline constexpr bool paths_have_drives_and_hosts = true;
#else
inline constexpr bool paths_have_drives_and_hosts = false;
#endif

} // namespace ombrel::platform
