#include <ombrel/pipe.h>

#include "platform/file.h"

using namespace ombrel;

static_assert(def_ombrel_pipe_timeout == platform::read_timed_out);

int ombrel_pipe(int ends[2]) {
    if (ends == nullptr)
        return -1;
    if (platform::open_pipe(ends))
        return 0;
    ends[0] = ends[1] = -1;
    return -1;
}

int ombrel_pipe_read(int fd, void* buffer, size_t size, int timeout_msec) {
    if (fd < 0 || buffer == nullptr)
        return -1;
    return platform::read_within(fd, buffer, size, timeout_msec);
}

int ombrel_pipe_write(int fd, const void* data, size_t size) {
    if (fd < 0 || data == nullptr)
        return -1;
    return platform::write_descriptor(fd, data, size);
}

int ombrel_destroy_pipe(int ends[2]) {
    if (ends == nullptr)
        return -1;
    for (int i = 0; i < 2; i++) {
        if (ends[i] >= 0)
            platform::close_descriptor(ends[i]);
        ends[i] = -1;
    }
    return 0;
}
