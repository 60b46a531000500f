#include "platform/windows/entry_handle.h"

#include <cstring>
#include <utility>

#include <winternl.h>

#include "platform/fault.h"
#include "platform/host_block.h"
#include "platform/windows/host_error.h"
#include "platform/windows/wide_text.h"

namespace ombrel::platform {

namespace {

constexpr ULONG shared_with_all = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

bool done_or_fault(NTSTATUS status) {
    constexpr auto is_a_directory = static_cast<NTSTATUS>(0xC00000BA);
    if (NT_SUCCESS(status))
        return true;
    if (status == is_a_directory)
        leave_fault(fault_code::is_directory);
    else
        fail_by(RtlNtStatusToDosError(status));
    return false;
}

/// Longer ones fail where they are used, as they are no names.
UNICODE_STRING counted(wide_text& text) {
    const auto bytes = static_cast<USHORT>(text.size() < 32767 ? text.size() * sizeof(wchar_t) : 65534);
    return {bytes, bytes, text.get()};
}

bool set_information(HANDLE handle, const void* record, size_t size, int kind) {
    IO_STATUS_BLOCK status;
    return done_or_fault(NtSetInformationFile(handle, &status, const_cast<void*>(record),
                                              static_cast<ULONG>(size),
                                              static_cast<FILE_INFORMATION_CLASS>(kind)));
}

} // namespace

entry_handle::entry_handle(HANDLE directory, const char* name, const entry_opening& opening) {
    wide_text text(name);
    if (directory == nullptr)
        leave_fault(fault_code::bad_descriptor);
    if (directory == nullptr || !text)
        return;
    UNICODE_STRING counted_name = counted(text);
    OBJECT_ATTRIBUTES object;
    InitializeObjectAttributes(&object, &counted_name, OBJ_CASE_INSENSITIVE, directory, nullptr);
    const ULONG itself = opening.link == at_link::stay ? FILE_OPEN_REPARSE_POINT : 0;
    constexpr ULONG plain = FILE_SYNCHRONOUS_IO_NONALERT | FILE_OPEN_FOR_BACKUP_INTENT;
    IO_STATUS_BLOCK status;
    HANDLE opened = nullptr;
    if (done_or_fault(NtCreateFile(&opened, opening.rights | SYNCHRONIZE, &object, &status, nullptr,
                                   opening.attributes, shared_with_all, opening.disposition,
                                   opening.options | itself | plain, nullptr, 0)))
        handle_ = opened;
}

entry_handle::~entry_handle() {
    if (handle_ != nullptr)
        CloseHandle(handle_);
}

HANDLE entry_handle::release() {
    return std::exchange(handle_, nullptr);
}

bool remove_open(HANDLE handle) {
    constexpr int disposition_with_flags = 64, disposition = 13;
    constexpr ULONG remove = 1, at_once = 2, read_only_too = 0x10;
    const ULONG flags = remove | at_once | read_only_too;
    if (set_information(handle, &flags, sizeof flags, disposition_with_flags) ||
        last_fault().code == fault_code::not_empty)
        return last_fault().code != fault_code::not_empty;
    // Systems before Windows 10, and others' file systems, have the older call alone.
    FILE_BASIC_INFO basic{};
    basic.FileAttributes = FILE_ATTRIBUTE_NORMAL;
    SetFileInformationByHandle(handle, FileBasicInfo, &basic, sizeof basic);
    const BOOLEAN removes = TRUE;
    return set_information(handle, &removes, sizeof removes, disposition);
}

bool rename_open(HANDLE handle, HANDLE directory, const char* name) {
    constexpr int rename_information = 10;
    const wide_text text(name);
    const size_t bytes = text ? text.size() * sizeof(wchar_t) : 0;
    const size_t size = sizeof(FILE_RENAME_INFO) + bytes;
    const host_block<char> room(size);
    if (!text || !room)
        return false;
    auto* const info = reinterpret_cast<FILE_RENAME_INFO*>(room.get());
    *info = {};
    info->ReplaceIfExists = TRUE;
    info->RootDirectory = directory;
    info->FileNameLength = static_cast<DWORD>(bytes);
    memcpy(info->FileName, text.get(), bytes);
    return set_information(handle, info, size, rename_information);
}

} // namespace ombrel::platform
