#include "platform/terminal.h"

#include "platform/fault.h"
#include "platform/windows/descriptor.h"
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

} // namespace ombrel::platform
