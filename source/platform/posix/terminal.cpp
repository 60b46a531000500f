#include "platform/terminal.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "platform/fault.h"

namespace ombrel::platform {

bool is_terminal(int descriptor) {
    const fault_keeper kept; // isatty() leaves ENOTTY behind, which is no fault of the caller's
    return isatty(descriptor) == 1;
}

bool terminal_size(int& columns, int& rows) {
    const fault_keeper kept;
    constexpr int descriptors[] = {STDOUT_FILENO, STDERR_FILENO, STDIN_FILENO};
    for (const int descriptor : descriptors) {
        winsize size{};
        if (ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
            columns = size.ws_col;
            rows = size.ws_row;
            return true;
        }
    }
    return false;
}

namespace {

/// ENOTTY says what it is about, but no program looks for it.
bool refused_by_kind() {
    if (errno == ENOTTY)
        leave_fault(no_terminal);
    return false;
}

} // namespace

bool size_of_terminal(int descriptor, int& columns, int& rows) {
    winsize size{};
    if (ioctl(descriptor, TIOCGWINSZ, &size) != 0)
        return refused_by_kind();
    if (size.ws_col == 0 || size.ws_row == 0) {
        leave_fault(no_terminal);
        return false;
    }
    columns = size.ws_col;
    rows = size.ws_row;
    return true;
}

bool set_size_of_terminal(int descriptor, int columns, int rows) {
    winsize size{};
    size.ws_col = static_cast<unsigned short>(columns);
    size.ws_row = static_cast<unsigned short>(rows);
    return ioctl(descriptor, TIOCSWINSZ, &size) == 0 || refused_by_kind();
}

int open_own_terminal(terminal_side side) {
    const int kind = side == terminal_side::input ? O_RDONLY : O_WRONLY;
    const int descriptor = open("/dev/tty", kind | O_CLOEXEC | O_NOCTTY);
    if (descriptor < 0 && errno == ENXIO)
        leave_fault(fault_code::not_found);
    return descriptor;
}

bool has_own_encoding(int) {
    return false;
}

bool write_terminal(int, const char*) {
    return false;
}

bool terminal_renders_escapes() {
    const char* terminal = getenv("TERM");
    return terminal != nullptr && *terminal != '\0' && strcmp(terminal, "dumb") != 0;
}

bool terminal_renders_escapes(int descriptor) {
    return is_terminal(descriptor) && terminal_renders_escapes();
}

} // namespace ombrel::platform
