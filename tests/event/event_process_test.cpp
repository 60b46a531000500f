#include <ombrel/event_process.h>

#include <cerrno>
#include <csignal>
#include <deque>
#include <sys/resource.h>
#include <sys/wait.h>
#include <utility>

#if defined(__linux__)
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#endif

#include "event/event_fixture.h"
#include "support/child.h"
#include "support/descriptor_balance.h"

namespace {

using namespace ombrel_test;

/// A child process that lives until it is let go or ended.
class child {
public:
    explicit child(int exit_code = 0) {
        EXPECT_EQ(0, ::pipe(ends_));
        if ((process = ::fork()) != 0)
            return;
        ::close(ends_[1]);
        char byte;
        while (::read(ends_[0], &byte, 1) < 0)
            continue;
        ::_exit(exit_code);
    }
    child(const child&) = delete;
    ~child() { let_go(); }

    void let_go() {
        // Not by closing alone: a younger child has a copy.
        if (ends_[1] >= 0) {
            EXPECT_EQ(1, ::write(ends_[1], "", 1));
        }
        for (int& end : ends_)
            if (end >= 0)
                ::close(std::exchange(end, -1));
    }
    /// Comes back when it has ended; its status stays with the system.
    void await_end() {
        let_go();
        siginfo_t found;
        EXPECT_EQ(0, ::waitid(P_PID, static_cast<id_t>(process), &found, WEXITED | WNOWAIT));
    }
    /// What a later waiter gets, or -1.
    int wait() const {
        int status = 0;
        return ::waitpid(process, &status, 0) == process ? WEXITSTATUS(status) : -1;
    }

    pid_t process;

private:
    int ends_[2];
};

bool has_descriptors_of_processes() {
#if defined(SYS_pidfd_open)
    const int own = static_cast<int>(::syscall(SYS_pidfd_open, ::getpid(), 0));
    siginfo_t found;
    const int result = ::waitid(static_cast<idtype_t>(3), static_cast<id_t>(own), &found, WEXITED | WNOHANG);
    const bool has = own >= 0 && result != 0 && errno == ECHILD;
    ::close(own);
    return has;
#else
    return false;
#endif
}

class EventProcess : public event_test {
protected:
    void SetUp() override {
        event_test::SetUp();
        if (!has_descriptors_of_processes())
            GTEST_SKIP() << "this host has no descriptors of processes";
    }

    /// Until the event was called so often.
    void run_until(const recorder& event, size_t calls) {
        while (event.results.size() < calls)
            ASSERT_NO_FATAL_FAILURE(once());
    }

    descriptor_balance balance_;
};

int watch(recorder& event, pid_t process) {
    return ombrel_event_set_process(&event.event, process);
}

const results one_end{def_ombrel_event_process_end};

TEST_F(EventProcess, TellsTheEndOnceBeforeAndAfterItCame) {
    const struct {
        int exit_code, signal;
        uint32_t flags;
        bool ends_first;
    } cases[] = {{0, 0, 0, true},
                 {7, 0, 0, false},
                 {255, 0, persist, true},
                 {-1, SIGKILL, persist, false},
                 {-1, SIGTERM, 0, true}};
    for (const auto& one : cases) {
        child process(one.exit_code);
        recorder event(base, -1, one.flags);
        const auto end = [&] {
            if (one.signal != 0)
                ::kill(process.process, one.signal);
            process.await_end();
        };
        if (one.ends_first)
            end();
        EXPECT_EQ(0, watch(event, process.process));
        EXPECT_EQ(0, event.add());
        EXPECT_EQ(def_ombrel_event_process_end, ombrel_event_pending(&event.event, ~0u, nullptr));
        if (!one.ends_first) {
            poll();
            EXPECT_TRUE(event.results.empty());
            end();
        }
        run_until(event, 1);
        poll();
        EXPECT_EQ(one_end, event.results);
        EXPECT_EQ(std::vector<int>{process.process}, event.fds);
        EXPECT_EQ(one.exit_code, event.event.m_exit_code);
        EXPECT_EQ(one.signal, event.event.m_exit_signal);
        EXPECT_EQ(0, ombrel_event_pending(&event.event, ~0u, nullptr)) << "not registered any more";
        EXPECT_EQ(-1, process.wait()) << "the loop took the status";
    }
}

TEST_F(EventProcess, TellsEveryEventOfEveryBase) {
    ombrel_event_base_t* const other_base = ombrel_new_event_base();
    {
        child process(9);
        recorder first(base, -1, 0), second(base, -1, 0), third(other_base, -1, 0);
        const std::initializer_list<recorder*> all{&first, &second, &third};
        for (recorder* event : all)
            EXPECT_EQ(0, watch(*event, process.process));
        add(all);
        process.await_end();
        run_until(first, 1);
        run_until(second, 1);
        EXPECT_EQ(0, ombrel_event_base_loop(other_base, def_ombrel_event_loop_once));
        for (recorder* event : all) {
            EXPECT_EQ(one_end, event->results);
            EXPECT_EQ(9, event->event.m_exit_code);
        }
    }
    EXPECT_EQ(0, ombrel_free_event_base(other_base));
}

TEST_F(EventProcess, LeavesAChildAloneThatNobodyWatchesAtItsEnd) {
    child process(5);
    recorder event(base, -1, 0), late(base, -1, 0);
    EXPECT_EQ(0, watch(event, process.process));
    EXPECT_EQ(0, event.add(0));
    once();
    EXPECT_EQ(results{on_timeout}, event.results) << "still running";
    EXPECT_EQ(0, event.add());
    EXPECT_EQ(0, event.del());
    process.await_end();
    poll();
    EXPECT_EQ(1u, event.results.size());
    EXPECT_EQ(0, watch(late, process.process));
    EXPECT_EQ(5, process.wait()) << "its status was left where it was";
    for (recorder* one : {&event, &late}) {
        EXPECT_EQ(0, one->add());
        one->results.clear();
        run_until(*one, 1);
        EXPECT_EQ(one_end, one->results);
        EXPECT_EQ(-1, one->event.m_exit_code) << "nobody can tell";
        EXPECT_EQ(0, one->event.m_exit_signal);
    }
}

TEST_F(EventProcess, AHandlerTurnsToTheNextChild) {
    child processes[] = {child(1), child(2), child(3)};
    std::vector<int> codes;
    const auto turn_to = [](recorder& event, child& next) {
        next.let_go();
        EXPECT_EQ(0, watch(event, next.process));
        EXPECT_EQ(0, event.add());
    };
    recorder event(base, -1, persist, [&](recorder& self) {
        codes.push_back(self.event.m_exit_code);
        if (codes.size() < std::size(processes))
            turn_to(self, processes[codes.size()]);
    });
    turn_to(event, processes[0]);
    run_until(event, 3);
    EXPECT_EQ((std::vector<int>{1, 2, 3}), codes);
}

TEST_F(EventProcess, RefusalsSayWhy) {
    child process, gone;
    gone.await_end();
    EXPECT_EQ(0, gone.wait());
    recorder event(base, -1, 0), added(base, -1, 0), homeless(nullptr, -1, 0);
    recorder of_socket(base, 0, 0), of_signal(base, SIGUSR1, on_signal);
    EXPECT_EQ(0, added.add(10000));
    const struct {
        recorder* event;
        int process;
        const char* reason;
    } cases[] = {{&event, -1, "no such child process !"},
                 {&event, ::getpid(), "no such child process !"},
                 {&event, gone.process, "no such child process !"},
                 {&of_socket, process.process, "s_event watches something else !"},
                 {&of_signal, process.process, "s_event watches something else !"},
                 {&added, process.process, "s_event is already added !"}};
    for (const auto& one : cases)
        EXPECT_EQ(std::string("ombrel_event_set_process: [ERROR] ") + one.reason + "\n",
                  errors_of([&] { EXPECT_EQ(-1, watch(*one.event, one.process)); }));
    const std::string errors = errors_of([&] {
        EXPECT_EQ(-1, watch(homeless, process.process));
        EXPECT_EQ(-1, ombrel_event_set_process(nullptr, process.process));
    });
    EXPECT_NE(std::string::npos, errors.find("event->m_base is null"));
    EXPECT_EQ(0, watch(event, process.process));
    EXPECT_EQ(0, watch(event, 0)) << "taken away again";
    EXPECT_EQ(-1, event.event.m_fd);
    process.await_end();
    EXPECT_EQ(0, process.wait());
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr size_t most_children = 100; // a fork copies all that the sanitizer keeps
#else
constexpr size_t most_children = 2000;
#endif

TEST_F(EventProcess, ThousandsOfChildrenAreToldWhileTheLoopRunsElsewhere) {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const size_t count = std::min<size_t>(most_children, limit.rlim_cur / 2);
    EXPECT_EQ(0, ombrel_event_base_start_service(base));
    int gate[2];
    ASSERT_EQ(0, ::pipe(gate));
    std::atomic<size_t> ended{0}, right{0};
    std::deque<recorder> events;
    for (size_t i = 0; i < count; i++) {
        const int code = static_cast<int>(i % 256);
        const pid_t process = ::fork();
        if (process == 0) {
            char byte;
            ::close(gate[1]);
            ::_exit(::read(gate[0], &byte, 1) == 0 ? code : 1);
        }
        recorder& event = events.emplace_back(base, -1, 0u, [&ended, &right, code](recorder& self) {
            right += self.event.m_exit_code == code;
            ended++;
        });
        ASSERT_EQ(0, watch(event, process));
        ASSERT_EQ(0, event.add());
    }
    ::close(gate[0]);
    ::close(gate[1]);
    for (int i = 0; i < 60000 && ended < count; i++)
        ::usleep(1000);
    EXPECT_EQ(0, ombrel_event_base_stop_service(base));
    EXPECT_EQ(count, right.load());
    EXPECT_EQ(-1, ::waitpid(-1, nullptr, WNOHANG)) << "none is left";
}

#if defined(__linux__) && defined(SYS_pidfd_open)

// A kernel without the call, as far as this process can tell.
bool forbid_descriptors_of_processes(int error) {
    sock_filter steps[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_pidfd_open, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<uint32_t>(error)),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program{static_cast<unsigned short>(std::size(steps)), steps};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

TEST_F(EventProcess, AHostWithoutTheCallSaysSo) {
    for (const int error : {ENOSYS, EPERM})
        EXPECT_EQ(0, in_child([&] {
                      if (!forbid_descriptors_of_processes(error))
                          return true;
                      const child own;
                      recorder event(base, -1, 0);
                      return watch(event, own.process) == def_ombrel_event_not_supported;
                  }));
}

#endif

} // namespace
