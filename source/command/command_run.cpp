#include <climits>
#include <cstddef>
#include <iterator>

#include <ombrel/event_base.h>
#include <ombrel/event_process.h>
#include <ombrel/fault.h>
#include <ombrel/process.h>
#include <ombrel/short_lock.h>

#include "command/closed_pipe.h"
#include "command/command_input.h"
#include "command/command_options.h"
#include "command/command_table.h"
#include "platform/signal.h"
#include "platform/terminal.h"

namespace ombrel::command {

namespace {

// Codes that tools which run others share.
constexpr int time_ran_out = 124, own_failure = 125, not_executable = 126, not_there = 127;
constexpr int ended_by_signal = 128; ///< with the signal's number added

/// Between the request to end and the end by force.
constexpr int grace_ms = 1000;
/// Where the host has no events of processes.
constexpr int look_again_ms = 20;

struct run_choice {
    int64_t limit_ns = 0;
    int64_t bytes = -1;
};

constexpr ombrel_argument_option_t options[] = {
    {.m_letter = 't',
     .m_name = "time",
     .m_kind = def_ombrel_argument_duration,
     .m_offset = offsetof(run_choice, limit_ns),
     .m_value = "SECONDS",
     .m_help = "ends it after so many seconds, also parts of one (\"0.5\") or other units (\"2m\"); 0 for no "
               "limit"},
    {.m_letter = 'm',
     .m_name = "most",
     .m_kind = def_ombrel_argument_size,
     .m_offset = offsetof(run_choice, bytes),
     .m_value = "BYTES",
     .m_help =
         "passes on so many bytes of its output and its errors together, and ends it when it prints more"},
    help_option,
    version_option,
    {}};

constexpr ombrel_argument_table_t table = {
    .m_name = "run",
    .m_operands = "COMMAND [ARGUMENT...]",
    .m_least_operands = 1,
    .m_summary = "Runs a command with limits.",
    .m_notes =
        "The command has the standard streams of this one and inherits nothing else. With a limit, or "
        "when standard input is no terminal, it has a group of its own, which is in the background of "
        "a terminal. TERM, INT, HUP and QUIT are handed on to it. When a limit is reached all of the group "
        "is asked to end (TERM), and a second later ended. The exit code is the command's; 128 and the "
        "number of the signal that ended it; 124 when the time ran out; 125 when it printed too much "
        "or this one failed; 126 when the command cannot be run; 127 when it is not there.",
    .m_options = options,
    .m_flags = def_ombrel_argument_stop_at_operand};

constexpr ombrel_argument_exit_t exits[] = {
    {"124", "The time ran out."},
    {"125", "The command printed too much, the arguments make no sense, or this one failed."},
    {"126", "The command cannot be run."},
    {"127", "The command is not there."},
    {"128+SIGNAL", "A signal of this number ended the command."},
    {"CODE", "Any other is that of the command."},
    {}};

/// An event that leaves its loop at the end of the scope.
class own_event {
public:
    own_event() = default;
    ~own_event() { leave(); }
    own_event(const own_event&) = delete;
    own_event& operator=(const own_event&) = delete;

    bool assign(ombrel_event_base_t* base, int fd, uint32_t flags, ombrel_event_handler_t handler,
                void* context) {
        is_assigned_ = ombrel_assign_event(base, &event_, fd, flags, handler, context) == 0;
        return is_assigned_;
    }
    bool add(int timeout_ms) { return ombrel_add_event(&event_, timeout_ms) == 0; }
    void leave() {
        if (is_assigned_)
            ombrel_unassign_event(&event_);
        is_assigned_ = false;
    }
    ombrel_event_t* get() { return &event_; }

private:
    ombrel_event_t event_;
    bool is_assigned_ = false;
};

/// A command that runs, and what goes on meanwhile.
class command_run {
public:
    explicit command_run(const run_choice& choice)
        : bytes_left_(choice.bytes), limit_ns_(choice.limit_ns), base_(ombrel_new_event_base()) {}
    ~command_run() {
        leave_events();
        ombrel_close_process(process_);
        if (base_ != nullptr)
            ombrel_free_event_base(base_);
    }
    command_run(const command_run&) = delete;
    command_run& operator=(const command_run&) = delete;

    /// The exit code. Signals are caught before the command is there that gets them.
    int run(char** arguments) {
        if (base_ == nullptr || !catch_signals())
            return fail(arguments[0]);
        if (!start(arguments))
            return refuse_start(arguments[0]);
        if (!watch())
            return fail(arguments[0]);
        while (!is_over())
            if (ombrel_event_base_loop(base_, def_ombrel_event_loop_once) != 0)
                ombrel_load_balance(); // a signal that is none of these
        leave_events();
        if (failure_ == nullptr && !is_late_)
            return code_of_end();
        ombrel_process_stop(process_, grace_ms);
        if (is_unread_)
            return end_unread();
        if (failure_ != nullptr && !is_unwritten_) // which is told at the end
            complain("run", arguments[0], failure_);
        return failure_ != nullptr ? own_failure : time_ran_out;
    }

private:
    static constexpr const char* handed_on[] = {"TERM", "INT", "HUP", "QUIT"};
    static constexpr size_t always_handed_on = 2;

    bool is_over() const { return failure_ != nullptr || is_late_ || (has_ended_ && open_outputs_ == 0); }

    int fail(const char* name) {
        complain("run", name, ombrel_fault_text());
        ombrel_process_stop(process_, grace_ms);
        return own_failure;
    }

    /// An assignment calls the handler too.
    template<void (command_run::*Work)(int)>
    static void call(ombrel_event_t*, int fd, uint32_t result_flags, void* context) {
        if ((result_flags & def_ombrel_event_assigned) == 0)
            (static_cast<command_run*>(context)->*Work)(fd);
    }

    /// A hang-up that whoever started this one ignores is none of the command's business.
    bool catch_signals() {
        constexpr uint32_t flags = def_ombrel_event_signal | def_ombrel_event_persist;
        for (size_t i = 0; i < std::size(handed_on); i++) {
            const int number = ombrel_find_signal_number(handed_on[i]);
            if (number < 0 || (i >= always_handed_on && platform::is_signal_ignored(number)))
                continue;
            if (!signals_[i].assign(base_, number, flags, call<&command_run::hand_on>, this) ||
                !signals_[i].add(-1))
                return false;
        }
        return true;
    }

    void hand_on(int number) { ombrel_process_signal(process_, number); }

    /// A group of its own would be in the background of a terminal. Without limits none is needed.
    bool shares_terminal() const {
        return limit_ns_ == 0 && bytes_left_ < 0 && platform::is_terminal(def_ombrel_process_input);
    }

    bool start(char** arguments) {
        ombrel_process_options_t how;
        ombrel_init_process_options(&how);
        how.m_flags = shares_terminal() ? 0 : def_ombrel_process_own_group;
        if (bytes_left_ >= 0)
            how.m_output.m_kind = how.m_error.m_kind = def_ombrel_process_pipe;
        process_ = ombrel_open_process_tag(arguments, &how, "ombrel_multicall_run", __LINE__);
        return process_ != nullptr;
    }

    static int refuse_start(const char* name) {
        const int why = ombrel_last_fault();
        complain("run", name, ombrel_fault_text());
        if (why == def_ombrel_fault_no_memory || why == def_ombrel_fault_no_descriptor ||
            why == def_ombrel_fault_would_block)
            return own_failure;
        return why == def_ombrel_fault_not_found ? not_there : not_executable;
    }

    bool watch() { return watch_end() && watch_time() && watch_output(0) && watch_output(1); }

    bool watch_end() {
        if (!end_.assign(base_, -1, 0, call<&command_run::note_end>, this))
            return false;
        const int result = ombrel_event_set_process(end_.get(), ombrel_process_get_id(process_));
        looks_ = result == def_ombrel_event_not_supported;
        return (result == 0 || looks_) && end_.add(looks_ ? look_again_ms : -1);
    }

    void note_end(int) {
        if (looks_) {
            has_ended_ = ombrel_process_wait(process_, 0, &how_) == 1;
            if (!has_ended_)
                end_.add(look_again_ms);
            return;
        }
        has_ended_ = true;
        how_ = {end_.get()->m_exit_code, end_.get()->m_exit_signal};
    }

    bool watch_time() {
        constexpr int64_t ns_per_ms = 1'000'000;
        const int64_t limit_ms = (limit_ns_ + ns_per_ms - 1) / ns_per_ms;
        if (limit_ms == 0 || limit_ms > INT_MAX)
            return true;
        return time_.assign(base_, -1, 0, call<&command_run::note_time>, this) &&
               time_.add(static_cast<int>(limit_ms));
    }

    void note_time(int) { is_late_ = true; }

    bool watch_output(int which) {
        if (bytes_left_ < 0)
            return true;
        const int descriptor = ombrel_process_get_descriptor(process_, def_ombrel_process_output + which);
        open_outputs_++;
        return outputs_[which].assign(base_, descriptor, def_ombrel_event_read | def_ombrel_event_persist,
                                      call<&command_run::pass_on>, this) &&
               outputs_[which].add(-1);
    }

    void pass_on(int descriptor) {
        const int output = ombrel_process_get_descriptor(process_, def_ombrel_process_output);
        const int which = descriptor == output ? 0 : 1, stream = def_ombrel_process_output + which;
        const int64_t size = ombrel_process_read(process_, stream, buffer_, sizeof buffer_, 0);
        if (size == def_ombrel_process_timeout)
            return;
        if (size <= 0) {
            outputs_[which].leave();
            ombrel_process_close_stream(process_, stream);
            open_outputs_--;
            return;
        }
        FILE* const target = which == 0 ? stdout : stderr;
        const int64_t part = size < bytes_left_ ? size : bytes_left_;
        const auto wanted = static_cast<size_t>(part);
        bytes_left_ -= part;
        if (fwrite(buffer_, 1, wanted, target) != wanted || fflush(target) != 0)
            fail_to_pass_on();
        else if (part < size)
            failure_ = "it prints more than it may";
    }

    void fail_to_pass_on() {
        is_unread_ = ombrel_last_fault() == def_ombrel_fault_closed;
        is_unwritten_ = true;
        failure_ = ombrel_fault_text();
        system::note_failed_output();
    }

    /// Nobody is told, as nobody asks any more.
    int end_unread() {
        outlives_.end_program();
        return own_failure;
    }

    int code_of_end() const {
        if (how_.m_signal != 0)
            return ended_by_signal + how_.m_signal;
        return how_.m_exit_code >= 0 ? how_.m_exit_code : own_failure;
    }

    void leave_events() {
        for (own_event* const one : {&end_, &time_, &outputs_[0], &outputs_[1]})
            one->leave();
        for (own_event& one : signals_)
            one.leave();
    }

    int64_t bytes_left_; ///< of what may be passed on; negative where the command prints by itself
    int64_t limit_ns_;
    ombrel_event_base_t* base_;
    ombrel_process_t* process_ = nullptr;
    own_event end_, time_, outputs_[2], signals_[std::size(handed_on)];
    outlives_readers outlives_;
    bool looks_ = false, has_ended_ = false, is_late_ = false, is_unread_ = false, is_unwritten_ = false;
    int open_outputs_ = 0;
    const char* failure_ = nullptr;
    ombrel_process_end_t how_{-1, 0};
    char buffer_[16384];
};

int run_run(int argc, char** argv) {
    const command_arguments<run_choice> arguments(table, argc, argv);
    if (!arguments)
        return arguments.exit_code() != 0 ? own_failure : 0;
    return command_run(*arguments).run(arguments.operands());
}

} // namespace

constexpr own_command run_command = command_of(table, run_run, exits);

} // namespace ombrel::command
