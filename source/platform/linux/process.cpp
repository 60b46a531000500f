// Descriptors of processes; kernels before 5.4 have none, which shows when one is asked for.
#include "platform/process.h"

#include <cerrno>
#include <limits.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/linux/directory_reader.h"
#include "platform/posix/close_from.h"

namespace ombrel::platform {

namespace {

// Headers older than the kernel lack these.
#if defined(SYS_pidfd_open)
constexpr long open_call = SYS_pidfd_open;
#else
constexpr long open_call = 434;
#endif
#if defined(SYS_close_range)
constexpr long close_call = SYS_close_range;
#else
constexpr long close_call = 436;
#endif
constexpr auto by_descriptor = static_cast<idtype_t>(3);

child_state look(int descriptor, int options, process_end& end) {
    end = {-1, 0};
    siginfo_t found{};
    if (waitid(by_descriptor, static_cast<id_t>(descriptor), &found, WEXITED | WNOHANG | options) != 0)
        return child_state::unknown;
    if (found.si_pid == 0)
        return child_state::running;
    (found.si_code == CLD_EXITED ? end.exit_code : end.signal_number) = found.si_status;
    return child_state::ended;
}

bool close_between(int first, int last) {
    return first > last || syscall(close_call, first, last, 0) == 0;
}

/// Kernels before 5.9 and filters of calls know no ranges.
bool close_listed(int first, int except) {
    directory_reader list("/proc/self/fd");
    int descriptor = -1, step;
    while ((step = list.next(descriptor)) == 1)
        if (descriptor >= first && descriptor != except && descriptor != list.descriptor())
            close(descriptor);
    return step == 0;
}

} // namespace

void close_descriptors_from(int first, int except) {
    if (close_between(first, except - 1) && close_between(except + 1, INT_MAX))
        return;
    if (close_listed(first, except))
        return;
    const long end = sysconf(_SC_OPEN_MAX);
    for (int descriptor = first; descriptor < end; descriptor++)
        if (descriptor != except)
            close(descriptor);
}

int open_process(int process) {
    return static_cast<int>(syscall(open_call, process, 0));
}

// A filter of calls may forbid what it does not know, and the first kernels with descriptors of processes
// cannot take a status by one. Nobody is a child of itself, which is an error of another kind.
bool can_open_processes() {
    const int own = open_process(getpid());
    process_end unused;
    if (own >= 0)
        look(own, WNOWAIT, unused);
    const int error = errno;
    if (own >= 0)
        close(own);
    return error != ENOSYS && error != EPERM && error != EINVAL;
}

child_state look_at_child(int descriptor, process_end& end) {
    return look(descriptor, WNOWAIT, end);
}

child_state collect_child(int descriptor, process_end& end) {
    return look(descriptor, 0, end);
}

} // namespace ombrel::platform
