#include <cstring>

#include "command/command_input.h"
#include "command/command_options.h"
#include "command/program_table.h"

namespace ombrel::command {

namespace {

struct completion_choice {
    const char* program = usual_program;
};

constexpr ombrel_argument_option_t options[] = {{.m_letter = 'p',
                                                 .m_name = "program",
                                                 .m_kind = def_ombrel_argument_text,
                                                 .m_offset = offsetof(completion_choice, program),
                                                 .m_value = "NAME",
                                                 .m_help = "what the program is called (default ombrel_tuk)"},
                                                help_option,
                                                version_option,
                                                {}};

constexpr ombrel_argument_table_t table = {
    .m_name = "completion",
    .m_summary = "Prints a script by which bash completes the arguments of this program.",
    .m_notes = "eval \"$(ombrel_tuk completion)\" completes them in the running shell.",
    .m_options = options};

int run_completion(int argc, char** argv) {
    const command_arguments<completion_choice> arguments(table, argc, argv);
    if (!arguments)
        return arguments.exit_code();
    const char* const program = arguments->program;
    constexpr const char tag[] = "ombrel_multicall_completion";
    whole_program whole(program, tag);
    heap_ptr<char> script;
    if (whole && whole.name_commands(tag))
        script.reset(ombrel_alloc_argument_completion_tag(&whole.table(), tag, __LINE__));
    if (script)
        put_bytes(script.get(), strlen(script.get()));
    else
        complain("completion", program, fault_text(fault_code::no_memory));
    return exit_code(static_cast<bool>(script));
}

} // namespace

constexpr own_command completion_command = command_of(table, run_completion);

} // namespace ombrel::command
