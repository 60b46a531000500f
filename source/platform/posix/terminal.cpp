#include "platform/terminal.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/ioctl.h>
#include <unistd.h>

namespace ombrel::platform {

bool is_terminal(int descriptor) {
    const int error = errno; // isatty() leaves ENOTTY behind, which is no error of the caller's
    const bool result = isatty(descriptor) == 1;
    errno = error;
    return result;
}

bool terminal_size(int& columns, int& rows) {
    const int error = errno;
    bool found = false;
    constexpr int descriptors[] = {STDOUT_FILENO, STDERR_FILENO, STDIN_FILENO};
    for (const int descriptor : descriptors) {
        winsize size{};
        if (ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
            columns = size.ws_col;
            rows = size.ws_row;
            found = true;
            break;
        }
    }
    errno = error;
    return found;
}

bool terminal_renders_escapes() {
    const char* terminal = getenv("TERM");
    return terminal != nullptr && *terminal != '\0' && strcmp(terminal, "dumb") != 0;
}

} // namespace ombrel::platform
