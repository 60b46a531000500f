#include <ombrel/daemon.h>

#include <utility>

#include <ombrel/file.h>
#include <ombrel/output.h>

#include "core/heap_ptr.h"
#include "platform/daemon.h"
#include "platform/process.h"
#include "platform/thread.h"
#include "system/process/absolute_path.h"
#include "system/process/owned_descriptor.h"
#include "system/process/process_internal.h"
#include "system/process/start_word.h"

using namespace ombrel;
using namespace ombrel::system;

struct ombrel_daemon_ts {
    int starter; ///< where the word goes; -1 in the foreground
    bool has_spoken;
    ombrel_pid_file_t* pid_file;
};

namespace {

constexpr int failed_exit_code = 1;

owned_descriptor open_raised(const char* path, uint32_t flags) {
    return owned_descriptor(platform::raise_descriptor(ombrel_open_file(path, flags, 0666)));
}

/// The daemon's streams, opened before there is a daemon.
class daemon_streams {
public:
    bool open(const ombrel_daemon_options_t& options, int& failed_part) {
        nothing_ = open_raised("/dev/null", def_ombrel_file_read | def_ombrel_file_write);
        if (!nothing_)
            return false;
        failed_part = def_ombrel_daemon_part_output;
        if (!open_wanted(options.m_output, output_))
            return false;
        failed_part = def_ombrel_daemon_part_error;
        if (!open_wanted(options.m_error, error_))
            return false;
        failed_part = def_ombrel_daemon_part_process;
        return true;
    }

    int input() const { return nothing_.get(); }
    int output() const { return (output_ ? output_ : nothing_).get(); }
    int error() const { return error_ ? error_.get() : output(); }

private:
    static bool open_wanted(const char* path, owned_descriptor& stream) {
        constexpr uint32_t at_end = def_ombrel_file_append | def_ombrel_file_create | def_ombrel_file_no_wait;
        if (path != nullptr)
            stream = open_raised(path, at_end);
        return path == nullptr || stream;
    }

    owned_descriptor nothing_, output_, error_;
};

/// The pipe of the word, above the standard descriptors.
bool open_raised_pipe(owned_pipe& pipe) {
    if (!pipe.open())
        return false;
    for (owned_descriptor* const end : {&pipe.read_end, &pipe.write_end})
        end->reset(platform::raise_descriptor(end->release()));
    return pipe.read_end && pipe.write_end;
}

bool settle(const ombrel_daemon_options_t& options, const daemon_streams& streams) {
    const char* const directory = options.m_directory != nullptr ? options.m_directory : "/";
    return platform::enter_place(
        {directory, options.m_mask, {streams.input(), streams.output(), streams.error()}});
}

/// Ends a process that should have become the daemon.
[[noreturn]] void give_up(int starter, int part) {
    start_word word = make_start_word(start_news::refused, last_fault().number, nullptr);
    word.part = part;
    send_start_word(starter, word);
    platform::end_at_once(failed_exit_code);
}

[[noreturn]] void end_starter(int exit_code, const char* text) {
    if (text[0] != '\0')
        ombrel_error_printf("%s\n", text);
    ombrel_error_puts(nullptr);
    platform::end_at_once(exit_code);
}

/// Ends the process by the daemon's word; false, with its fault, when there is no daemon.
bool obey(const start_word& word, int& failed_part) {
    if (word.news == start_news::ready)
        end_starter(0, "");
    if (word.news == start_news::failed)
        end_starter(word.number, word.text);
    failed_part = word.part;
    leave_fault(platform::fault_of(word.number));
    return false;
}

/// Takes the status of the child that made the daemon. It ends at once, and had all the time until here.
void collect(int process) {
    constexpr int looks = 1000;
    platform::process_end unused;
    for (int i = 0; i < looks && !platform::collect_process(process, unused); i++)
        platform::sleep_milliseconds(1);
}

/// What the starting process does from now on; false, with its fault, when there is no daemon.
bool wait_for_daemon(int group, int word_end, int timeout_ms, int& failed_part) {
    start_word word;
    const word_arrival arrival = receive_start_word(word_end, timeout_ms, word);
    if (arrival == word_arrival::timed_out)
        platform::end_group(group);
    collect(group);
    if (arrival == word_arrival::arrived)
        return obey(word, failed_part);
    end_starter(failed_exit_code, arrival == word_arrival::ended ? "The daemon ended before it was ready."
                                                                 : "The daemon was not ready in time.");
}

/// In the new process: takes its place and its pid file, or tells why not and ends.
void begin_daemon(ombrel_daemon_t& daemon, const ombrel_daemon_options_t& options,
                  const daemon_streams& streams, const char* pid_path, const call_site& caller) {
    // In this order: where standard descriptors were closed, the file would become one and be covered.
    if (!settle(options, streams))
        give_up(daemon.starter, def_ombrel_daemon_part_directory);
    if (pid_path == nullptr)
        return;
    daemon.pid_file = ombrel_open_pid_file_tag(pid_path, caller.tag, caller.line);
    if (daemon.pid_file == nullptr)
        give_up(daemon.starter, def_ombrel_daemon_part_pid_file);
}

/// Goes on in the daemon with true, or in the starting process with false and a fault.
bool go_on_as_daemon(ombrel_daemon_t& daemon, const ombrel_daemon_options_t& options, const char* pid_path,
                     const call_site& caller, int& failed_part) {
    daemon_streams streams;
    owned_pipe word;
    if (!streams.open(options, failed_part) || !open_raised_pipe(word))
        return false;
    ombrel_puts(nullptr);
    ombrel_error_puts(nullptr);
    int group;
    const platform::detached_as self = platform::detach_process(group);
    if (self == platform::detached_as::nobody)
        return false;
    if (self == platform::detached_as::starter) {
        word.write_end.reset();
        return wait_for_daemon(group, word.read_end.get(), options.m_ready_timeout_ms, failed_part);
    }
    if (self == platform::detached_as::orphan)
        give_up(word.write_end.get(), def_ombrel_daemon_part_process);
    daemon.starter = word.write_end.release();
    begin_daemon(daemon, options, streams, pid_path, caller);
    return true;
}

bool are_sound(const ombrel_daemon_options_t& options) {
    return (options.m_flags & ~def_ombrel_daemon_foreground) == 0 &&
           options.m_mask >= def_ombrel_daemon_same_mask && options.m_mask <= 0777;
}

/// In the foreground there is nothing but the pid file.
bool take_pid_file(ombrel_daemon_t& daemon, const char* path, const call_site& caller, int& failed_part) {
    if (path == nullptr)
        return true;
    failed_part = def_ombrel_daemon_part_pid_file;
    daemon.pid_file = ombrel_open_pid_file_tag(path, caller.tag, caller.line);
    return daemon.pid_file != nullptr;
}

/// @param failed_part receives what it failed at, if not at the whole
bool become(ombrel_daemon_t& daemon, const ombrel_daemon_options_t& options, const call_site& caller,
            int& failed_part) {
    const char* const pid_file = options.m_pid_file;
    if ((options.m_flags & def_ombrel_daemon_foreground) != 0)
        return take_pid_file(daemon, pid_file, caller, failed_part);
    if (!platform::can_detach())
        return fail_by(fault_code::not_supported, false);
    const heap_ptr<char> pid_path = pid_file != nullptr ? absolute_path(pid_file, caller) : heap_ptr<char>();
    if (pid_file != nullptr && !pid_path) {
        failed_part = def_ombrel_daemon_part_pid_file;
        return false;
    }
    return go_on_as_daemon(daemon, options, pid_path.get(), caller, failed_part);
}

/// Gives the word, once.
int speak(ombrel_daemon_t* daemon, const start_word& word) {
    if (daemon == nullptr || daemon->has_spoken)
        return fail_by(fault_code::invalid);
    daemon->has_spoken = true;
    const owned_descriptor starter(std::exchange(daemon->starter, -1));
    return !starter || send_start_word(starter.get(), word) ? 0 : -1;
}

} // namespace

int ombrel_init_daemon_options(ombrel_daemon_options_t* options) {
    constexpr int usual_mask = 022;
    constexpr int usual_timeout_ms = 60'000;
    if (options == nullptr)
        return fail_by(fault_code::invalid);
    *options = {};
    options->m_mask = usual_mask;
    options->m_ready_timeout_ms = usual_timeout_ms;
    return 0;
}

ombrel_daemon_t* ombrel_open_daemon_tag(const ombrel_daemon_options_t* options, const char* function,
                                        unsigned long line) {
    ombrel_daemon_options_t usual;
    ombrel_init_daemon_options(&usual);
    const ombrel_daemon_options_t& wanted = options != nullptr ? *options : usual;
    if (!are_sound(wanted))
        return fail_by<ombrel_daemon_t*>(fault_code::invalid, nullptr);
    heap_ptr<ombrel_daemon_t> daemon(allocate_record<ombrel_daemon_t>(function, line));
    if (!daemon)
        return fail_by<ombrel_daemon_t*>(fault_code::no_memory, nullptr);
    *daemon = {-1, false, nullptr};
    int failed_part = def_ombrel_daemon_part_process;
    if (become(*daemon, wanted, {function, line}, failed_part))
        return daemon.release();
    const fault_keeper kept;
    daemon.reset();
    if (wanted.m_failed_part != nullptr)
        *wanted.m_failed_part = failed_part;
    return nullptr;
}

int ombrel_daemon_ready(ombrel_daemon_t* daemon) {
    return speak(daemon, make_start_word(start_news::ready, 0, nullptr));
}

int ombrel_daemon_fail(ombrel_daemon_t* daemon, int exit_code, const char* text) {
    if (exit_code < 1 || exit_code > 255)
        return fail_by(fault_code::invalid);
    const bool is_in_foreground = daemon != nullptr && daemon->starter < 0 && !daemon->has_spoken;
    if (is_in_foreground && text != nullptr)
        ombrel_error_printf("%s\n", text);
    return speak(daemon, make_start_word(start_news::failed, exit_code, text));
}

int ombrel_close_daemon(ombrel_daemon_t* daemon) {
    if (daemon == nullptr)
        return 0;
    const heap_ptr<ombrel_daemon_t> object(daemon);
    const owned_descriptor starter(daemon->starter);
    return ombrel_close_pid_file(daemon->pid_file);
}
