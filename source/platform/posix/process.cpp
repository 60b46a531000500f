#include "platform/process.h"

#include <cerrno>
#include <fcntl.h>
#include <initializer_list>
#include <signal.h>
#include <spawn.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/environment.h"

#if defined(__GLIBC_PREREQ)
#define OMBREL_SPAWN_CLOSES_FROM __GLIBC_PREREQ(2, 34)
#else
#define OMBREL_SPAWN_CLOSES_FROM 0
#endif

namespace ombrel::platform {

namespace {

constexpr int first_free_descriptor = STDERR_FILENO + 1;

/// A descriptor outside of the standard ones, so that putting one stream in its place cannot cover the other.
class raised_descriptor {
public:
    explicit raised_descriptor(int descriptor)
        : descriptor_(descriptor >= 0 ? fcntl(descriptor, F_DUPFD_CLOEXEC, first_free_descriptor) : -1),
          is_good_(descriptor < 0 || descriptor_ >= 0) {}
    ~raised_descriptor() {
        if (descriptor_ >= 0)
            close(descriptor_);
    }
    raised_descriptor(const raised_descriptor&) = delete;
    raised_descriptor& operator=(const raised_descriptor&) = delete;

    int get() const { return descriptor_; }
    explicit operator bool() const { return is_good_; }

private:
    int descriptor_;
    bool is_good_;
};

/// What the child does with descriptors before it becomes the program.
class descriptor_plan {
public:
    descriptor_plan() : error_(posix_spawn_file_actions_init(&actions_)), is_made_(error_ == 0) {}
    ~descriptor_plan() {
        if (is_made_)
            posix_spawn_file_actions_destroy(&actions_);
    }
    descriptor_plan(const descriptor_plan&) = delete;
    descriptor_plan& operator=(const descriptor_plan&) = delete;

    void put(int descriptor, int as) {
        if (error_ == 0)
            error_ = posix_spawn_file_actions_adddup2(&actions_, descriptor, as);
    }
    void put_nothing_to_read(int as) {
        if (error_ == 0)
            error_ = posix_spawn_file_actions_addopen(&actions_, as, "/dev/null", O_RDONLY, 0);
    }
    /// Descriptors of the host that were opened without care; where this is missing they are inherited.
    void close_all_others() {
#if OMBREL_SPAWN_CLOSES_FROM
        if (error_ == 0)
            error_ = posix_spawn_file_actions_addclosefrom_np(&actions_, first_free_descriptor);
#endif
    }

    int error() const {
        return error_;
    }
    const posix_spawn_file_actions_t* get() const {
        return &actions_;
    }

private:
    posix_spawn_file_actions_t actions_;
    int error_;
    bool is_made_;
};

/// Signals as a freshly started program expects them, whatever the host ignores or blocks.
class fresh_attributes {
public:
    fresh_attributes() : error_(posix_spawnattr_init(&attributes_)), is_made_(error_ == 0) {
        sigset_t none, defaults;
        sigemptyset(&none);
        sigemptyset(&defaults);
        for (const int signal_number : {SIGPIPE, SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGCHLD})
            sigaddset(&defaults, signal_number);
        if (error_ == 0)
            error_ = posix_spawnattr_setsigmask(&attributes_, &none);
        if (error_ == 0)
            error_ = posix_spawnattr_setsigdefault(&attributes_, &defaults);
        if (error_ == 0)
            error_ = posix_spawnattr_setpgroup(&attributes_, 0);
        constexpr short flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP;
        if (error_ == 0)
            error_ = posix_spawnattr_setflags(&attributes_, flags);
    }
    ~fresh_attributes() {
        if (is_made_)
            posix_spawnattr_destroy(&attributes_);
    }
    fresh_attributes(const fresh_attributes&) = delete;
    fresh_attributes& operator=(const fresh_attributes&) = delete;

    int error() const { return error_; }
    const posix_spawnattr_t* get() const { return &attributes_; }

private:
    posix_spawnattr_t attributes_;
    int error_;
    bool is_made_;
};

process_end describe(int status) {
    if (WIFSIGNALED(status))
        return {-1, WTERMSIG(status)};
    return {WEXITSTATUS(status), 0};
}

} // namespace

int start_process(const char* const* arguments, const process_streams& streams) {
    const raised_descriptor input(streams.input), output(streams.output);
    if (!input || !output)
        return -1;
    descriptor_plan plan;
    if (input.get() >= 0)
        plan.put(input.get(), STDIN_FILENO);
    else
        plan.put_nothing_to_read(STDIN_FILENO);
    if (output.get() >= 0)
        plan.put(output.get(), STDOUT_FILENO);
    plan.close_all_others();
    const fresh_attributes attributes;
    pid_t process = -1;
    int error = plan.error() != 0 ? plan.error() : attributes.error();
    if (error == 0)
        error = posix_spawnp(&process, arguments[0], plan.get(), attributes.get(),
                             const_cast<char* const*>(arguments), environment());
    errno = error;
    return error == 0 ? process : -1;
}

int start_command(const char* command_line, const process_streams& streams) {
    const char* const arguments[] = {"/bin/sh", "-c", "--", command_line, nullptr};
    return start_process(arguments, streams);
}

bool is_child(int process) {
    siginfo_t found;
    return process > 0 && waitid(P_PID, static_cast<id_t>(process), &found, WEXITED | WNOHANG | WNOWAIT) == 0;
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

#if !defined(__linux__)

int open_process(int) {
    errno = ENOSYS;
    return -1;
}

bool can_open_processes() {
    return false;
}

child_state look_at_child(int) {
    return child_state::unknown;
}

child_state collect_child(int, process_end& end) {
    end = {-1, 0};
    return child_state::unknown;
}

#endif

void stop_process(int process, process_stop how) {
    const int signal_number = how == process_stop::polite ? SIGTERM : SIGKILL;
    if (kill(-process, signal_number) != 0)
        kill(process, signal_number);
}

} // namespace ombrel::platform
