#include "system/process/ending_groups.h"

#include <atomic>
#include <iterator>

#include "platform/process.h"
#include "platform/signal.h"
#include "platform/thread.h"

namespace ombrel::system {

namespace {

/// 0 for a free one; read where a signal arrives.
constinit std::atomic<int> leaders[64];

void put_in_place_of(int before, int after) {
    for (std::atomic<int>& one : leaders) {
        int expected = before;
        if (one.compare_exchange_strong(expected, after))
            return;
    }
}

template<typename Use>
void for_each_leader(Use use) {
    for (const std::atomic<int>& one : leaders)
        if (const int leader = one.load())
            use(leader);
}

bool is_any_running() {
    bool is_running = false;
    for_each_leader([&](int leader) {
        platform::process_end unused;
        is_running =
            is_running || platform::look_at_process(leader, unused) == platform::child_state::running;
    });
    return is_running;
}

// Whatever is called is allowed where a signal arrives.
void end_groups() {
    constexpr int grace_ms = 1000, step_ms = 10;
    for_each_leader([](int leader) { platform::signal_group(leader, platform::terminate_signal); });
    for (int waited = 0; waited < grace_ms && is_any_running(); waited += step_ms)
        platform::sleep_milliseconds(step_ms);
    for_each_leader([](int leader) { platform::signal_group(leader, platform::kill_signal); });
}

void on_signal(int number, bool) {
    end_groups();
    platform::end_by_signal(number);
}

} // namespace

void add_ending_group(int leader) {
    put_in_place_of(0, leader);
}

void remove_ending_group(int leader) {
    put_in_place_of(leader, 0);
}

ends_groups_by_signals::ends_groups_by_signals() {
    for (size_t i = 0; i < std::size(names); i++) {
        const int number = platform::signal_number(names[i]);
        const bool is_left = number < 0 || platform::has_signal_handler(number) ||
                             (i >= always_caught && platform::is_signal_ignored(number));
        caught_[i] = !is_left && platform::catch_signal(number, on_signal) ? number : 0;
    }
}

ends_groups_by_signals::~ends_groups_by_signals() {
    for (const int number : caught_)
        if (number != 0)
            platform::restore_signal(number);
}

} // namespace ombrel::system
