// Pid files, launchers and services in processes.
#include <ombrel/daemon.h>
#include <ombrel/fault.h>
#include <ombrel/launcher.h>
#include <ombrel/process_service.h>

#include "alloc_failure/injection.h"
#include "support/descriptor_balance.h"
#include "support/scratch_directory.h"
#include "support/threads.h"

namespace ombrel_test {

namespace {

const char* const sleeping[] = {"/bin/sh", "-c", "exec sleep 600", nullptr};

ombrel_launcher_options_t all_options(const std::string& log, const char* const* variables) {
    ombrel_launcher_options_t options;
    ombrel_init_launcher_options(&options);
    options.m_log_path = log.c_str();
    options.m_environment = variables;
    options.m_directory = ".";
    options.m_restart_limit = 3;
    return options;
}

} // namespace

OMBREL_FAILURES(Launcher, pid_file) {
    const descriptor_balance balance;
    const scratch_directory folder;
    const std::string path = folder / "a.pid";
    null_when_hit(fail, ombrel_close_pid_file, [&] { return ombrel_open_pid_file(path.c_str()); });
    EXPECT_EQ(0, ombrel_read_pid_file(path.c_str(), nullptr));
    ombrel_daemon_options_t options;
    ombrel_init_daemon_options(&options);
    options.m_flags = def_ombrel_daemon_foreground;
    options.m_pid_file = path.c_str();
    null_when_hit(fail, ombrel_close_daemon, [&] { return ombrel_open_daemon(&options); });
    EXPECT_EQ(0, ombrel_read_pid_file(path.c_str(), nullptr));
}

OMBREL_FAILURE_ONCE(Launcher, open) {
    const descriptor_balance balance;
    const scratch_directory folder;
    const char* const variables[] = {"A=b", nullptr};
    const std::string log = folder / "log";
    const ombrel_launcher_options_t options = all_options(log, variables);
    opened_or_hit(fail, ombrel_close_launcher, [&] { return ombrel_open_launcher(sleeping, &options); });
}

// A start that fails for want of memory is tried again.
OMBREL_FAILURE_ONCE(Launcher, restart) {
    ombrel_launcher_options_t options;
    ombrel_init_launcher_options(&options);
    options.m_first_pause_ms = options.m_longest_pause_ms = 1;
    ombrel_launcher_t* const launcher = ombrel_open_launcher(sleeping, &options);
    ASSERT_NE(nullptr, launcher);
    ombrel_launcher_state_t state;
    const auto has_started = [&] {
        EXPECT_EQ(0, ombrel_launcher_get_state(launcher, &state));
        return state.m_start_count == 2;
    };
    fail.during_on_all_threads([&] {
        EXPECT_EQ(0, ombrel_launcher_restart(launcher));
        await([&] { return has_started() || state.m_fault != 0; });
        return 0;
    });
    await(has_started);
    EXPECT_TRUE(state.m_fault == 0 || (fail.hit() && state.m_fault == def_ombrel_fault_no_memory));
    EXPECT_EQ(0, ombrel_close_launcher(launcher));
}

OMBREL_FAILURE_ONCE(Launcher, process_service) {
    const descriptor_balance balance;
    // One that ends at once, so that no more than the start is looked at.
    const int fault = fail.during([] {
        EXPECT_EQ(nullptr, ombrel_open_process_service("worker", sleeping + 3, nullptr));
        const char* const ending[] = {"/bin/true", nullptr};
        EXPECT_EQ(nullptr, ombrel_open_process_service("worker", ending, nullptr));
        return ombrel_last_fault();
    });
    EXPECT_TRUE(fault == def_ombrel_fault_closed || (fail.hit() && fault == def_ombrel_fault_no_memory))
        << fault;
}

} // namespace ombrel_test
