// Whether Windows is a real one.
#pragma once

#if defined(_WIN32)
extern "C" __declspec(dllimport) void* __stdcall GetModuleHandleA(const char*);
extern "C" __declspec(dllimport) void* __stdcall GetProcAddress(void*, const char*);
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
