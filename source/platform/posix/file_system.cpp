#include "platform/file_system.h"

#include <algorithm>
#include <cstdint>
#include <sys/statvfs.h>

#include "platform/fault.h"
#include "platform/file.h"

namespace ombrel::platform {

namespace {

/// Blocks in bytes, as far as they can be counted.
int64_t bytes_of(uint64_t blocks, uint64_t block_size) {
    const uint64_t most = INT64_MAX;
    return static_cast<int64_t>(block_size != 0 && blocks > most / block_size ? most : blocks * block_size);
}

#if defined(__linux__)

/// What a file holds whose size the host does not tell, ended by 0; to be freed.
char* read_whole(const file_reader& file) {
    size_t size = 0, room = 8192;
    auto* text = static_cast<char*>(malloc(room));
    for (;;) {
        const int got = text != nullptr ? file.read(text + size, room - size - 1) : -1;
        if (got <= 0) {
            if (got == 0)
                text[size] = '\0';
            return got == 0 ? text : (free(text), nullptr);
        }
        size += static_cast<size_t>(got);
        if (size + 1 < room)
            continue;
        auto* const larger = static_cast<char*>(realloc(text, room *= 2));
        if (larger == nullptr)
            free(text);
        text = larger;
    }
}

#endif

} // namespace

bool get_file_space(const char* path, ombrel_file_space_t& space) {
    struct statvfs status;
    if (statvfs(path, &status) != 0)
        return false;
    const uint64_t unit = status.f_frsize != 0 ? status.f_frsize : status.f_bsize;
    space.m_total = bytes_of(status.f_blocks, unit);
    space.m_free = bytes_of(status.f_bfree, unit);
    space.m_available = bytes_of(status.f_bavail, unit);
    space.m_block_size = static_cast<int64_t>(unit);
    space.m_files = bytes_of(status.f_files, 1);
    space.m_free_files = bytes_of(status.f_ffree, 1);
    return true;
}

host_text mount_lines() {
#if defined(__linux__)
    const file_reader file("/proc/self/mounts");
    return host_text(file.is_open() ? read_whole(file) : nullptr);
#else
    leave_fault(fault_code::not_supported);
    return host_text(nullptr);
#endif
}

} // namespace ombrel::platform
