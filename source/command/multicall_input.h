// What the commands read: files, or standard input for "-".
#pragma once

#include <cstring>

#include <ombrel/output.h>

#include "core/fault.h"
#include "core/heap_ptr.h"
#include "platform/file.h"

namespace ombrel::command {

constexpr size_t input_block_size = 32768;

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
    if (is_file && !file.is_open()) {
        complain(command, name, fault_text(last_fault()));
        return false;
    }
    const heap_ptr<char> block(static_cast<char*>(ombrel_alloc_tag(input_block_size, command, __LINE__)));
    if (!block) {
        complain(command, name, fault_text(fault_code::no_memory));
        return false;
    }
    int got;
    do {
        got = is_file ? file.read(block.get(), input_block_size)
                      : platform::read_descriptor(standard_input, block.get(), input_block_size);
    } while (got > 0 && use(block.get(), static_cast<size_t>(got)));
    if (got < 0)
        complain(command, name, fault_text(last_fault()));
    return got >= 0;
}

} // namespace ombrel::command
