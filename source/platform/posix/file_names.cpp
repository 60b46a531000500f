#include "platform/file_names.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#if defined(__linux__)
#include <sys/syscall.h>
#endif
#include <unistd.h>

#include "platform/environment.h"
#include "platform/fault.h"
#include "platform/file.h"
#include "platform/posix/file_status.h"

namespace ombrel::platform {

namespace {

/// Texts whose length the host does not tell before: `read(room, size)` gives the bytes that it wrote, -1, or
/// as many as there was room for, which may be too few. Such texts are short, so the room has a bound.
template<typename Read>
host_text read_text(Read read) {
    constexpr size_t first_room = 256, most = size_t{1} << 20;
    for (size_t room = first_room; room <= most; room *= 2) {
        auto* const text = static_cast<char*>(malloc(room));
        const ssize_t size = text != nullptr ? read(text, room) : -1;
        if (size >= 0 && static_cast<size_t>(size) < room) {
            text[size] = '\0';
            return host_text(text);
        }
        const fault_keeper kept;
        free(text);
        if (size < 0)
            return host_text(nullptr);
    }
    leave_fault(fault_code::too_large);
    return host_text(nullptr);
}

bool is_directory(const char* path) {
    const fault_keeper kept;
    struct stat status;
    return lstat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

bool refuse(fault_code why) {
    leave_fault(why);
    return false;
}

/// Where the host cannot refuse in one step: a link does, and links go round no directories.
bool rename_by_link(const char* from, const char* to) {
    if (is_directory(from)) {
        struct stat status;
        return lstat(to, &status) == 0 ? refuse(fault_code::exists) : rename(from, to) == 0;
    }
    return linkat(AT_FDCWD, from, AT_FDCWD, to, 0) == 0 && unlink(from) == 0;
}

bool rename_to_new(const char* from, const char* to) {
#if defined(SYS_renameat2) // not every C library has a function for it
    constexpr unsigned refuse_to_replace = 1;
    if (syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, refuse_to_replace) == 0)
        return true;
    if (errno != EINVAL && errno != ENOSYS)
        return false;
#endif
    return rename_by_link(from, to);
}

} // namespace

bool rename_file(const char* from, const char* to, at_target target) {
    if (target == at_target::refuse)
        return rename_to_new(from, to);
    if (rename(from, to) == 0)
        return true;
    if (errno == EEXIST) // some hosts say so of a directory with entries
        leave_fault(fault_code::not_empty);
    return false;
}

bool remove_file(const char* path) {
    if (unlink(path) == 0)
        return true;
    return errno == EPERM && is_directory(path) ? refuse(fault_code::is_directory) : false;
}

bool remove_directory(const char* path) {
    if (rmdir(path) == 0)
        return true;
    return errno == EEXIST ? refuse(fault_code::not_empty) : false;
}

bool make_directory(const char* path, uint32_t mode) {
    return mkdir(path, static_cast<mode_t>(mode)) == 0;
}

bool make_link(const char* path, const char* new_path) {
    return linkat(AT_FDCWD, path, AT_FDCWD, new_path, 0) == 0;
}

bool make_symbolic_link(const char* text, const char* new_path) {
    return symlink(text, new_path) == 0;
}

host_text read_link_at(int directory, const char* name) {
    return read_text([=](char* room, size_t size) { return readlinkat(directory, name, room, size); });
}

host_text read_link(const char* path) {
    return read_link_at(AT_FDCWD, path);
}

bool sync_directory(const char* path) {
    const int directory = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory < 0)
        return false;
    const bool is_done = sync_file(directory);
    const fault_keeper kept;
    close(directory);
    return is_done;
}

host_text canonical_path(const char* path) {
    return host_text(realpath(path, nullptr));
}

host_text current_directory() {
    return read_text([](char* room, size_t size) -> ssize_t {
        if (getcwd(room, size) != nullptr)
            return static_cast<ssize_t>(strlen(room));
        return errno == ERANGE ? static_cast<ssize_t>(size) : -1;
    });
}

bool set_current_directory(const char* path) {
    return chdir(path) == 0;
}

host_text program_path() {
#if defined(__linux__)
    return read_link("/proc/self/exe");
#else
    leave_fault(fault_code::not_supported);
    return host_text(nullptr);
#endif
}

host_text temporary_folder() {
    const variable_text chosen = trusted_environment_variable("TMPDIR");
    const char* const folder = chosen.get();
    if (folder == nullptr || folder[0] != '/')
        return host_text(strdup("/tmp"));
    size_t size = strlen(folder);
    while (size > 1 && folder[size - 1] == '/')
        size--;
    return host_text(strndup(folder, size));
}

} // namespace ombrel::platform
