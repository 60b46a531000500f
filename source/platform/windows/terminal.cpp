#include "platform/terminal.h"

#include <fcntl.h>

#include "platform/fault.h"
#include "platform/windows/descriptor.h"
#include "platform/windows/host_error.h"
#include "platform/windows/wide_text.h"

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

namespace {

/// What is a console but no screen of one has no size that could be asked for.
bool refused_by_kind(HANDLE handle) {
    if (handle != nullptr)
        leave_fault(no_terminal);
    return false;
}

} // namespace

bool size_of_terminal(int descriptor, int& columns, int& rows) {
    HANDLE const handle = handle_of(descriptor);
    return (handle != nullptr && visible_size(handle, columns, rows)) ||
           (is_terminal(descriptor) && screen_size_of_keyboard(columns, rows)) || refused_by_kind(handle);
}

// The window follows its buffer, which is never the smaller one.
bool set_size_of_terminal(int descriptor, int columns, int rows) {
    HANDLE const screen = handle_of(descriptor);
    CONSOLE_SCREEN_BUFFER_INFO info;
    if (screen == nullptr || GetConsoleScreenBufferInfo(screen, &info) == 0)
        return refused_by_kind(screen);
    const auto width = static_cast<SHORT>(columns), height = static_cast<SHORT>(rows);
    const SMALL_RECT least{0, 0, 0, 0},
        wanted{0, 0, static_cast<SHORT>(width - 1), static_cast<SHORT>(height - 1)};
    SetConsoleWindowInfo(screen, TRUE, &least);
    if (SetConsoleScreenBufferSize(screen, {width, height}) && SetConsoleWindowInfo(screen, TRUE, &wanted))
        return true;
    return fail_by_last_error() == 0;
}

int open_own_terminal(terminal_side side) {
    const bool is_input = side == terminal_side::input;
    HANDLE const handle = CreateFileW(is_input ? L"CONIN$" : L"CONOUT$", GENERIC_READ | GENERIC_WRITE,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
    if (handle != INVALID_HANDLE_VALUE)
        return adopt_handle(handle, is_input ? _O_RDONLY : _O_WRONLY);
    leave_fault(fault_code::not_found);
    return -1;
}

bool terminal_size(int& columns, int& rows) {
    const fault_keeper kept;
    constexpr int input = 0, output = 1, error_output = 2;
    return visible_size(handle_of(output), columns, rows) ||
           visible_size(handle_of(error_output), columns, rows) ||
           (is_terminal(input) && screen_size_of_keyboard(columns, rows));
}

// A console's code page is its user's, and others use it, too.
bool has_own_encoding(int descriptor) {
    return is_terminal(descriptor);
}

namespace {

constexpr size_t most_units = 8192; // older consoles take no more at once

/// Never the first half of a character alone.
size_t units_at_once(const wchar_t* text, size_t size) {
    if (size <= most_units)
        return size;
    return IS_HIGH_SURROGATE(text[most_units - 1]) ? most_units - 1 : most_units;
}

} // namespace

bool write_terminal(int descriptor, const char* text) {
    const fault_keeper kept;
    const wide_text wide(text);
    if (!wide)
        return false;
    HANDLE const screen = handle_of(descriptor);
    for (size_t shown = 0; shown < wide.size();) {
        const wchar_t* const part = wide.get() + shown;
        DWORD written = 0;
        const auto units = static_cast<DWORD>(units_at_once(part, wide.size() - shown));
        if (WriteConsoleW(screen, part, units, &written, nullptr) == 0 || written == 0)
            return shown > 0;
        shown += written;
    }
    return true;
}

// By design, though newer consoles would: programs rely on plain texts there.
bool terminal_renders_escapes() {
    return false;
}

bool terminal_renders_escapes(int descriptor) {
    const fault_keeper kept;
    DWORD mode = 0;
    return descriptor >= 0 && GetConsoleMode(handle_of(descriptor), &mode) != 0 &&
           (mode & ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

} // namespace ombrel::platform
