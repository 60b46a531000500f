#include "platform/process.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <signal.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/fault.h"
#include "platform/posix/close_from.h"

namespace ombrel::platform {

namespace {

process_end describe(int status) {
    if (WIFSIGNALED(status))
        return {-1, WTERMSIG(status)};
    return {WEXITSTATUS(status), 0};
}

/// A child that nobody else waits for.
struct abandoned_process {
    abandoned_process* next;
    int process;
    int descriptor;
};

/// Taken and put back as a whole, so that it stays in order over a fork.
std::atomic<abandoned_process*> abandoned;

void put_back(abandoned_process* one) {
    one->next = abandoned.load(std::memory_order_relaxed);
    while (!abandoned.compare_exchange_weak(one->next, one, std::memory_order_acq_rel)) {
    }
}

bool has_been_collected(const abandoned_process& one) {
    process_end unused;
    if (one.descriptor < 0)
        return collect_process(one.process, unused);
    return collect_child(one.descriptor, unused) != child_state::running;
}

void dispose(abandoned_process* one) {
    if (one->descriptor >= 0)
        close(one->descriptor);
    free(one);
}

} // namespace

bool is_child(int process) {
    process_end unused;
    return look_at_process(process, unused) != child_state::unknown;
}

child_state look_at_process(int process, process_end& end) {
    end = {-1, 0};
    siginfo_t found{};
    if (process <= 0 || waitid(P_PID, static_cast<id_t>(process), &found, WEXITED | WNOHANG | WNOWAIT) != 0)
        return child_state::unknown;
    if (found.si_pid == 0)
        return child_state::running;
    (found.si_code == CLD_EXITED ? end.exit_code : end.signal_number) = found.si_status;
    return child_state::ended;
}

// A host that ignores the end of its children learns no more than that they have ended.
bool collect_process(int process, process_end& end) {
    int status = 0;
    pid_t result;
    do
        result = waitpid(process, &status, WNOHANG);
    while (result < 0 && errno == EINTR);
    if (result == 0)
        return false;
    end = result == process ? describe(status) : process_end{-1, 0};
    return true;
}

// Without memory for it, it is never collected.
void abandon_process(int process, int descriptor) {
    auto* const one = static_cast<abandoned_process*>(malloc(sizeof(abandoned_process)));
    if (one != nullptr) {
        *one = {nullptr, process, descriptor};
        put_back(one);
    } else if (descriptor >= 0)
        close(descriptor);
    collect_abandoned_processes();
}

void collect_abandoned_processes() {
    if (abandoned.load(std::memory_order_relaxed) == nullptr)
        return;
    const fault_keeper kept;
    abandoned_process* next = abandoned.exchange(nullptr, std::memory_order_acq_rel);
    while (abandoned_process* const one = next) {
        next = one->next;
        if (has_been_collected(*one))
            dispose(one);
        else
            put_back(one);
    }
}

bool signal_process(int process, int signal_number) {
    return kill(process, signal_number) == 0;
}

bool signal_group(int leader, int signal_number) {
    return kill(-leader, signal_number) == 0;
}

#if !defined(__linux__)

void close_descriptors_from(int first, int except) {
    const long end = sysconf(_SC_OPEN_MAX);
    for (int descriptor = first; descriptor < end; descriptor++)
        if (descriptor != except)
            close(descriptor);
}

int open_process(int) {
    errno = ENOSYS;
    return -1;
}

bool can_open_processes() {
    return false;
}

child_state look_at_child(int, process_end& end) {
    end = {-1, 0};
    return child_state::unknown;
}

child_state collect_child(int, process_end& end) {
    end = {-1, 0};
    return child_state::unknown;
}

bool group_runs(int leader) {
    return kill(-leader, 0) == 0 || errno == EPERM;
}

#endif

} // namespace ombrel::platform
