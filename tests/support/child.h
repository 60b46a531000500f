// Work in a child process.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

namespace ombrel_test {

/// The status of a child that does the work, 0 when that gave true; a child that hangs is ended.
template<typename Work>
int in_child(const Work& work) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        _exit(work() ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

} // namespace ombrel_test
