// Programs in terminals of their own.
#include <csignal>
#include <cstring>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <ombrel/terminal.h>

#include "support/descriptor_balance.h"
#include "support/descriptor_shortage.h"
#include "support/heap_balance.h"
#include "support/refused.h"
#include "support/scratch_directory.h"
#include "system/in_terminal.h"

using namespace ombrel_test;

namespace {

class PseudoTerminal : public balanced_test {
    descriptor_balance descriptors_;
};

bool can_run(const char* program) {
    return std::system((std::string("command -v ") + program + " >/dev/null 2>&1").c_str()) == 0;
}

} // namespace

TEST_F(PseudoTerminal, AProgramHasItsTerminalItsSizeItsEnvironmentAndItsDirectory) {
    const scratch_directory directory;
    const char* const environment[] = {"WORD=one two", "PATH=/usr/bin:/bin", nullptr};
    ombrel_pseudo_terminal_options_t options;
    EXPECT_EQ(0, ombrel_init_pseudo_terminal_options(&options));
    options.m_environment = environment;
    options.m_directory = directory.path().c_str();
    options.m_columns = 132;
    options.m_rows = 43;
    in_terminal shell({"sh", "-c",
                       "stty size; echo \"$WORD\"; pwd; tty; : </dev/tty && ls /proc/$$/fd | tr '\\n' ' '; "
                       "trap 'stty size; exit 7' WINCH; echo; echo up; while :; do read line; done"},
                      &options);
    shell.expect("43 132\r\none two\r\n" + directory.path() + "\r\n/dev/pts/");
    EXPECT_NE(std::string::npos, shell.expect("up\r\n").find("\r\n0 1 2 "));
    EXPECT_EQ(0, ombrel_pseudo_terminal_set_size(shell.get(), 20, 10));
    int columns = 0, rows = 0;
    EXPECT_EQ(0, ombrel_pseudo_terminal_get_size(shell.get(), &columns, &rows));
    EXPECT_EQ(20, columns);
    EXPECT_EQ(10, rows);
    // One shell waits for a line before it handles the signal; another has ended by now, and takes none.
    ombrel_pseudo_terminal_write(shell.get(), "\n", 1, 1000);
    shell.expect("10 20\r\n");
    EXPECT_EQ(7, shell.finish());
}

TEST_F(PseudoTerminal, KeysMakeSignalsAndSignalsReachTheForeground) {
    in_terminal typed({"cat"});
    typed.type("text\n");
    typed.expect("text\r\ntext\r\n"); // its echo and what the program makes of it
    typed.type("\x03");
    EXPECT_EQ(128 + SIGINT, typed.finish());
    EXPECT_EQ(-1, ombrel_pseudo_terminal_signal(typed.get(), SIGTERM));
    EXPECT_EQ(def_ombrel_fault_no_process, ombrel_last_fault());
    EXPECT_EQ(-1, ombrel_pseudo_terminal_write(typed.get(), "x", 1, patience_ms));
    EXPECT_EQ(def_ombrel_fault_closed, ombrel_last_fault());

    in_terminal job({"sh", "-mc", "sleep 600; echo \"=$?\""});
    while (tcgetpgrp(ombrel_pseudo_terminal_get_descriptor(job.get())) ==
           ombrel_pseudo_terminal_get_id(job.get()))
        usleep(1000);
    EXPECT_EQ(0, ombrel_pseudo_terminal_signal(job.get(), SIGTERM));
    job.expect("=143\r\n");
    EXPECT_EQ(0, job.finish());
}

TEST_F(PseudoTerminal, StopsWhatWillNotEnd) {
    in_terminal deaf({"sh", "-c", "trap '' HUP TERM INT; echo up; while :; do echo much; done"});
    deaf.expect("up\r\n");
    EXPECT_EQ(0, ombrel_pseudo_terminal_stop(deaf.get(), 10));
    ombrel_process_end_t end;
    EXPECT_EQ(1, ombrel_pseudo_terminal_wait(deaf.get(), 0, &end));
    EXPECT_EQ(SIGKILL, end.m_signal);

    in_terminal polite({"sh", "-c", "trap 'exit 5' HUP; echo up; while :; do sleep 0.01; done"});
    polite.expect("up\r\n");
    EXPECT_EQ(0, ombrel_pseudo_terminal_wait(polite.get(), 0, nullptr));
    EXPECT_EQ(0, ombrel_pseudo_terminal_stop(polite.get(), patience_ms));
    EXPECT_EQ(1, ombrel_pseudo_terminal_wait(polite.get(), 0, &end));
    EXPECT_EQ(5, end.m_exit_code);

    // Closing does both; the group is gone with the program.
    int member = 0;
    {
        in_terminal group({"sh", "-c", "(trap '' HUP; sleep 600) & echo $!; trap '' HUP; wait"});
        member = std::stoi(group.expect("\r\n"));
    }
    const std::string state = read_file("/proc/" + std::to_string(member) + "/stat");
    EXPECT_TRUE(state.empty() || state.find(" Z ") != state.npos) << state;
}

TEST_F(PseudoTerminal, LimitsHoldInBothDirections) {
    in_terminal silent({"sh", "-c", "stty raw -echo; echo up; sleep 600"});
    silent.expect("up");
    char byte[1];
    silent.expect("\n");
    EXPECT_EQ(def_ombrel_pseudo_terminal_timeout, ombrel_pseudo_terminal_read(silent.get(), byte, 1, 10));
    const std::string much(1 << 20, 'x');
    const int64_t written = ombrel_pseudo_terminal_write(silent.get(), much.data(), much.size(), 50);
    EXPECT_LT(0, written);
    EXPECT_GT(static_cast<int64_t>(much.size()), written);
    EXPECT_EQ(0, ombrel_pseudo_terminal_write(silent.get(), much.data(), much.size(), 0));
}

TEST_F(PseudoTerminal, EditorsAndInterpretersWork) {
    if (can_run("vi")) {
        const scratch_directory directory;
        const std::string path = directory.file("text", "one\n");
        in_terminal editor({"vi", "-u", "NONE", path.c_str()});
        editor.expect("one");
        editor.type("otwo\x1b:wq\r");
        EXPECT_EQ(0, editor.finish()) << editor.shown();
        EXPECT_EQ("one\ntwo\n", directory.read("text"));
    }
    in_terminal python({"python3", "-q"});
    python.expect(">>> ");
    python.type("import os; print(os.isatty(0), os.get_terminal_size().lines * 2)\r");
    python.expect("True 48");
    python.type("exit(4)\r");
    EXPECT_EQ(4, python.finish()) << python.shown();
}

TEST_F(PseudoTerminal, FailsWithTheReason) {
    const char* const missing[] = {"ombrel_there_is_no_such_program", nullptr};
    const char* const present[] = {"true", nullptr};
    ombrel_pseudo_terminal_options_t nowhere, empty;
    ombrel_init_pseudo_terminal_options(&nowhere);
    ombrel_init_pseudo_terminal_options(&empty);
    nowhere.m_directory = "/ombrel/no/such";
    empty.m_rows = 0;
    const struct {
        const char* const* arguments;
        const ombrel_pseudo_terminal_options_t* options;
        int fault;
    } table[] = {{missing, nullptr, def_ombrel_fault_not_found},
                 {present, &nowhere, def_ombrel_fault_not_found},
                 {present, &empty, def_ombrel_fault_invalid},
                 {nullptr, nullptr, def_ombrel_fault_invalid}};
    for (const auto& one : table) {
        EXPECT_EQ(nullptr, ombrel_open_pseudo_terminal(one.arguments, one.options));
        EXPECT_EQ(one.fault, ombrel_last_fault());
    }
    EXPECT_EQ(0, ombrel_close_pseudo_terminal(nullptr));
}

TEST_F(PseudoTerminal, RefusesNonsense) {
    char byte = 'x';
    int columns = 1, rows = 1;
    in_terminal cat({"cat"});
    ombrel_pseudo_terminal_t* const good = cat.get();
    const char* const nothing[] = {nullptr};
    EXPECT_EQ(nullptr, ombrel_open_pseudo_terminal(nothing, nullptr));
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    expect_refused({[] { return ombrel_init_pseudo_terminal_options(nullptr); },
                    [&] { return ombrel_pseudo_terminal_read(nullptr, &byte, 1, 0); },
                    [&] { return ombrel_pseudo_terminal_read(good, nullptr, 1, 0); },
                    [&] { return ombrel_pseudo_terminal_write(nullptr, &byte, 1, 0); },
                    [&] { return ombrel_pseudo_terminal_write(good, nullptr, 1, 0); },
                    [] { return ombrel_pseudo_terminal_set_size(nullptr, 80, 24); },
                    [&] { return ombrel_pseudo_terminal_set_size(good, 0, 24); },
                    [&] { return ombrel_pseudo_terminal_set_size(good, 80, 0); },
                    [&] { return ombrel_pseudo_terminal_set_size(good, 80, 65536); },
                    [&] { return ombrel_pseudo_terminal_get_size(nullptr, &columns, &rows); },
                    [] { return ombrel_pseudo_terminal_signal(nullptr, SIGTERM); },
                    [&] { return ombrel_pseudo_terminal_signal(good, -1); },
                    [] { return ombrel_pseudo_terminal_stop(nullptr, 0); },
                    [] { return ombrel_pseudo_terminal_wait(nullptr, 0, nullptr); },
                    [] { return ombrel_pseudo_terminal_get_id(nullptr); },
                    [] { return ombrel_pseudo_terminal_get_descriptor(nullptr); },
                    [] { return ombrel_init_terminal_pair(nullptr); }});
    // Nothing to move is no mistake, wherever it would stand.
    EXPECT_EQ(0, ombrel_pseudo_terminal_read(good, nullptr, 0, patience_ms));
    EXPECT_EQ(0, ombrel_pseudo_terminal_write(good, nullptr, 0, patience_ms));
    EXPECT_EQ(0, ombrel_pseudo_terminal_get_size(good, nullptr, &rows));
    EXPECT_EQ(24, rows);
    EXPECT_EQ(0, ombrel_pseudo_terminal_get_size(good, &columns, nullptr));
    EXPECT_EQ(80, columns);
}

TEST_F(PseudoTerminal, NoneIsMadeWithoutDescriptors) {
    const char* const present[] = {"true", nullptr};
    ombrel_terminal_pair_t pair{3, 4, "left"};
    const descriptor_shortage none_left;
    EXPECT_EQ(-1, ombrel_init_terminal_pair(&pair));
    EXPECT_EQ(def_ombrel_fault_no_descriptor, ombrel_last_fault());
    EXPECT_EQ(-1, pair.m_master);
    EXPECT_EQ(-1, pair.m_slave);
    EXPECT_STREQ("", pair.m_name);
    EXPECT_EQ(nullptr, ombrel_open_pseudo_terminal(present, nullptr));
    EXPECT_EQ(def_ombrel_fault_no_descriptor, ombrel_last_fault());
}

TEST_F(PseudoTerminal, APairCarriesBothWaysThroughTheRulesOfTerminals) {
    ombrel_terminal_pair_t pair;
    ASSERT_EQ(0, ombrel_init_terminal_pair(&pair));
    EXPECT_EQ(1, ombrel_isatty(pair.m_slave));
    EXPECT_STREQ(ttyname(pair.m_slave), pair.m_name);
    EXPECT_EQ(4, write(pair.m_slave, "a\nb\n", 4));
    char bytes[16] = "";
    EXPECT_EQ(6, read(pair.m_master, bytes, sizeof bytes));
    EXPECT_STREQ("a\r\nb\r\n", bytes);
    EXPECT_EQ(0, ombrel_set_terminal_size(pair.m_master, 100, 50));
    winsize size;
    EXPECT_EQ(0, ioctl(pair.m_slave, TIOCGWINSZ, &size));
    EXPECT_EQ(100, size.ws_col);
    EXPECT_EQ(-1, ombrel_set_terminal_size(pair.m_master, 0, 50));
    EXPECT_EQ(0, ombrel_uninit_terminal_pair(&pair));
    EXPECT_EQ(0, ombrel_uninit_terminal_pair(&pair));
}
