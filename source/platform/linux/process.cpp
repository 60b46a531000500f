// Descriptors of processes; kernels before 5.4 have none, which shows when one is asked for.
#include "platform/process.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

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

/// An entry of a directory as the kernel gives it.
struct kernel_entry {
    uint64_t number;
    int64_t next;
    unsigned short size;
    unsigned char kind;
    char name[1];
};

/// -1 for what is no number.
int descriptor_of(const char* name) {
    int descriptor = 0;
    for (; *name >= '0' && *name <= '9'; name++)
        descriptor = descriptor * 10 + (*name - '0');
    return *name == '\0' ? descriptor : -1;
}

/// Kernels before 5.9 and filters of calls know no ranges. The C library's way through a directory takes
/// memory, which is forbidden here.
bool close_listed(int first, int except) {
    const int list = open("/proc/self/fd", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (list < 0)
        return false;
    alignas(kernel_entry) char room[1024];
    for (long size; (size = syscall(SYS_getdents64, list, room, sizeof room)) > 0;)
        for (long offset = 0; offset < size;) {
            const auto* const entry = reinterpret_cast<const kernel_entry*>(room + offset);
            const int descriptor = descriptor_of(room + offset + offsetof(kernel_entry, name));
            if (descriptor >= first && descriptor != except && descriptor != list)
                close(descriptor);
            offset += entry->size;
        }
    close(list);
    return true;
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
