// What the files of the child processes share.
#pragma once

#include <array>

#include <ombrel/process.h>
#include <ombrel/short_lock.h>

#include "core/deadline.h"
#include "core/fault.h"
#include "core/thread_safety.h"
#include "platform/process.h"

struct ombrel_process_ts {
    int m_id;
    int m_watch; ///< of platform::open_process(), or -1
    bool m_leads_group;
    std::array<int, 3> m_ends; ///< this side of the pipes, by stream; -1 where there is none
    const char* m_feed;
    size_t m_feed_left;
    size_t m_limit; ///< bytes collected of each output

    // The end is looked at and signals are sent under the lock, several threads may do so. What the system
    // keeps about the child stays with it until the close, so that its number and its group are no other's.
    ombrel_short_lock_t m_lock;
    ombrel::platform::child_state m_state OMBREL_GUARDED_BY(m_lock);
    ombrel::platform::process_end m_end OMBREL_GUARDED_BY(m_lock);
};

namespace ombrel::system {

template<typename Result = int>
Result fail_by(fault_code code, Result result = -1) {
    leave_fault(code);
    return result;
}

/// A process that is being started is known to one thread.
inline void assert_unshared(const ombrel_process_t& process) OMBREL_ASSERTS(process.m_lock) {
    static_cast<void>(process);
}

/// How it ended, which stands without the lock once it has.
inline ombrel_process_end_t end_of(const ombrel_process_t& process) OMBREL_UNCHECKED {
    return {process.m_end.exit_code, process.m_end.signal_number};
}

/// What has become of it; looks once.
platform::child_state look(ombrel_process_t& process);
inline bool has_ended(ombrel_process_t& process) {
    return look(process) != platform::child_state::running;
}

/// Waits until it has ended or the limit passes; whether it has.
bool wait_for_end(ombrel_process_t& process, const deadline& limit);

/// This side of a stream; -1, with its fault, when it is no open pipe.
int end_of_pipe(const ombrel_process_t* process, int stream);
void close_end(ombrel_process_t& process, int stream);

int exchange(ombrel_process_t& process, const deadline& limit, ombrel_process_output_handler_t handler,
             void* context);

} // namespace ombrel::system
