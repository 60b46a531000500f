// What an emulator of another processor does otherwise than a kernel, found out by plain system calls: the
// tests of what stands on it skip themselves.
#pragma once

#if defined(_WIN32)

namespace ombrel_test {
inline bool starts_missing_programs() {
    return false;
}
inline bool cannot_start_itself() {
    return false;
}
inline bool refuses_multicast_interface() {
    return false;
}
inline bool knows_plain_terminals_alone() {
    return false;
}
} // namespace ombrel_test

#else

#include <arpa/inet.h>
#include <cstdlib>
#include <fcntl.h>
#include <netinet/in.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ombrel_test {

inline bool starts(const char* program) {
    pid_t process = -1;
    char name[] = "started", *arguments[] = {name, nullptr}, *environment[] = {nullptr};
    if (posix_spawn(&process, program, nullptr, nullptr, arguments, environment) != 0)
        return false;
    waitpid(process, nullptr, 0);
    return true;
}

inline bool starts_missing_programs() {
    return starts("/ombrel_there_is_no_such_program");
}

/// The kernel starts programs of its own processor alone.
inline bool cannot_start_itself() {
    const pid_t child = fork();
    if (child == 0) {
        execl("/proc/self/exe", "itself", "--gtest_list_tests", static_cast<char*>(nullptr));
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 127;
}

inline bool refuses_multicast_interface() {
    const in_addr loopback{htonl(INADDR_LOOPBACK)};
    const int s = socket(AF_INET, SOCK_DGRAM, 0);
    const bool refused = setsockopt(s, IPPROTO_IP, IP_MULTICAST_IF, &loopback, sizeof loopback) != 0;
    close(s);
    return refused;
}

/// Requests to terminals have numbers of their own for each processor, of which not all are handed on.
inline bool knows_plain_terminals_alone() {
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    const bool is_open = grantpt(master) == 0 && unlockpt(master) == 0;
    const int terminal = is_open ? open(ptsname(master), O_RDWR | O_NOCTTY) : -1;
    const bool has_break = ioctl(terminal, TIOCSBRK) == 0 && ioctl(terminal, TIOCCBRK) == 0;
    close(terminal);
    close(master);
    return !has_break;
}

} // namespace ombrel_test

#endif
