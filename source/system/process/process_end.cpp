// Waiting for processes, signals to them.
#include <ombrel/process.h>

#include <algorithm>
#include <string_view>

#include "core/short_lock_guard.h"
#include "platform/poll.h"
#include "platform/signal.h"
#include "platform/thread.h"
#include "system/process/process_internal.h"
#include "text/fold.h"
#include "text/number.h"
#include "text/slice.h"

namespace ombrel::system {

namespace {

/// Only the system itself can delay the end of what was ended by force.
constexpr int forced_ms = 10000;

/// Pauses that grow.
class growing_pause {
public:
    void at_most(int milliseconds) {
        constexpr int longest = 32;
        platform::sleep_milliseconds(static_cast<uint32_t>(shorter_wait(milliseconds, pause_)));
        pause_ = std::min(pause_ * 2, longest);
    }

private:
    int pause_ = 1;
};

/// Sleeps until the process has ended or, where the host has no descriptors of processes, for pauses. May end
/// early.
void sleep_until_end(const ombrel_process_t& process, growing_pause& pause, int milliseconds) {
    platform::poll_request end{process.m_watch, platform::readiness::read, false};
    if (process.m_watch < 0 || platform::poll_descriptors(&end, 1, milliseconds) < 0)
        pause.at_most(milliseconds);
}

/// Whether it and its group have ended before the limit has passed.
bool wait_for_all(ombrel_process_t& process, const deadline& limit) {
    if (!wait_for_end(process, limit))
        return false;
    growing_pause pause;
    while (process.m_leads_group && platform::group_runs(process.m_id)) {
        const int left = limit.left();
        if (left == 0)
            return false;
        pause.at_most(left);
    }
    return true;
}

bool send(ombrel_process_t& process, int signal_number) {
    const short_lock_guard guard(process.m_lock);
    return process.m_leads_group ? platform::signal_group(process.m_id, signal_number)
                                 : platform::signal_process(process.m_id, signal_number);
}

} // namespace

platform::child_state look(ombrel_process_t& process) {
    const short_lock_guard guard(process.m_lock);
    if (process.m_state == platform::child_state::running)
        process.m_state = process.m_watch >= 0 ? platform::look_at_child(process.m_watch, process.m_end)
                                               : platform::look_at_process(process.m_id, process.m_end);
    return process.m_state;
}

bool wait_for_end(ombrel_process_t& process, const deadline& limit) {
    growing_pause pause;
    for (;;) {
        const int left = limit.left();
        if (has_ended(process))
            return true;
        if (left == 0)
            return false;
        sleep_until_end(process, pause, left);
    }
}

} // namespace ombrel::system

using namespace ombrel;
using namespace ombrel::system;

int ombrel_process_wait(ombrel_process_t* process, int timeout_ms, ombrel_process_end_t* end) {
    if (process == nullptr)
        return fail_by(fault_code::invalid);
    if (!wait_for_end(*process, deadline(timeout_ms)))
        return 0;
    if (end != nullptr)
        *end = end_of(*process);
    return 1;
}

int ombrel_process_signal(ombrel_process_t* process, int signal_number) {
    if (process == nullptr)
        return fail_by(fault_code::invalid);
    const platform::child_state state = look(*process);
    const bool is_there = state == platform::child_state::running ||
                          (state == platform::child_state::ended && process->m_leads_group &&
                           platform::group_runs(process->m_id));
    if (!is_there)
        return fail_by(fault_code::no_process);
    return send(*process, signal_number) ? 0 : -1;
}

// The group outlives a leader whose status somebody else takes meanwhile, and keeps its number.
int ombrel_process_stop(ombrel_process_t* process, int grace_ms) {
    if (process == nullptr)
        return fail_by(fault_code::invalid);
    const fault_keeper kept;
    if (look(*process) == platform::child_state::unknown || wait_for_all(*process, deadline(0)))
        return 0;
    if (grace_ms != 0) {
        send(*process, platform::terminate_signal);
        if (wait_for_all(*process, deadline(grace_ms)))
            return 0;
    }
    const bool was_sent = send(*process, platform::kill_signal);
    if (wait_for_all(*process, deadline(forced_ms)))
        return 0;
    return fail_by(was_sent ? fault_code::timed_out : fault_code::access_denied);
}

int ombrel_find_signal_number(const char* name) {
    std::string_view text = name != nullptr ? name : "";
    int number;
    if (parse_number(text, 0, platform::signal_limit - 1, number))
        return number;
    char upper[16] = "SIG";
    if (text.size() > sizeof upper - 3)
        return fail_by(fault_code::invalid);
    char* const end = std::transform(text.begin(), text.end(), upper + 3, to_upper);
    const std::string_view full(upper, static_cast<size_t>(end - upper));
    number = platform::signal_number(slice(full, starts_with(full, "SIGSIG") ? 3 : 0));
    return number >= 0 ? number : fail_by(fault_code::invalid);
}

const char* ombrel_find_signal_name(int signal_number) {
    const char* const name = platform::signal_name(signal_number);
    return platform::signal_number(name) == signal_number ? name : nullptr;
}

int ombrel_signal_process(int process, int signal_number) {
    if (process < 1)
        return fail_by(fault_code::invalid);
    return platform::signal_process(process, signal_number) ? 0 : -1;
}
