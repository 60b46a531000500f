#include "command/command_input.h"
#include "command/command_table.h"

namespace ombrel::command {

namespace {

int run_help(int argc, char** argv) {
    if (argc == 1) {
        print_multicall_commands();
        return def_ombrel_multicall_exit_good;
    }
    char help_option[] = "--help";
    char* arguments[] = {argv[1], help_option, nullptr};
    const ombrel_multicall_command_t* const command = ombrel_find_multicall_command(argv[1]);
    if (command == nullptr)
        complain("help", argv[1], "no such command");
    return ombrel_execute_multicall_command(command, 2, arguments);
}

} // namespace

constexpr ombrel_multicall_command_t help_command = {"help", run_help, "[COMMAND]",
                                                     "Lists the commands, or says how to use one.", nullptr};

} // namespace ombrel::command
