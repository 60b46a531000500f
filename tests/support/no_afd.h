// A system without the driver of sockets, where the environment asks for one by OMBREL_TEST_NO_AFD: the
// library then waits for them by the plain call.
#pragma once

#if defined(_WIN32)

#include <cstdlib>
#include <optional>
#include <string_view>

#include <winsock2.h>

#include <winternl.h>

#include "support/replaced_import.h"

namespace ombrel_test {

using create_file_call = decltype(NtCreateFile);

inline std::optional<replaced_import> create_file;

inline NTSTATUS NTAPI create_no_afd(HANDLE* handle, ACCESS_MASK access, OBJECT_ATTRIBUTES* what,
                                    IO_STATUS_BLOCK* status, LARGE_INTEGER* size, ULONG attributes,
                                    ULONG sharing, ULONG disposition, ULONG options, void* more,
                                    ULONG more_size) {
    constexpr auto not_found = static_cast<NTSTATUS>(0xC0000034);
    const std::wstring_view name(what->ObjectName->Buffer, what->ObjectName->Length / sizeof(wchar_t));
    if (name.starts_with(LR"(\Device\Afd)"))
        return not_found;
    return create_file->own<create_file_call>()(handle, access, what, status, size, attributes, sharing,
                                                disposition, options, more, more_size);
}

inline const bool has_afd = getenv("OMBREL_TEST_NO_AFD") == nullptr ||
                            (create_file.emplace("ntdll.dll", "NtCreateFile", create_no_afd), false);

} // namespace ombrel_test

#endif
