#include "platform/windows/path_handle.h"

#include <cwchar>

#include "platform/fault.h"
#include "platform/host_block.h"
#include "platform/windows/host_error.h"

namespace ombrel::platform {

namespace {

/// The system says no more than that such a name is none, or that it is not there.
bool has_long_name(const wchar_t* path) {
    constexpr size_t longest = 255;
    for (;;) {
        const size_t size = wcscspn(path, L"\\");
        if (size > longest)
            return true;
        if (path[size] == L'\0')
            return false;
        path += size + 1;
    }
}

/// Whether the last of what is there along a path is no directory.
bool leads_through_file(const wchar_t* path) {
    size_t size = wcslen(path);
    const host_block<wchar_t> start(size + 1);
    if (!start)
        return false;
    wmemcpy(start.get(), path, size + 1);
    while (size-- > 1) {
        if (start[size] != L'\\')
            continue;
        start[size] = L'\0';
        const DWORD attributes = GetFileAttributesW(start.get());
        if (attributes != INVALID_FILE_ATTRIBUTES)
            return (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
    }
    return false;
}

} // namespace

int fail_by_path(const wchar_t* path) {
    const DWORD error = GetLastError();
    if (path == nullptr)
        return -1; // which could not be made, and left why
    const bool is_unknown =
        error == ERROR_INVALID_NAME || error == ERROR_PATH_NOT_FOUND || error == ERROR_FILE_NOT_FOUND;
    if (is_unknown && has_long_name(path))
        return fail_by(ERROR_FILENAME_EXCED_RANGE);
    return fail_by(error == ERROR_PATH_NOT_FOUND && leads_through_file(path) ? ERROR_DIRECTORY : error);
}

path_handle::path_handle(const wide_path& path, DWORD rights, at_link link) {
    constexpr DWORD shared_with_all = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    if (!path)
        return;
    const DWORD itself = link == at_link::stay ? FILE_FLAG_OPEN_REPARSE_POINT : 0;
    handle_ = CreateFileW(path.get(), rights, shared_with_all, nullptr, OPEN_EXISTING,
                          FILE_FLAG_BACKUP_SEMANTICS | itself, nullptr);
    if (handle_ == INVALID_HANDLE_VALUE)
        fail_by_path(path.get());
}

path_handle::~path_handle() {
    if (handle_ != INVALID_HANDLE_VALUE)
        CloseHandle(handle_);
}

bool leads_elsewhere(DWORD attributes, DWORD tag) {
    constexpr DWORD stands_for_another_name = 0x20000000;
    return (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
           (tag == 0 || (tag & stands_for_another_name) != 0);
}

bool is_link(HANDLE handle) {
    FILE_ATTRIBUTE_TAG_INFO tag{};
    return GetFileInformationByHandleEx(handle, FileAttributeTagInfo, &tag, sizeof tag) &&
           leads_elsewhere(tag.FileAttributes, tag.ReparseTag);
}

} // namespace ombrel::platform
