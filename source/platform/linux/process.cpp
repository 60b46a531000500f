// Descriptors of processes; kernels before 5.4 have none, which shows when one is asked for.
#include "platform/process.h"

#include <cerrno>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ombrel::platform {

namespace {

// Headers older than the kernel lack both.
#if defined(SYS_pidfd_open)
constexpr long open_call = SYS_pidfd_open;
#else
constexpr long open_call = 434;
#endif
constexpr auto by_descriptor = static_cast<idtype_t>(3);

child_state look(int descriptor, int options, process_end& end) {
    end = {-1, 0};
    siginfo_t found{};
    if (waitid(by_descriptor, static_cast<id_t>(descriptor), &found, WEXITED | WNOHANG | options) != 0)
        return child_state::unknown;
    if (found.si_pid == 0)
        return child_state::running;
    if (found.si_code == CLD_EXITED)
        end.exit_code = found.si_status;
    else
        end.signal_number = found.si_status;
    return child_state::ended;
}

} // namespace

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

child_state look_at_child(int descriptor) {
    process_end unused;
    return look(descriptor, WNOWAIT, unused);
}

child_state collect_child(int descriptor, process_end& end) {
    return look(descriptor, 0, end);
}

} // namespace ombrel::platform
