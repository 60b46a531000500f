// Work in a child process.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#if !defined(_WIN32)
#include <sys/wait.h>
#endif

namespace ombrel_test {

#if defined(_WIN32)

inline constexpr bool can_fork = false;

template<typename Work>
int in_child(const Work&) {
    return -1;
}

#else

inline constexpr bool can_fork = true;

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

#endif

} // namespace ombrel_test

/// Stands first in tests of forks.
#define OMBREL_TEST_NEEDS_FORK()                                                                             \
    if (!ombrel_test::can_fork)                                                                              \
    GTEST_SKIP() << "this host has no fork"
