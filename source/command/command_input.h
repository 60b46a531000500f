// What the commands share: what they read (files, or standard input for "-"), their complaints and results.
#pragma once

#include <cstdio>
#include <cstring>

#include <ombrel/multicall.h>
#include <ombrel/output.h>

#include "core/file_blocks.h"
#include "system/argument/finished_output.h"

namespace ombrel::command {

/// "NAME of the command: what: why" on standard error. What a terminal would obey is shown otherwise.
void complain(const char* command, const char* what, const char* why);

inline int exit_code(bool good) {
    return good ? def_ombrel_multicall_exit_good : def_ombrel_multicall_exit_failed;
}

/// Bytes for standard output. A failure shows when the command has finished.
inline bool put_bytes(const void* bytes, size_t size) {
    const bool is_put = fwrite(bytes, 1, size, stdout) == size;
    if (!is_put)
        system::note_failed_output();
    return is_put;
}

inline const char* text_or(const char* text, const char* otherwise) {
    return text != nullptr ? text : otherwise;
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

/// Runs `work(name)` for each operand, or for standard input, whatever the others give; the exit code.
template<typename Operands, typename Work>
int for_each_input(const Operands& operands, Work work) {
    if (operands.operand_count() == 0)
        return exit_code(work("-"));
    bool good = true;
    for (int i = 0; i < operands.operand_count(); i++)
        good = work(operands.operand(i)) && good;
    return exit_code(good);
}

} // namespace ombrel::command
