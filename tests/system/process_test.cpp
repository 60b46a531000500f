// Child processes, with the shell as the other side.
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include <ombrel/event_base.h>
#include <ombrel/event_process.h>
#include <ombrel/fault.h>
#include <ombrel/heap.h>
#include <ombrel/process.h>

#include "support/emulator.h"
#include "support/heap_balance.h"
#include "support/patience.h"
#include "support/scratch_directory.h"
#include "support/threads.h"
#include "system/shell.h"

using namespace ombrel_test;

namespace {

struct options : ombrel_process_options_t {
    explicit options(int input = def_ombrel_process_nothing, int output = def_ombrel_process_pipe,
                     int error = def_ombrel_process_pipe) {
        EXPECT_EQ(0, ombrel_init_process_options(this));
        m_input.m_kind = input;
        m_output.m_kind = output;
        m_error.m_kind = error;
        m_failed_part = &failed_part;
    }
    int failed_part = -1;
};

/// What a finished program did.
struct outcome : ombrel_process_result_t, no_copy {
    outcome(const std::vector<const char*>& arguments, const ombrel_process_options_t* chosen = nullptr,
            int timeout_ms = patience_ms) {
        std::vector<const char*> list = arguments;
        list.push_back(nullptr);
        done = ombrel_run_process(list.data(), chosen, timeout_ms, this);
        fault = ombrel_last_fault();
    }
    ~outcome() { ombrel_uninit_process_result(this); }

    std::string output() const { return {m_output != nullptr ? m_output : "", m_output_size}; }
    std::string error() const { return {m_error != nullptr ? m_error : "", m_error_size}; }
    int done = 0, fault = 0;
};

std::vector<const char*> shell(const char* script) {
    return {"/bin/sh", "-c", script};
}

class opened : no_copy {
public:
    explicit opened(std::vector<const char*> arguments, const ombrel_process_options_t& chosen) {
        arguments.push_back(nullptr);
        process_ = ombrel_open_process(arguments.data(), &chosen);
        EXPECT_NE(nullptr, process_) << ombrel_fault_text();
    }
    ~opened() { ombrel_close_process(process_); }
    operator ombrel_process_t*() const { return process_; }
    ombrel_process_t* release() { return std::exchange(process_, nullptr); }

    std::string line(int stream = def_ombrel_process_output) const {
        std::string text;
        for (char one; ombrel_process_read(process_, stream, &one, 1, patience_ms) == 1 && one != '\n';)
            text += one;
        return text;
    }

private:
    ombrel_process_t* process_;
};

class ProcessTest : public balanced_test {};

TEST_F(ProcessTest, EndsAndOutputsAreTold) {
    NEEDS_A_SHELL();
    const struct {
        const char *script, *output, *error;
        int code, signal_number;
    } cases[] = {{"exit 0", "", "", 0, 0},
                 {"echo out; echo err >&2; exit 7", "out\n", "err\n", 7, 0},
                 {"printf 'a\\0b'; kill -TERM $$", "a", "", -1, SIGTERM},
                 {"kill -KILL $$", "", "", -1, def_ombrel_process_kill},
                 {"read line; echo \"<$line>\"; exit 255", "<>\n", "", 255, 0}};
    for (const auto& one : cases) {
        const outcome it(shell(one.script));
        EXPECT_EQ(1, it.done) << one.script;
        EXPECT_STREQ(one.output, it.output().c_str()) << one.script;
        EXPECT_EQ(one.error, it.error()) << one.script;
        EXPECT_EQ(one.code, it.m_end.m_exit_code) << one.script;
        EXPECT_EQ(one.signal_number, it.m_end.m_signal) << one.script;
    }
    ombrel_process_t* const command = ombrel_open_command("exit 3", nullptr);
    ombrel_process_end_t end{};
    EXPECT_EQ(1, ombrel_process_wait(command, patience_ms, &end));
    EXPECT_EQ(3, end.m_exit_code);
    ombrel_close_process(command);
}

TEST_F(ProcessTest, BothPipesCanBeFloodedWhileTheInputIsFed) {
    NEEDS_A_SHELL();
    const std::string fed(1500000, 'x');
    options chosen(def_ombrel_process_pipe);
    chosen.m_feed = fed.data();
    chosen.m_feed_size = fed.size();
    const outcome it(shell("tee /dev/stderr"), &chosen);
    EXPECT_EQ(1, it.done);
    EXPECT_TRUE(it.output() == fed && it.error() == fed) << it.m_output_size << " " << it.m_error_size;
    EXPECT_EQ('\0', it.m_output[it.m_output_size]);

    EXPECT_EQ(1, outcome(shell("exec <&-; echo enough"), &chosen).done) << "the input is not read";
    chosen.m_limit = 100000;
    const outcome cut(shell("cat; sleep 1000"), &chosen);
    EXPECT_EQ(-1, cut.done);
    EXPECT_EQ(def_ombrel_fault_too_large, cut.fault);
    EXPECT_TRUE(cut.m_is_cut == 1 && cut.m_output_size == 100000) << cut.m_output_size;
    chosen.m_limit = fed.size();
    EXPECT_EQ(1, outcome(shell("cat"), &chosen).done) << "as much as the limit";
}

TEST_F(ProcessTest, StreamsLeadWhereTheyAreWanted) {
    NEEDS_A_SHELL();
    const scratch_directory folder;
    const std::string in = folder.file("in", "from a file\n"), out = folder / "out", both = folder / "both";
    options chosen(def_ombrel_process_file, def_ombrel_process_file, def_ombrel_process_append);
    chosen.m_input.m_path = in.c_str();
    chosen.m_output.m_path = out.c_str();
    chosen.m_error.m_path = both.c_str();
    for (int i = 0; i < 2; i++)
        EXPECT_EQ(1, outcome(shell("cat; echo more >&2"), &chosen).done);
    EXPECT_EQ("from a file\n", folder.read("out")) << "emptied before";
    EXPECT_EQ("more\nmore\n", folder.read("both"));

    const int descriptor = open(out.c_str(), O_RDONLY);
    options given(def_ombrel_process_descriptor, def_ombrel_process_pipe, def_ombrel_process_to_output);
    given.m_input.m_fd = descriptor;
    const int more[] = {descriptor, descriptor};
    given.m_descriptors = more;
    given.m_descriptor_count = 2;
    const outcome it(shell("head -c 5 <&4; echo; echo error >&2; readlink /proc/self/fd/3; ls /proc/self/fd"),
                     &given);
    EXPECT_EQ("from \nerror\n" + out + "\n0\n1\n2\n3\n4\n5\n", it.output());
    EXPECT_TRUE(it.error().empty());
    close(descriptor);
}

#if !defined(_WIN32)

TEST_F(ProcessTest, TheDirectoryAndTheEnvironmentAreTheGivenOnes) {
    const scratch_directory folder;
    mkdir((folder / "below").c_str(), 0700);
    const std::string path = std::filesystem::canonical(folder.path()).string();
    const char* const variables[] = {"A=1", "EMPTY=", "B=two words", nullptr};
    options chosen;
    chosen.m_directory = path.c_str();
    chosen.m_environment = variables;
    EXPECT_EQ("A=1\nEMPTY=\nB=two words\n", outcome({"env"}, &chosen).output());
    EXPECT_EQ(path + "\n", outcome({"pwd", "-P"}, &chosen).output());

    folder.write("tool", "#!/bin/sh\necho here\n");
    chmod((folder / "tool").c_str(), 0700);
    const std::string before = std::filesystem::current_path();
    std::filesystem::current_path(path);
    chosen.m_directory = "below";
    EXPECT_EQ("here\n", outcome({"./tool"}, &chosen).output()) << "seen from here";
    chosen.m_flags = def_ombrel_process_no_search;
    EXPECT_EQ("here\n", outcome({"tool"}, &chosen).output());
    std::filesystem::current_path(before);
}

TEST_F(ProcessTest, NothingElseIsInherited) {
    int leaked[2];
    ASSERT_EQ(0, pipe(leaked)); // without care
    sigset_t blocked, before;
    sigfillset(&blocked);
    pthread_sigmask(SIG_SETMASK, &blocked, &before);
    for (const int ignored : {SIGPIPE, SIGINT, SIGUSR2, SIGRTMAX})
        signal(ignored, SIG_IGN);
    const outcome it(shell("ls /proc/self/fd; grep -E 'SigBlk|SigIgn' /proc/self/status"));
    EXPECT_EQ("0\n1\n2\n3\nSigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n", it.output());
    for (const int ignored : {SIGPIPE, SIGINT, SIGUSR2, SIGRTMAX})
        signal(ignored, SIG_DFL);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    close(leaked[0]);
    close(leaked[1]);
}

#endif

TEST_F(ProcessTest, FailedStartsSayWhatAndWhy) {
    const scratch_directory folder;
    const std::string plain = folder.file("plain", "no program"), odd = folder.file("odd", "\x7F"
                                                                                           "ELF no program");
    const std::string lost = folder.file("lost", "#!/no/such/interpreter\n");
#if !defined(_WIN32)
    chmod(odd.c_str(), 0700);
    chmod(lost.c_str(), 0700);
#endif
    const auto expect = [](const char* program, const options& chosen, int fault, int part) {
        const char* const arguments[] = {program, nullptr};
        EXPECT_EQ(nullptr, ombrel_open_process(arguments, &chosen)) << program;
        EXPECT_EQ(fault, ombrel_last_fault()) << program << " " << ombrel_fault_text();
        EXPECT_EQ(part, chosen.failed_part) << program;
    };
    expect("ombrel_no_such_program", options(), def_ombrel_fault_not_found, def_ombrel_process_part_program);
    expect((folder / "none").c_str(), options(), def_ombrel_fault_not_found, def_ombrel_process_part_program);
    expect(folder.path().c_str(), options(), def_ombrel_fault_access_denied, def_ombrel_process_part_program);
    if (has_shell) {
        expect(plain.c_str(), options(), def_ombrel_fault_access_denied, def_ombrel_process_part_program);
        expect(odd.c_str(), options(), def_ombrel_fault_other, def_ombrel_process_part_program);
        expect(lost.c_str(), options(), def_ombrel_fault_not_found, def_ombrel_process_part_program);
        expect((plain + "/x").c_str(), options(), def_ombrel_fault_not_directory,
               def_ombrel_process_part_program);
    }
    options away;
    away.m_directory = "/no/such/directory";
    expect(OMBREL_TEST_CHILD, away, def_ombrel_fault_not_found, def_ombrel_process_part_directory);
    options file(def_ombrel_process_file);
    file.m_input.m_path = "/no/such/file";
    expect(OMBREL_TEST_CHILD, file, def_ombrel_fault_not_found, def_ombrel_process_part_input);
    options closed(def_ombrel_process_keep, def_ombrel_process_descriptor);
    closed.m_output.m_fd = 9999;
    expect(OMBREL_TEST_CHILD, closed, def_ombrel_fault_bad_descriptor, def_ombrel_process_part_output);
    for (const int kind : {-1, 7})
        expect(OMBREL_TEST_CHILD, options(def_ombrel_process_keep, def_ombrel_process_keep, kind),
               def_ombrel_fault_invalid, def_ombrel_process_part_error);
}

/// Whether a process runs: one that waits to be collected does not.
bool runs(const std::string& number) {
    return outcome({"sh", "-c", "grep -qs '^State:.[^ZX]' /proc/$0/status", number.c_str()})
               .m_end.m_exit_code == 0;
}

TEST_F(ProcessTest, TimeLimitsEndTheWholeGroup) {
    NEEDS_A_SHELL();
    const char* const stubborn = "trap '' TERM; sh -c 'echo $$; sleep 1000; sleep 1000' & sleep 0.1; ";
    for (const std::string then : {"sleep 1000; sleep 1000", "trap 'exit 3' TERM; sleep 1000 & wait"}) {
        std::string output;
        for (int limit_ms = 300; output.empty(); limit_ms *= 4) { // until it gets that far
            const outcome it(shell((stubborn + then).c_str()), nullptr, limit_ms);
            EXPECT_EQ(0, it.done);
            output = it.output();
        }
        EXPECT_FALSE(runs(output.substr(0, output.find('\n')))) << then;
    }
    // What its leader left behind.
    const options chosen(def_ombrel_process_nothing, def_ombrel_process_pipe, def_ombrel_process_keep);
    options group = chosen;
    group.m_flags = def_ombrel_process_own_group;
    const opened left(shell("sleep 1000 & echo $!"), group);
    const std::string number = left.line();
    EXPECT_EQ(1, ombrel_process_wait(left, patience_ms, nullptr));
    EXPECT_TRUE(runs(number));
    EXPECT_EQ(0, ombrel_process_signal(left, 0));
    EXPECT_EQ(0, ombrel_process_stop(left, patience_ms));
    EXPECT_FALSE(runs(number));
    EXPECT_EQ(-1, ombrel_process_signal(left, 0));
    EXPECT_EQ(def_ombrel_fault_no_process, ombrel_last_fault());
}

TEST_F(ProcessTest, ConversationsWaitAsLongAsTheyAreTold) {
    const options chosen(def_ombrel_process_pipe, def_ombrel_process_pipe, def_ombrel_process_keep);
    const opened echo({OMBREL_TEST_CHILD, "copy"}, chosen);
    char buffer[16];
    EXPECT_EQ(def_ombrel_process_timeout, ombrel_process_read(echo, 1, buffer, sizeof buffer, 0));
    EXPECT_EQ(0, ombrel_process_wait(echo, 1, nullptr));
    EXPECT_EQ(5, ombrel_process_write(echo, "hello", 5, -1));
    EXPECT_EQ(5, ombrel_process_read(echo, 1, buffer, sizeof buffer, patience_ms));
    EXPECT_EQ(0, memcmp(buffer, "hello", 5));
    EXPECT_EQ(0, ombrel_process_close_stream(echo, def_ombrel_process_input));
    EXPECT_EQ(-1, ombrel_process_write(echo, "x", 1, -1));
    EXPECT_EQ(def_ombrel_fault_bad_descriptor, ombrel_last_fault());
    EXPECT_EQ(0, ombrel_process_read(echo, 1, buffer, sizeof buffer, patience_ms));
    const opened quiet({OMBREL_TEST_CHILD, "copy"}, chosen);
    const int taken_over = ombrel_process_take_descriptor(quiet, def_ombrel_process_input);
    EXPECT_EQ(-1, ombrel_process_get_descriptor(quiet, def_ombrel_process_input));
    EXPECT_EQ(0, close(taken_over));
    EXPECT_EQ(1, ombrel_process_wait(quiet, patience_ms, nullptr)) << "its input has ended";
    ombrel_process_end_t end{-7, -7};
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(1, ombrel_process_wait(echo, patience_ms, &end)) << "every call tells";
        EXPECT_TRUE(end.m_exit_code == 0 && end.m_signal == 0);
    }

    const opened full({OMBREL_TEST_CHILD, "hang"}, chosen);
    const std::string much(4000000, 'x');
    const int64_t taken = ombrel_process_write(full, much.data(), much.size(), 10);
    EXPECT_TRUE(taken > 0 && taken < static_cast<int64_t>(much.size())) << taken;
    EXPECT_EQ(0, ombrel_process_stop(full, 0));
    EXPECT_EQ(1, ombrel_process_wait(full, 0, &end));
    EXPECT_EQ(def_ombrel_process_kill, end.m_signal);
    EXPECT_EQ(-1, ombrel_process_write(full, "x", 1, -1));
    EXPECT_EQ(def_ombrel_fault_closed, ombrel_last_fault());
}

TEST_F(ProcessTest, AnExchangeGoesOnAfterABreak) {
    const std::string fed(200000, 'y');
    options chosen(def_ombrel_process_pipe, def_ombrel_process_pipe, def_ombrel_process_keep);
    chosen.m_feed = fed.data();
    chosen.m_feed_size = fed.size();
    const opened echo({OMBREL_TEST_CHILD, "copy"}, chosen);
    size_t size = 0;
    int result, breaks = 0;
    while ((result = ombrel_process_exchange(
                echo, patience_ms,
                [](int, const void*, size_t more, void* sum) {
                    *static_cast<size_t*>(sum) += more;
                    return 42;
                },
                &size)) == 42)
        breaks++;
    EXPECT_EQ(1, result);
    EXPECT_EQ(fed.size(), size);
    EXPECT_LE(2, breaks);
}

TEST_F(ProcessTest, WhatIsClosedRunsOnAndDoesNotPileUp) {
    NEEDS_A_SHELL();
    const options quiet(def_ombrel_process_pipe, def_ombrel_process_nothing, def_ombrel_process_nothing);
    std::vector<std::string> numbers;
    for (int i = 0; i < 5; i++) {
        const opened one({OMBREL_TEST_CHILD, "copy"}, quiet); // ends as its input does
        numbers.push_back(std::to_string(ombrel_process_get_id(one)));
    }
    for (const std::string& number : numbers)
        while (access(("/proc/" + number).c_str(), F_OK) == 0)
            outcome({"true"});
}

TEST_F(ProcessTest, AnEventTellsOfAReleasedProcess) {
    ombrel_event_base_t* const base = ombrel_new_event_base();
    ombrel_event_t event;
    opened child({OMBREL_TEST_CHILD, "exit", "5"}, options());
    ombrel_assign_event(
        base, &event, -1, 0, [](ombrel_event_t*, int, uint32_t, void*) {}, nullptr);
    const int number = ombrel_release_process(child.release());
    const int result = ombrel_event_set_process(&event, number);
    if (result == 0) {
        EXPECT_EQ(0, ombrel_add_event(&event, -1));
        while (event.m_exit_code < 0)
            ombrel_event_base_loop(base, def_ombrel_event_loop_once);
        EXPECT_EQ(5, event.m_exit_code);
    }
    ombrel_unassign_event(&event);
    ombrel_free_event_base(base);
    if (result == def_ombrel_event_not_supported)
        GTEST_SKIP() << "the host has no events of processes";
    EXPECT_EQ(0, result);
}

TEST(ProcessThreads, NeverHandOneAnothersPipesOn) {
    // An end of a pipe that another child had would keep its reader from finding the end.
    in_threads(6, [](int) {
        for (int i = 0; i < 25; i++) {
            const options chosen(def_ombrel_process_pipe, def_ombrel_process_pipe, def_ombrel_process_keep);
            const opened echo({OMBREL_TEST_CHILD, "copy"}, chosen);
            EXPECT_EQ(2, ombrel_process_write(echo, "x\n", 2, patience_ms));
            EXPECT_EQ("x", echo.line());
            ombrel_process_close_stream(echo, def_ombrel_process_input);
            char byte;
            EXPECT_EQ(0, ombrel_process_read(echo, 1, &byte, 1, patience_ms));
            EXPECT_EQ(1, ombrel_process_wait(echo, patience_ms, nullptr));
        }
    });
}

TEST(ProcessThreads, OneWaitsWhileAnotherEndsIt) {
    const options chosen(def_ombrel_process_nothing, def_ombrel_process_nothing, def_ombrel_process_nothing);
    for (int i = 0; i < 10; i++) {
        const opened child({OMBREL_TEST_CHILD, "hang"}, chosen);
        in_threads(3, [&](int which) {
            ombrel_process_end_t end{};
            EXPECT_EQ(0, which == 0 ? ombrel_process_stop(child, 0) : 0);
            EXPECT_EQ(1, ombrel_process_wait(child, patience_ms, &end));
            EXPECT_EQ(def_ombrel_process_kill, end.m_signal);
        });
    }
}

TEST(Process, SignalsHaveNamesAndNumbers) {
    for (const char* const name : {"TERM", "SIGTERM", "sigterm", "Term", "15"})
        EXPECT_EQ(SIGTERM, ombrel_find_signal_number(name)) << name;
    EXPECT_EQ(def_ombrel_process_kill, ombrel_find_signal_number("KILL"));
    EXPECT_EQ(0, ombrel_find_signal_number("0"));
    for (const char* const name :
         {"", "SIG", "SIGSIGTERM", "TERMS", "-1", "999", "a very long name of a signal"})
        EXPECT_EQ(-1, ombrel_find_signal_number(name)) << name;
    EXPECT_EQ(-1, ombrel_find_signal_number(nullptr));
    EXPECT_STREQ("SIGSEGV", ombrel_find_signal_name(SIGSEGV));
    EXPECT_EQ(nullptr, ombrel_find_signal_name(0));
}

TEST_F(ProcessTest, WhatIsCollectedComesTogetherOverTimeLimits) {
    options chosen(def_ombrel_process_pipe);
    chosen.m_feed = "later";
    chosen.m_feed_size = 5;
    const opened echo({OMBREL_TEST_CHILD, "copy"}, chosen);
    ombrel_process_result_t result;
    EXPECT_EQ(0, ombrel_init_process_result(&result));
    while (ombrel_process_collect(echo, 1, &result) == 0)
        continue;
    EXPECT_STREQ("later", result.m_output);
    EXPECT_EQ(5u, result.m_output_size);
    EXPECT_EQ(0, result.m_end.m_exit_code);
    EXPECT_EQ(0, ombrel_uninit_process_result(&result));
    EXPECT_TRUE(result.m_output == nullptr && result.m_output_size == 0);
    EXPECT_EQ(-1, ombrel_init_process_result(nullptr));
}

TEST(Process, NonsenseIsRefused) {
    ombrel_process_result_t result;
    const options chosen;
    const char* const none[] = {nullptr};
    EXPECT_EQ(nullptr, ombrel_open_process(nullptr, &chosen));
    EXPECT_EQ(nullptr, ombrel_open_process(none, nullptr));
    EXPECT_EQ(nullptr, ombrel_open_command(nullptr, nullptr));
    EXPECT_EQ(-1, ombrel_run_process(nullptr, nullptr, 0, &result));
    EXPECT_EQ(-1, ombrel_process_collect(nullptr, 0, &result));
    EXPECT_EQ(-1, ombrel_process_exchange(nullptr, 0, nullptr, nullptr));
    EXPECT_EQ(-1, ombrel_process_wait(nullptr, 0, nullptr));
    EXPECT_EQ(-1, ombrel_process_signal(nullptr, 0));
    EXPECT_EQ(-1, ombrel_process_stop(nullptr, 0));
    EXPECT_EQ(-1, ombrel_process_get_id(nullptr));
    EXPECT_EQ(-1, ombrel_process_get_descriptor(nullptr, 0));
    EXPECT_EQ(-1, ombrel_release_process(nullptr));
    EXPECT_EQ(0, ombrel_close_process(nullptr));
    EXPECT_EQ(-1, ombrel_signal_process(0, 0));
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    EXPECT_EQ(0, ombrel_signal_process(static_cast<int>(getpid()), 0));
}

} // namespace
