#include <ombrel/pseudo_terminal.h>

#include <algorithm>
#include <climits>

#include "core/deadline.h"
#include "core/heap_ptr.h"
#include "platform/file.h"
#include "platform/poll.h"
#include "platform/pseudo_terminal.h"
#include "platform/thread.h"
#include "system/terminal/terminal_fault.h"

using namespace ombrel;
using namespace ombrel::system;

struct ombrel_pseudo_terminal_ts {
    platform::pseudo_terminal m_host;
    int m_close_timeout_ms;
    int m_end_descriptor; ///< polls readable at the program's end; -1 where the host has no such thing
};

namespace {

constexpr int least_size = 1, most_size = 32767;

bool is_size(int columns, int rows) {
    return std::min(columns, rows) >= least_size && std::max(columns, rows) <= most_size;
}

/// Whether the descriptor became ready in time; a bad one counts as that, so that whoever uses it finds out.
bool wait_for(int descriptor, platform::readiness kind, int milliseconds) {
    platform::poll_request wanted{descriptor, kind, false};
    const int ready = platform::poll_descriptors(&wanted, 1, milliseconds);
    return ready > 0 || (ready < 0 && !failed_for_now(ready));
}

bool has_ended(const ombrel_pseudo_terminal_t& terminal, platform::process_end& end) {
    end = {-1, 0};
    return platform::look_at_process(terminal.m_host.process, end) != platform::child_state::running;
}

bool has_ended(const ombrel_pseudo_terminal_t& terminal) {
    platform::process_end unused;
    return has_ended(terminal, unused);
}

/// What the program prints must go somewhere, or it could not go on to its end.
void drop_output(const ombrel_pseudo_terminal_t& terminal) {
    const fault_keeper kept;
    char dropped[4096];
    while (terminal.m_host.output >= 0 &&
           platform::read_shown(terminal.m_host, dropped, sizeof dropped) > 0) {
    }
}

/// Sleeps until the program may have ended: without the host's help in pauses that grow.
class sleep_until_end {
public:
    explicit sleep_until_end(const ombrel_pseudo_terminal_t& terminal) : terminal_(terminal) {}

    void at_most(int milliseconds) {
        if (terminal_.m_end_descriptor >= 0) {
            wait_for(terminal_.m_end_descriptor, platform::readiness::read, milliseconds);
            return;
        }
        constexpr int longest_pause = 32;
        platform::sleep_milliseconds(static_cast<uint32_t>(shorter_wait(milliseconds, pause_)));
        pause_ = std::min(pause_ * 2, longest_pause);
    }

private:
    const ombrel_pseudo_terminal_t& terminal_;
    int pause_ = 1;
};

bool wait_for_end(const ombrel_pseudo_terminal_t& terminal, int timeout_ms, bool drops,
                  platform::process_end& end) {
    constexpr int longest_between_drops = 20;
    const deadline limit(timeout_ms);
    sleep_until_end sleep(terminal);
    for (;;) {
        const int left = limit.left();
        if (drops)
            drop_output(terminal);
        if (has_ended(terminal, end))
            return true;
        if (left == 0)
            return false;
        sleep.at_most(drops ? shorter_wait(left, longest_between_drops) : left);
    }
}

/// Ends what is left of the program's group. Nothing resists for longer than the system keeps it from ending.
bool end_by_force(const ombrel_pseudo_terminal_t& terminal) {
    constexpr int patience = 10000;
    const deadline limit(patience);
    const fault_keeper kept;
    const int group = terminal.m_host.process;
    platform::signal_group(group, platform::kill_signal);
    platform::process_end end;
    for (int pause = 1; !wait_for_end(terminal, pause, true, end) || platform::group_runs(group);
         pause *= 2) {
        if (limit.passed())
            return false;
        platform::sleep_milliseconds(1);
    }
    return true;
}

ombrel_pseudo_terminal_options_t default_options() {
    constexpr int close_timeout_ms = 1000;
    return {nullptr, nullptr, 80, 24, close_timeout_ms};
}

bool is_good(const char* const* arguments, const ombrel_pseudo_terminal_options_t& options) {
    return arguments != nullptr && arguments[0] != nullptr && is_size(options.m_columns, options.m_rows);
}

} // namespace

int ombrel_init_pseudo_terminal_options(ombrel_pseudo_terminal_options_t* options) {
    if (options == nullptr)
        return failed_with(fault_code::invalid);
    *options = default_options();
    return 0;
}

ombrel_pseudo_terminal_t* ombrel_open_pseudo_terminal_tag(const char* const* arguments,
                                                          const ombrel_pseudo_terminal_options_t* options,
                                                          const char* function, unsigned long line) {
    const ombrel_pseudo_terminal_options_t how = options != nullptr ? *options : default_options();
    if (!is_good(arguments, how)) {
        leave_fault(fault_code::invalid);
        return nullptr;
    }
    heap_ptr<ombrel_pseudo_terminal_t> made(allocate_record<ombrel_pseudo_terminal_t>(function, line));
    if (!made) {
        leave_fault(fault_code::no_memory);
        return nullptr;
    }
    *made = {{}, how.m_close_timeout_ms, -1};
    const platform::terminal_start start{arguments, how.m_environment, how.m_directory, how.m_columns,
                                         how.m_rows};
    if (!platform::start_in_terminal(start, made->m_host))
        return nullptr;
    const fault_keeper kept;
    made->m_end_descriptor = platform::open_process(made->m_host.process);
    return made.release();
}

int ombrel_close_pseudo_terminal(ombrel_pseudo_terminal_t* terminal) {
    if (terminal == nullptr)
        return 0;
    const heap_ptr<ombrel_pseudo_terminal_t> guard(terminal);
    const fault_keeper kept;
    platform::process_end end;
    platform::hang_up(terminal->m_host);
    wait_for_end(*terminal, terminal->m_close_timeout_ms, false, end);
    end_by_force(*terminal);
    platform::collect_process(terminal->m_host.process, end);
    if (terminal->m_end_descriptor >= 0)
        platform::close_descriptor(terminal->m_end_descriptor);
    return 0;
}

int64_t ombrel_pseudo_terminal_read(ombrel_pseudo_terminal_t* terminal, void* buffer, size_t size,
                                    int timeout_ms) {
    if (terminal == nullptr || (buffer == nullptr && size > 0))
        return failed_with(fault_code::invalid);
    if (size == 0)
        return 0;
    const deadline limit(timeout_ms);
    for (;;) {
        const int left = limit.left();
        if (wait_for(terminal->m_host.output, platform::readiness::read, left)) {
            const int bytes = platform::read_shown(terminal->m_host, buffer, std::min<size_t>(size, INT_MAX));
            if (!failed_for_now(bytes))
                return bytes;
        }
        if (left == 0)
            return def_ombrel_pseudo_terminal_timeout;
    }
}

int64_t ombrel_pseudo_terminal_write(ombrel_pseudo_terminal_t* terminal, const void* data, size_t size,
                                     int timeout_ms) {
    if (terminal == nullptr || (data == nullptr && size > 0))
        return failed_with(fault_code::invalid);
    constexpr int longest_wait = 100; // a hang-up wakes nobody who waits for room
    const deadline limit(timeout_ms);
    const auto* bytes = static_cast<const char*>(data);
    size_t written = 0;
    while (written < size) {
        const int left = limit.left();
        const int part = platform::write_typed(terminal->m_host, bytes + written,
                                               std::min<size_t>(size - written, INT_MAX));
        if (part < 0 && !failed_for_now(part))
            return written > 0 ? static_cast<int64_t>(written) : -1;
        written += static_cast<size_t>(std::max(part, 0));
        if (part > 0)
            continue;
        if (left == 0)
            break;
        wait_for(terminal->m_host.input, platform::readiness::write, shorter_wait(left, longest_wait));
    }
    return static_cast<int64_t>(written);
}

int ombrel_pseudo_terminal_set_size(ombrel_pseudo_terminal_t* terminal, int columns, int rows) {
    if (terminal == nullptr || !is_size(columns, rows))
        return failed_with(fault_code::invalid);
    return platform::resize(terminal->m_host, columns, rows) ? 0 : -1;
}

int ombrel_pseudo_terminal_get_size(ombrel_pseudo_terminal_t* terminal, int* columns, int* rows) {
    int width, height;
    if (terminal == nullptr)
        return failed_with(fault_code::invalid);
    if (!platform::get_size(terminal->m_host, width, height))
        return -1;
    if (columns != nullptr)
        *columns = width;
    if (rows != nullptr)
        *rows = height;
    return 0;
}

int ombrel_pseudo_terminal_signal(ombrel_pseudo_terminal_t* terminal, int signal_number) {
    if (terminal == nullptr || signal_number < 0)
        return failed_with(fault_code::invalid);
    if (has_ended(*terminal))
        return failed_with(fault_code::no_process);
    return platform::signal_foreground(terminal->m_host, signal_number) ? 0 : -1;
}

int ombrel_pseudo_terminal_stop(ombrel_pseudo_terminal_t* terminal, int grace_ms) {
    if (terminal == nullptr)
        return failed_with(fault_code::invalid);
    platform::process_end end;
    if (grace_ms != 0 && !has_ended(*terminal)) {
        platform::announce_hang_up(terminal->m_host);
        wait_for_end(*terminal, grace_ms, true, end);
    }
    return end_by_force(*terminal) ? 0 : failed_with(fault_code::timed_out);
}

int ombrel_pseudo_terminal_wait(ombrel_pseudo_terminal_t* terminal, int timeout_ms,
                                ombrel_process_end_t* end) {
    if (terminal == nullptr)
        return failed_with(fault_code::invalid);
    platform::process_end how;
    if (!wait_for_end(*terminal, timeout_ms, false, how))
        return 0;
    if (end != nullptr)
        *end = {how.exit_code, how.signal_number};
    return 1;
}

int ombrel_pseudo_terminal_get_id(const ombrel_pseudo_terminal_t* terminal) {
    return terminal != nullptr ? terminal->m_host.process : failed_with(fault_code::invalid);
}

int ombrel_pseudo_terminal_get_descriptor(const ombrel_pseudo_terminal_t* terminal) {
    return terminal != nullptr ? terminal->m_host.output : failed_with(fault_code::invalid);
}

int ombrel_init_terminal_pair(ombrel_terminal_pair_t* pair) {
    if (pair == nullptr)
        return failed_with(fault_code::invalid);
    *pair = {-1, -1, ""};
    if (platform::open_terminal_pair(pair->m_master, pair->m_slave, pair->m_name, sizeof pair->m_name))
        return 0;
    pair->m_name[0] = '\0';
    return -1;
}

int ombrel_uninit_terminal_pair(ombrel_terminal_pair_t* pair) {
    if (pair == nullptr)
        return failed_with(fault_code::invalid);
    for (int* side : {&pair->m_slave, &pair->m_master}) {
        if (*side >= 0)
            platform::close_descriptor(*side);
        *side = -1;
    }
    return 0;
}
