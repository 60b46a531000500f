// Launchers at the public interface: children that end, crash, hang, fork, flood and ignore signals.
#include <ombrel/launcher.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/fault.h>

#include "support/descriptor_balance.h"
#include "support/heap_balance.h"
#include "support/patience.h"
#include "support/scratch_directory.h"
#include "support/threads.h"

#if !defined(_WIN32)
#include <fcntl.h>
#endif

namespace {

using namespace ombrel_test;

struct told {
    int event;
    ombrel_launcher_state_t state;
};

class Launcher : public ::testing::Test {
protected:
    Launcher() {
        ombrel_init_launcher_options(&options);
        options.m_first_pause_ms = 1;
        options.m_longest_pause_ms = 1;
        options.m_handler = note_event;
        options.m_context = this;
    }
    ~Launcher() override { close(); }

    ombrel_launcher_t* open(std::vector<const char*> arguments) {
        arguments.push_back(nullptr);
        launcher = ombrel_open_launcher(arguments.data(), &options);
        return launcher;
    }
    ombrel_launcher_t* open_child(const char* what, const char* how = nullptr) {
        return how != nullptr ? open({OMBREL_TEST_CHILD, what, how}) : open({OMBREL_TEST_CHILD, what});
    }
    ombrel_launcher_t* open_script(const std::string& script) {
        return open({"/bin/sh", "-c", script.c_str()});
    }

    /// Waits for the launcher's own end.
    ombrel_launcher_state_t end() {
        ombrel_launcher_state_t state{};
        EXPECT_EQ(1, ombrel_launcher_wait(launcher, patience_ms));
        EXPECT_EQ(0, ombrel_launcher_get_state(launcher, &state));
        EXPECT_EQ(def_ombrel_launcher_ended, state.m_phase);
        EXPECT_EQ(0, state.m_process);
        return state;
    }
    ombrel_launcher_state_t stop() {
        EXPECT_EQ(0, ombrel_launcher_stop(launcher));
        return end();
    }
    void close() {
        EXPECT_EQ(0, ombrel_close_launcher(launcher));
        launcher = nullptr;
    }
    ombrel_launcher_state_t state() {
        ombrel_launcher_state_t state{};
        EXPECT_EQ(0, ombrel_launcher_get_state(launcher, &state));
        return state;
    }
    void await_starts(uint32_t count) {
        await(
            [&] { return state().m_start_count >= count && state().m_phase == def_ombrel_launcher_running; });
    }

    std::vector<int> events() {
        const std::lock_guard guard(lock);
        std::vector<int> result;
        for (const told& one : all_told)
            result.push_back(one.event);
        return result;
    }

    /// The output of a script that runs once, by the handler: pieces of each stream.
    std::vector<std::string> output_of(const std::string& script) {
        options.m_restart = def_ombrel_launcher_restart_never;
        options.m_output_handler = note_output;
        for (auto& stream : pieces)
            stream.clear();
        EXPECT_NE(nullptr, open_script(script));
        end();
        close();
        return pieces[0];
    }

    heap_balance heap;
    descriptor_balance descriptors;
    scratch_directory folder;
    ombrel_launcher_options_t options;
    ombrel_launcher_t* launcher = nullptr;
    std::mutex lock;
    std::vector<told> all_told;
    std::vector<std::string> pieces[2];
    std::function<int(ombrel_launcher_t*, int)> on_event = [](ombrel_launcher_t*, int) { return 0; };

private:
    static int note_event(ombrel_launcher_t* launcher, int event, const ombrel_launcher_state_t* state,
                          void* context) {
        auto& self = *static_cast<Launcher*>(context);
        {
            const std::lock_guard guard(self.lock);
            self.all_told.push_back({event, *state});
        }
        return self.on_event(launcher, event);
    }
    static int note_output(ombrel_launcher_t*, int stream, const char* data, size_t size, void* context) {
        EXPECT_EQ('\0', data[size]);
        static_cast<Launcher*>(context)->pieces[stream - 1].emplace_back(data, size);
        return 0;
    }
};

constexpr int started = def_ombrel_launcher_event_started, ended = def_ombrel_launcher_event_ended,
              start_failed = def_ombrel_launcher_event_start_failed, over = def_ombrel_launcher_event_over;

TEST_F(Launcher, StartsAgainAsOftenAsTheRulesAllow) {
    const struct {
        const char* exit_code;
        int restart;
        uint32_t limit;
        uint32_t starts;
        int reason;
    } cases[] = {
        {"3", def_ombrel_launcher_restart_always, 1, 2, def_ombrel_launcher_gave_up},
        {"0", def_ombrel_launcher_restart_always, 4, 5, def_ombrel_launcher_gave_up},
        {"0", def_ombrel_launcher_restart_on_failure, 4, 1, def_ombrel_launcher_finished},
        {"1", def_ombrel_launcher_restart_on_failure, 2, 3, def_ombrel_launcher_gave_up},
        {"9", def_ombrel_launcher_restart_never, 2, 1, def_ombrel_launcher_finished},
    };
    for (const auto& one : cases) {
        all_told.clear();
        options.m_restart = one.restart;
        options.m_restart_limit = one.limit;
        options.m_restart_period_ms = -1;
        ASSERT_NE(nullptr, open_child("exit", one.exit_code));
        const ombrel_launcher_state_t last = end();
        EXPECT_EQ(one.reason, last.m_reason);
        EXPECT_EQ(one.starts, last.m_start_count);
        EXPECT_EQ(std::stoi(one.exit_code), last.m_end.m_exit_code);
        EXPECT_EQ(0, last.m_end.m_signal);
        EXPECT_EQ(0u, last.m_force_count);
        std::vector<int> expected;
        for (uint32_t i = 0; i < one.starts; i++)
            expected.insert(expected.end(), {started, ended});
        expected.push_back(over);
        EXPECT_EQ(expected, events());
        EXPECT_EQ(0, ombrel_launcher_stop(launcher));
        EXPECT_EQ(-1, ombrel_launcher_restart(launcher));
        EXPECT_EQ(-1, ombrel_launcher_signal(launcher, SIGTERM));
        EXPECT_EQ(def_ombrel_fault_no_process, ombrel_last_fault());
        close();
    }
}

TEST_F(Launcher, PausesLongerUntilAChildRunsWell) {
    options.m_first_pause_ms = 2;
    options.m_pause_factor = 3;
    options.m_longest_pause_ms = 20;
    options.m_restart_limit = 5;
    for (const bool runs_well : {false, true}) {
        all_told.clear();
        options.m_well_ms = runs_well ? 0 : patience_ms;
        ASSERT_NE(nullptr, open_child("exit", "1"));
        end();
        close();
        std::vector<int> pauses;
        for (const told& one : all_told)
            if (one.event == started)
                pauses.push_back(one.state.m_pause_ms);
        EXPECT_EQ(runs_well ? (std::vector{0, 2, 2, 2, 2, 2}) : (std::vector{0, 2, 6, 18, 20, 20}), pauses);
    }
}

TEST_F(Launcher, ForgetsRestartsBehindThePeriod) {
    options.m_first_pause_ms = options.m_longest_pause_ms = 4;
    options.m_restart_limit = 2;
    options.m_restart_period_ms = 2;
    on_event = [&](ombrel_launcher_t* one, int event) {
        ombrel_launcher_state_t now;
        ombrel_launcher_get_state(one, &now);
        return event == started && now.m_start_count == 7;
    };
    ASSERT_NE(nullptr, open_child("exit", "0"));
    const ombrel_launcher_state_t last = end();
    EXPECT_EQ(def_ombrel_launcher_stopped, last.m_reason);
    EXPECT_EQ(7u, last.m_start_count);
}

TEST_F(Launcher, IsStoppedAndRestartedInAnyPhase) {
    ASSERT_NE(nullptr, open_child("hang"));
    EXPECT_EQ(0, ombrel_launcher_wait(launcher, 0));
    const int first = state().m_process;
    EXPECT_GT(first, 0);
    EXPECT_EQ(0, ombrel_launcher_restart(launcher));
    await_starts(2);
    EXPECT_NE(first, state().m_process);
    EXPECT_GT(state().m_run_time, 0);
    EXPECT_EQ(def_ombrel_launcher_stopped, stop().m_reason);
    close();

    options.m_first_pause_ms = options.m_longest_pause_ms = patience_ms;
    ASSERT_NE(nullptr, open_child("exit", "0"));
    for (uint32_t round = 1; round <= 2; round++) {
        await([&] { return state().m_phase == def_ombrel_launcher_pausing && state().m_pause_ms > 0; });
        EXPECT_EQ(round, state().m_start_count);
        if (round == 1) {
            EXPECT_EQ(0, ombrel_launcher_restart(launcher));
            await([&] { return state().m_start_count == 2; });
        }
    }
    EXPECT_EQ(2u, stop().m_start_count);
}

TEST_F(Launcher, RefusesNonsense) {
    EXPECT_EQ(nullptr, open({}));
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    EXPECT_EQ(nullptr, ombrel_open_launcher(nullptr, nullptr));
    EXPECT_EQ(nullptr, open({"there is no such program"}));
    EXPECT_EQ(def_ombrel_fault_not_found, ombrel_last_fault());
    const ombrel_launcher_options_t good = options;
    const std::function<void()> spoil[] = {
        [&] { options.m_flags = 2; },          [&] { options.m_restart = 3; },
        [&] { options.m_first_pause_ms = 0; }, [&] { options.m_pause_factor = 0; },
        [&] { options.m_well_ms = -1; },       [&] { options.m_restart_limit = 1001; },
        [&] { options.m_log_size = -1; },      [&] { options.m_log_count = 100; },
    };
    for (const auto& change : spoil) {
        options = good;
        change();
        EXPECT_EQ(nullptr, open_child("exit", "0")) << &change - spoil;
        EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    }
    options = good;
    const std::string nowhere = folder / "nowhere/log";
    options.m_log_path = nowhere.c_str();
    int part = -1;
    options.m_failed_part = &part;
    EXPECT_EQ(nullptr, open_child("hang"));
    EXPECT_EQ(def_ombrel_fault_not_found, ombrel_last_fault());
    EXPECT_EQ(def_ombrel_launcher_part_log, part);
    options.m_log_path = nullptr;
    options.m_directory = nowhere.c_str();
    EXPECT_EQ(nullptr, open_child("hang"));
    EXPECT_EQ(def_ombrel_launcher_part_directory, part);
    EXPECT_TRUE(all_told.empty());
    EXPECT_EQ(-1, ombrel_init_launcher_options(nullptr));
    EXPECT_EQ(-1, ombrel_launcher_wait(nullptr, 0));
    EXPECT_EQ(-1, ombrel_launcher_stop(nullptr));
    EXPECT_EQ(-1, ombrel_launcher_get_state(nullptr, nullptr));
    EXPECT_STREQ("too many restarts", ombrel_launcher_reason_text(def_ombrel_launcher_gave_up));
}

TEST_F(Launcher, IsNotClosedByItsOwnHandler) {
    std::atomic<int> closed = 0, waited = 0;
    on_event = [&](ombrel_launcher_t* one, int event) {
        if (event == started) {
            closed = ombrel_close_launcher(one);
            waited = ombrel_launcher_wait(one, -1);
        }
        return 0;
    };
    options.m_restart = def_ombrel_launcher_restart_never;
    ASSERT_NE(nullptr, open_child("exit", "0"));
    end();
    EXPECT_EQ(-1, closed);
    EXPECT_EQ(-1, waited);
}

TEST_F(Launcher, IsUsedByManyThreadsAtOnce) {
    ASSERT_NE(nullptr, open_child("exit", "0"));
    in_threads(4, [&](int thread) {
        for (int i = 0; i < 100; i++) {
            ombrel_launcher_state_t now;
            EXPECT_EQ(0, ombrel_launcher_get_state(launcher, &now));
            if (thread == 0)
                ombrel_launcher_restart(launcher);
            else if (thread == 1)
                ombrel_launcher_signal(launcher, SIGTERM);
            else
                ombrel_launcher_wait(launcher, 1);
        }
        ombrel_launcher_stop(launcher);
    });
    EXPECT_EQ(def_ombrel_launcher_stopped, end().m_reason);
}

#if !defined(_WIN32)

/// A named pipe that ends when the last process that has it open for writing is gone.
class life_line : no_copy {
public:
    explicit life_line(const std::string& path) : path_(path) {
        EXPECT_EQ(0, mkfifo(path.c_str(), 0600));
        read_end_ = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    }
    ~life_line() { ::close(read_end_); }

    /// Begins a script whose processes all hold the pipe.
    std::string script(const std::string& rest) const { return "exec 9>'" + path_ + "'; " + rest; }
    /// Waits until the script has told so many times that it is ready, by `echo >&9`.
    void await_word(int times = 1) {
        char byte;
        for (int i = 0; i < times;)
            i += ::read(read_end_, &byte, 1) == 1;
    }
    bool is_free() {
        char rest[64];
        ssize_t size;
        while ((size = ::read(read_end_, rest, sizeof rest)) > 0)
            continue;
        return size == 0;
    }

private:
    std::string path_;
    int read_end_;
};

TEST_F(Launcher, EndsWhateverItsChildDoes) {
    const struct {
        const char* script;
        int words;
        bool needs_force;
    } cases[] = {
        {"echo >&9; exec sleep 600", 1, false},
        {"trap '' TERM; echo >&9; while :; do sleep 600; done", 1, true},
        {"(trap '' TERM; echo >&9; sleep 600) & echo >&9; wait", 2, false},
        {"(kill -STOP $$; until grep -q stopped /proc/$$/status; do :; done; echo >&9; sleep 600)", 1, true},
        {"trap '' TERM; echo >&9; yes", 1, true},
        {"trap '' TERM; sleep 600 & sleep 600 & echo >&9; wait; wait; wait", 1, true},
    };
    options.m_output_handler = [](auto...) { return 0; };
    for (const auto& one : cases) {
        const std::string pipe = folder / std::to_string(&one - cases);
        life_line life(pipe);
        options.m_grace_ms = one.needs_force ? 50 : patience_ms;
        ASSERT_NE(nullptr, open_script(life.script(one.script)));
        life.await_word(one.words);
        EXPECT_FALSE(life.is_free()) << one.script;
        const ombrel_launcher_state_t last = stop();
        EXPECT_TRUE(life.is_free()) << one.script;
        EXPECT_EQ(one.needs_force, last.m_force_count == 1) << one.script;
        EXPECT_EQ(one.needs_force ? SIGKILL : SIGTERM, last.m_end.m_signal) << one.script;
        close();
    }
}

TEST_F(Launcher, EndsWhatAChildLeavesBehind) {
    life_line life(folder / "life");
    options.m_restart_limit = 2;
    std::atomic<int> survivors = 0;
    on_event = [&](ombrel_launcher_t*, int event) {
        survivors += event == ended && !life.is_free();
        return 0;
    };
    ASSERT_NE(nullptr, open_script(life.script("sleep 600 & (trap '' TERM; sleep 600) & kill -SEGV $$")));
    const ombrel_launcher_state_t last = end();
    EXPECT_EQ(3u, last.m_start_count);
    EXPECT_EQ(SIGSEGV, last.m_end.m_signal);
    EXPECT_EQ(0, survivors);
}

TEST_F(Launcher, SendsSignals) {
    life_line life(folder / "life");
    options.m_restart = def_ombrel_launcher_restart_never;
    ASSERT_NE(nullptr, open_script(life.script(
                           "trap 'exit 5' USR1; exec 2>&9; echo >&9; while :; do sleep 0.01; done")));
    life.await_word();
    EXPECT_EQ(-1, ombrel_launcher_signal(launcher, 1000));
    EXPECT_EQ(0, ombrel_launcher_signal(launcher, SIGUSR1));
    EXPECT_EQ(5, end().m_end.m_exit_code);
}

TEST_F(Launcher, TellsOfStartsThatFail) {
    const std::string program = folder.file("program", "#!/bin/sh\nrm \"$0\"\n");
    ASSERT_EQ(0, chmod(program.c_str(), 0700));
    options.m_restart_limit = 2;
    options.m_restart = def_ombrel_launcher_restart_on_failure;
    ASSERT_NE(nullptr, open({program.c_str()}));
    EXPECT_EQ(def_ombrel_launcher_finished, end().m_reason); // it had ended well
    close();
    all_told.clear();
    folder.file("program", "#!/bin/sh\nrm \"$0\"; exit 1\n");
    ASSERT_EQ(0, chmod(program.c_str(), 0700));
    ASSERT_NE(nullptr, open({program.c_str()}));
    const ombrel_launcher_state_t last = end();
    EXPECT_EQ(def_ombrel_launcher_gave_up, last.m_reason);
    EXPECT_EQ(def_ombrel_fault_not_found, last.m_fault);
    EXPECT_EQ((std::vector{started, ended, start_failed, start_failed, over}), events());
}

TEST_F(Launcher, RunsWhereAndWithWhatItIsTold) {
    const char* const variables[] = {"GREETING=hallo", nullptr};
    options.m_directory = folder.path().c_str();
    options.m_environment = variables;
    const auto lines = output_of("echo $GREETING; pwd -P; cat");
    EXPECT_EQ((std::vector<std::string>{"hallo", std::filesystem::canonical(folder.path())}), lines);
}

TEST_F(Launcher, HandsOutputOverInLines) {
    const std::string longest(def_ombrel_launcher_line_max, 'a');
    folder.write("text", "one\r\n\n" + longest + "\n" + longest + "bc\n" + longest);
    const auto lines = output_of("echo wrong >&2; dd bs=100 if='" + folder / "text" + "' 2>/dev/null");
    EXPECT_EQ((std::vector<std::string>{"one", "", longest, longest, "bc", longest}), lines);
    EXPECT_EQ((std::vector<std::string>{"wrong"}), pieces[1]);
    options.m_flags = def_ombrel_launcher_bytes;
    std::string bytes;
    for (const std::string& piece : output_of("cat '" + folder / "text" + "'"))
        bytes += piece;
    EXPECT_EQ(folder.read("text"), bytes);
    size_t size = 0;
    for (const std::string& piece :
         output_of("head -c 3000001 /dev/zero; exec >&-; head -c 100000 /dev/zero >&2"))
        size += piece.size();
    EXPECT_EQ(3000001u, size);
}

TEST_F(Launcher, KeepsOutputInFilesOfASize) {
    const std::string log = folder / "log";
    const auto run = [&](const char* script, int64_t size, uint32_t count) {
        options.m_log_path = log.c_str();
        options.m_log_size = size;
        options.m_log_count = count;
        options.m_restart = def_ombrel_launcher_restart_never;
        EXPECT_NE(nullptr, open_script(script));
        EXPECT_EQ(0u, end().m_lost_bytes);
        close();
    };
    std::string all;
    for (int i = 100; i < 200; i++)
        all += std::to_string(i) + "\n";
    for (const char* const script : {"seq 100 199", "for i in $(seq 100 199); do echo $i >&2; done"}) {
        folder.write("log", "old\n");
        run(script, 50, 3);
        const std::string kept =
            folder.read("log.3") + folder.read("log.2") + folder.read("log.1") + folder.read("log");
        EXPECT_EQ(all.substr(all.size() - kept.size()), kept);
        EXPECT_EQ(48u, folder.read("log.1").size()); // whole lines
        EXPECT_GT(kept.size(), 3 * 48u);
        EXPECT_EQ("", folder.read("log.4"));
    }
    run("printf 12345678901234567890", 6, 0);
    EXPECT_EQ("90", folder.read("log"));
    run("seq 100 199", 0, 0);
    EXPECT_EQ("90" + all, folder.read("log"));
}

TEST_F(Launcher, CountsWhatTheLogCannotTake) {
    if (access("/dev/full", W_OK) != 0)
        GTEST_SKIP() << "the host has no device that is full";
    options.m_log_path = "/dev/full";
    options.m_restart_limit = 1;
    ASSERT_NE(nullptr, open_script("echo 12345"));
    const ombrel_launcher_state_t last = end();
    EXPECT_EQ(12u, last.m_lost_bytes);
    EXPECT_EQ(def_ombrel_fault_no_space, last.m_fault);
    EXPECT_EQ(1, std::ranges::count(events(), def_ombrel_launcher_event_log_failed));
}

#endif

} // namespace
