#include "command/command_input.h"
#include "command/command_options.h"
#include "command/program_table.h"

namespace ombrel::command {

namespace {

constexpr ombrel_argument_table_t table = {.m_name = "help",
                                           .m_operands = "[COMMAND]",
                                           .m_most_operands = 1,
                                           .m_summary = "Lists the commands, or says how to use one.",
                                           .m_options = usual_options};

int explain(char* name) {
    char help_option[] = "--help";
    char* arguments[] = {name, help_option, nullptr};
    const ombrel_multicall_command_t* const command = ombrel_find_multicall_command(name);
    if (command == nullptr)
        complain("help", name, "no such command");
    return ombrel_execute_multicall_command(command, 2, arguments);
}

int run_help(int argc, char** argv) {
    const command_arguments arguments(table, argc, argv);
    if (!arguments)
        return arguments.exit_code();
    if (arguments.operand_count() > 0)
        return explain(arguments.operands()[0]);
    return print_program_help();
}

} // namespace

constexpr own_command help_command = command_of(table, run_help, naming_exits);

} // namespace ombrel::command
