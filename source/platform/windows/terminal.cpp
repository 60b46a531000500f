#include "platform/terminal.h"

#include "platform/fault.h"
#include "platform/windows/descriptor.h"

namespace ombrel::platform {

// The C library's own answer counts the null device as a terminal.
bool is_terminal(int descriptor) {
    const fault_keeper kept;
    DWORD mode;
    return descriptor >= 0 && GetConsoleMode(handle_of(descriptor), &mode) != 0;
}

namespace {

/// What is seen of the console's buffer.
bool visible_size(HANDLE screen, int& columns, int& rows) {
    CONSOLE_SCREEN_BUFFER_INFO info;
    if (GetConsoleScreenBufferInfo(screen, &info) == 0 || info.srWindow.Right < info.srWindow.Left)
        return false;
    columns = info.srWindow.Right - info.srWindow.Left + 1;
    rows = info.srWindow.Bottom - info.srWindow.Top + 1;
    return true;
}

/// The size of the screen on whose keyboard somebody types.
bool screen_size_of_keyboard(int& columns, int& rows) {
    HANDLE const screen = CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
    if (screen == INVALID_HANDLE_VALUE)
        return false;
    const bool known = visible_size(screen, columns, rows);
    CloseHandle(screen);
    return known;
}

} // namespace

bool terminal_size(int& columns, int& rows) {
    const fault_keeper kept;
    constexpr int input = 0, output = 1, error_output = 2;
    return visible_size(handle_of(output), columns, rows) ||
           visible_size(handle_of(error_output), columns, rows) ||
           (is_terminal(input) && screen_size_of_keyboard(columns, rows));
}

// By design, though newer consoles would: programs rely on plain texts there.
bool terminal_renders_escapes() {
    return false;
}

} // namespace ombrel::platform
