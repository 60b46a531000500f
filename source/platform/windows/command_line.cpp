#include "platform/windows/command_line.h"

#include <cerrno>

#include "platform/quoted_argument.h"
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

bool command_line::end() {
    units_[size_] = L'\0';
    return true;
}

bool command_line::put_program(const char* name) {
    const wide_text text(name);
    return text && put(L'"') && put(text.get()) && put(L'"');
}

bool command_line::put_argument(const char* argument) {
    const wide_text text(argument);
    return text && put(L' ') &&
           put_quoted_argument(std::wstring_view(text.get()), [this](wchar_t unit) { return put(unit); });
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
