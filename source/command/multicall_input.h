// What the commands read: files, or standard input for "-".
#pragma once

#include <cstring>

#include <ombrel/output.h>

#include "core/file_blocks.h"

namespace ombrel::command {

/// "NAME of the command: what: why" on standard error.
inline void complain(const char* command, const char* what, const char* why) {
    ombrel_puts(nullptr);
    ombrel_error_printf("%s: %s: %s\n", command, what, why);
}

/// Hands the bytes of a file in order to `use(bytes, size)` until that gives false; false after a complaint.
template<typename Use>
bool read_input(const char* command, const char* name, Use use) {
    constexpr int standard_input = 0;
    const bool is_file = strcmp(name, "-") != 0;
    leave_fault({});
    const platform::file_reader file(is_file ? name : nullptr);
    const int descriptor = is_file ? file.descriptor() : standard_input;
    if (descriptor >= 0 && read_in_blocks(descriptor, command, use))
        return true;
    complain(command, name, fault_text(last_fault()));
    return false;
}

} // namespace ombrel::command
