#include "platform/daemon.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/fault.h"

namespace ombrel::platform {

bool can_detach() {
    return true;
}

detached_as detach_process(int& group) {
    // What a stream holds would come out of both processes.
    fflush(nullptr);
    group = fork();
    if (group != 0)
        return group > 0 ? detached_as::starter : detached_as::nobody;
    setsid();
    const pid_t daemon = fork();
    if (daemon > 0)
        end_at_once(0);
    return daemon == 0 ? detached_as::daemon : detached_as::orphan;
}

void end_group(int group) {
    kill(-group, SIGKILL);
}

void end_at_once(int exit_code) {
    _exit(exit_code);
}

int raise_descriptor(int descriptor) {
    if (descriptor < 0 || descriptor > STDERR_FILENO)
        return descriptor;
    const int raised = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const fault_keeper kept;
    close(descriptor);
    return raised;
}

bool enter_place(const daemon_place& place) {
    if (chdir(place.directory) != 0)
        return false;
    if (place.mask >= 0)
        umask(static_cast<mode_t>(place.mask));
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; stream++)
        if (dup2(place.streams[stream], stream) < 0)
            return false;
    return true;
}

} // namespace ombrel::platform
