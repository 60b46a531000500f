#include "platform/process.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <signal.h>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/environment.h"
#include "platform/file.h"
#include "platform/host_block.h"
#include "platform/posix/close_from.h"

namespace ombrel::platform {

namespace {

class owned_descriptor {
public:
    explicit owned_descriptor(int descriptor = -1) : descriptor_(descriptor) {}
    ~owned_descriptor() { reset(); }
    owned_descriptor(const owned_descriptor&) = delete;
    owned_descriptor& operator=(const owned_descriptor&) = delete;

    int get() const { return descriptor_; }
    void reset(int descriptor = -1) {
        if (descriptor_ >= 0)
            close(descriptor_);
        descriptor_ = descriptor;
    }

private:
    int descriptor_;
};

/// What becomes the child's descriptors 0, 1, 2, …: each is either in its place or above all of them, so that
/// putting one into its place covers no other.
class child_descriptors {
public:
    explicit child_descriptors(const process_plan& plan) : count_(plan.descriptor_count) {
        while (made_ < count_ && place(plan.descriptors[made_]))
            made_++;
    }

    explicit operator bool() const { return made_ == count_; }
    size_t count() const { return count_; }
    int source(size_t index) const { return sources_[index]; }

private:
    bool place(int descriptor) {
        const int target = static_cast<int>(made_);
        if (descriptor == kept_stream)
            sources_[made_] = target;
        else if (descriptor == empty_stream)
            sources_[made_] = open_above("/dev/null");
        else
            sources_[made_] = descriptor < static_cast<int>(count_) && descriptor != target
                                  ? raise(descriptor)
                                  : descriptor;
        return sources_[made_] >= 0;
    }

    int open_above(const char* path) {
        const owned_descriptor opened(open(path, O_RDWR | O_CLOEXEC));
        return opened.get() >= 0 ? raise(opened.get()) : -1;
    }

    int raise(int descriptor) {
        raised_[made_].reset(fcntl(descriptor, F_DUPFD_CLOEXEC, static_cast<int>(count_)));
        return raised_[made_].get();
    }

    size_t count_, made_ = 0;
    int sources_[most_child_descriptors];
    owned_descriptor raised_[most_child_descriptors];
};

/// Where the program may be, in the order of trying: texts one behind the other, an empty one at the end.
class program_paths {
public:
    explicit program_paths(const process_plan& plan)
        : name_(plan.arguments[0]), paths_(nullptr), from_(nullptr) {
        const bool is_path = !plan.searches || name_.find('/') != name_.npos;
        const char* const variable = getenv("PATH");
        const std::string_view folders = is_path ? "" : variable != nullptr ? variable : "/bin:/usr/bin";
        if (plan.directory != nullptr && (from_ = getcwd(nullptr, 0)) == nullptr)
            return;
        if (make_room(folders))
            put_all(folders);
    }
    ~program_paths() {
        free(paths_);
        free(from_);
    }
    program_paths(const program_paths&) = delete;
    program_paths& operator=(const program_paths&) = delete;

    explicit operator bool() const { return paths_ != nullptr; }
    const char* first() const { return paths_; }

private:
    bool make_room(std::string_view folders) {
        size_t most = 1;
        for (const char unit : folders)
            most += unit == ':';
        const size_t around = (from_ != nullptr ? strlen(from_) : 0) + name_.size() + sizeof "//";
        paths_ = static_cast<char*>(malloc(folders.size() + most * around + 1));
        if (paths_ == nullptr)
            leave_fault(fault_code::no_memory);
        return paths_ != nullptr;
    }

    void put_all(std::string_view folders) {
        for (;;) {
            const size_t size = std::min(folders.find(':'), folders.size());
            put_path({folders.data(), size});
            if (size == folders.size())
                break;
            folders.remove_prefix(size + 1);
        }
        *end_at(used_) = '\0';
    }

    /// An empty folder is the current one, as shells take it.
    void put_path(std::string_view folder) {
        const std::string_view whole = folder.empty() ? name_ : folder;
        if (from_ != nullptr && (whole.empty() || whole[0] != '/')) {
            put(from_);
            put("/");
        }
        put(folder);
        if (!folder.empty())
            put("/");
        put(name_);
        *end_at(used_++) = '\0';
    }

    void put(std::string_view text) {
        memcpy(end_at(used_), text.data(), text.size());
        used_ += text.size();
    }
    char* end_at(size_t offset) { return paths_ + offset; }

    std::string_view name_;
    char* paths_;
    char* from_; ///< null when the child starts where this process is
    size_t used_ = 0;
};

/// Why the child did not become the program.
struct failed_start {
    int error;
    process_part part;
};

/// What the child is told, in memory that it shares with its parent until it is the program. Emulators fork
/// where the host shares, so that it tells its failure in two ways.
struct child_work {
    const process_plan& plan;
    const child_descriptors& descriptors;
    const char* paths;
    char* const* environment;
    int report; ///< the pipe to the parent
    volatile bool is_shared;
    volatile int error;
    volatile process_part part;
};

[[noreturn]] void give_up(child_work& work, process_part part) {
    const failed_start why{errno, part};
    work.part = part;
    work.error = why.error;
    const ssize_t told = write(work.report, &why, sizeof why);
    static_cast<void>(told);
    _exit(127);
}

/// A stream that this process does not have, the child is not to have either.
bool put_in_place(const child_descriptors& descriptors) {
    for (size_t i = 0; i < descriptors.count(); i++) {
        const int source = descriptors.source(i), target = static_cast<int>(i);
        if (source == target)
            fcntl(target, F_SETFD, 0);
        else if (dup2(source, target) < 0)
            return false;
    }
    return true;
}

/// What this process ignores, a program would ignore too.
void forget_signals() {
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    for (int number = 1; number < NSIG; number++)
        sigaction(number, &action, nullptr);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

bool may_be_elsewhere(int error) {
    return error == EACCES || error == ENOENT || error == ENOTDIR || error == ENODEV || error == ESTALE ||
           error == ETIMEDOUT;
}

/// Returns when there is no such program, with why in errno.
void run_first(const char* paths, char* const* arguments, char* const* environment) {
    bool is_denied = false;
    const char* last = paths;
    for (const char* path = paths; *path != '\0'; path += strlen(path) + 1) {
        execve(path, arguments, environment);
        if (!may_be_elsewhere(errno))
            return;
        is_denied = is_denied || errno == EACCES;
        last = path;
    }
    if (is_denied || last != paths)
        errno = is_denied ? EACCES : ENOENT;
}

[[noreturn, gnu::noinline]] void become_program(child_work& work) {
    work.is_shared = true;
    const process_plan& plan = work.plan;
    if (plan.own_session)
        setsid();
    else if (plan.own_group)
        setpgid(0, 0);
    if (!put_in_place(work.descriptors))
        give_up(work, process_part::program);
    if (plan.takes_terminal)
        ioctl(STDIN_FILENO, TIOCSCTTY, 0);
    close_descriptors_from(static_cast<int>(work.descriptors.count()), work.report);
    if (plan.directory != nullptr && chdir(plan.directory) != 0)
        give_up(work, process_part::directory);
    forget_signals();
    run_first(work.paths, const_cast<char* const*>(plan.arguments), work.environment);
    give_up(work, process_part::program);
}

/// No handler of this process may run in a child that shares its memory.
class signals_held {
public:
    signals_held() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~signals_held() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    signals_held(const signals_held&) = delete;
    signals_held& operator=(const signals_held&) = delete;

private:
    sigset_t before_;
};

// A copy of this process's memory map would cost in proportion to its size.
[[gnu::noinline]] pid_t make_child(child_work& work) {
    const signals_held held;
    const pid_t child = vfork(); // NOLINT(clang-analyzer-security.insecureAPI.vfork)
    if (child == 0)
        become_program(work);
    return child;
}

/// The parent goes on when the child is the program or gone, save where an emulator forked.
failed_start outcome(const child_work& work, int reader) {
    failed_start told{0, process_part::program};
    if (work.is_shared)
        return {work.error, work.part};
    if (read_descriptor(reader, &told, sizeof told) != static_cast<int>(sizeof told))
        return {0, process_part::program};
    return told;
}

void collect_failed(pid_t child) {
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
}

int start(const process_plan& plan, const child_descriptors& descriptors, const program_paths& paths,
          process_part& failed) {
    int ends[2];
    if (!open_pipe(ends))
        return -1;
    const owned_descriptor reader(ends[0]);
    owned_descriptor writer(ends[1]);
    if (writer.get() < static_cast<int>(descriptors.count()))
        writer.reset(fcntl(writer.get(), F_DUPFD_CLOEXEC, static_cast<int>(descriptors.count())));
    if (writer.get() < 0)
        return -1;
    char* const* const variables =
        plan.environment != nullptr ? const_cast<char* const*>(plan.environment) : environment();
    child_work work{plan,  descriptors, paths.first(),        variables, writer.get(),
                    false, 0,           process_part::program};
    const pid_t child = make_child(work);
    if (child < 0)
        return -1;
    writer.reset();
    const failed_start why = outcome(work, reader.get());
    if (why.error == 0)
        return child;
    collect_failed(child);
    failed = why.part;
    errno = why.error;
    return -1;
}

} // namespace

int start_process(const process_plan& plan, process_part& failed) {
    failed = process_part::program;
    const child_descriptors descriptors(plan);
    if (!descriptors)
        return -1;
    const program_paths paths(plan);
    return paths ? start(plan, descriptors, paths, failed) : -1;
}

int start_command(const char* command_line, const process_plan& plan, process_part& failed) {
    const char* const arguments[] = {"/bin/sh", "-c", "--", command_line, nullptr};
    process_plan whole = plan;
    whole.arguments = arguments;
    return start_process(whole, failed);
}

} // namespace ombrel::platform
