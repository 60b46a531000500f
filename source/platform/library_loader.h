// The platform's loader of shared libraries.
#pragma once

namespace ombrel::platform {

/// Between a search directory and a library's name.
inline constexpr char directory_separator[] = "/";

/// The library's handle or null; flags of 0 bind everything at once, for the library alone. A null path is
/// the program itself.
void* open_library(const char* path, int flags);

/// 0, or another number when the loader refuses.
int close_library(void* library);

/// The symbol's address, or null when the library exports none of the name.
void* library_symbol(void* library, const char* name);

/// What the loader complained about in this thread since the last call; null for nothing.
const char* library_error();

} // namespace ombrel::platform
