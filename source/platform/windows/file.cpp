#include "platform/file.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cwchar>
#include <fcntl.h>
#include <io.h>

#include <winternl.h>

#include "platform/fault.h"
#include "platform/poll.h"
#include "platform/socket.h"
#include "platform/windows/child_table.h"
#include "platform/windows/descriptor.h"
#include "platform/windows/host_error.h"
#include "platform/windows/open_handle.h"
#include "platform/windows/path_handle.h"
#include "platform/windows/pipe_end.h"
#include "platform/windows/wide_text.h"
#include "platform/windows/winsock.h"

namespace ombrel::platform {

namespace {

/// Gives -1.
int refuse(fault_code why) {
    leave_fault(why);
    return -1;
}

/// Results are ints, so one call moves no more than an int can count.
DWORD countable(size_t size) {
    return static_cast<DWORD>(std::min<size_t>(size, INT_MAX));
}

bool is_disk_file(HANDLE handle) {
    return GetFileType(handle) == FILE_TYPE_DISK;
}

// What is there is never replaced, as that would take its attributes and be refused for hidden files.
DWORD disposition_of(const file_access& access) {
    if (!access.create)
        return OPEN_EXISTING;
    return access.exclusive ? CREATE_NEW : OPEN_ALWAYS;
}

bool is_directory(const wchar_t* path) {
    const DWORD attributes = GetFileAttributesW(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

int fail_to_open(const wchar_t* path) {
    const DWORD error = GetLastError();
    if (error != ERROR_FILE_EXISTS && is_directory(path))
        return refuse(fault_code::is_directory);
    SetLastError(error);
    return fail_by_path(path);
}

DWORD opening_attributes(const file_access& access) {
    constexpr uint32_t may_write = 0200;
    const DWORD itself = access.refuse_link ? FILE_FLAG_OPEN_REPARSE_POINT : 0;
    return itself | ((access.mode & may_write) != 0 ? FILE_ATTRIBUTE_NORMAL : FILE_ATTRIBUTE_READONLY);
}

bool set_end(HANDLE file, int64_t size) {
    FILE_END_OF_FILE_INFO end;
    end.EndOfFile.QuadPart = size;
    return SetFileInformationByHandle(file, FileEndOfFileInfo, &end, sizeof end);
}

/// What the handle was opened for, as the system has it; 0 when it does not tell.
ACCESS_MASK granted_rights(HANDLE handle) {
    constexpr auto access_information = static_cast<FILE_INFORMATION_CLASS>(8);
    IO_STATUS_BLOCK unused;
    ACCESS_MASK rights;
    const NTSTATUS status =
        NtQueryInformationFile(handle, &unused, &rights, sizeof rights, access_information);
    return NT_SUCCESS(status) ? rights : 0;
}

int duplicate_socket(int s) {
    WSAPROTOCOL_INFOW description;
    if (WSADuplicateSocketW(socket_of(s), GetCurrentProcessId(), &description) != 0)
        return fail_by_last_error();
    const int copy =
        adopt_socket(WSASocketW(FROM_PROTOCOL_INFO, FROM_PROTOCOL_INFO, FROM_PROTOCOL_INFO, &description, 0,
                                WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT));
    if (copy >= 0)
        set_non_blocking(copy, !is_blocking(s)); // both stand for one socket, whose mode may be shared
    return copy;
}

bool is_pipe(HANDLE handle) {
    return GetFileType(handle) == FILE_TYPE_PIPE;
}

bool is_socket(int descriptor) {
    return kind_of(descriptor) == descriptor_kind::socket;
}

bool may_wait(int descriptor, HANDLE handle) {
    return !has_note(descriptor, handle, note_never_waits);
}

int read_handle(HANDLE handle, void* buffer, size_t size) {
    DWORD bytes = 0;
    return ReadFile(handle, buffer, countable(size), &bytes, nullptr) ? static_cast<int>(bytes)
                                                                      : fail_transfer();
}

/// A place of a file as the calls take it.
OVERLAPPED place_at(int64_t offset) {
    OVERLAPPED place{};
    place.Offset = static_cast<DWORD>(offset);
    place.OffsetHigh = static_cast<DWORD>(offset >> 32);
    return place;
}

/// Puts a file's position back, which transfers at a place move.
class position_keeper {
public:
    explicit position_keeper(HANDLE file) : file_(file) {
        SetFilePointerEx(file, LARGE_INTEGER{}, &before_, FILE_CURRENT);
    }
    ~position_keeper() { SetFilePointerEx(file_, before_, nullptr, FILE_BEGIN); }
    position_keeper(const position_keeper&) = delete;
    position_keeper& operator=(const position_keeper&) = delete;

private:
    HANDLE file_;
    LARGE_INTEGER before_{};
};

/// Writes at the place of the handle or, in one step with finding it, at the end of the file.
int write_handle(int descriptor, HANDLE handle, const void* data, size_t size) {
    OVERLAPPED at_end{};
    at_end.Offset = at_end.OffsetHigh = MAXDWORD;
    OVERLAPPED* const place = has_note(descriptor, handle, note_appends) ? &at_end : nullptr;
    DWORD bytes = 0;
    return WriteFile(handle, data, countable(size), &bytes, place) ? static_cast<int>(bytes)
                                                                   : fail_transfer();
}

bool is_ready(int descriptor, readiness kind) {
    poll_request request{descriptor, kind, false};
    return poll_descriptors(&request, 1, 0) > 0;
}

/// The handle of a file on a disk; null, with its fault, for what is none.
HANDLE disk_file_of(int descriptor, fault_code else_fault) {
    HANDLE const handle = handle_of(descriptor);
    if (handle == nullptr || is_disk_file(handle))
        return handle;
    leave_fault(else_fault);
    return nullptr;
}

} // namespace

DWORD rights_of(const file_access& access) {
    return (access.read ? GENERIC_READ : 0u) | (access.write || !access.read ? GENERIC_WRITE : 0u);
}

int take_opened(HANDLE file, const file_access& access) {
    if (access.refuse_link && is_link(file)) {
        CloseHandle(file);
        return refuse(fault_code::link_loop);
    }
    if (access.inherit)
        SetHandleInformation(file, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
    if (access.truncate && is_disk_file(file) && !set_end(file, 0)) {
        fail_by_last_error();
        CloseHandle(file);
        return -1;
    }
    const int descriptor = adopt_handle(file, access.append ? _O_APPEND : 0);
    if (descriptor >= 0 && access.append)
        set_file_append(descriptor);
    return descriptor;
}

int open_file(const char* path, const file_access& access) {
    constexpr DWORD shared_with_all = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const wide_path name(path);
    if (!name)
        return -1;
    HANDLE const file = CreateFileW(name.get(), rights_of(access), shared_with_all, nullptr,
                                    disposition_of(access), opening_attributes(access), nullptr);
    return file != INVALID_HANDLE_VALUE ? take_opened(file, access) : fail_to_open(name.get());
}

int open_file_for_reading(const char* path) {
    file_access access;
    access.read = true;
    return open_file(path, access);
}

int duplicate_descriptor(int descriptor) {
    if (is_socket(descriptor))
        return duplicate_socket(descriptor);
    HANDLE const handle = handle_of(descriptor);
    HANDLE const copy = handle != nullptr ? copy_handle(handle, false) : nullptr;
    const int result = copy != nullptr ? adopt_handle(copy, 0) : -1;
    for (const descriptor_note note : {note_appends, note_never_waits})
        if (result >= 0 && has_note(descriptor, handle, note))
            set_note(result, copy, note, true);
    return result;
}

void close_descriptor(int descriptor) {
    if (is_socket(descriptor)) {
        close_socket(descriptor);
        return;
    }
    if (!close_process_descriptor(descriptor))
        close_number(descriptor);
}

bool close_file(int descriptor) {
    const bool is_there = is_socket(descriptor) || handle_of(descriptor) != nullptr;
    if (is_there)
        close_descriptor(descriptor);
    return is_there;
}

void set_descriptor_blocking(int descriptor, bool on) {
    if (is_socket(descriptor))
        set_non_blocking(descriptor, !on);
    else if (HANDLE const handle = handle_of(descriptor))
        set_note(descriptor, handle, note_never_waits, !on);
}

int read_descriptor(int descriptor, void* buffer, size_t size) {
    if (is_socket(descriptor))
        return receive(descriptor, buffer, size, 0, nullptr, nullptr);
    HANDLE const handle = handle_of(descriptor);
    if (handle == nullptr)
        return -1;
    return is_pipe(handle) ? read_pipe(handle, buffer, countable(size), may_wait(descriptor, handle))
                           : read_handle(handle, buffer, size);
}

int write_file(int descriptor, const void* data, size_t size) {
    HANDLE const handle = handle_of(descriptor);
    return handle != nullptr ? write_handle(descriptor, handle, data, size) : -1;
}

int read_file_at(int descriptor, void* buffer, size_t size, int64_t offset) {
    HANDLE const file = disk_file_of(descriptor, fault_code::not_seekable);
    if (file == nullptr)
        return -1;
    const position_keeper kept(file);
    OVERLAPPED place = place_at(offset);
    DWORD bytes = 0;
    if (ReadFile(file, buffer, countable(size), &bytes, &place) || GetLastError() == ERROR_HANDLE_EOF)
        return static_cast<int>(bytes);
    return fail_transfer();
}

int write_file_at(int descriptor, const void* data, size_t size, int64_t offset) {
    HANDLE const file = disk_file_of(descriptor, fault_code::not_seekable);
    if (file == nullptr)
        return -1;
    const position_keeper kept(file);
    OVERLAPPED place = place_at(offset);
    DWORD bytes = 0;
    return WriteFile(file, data, countable(size), &bytes, &place) ? static_cast<int>(bytes) : fail_transfer();
}

int write_descriptor(int descriptor, const void* data, size_t size) {
    if (is_socket(descriptor))
        return send(descriptor, data, size, 0, nullptr, 0);
    HANDLE const handle = handle_of(descriptor);
    if (handle == nullptr)
        return -1;
    return is_pipe(handle) ? write_pipe(handle, data, countable(size), may_wait(descriptor, handle))
                           : write_handle(descriptor, handle, data, size);
}

int read_at_once(int descriptor, void* buffer, size_t size) {
    if (is_socket(descriptor))
        return receive_at_once(descriptor, buffer, size, nullptr, nullptr);
    HANDLE const handle = handle_of(descriptor);
    if (handle == nullptr)
        return -1;
    if (is_pipe(handle))
        return read_pipe(handle, buffer, countable(size), false);
    if (!is_ready(descriptor, readiness::read))
        return refuse(fault_code::would_block);
    return read_handle(handle, buffer, size);
}

int write_at_once(int descriptor, const void* data, size_t size) {
    if (is_socket(descriptor))
        return send_at_once(descriptor, data, size, nullptr, 0);
    HANDLE const handle = handle_of(descriptor);
    if (handle == nullptr)
        return -1;
    return is_pipe(handle) ? write_pipe(handle, data, countable(size), false)
                           : write_handle(descriptor, handle, data, size);
}

bool get_file_access(int descriptor, file_access& access) {
    access = {};
    access.read = access.write = is_socket(descriptor);
    if (access.read)
        return true;
    HANDLE const handle = handle_of(descriptor);
    if (handle == nullptr)
        return false;
    const ACCESS_MASK rights = granted_rights(handle);
    const bool only_appends = is_disk_file(handle) && (rights & FILE_APPEND_DATA) != 0;
    access.read = (rights & FILE_READ_DATA) != 0;
    access.write = (rights & FILE_WRITE_DATA) != 0 || only_appends;
    access.append =
        has_note(descriptor, handle, note_appends) || (only_appends && (rights & FILE_WRITE_DATA) == 0);
    return true;
}

bool set_file_append(int descriptor) {
    HANDLE const handle = handle_of(descriptor);
    if (handle == nullptr)
        return false;
    if (is_disk_file(handle))
        set_note(descriptor, handle, note_appends, true);
    return true;
}

bool is_regular_file(int descriptor) {
    return kind_of(descriptor) == descriptor_kind::file;
}

bool file_exists(const char* path) {
    const wide_path name(path);
    if (!name)
        return false;
    const bool is_there = GetFileAttributesW(name.get()) != INVALID_FILE_ATTRIBUTES;
    if (!is_there)
        fail_by_last_error();
    return is_there;
}

int64_t move_file(int descriptor, int64_t offset, file_origin origin) {
    HANDLE const file = disk_file_of(descriptor, fault_code::not_seekable);
    if (file == nullptr)
        return -1;
    const DWORD from = origin == file_origin::start     ? FILE_BEGIN
                       : origin == file_origin::current ? FILE_CURRENT
                                                        : FILE_END;
    LARGE_INTEGER distance, position;
    distance.QuadPart = offset;
    return SetFilePointerEx(file, distance, &position, from) ? position.QuadPart : fail_by_last_error();
}

int64_t file_size(int descriptor) {
    HANDLE const file = disk_file_of(descriptor, fault_code::not_seekable);
    if (file == nullptr)
        return -1;
    LARGE_INTEGER size;
    return GetFileSizeEx(file, &size) ? size.QuadPart : fail_by_last_error();
}

bool set_file_size(int descriptor, int64_t size) {
    HANDLE const file = disk_file_of(descriptor, fault_code::invalid);
    if (file == nullptr || set_end(file, size))
        return file != nullptr;
    // What was opened for reading alone cannot be cut, which is no matter of rights.
    return (GetLastError() == ERROR_ACCESS_DENIED ? refuse(fault_code::invalid) : fail_by_last_error()) == 0;
}

// The flush of a pipe waits for its reader.
bool sync_file(int descriptor) {
    HANDLE const handle = handle_of(descriptor);
    if (handle == nullptr || !is_disk_file(handle))
        return handle != nullptr || is_socket(descriptor);
    // What was opened for reading alone has nothing to hand over.
    if (FlushFileBuffers(handle) || GetLastError() == ERROR_ACCESS_DENIED)
        return true;
    fail_by_last_error();
    return false;
}

} // namespace ombrel::platform
