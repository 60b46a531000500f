#include "platform/file_info.h"

#include <cstring>
#include <cwchar>
#include <initializer_list>

#include "platform/fault.h"
#include "platform/file.h"
#include "platform/host_block.h"
#include "platform/windows/descriptor.h"
#include "platform/windows/file_times.h"
#include "platform/windows/host_error.h"
#include "platform/windows/open_handle.h"
#include "platform/windows/path_handle.h"
#include "platform/windows/reparse_text.h"

namespace ombrel::platform {

namespace {

bool refuse(fault_code why) {
    leave_fault(why);
    return false;
}

bool ends_as_program(const wchar_t* name, size_t size) {
    constexpr size_t ending = 4;
    if (size < ending)
        return false;
    for (const wchar_t* const program : {L".exe", L".com", L".bat", L".cmd"})
        if (_wcsnicmp(name + size - ending, program, ending) == 0)
            return true;
    return false;
}

/// By its name, as the system tells programs.
bool is_program(HANDLE file) {
    constexpr DWORD longest = 32768;
    const host_block<wchar_t> room(longest);
    auto* const info = reinterpret_cast<FILE_NAME_INFO*>(room.get());
    return room && GetFileInformationByHandleEx(file, FileNameInfo, info, DWORD{longest * sizeof(wchar_t)}) &&
           ends_as_program(info->FileName, info->FileNameLength / sizeof(wchar_t));
}

int kind_of_handle(HANDLE handle, DWORD attributes) {
    switch (GetFileType(handle)) {
    case FILE_TYPE_CHAR:
        return def_ombrel_file_kind_character_device;
    case FILE_TYPE_PIPE:
        return def_ombrel_file_kind_pipe;
    default:
        if (is_link(handle))
            return def_ombrel_file_kind_link;
        return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? def_ombrel_file_kind_directory
                                                            : def_ombrel_file_kind_regular;
    }
}

uint32_t mode_of(HANDLE handle, int kind, DWORD attributes) {
    if (kind == def_ombrel_file_kind_directory)
        return 0777; // the attribute has another meaning there
    const uint32_t mode = (attributes & FILE_ATTRIBUTE_READONLY) != 0 ? 0444 : 0666;
    return kind == def_ombrel_file_kind_regular && is_program(handle) ? mode | 0111 : mode;
}

int64_t link_size(HANDLE link) {
    const host_text text = reparse_text(link);
    return text.get() != nullptr ? static_cast<int64_t>(strlen(text.get())) : 0;
}

void take_times(const FILE_BASIC_INFO& basic, ombrel_file_info_t& info) {
    info.m_accessed = instant_of(basic.LastAccessTime.QuadPart);
    info.m_modified = instant_of(basic.LastWriteTime.QuadPart);
    info.m_changed = instant_of(basic.ChangeTime.QuadPart);
    info.m_created = instant_of(basic.CreationTime.QuadPart);
    info.m_has_created = 1;
}

bool get_info_of_file(HANDLE handle, ombrel_file_info_t& info) {
    BY_HANDLE_FILE_INFORMATION identity;
    FILE_BASIC_INFO basic;
    FILE_STANDARD_INFO standard;
    if (!GetFileInformationByHandle(handle, &identity) ||
        !GetFileInformationByHandleEx(handle, FileBasicInfo, &basic, sizeof basic) ||
        !GetFileInformationByHandleEx(handle, FileStandardInfo, &standard, sizeof standard))
        return fail_by_last_error() == 0;
    info = {};
    info.m_kind = kind_of_handle(handle, basic.FileAttributes);
    info.m_mode = mode_of(handle, info.m_kind, basic.FileAttributes);
    if (info.m_kind == def_ombrel_file_kind_regular)
        info.m_size = standard.EndOfFile.QuadPart;
    else if (info.m_kind == def_ombrel_file_kind_link)
        info.m_size = link_size(handle);
    info.m_allocated = standard.AllocationSize.QuadPart;
    info.m_links = standard.NumberOfLinks;
    info.m_device = identity.dwVolumeSerialNumber;
    info.m_serial = uint64_t{identity.nFileIndexHigh} << 32 | identity.nFileIndexLow;
    take_times(basic, info);
    return true;
}

/// What is not to change is 0.
bool set_basic(HANDLE handle, const FILE_BASIC_INFO& info) {
    FILE_BASIC_INFO copy = info;
    if (SetFileInformationByHandle(handle, FileBasicInfo, &copy, sizeof copy))
        return true;
    fail_by_last_error();
    return false;
}

/// By a handle of its own where the descriptor's has not the right.
bool set_basic(int descriptor, const FILE_BASIC_INFO& info) {
    HANDLE const handle = handle_of(descriptor);
    if (handle == nullptr)
        return false;
    if (set_basic(handle, info))
        return true;
    constexpr DWORD shared_with_all = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    HANDLE const own = ReOpenFile(handle, FILE_WRITE_ATTRIBUTES, shared_with_all, FILE_FLAG_BACKUP_SEMANTICS);
    if (own == INVALID_HANDLE_VALUE)
        return fail_by_last_error() == 0;
    const bool is_set = set_basic(own, info);
    CloseHandle(own);
    return is_set;
}

/// Other attributes stay. Directories are always writable.
bool basic_of_mode(HANDLE handle, uint32_t mode, FILE_BASIC_INFO& basic) {
    constexpr uint32_t may_write = 0200;
    FILE_BASIC_INFO old;
    if (!GetFileInformationByHandleEx(handle, FileBasicInfo, &old, sizeof old))
        return fail_by_last_error() == 0;
    const bool is_kept = (mode & may_write) != 0 || (old.FileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    const DWORD others = old.FileAttributes & ~DWORD{FILE_ATTRIBUTE_READONLY};
    const DWORD attributes = is_kept ? others : others | FILE_ATTRIBUTE_READONLY;
    basic.FileAttributes = attributes != 0 ? attributes : FILE_ATTRIBUTE_NORMAL;
    return true;
}

bool basic_of_times(const file_times& times, FILE_BASIC_INFO& basic) {
    return (times.accessed == nullptr || ticks_of(*times.accessed, basic.LastAccessTime.QuadPart) ||
            refuse(fault_code::invalid)) &&
           (times.modified == nullptr || ticks_of(*times.modified, basic.LastWriteTime.QuadPart) ||
            refuse(fault_code::invalid));
}

FILE_BASIC_INFO basic_of_now() {
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    FILE_BASIC_INFO basic{};
    basic.LastWriteTime.LowPart = now.dwLowDateTime;
    basic.LastWriteTime.HighPart = static_cast<LONG>(now.dwHighDateTime);
    basic.LastAccessTime = basic.LastWriteTime;
    return basic;
}

constexpr DWORD attribute_rights = FILE_READ_ATTRIBUTES | FILE_WRITE_ATTRIBUTES;

} // namespace

bool get_handle_info(HANDLE handle, ombrel_file_info_t& info) {
    if (GetFileType(handle) == FILE_TYPE_DISK)
        return get_info_of_file(handle, info);
    info = {};
    info.m_kind = kind_of_handle(handle, 0);
    info.m_mode = 0666;
    info.m_links = 1;
    return true;
}

bool set_handle_times(HANDLE handle, const file_times& times) {
    FILE_BASIC_INFO basic{};
    return basic_of_times(times, basic) && set_basic(handle, basic);
}

bool get_file_info(const char* path, at_link link, ombrel_file_info_t& info) {
    const path_handle file(path, FILE_READ_ATTRIBUTES, link);
    return file && get_handle_info(file.get(), info);
}

bool get_file_info(int descriptor, ombrel_file_info_t& info) {
    if (kind_of(descriptor) == descriptor_kind::socket) {
        info = {};
        info.m_kind = def_ombrel_file_kind_socket;
        info.m_mode = 0666;
        return true;
    }
    HANDLE const handle = handle_of(descriptor);
    return handle != nullptr && get_handle_info(handle, info);
}

bool has_file_rights(const char* path, int rights) {
    ombrel_file_info_t info;
    if (!get_file_info(path, at_link::follow, info))
        return false;
    constexpr int to_write = 2, to_run = 1;
    if (((rights & to_write) != 0 && (info.m_mode & 0200) == 0) ||
        ((rights & to_run) != 0 && (info.m_mode & 0100) == 0))
        return refuse(fault_code::access_denied);
    const bool is_directory = info.m_kind == def_ombrel_file_kind_directory;
    const DWORD asked = ((rights & 4) != 0 ? GENERIC_READ : 0u) |
                        ((rights & to_write) != 0 && !is_directory ? GENERIC_WRITE : 0u);
    return asked == 0 || static_cast<bool>(path_handle(path, asked, at_link::follow));
}

bool modes_tell_users_apart() {
    return false;
}

bool set_file_mode(const char* path, uint32_t mode) {
    const path_handle file(path, attribute_rights, at_link::follow);
    FILE_BASIC_INFO basic{};
    return file && basic_of_mode(file.get(), mode, basic) && set_basic(file.get(), basic);
}

bool set_file_mode(int descriptor, uint32_t mode) {
    HANDLE const handle = handle_of(descriptor);
    FILE_BASIC_INFO basic{};
    return handle != nullptr && basic_of_mode(handle, mode, basic) && set_basic(descriptor, basic);
}

bool set_file_owner(const char* path, at_link, uint32_t, uint32_t) {
    return file_exists(path) && refuse(fault_code::not_supported);
}

bool set_file_owner(int, uint32_t, uint32_t) {
    return refuse(fault_code::not_supported);
}

bool set_file_times(const char* path, at_link link, const file_times& times) {
    FILE_BASIC_INFO basic{};
    if (!basic_of_times(times, basic))
        return false;
    const path_handle file(path, attribute_rights, link);
    return file && set_basic(file.get(), basic);
}

bool set_file_times(int descriptor, const file_times& times) {
    FILE_BASIC_INFO basic{};
    return basic_of_times(times, basic) && set_basic(descriptor, basic);
}

bool set_file_times_to_now(const char* path, at_link link) {
    const path_handle file(path, attribute_rights, link);
    return file && set_basic(file.get(), basic_of_now());
}

bool set_file_times_to_now(int descriptor) {
    return set_basic(descriptor, basic_of_now());
}

} // namespace ombrel::platform
