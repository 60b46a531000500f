// Keeps a command running, in the foreground or as a daemon.
#include <algorithm>
#include <climits>
#include <iterator>

#include <ombrel/daemon.h>
#include <ombrel/event.h>
#include <ombrel/event_base.h>
#include <ombrel/fault.h>
#include <ombrel/launcher.h>
#include <ombrel/printf.h>
#include <ombrel/process.h>

#include "command/closed_pipe.h"
#include "command/command_input.h"
#include "command/command_options.h"
#include "command/command_table.h"

namespace ombrel::command {

namespace {

struct launch_choice {
    ombrel_launcher_options_t launcher;
    const char* pid_file = nullptr;
    int restarts = -1; ///< negative: any number
    int goes_to_background = 0, is_quiet = 0, wants_stop = 0, wants_status = 0;

    launch_choice() { ombrel_init_launcher_options(&launcher); }
};

constexpr ombrel_argument_option_t time_option(char letter, const char* name, size_t offset, int64_t least,
                                               const char* help) {
    return {.m_letter = letter,
            .m_name = name,
            .m_kind = def_ombrel_argument_time_limit,
            .m_offset = offset,
            .m_value = "TIME",
            .m_help = help,
            .m_least = least,
            .m_most = INT_MAX};
}

constexpr ombrel_argument_option_t number_option(char letter, const char* name, size_t offset, int64_t least,
                                                 int64_t most, const char* help) {
    return {.m_letter = letter,
            .m_name = name,
            .m_kind = def_ombrel_argument_integer,
            .m_offset = offset,
            .m_value = "COUNT",
            .m_help = help,
            .m_least = least,
            .m_most = most};
}

constexpr ombrel_argument_option_t flag_option(char letter, const char* name, size_t offset,
                                               const char* help) {
    return {.m_letter = letter,
            .m_name = name,
            .m_kind = def_ombrel_argument_flag,
            .m_offset = offset,
            .m_help = help};
}

constexpr ombrel_argument_option_t text_option(char letter, const char* name, size_t offset,
                                               const char* value, const char* help) {
    return {.m_letter = letter,
            .m_name = name,
            .m_kind = def_ombrel_argument_text,
            .m_offset = offset,
            .m_value = value,
            .m_help = help};
}

constexpr ombrel_argument_option_t heading(const char* text) {
    return {.m_kind = def_ombrel_argument_heading, .m_help = text};
}

#define OMBREL_OFFSET(field) offsetof(launch_choice, field)

constexpr ombrel_argument_option_t options[] = {
    heading("Restarts:"),
    number_option('r', "restarts", OMBREL_OFFSET(restarts), 0, 1000,
                  "start it again so often within the period and then give up (default: any number)"),
    time_option('w', "within", OMBREL_OFFSET(launcher.m_restart_period_ms), 1, "the period (default 1m)"),
    {.m_letter = 'a',
     .m_name = "after",
     .m_kind = def_ombrel_argument_choice,
     .m_offset = OMBREL_OFFSET(launcher.m_restart),
     .m_value = "END",
     .m_help = "restart after any end, after a failure, or never (default any)",
     .m_choices = "any|failure|never"},
    time_option('f', "first-pause", OMBREL_OFFSET(launcher.m_first_pause_ms), 1,
                "the pause before the first restart (default 200ms)"),
    number_option(0, "pause-factor", OMBREL_OFFSET(launcher.m_pause_factor), 1, INT_MAX,
                  "how much longer each pause is than the one before (default 2)"),
    time_option('l', "longest-pause", OMBREL_OFFSET(launcher.m_longest_pause_ms), 1,
                "what pauses grow to (default 30s)"),
    time_option(0, "well", OMBREL_OFFSET(launcher.m_well_ms), 0,
                "after so long a run the pauses begin anew (default 10s)"),
    heading("The command:"),
    text_option('d', "directory", OMBREL_OFFSET(launcher.m_directory), "DIRECTORY", "where it runs"),
    time_option('g', "grace", OMBREL_OFFSET(launcher.m_grace_ms), 0,
                "how long it may take to end before it is ended by force (default 5s)"),
    text_option('o', "output", OMBREL_OFFSET(launcher.m_log_path), "FILE",
                "keep what it prints in a file, at whose end it goes on"),
    {.m_letter = 's',
     .m_name = "size",
     .m_kind = def_ombrel_argument_size,
     .m_offset = OMBREL_OFFSET(launcher.m_log_size),
     .m_value = "SIZE",
     .m_help = "begin the file anew beyond so many bytes (default 1M; 0: never)"},
    number_option('n', "files", OMBREL_OFFSET(launcher.m_log_count), 0, 99,
                  "how many earlier files are kept, as FILE.1 and so on (default 4)"),
    heading("This program:"),
    flag_option('b', "background", OMBREL_OFFSET(goes_to_background),
                "go on as a daemon once the command runs"),
    text_option('p', "pid-file", OMBREL_OFFSET(pid_file), "FILE",
                "hold a pid file, so that nobody else launches with it"),
    flag_option('q', "quiet", OMBREL_OFFSET(is_quiet), "say nothing of starts and ends"),
    flag_option(0, "stop", OMBREL_OFFSET(wants_stop),
                "ask the owner of the pid file to end and wait until it has"),
    flag_option(0, "status", OMBREL_OFFSET(wants_status), "tell whether the pid file has an owner"),
    help_option,
    version_option,
    {}};

#undef OMBREL_OFFSET

constexpr ombrel_argument_table_t table = {
    .m_name = "launch",
    .m_usage = "[OPTION...] [--] COMMAND [ARGUMENT...]",
    .m_operands = "COMMAND [ARGUMENT...]",
    .m_summary = "Keeps a command running.",
    .m_notes =
        "TERM, INT and HUP end it and the command, with the exit code 0. Otherwise its exit code is that "
        "of the command's last run (128 and the signal's number if one ended it; 1 instead of 0 when it "
        "gave up), 126 or 127 when the command cannot be run or is not there. --stop and --status give 3 "
        "when nobody owns the pid file.",
    .m_options = options,
    .m_flags = def_ombrel_argument_stop_at_operand};

constexpr ombrel_argument_exit_t exits[] = {
    {"0", "A signal ended this program, or all is well."},
    {"1", "Something could not be done, or the command was started as often as it may be."},
    {"2", "The arguments make no sense."},
    {"3", "Nobody owns the pid file."},
    {"126", "The command cannot be run."},
    {"127", "The command is not there."},
    {"128+SIGNAL", "A signal of this number ended the command's last run."},
    {"CODE", "Any other is that of the command's last run."},
    {}};

constexpr int exit_code_not_runnable = 126, exit_code_not_there = 127, exit_code_nobody = 3;
constexpr int exit_code_of_signal = 128;

/// What the events of a launcher and of signals concern.
struct launch_watch {
    ombrel_event_base_t* base;
    bool is_quiet;
    ombrel_launcher_t* launcher;
};

void print_end(const ombrel_launcher_state_t& state) {
    if (state.m_end.m_signal != 0)
        ombrel_error_printf("launch: process ended by signal %d\n", state.m_end.m_signal);
    else
        ombrel_error_printf("launch: process ended with exit code %d\n", state.m_end.m_exit_code);
}

void print_event(int event, const ombrel_launcher_state_t& state) {
    switch (event) {
    case def_ombrel_launcher_event_started:
        ombrel_error_printf("launch: process %d started\n", state.m_process);
        break;
    case def_ombrel_launcher_event_ended:
        print_end(state);
        break;
    case def_ombrel_launcher_event_start_failed:
        ombrel_error_printf("launch: start failed: %s\n", ombrel_fault_name(state.m_fault));
        break;
    case def_ombrel_launcher_event_log_failed:
        ombrel_error_printf("launch: output is lost: %s\n", ombrel_fault_name(state.m_fault));
        break;
    default:
        break;
    }
}

// On the launcher's thread.
int watch_launcher(ombrel_launcher_t*, int event, const ombrel_launcher_state_t* state, void* context) {
    const auto& watch = *static_cast<const launch_watch*>(context);
    if (!watch.is_quiet)
        print_event(event, *state);
    if (event == def_ombrel_launcher_event_over)
        ombrel_event_base_exit_loop(watch.base, 0);
    return 0;
}

void stop_by_signal(ombrel_event_t*, int, uint32_t result_flags, void* context) {
    if ((result_flags & def_ombrel_event_signal) != 0)
        ombrel_launcher_stop(static_cast<const launch_watch*>(context)->launcher);
}

/// Signals that stop the launcher, from a loop, while this lives.
class stopping_signals {
public:
    explicit stopping_signals(launch_watch& watch) {
        const int numbers[] = {def_ombrel_process_terminate, def_ombrel_process_interrupt,
                               ombrel_find_signal_number("HUP")};
        for (size_t i = 0; i < std::size(events_); i++)
            if (numbers[i] > 0 && // not every host has the last
                ombrel_assign_event(watch.base, &events_[i], numbers[i], flags, stop_by_signal, &watch) == 0)
                ombrel_add_event(&events_[i], -1);
    }
    ~stopping_signals() {
        for (ombrel_event_t& event : events_)
            if (event.m_base != nullptr)
                ombrel_unassign_event(&event);
    }
    stopping_signals(const stopping_signals&) = delete;
    stopping_signals& operator=(const stopping_signals&) = delete;

private:
    static constexpr uint32_t flags = def_ombrel_event_signal | def_ombrel_event_persist;

    ombrel_event_t events_[3] = {};
};

int exit_code_of(ombrel_launcher_t* launcher) {
    ombrel_launcher_state_t state;
    ombrel_launcher_get_state(launcher, &state);
    if (state.m_reason == def_ombrel_launcher_stopped)
        return def_ombrel_multicall_exit_good;
    const int code = state.m_end.m_signal != 0 ? exit_code_of_signal + state.m_end.m_signal
                                               : state.m_end.m_exit_code & 0xFF;
    if (state.m_reason != def_ombrel_launcher_gave_up)
        return code;
    ombrel_error_printf("launch: %s\n", ombrel_launcher_reason_text(state.m_reason));
    return code != def_ombrel_multicall_exit_good ? code : def_ombrel_multicall_exit_failed;
}

/// Tells that something failed where people are looking, which for a daemon is the process that started it.
int fail(ombrel_daemon_t* daemon, const char* what, int exit_code) {
    char text[400];
    ombrel_snprintf(text, sizeof text, "launch: %s: %s", what, ombrel_fault_text());
    ombrel_daemon_fail(daemon, exit_code, text);
    return exit_code;
}

int fail_to_start(ombrel_daemon_t* daemon, const launch_choice& choice, const char* command, int part) {
    if (part == def_ombrel_launcher_part_directory)
        return fail(daemon, choice.launcher.m_directory, def_ombrel_multicall_exit_failed);
    if (part == def_ombrel_launcher_part_log)
        return fail(daemon, choice.launcher.m_log_path, def_ombrel_multicall_exit_failed);
    const bool is_missing = ombrel_last_fault() == def_ombrel_fault_not_found;
    return fail(daemon, command, is_missing ? exit_code_not_there : exit_code_not_runnable);
}

/// Launches the command and stays until it runs no more.
int supervise(ombrel_daemon_t* daemon, ombrel_event_base_t* base, const launch_choice& choice,
              char** command) {
    launch_watch watch{base, choice.is_quiet != 0, nullptr};
    const stopping_signals signals(watch); // before there is a command that they would leave behind
    ombrel_launcher_options_t wanted = choice.launcher;
    wanted.m_restart_limit = static_cast<uint32_t>(std::max(choice.restarts, 0));
    if (choice.restarts == 0)
        wanted.m_restart = def_ombrel_launcher_restart_never;
    int failed_part;
    wanted.m_failed_part = &failed_part;
    wanted.m_handler = watch_launcher;
    wanted.m_context = &watch;
    watch.launcher = ombrel_open_launcher(command, &wanted);
    if (watch.launcher == nullptr)
        return fail_to_start(daemon, choice, command[0], failed_part);
    ombrel_daemon_ready(daemon);
    constexpr int moment_ms = 100;
    while (ombrel_event_base_loop(base, 0) != 0 && ombrel_launcher_wait(watch.launcher, moment_ms) == 0)
        continue;
    const int code = exit_code_of(watch.launcher);
    ombrel_close_launcher(watch.launcher);
    return code;
}

int launch(const launch_choice& choice, char** command) {
    const outlives_readers outlives;
    ombrel_daemon_options_t background;
    ombrel_init_daemon_options(&background);
    background.m_flags = choice.goes_to_background != 0 ? 0 : def_ombrel_daemon_foreground;
    background.m_directory = ".";
    background.m_mask = def_ombrel_daemon_same_mask;
    background.m_pid_file = choice.pid_file;
    int failed_part;
    background.m_failed_part = &failed_part;
    ombrel_daemon_t* const daemon = ombrel_open_daemon(&background);
    if (daemon == nullptr) {
        const bool is_owned = ombrel_last_fault() == def_ombrel_fault_busy;
        complain("launch", failed_part == def_ombrel_daemon_part_pid_file ? choice.pid_file : "background",
                 is_owned ? "another process owns it" : ombrel_fault_text());
        return def_ombrel_multicall_exit_failed;
    }
    ombrel_event_base_t* const base = ombrel_new_event_base();
    const int code = base != nullptr ? supervise(daemon, base, choice, command)
                                     : fail(daemon, command[0], def_ombrel_multicall_exit_failed);
    ombrel_free_event_base(base);
    ombrel_close_daemon(daemon);
    return code;
}

int report_failure(const char* pid_file) {
    const bool has_nobody = ombrel_last_fault() == def_ombrel_fault_no_process;
    complain("launch", pid_file, has_nobody ? "nobody owns it" : ombrel_fault_text());
    return has_nobody ? exit_code_nobody : def_ombrel_multicall_exit_failed;
}

int stop_owner(const char* pid_file) {
    return ombrel_stop_pid_file_owner(pid_file, -1) == 1 ? def_ombrel_multicall_exit_good
                                                         : report_failure(pid_file);
}

int print_status(const char* pid_file) {
    int process;
    const int lives = ombrel_read_pid_file(pid_file, &process);
    if (lives < 0)
        return report_failure(pid_file);
    if (lives != 0)
        ombrel_printf("%d\n", process);
    return lives != 0 ? def_ombrel_multicall_exit_good : exit_code_nobody;
}

int run_launch(int argc, char** argv) {
    const command_arguments<launch_choice> arguments(table, argc, argv);
    if (!arguments)
        return arguments.exit_code();
    const bool asks = arguments->wants_stop != 0 || arguments->wants_status != 0;
    if (asks && arguments->pid_file == nullptr)
        return ombrel_refuse_arguments(&table, "--stop and --status need a pid file");
    if (asks && arguments.operand_count() != 0)
        return ombrel_refuse_arguments(&table, "--stop and --status take no command");
    if (asks)
        return (arguments->wants_stop != 0 ? stop_owner : print_status)(arguments->pid_file);
    if (arguments.operand_count() == 0)
        return ombrel_refuse_arguments(&table, "a command is missing");
    return launch(*arguments, arguments.operands());
}

} // namespace

constexpr own_command launch_command = command_of(table, run_launch, exits);

} // namespace ombrel::command
