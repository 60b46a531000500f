#include <ombrel/pipe.h>

#include "platform/file.h"
#include "platform/poll.h"

using namespace ombrel;

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
    platform::poll_request request{fd, platform::readiness::read, false};
    const int ready = platform::poll_descriptors(&request, 1, timeout_msec);
    if (ready <= 0)
        return ready == 0 ? def_ombrel_pipe_timeout : -1;
    return platform::read_descriptor(fd, buffer, size);
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
