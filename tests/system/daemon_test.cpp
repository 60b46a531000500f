// Daemons and pid files at the public interface.
#include <ombrel/daemon.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/fault.h>
#include <ombrel/process.h>

#include "support/child.h"
#include "support/descriptor_balance.h"
#include "support/heap_balance.h"
#include "support/scratch_directory.h"
#include "support/threads.h"

#if !defined(_WIN32)
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#endif

namespace {

using namespace ombrel_test;

class PidFile : public ::testing::Test {
protected:
    /// 1 when it has an owner, 0 when it has none.
    int look(int* process = nullptr) const { return ombrel_read_pid_file(path.c_str(), process); }
    int owner() const {
        int process = -1;
        look(&process);
        return process;
    }
    ombrel_pid_file_t* open() const { return ombrel_open_pid_file(path.c_str()); }

    heap_balance heap;
    descriptor_balance descriptors;
    scratch_directory folder;
    const std::string path = folder / "a.pid";
};

class Daemon : public PidFile {};

TEST_F(PidFile, HasOneOwnerAndGoesWithIt) {
    EXPECT_EQ(0, look());
    ombrel_pid_file_t* const file = open();
    ASSERT_NE(nullptr, file);
    EXPECT_EQ(std::to_string(getpid()) + "\n", folder.read("a.pid"));
    EXPECT_EQ(1, look());
    EXPECT_EQ(getpid(), owner());
    EXPECT_EQ(nullptr, open());
    EXPECT_EQ(def_ombrel_fault_busy, ombrel_last_fault());
    EXPECT_EQ(0, ombrel_close_pid_file(file));
    EXPECT_EQ(-1, access(path.c_str(), F_OK));
    EXPECT_EQ(0, owner());
}

TEST_F(PidFile, IsTakenOverWhenItIsStaleAndNothingElse) {
    const struct {
        std::string content;
        int number;
        bool is_taken;
    } cases[] = {
        {"", 0, true},
        {"1\n", 1, true}, // that process lives, but does not own it
        {"0000012 \r\n", 12, true},
        {std::string("77\n\0\0", 5), 77, true},
        {"0\n", 0, false},
        {"-5\n", 0, false},
        {"99999999999\n", 0, false},
        {"12 34\n", 0, false},
        {"settings = 1\n", 0, false},
        {std::string(5000, '1'), 0, false},
    };
    for (const auto& one : cases) {
        folder.write("a.pid", one.content);
        EXPECT_EQ(0, look()) << one.content;
        EXPECT_EQ(one.number, owner()) << one.content;
        ombrel_pid_file_t* const file = open();
        EXPECT_EQ(one.is_taken, file != nullptr) << one.content;
        if (!one.is_taken) {
            EXPECT_EQ(def_ombrel_fault_exists, ombrel_last_fault());
            EXPECT_EQ(one.content, folder.read("a.pid"));
        }
        ombrel_close_pid_file(file);
    }
}

TEST_F(PidFile, IsLeftByWhoDoesNotOwnIt) {
    if (can_fork) { // and removes files that are open
        ombrel_pid_file_t* file = open();
        ASSERT_NE(nullptr, file);
        remove_all(path);
        folder.write("a.pid", "5\n");
        EXPECT_EQ(0, ombrel_close_pid_file(file));
        EXPECT_EQ("5\n", folder.read("a.pid"));
        file = open();
        ASSERT_NE(nullptr, file);
        EXPECT_EQ(0, in_child([&] { return ombrel_close_pid_file(file) == 0; }));
        EXPECT_EQ(1, look());
        ombrel_close_pid_file(file);
    }
    EXPECT_EQ(0, ombrel_close_pid_file(nullptr));
    for (const char* const wrong : {static_cast<const char*>(nullptr), "", "no_such_folder/a.pid"}) {
        EXPECT_EQ(nullptr, ombrel_open_pid_file(wrong));
        EXPECT_EQ(wrong == nullptr ? def_ombrel_fault_invalid : def_ombrel_fault_not_found,
                  ombrel_last_fault());
    }
    EXPECT_EQ(-1, ombrel_read_pid_file(nullptr, nullptr));
    EXPECT_EQ(-1, ombrel_stop_pid_file_owner(path.c_str(), 0));
    EXPECT_EQ(def_ombrel_fault_no_process, ombrel_last_fault());
}

TEST_F(Daemon, IsRefusedWhatTheHostOrTheOptionsCannotBe) {
    ombrel_daemon_options_t options;
    ombrel_init_daemon_options(&options);
    options.m_mask = 01000;
    EXPECT_EQ(nullptr, ombrel_open_daemon(&options));
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    EXPECT_EQ(-1, ombrel_init_daemon_options(nullptr));
    EXPECT_EQ(-1, ombrel_daemon_ready(nullptr));
    if (can_fork)
        return;
    EXPECT_EQ(nullptr, ombrel_open_daemon(nullptr));
    EXPECT_EQ(def_ombrel_fault_not_supported, ombrel_last_fault());
}

TEST_F(Daemon, StaysInTheForegroundWhenAsked) {
    ombrel_daemon_options_t options;
    ombrel_init_daemon_options(&options);
    options.m_flags = def_ombrel_daemon_foreground;
    options.m_pid_file = path.c_str();
    ombrel_daemon_t* const daemon = ombrel_open_daemon(&options);
    ASSERT_NE(nullptr, daemon);
    EXPECT_EQ(getpid(), owner());
    EXPECT_EQ(-1, ombrel_daemon_fail(daemon, 0, "this is no failure"));
    EXPECT_EQ(0, ombrel_daemon_ready(daemon));
    EXPECT_EQ(-1, ombrel_daemon_ready(daemon));
    EXPECT_EQ(0, ombrel_close_daemon(daemon));
    EXPECT_EQ(0, look());
}

#if !defined(_WIN32)

/// A child that works until somebody ends it, or the object.
class working_child : no_copy {
public:
    explicit working_child(const std::function<void()>& work) {
        int ready[2];
        EXPECT_EQ(0, pipe(ready));
        process_ = fork();
        if (process_ == 0) {
            alarm(60);
            work();
            EXPECT_EQ(1, write(ready[1], "", 1));
            for (;;)
                pause();
        }
        close(ready[1]);
        char byte;
        EXPECT_EQ(1, read(ready[0], &byte, 1));
        close(ready[0]);
    }
    ~working_child() { end(); }
    int process() const { return process_; }
    void end() {
        if (process_ <= 0)
            return;
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
        process_ = 0;
    }

private:
    pid_t process_;
};

TEST_F(PidFile, SurvivesACrash) {
    working_child crashing([&] { EXPECT_NE(nullptr, open()); });
    const int process = crashing.process();
    EXPECT_EQ(1, look());
    EXPECT_EQ(process, owner());
    EXPECT_EQ(nullptr, open());
    crashing.end();
    EXPECT_EQ(0, look());
    EXPECT_EQ(process, owner());
    ombrel_pid_file_t* const file = open();
    EXPECT_NE(nullptr, file);
    EXPECT_EQ(getpid(), owner());
    ombrel_close_pid_file(file);
}

TEST_F(PidFile, GoesToOneOfManyWhileOthersLook) {
    std::atomic<bool> is_over = false, may_look = true, is_looking = true;
    const auto tell = [](std::atomic<bool>& word, bool value) {
        word = value;
        word.notify_one();
    };
    std::thread looking([&] {
        while (!is_over) {
            EXPECT_GE(look(), 0);
            if (may_look)
                continue;
            tell(is_looking, false);
            may_look.wait(false);
            tell(is_looking, true);
        }
    });
    for (int round = 0; round < 30; round++) {
        if (round % 2 == 0)
            folder.write("a.pid", "12345\n");
        int start[2], results[2], stop[2];
        ASSERT_EQ(0, pipe(start) | pipe(results) | pipe(stop));
        constexpr int racers = 6;
        std::vector<pid_t> children;
        tell(may_look, false); // an emulator's own locks stay held in children where others are at work
        is_looking.wait(true);
        for (int i = 0; i < racers; i++) {
            children.push_back(fork());
            if (children.back() != 0)
                continue;
            alarm(60);
            close(start[1]);
            close(stop[1]);
            char byte;
            (void)!read(start[0], &byte, 1); // to its end, which all see at once
            const bool won = open() != nullptr;
            const char result = won ? 'w' : ombrel_last_fault() == def_ombrel_fault_busy ? 'b' : '?';
            (void)!write(results[1], &result, 1);
            (void)!read(stop[0], &byte, 1);
            _exit(0); // as in a crash
        }
        tell(may_look, true);
        is_looking.wait(false);
        close(start[1]);
        std::string told;
        for (char result; told.size() < racers && read(results[0], &result, 1) == 1;)
            told += result;
        std::ranges::sort(told);
        EXPECT_EQ(std::string(racers - 1, 'b') + "w", told);
        close(stop[1]);
        for (const pid_t child : children)
            waitpid(child, nullptr, 0);
        for (const int end : {start[0], results[0], results[1], stop[0]})
            close(end);
    }
    is_over = true;
    looking.join();
}

TEST_F(PidFile, LetsItsOwnerBeStopped) {
    {
        working_child obedient([&] { EXPECT_NE(nullptr, open()); });
        EXPECT_EQ(1, ombrel_stop_pid_file_owner(path.c_str(), 60000));
    }
    working_child stubborn([&] {
        signal(SIGTERM, SIG_IGN);
        EXPECT_NE(nullptr, open());
    });
    EXPECT_EQ(0, ombrel_stop_pid_file_owner(path.c_str(), 0));
    EXPECT_EQ(0, ombrel_stop_pid_file_owner(path.c_str(), 20));
    EXPECT_EQ(1, look());
}

/// Exit code and error text of a process that stands for the one that a user starts; 200 and the fault where
/// it could not become a daemon.
template<typename Work>
std::pair<int, std::string> start_daemon(
    const ombrel_daemon_options_t& options, const Work& work, void (*before)() = [] {}) {
    const scratch_directory folder;
    const int errors = open(folder.file("errors", "").c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    const int status = in_child([&] {
        dup2(errors, STDERR_FILENO);
        before();
        ombrel_daemon_t* const daemon = ombrel_open_daemon(&options);
        if (daemon == nullptr)
            _exit(ombrel_last_fault() + 40 * *options.m_failed_part);
        alarm(60);
        work(daemon);
        _exit(0);
        return true;
    });
    close(errors);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, folder.read("errors")};
}

TEST_F(Daemon, EndsTheStartingProcessByItsWord) {
    const std::string endless(1000, 'x');
    const struct {
        std::function<void(ombrel_daemon_t*)> work;
        int exit_code;
        std::string errors;
    } cases[] = {
        {[](auto* daemon) { ombrel_daemon_ready(daemon); }, 0, ""},
        {[](auto* daemon) { ombrel_daemon_fail(daemon, 7, "no port is free"); }, 7, "no port is free\n"},
        {[](auto* daemon) { ombrel_daemon_fail(daemon, 255, nullptr); }, 255, ""},
        {[&](auto* daemon) { ombrel_daemon_fail(daemon, 3, endless.c_str()); }, 3,
         endless.substr(0, 400) + "\n"},
        {[](auto*) { raise(SIGKILL); }, 1, "The daemon ended before it was ready.\n"},
        {[](auto*) {
             signal(SIGTERM, SIG_IGN);
             for (;;)
                 pause();
         },
         1, "The daemon was not ready in time.\n"},
    };
    ombrel_daemon_options_t options;
    ombrel_init_daemon_options(&options);
    options.m_pid_file = path.c_str();
    for (const auto& one : cases) {
        options.m_ready_timeout_ms = &one == std::end(cases) - 1 ? 300 : 60000;
        EXPECT_EQ(std::pair(one.exit_code, one.errors), start_daemon(options, one.work));
        await([&] { return look() == 0; }); // or the daemon lives on
    }
}

TEST_F(Daemon, HasASessionADirectoryAMaskAndStreamsOfItsOwn) {
    const std::string log = folder / "log";
    const pid_t session = getsid(0);
    ombrel_daemon_options_t options;
    ombrel_init_daemon_options(&options);
    options.m_output = log.c_str();
    options.m_pid_file = path.c_str();
    options.m_mask = 027;
    const auto work = [&](ombrel_daemon_t* daemon) {
        char byte, place[16] = "";
        const bool is_good = getsid(0) != session && getsid(0) != getpid() && getpgrp() == getsid(0) &&
                             read(0, &byte, 1) == 0 && std::string(getcwd(place, sizeof place)) == "/" &&
                             umask(0) == 027 && ombrel_read_pid_file(path.c_str(), nullptr) == 1;
        (void)!write(1, "out\n", 4);
        (void)!write(2, "err\n", 4);
        if (is_good)
            ombrel_daemon_ready(daemon);
        ombrel_close_daemon(daemon);
    };
    constexpr void (*before[])() = {[] {}, [] { close(0), close(1), close(2); }};
    for (const auto prepare : before) {
        EXPECT_EQ(0, start_daemon(options, work, prepare).first);
        await([&] { return access(path.c_str(), F_OK) != 0; });
        EXPECT_EQ("out\nerr\n", folder.read("log"));
        remove_all(log);
    }
}

TEST_F(Daemon, LeavesTheStartingProcessWhenItCannotBeMade) {
    int part = 0;
    ombrel_daemon_options_t options;
    ombrel_init_daemon_options(&options);
    options.m_pid_file = path.c_str();
    options.m_failed_part = &part;
    const auto fault_and_part = [&] { return start_daemon(options, [](ombrel_daemon_t*) {}).first; };
    ombrel_pid_file_t* const owned = open();
    EXPECT_EQ(def_ombrel_fault_busy + 40 * def_ombrel_daemon_part_pid_file, fault_and_part());
    ombrel_close_pid_file(owned);
    options.m_directory = options.m_error = options.m_output = "/no/such/folder";
    EXPECT_EQ(def_ombrel_fault_not_found + 40 * def_ombrel_daemon_part_output, fault_and_part());
    options.m_output = nullptr;
    EXPECT_EQ(def_ombrel_fault_not_found + 40 * def_ombrel_daemon_part_error, fault_and_part());
    options.m_error = nullptr;
    EXPECT_EQ(def_ombrel_fault_not_found + 40 * def_ombrel_daemon_part_directory, fault_and_part());
    EXPECT_EQ(0, look());
}

#endif

#if defined(__linux__)

// Only where the kernel has refused the right itself, asked in a way that it never obeys.
TEST(HostPower, IsRefusedWithoutTheRight) {
    constexpr int cannot_be_tested = 77;
    const int status = in_child([] {
        const bool has_no_right = setgid(65534) == 0 && setuid(65534) == 0 && geteuid() == 65534 &&
                                  syscall(SYS_reboot, 0, 0, 0, nullptr) == -1 && errno == EPERM;
        if (!has_no_right)
            _exit(cannot_be_tested);
        for (const auto end_host : {ombrel_reboot_host, ombrel_power_off_host})
            if (end_host() != -1 || ombrel_last_fault() != def_ombrel_fault_access_denied)
                return false;
        return true;
    });
    if (WIFEXITED(status) && WEXITSTATUS(status) == cannot_be_tested)
        GTEST_SKIP() << "the right to restart the machine cannot be given up here";
    EXPECT_EQ(0, status);
}

#endif

} // namespace
