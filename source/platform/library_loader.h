// The platform's loader of shared libraries.
#pragma once

namespace ombrel::platform {

/// What names of plug-in libraries end with.
#if defined(_WIN32)
#define OMBREL_LIBRARY_SUFFIX ".dll"
#elif defined(__APPLE__)
#define OMBREL_LIBRARY_SUFFIX ".dylib"
#else
#define OMBREL_LIBRARY_SUFFIX ".so"
#endif

/// The file that this code was loaded from, as the loader was given it; null when it cannot tell.
const char* own_library_path();

/// The library's handle or null; flags of 0 bind everything at once, for the library alone. A null path is
/// the program itself.
void* open_library(const char* path, int flags);

/// 0, or another number when the loader refuses.
int close_library(void* library);

/// The symbol's address, or null when the library exports none of the name.
void* library_symbol(void* library, const char* name);

/// The function itself, where a program's address of it is that of a jump there: compilers of Windows give
/// such to data that is made before the program runs.
void* behind_import(void* function);

/// What the loader complained about in this thread since the last call; null for nothing.
const char* library_error();

} // namespace ombrel::platform
