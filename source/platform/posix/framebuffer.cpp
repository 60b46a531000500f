// For hosts without such devices.
#if !defined(__linux__)

#include "platform/framebuffer.h"

#include <cerrno>

namespace ombrel::platform {

int open_framebuffer(const char*, framebuffer&) {
    errno = ENOSYS;
    return -1;
}

void close_framebuffer(framebuffer&) {}

bool framebuffer_has(const framebuffer&, uint32_t, uint32_t) {
    return false;
}

int pan_framebuffer(const framebuffer&) {
    errno = ENOSYS;
    return -1;
}

int set_framebuffer_palette(const framebuffer&, const uint32_t (&)[256]) {
    errno = ENOSYS;
    return -1;
}

} // namespace ombrel::platform

#endif
