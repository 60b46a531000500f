#include "platform/windows/command_line.h"

#include <cerrno>
#include <cwchar>

#include "platform/windows/wide_text.h"

namespace ombrel::platform {

bool command_line::put(wchar_t unit) {
    if (size_ == most_units) {
        errno = E2BIG;
        return false;
    }
    units_[size_++] = unit;
    return true;
}

bool command_line::put(const wchar_t* text) {
    while (*text != L'\0')
        if (!put(*text++))
            return false;
    return true;
}

bool command_line::put_times(size_t count, wchar_t unit) {
    while (count-- > 0)
        if (!put(unit))
            return false;
    return true;
}

bool command_line::end() {
    units_[size_] = L'\0';
    return true;
}

bool command_line::put_program(const char* name) {
    const wide_text text(name);
    return text && put(L'"') && put(text.get()) && put(L'"');
}

// Backslashes stand for themselves, but before a quote each two of them stand for one.
bool command_line::put_quoted(const wchar_t* text) {
    size_t backslashes = 0;
    for (; *text != L'\0'; text++) {
        if (*text == L'"' && !put_times(backslashes + 1, L'\\'))
            return false;
        backslashes = *text == L'\\' ? backslashes + 1 : 0;
        if (!put(*text))
            return false;
    }
    return put_times(backslashes, L'\\');
}

bool command_line::put_argument(const char* argument) {
    const wide_text text(argument);
    if (!text || !put(L' '))
        return false;
    const bool is_plain = text.size() > 0 && wcspbrk(text.get(), L" \t\n\v\"") == nullptr;
    return is_plain ? put(text.get()) : put(L'"') && put_quoted(text.get()) && put(L'"');
}

bool command_line::set_arguments(const char* const* arguments) {
    size_ = 0;
    if (!units_ || !put_program(*arguments))
        return false;
    while (*++arguments != nullptr)
        if (!put_argument(*arguments))
            return false;
    return end();
}

// The interpreter takes the first and the last quote away and the rest as it stands.
bool command_line::set_command(const wchar_t* interpreter, const char* command) {
    size_ = 0;
    const wide_text text(command);
    return units_ && text && put(L'"') && put(interpreter) && put(L"\" /d /s /c \"") && put(text.get()) &&
           put(L'"') && end();
}

} // namespace ombrel::platform
