#include "platform/terminal.h"

#include <cstdlib>
#include <cstring>
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

} // namespace ombrel::platform
