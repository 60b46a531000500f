#include "command/program_table.h"

#include "command/command_input.h"
#include "command/command_table.h"
#include "core/growing_text.h"

namespace ombrel::command {

namespace {

constexpr ombrel_argument_option_t options[] = {{.m_name = "list",
                                                 .m_kind = def_ombrel_argument_flag,
                                                 .m_offset = offsetof(program_choice, is_list),
                                                 .m_help = "print the names of the commands"},
                                                {.m_letter = 'h',
                                                 .m_name = "help",
                                                 .m_kind = def_ombrel_argument_help,
                                                 .m_help = "list the commands with what they do"},
                                                {.m_name = "version",
                                                 .m_kind = def_ombrel_argument_flag,
                                                 .m_offset = offsetof(program_choice, is_version),
                                                 .m_help = "print what this is and how it was built"},
                                                {}};

size_t count_commands() {
    size_t count = 0;
    while (ombrel_get_multicall_command(count) != nullptr)
        count++;
    return count;
}

} // namespace

ombrel_argument_table_t program_table_of(const char* name, const ombrel_argument_table_t* const* commands) {
    return {.m_name = name,
            .m_usage = "[--list] [--version] COMMAND [ARGUMENT...]",
            .m_operands = "COMMAND [ARGUMENT...]",
            .m_summary = "Runs small commands for files, processes, the host and the network.",
            .m_notes = "The first argument names the command, which takes the others. A link to the program "
                       "that has the name of a command is that command. \"COMMAND --help\" says more of one. "
                       "Files may be \"-\" for standard "
                       "input, and options end at \"--\".",
            .m_options = options,
            .m_commands = commands,
            .m_flags = def_ombrel_argument_stop_at_operand};
}

ombrel_argument_table_t table_of(const ombrel_multicall_command_t& command) {
    if (const own_command* const own = find_own_command(command.m_name))
        return *own->table;
    const bool has_help = command.m_help != nullptr && command.m_help[0] != '\0';
    return {.m_name = command.m_name,
            .m_operands = command.m_arguments,
            .m_summary = command.m_summary,
            .m_notes = has_help ? command.m_help : nullptr};
}

int print_program_help() {
    const whole_program whole(usual_program, "ombrel_multicall_help");
    if (whole && ombrel_print_argument_help(&whole.table()) == 0)
        return def_ombrel_multicall_exit_good;
    complain(usual_program, "--help", fault_text(fault_code::no_memory));
    return def_ombrel_multicall_exit_failed;
}

whole_program::whole_program(const char* name, const char* function) {
    const size_t count = count_commands();
    tables_.reset(static_cast<ombrel_argument_table_t*>(
        ombrel_calloc_tag(count + 1, sizeof(ombrel_argument_table_t), function, __LINE__)));
    pointers_.reset(static_cast<const ombrel_argument_table_t**>(
        ombrel_calloc_tag(count + 1, sizeof(const ombrel_argument_table_t*), function, __LINE__)));
    table_ = program_table_of(name, pointers_.get());
    for (size_t i = 0; *this && i < count; i++)
        if (const auto* const command = ombrel_get_multicall_command(i)) {
            tables_.get()[i] = table_of(*command);
            pointers_.get()[i] = &tables_.get()[i];
        }
}

bool whole_program::name_commands(const char* function) {
    growing_text names;
    for (const ombrel_argument_table_t* const* at = pointers_.get(); *at != nullptr; at++)
        if ((names.size() > 0 && !names.append("|", {function, __LINE__})) ||
            !names.append((*at)->m_name, {function, __LINE__}))
            return false;
    names_.reset(names.release());
    for (ombrel_argument_table_t* at = tables_.get(); at->m_name != nullptr; at++)
        if (const own_command* const own = find_own_command(at->m_name);
            own != nullptr && own->exits == naming_exits)
            at->m_operands = names_.get();
    return true;
}

} // namespace ombrel::command
