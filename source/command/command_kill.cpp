#include <ombrel/fault.h>
#include <ombrel/process.h>
#include <ombrel/process_list.h>

#include "command/command_input.h"
#include "command/command_options.h"
#include "command/command_table.h"

namespace ombrel::command {

namespace {

struct kill_choice {
    int signal_number = def_ombrel_process_terminate;
};

int choose_signal(const ombrel_argument_option_t* /* option */, const char* name, void* context) {
    const int number = ombrel_find_signal_number(name);
    static_cast<kill_choice*>(context)->signal_number = number;
    return number < 0 ? -1 : 0;
}

constexpr ombrel_argument_option_t options[] = {
    {.m_letter = 's',
     .m_name = "signal",
     .m_kind = def_ombrel_argument_call,
     .m_value = "SIGNAL",
     .m_help = "a signal by its name, as HUP or SIGHUP, or its number (default TERM); 0 only looks",
     .m_handler = choose_signal},
    help_option,
    version_option,
    {}};

constexpr ombrel_argument_table_t table = {
    .m_name = "kill",
    .m_operands = "PATTERN",
    .m_least_operands = 1,
    .m_most_operands = 1,
    .m_summary = "Sends a signal to all processes of a name.",
    .m_notes =
        "The pattern stands for a whole name: \"*\" for any text, \"?\" for any character, \"[a-z]\" for "
        "one of a set. A process is known by its name, in full length too, and by the base name of "
        "its program and of its script. Never signalled are this process and those it descends from, "
        "such as the shell it is called in. The exit code is 1 when no process has such a name, or one "
        "could not be signalled.",
    .m_options = options};

struct outcome {
    bool is_any = false, is_good = true;
};

int take_note(const ombrel_process_info_t* info, int fault, void* context) {
    outcome& told = *static_cast<outcome*>(context);
    told.is_any = true;
    if (fault != def_ombrel_fault_none) {
        told.is_good = false;
        ombrel_puts(nullptr);
        ombrel_error_printf("kill: %s (%d): %s\n", info->m_full_name, info->m_id, ombrel_fault_text());
    }
    return 0;
}

int run_kill(int argc, char** argv) {
    const command_arguments<kill_choice> arguments(table, argc, argv);
    if (!arguments)
        return arguments.exit_code();
    const char* const pattern = arguments.operand(0);
    outcome told;
    const int64_t sent = ombrel_signal_processes(pattern, arguments->signal_number, take_note, &told);
    if (sent < 0 && told.is_good)
        complain("kill", pattern, ombrel_fault_text());
    else if (!told.is_any)
        complain("kill", pattern, "no such process");
    return exit_code(sent > 0);
}

} // namespace

constexpr own_command kill_command = command_of(table, run_kill);

} // namespace ombrel::command
