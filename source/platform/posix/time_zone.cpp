#include "platform/time_zone.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <pthread.h>
#include <time.h>

#include "platform/single_thread.h"
#include "platform/zone_rule.h"

namespace ombrel::platform {

namespace {

// The C library tells local time under a lock of its own. In a child that was forked while another thread
// held that lock it stays held for good, so such a child counts on from the state at the fork.
std::atomic<bool> is_child_of_threads;
std::atomic<bool> forks_among_threads;
zone_state state_at_fork; // written by the thread that forks, read in its child

zone_state ask_c_library(int64_t seconds) {
    zone_state state{0, false, "UTC"};
    const auto moment = static_cast<time_t>(seconds);
    tm fields{};
    if (localtime_r(&moment, &fields) == nullptr)
        return state;
    state.offset = static_cast<int32_t>(fields.tm_gmtoff);
    state.is_summer = fields.tm_isdst > 0;
    set_zone_name(state, fields.tm_zone, strlen(fields.tm_zone));
    return state;
}

void before_fork() {
    forks_among_threads = !has_one_thread();
    if (forks_among_threads && !is_child_of_threads)
        state_at_fork = ask_c_library(time(nullptr));
}

void in_child() {
    if (forks_among_threads)
        is_child_of_threads = true;
}

const struct fork_guard {
    fork_guard() { pthread_atfork(before_fork, nullptr, in_child); }
} guard_of_forks;

} // namespace

zone_state local_zone_at(int64_t seconds) {
    return is_child_of_threads ? state_at_fork : ask_c_library(seconds);
}

int refresh_local_zone() {
    if (is_child_of_threads) {
        errno = ENOSYS;
        return -1;
    }
    tzset();
    return 0;
}

} // namespace ombrel::platform
