// Whether Windows is a real one.
#pragma once

#if defined(_WIN32)
#include <windows.h>
#endif

namespace ombrel_test {

inline bool is_wine() {
#if defined(_WIN32)
    return GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") != nullptr;
#else
    return false;
#endif
}

} // namespace ombrel_test
