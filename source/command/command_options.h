// How commands read their arguments: by one table, which makes their help as well.
//
// A command is a file of its own, such as this one. Its record has the table's name, operands and summary;
// the table answers "--help", words mistakes, and stores what was chosen.
//
//     struct head_choice {
//         int64_t bytes = -1;
//         int lines = 10;
//     };
//
//     constexpr ombrel_argument_option_t options[] = {
//         {.m_letter = 'c', .m_name = "bytes", .m_kind = def_ombrel_argument_size,
//          .m_offset = offsetof(head_choice, bytes), .m_value = "SIZE", .m_help = "so many bytes instead"},
//         {.m_letter = 'n', .m_name = "lines", .m_kind = def_ombrel_argument_integer,
//          .m_offset = offsetof(head_choice, lines), .m_value = "COUNT", .m_help = "so many lines (default
//          10)", .m_least = 0, .m_most = INT_MAX},
//         help_option,
//         version_option,
//         {}};
//
//     constexpr ombrel_argument_table_t table = {.m_name = "head", .m_operands = "[FILE...]",
//                                                .m_summary = "Prints the beginning of files.",
//                                                .m_options = options};
//
//     int run_head(int argc, char** argv) {
//         const command_arguments<head_choice> arguments(table, argc, argv);
//         if (!arguments)
//             return arguments.exit_code();
//         return for_each_input(arguments, [&](const char* name) { return print_head(*arguments, name); });
//     }
//
//     constexpr own_command head_command = command_of(table, run_head);
//
// What a table cannot know is refused by `return ombrel_refuse_arguments(&table, "...")`, which gives the
// exit code 2. The fields of a row stand in the order of the record, as C++ wants it.
#pragma once

#include <cstddef>
#include <utility>

#include <ombrel/argument.h>
#include <ombrel/multicall.h>

#include "command/called_name.h"
#include "command/command_table.h"

namespace ombrel::command {

/// What ends the options of each command.
inline constexpr ombrel_argument_option_t help_option = {
    .m_name = "help", .m_kind = def_ombrel_argument_help, .m_help = "show this"};
inline constexpr ombrel_argument_option_t version_option = {
    .m_name = "version", .m_kind = def_ombrel_argument_version, .m_help = "print the version"};
/// Of a command without others.
inline constexpr ombrel_argument_option_t usual_options[] = {help_option, version_option, {}};

/// Of a command that is a program of its own as well.
inline constexpr ombrel_argument_option_t program_help_option = {
    .m_letter = 'h', .m_name = "help", .m_kind = def_ombrel_argument_help, .m_help = "show this"};
inline constinit ombrel_argument_manual_t program_page = {.m_see_also = "ombrel_tuk(1)"};
inline constexpr ombrel_argument_option_t manual_option = {.m_name = "manual",
                                                           .m_kind = def_ombrel_argument_manual,
                                                           .m_flags = def_ombrel_argument_hidden,
                                                           .m_target = &program_page};
inline constexpr ombrel_argument_option_t completion_option = {
    .m_name = "completion", .m_kind = def_ombrel_argument_completion, .m_flags = def_ombrel_argument_hidden};

/// What messages call a command, which goes by its second name where it is called by that.
inline const char* name_of_call(const own_command& command, const char* path) {
    const bool is_second = command.program != nullptr && called_name(path) == command.program;
    return is_second ? command.program : command.m_name;
}

/// Its table under that name.
inline ombrel_argument_table_t table_of_call(const own_command& command, const char* path) {
    ombrel_argument_table_t table = *command.table;
    table.m_name = name_of_call(command, path);
    return table;
}

struct no_choice {};

/// The arguments of a command, read.
template<typename Choice = no_choice>
class command_arguments {
public:
    /// @param choice what is chosen unless the arguments say otherwise, and the room of lists
    command_arguments(const ombrel_argument_table_t& table, int argc, char** argv, Choice choice = {})
        : choice_(std::move(choice)), outcome_(ombrel_take_arguments(&table, argc, argv, &choice_, &found_)) {
    }

    /// False when the command ends here, with its exit code: help was wanted and given, or a mistake was
    /// told.
    explicit operator bool() const { return outcome_ == 0; }
    int exit_code() const { return found_.m_exit_code; }

    const Choice& operator*() const { return choice_; }
    const Choice* operator->() const { return &choice_; }

    /// The table given, or that of the sub-command that was chosen.
    const ombrel_argument_table_t* table() const { return found_.m_table; }

    int operand_count() const { return found_.m_operand_count; }
    const char* operand(int index) const { return found_.m_operands[index]; }
    /// With a null behind the last.
    char** operands() const { return found_.m_operands; }

private:
    Choice choice_;
    ombrel_arguments_t found_;
    int outcome_;
};

/// The record of a command that reads its arguments by a table.
/// @param exits   its exit codes, where they are not those of most commands
/// @param program its second name
constexpr own_command command_of(const ombrel_argument_table_t& table, ombrel_multicall_main_t main,
                                 const ombrel_argument_exit_t* exits = nullptr,
                                 const char* program = nullptr) {
    return {{table.m_name, main, table.m_operands, table.m_summary, def_ombrel_multicall_own_help},
            &table,
            exits,
            program};
}

} // namespace ombrel::command
