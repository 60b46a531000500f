// A function of the system in whose stead the library calls one of the test's.
#pragma once

#include <cstring>

#include <windows.h>

#include <psapi.h>

#include "support/no_copy.h"

namespace ombrel_test {

template<typename Record>
Record* record_at(HMODULE module, DWORD offset) {
    return reinterpret_cast<Record*>(reinterpret_cast<char*>(module) + offset);
}

/// Looks the function up in the tables by which a module calls others.
inline void replace_import_of(HMODULE module, FARPROC from, FARPROC to) {
    const auto* const dos = record_at<IMAGE_DOS_HEADER>(module, 0);
    const auto* const headers = record_at<IMAGE_NT_HEADERS>(module, static_cast<DWORD>(dos->e_lfanew));
    const auto& place = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    if (place.Size == 0)
        return;
    for (auto* one = record_at<IMAGE_IMPORT_DESCRIPTOR>(module, place.VirtualAddress); one->FirstThunk != 0;
         one++)
        for (auto* entry = record_at<FARPROC>(module, one->FirstThunk); *entry != nullptr; entry++)
            if (*entry == from) {
                DWORD before;
                VirtualProtect(entry, sizeof *entry, PAGE_READWRITE, &before);
                *entry = to;
                VirtualProtect(entry, sizeof *entry, before, &before);
            }
}

/// In the program and in the library that it links, but not in those of the system.
inline void replace_imports(FARPROC from, FARPROC to) {
    HMODULE modules[256];
    DWORD size = 0;
    K32EnumProcessModules(GetCurrentProcess(), modules, sizeof modules, &size);
    for (size_t i = 0; i < size / sizeof(HMODULE); i++) {
        char path[MAX_PATH] = "";
        GetModuleFileNameA(modules[i], path, sizeof path);
        if (strstr(path, "ombrel") != nullptr || modules[i] == GetModuleHandleA(nullptr))
            replace_import_of(modules[i], from, to);
    }
}

/// One function of the system's, replaced in a scope.
class replaced_import : no_copy {
public:
    template<typename Function>
    replaced_import(const char* library, const char* name, Function* to)
        : from_(GetProcAddress(LoadLibraryA(library), name)),
          to_(reinterpret_cast<FARPROC>(reinterpret_cast<void*>(to))) {
        replace_imports(from_, to_);
    }
    ~replaced_import() { replace_imports(to_, from_); }

    /// The system's own.
    template<typename Function>
    Function* own() const {
        return reinterpret_cast<Function*>(reinterpret_cast<void*>(from_));
    }

private:
    FARPROC from_, to_;
};

} // namespace ombrel_test
