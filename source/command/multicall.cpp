#include <ombrel/multicall.h>

#include <string_view>

#include <ombrel/output.h>

#include "command/called_name.h"
#include "command/command_finish.h"
#include "command/command_table.h"
#include "command/program_table.h"
#include "core/heap_ptr.h"
#include "core/short_lock_guard.h"

using namespace ombrel;

namespace {

struct registration {
    registration* next;
    const ombrel_multicall_command_t* command;
};

ombrel_short_lock_t registry_lock;
registration* registered OMBREL_GUARDED_BY(registry_lock);

// The link that holds the first registration for which `is_wanted`, or the null link at the end.
template<typename Test>
registration** find_registration(Test is_wanted) OMBREL_REQUIRES(registry_lock) {
    OMBREL_INVARIANT(is_held(registry_lock));
    registration** link = &registered;
    while (*link != nullptr && !is_wanted(*(*link)->command))
        link = &(*link)->next;
    return link;
}

const ombrel_multicall_command_t* command_of(const registration* found) {
    return found != nullptr ? found->command : nullptr;
}

const ombrel_multicall_command_t* find(std::string_view name) {
    if (const auto* own = command::find_own_command(name))
        return own;
    const short_lock_guard guard(registry_lock);
    return command_of(*find_registration([&](const auto& command) { return name == command.m_name; }));
}

bool can_be_named(const char* name) {
    return name != nullptr && *name != '\0' &&
           std::string_view(name).find_first_of("/\\") == std::string_view::npos;
}

int print_names() {
    command::print_multicall_names();
    return def_ombrel_multicall_exit_good;
}

int execute_named(const char* program, const ombrel_arguments_t& arguments) {
    if (const auto* command = find(arguments.m_operands[0]))
        return ombrel_execute_multicall_command(command, arguments.m_operand_count, arguments.m_operands);
    ombrel_error_printf("%s: %s: no such command; try \"--help\"\n", program, arguments.m_operands[0]);
    return def_ombrel_multicall_exit_unknown;
}

int execute_general(const char* program, int argc, char** argv) {
    const ombrel_argument_table_t table = command::program_table_of(program, nullptr);
    command::program_choice choice;
    ombrel_arguments_t arguments;
    const int outcome = ombrel_parse_arguments(&table, argc, argv, &choice, &arguments);
    if (outcome == -1)
        return ombrel_refuse_arguments(&table, "%s", arguments.m_message);
    if (choice.is_version != 0)
        return ombrel_execute_multicall_command(&command::version_command, 0, nullptr);
    if (choice.is_list != 0)
        return command::finish(command::usual_program, print_names());
    if (outcome != 0 || arguments.m_operand_count == 0)
        return command::finish(command::usual_program, command::print_program_help());
    return execute_named(program, arguments);
}

} // namespace

int ombrel_register_multicall_command(const ombrel_multicall_command_t* command) {
    if (command == nullptr || command->m_main == nullptr || !can_be_named(command->m_name) ||
        command::find_own_command(command->m_name) != nullptr)
        return -1;
    heap_ptr<registration> made(allocate_record<registration>("ombrel_register_multicall_command", __LINE__));
    if (!made)
        return -1;
    const std::string_view name = command->m_name;
    const short_lock_guard guard(registry_lock);
    registration** const end = find_registration([&](const auto& other) { return name == other.m_name; });
    if (*end != nullptr)
        return -1;
    *made = {nullptr, command};
    *end = made.release();
    return 0;
}

int ombrel_unregister_multicall_command(const ombrel_multicall_command_t* command) {
    heap_ptr<registration> taken;
    const short_lock_guard guard(registry_lock);
    registration** const link = find_registration([&](const auto& other) { return &other == command; });
    if (*link == nullptr)
        return -1;
    taken.reset(*link);
    *link = taken->next;
    return 0;
}

const ombrel_multicall_command_t* ombrel_find_multicall_command(const char* name) {
    return name != nullptr ? find(name) : nullptr;
}

const ombrel_multicall_command_t* ombrel_get_multicall_command(size_t index) {
    const auto own = command::own_multicall_commands();
    if (index < own.size())
        return own[index];
    const short_lock_guard guard(registry_lock);
    size_t left = index - own.size();
    return command_of(*find_registration([&](const auto&) { return left-- == 0; }));
}

int ombrel_execute_multicall(int argc, char** argv) {
    if (argv == nullptr || argc < 1 || argv[0] == nullptr)
        return execute_general(command::usual_program, 0, nullptr);
    const command::terminated_name name(command::called_name(argv[0]));
    if (const auto* command = find(name.get()))
        return ombrel_execute_multicall_command(command, argc, argv);
    return execute_general(name.get(), argc, argv);
}
