// The options of multi-call programs, and all commands as the sub-commands of one table.
#pragma once

#include <cstddef>

#include <ombrel/argument_manual.h>
#include <ombrel/multicall.h>

#include "core/heap_ptr.h"

namespace ombrel::command {

/// What stands in the place of a command.
struct program_choice {
    int is_list = 0, is_version = 0;
};

/// The options are read into a program_choice.
/// @param commands null for commands that are found by their names
ombrel_argument_table_t program_table_of(const char* name, const ombrel_argument_table_t* const* commands);

/// The table of a command. One that a program has added has no more than its record says.
ombrel_argument_table_t table_of(const ombrel_multicall_command_t& command);

/// The program's options and all commands with what they do; an exit code.
int print_program_help();

/// The table of a program with those of its commands, of which none may come or go meanwhile.
class whole_program {
public:
    /// @param function the function for whom memory is accounted
    whole_program(const char* name, const char* function);

    /// False when there was no memory.
    explicit operator bool() const { return tables_ && pointers_; }

    const ombrel_argument_table_t& table() const { return table_; }

    /// Has commands that take the name of a command ("help") show all names in its place, as completion
    /// offers what is shown. False when there is no memory.
    bool name_commands(const char* function);

private:
    heap_ptr<ombrel_argument_table_t> tables_;
    heap_ptr<const ombrel_argument_table_t*> pointers_;
    heap_ptr<char> names_; ///< "cat|cp|..."
    ombrel_argument_table_t table_;
};

} // namespace ombrel::command
