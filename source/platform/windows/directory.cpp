#include "platform/directory.h"

#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <new>

#include <winternl.h>

#include "platform/fault.h"
#include "platform/file_names.h"
#include "platform/host_block.h"
#include "platform/windows/entry_handle.h"
#include "platform/windows/host_error.h"
#include "platform/windows/open_handle.h"
#include "platform/windows/path_handle.h"
#include "platform/windows/reparse_text.h"

namespace ombrel::platform {

namespace {

constexpr size_t block_size = size_t{32} << 10;

} // namespace

struct open_directory {
    HANDLE handle;
    char* block;                  ///< while it is read: entries as the system gives them
    FILE_ID_BOTH_DIR_INFO* entry; ///< the next of them; null when the block is empty
    bool begins;
    char name[3 * MAX_PATH]; ///< of the last entry
};

namespace {

constexpr ACCESS_MASK to_read = FILE_LIST_DIRECTORY | FILE_TRAVERSE | FILE_READ_ATTRIBUTES;

bool refuse(fault_code why) {
    leave_fault(why);
    return false;
}

/// Null for no directory, which is refused where names are opened.
HANDLE handle_in(open_directory* directory) {
    return directory != nullptr ? directory->handle : nullptr;
}

bool is_directory(HANDLE handle) {
    FILE_BASIC_INFO basic;
    return GetFileInformationByHandleEx(handle, FileBasicInfo, &basic, sizeof basic) &&
           (basic.FileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

/// The directory of a handle, which is closed with it, or at once when it is none.
open_directory* adopt(HANDLE handle, at_link link) {
    auto* const made = static_cast<open_directory*>(malloc(sizeof(open_directory)));
    const bool is_other = link == at_link::stay && is_link(handle);
    if (made != nullptr && !is_other && is_directory(handle)) {
        *made = {handle, nullptr, nullptr, true, {}};
        return made;
    }
    free(made);
    CloseHandle(handle);
    leave_fault(made == nullptr ? fault_code::no_memory
                : is_other      ? fault_code::link_loop
                                : fault_code::not_directory);
    return nullptr;
}

HANDLE open_by_path(const char* path, at_link link) {
    constexpr DWORD shared_with_all = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const wide_path name(path);
    if (!name)
        return INVALID_HANDLE_VALUE;
    const DWORD itself = link == at_link::stay ? FILE_FLAG_OPEN_REPARSE_POINT : 0;
    HANDLE const handle = CreateFileW(name.get(), to_read | SYNCHRONIZE, shared_with_all, nullptr,
                                      OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | itself, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        fail_by_path(name.get());
    return handle;
}

void end_reading(open_directory& directory) {
    free(directory.block);
    directory.block = nullptr;
    directory.entry = nullptr;
}

/// Fills the block: 1; 0 at the end; -1 on failure.
int read_block(open_directory& directory) {
    if (directory.block == nullptr)
        directory.block = static_cast<char*>(malloc(block_size));
    if (directory.block == nullptr)
        return refuse(fault_code::no_memory) - 1;
    const auto how = directory.begins ? FileIdBothDirectoryRestartInfo : FileIdBothDirectoryInfo;
    directory.begins = false;
    if (GetFileInformationByHandleEx(directory.handle, how, directory.block, block_size)) {
        directory.entry = reinterpret_cast<FILE_ID_BOTH_DIR_INFO*>(directory.block);
        return 1;
    }
    const DWORD why = GetLastError();
    end_reading(directory);
    return why == ERROR_NO_MORE_FILES ? 0 : fail_by(why);
}

int kind_of(const FILE_ID_BOTH_DIR_INFO& entry) {
    const DWORD tag = entry.EaSize; // where the system has it
    if (leads_elsewhere(entry.FileAttributes, tag))
        return def_ombrel_file_kind_link;
    return (entry.FileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? def_ombrel_file_kind_directory
                                                                  : def_ombrel_file_kind_regular;
}

/// False for "." and "..", and for a name that cannot be told.
bool take_entry(open_directory& directory, found_entry& found) {
    const FILE_ID_BOTH_DIR_INFO& entry = *directory.entry;
    directory.entry = entry.NextEntryOffset != 0
                          ? reinterpret_cast<FILE_ID_BOTH_DIR_INFO*>(
                                reinterpret_cast<char*>(directory.entry) + entry.NextEntryOffset)
                          : nullptr;
    const narrow_text name(entry.FileName, entry.FileNameLength / sizeof(wchar_t));
    if (!name || name.size() >= sizeof directory.name || strcmp(name.get(), ".") == 0 ||
        strcmp(name.get(), "..") == 0)
        return false;
    memcpy(directory.name, name.get(), name.size() + 1);
    const int kind = kind_of(entry);
    found = {directory.name, kind, kind == def_ombrel_file_kind_regular ? entry.EndOfFile.QuadPart : -1};
    return true;
}

entry_opening existing(ACCESS_MASK rights, at_link link, ULONG options = 0) {
    return {rights, link, FILE_OPEN, options};
}

ULONG disposition_of(const file_access& access) {
    if (!access.create)
        return FILE_OPEN;
    return access.exclusive ? FILE_CREATE : FILE_OPEN_IF;
}

/// The path of what an open directory is, and a name in it.
host_text path_within(open_directory* parent, const char* name) {
    constexpr DWORD room = 32768;
    const host_block<wchar_t> folder(room);
    if (!folder || parent == nullptr)
        return host_text(nullptr);
    const DWORD size = GetFinalPathNameByHandleW(parent->handle, folder.get(), room, 0);
    const narrow_text text(folder.get(), size < room ? size : 0);
    auto* const path =
        size > 0 && text ? static_cast<char*>(malloc(text.size() + strlen(name) + 2)) : nullptr;
    if (path == nullptr)
        return host_text(nullptr);
    memcpy(path, text.get(), text.size());
    path[text.size()] = '\\';
    strcpy(path + text.size() + 1, name);
    return host_text(path);
}

} // namespace

open_directory* open_directory_at(open_directory* parent, const char* name, at_link link) {
    if (parent == by_path()) {
        HANDLE const handle = open_by_path(name, link);
        return handle != INVALID_HANDLE_VALUE ? adopt(handle, link) : nullptr;
    }
    entry_handle entry(handle_in(parent), name, existing(to_read, link));
    return entry ? adopt(entry.release(), link) : nullptr;
}

// An empty name stands for the directory itself.
open_directory* reopen_directory(open_directory* directory) {
    entry_handle entry(directory->handle, "", existing(to_read, at_link::stay));
    return entry ? adopt(entry.release(), at_link::stay) : nullptr;
}

open_directory* open_parent(open_directory*) {
    leave_fault(fault_code::not_supported);
    return nullptr;
}

void close_directory(open_directory* directory) {
    free(directory->block);
    CloseHandle(directory->handle);
    free(directory);
}

int next_entry(open_directory* directory, found_entry& entry) {
    for (;;) {
        if (directory->entry == nullptr) {
            const int result = read_block(*directory);
            if (result != 1)
                return result;
        }
        if (take_entry(*directory, entry))
            return 1;
    }
}

int compare_names(const char* first, const char* second) {
    const wide_text one(first), other(second);
    if (!one || !other)
        return strcmp(first, second);
    return CompareStringOrdinal(one.get(), -1, other.get(), -1, TRUE) - CSTR_EQUAL;
}

bool rewind_directory(open_directory* directory) {
    end_reading(*directory);
    directory->begins = true;
    return true;
}

bool get_info_at(open_directory* parent, const char* name, at_link link, ombrel_file_info_t& info) {
    if (parent == by_path())
        return get_file_info(name, link, info);
    const entry_handle entry(handle_in(parent), name, existing(FILE_READ_ATTRIBUTES, link));
    return entry && get_handle_info(entry.get(), info);
}

bool get_directory_info(open_directory* directory, ombrel_file_info_t& info) {
    return get_handle_info(directory->handle, info);
}

int open_file_at(open_directory* parent, const char* name, const file_access& access) {
    constexpr uint32_t may_write = 0200;
    if (parent == by_path())
        return open_file(name, access);
    const at_link link = access.refuse_link ? at_link::stay : at_link::follow;
    const ULONG attributes = (access.mode & may_write) != 0 ? FILE_ATTRIBUTE_NORMAL : FILE_ATTRIBUTE_READONLY;
    entry_handle entry(
        handle_in(parent), name,
        {rights_of(access), link, disposition_of(access), FILE_NON_DIRECTORY_FILE, attributes});
    return entry ? take_opened(entry.release(), access) : -1;
}

bool remove_file_at(open_directory* parent, const char* name) {
    if (parent == by_path())
        return remove_file(name);
    const entry_handle entry(handle_in(parent), name,
                             existing(DELETE | FILE_READ_ATTRIBUTES | FILE_WRITE_ATTRIBUTES, at_link::stay));
    if (!entry)
        return false;
    if (is_directory(entry.get()) && !is_link(entry.get()))
        return refuse(fault_code::is_directory);
    return remove_open(entry.get());
}

bool remove_directory_at(open_directory* parent, const char* name) {
    if (parent == by_path())
        return remove_directory(name);
    const entry_handle entry(handle_in(parent), name,
                             existing(DELETE | FILE_READ_ATTRIBUTES | FILE_WRITE_ATTRIBUTES, at_link::stay));
    if (!entry)
        return false;
    if (!is_directory(entry.get()) || is_link(entry.get()))
        return refuse(fault_code::not_directory);
    return remove_open(entry.get());
}

bool make_directory_at(open_directory* parent, const char* name, uint32_t mode) {
    if (parent == by_path())
        return make_directory(name, mode);
    return static_cast<bool>(
        entry_handle(handle_in(parent), name, {to_read, at_link::stay, FILE_CREATE, FILE_DIRECTORY_FILE}));
}

bool rename_at(open_directory* parent, const char* from, open_directory* new_parent, const char* to) {
    if (parent == by_path() && new_parent == by_path())
        return rename_file(from, to, at_target::replace);
    if (parent == by_path() || new_parent == by_path())
        return refuse(fault_code::not_supported);
    const entry_handle entry(handle_in(parent), from, existing(DELETE, at_link::stay));
    return entry && rename_open(entry.get(), handle_in(new_parent), to);
}

host_text read_link_at(open_directory* parent, const char* name) {
    if (parent == by_path())
        return read_link(name);
    const entry_handle entry(handle_in(parent), name, existing(FILE_READ_ATTRIBUTES, at_link::stay));
    return entry ? reparse_text(entry.get()) : host_text(nullptr);
}

// The system makes links by paths alone, and finds out by itself what they lead to.
bool make_symbolic_link_at(const char* text, open_directory* parent, const char* name, bool) {
    if (parent == by_path())
        return make_symbolic_link(text, name);
    const host_text path = path_within(parent, name);
    return path.get() != nullptr && make_symbolic_link(text, path.get());
}

bool make_special_file_at(open_directory*, const char*, const ombrel_file_info_t&) {
    return refuse(fault_code::not_supported);
}

bool set_times_at(open_directory* parent, const char* name, const file_times& times) {
    if (parent == by_path())
        return set_file_times(name, at_link::stay, times);
    const entry_handle entry(handle_in(parent), name,
                             existing(FILE_READ_ATTRIBUTES | FILE_WRITE_ATTRIBUTES, at_link::stay));
    return entry && set_handle_times(entry.get(), times);
}

bool set_owner_at(open_directory*, const char*, uint32_t, uint32_t) {
    return refuse(fault_code::not_supported);
}

// Directories are always writable.
bool set_directory_mode(open_directory*, uint32_t) {
    return true;
}

bool set_directory_times(open_directory* directory, const file_times& times) {
    constexpr DWORD shared_with_all = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    HANDLE const own = ReOpenFile(directory->handle, FILE_READ_ATTRIBUTES | FILE_WRITE_ATTRIBUTES,
                                  shared_with_all, FILE_FLAG_BACKUP_SEMANTICS);
    if (own == INVALID_HANDLE_VALUE)
        return fail_by_last_error() == 0;
    const bool is_set = set_handle_times(own, times);
    CloseHandle(own);
    return is_set;
}

bool set_directory_owner(open_directory*, uint32_t, uint32_t) {
    return refuse(fault_code::not_supported);
}

} // namespace ombrel::platform
