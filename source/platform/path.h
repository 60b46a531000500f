// How the platform writes paths.
#pragma once

namespace ombrel::platform {

/// Between a directory and what is in it.
#if defined(_WIN32)
inline constexpr char path_separator[] = "\\";
#else
inline constexpr char path_separator[] = "/";
#endif

} // namespace ombrel::platform
