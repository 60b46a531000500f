// The thread of a launcher.
#include <algorithm>

#include <ombrel/fault.h>

#include "core/deadline.h"
#include "platform/clock.h"
#include "platform/poll.h"
#include "platform/process.h"
#include "system/process/launcher_events.h"
#include "system/process/launcher_output.h"

namespace ombrel::system {

namespace {

ombrel_process_t* child_of(ombrel_launcher_t& launcher) {
    const short_lock_guard guard(launcher.guard);
    return launcher.child;
}

ombrel_process_options_t process_options(const ombrel_launcher_t& launcher) {
    ombrel_process_options_t options;
    ombrel_init_process_options(&options);
    options.m_directory = launcher.directory.get();
    options.m_environment = launcher.environment.get();
    options.m_input.m_kind = def_ombrel_process_nothing;
    options.m_output.m_kind = options.m_error.m_kind =
        wants_output(launcher) ? def_ombrel_process_pipe : def_ombrel_process_keep;
    options.m_flags = def_ombrel_process_own_group;
    return options;
}

/// What to sleep on until a child ends.
class end_watch {
public:
    explicit end_watch(ombrel_process_t* child)
        : descriptor_(platform::open_process(ombrel_process_get_id(child))) {}

    /// It becomes readable with the end; -1 on a host that has no such thing.
    int descriptor() const { return descriptor_.get(); }

    /// How long nobody need look for the end, in milliseconds; negative for ever.
    int longest_sleep() const { return descriptor_ ? -1 : 20; }

private:
    owned_descriptor descriptor_;
};

/// Ends a child step by step.
class ending {
public:
    /// Milliseconds until there is more to do; negative for ever.
    int left() const { return step_ == step::asked ? grace_.left() : -1; }

    void go_on(ombrel_launcher_t& launcher, ombrel_process_t* child) {
        if (step_ == step::none)
            ask(launcher, child);
        if (step_ == step::asked && grace_.passed())
            force(launcher, child);
    }

private:
    enum class step { none, asked, forced };

    void ask(ombrel_launcher_t& launcher, ombrel_process_t* child) {
        step_ = step::asked;
        grace_ = deadline(launcher.options.m_grace_ms);
        note(launcher, [](ombrel_launcher_state_t& state) { state.m_phase = def_ombrel_launcher_stopping; });
        if (launcher.options.m_grace_ms != 0)
            ombrel_process_signal(child, def_ombrel_process_terminate);
    }

    void force(ombrel_launcher_t& launcher, ombrel_process_t* child) {
        step_ = step::forced;
        note(launcher, [](ombrel_launcher_state_t& state) { state.m_force_count++; });
        ombrel_process_signal(child, def_ombrel_process_kill);
    }

    step step_ = step::none;
    deadline grace_;
};

/// What the thread sleeps on: requests, and whatever is added.
class news {
public:
    explicit news(const ombrel_launcher_t& launcher) { add(launcher.wake.read_end.get()); }

    void add(int descriptor) {
        if (descriptor >= 0)
            requests_[count_++] = {descriptor, platform::readiness::read, false};
    }

    /// May end early.
    void sleep(int limit_ms) {
        char bytes[16];
        if (platform::poll_descriptors(requests_, count_, limit_ms) > 0 && requests_[0].ready)
            platform::read_at_once(requests_[0].descriptor, bytes, sizeof bytes);
    }

private:
    platform::poll_request requests_[4];
    size_t count_ = 0;
};

/// Sleeps until a request, output or the end of the child, or so long.
void sleep_beside(const ombrel_launcher_t& launcher, ombrel_process_t* child, const end_watch& watch,
                  int limit_ms) {
    news wanted(launcher);
    wanted.add(watch.descriptor());
    if (wants_output(launcher)) {
        wanted.add(ombrel_process_get_descriptor(child, def_ombrel_process_output));
        wanted.add(ombrel_process_get_descriptor(child, def_ombrel_process_error));
    }
    wanted.sleep(shorter_wait(limit_ms, watch.longest_sleep()));
}

/// Ends what an ended child left in its group, takes its last words and its status, and forgets it.
void bury(ombrel_launcher_t& launcher, ombrel_process_t* child) {
    constexpr int moment_ms = 10'000; // for what has happened already
    ombrel_process_stop(child, 0);
    finish_output(launcher, child);
    ombrel_process_end_t end{-1, 0};
    ombrel_process_wait(child, moment_ms, &end);
    {
        const short_lock_guard guard(launcher.guard);
        launcher.child = nullptr;
        launcher.state.m_process = 0;
        launcher.state.m_end = end;
        launcher.state.m_run_time =
            static_cast<int64_t>(platform::monotonic_nanoseconds() - launcher.child_began);
        launcher.child_began = 0;
        launcher.state.m_phase =
            launcher.wants_stop ? def_ombrel_launcher_stopping : def_ombrel_launcher_pausing;
    }
    ombrel_close_process(child);
    tell(launcher, def_ombrel_launcher_event_ended);
}

void look_after_child(ombrel_launcher_t& launcher) {
    tell(launcher, def_ombrel_launcher_event_started);
    ombrel_process_t* const child = child_of(launcher);
    const end_watch watch(child);
    ending end;
    while (ombrel_process_wait(child, 0, nullptr) == 0) {
        if (launcher.wants_stop || launcher.wants_restart)
            end.go_on(launcher, child);
        sleep_beside(launcher, child, watch, end.left());
        take_output(launcher, child);
    }
    bury(launcher, child);
}

/// Whether the child is to be started again after its end, or after a start that failed.
bool restarts_after(const ombrel_launcher_t& launcher, const ombrel_launcher_state_t& last,
                    bool was_started) {
    if (launcher.options.m_restart == def_ombrel_launcher_restart_on_failure)
        return !was_started || last.m_end.m_exit_code != 0;
    return launcher.options.m_restart == def_ombrel_launcher_restart_always;
}

/// Lets a pause pass, which a request ends.
void pause(ombrel_launcher_t& launcher, int64_t run_time) {
    const int pause_ms = launcher.plan.next_pause(run_time);
    note(launcher, [&](ombrel_launcher_state_t& state) { state.m_pause_ms = pause_ms; });
    const deadline end(pause_ms);
    while (!launcher.wants_stop && !launcher.wants_restart && !end.passed())
        news(launcher).sleep(end.left());
}

/// Waits for the moment of the next start.
/// @return def_ombrel_launcher_not_ended when it has come, or why there is none
int wait_for_start(ombrel_launcher_t& launcher, bool was_started) {
    if (!launcher.wants_stop && !launcher.wants_restart) {
        const ombrel_launcher_state_t last = state_of(launcher);
        if (!restarts_after(launcher, last, was_started))
            return def_ombrel_launcher_finished;
        if (!launcher.plan.admit(platform::monotonic_nanoseconds()))
            return def_ombrel_launcher_gave_up;
        pause(launcher, was_started ? last.m_run_time : 0);
    }
    if (launcher.wants_stop)
        return def_ombrel_launcher_stopped;
    if (launcher.wants_restart.exchange(false))
        launcher.plan.begin_anew();
    return def_ombrel_launcher_not_ended;
}

void end(ombrel_launcher_t& launcher, int reason) {
    note(launcher, [&](ombrel_launcher_state_t& state) {
        state.m_phase = def_ombrel_launcher_ended;
        state.m_reason = reason;
    });
    tell(launcher, def_ombrel_launcher_event_over);
    launcher.thread = 0; // another thread may soon have the number
    launcher.life.write_end.reset();
}

} // namespace

bool start_child(ombrel_launcher_t& launcher, int* failed_part) {
    ombrel_process_options_t options = process_options(launcher);
    options.m_failed_part = failed_part;
    ombrel_process_t* const child =
        ombrel_open_process_tag(launcher.arguments.get(), &options, "ombrel_open_launcher_tag", __LINE__);
    const int why = child == nullptr ? ombrel_last_fault() : 0;
    const short_lock_guard guard(launcher.guard);
    if (child == nullptr) {
        launcher.state.m_fault = why;
        return false;
    }
    launcher.child = child;
    launcher.child_began = platform::monotonic_nanoseconds();
    launcher.state.m_process = ombrel_process_get_id(child);
    launcher.state.m_phase = def_ombrel_launcher_running;
    launcher.state.m_start_count++;
    return true;
}

void end_child(ombrel_launcher_t& launcher) {
    ombrel_process_t* const child = child_of(launcher);
    ombrel_process_stop(child, 0);
    ombrel_close_process(child);
}

void look_after(ombrel_launcher_t& launcher) {
    look_after_child(launcher);
    bool was_started = true;
    int reason;
    while ((reason = wait_for_start(launcher, was_started)) == def_ombrel_launcher_not_ended) {
        was_started = start_child(launcher);
        if (was_started)
            look_after_child(launcher);
        else
            tell(launcher, def_ombrel_launcher_event_start_failed);
    }
    end(launcher, reason);
}

} // namespace ombrel::system
