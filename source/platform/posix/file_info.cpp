#include "platform/file_info.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#if defined(__linux__)
#include <sys/sysmacros.h>
#endif

#include "platform/fault.h"
#include "platform/posix/file_status.h"

namespace ombrel::platform {

namespace {

int flags_of(at_link link) {
    return link == at_link::stay ? AT_SYMLINK_NOFOLLOW : 0;
}

constexpr int64_t block = 512; // what the host counts a file's room in

#if defined(STATX_BTIME)

ombrel_instant_t instant_of(const statx_timestamp& time) {
    return {time.tv_sec, static_cast<int32_t>(time.tv_nsec)};
}

void take(const struct statx& status, ombrel_file_info_t& info) {
    const mode_t mode = status.stx_mode;
    const bool is_device = S_ISCHR(mode) || S_ISBLK(mode);
    info = {.m_kind = kind_of_mode(mode),
            .m_mode = mode & 07777u,
            .m_owner = status.stx_uid,
            .m_group = status.stx_gid,
            .m_size = static_cast<int64_t>(status.stx_size),
            .m_allocated = static_cast<int64_t>(status.stx_blocks) * block,
            .m_links = status.stx_nlink,
            .m_device = makedev(status.stx_dev_major, status.stx_dev_minor),
            .m_serial = status.stx_ino,
            .m_special = is_device ? makedev(status.stx_rdev_major, status.stx_rdev_minor) : 0,
            .m_accessed = instant_of(status.stx_atime),
            .m_modified = instant_of(status.stx_mtime),
            .m_changed = instant_of(status.stx_ctime),
            .m_created = instant_of(status.stx_mtime),
            .m_has_created = (status.stx_mask & STATX_BTIME) != 0};
    if (info.m_has_created == 1)
        info.m_created = instant_of(status.stx_btime);
}

constexpr int of_descriptor = AT_EMPTY_PATH;

bool get_info(int directory, const char* path, int flags, ombrel_file_info_t& info) {
    struct statx status;
    if (statx(directory, path, flags, STATX_BASIC_STATS | STATX_BTIME, &status) != 0)
        return false;
    take(status, info);
    return true;
}

#else

ombrel_instant_t instant_of(const timespec& time) {
    return {time.tv_sec, static_cast<int32_t>(time.tv_nsec)};
}

constexpr int of_descriptor = 0; // an empty path says it

bool get_info(int directory, const char* path, int flags, ombrel_file_info_t& info) {
    struct stat status;
    if ((path[0] == '\0' ? fstat(directory, &status) : fstatat(directory, path, &status, flags)) != 0)
        return false;
    const mode_t mode = status.st_mode;
    info = {.m_kind = kind_of_mode(mode),
            .m_mode = mode & 07777u,
            .m_owner = status.st_uid,
            .m_group = status.st_gid,
            .m_size = status.st_size,
            .m_allocated = status.st_blocks * block,
            .m_links = status.st_nlink,
            .m_device = static_cast<uint64_t>(status.st_dev),
            .m_serial = status.st_ino,
            .m_special = S_ISCHR(mode) || S_ISBLK(mode) ? static_cast<uint64_t>(status.st_rdev) : 0,
            .m_accessed = instant_of(status.st_atim),
            .m_modified = instant_of(status.st_mtim),
            .m_changed = instant_of(status.st_ctim),
            .m_created = instant_of(status.st_mtim),
            .m_has_created = 0};
    return true;
}
#endif

/// Both times as the host takes them.
struct time_pair {
    timespec times[2];

    explicit time_pair(const file_times& wanted) : times{of(wanted.accessed), of(wanted.modified)} {}

private:
    static timespec of(const ombrel_instant_t* time) {
        timespec result{};
        result.tv_nsec = UTIME_OMIT;
        if (time != nullptr) {
            result.tv_sec = static_cast<time_t>(time->m_seconds);
            result.tv_nsec = time->m_nanoseconds;
        }
        return result;
    }
};

/// The host's time may be narrower.
bool fits(const ombrel_instant_t* time) {
    return time == nullptr || static_cast<time_t>(time->m_seconds) == time->m_seconds;
}

bool fit(const file_times& times) {
    if (fits(times.accessed) && fits(times.modified))
        return true;
    leave_fault(fault_code::invalid);
    return false;
}

} // namespace

int kind_of_mode(mode_t mode) {
    switch (mode & S_IFMT) {
    case S_IFREG:
        return def_ombrel_file_kind_regular;
    case S_IFDIR:
        return def_ombrel_file_kind_directory;
    case S_IFLNK:
        return def_ombrel_file_kind_link;
    case S_IFIFO:
        return def_ombrel_file_kind_pipe;
    case S_IFSOCK:
        return def_ombrel_file_kind_socket;
    case S_IFCHR:
        return def_ombrel_file_kind_character_device;
    case S_IFBLK:
        return def_ombrel_file_kind_block_device;
    default:
        return def_ombrel_file_kind_other;
    }
}

bool get_file_info_at(int directory, const char* name, at_link link, ombrel_file_info_t& info) {
    return get_info(directory, name, flags_of(link), info);
}

bool get_file_info(const char* path, at_link link, ombrel_file_info_t& info) {
    return get_info(AT_FDCWD, path, flags_of(link), info);
}

bool get_file_info(int descriptor, ombrel_file_info_t& info) {
    return get_info(descriptor, "", of_descriptor, info);
}

bool has_file_rights(const char* path, int rights) {
    const int wanted =
        ((rights & 4) != 0 ? R_OK : 0) | ((rights & 2) != 0 ? W_OK : 0) | ((rights & 1) != 0 ? X_OK : 0);
    return faccessat(AT_FDCWD, path, rights == 0 ? F_OK : wanted, AT_EACCESS) == 0;
}

bool modes_tell_users_apart() {
    return true;
}

bool set_file_mode(const char* path, uint32_t mode) {
    return chmod(path, static_cast<mode_t>(mode)) == 0;
}

bool set_file_mode(int descriptor, uint32_t mode) {
    return fchmod(descriptor, static_cast<mode_t>(mode)) == 0;
}

bool set_file_owner(const char* path, at_link link, uint32_t owner, uint32_t group) {
    return fchownat(AT_FDCWD, path, owner, group, flags_of(link)) == 0;
}

bool set_file_owner(int descriptor, uint32_t owner, uint32_t group) {
    return fchown(descriptor, owner, group) == 0;
}

bool set_file_times_at(int directory, const char* name, at_link link, const file_times& times) {
    return fit(times) && utimensat(directory, name, time_pair(times).times, flags_of(link)) == 0;
}

bool set_file_times(const char* path, at_link link, const file_times& times) {
    return set_file_times_at(AT_FDCWD, path, link, times);
}

bool set_file_times(int descriptor, const file_times& times) {
    return fit(times) && futimens(descriptor, time_pair(times).times) == 0;
}

bool set_file_times_to_now(const char* path, at_link link) {
    return utimensat(AT_FDCWD, path, nullptr, flags_of(link)) == 0;
}

bool set_file_times_to_now(int descriptor) {
    return futimens(descriptor, nullptr) == 0;
}

} // namespace ombrel::platform
