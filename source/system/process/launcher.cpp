#include <ombrel/launcher.h>

#include <new>
#include <utility>

#include "core/deadline.h"
#include "core/fault.h"
#include "platform/poll.h"
#include "platform/thread.h"
#include "system/process/absolute_path.h"
#include "system/process/launcher_events.h"
#include "system/process/process_internal.h"
#include "system/process/text_list.h"

using namespace ombrel;
using namespace ombrel::system;

namespace {

constexpr uint32_t most_remembered_restarts = 1000;
constexpr uint32_t most_kept_logs = 99;

bool are_sound(const ombrel_launcher_options_t& options) {
    return (options.m_flags & ~def_ombrel_launcher_bytes) == 0 &&
           options.m_restart >= def_ombrel_launcher_restart_always &&
           options.m_restart <= def_ombrel_launcher_restart_never && options.m_first_pause_ms >= 1 &&
           options.m_pause_factor >= 1 && options.m_well_ms >= 0 &&
           options.m_restart_limit <= most_remembered_restarts && options.m_log_size >= 0 &&
           options.m_log_count <= most_kept_logs;
}

/// Holds a launcher until it is handed out, or ends it.
class launcher_holder {
public:
    launcher_holder(const ombrel_launcher_options_t& options, const call_site& caller) {
        void* const block = ombrel_alloc_tag(sizeof(ombrel_launcher_t), caller.tag, caller.line);
        if (block == nullptr)
            return;
        launcher_ = new (block) ombrel_launcher_t();
        launcher_->options = options;
    }
    explicit launcher_holder(ombrel_launcher_t* launcher) : launcher_(launcher) {}
    ~launcher_holder() {
        if (launcher_ == nullptr)
            return;
        const fault_keeper kept;
        launcher_->~ombrel_launcher_ts();
        ombrel_free_tag(launcher_, "ombrel_close_launcher", __LINE__);
    }
    launcher_holder(const launcher_holder&) = delete;
    launcher_holder& operator=(const launcher_holder&) = delete;

    explicit operator bool() const { return launcher_ != nullptr; }
    ombrel_launcher_t& operator*() const { return *launcher_; }
    ombrel_launcher_t* release() { return std::exchange(launcher_, nullptr); }

private:
    ombrel_launcher_t* launcher_ = nullptr;
};

/// Copies what the caller may change.
bool copy_texts(ombrel_launcher_t& launcher, const char* const* arguments, const call_site& caller) {
    const ombrel_launcher_options_t& options = launcher.options;
    launcher.arguments = copy_text_list(arguments, caller);
    launcher.environment = copy_text_list(options.m_environment, caller);
    if (options.m_directory != nullptr)
        launcher.directory = absolute_path(options.m_directory, caller);
    return launcher.arguments && (launcher.environment || options.m_environment == nullptr) &&
           (launcher.directory || options.m_directory == nullptr);
}

bool open_log(ombrel_launcher_t& launcher, const call_site& caller) {
    const ombrel_launcher_options_t& options = launcher.options;
    return options.m_log_path == nullptr ||
           launcher.log.open(options.m_log_path, options.m_log_size, options.m_log_count, caller);
}

restart_rules rules_of(const ombrel_launcher_options_t& options) {
    return {options.m_first_pause_ms, options.m_pause_factor,  options.m_longest_pause_ms,
            options.m_well_ms,        options.m_restart_limit, options.m_restart_period_ms};
}

bool open_pipes(ombrel_launcher_t& launcher) {
    if (!launcher.wake.open() || !launcher.life.open())
        return false;
    platform::set_descriptor_blocking(launcher.wake.write_end.get(), false);
    return true;
}

int run_service(ombrel_service_t* service, void* context) {
    auto& launcher = *static_cast<ombrel_launcher_t*>(context);
    launcher.thread = platform::thread_id();
    ombrel_ack_service(service);
    look_after(launcher);
    return 0;
}

bool is_own_thread(const ombrel_launcher_t& launcher) {
    return launcher.thread == platform::thread_id();
}

/// Everything but the child and the thread.
/// @param failed_part receives what it failed at, if not at the whole
bool prepare(ombrel_launcher_t& launcher, const char* const* arguments, const call_site& caller,
             int& failed_part) {
    if (!copy_texts(launcher, arguments, caller) || !open_pipes(launcher))
        return false;
    if (!open_log(launcher, caller)) {
        failed_part = def_ombrel_launcher_part_log;
        return false;
    }
    if (launcher.plan.prepare(rules_of(launcher.options), caller))
        return true;
    return fail_by(fault_code::no_memory, false);
}

bool begin(ombrel_launcher_t& launcher, int& failed_part) {
    int part_of_start;
    if (!start_child(launcher, &part_of_start)) {
        if (part_of_start == def_ombrel_process_part_directory)
            failed_part = def_ombrel_launcher_part_directory;
        return false;
    }
    launcher.service = ombrel_open_service_ex("launcher", run_service, &launcher, 0);
    if (launcher.service != nullptr)
        return true;
    end_child(launcher);
    return fail_by(fault_code::no_memory, false);
}

/// Whether a launcher has ended, at the end of the time at the latest.
bool wait_until_over(const ombrel_launcher_t& launcher, const deadline& limit) {
    platform::poll_request end{launcher.life.read_end.get(), platform::readiness::read, false};
    int ready;
    do
        ready = platform::poll_descriptors(&end, 1, limit.left());
    while (failed_for_now(ready));
    return ready > 0;
}

} // namespace

int ombrel_init_launcher_options(ombrel_launcher_options_t* options) {
    if (options == nullptr)
        return fail_by(fault_code::invalid);
    *options = {};
    options->m_first_pause_ms = 200;
    options->m_pause_factor = 2;
    options->m_longest_pause_ms = 30'000;
    options->m_well_ms = 10'000;
    options->m_restart_period_ms = 60'000;
    options->m_grace_ms = 5'000;
    options->m_log_size = INT64_C(1) << 20;
    options->m_log_count = 4;
    return 0;
}

ombrel_launcher_t* ombrel_open_launcher_tag(const char* const* arguments,
                                            const ombrel_launcher_options_t* options, const char* function,
                                            unsigned long line) {
    ombrel_launcher_options_t usual;
    ombrel_init_launcher_options(&usual);
    const ombrel_launcher_options_t& wanted = options != nullptr ? *options : usual;
    if (arguments == nullptr || arguments[0] == nullptr || !are_sound(wanted))
        return fail_by<ombrel_launcher_t*>(fault_code::invalid, nullptr);
    const call_site caller{function, line};
    launcher_holder launcher(wanted, caller);
    if (!launcher)
        return fail_by<ombrel_launcher_t*>(fault_code::no_memory, nullptr);
    int failed_part = def_ombrel_launcher_part_program;
    if (prepare(*launcher, arguments, caller, failed_part) && begin(*launcher, failed_part))
        return launcher.release();
    if (wanted.m_failed_part != nullptr)
        *wanted.m_failed_part = failed_part;
    return nullptr;
}

int ombrel_launcher_wait(ombrel_launcher_t* launcher, int timeout_ms) {
    if (launcher == nullptr || is_own_thread(*launcher))
        return fail_by(fault_code::invalid);
    return wait_until_over(*launcher, deadline(timeout_ms)) ? 1 : 0;
}

int ombrel_launcher_stop(ombrel_launcher_t* launcher) {
    if (launcher == nullptr)
        return fail_by(fault_code::invalid);
    launcher->wants_stop = true;
    wake(*launcher);
    return 0;
}

int ombrel_launcher_restart(ombrel_launcher_t* launcher) {
    if (launcher == nullptr || launcher->wants_stop ||
        state_of(*launcher).m_phase == def_ombrel_launcher_ended)
        return fail_by(fault_code::invalid);
    launcher->wants_restart = true;
    wake(*launcher);
    return 0;
}

int ombrel_launcher_signal(ombrel_launcher_t* launcher, int signal_number) {
    if (launcher == nullptr)
        return fail_by(fault_code::invalid);
    // The lock keeps the child from being closed meanwhile; a signal is sent at once.
    const short_lock_guard guard(launcher->guard);
    return launcher->child != nullptr ? ombrel_process_signal(launcher->child, signal_number)
                                      : fail_by(fault_code::no_process);
}

int ombrel_launcher_get_state(ombrel_launcher_t* launcher, ombrel_launcher_state_t* state) {
    if (launcher == nullptr || state == nullptr)
        return fail_by(fault_code::invalid);
    *state = state_of(*launcher);
    return 0;
}

const char* ombrel_launcher_reason_text(int reason) {
    switch (reason) {
    case def_ombrel_launcher_not_ended:
        return "not ended";
    case def_ombrel_launcher_stopped:
        return "stopped";
    case def_ombrel_launcher_finished:
        return "the program has ended";
    case def_ombrel_launcher_gave_up:
        return "too many restarts";
    default:
        return "unknown";
    }
}

int ombrel_close_launcher(ombrel_launcher_t* launcher) {
    if (launcher == nullptr)
        return 0;
    if (is_own_thread(*launcher))
        return fail_by(fault_code::invalid);
    const launcher_holder ended(launcher);
    ombrel_launcher_stop(launcher);
    wait_until_over(*launcher, deadline(-1));
    return ombrel_close_service(launcher->service);
}
