// How the platform writes paths.
#pragma once

namespace ombrel::platform {

#if defined(_WIN32)
inline constexpr const char path_separator[] = "\\";
#else
inline constexpr const char path_separator[] = "/";
#endif

} // namespace ombrel::platform
