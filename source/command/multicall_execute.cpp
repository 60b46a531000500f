#include <string_view>

#include <ombrel/multicall.h>
#include <ombrel/output.h>

#include "command/command_finish.h"
#include "command/command_options.h"
#include "system/argument/finished_output.h"

using namespace ombrel;

namespace {

using puts_function = unsigned (*)(const char* format, ...);

void print_usage(const ombrel_multicall_command_t& command, puts_function print) {
    const char* const arguments = command.m_arguments != nullptr ? command.m_arguments : "";
    print("usage: %s%s%s\n", command.m_name, *arguments != '\0' ? " " : "", arguments);
    if (command.m_summary != nullptr)
        print("%s\n", command.m_summary);
    if (command.m_help != nullptr)
        print("%s", command.m_help);
}

bool has_own_help(const ombrel_multicall_command_t& command) {
    return command.m_help != nullptr && *command.m_help == '\0';
}

} // namespace

int command::finish(const char* name, int exit_code) {
    if (system::finish_program_output(name) || exit_code != def_ombrel_multicall_exit_good)
        return exit_code;
    return def_ombrel_multicall_exit_failed;
}

int ombrel_execute_multicall_command(const ombrel_multicall_command_t* command, int argc, char** argv) {
    if (command == nullptr)
        return def_ombrel_multicall_exit_unknown;
    char* name_alone[] = {const_cast<char*>(command->m_name), nullptr};
    if (argv == nullptr || argc < 1) {
        argc = 1;
        argv = name_alone;
    }
    const auto* const own = command::find_own_command(command->m_name);
    const char* const name = own != nullptr ? command::name_of_call(*own, argv[0]) : command->m_name;
    if (argc == 2 && std::string_view(argv[1]) == "--help" && !has_own_help(*command)) {
        print_usage(*command, ombrel_printf);
        return command::finish(name, def_ombrel_multicall_exit_good);
    }
    return command::finish(name, command->m_main(argc, argv));
}

int ombrel_refuse_multicall_arguments(const ombrel_multicall_command_t* command) {
    if (command != nullptr)
        print_usage(*command, ombrel_error_printf);
    return def_ombrel_multicall_exit_usage;
}
