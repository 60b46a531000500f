#include "platform/file_names.h"

#include <algorithm>
#include <cstring>
#include <cwchar>

#include "platform/fault.h"
#include "platform/host_block.h"
#include "platform/windows/host_error.h"
#include "platform/windows/path_handle.h"
#include "platform/windows/reparse_text.h"

namespace ombrel::platform {

namespace {

bool refuse(fault_code why) {
    leave_fault(why);
    return false;
}

bool done_or_fault(BOOL is_done, const wide_path& path) {
    return is_done || fail_by_path(path.get()) == 0;
}

host_text none() {
    return host_text(nullptr);
}

host_text copy_of(const wchar_t* text, size_t size) {
    const narrow_text narrow(text, size);
    return host_text(narrow ? strdup(narrow.get()) : nullptr);
}

/// A text that `get(room, units)` writes: it gives its size, without the end, or what it needs, with it, when
/// the room is too small, or as many as there are; 0 with the last error.
template<typename Get>
host_text read_text(Get get, host_text (*finish)(const wchar_t*, size_t) = copy_of) {
    constexpr DWORD first_room = 300, most = 65536;
    for (DWORD room = first_room; room <= most; room *= 2) {
        const host_block<wchar_t> text(room);
        const DWORD size = text ? get(text.get(), room) : 0;
        if (text && size == 0)
            fail_by_last_error();
        if (size == 0)
            return none();
        if (size < room)
            return finish(text.get(), size);
    }
    leave_fault(fault_code::too_large);
    return none();
}

bool is_directory(DWORD attributes) {
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool is_link_itself(const wide_path& path, DWORD attributes) {
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
           is_link(path_handle(path, FILE_READ_ATTRIBUTES, at_link::stay).get());
}

/// Names beside which others hold the file open may be taken and given since Windows 10; of calls that this
/// asks for the headers have the shape only.
bool rename_open_file(const wide_path& from, const wide_path& to, bool replaces) {
    constexpr auto rename_with_flags = static_cast<FILE_INFO_BY_HANDLE_CLASS>(22);
    constexpr DWORD replace = 1, keep_open_files = 2, replace_read_only = 0x40;
    const path_handle file(from, DELETE | SYNCHRONIZE, at_link::stay);
    const size_t name_bytes = (to.size() + 1) * sizeof(wchar_t);
    const host_block<char> room(sizeof(FILE_RENAME_INFO) + name_bytes);
    if (!file || !room)
        return false;
    auto* const info = reinterpret_cast<FILE_RENAME_INFO*>(room.get());
    *info = {};
    const DWORD flags = keep_open_files | (replaces ? replace | replace_read_only : 0);
    memcpy(info, &flags, sizeof flags); // where older headers have a truth value
    info->FileNameLength = static_cast<DWORD>(to.size() * sizeof(wchar_t));
    memcpy(info->FileName, to.get(), name_bytes);
    return SetFileInformationByHandle(file.get(), rename_with_flags, info,
                                      static_cast<DWORD>(sizeof(FILE_RENAME_INFO) + name_bytes));
}

/// Whether both stand for one thing, which a path may be written for in many ways.
bool is_same(const wide_path& one, const wide_path& other) {
    const path_handle first(one, 0, at_link::stay), second(other, 0, at_link::stay);
    BY_HANDLE_FILE_INFORMATION left, right;
    return first && second && GetFileInformationByHandle(first.get(), &left) &&
           GetFileInformationByHandle(second.get(), &right) &&
           left.dwVolumeSerialNumber == right.dwVolumeSerialNumber &&
           left.nFileIndexHigh == right.nFileIndexHigh && left.nFileIndexLow == right.nFileIndexLow;
}

/// Takes the attribute away for which files are not removed; true when it was there.
bool make_writable(const wide_path& path, DWORD attributes) {
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0 &&
           SetFileAttributesW(path.get(), attributes & ~DWORD{FILE_ATTRIBUTE_READONLY});
}

/// What the system writes before a path of its own: "\\?\C:\x" is "C:\x", "\\?\UNC\a\b" is "\\a\b".
host_text without_prefix(const wchar_t* text, size_t size) {
    constexpr wchar_t device[] = LR"(\\?\)", host[] = LR"(\\?\UNC\)";
    constexpr size_t device_size = 4, host_size = 8;
    if (wcsncmp(text, host, host_size) == 0) {
        const narrow_text narrow(text + host_size - 1, size - host_size + 1);
        auto* const path = narrow ? static_cast<char*>(malloc(narrow.size() + 2)) : nullptr;
        if (path != nullptr) {
            path[0] = '\\';
            memcpy(path + 1, narrow.get(), narrow.size() + 1);
        }
        return host_text(path);
    }
    const size_t before = wcsncmp(text, device, device_size) == 0 ? device_size : 0;
    return copy_of(text + before, size - before);
}

/// Without a separator at the end, save that of a drive.
host_text as_folder(const wchar_t* text, size_t size) {
    while (size > 3 && text[size - 1] == L'\\')
        size--;
    return copy_of(text, size);
}

/// Whether a link with such a text, made at such a path, would lead to a directory.
bool leads_to_directory(const char* text, const char* new_path) {
    const bool is_whole = text[0] == '/' || text[0] == '\\' || (text[0] != '\0' && text[1] == ':');
    const char* folder_end = new_path;
    for (const char* at = new_path; *at != '\0'; at++)
        if (*at == '/' || *at == '\\' || *at == ':')
            folder_end = at + 1;
    const size_t before = is_whole ? 0 : static_cast<size_t>(folder_end - new_path);
    const host_block<char> whole(before + strlen(text) + 1);
    if (!whole)
        return false;
    memcpy(whole.get(), new_path, before);
    strcpy(whole.get() + before, text);
    const wide_path path(whole.get());
    return path && is_directory(attributes_of(path));
}

/// An empty directory gives way to a directory, and a file that is not to be written to a file; both come
/// back when the other cannot come.
bool rename_by_path(const wide_path& from, const wide_path& to, DWORD there, bool replaces) {
    const bool gives_way = replaces && is_directory(there) && !is_same(from, to);
    if (gives_way && !RemoveDirectoryW(to.get()))
        return done_or_fault(FALSE, to);
    const bool was_read_only = replaces && !is_directory(there) && make_writable(to, there);
    if (MoveFileExW(from.get(), to.get(), replaces ? MOVEFILE_REPLACE_EXISTING : 0))
        return true;
    fail_by_path(to.get());
    const fault_keeper kept;
    if (gives_way)
        CreateDirectoryW(to.get(), nullptr);
    if (was_read_only)
        SetFileAttributesW(to.get(), there);
    return false;
}

} // namespace

bool rename_file(const char* from, const char* to, at_target target) {
    const wide_path old_name(from), new_name(to);
    if (!old_name || !new_name)
        return false;
    const bool replaces = target == at_target::replace;
    const DWORD source = attributes_of(old_name), there = attributes_of(new_name);
    if (source == INVALID_FILE_ATTRIBUTES)
        return done_or_fault(FALSE, old_name);
    const bool is_other = there != INVALID_FILE_ATTRIBUTES && _wcsicmp(old_name.get(), new_name.get()) != 0;
    if (is_other && !replaces)
        return refuse(fault_code::exists);
    if (is_other && is_directory(source) != is_directory(there))
        return refuse(is_directory(there) ? fault_code::is_directory : fault_code::not_directory);
    return rename_open_file(old_name, new_name, replaces) ||
           rename_by_path(old_name, new_name, there, replaces);
}

bool remove_file(const char* path) {
    const wide_path name(path);
    if (!name)
        return false;
    const DWORD attributes = attributes_of(name);
    if (is_directory(attributes))
        return is_link_itself(name, attributes) ? done_or_fault(RemoveDirectoryW(name.get()), name)
                                                : refuse(fault_code::is_directory);
    if (DeleteFileW(name.get()))
        return true;
    fail_by_path(name.get());
    const fault_keeper kept;
    if (!make_writable(name, attributes))
        return false;
    if (DeleteFileW(name.get()))
        return true;
    SetFileAttributesW(name.get(), attributes);
    return false;
}

bool remove_directory(const char* path) {
    const wide_path name(path);
    if (!name)
        return false;
    const DWORD attributes = attributes_of(name);
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return done_or_fault(FALSE, name);
    if (!is_directory(attributes) || is_link_itself(name, attributes))
        return refuse(fault_code::not_directory);
    return done_or_fault(RemoveDirectoryW(name.get()), name);
}

bool make_directory(const char* path, uint32_t) {
    const wide_path name(path);
    return name && done_or_fault(CreateDirectoryW(name.get(), nullptr), name);
}

bool make_link(const char* path, const char* new_path) {
    const wide_path name(path), new_name(new_path);
    return name && new_name && done_or_fault(CreateHardLinkW(new_name.get(), name.get(), nullptr), new_name);
}

bool make_symbolic_link(const char* text, const char* new_path) {
    constexpr DWORD without_right = 2; // for developers' machines; older systems do not know it
    wide_text target(text);
    const wide_path name(new_path);
    if (!target || !name)
        return false;
    std::replace(target.get(), target.get() + target.size(), L'/', L'\\');
    const DWORD kind = leads_to_directory(text, new_path) ? SYMBOLIC_LINK_FLAG_DIRECTORY : 0;
    if (!CreateSymbolicLinkW(name.get(), target.get(), kind | without_right) &&
        !CreateSymbolicLinkW(name.get(), target.get(), kind))
        return done_or_fault(FALSE, name);
    // Some systems promise a link and make none.
    return attributes_of(name) != INVALID_FILE_ATTRIBUTES || refuse(fault_code::not_supported);
}

host_text read_link(const char* path) {
    const path_handle link(path, FILE_READ_ATTRIBUTES, at_link::stay);
    return link ? reparse_text(link.get()) : none();
}

bool sync_directory(const char* path) {
    const wide_path name(path);
    const DWORD attributes = name ? attributes_of(name) : INVALID_FILE_ATTRIBUTES;
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return done_or_fault(FALSE, name);
    return is_directory(attributes) || refuse(fault_code::not_directory);
}

host_text canonical_path(const char* path) {
    const path_handle file(path, 0, at_link::follow);
    if (!file)
        return none();
    return read_text(
        [&](wchar_t* room, DWORD size) { return GetFinalPathNameByHandleW(file.get(), room, size, 0); },
        without_prefix);
}

host_text current_directory() {
    return read_text([](wchar_t* room, DWORD size) { return GetCurrentDirectoryW(size, room); }, as_folder);
}

bool set_current_directory(const char* path) {
    const wide_path name(path);
    return name && done_or_fault(SetCurrentDirectoryW(name.get()), name);
}

host_text program_path() {
    return read_text([](wchar_t* room, DWORD size) { return GetModuleFileNameW(nullptr, room, size); });
}

host_text temporary_folder() {
    return read_text([](wchar_t* room, DWORD size) { return GetTempPathW(size, room); }, as_folder);
}

} // namespace ombrel::platform
