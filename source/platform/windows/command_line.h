// What a new process is started with: Windows gives it one text, which the process takes apart itself.
#pragma once

#include <cstddef>

#include "platform/host_block.h"

namespace ombrel::platform {

/// A command line that the C run-time of a program takes apart into the given arguments.
class command_line {
public:
    /// The host takes no longer ones.
    static constexpr size_t most_units = 32766;

    command_line() : units_(most_units + 1) {}

    /// The program's name, which no quote can be in, and its arguments, ended by a null pointer. False, with
    /// its fault, when there is no memory, the whole is too long or a text is no UTF-8.
    bool set_arguments(const char* const* arguments);

    /// That of the command interpreter for a command, which is handed over as it is.
    bool set_command(const wchar_t* interpreter, const char* command);

    /// The host writes into it.
    wchar_t* get() const { return units_.get(); }

private:
    bool put(wchar_t unit);
    bool put(const wchar_t* text);
    bool put_program(const char* name);
    bool put_argument(const char* argument);
    bool end();

    host_block<wchar_t> units_;
    size_t size_ = 0;
};

} // namespace ombrel::platform
