#include "platform/serial.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <iterator>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include "platform/clock.h"
#include "platform/fault.h"
#include "platform/posix/serial_speed.h"

namespace ombrel::platform {

struct serial_port {
    int descriptor;
    bool is_alone;
    termios found;
    uint32_t found_speed; ///< 0 where the host's constants tell it
};

namespace {

struct known_speed {
    uint32_t speed;
    speed_t constant;
};

constexpr known_speed speeds[] = {
    {50, B50},           {75, B75},           {110, B110},         {134, B134},         {150, B150},
    {200, B200},         {300, B300},         {600, B600},         {1200, B1200},       {1800, B1800},
    {2400, B2400},       {4800, B4800},       {9600, B9600},       {19200, B19200},     {38400, B38400},
    {57600, B57600},     {115200, B115200},   {230400, B230400},
#if defined(B4000000)
    {460800, B460800},   {500000, B500000},   {576000, B576000},   {921600, B921600},   {1000000, B1000000},
    {1152000, B1152000}, {1500000, B1500000}, {2000000, B2000000}, {2500000, B2500000}, {3000000, B3000000},
    {3500000, B3500000}, {4000000, B4000000},
#endif
};

const known_speed* find_speed(uint32_t speed) {
    for (const known_speed& one : speeds)
        if (one.speed == speed)
            return &one;
    return nullptr;
}

bool speed_of(int descriptor, const termios& mode, uint32_t& speed) {
    for (const known_speed& one : speeds)
        if (one.constant == cfgetospeed(&mode)) {
            speed = one.speed;
            return true;
        }
    return get_exact_speed(descriptor, speed);
}

#if !defined(CMSPAR)
constexpr tcflag_t CMSPAR = 0;
#endif
constexpr tcflag_t parity_bits = PARENB | PARODD | CMSPAR;
constexpr tcflag_t format_bits = CSIZE | CSTOPB | parity_bits | CRTSCTS;
constexpr tcflag_t data_sizes[] = {CS5, CS6, CS7, CS8};

struct parity_flag {
    serial_parity parity;
    tcflag_t bits;
};
constexpr parity_flag parities[] = {
    {serial_parity::none, 0},
    {serial_parity::odd, PARENB | PARODD},
    {serial_parity::even, PARENB},
    {serial_parity::mark, PARENB | PARODD | CMSPAR},
    {serial_parity::space, PARENB | CMSPAR},
};

tcflag_t bits_of(serial_parity parity) {
    for (const parity_flag& one : parities)
        if (one.parity == parity)
            return one.bits;
    return 0;
}

tcflag_t format_of(const serial_mode& mode) {
    return data_sizes[mode.data_bits - 5] | (mode.stop_bits == 2 ? CSTOPB : 0) | bits_of(mode.parity) |
           (mode.flow == serial_flow::hardware ? CRTSCTS : 0);
}

/// Bytes as they are, and no carrier needed.
termios raw(termios settings, const serial_mode& mode) {
    settings.c_iflag &= ~static_cast<tcflag_t>(IGNBRK | BRKINT | IGNPAR | PARMRK | INPCK | ISTRIP | INLCR |
                                               IGNCR | ICRNL | IXON | IXOFF | IXANY);
    settings.c_iflag |= (mode.parity != serial_parity::none ? INPCK : 0) |
                        (mode.flow == serial_flow::software ? IXON | IXOFF : 0);
    settings.c_oflag &= ~static_cast<tcflag_t>(OPOST);
    settings.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL | ICANON | ISIG | IEXTEN);
    settings.c_cflag = (settings.c_cflag & ~format_bits) | format_of(mode) | CREAD | CLOCAL;
    settings.c_cc[VMIN] = 1;
    settings.c_cc[VTIME] = 0;
    settings.c_cc[VSTART] = 17;
    settings.c_cc[VSTOP] = 19;
    return settings;
}

bool not_supported() {
    leave_fault({fault_code::not_supported, ENOTSUP});
    return false;
}

/// For requests that the kind of device does not know.
bool refused_by_kind() {
    return errno == ENOTTY || errno == EINVAL ? not_supported() : false;
}

bool apply(int descriptor, const termios& settings, uint32_t exact_speed) {
    int result;
    do
        result = tcsetattr(descriptor, TCSANOW, &settings);
    while (result != 0 && errno == EINTR);
    return result == 0 && (exact_speed == 0 || set_exact_speed(descriptor, exact_speed) || refused_by_kind());
}

/// A divider seldom meets a speed exactly; receivers bear this much.
bool is_near(uint32_t speed, uint32_t wanted) {
    const uint32_t difference = std::max(speed, wanted) - std::min(speed, wanted);
    return difference <= wanted / 40;
}

/// The host calls it a success when a part of the settings was taken.
bool has_taken(int descriptor, const serial_mode& mode) {
    termios settings;
    uint32_t speed = 0;
    if (tcgetattr(descriptor, &settings) != 0)
        return false;
    const bool is_good = (settings.c_cflag & format_bits) == format_of(mode) &&
                         speed_of(descriptor, settings, speed) && is_near(speed, mode.speed);
    return is_good || not_supported();
}

bool find_mode(serial_port& port) {
    if (tcgetattr(port.descriptor, &port.found) != 0)
        return refused_by_kind();
    const bool is_constant = std::any_of(std::begin(speeds), std::end(speeds), [&](const known_speed& one) {
        return one.constant == cfgetospeed(&port.found);
    });
    port.found_speed = 0;
    if (!is_constant)
        get_exact_speed(port.descriptor, port.found_speed);
    return true;
}

bool busy_if_waiting() {
    if (errno == EWOULDBLOCK)
        leave_fault(fault_code::busy);
    return false;
}

/// The host's mark keeps those without special rights out, the lock those who ask for it.
bool claim(serial_port& port, bool shared) {
    if (is_taken_alone(port.descriptor)) {
        leave_fault(fault_code::busy);
        return false;
    }
    if (flock(port.descriptor, (shared ? LOCK_SH : LOCK_EX) | LOCK_NB) != 0)
        return busy_if_waiting();
    port.is_alone = !shared && ioctl(port.descriptor, TIOCEXCL) == 0;
    return shared || port.is_alone;
}

int open_port(const char* name) {
    int descriptor;
    do
        descriptor = open(name, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    while (descriptor < 0 && errno == EINTR);
    if (descriptor < 0 && (errno == ENXIO || errno == ENODEV))
        leave_fault(fault_code::not_found);
    else if (descriptor < 0 && errno == EISDIR)
        not_supported();
    return descriptor;
}

void let_go(serial_port& port) {
    const fault_keeper kept;
    if (port.is_alone)
        ioctl(port.descriptor, TIOCNXCL);
    close(port.descriptor);
    free(&port);
}

/// The events that came in time; -1 with its fault, `timed_out` too.
int wait_for(const serial_port& port, short events, int timeout_milliseconds) {
    const uint64_t end = moment_after(timeout_milliseconds);
    for (;;) {
        pollfd wanted{port.descriptor, events, 0};
        const int left = milliseconds_until(end);
        const int ready = poll(&wanted, 1, left);
        if (ready > 0)
            return wanted.revents;
        if (ready < 0 && errno != EINTR)
            return -1;
        if (ready == 0 && left >= 0) {
            leave_fault(fault_code::timed_out);
            return -1;
        }
    }
}

} // namespace

serial_port* open_serial_port(const char* name, const serial_mode& mode, bool shared) {
    auto* port = static_cast<serial_port*>(malloc(sizeof(serial_port)));
    if (port == nullptr)
        return nullptr;
    *port = {};
    port->descriptor = open_port(name);
    if (port->descriptor < 0) {
        free(port);
        return nullptr;
    }
    if (find_mode(*port) && claim(*port, shared) && set_serial_mode(*port, mode))
        return port;
    let_go(*port);
    return nullptr;
}

void close_serial_port(serial_port* port) {
    tcflush(port->descriptor, TCOFLUSH); // or the host would wait for the other side
    apply(port->descriptor, port->found, port->found_speed);
    let_go(*port);
}

bool set_serial_mode(serial_port& port, const serial_mode& mode) {
    termios before;
    uint32_t speed_before = 0;
    if (tcgetattr(port.descriptor, &before) != 0)
        return false;
    speed_of(port.descriptor, before, speed_before);
    termios wanted = raw(before, mode);
    const known_speed* known = find_speed(mode.speed);
    const speed_t constant = known != nullptr ? known->constant : B38400;
    cfsetispeed(&wanted, constant);
    cfsetospeed(&wanted, constant);
    if (apply(port.descriptor, wanted, known != nullptr ? 0 : mode.speed) && has_taken(port.descriptor, mode))
        return true;
    const fault_keeper kept;
    apply(port.descriptor, before, find_speed(speed_before) != nullptr ? 0 : speed_before);
    return false;
}

bool get_serial_mode(serial_port& port, serial_mode& mode) {
    termios settings;
    if (tcgetattr(port.descriptor, &settings) != 0)
        return false;
    mode = {};
    speed_of(port.descriptor, settings, mode.speed);
    for (size_t i = 0; i < std::size(data_sizes); i++)
        if (data_sizes[i] == (settings.c_cflag & CSIZE))
            mode.data_bits = static_cast<uint8_t>(5 + i);
    mode.stop_bits = (settings.c_cflag & CSTOPB) != 0 ? 2 : 1;
    for (const parity_flag& one : parities)
        if ((settings.c_cflag & PARENB) != 0 && one.bits == (settings.c_cflag & parity_bits))
            mode.parity = one.parity;
    if ((settings.c_cflag & CRTSCTS) != 0)
        mode.flow = serial_flow::hardware;
    else if ((settings.c_iflag & IXON) != 0)
        mode.flow = serial_flow::software;
    return true;
}

int read_serial(serial_port& port, void* buffer, size_t size, int timeout_milliseconds) {
    for (;;) {
        const int events = wait_for(port, POLLIN, timeout_milliseconds);
        if (events < 0)
            return -1;
        const ssize_t bytes = read(port.descriptor, buffer, std::min<size_t>(size, INT_MAX));
        if (bytes >= 0)
            return static_cast<int>(bytes);
        if (errno == EIO && (events & POLLHUP) != 0)
            return 0;
        if (errno != EINTR && errno != EAGAIN)
            return -1;
    }
}

int write_serial(serial_port& port, const void* data, size_t size, int timeout_milliseconds) {
    for (;;) {
        const int events = wait_for(port, POLLOUT, timeout_milliseconds);
        if (events < 0)
            return -1;
        const ssize_t bytes = write(port.descriptor, data, std::min<size_t>(size, INT_MAX));
        if (bytes > 0)
            return static_cast<int>(bytes);
        if (bytes < 0 && errno == EIO && (events & POLLHUP) != 0)
            leave_fault(fault_code::closed);
        if (bytes < 0 && errno != EINTR && errno != EAGAIN)
            return -1;
    }
}

bool get_serial_waiting(serial_port& port, serial_waiting& waiting) {
    int input = 0, output = 0;
    if (ioctl(port.descriptor, FIONREAD, &input) != 0 || ioctl(port.descriptor, TIOCOUTQ, &output) != 0)
        return refused_by_kind();
    waiting = {static_cast<size_t>(std::max(input, 0)), static_cast<size_t>(std::max(output, 0))};
    return true;
}

bool is_sending(serial_port& port) {
    return !has_sent_all(port.descriptor);
}

bool discard_serial(serial_port& port, bool input, bool output) {
    return tcflush(port.descriptor, input && output ? TCIOFLUSH : input ? TCIFLUSH : TCOFLUSH) == 0;
}

namespace {

struct modem_line {
    uint32_t line;
    int bit;
};
constexpr modem_line modem_lines[] = {
    {line_dtr, TIOCM_DTR}, {line_rts, TIOCM_RTS}, {line_cts, TIOCM_CTS},
    {line_dsr, TIOCM_DSR}, {line_dcd, TIOCM_CD},  {line_ri, TIOCM_RI},
};

bool change_lines(int descriptor, bool set, uint32_t lines) {
    int bits = 0;
    for (const modem_line& one : modem_lines)
        bits |= (lines & one.line) != 0 ? one.bit : 0;
    return bits == 0 || ioctl(descriptor, set ? TIOCMBIS : TIOCMBIC, &bits) == 0;
}

} // namespace

bool get_serial_lines(serial_port& port, uint32_t& lines) {
    int bits = 0;
    if (ioctl(port.descriptor, TIOCMGET, &bits) != 0)
        return refused_by_kind();
    lines = 0;
    for (const modem_line& one : modem_lines)
        lines |= (bits & one.bit) != 0 ? one.line : 0;
    return true;
}

bool set_serial_lines(serial_port& port, uint32_t which, uint32_t on) {
    return (change_lines(port.descriptor, true, which & on) &&
            change_lines(port.descriptor, false, which & ~on)) ||
           refused_by_kind();
}

bool set_serial_break(serial_port& port, bool on) {
    return ioctl(port.descriptor, on ? TIOCSBRK : TIOCCBRK) == 0 || refused_by_kind();
}

int serial_descriptor(const serial_port& port) {
    return port.descriptor;
}

#if !defined(__linux__)

bool set_exact_speed(int, uint32_t) {
    return not_supported();
}

bool get_exact_speed(int, uint32_t&) {
    return false;
}

bool has_sent_all(int) {
    return true;
}

bool is_taken_alone(int) {
    return false;
}

serial_walk* open_serial_walk() {
    not_supported();
    return nullptr;
}

void close_serial_walk(serial_walk*) {}

int next_serial_port(serial_walk&, serial_description&) {
    return 0;
}

#endif

} // namespace ombrel::platform
