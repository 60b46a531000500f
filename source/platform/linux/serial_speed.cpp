// The kernel's own record of a terminal's settings has any speed. Its header and that of the C library
// exclude each other.
#include "platform/posix/serial_speed.h"

#include <asm/ioctls.h>
#include <asm/termbits.h>
#include <sys/ioctl.h>

namespace ombrel::platform {

namespace {

/// C libraries differ in the type of the request, which may be too narrow for the kernel's numbers.
template<typename Request>
int control(int (*call)(int, Request, ...), int descriptor, unsigned long request, termios2* settings) {
    return call(descriptor, static_cast<Request>(request), settings);
}

} // namespace

bool set_exact_speed(int descriptor, uint32_t speed) {
    termios2 settings;
    if (control(ioctl, descriptor, TCGETS2, &settings) != 0)
        return false;
    constexpr unsigned input_shift = 16; // where the bits of the input's speed stand
    settings.c_cflag &= ~static_cast<tcflag_t>(CBAUD | CBAUD << input_shift);
    settings.c_cflag |= BOTHER | BOTHER << input_shift;
    settings.c_ispeed = settings.c_ospeed = speed;
    return control(ioctl, descriptor, TCSETS2, &settings) == 0;
}

bool get_exact_speed(int descriptor, uint32_t& speed) {
    termios2 settings;
    if (control(ioctl, descriptor, TCGETS2, &settings) != 0)
        return false;
    speed = settings.c_ospeed;
    return true;
}

// Where the line's state is not told, the bytes that have left the queue count as sent.
bool has_sent_all(int descriptor) {
    unsigned state = 0;
    return ioctl(descriptor, TIOCSERGETLSR, &state) != 0 || (state & TIOCSER_TEMT) != 0;
}

bool is_taken_alone(int descriptor) {
    int state = 0;
    return ioctl(descriptor, TIOCGEXCL, &state) == 0 && state != 0;
}

} // namespace ombrel::platform
