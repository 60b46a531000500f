// Open files.
#include <ombrel/file.h>

#include <algorithm>

#include "core/deadline.h"
#include "platform/file_lock.h"
#include "platform/thread.h"
#include "system/file/file_internal.h"

using namespace ombrel;
using namespace ombrel::system;

namespace {

constexpr uint32_t opening_flags = def_ombrel_file_read | def_ombrel_file_write | def_ombrel_file_append |
                                   def_ombrel_file_create | def_ombrel_file_exclusive |
                                   def_ombrel_file_truncate | def_ombrel_file_inherit |
                                   def_ombrel_file_no_wait | def_ombrel_file_no_follow;

bool makes_sense(uint32_t flags) {
    const bool writes = has(flags, def_ombrel_file_write | def_ombrel_file_append);
    const bool changes = has(flags, def_ombrel_file_create | def_ombrel_file_truncate);
    return (writes || (has(flags, def_ombrel_file_read) && !changes)) &&
           (has(flags, def_ombrel_file_create) || !has(flags, def_ombrel_file_exclusive));
}

platform::file_access access_of(uint32_t flags, uint32_t mode) {
    platform::file_access access;
    access.read = has(flags, def_ombrel_file_read);
    access.append = has(flags, def_ombrel_file_append);
    access.write = has(flags, def_ombrel_file_write) || access.append;
    access.create = has(flags, def_ombrel_file_create);
    access.exclusive = has(flags, def_ombrel_file_exclusive);
    access.truncate = has(flags, def_ombrel_file_truncate);
    access.inherit = has(flags, def_ombrel_file_inherit);
    access.at_once = has(flags, def_ombrel_file_no_wait);
    access.refuse_link = has(flags, def_ombrel_file_no_follow);
    access.mode = mode;
    return access;
}

bool is_buffer(const void* bytes, size_t size) {
    return bytes != nullptr || size == 0 || refuse(fault_code::invalid);
}

bool is_place(int64_t offset, size_t size) {
    return (offset >= 0 && size <= static_cast<uint64_t>(INT64_MAX - offset)) || refuse(fault_code::invalid);
}

bool is_region(int64_t offset, int64_t size) {
    return (offset >= 0 && size >= 0 && size <= INT64_MAX - offset) || refuse(fault_code::invalid);
}

/// Fills the buffer by `read(to, size, done)`, as far as that has bytes.
template<typename Read>
int64_t read_until_full(void* buffer, size_t size, Read read) {
    auto* const bytes = static_cast<char*>(buffer);
    size_t done = 0;
    while (done < size) {
        const int got = read(bytes + done, size - done, done);
        if (got < 0)
            return -1;
        if (got == 0)
            break;
        done += static_cast<size_t>(got);
    }
    return static_cast<int64_t>(done);
}

/// Asks again in pauses that grow: hosts wait for a lock without end or not at all.
int lock_within(int descriptor, const platform::file_region& region, int timeout_ms) {
    constexpr int longest_pause = 32;
    const deadline limit(timeout_ms);
    for (int pause = 1;; pause = std::min(2 * pause, longest_pause)) {
        if (platform::try_lock_region(descriptor, region))
            return 1;
        if (last_fault().code != fault_code::would_block)
            return -1;
        const int left = limit.left();
        if (left == 0)
            return 0;
        platform::sleep_milliseconds(static_cast<uint32_t>(shorter_wait(left, pause)));
    }
}

} // namespace

int ombrel_open_file(const char* path, uint32_t flags, uint32_t mode) {
    if (!is_path(path) || !has_only(flags, opening_flags))
        return -1;
    if (!makes_sense(flags) || mode > 07777)
        return result_of(refuse(fault_code::invalid));
    return platform::open_file(path, access_of(flags, mode));
}

int ombrel_close_file(int fd) {
    return result_of(platform::close_file(fd));
}

int64_t ombrel_file_read(int fd, void* buffer, size_t size) {
    return is_buffer(buffer, size) ? platform::read_descriptor(fd, buffer, size) : -1;
}

int64_t ombrel_file_read_all(int fd, void* buffer, size_t size) {
    if (!is_buffer(buffer, size))
        return -1;
    return read_until_full(
        buffer, size, [=](void* to, size_t room, size_t) { return platform::read_descriptor(fd, to, room); });
}

int64_t ombrel_file_read_all_at(int fd, void* buffer, size_t size, int64_t offset) {
    if (!is_buffer(buffer, size) || !is_place(offset, size))
        return -1;
    return read_until_full(buffer, size, [=](void* to, size_t room, size_t done) {
        return platform::read_file_at(fd, to, room, offset + static_cast<int64_t>(done));
    });
}

int64_t ombrel_file_write(int fd, const void* data, size_t size) {
    return is_buffer(data, size) ? write_some(fd, platform::is_regular_file(fd), data, size) : -1;
}

int ombrel_file_write_all(int fd, const void* data, size_t size) {
    if (!is_buffer(data, size))
        return -1;
    const bool is_regular = platform::is_regular_file(fd);
    const auto* bytes = static_cast<const char*>(data);
    while (size > 0) {
        const int64_t written = write_some(fd, is_regular, bytes, size);
        if (written < 0)
            return -1;
        bytes += written;
        size -= static_cast<size_t>(written);
    }
    return 0;
}

int ombrel_file_write_all_at(int fd, const void* data, size_t size, int64_t offset) {
    if (!is_buffer(data, size) || !is_place(offset, size))
        return -1;
    const auto* const bytes = static_cast<const char*>(data);
    for (size_t done = 0; done < size;) {
        const int written =
            platform::write_file_at(fd, bytes + done, size - done, offset + static_cast<int64_t>(done));
        if (written < 0)
            return -1;
        done += static_cast<size_t>(written);
    }
    return 0;
}

int64_t ombrel_file_seek(int fd, int64_t offset, int origin) {
    switch (origin) {
    case def_ombrel_file_seek_start:
        return platform::move_file(fd, offset, platform::file_origin::start);
    case def_ombrel_file_seek_current:
        return platform::move_file(fd, offset, platform::file_origin::current);
    case def_ombrel_file_seek_end:
        return platform::move_file(fd, offset, platform::file_origin::end);
    default:
        return result_of(refuse(fault_code::invalid));
    }
}

int64_t ombrel_file_get_size(int fd) {
    return platform::file_size(fd);
}

int ombrel_file_set_size(int fd, int64_t size) {
    return result_of(size >= 0 ? platform::set_file_size(fd, size) : refuse(fault_code::invalid));
}

int ombrel_set_file_size(const char* path, int64_t size) {
    const owned_descriptor file(ombrel_open_file(path, def_ombrel_file_write, 0));
    return file.is_open() ? ombrel_file_set_size(file.get(), size) : -1;
}

int ombrel_file_sync(int fd) {
    return result_of(platform::sync_file(fd));
}

int ombrel_file_lock_region(int fd, int64_t offset, int64_t size, uint32_t flags, int timeout_ms) {
    if (!is_region(offset, size) || !has_only(flags, def_ombrel_file_shared))
        return -1;
    const platform::file_region region{offset, size, has(flags, def_ombrel_file_shared)};
    if (timeout_ms < 0)
        return platform::lock_region(fd, region) ? 1 : -1;
    return lock_within(fd, region, timeout_ms);
}

int ombrel_file_unlock_region(int fd, int64_t offset, int64_t size) {
    return result_of(is_region(offset, size) && platform::unlock_region(fd, {offset, size}));
}
