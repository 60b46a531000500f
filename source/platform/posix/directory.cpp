#include "platform/directory.h"

#include <cerrno>
#include <cstdio> // renameat()
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/fault.h"
#include "platform/posix/file_status.h"

namespace ombrel::platform {

namespace {

DIR* host(open_directory* directory) {
    return reinterpret_cast<DIR*>(directory);
}

int descriptor_of(open_directory* directory) {
    constexpr int none = -1;
    return directory == nullptr ? none : directory == by_path() ? AT_FDCWD : dirfd(host(directory));
}

bool refuse(fault_code why) {
    leave_fault(why);
    return false;
}

/// The directory of a descriptor, which is closed with it.
open_directory* adopt(int descriptor) {
    if (descriptor < 0)
        return nullptr;
    DIR* const directory = fdopendir(descriptor);
    if (directory == nullptr) {
        const fault_keeper kept;
        close(descriptor);
    }
    return reinterpret_cast<open_directory*>(directory);
}

open_directory* open_at(int parent, const char* name, int more_flags) {
    int descriptor;
    do
        descriptor = openat(parent, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK | more_flags);
    while (descriptor < 0 && errno == EINTR);
    return adopt(descriptor);
}

bool is_dots(const char* name) {
    return strcmp(name, ".") == 0 || strcmp(name, "..") == 0;
}

/// None where the host keeps kinds elsewhere.
int listed_kind(const dirent& entry) {
#if defined(DT_UNKNOWN)
    return kind_of_mode(static_cast<mode_t>(DTTOIF(entry.d_type)));
#else
    static_cast<void>(entry);
    return def_ombrel_file_kind_other;
#endif
}

int kind_of(open_directory* directory, const dirent& entry) {
    const int kind = listed_kind(entry);
    if (kind != def_ombrel_file_kind_other)
        return kind;
    const fault_keeper kept;
    ombrel_file_info_t info;
    return get_info_at(directory, entry.d_name, at_link::stay, info) ? info.m_kind : kind;
}

bool is_directory(open_directory* parent, const char* name) {
    const fault_keeper kept;
    struct stat status;
    return fstatat(descriptor_of(parent), name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
}

mode_t host_kind(int kind) {
    switch (kind) {
    case def_ombrel_file_kind_pipe:
        return S_IFIFO;
    case def_ombrel_file_kind_character_device:
        return S_IFCHR;
    case def_ombrel_file_kind_block_device:
        return S_IFBLK;
    default:
        return 0;
    }
}

} // namespace

open_directory* open_directory_at(open_directory* parent, const char* name, at_link link) {
    return open_at(descriptor_of(parent), name, link == at_link::stay ? O_NOFOLLOW : 0);
}

open_directory* reopen_directory(open_directory* directory) {
    return open_at(descriptor_of(directory), ".", O_NOFOLLOW);
}

open_directory* open_parent(open_directory* directory) {
    return open_at(descriptor_of(directory), "..", O_NOFOLLOW);
}

void close_directory(open_directory* directory) {
    closedir(host(directory));
}

int next_entry(open_directory* directory, found_entry& entry) {
    const int before = errno;
    const dirent* found;
    do {
        errno = 0;
        found = readdir(host(directory));
    } while (found != nullptr && is_dots(found->d_name));
    if (found == nullptr && errno != 0)
        return -1;
    errno = before;
    if (found == nullptr)
        return 0;
    entry = {found->d_name, kind_of(directory, *found), -1};
    return 1;
}

int compare_names(const char* first, const char* second) {
    return strcmp(first, second);
}

bool rewind_directory(open_directory* directory) {
    rewinddir(host(directory));
    return true;
}

bool get_info_at(open_directory* parent, const char* name, at_link link, ombrel_file_info_t& info) {
    return get_file_info_at(descriptor_of(parent), name, link, info);
}

bool get_directory_info(open_directory* directory, ombrel_file_info_t& info) {
    return get_file_info(descriptor_of(directory), info);
}

int open_file_at(open_directory* parent, const char* name, const file_access& access) {
    return open_file_at(descriptor_of(parent), name, access);
}

bool remove_file_at(open_directory* parent, const char* name) {
    if (unlinkat(descriptor_of(parent), name, 0) == 0)
        return true;
    return errno == EPERM && is_directory(parent, name) ? refuse(fault_code::is_directory) : false;
}

bool remove_directory_at(open_directory* parent, const char* name) {
    if (unlinkat(descriptor_of(parent), name, AT_REMOVEDIR) == 0)
        return true;
    return errno == EEXIST ? refuse(fault_code::not_empty) : false;
}

bool make_directory_at(open_directory* parent, const char* name, uint32_t mode) {
    return mkdirat(descriptor_of(parent), name, static_cast<mode_t>(mode)) == 0;
}

bool rename_at(open_directory* parent, const char* from, open_directory* new_parent, const char* to) {
    if (renameat(descriptor_of(parent), from, descriptor_of(new_parent), to) == 0)
        return true;
    return errno == EEXIST ? refuse(fault_code::not_empty) : false;
}

host_text read_link_at(open_directory* parent, const char* name) {
    return read_link_at(descriptor_of(parent), name);
}

bool make_symbolic_link_at(const char* text, open_directory* parent, const char* name, bool) {
    return symlinkat(text, descriptor_of(parent), name) == 0;
}

bool make_special_file_at(open_directory* parent, const char* name, const ombrel_file_info_t& info) {
    const mode_t kind = host_kind(info.m_kind);
    if (kind == 0)
        return refuse(fault_code::not_supported);
    return mknodat(descriptor_of(parent), name, kind | static_cast<mode_t>(info.m_mode),
                   static_cast<dev_t>(info.m_special)) == 0;
}

bool set_times_at(open_directory* parent, const char* name, const file_times& times) {
    return set_file_times_at(descriptor_of(parent), name, at_link::stay, times);
}

bool set_owner_at(open_directory* parent, const char* name, uint32_t owner, uint32_t group) {
    return fchownat(descriptor_of(parent), name, owner, group, AT_SYMLINK_NOFOLLOW) == 0;
}

bool set_directory_mode(open_directory* directory, uint32_t mode) {
    return set_file_mode(descriptor_of(directory), mode);
}

bool set_directory_times(open_directory* directory, const file_times& times) {
    return set_file_times(descriptor_of(directory), times);
}

bool set_directory_owner(open_directory* directory, uint32_t owner, uint32_t group) {
    return set_file_owner(descriptor_of(directory), owner, group);
}

} // namespace ombrel::platform
