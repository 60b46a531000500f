// Terminals of programs, looked at from the other side.
#include <csignal>
#include <cstring>
#include <thread>
#include <tuple>
#include <unistd.h>
#include <utility>

#include <ombrel/environment.h>
#include <ombrel/terminal.h>

#include "support/descriptor_balance.h"
#include "support/heap_balance.h"
#include "support/heap_block.h"
#include "support/own_stack.h"
#include "support/refused.h"
#include "system/in_terminal.h"

using namespace ombrel_test;

namespace {

const std::string program = OMBREL_TEST_TERMINAL;
constexpr uint32_t flags =
    def_ombrel_terminal_screen | def_ombrel_terminal_hide_cursor | def_ombrel_terminal_paste;

/// The program with its keys shown, between two looks at the terminal's settings.
std::string between_settings(const std::string& how = "", const std::string& after = "") {
    return "export TERM=xterm; stty -g; " + how + program + " keys " + std::to_string(flags) +
           "; echo \"=$?\"; stty -g" + after;
}

/// ombrel_terminal_printf() with a list.
int draw_formatted(ombrel_terminal_t* terminal, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int result = ombrel_terminal_vprintf(terminal, format, arguments);
    va_end(arguments);
    return result;
}

class Terminal : public balanced_test {
    descriptor_balance descriptors_;
};

} // namespace

TEST_F(Terminal, IsGivenBackHoweverTheProgramEnds) {
    const struct {
        const char* key;
        int code;
    } table[] = {{"q", 0},
                 {"e", 3},
                 {"a", 128 + SIGABRT},
                 {"t", 128 + SIGTERM},
                 {"s", 128 + SIGSEGV},
                 {"f", 128 + SIGSEGV},
                 {"o", SIGTERM},
                 {"cq", 0}};
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    const std::string settings = "ASAN_OPTIONS=handle_segv=0 TSAN_OPTIONS=handle_segv=0 ";
#else
    const std::string settings;
#endif
    for (const auto& one : table) {
        in_terminal shell({"sh", "-c", between_settings(settings).c_str()});
        const std::string before = shell.expect("\r\n");
        EXPECT_NE(std::string::npos, shell.expect("ready").find("\x1b[?1049h\x1b[?25l\x1b[?2004h"));
        shell.type(one.key);
        const std::string shown = shell.expect("=" + std::to_string(one.code) + "\r\n");
        EXPECT_NE(std::string::npos, shown.find("\x1b[?2004l\x1b[?25h\x1b[?1049l\x1b[23;2t"))
            << one.key << shown;
        EXPECT_EQ(before, shell.expect("\r\n")) << one.key;
    }
}

/// As one that writes to a terminal that bids background programs wait.
TEST_F(Terminal, IsEnteredByNoProgramInTheBackground) {
    const std::string script =
        "stty -g; " + program + " keys " + std::to_string(flags) +
        " & until ps -o stat= -p $! | grep -q T; do :; done; stty -g; echo stopped; fg";
    in_terminal shell({"sh", "-mc", script.c_str()});
    const std::string before = shell.expect("\r\n"), started = shell.expect("stopped\r\n");
    EXPECT_NE(std::string::npos, started.find(before)) << started;
    EXPECT_EQ(std::string::npos, started.find("ready"));
    shell.expect("ready");
    shell.type("q");
    EXPECT_EQ(0, shell.finish());
}

TEST_F(Terminal, IsGivenBackWhileTheProgramIsStoppedAndEnteredAgain) {
    for (const bool by_itself : {true, false}) { // or by a signal that nobody can catch
        in_terminal shell({"sh", "-mc", between_settings("", "; fg; stty -g").c_str()});
        const std::string before = shell.expect("\r\n");
        shell.expect("ready");
        shell.type(by_itself ? "z" : "x");
        shell.expect("<");
        EXPECT_EQ(0, by_itself ? 0 : ombrel_pseudo_terminal_signal(shell.get(), SIGSTOP));
        shell.expect("=" + std::to_string(128 + (by_itself ? SIGTSTP : SIGSTOP)) + "\r\n");
        EXPECT_EQ(by_itself, before == shell.expect("\r\n"));
        shell.expect("<Resumed>");
        shell.type("yq");
        shell.expect("<y>\r\n<q>\r\n");
        EXPECT_EQ(0, shell.finish());
        EXPECT_EQ(before + "\r\n", shell.shown().substr(shell.shown().size() - before.size() - 2));
    }
}

TEST_F(Terminal, GivesKeysSizesAndPastes) {
    in_terminal keys({program.c_str(), "keys", "8"});
    keys.expect("ready");
    keys.type("\xe2\x82\xac\x1b[1;2A\x1b");
    keys.expect("<€>\r\n<Shift+Up>\r\n<Escape>\r\n");
    EXPECT_EQ(0, ombrel_pseudo_terminal_set_size(keys.get(), 50, 20));
    keys.expect("<Resized 50x20>\r\n");
    keys.type("\x03");
    keys.expect("<Ctrl+C>\r\n");
    keys.type("q");
    EXPECT_EQ(0, keys.finish());
}

TEST_F(Terminal, SecretsAreReadUnseen) {
    const struct {
        const char *timeout, *typed, *answer;
    } table[] = {
        {"-1",
         "ab\x7f"
         "c\xc3\xa9\xc3\xa9\x7f\r",
         "[1 ac\xc3\xa9 -]"},
        {"-1", "lost\x15new\n", "[1 new -]"},
        {"-1", "\r", "[1  -]"},
        {"-1", "much too long\r", "[-1  too_large]"},
        {"-1", "\x04", "[0  -]"},
        {"50", "ab", "[-2  timed_out]"},
        {"-1", "a\x1b[Ab\r", "[1 ab -]"},
    };
    for (const auto& one : table) {
        in_terminal program_under_test({program.c_str(), "secret", one.timeout});
        program_under_test.expect("phrase: ");
        program_under_test.type(one.typed);
        EXPECT_EQ("\r\n", program_under_test.expect(one.answer));
        EXPECT_EQ(0, program_under_test.finish());
    }
    in_terminal broken_off({"sh", "-c", ("stty -g; " + program + " secret -1; stty -g").c_str()});
    const std::string before = broken_off.expect("\r\n");
    broken_off.expect("phrase: ");
    broken_off.type("ab\x03");
    EXPECT_EQ(128 + SIGINT, broken_off.finish());

    int pipe_ends[2];
    ASSERT_EQ(0, pipe(pipe_ends));
    ASSERT_EQ(7, write(pipe_ends[1], "one\ntwo", 7));
    close(pipe_ends[1]);
    char line[8];
    EXPECT_EQ(1, ombrel_read_secret(pipe_ends[0], "unseen", line, sizeof line, 0));
    EXPECT_STREQ("one", line);
    EXPECT_EQ(1, ombrel_read_secret(pipe_ends[0], nullptr, line, sizeof line, -1));
    EXPECT_STREQ("two", line);
    EXPECT_EQ(0, ombrel_read_secret(pipe_ends[0], nullptr, line, sizeof line, -1));
    close(pipe_ends[0]);
}

// Nobody sees what was typed, not even who looks at memory afterwards: the caller's has it alone, and none
// of it when there is no line.
TEST_F(Terminal, SecretsAreLeftNowhereElse) {
    const std::string secrets[] = {"Qx", "jW"};
    char line[8];
    int ends[2], result = 0;
    bool is_read = true;
    EXPECT_EQ(0u, bytes_left_on_stack(secrets[0], secrets[1], [&](const std::string& secret) {
                  std::ignore = pipe(ends);
                  std::ignore = write(ends[1], secret.data(), 2);
                  close(ends[1]);
                  memset(line, '#', sizeof line);
                  result = ombrel_read_secret(ends[0], nullptr, line, sizeof line, patience_ms);
                  is_read = is_read && result == 1 && memcmp(line, secret.data(), 2) == 0;
                  close(ends[0]);
              }));
    EXPECT_TRUE(is_read);
    EXPECT_EQ(std::string(sizeof line - 2, 0), std::string(line + 2, sizeof line - 2));

    ombrel_terminal_pair_t pair;
    ASSERT_EQ(0, ombrel_init_terminal_pair(&pair));
    // Types behind each prompt, and leaves the line open.
    std::thread typist([&] {
        char byte = 0;
        for (size_t turn = 0; read(pair.m_master, &byte, 1) == 1;)
            if (byte == '?') {
                EXPECT_EQ(2, write(pair.m_master, secrets[turn++ % 2].data(), 2));
            }
    });
    EXPECT_EQ(0u, bytes_left_on_stack(secrets[0], secrets[1], [&](const std::string&) {
                  memset(line, '#', sizeof line);
                  result = ombrel_read_secret(pair.m_slave, "?", line, sizeof line, 100);
              }));
    EXPECT_EQ(def_ombrel_terminal_timeout, result);
    EXPECT_EQ(std::string(sizeof line, 0), std::string(line, sizeof line));
    close(pair.m_slave);
    pair.m_slave = -1;
    typist.join();
    ombrel_uninit_terminal_pair(&pair);
}

// What was typed ahead, and the beginning of a character that was never ended.
TEST_F(Terminal, IsForgottenWithWhatWasTyped) {
    ombrel_terminal_pair_t pair;
    ASSERT_EQ(0, ombrel_init_terminal_pair(&pair));
    ombrel_terminal_t* const terminal = ombrel_open_terminal(pair.m_slave, pair.m_slave);
    ASSERT_NE(nullptr, terminal);
    EXPECT_EQ(0, ombrel_terminal_enter(terminal, 0));
    ASSERT_EQ(4, write(pair.m_master, "a\xf0\x9f\x98", 4));
    ombrel_key_t key;
    EXPECT_EQ(1, ombrel_terminal_read_key(terminal, &key, patience_ms));
    EXPECT_EQ(def_ombrel_terminal_timeout, ombrel_terminal_read_key(terminal, &key, 0));
    const size_t size = header_of(terminal)->m_size;
    EXPECT_EQ(0, ombrel_close_terminal(terminal));
    EXPECT_EQ(std::string::npos, freed_bytes(size).find("\xf0\x9f\x98"));
    ombrel_uninit_terminal_pair(&pair);
}

TEST_F(Terminal, DrawsWithWhatTheTerminalHas) {
    const struct {
        ombrel_terminal_style_t style;
        int colors;
        const char* sequence;
    } table[] = {
        {{0, 0, 0}, 256, "\x1b[0m"},
        {{def_ombrel_terminal_bold | def_ombrel_terminal_reverse, 0, 0}, 0, "\x1b[0;1;7m"},
        {{0, def_ombrel_terminal_color_palette(1), def_ombrel_terminal_color_palette(12)},
         16,
         "\x1b[0;31;104m"},
        {{0, def_ombrel_terminal_color_palette(12), 0}, 8, "\x1b[0;34m"},
        {{0, def_ombrel_terminal_color_palette(196), 0}, 256, "\x1b[0;38;5;196m"},
        {{0, def_ombrel_terminal_color_palette(196), 0}, 16, "\x1b[0;91m"},
        {{0, def_ombrel_terminal_color_rgb(1, 2, 3), def_ombrel_terminal_color_rgb(255, 255, 255)},
         1 << 24,
         "\x1b[0;38;2;1;2;3;48;2;255;255;255m"},
        {{0, def_ombrel_terminal_color_rgb(96, 134, 177), 0}, 256, "\x1b[0;38;5;67m"},
        {{0, def_ombrel_terminal_color_rgb(127, 129, 128), 0}, 256, "\x1b[0;38;5;244m"},
        {{0, def_ombrel_terminal_color_rgb(1, 2, 3), 0}, 0, "\x1b[0m"},
    };
    char buf[64];
    for (const auto& one : table) {
        EXPECT_EQ(static_cast<int>(strlen(one.sequence)),
                  ombrel_format_terminal_style(buf, sizeof buf, &one.style, one.colors));
        EXPECT_STREQ(one.sequence, buf);
    }
    EXPECT_EQ(0, ombrel_format_terminal_style(buf, 4, nullptr, 8)); // never a part of a sequence
    EXPECT_STREQ("", buf);
}

TEST_F(Terminal, AsksTheEnvironmentForColors) {
    const struct {
        const char *name, *depth, *refusal;
        int colors;
    } table[] = {{"xterm-256color", "", "", 256},
                 {"xterm", "truecolor", "", 1 << 24},
                 {"xterm", "", "1", 0},
                 {"dumb", "24bit", "", 0},
                 {"vt100", "", "", 0},
                 {"linux", "", "", 16}};
    ombrel_terminal_pair_t pair;
    ASSERT_EQ(0, ombrel_init_terminal_pair(&pair));
    for (const auto& one : table) {
        setenv("TERM", one.name, 1);
        setenv("COLORTERM", one.depth, 1);
        setenv("NO_COLOR", one.refusal, 1);
        EXPECT_EQ(one.colors, ombrel_get_terminal_colors(pair.m_slave)) << one.name;
    }
    for (const char* name : {"COLORTERM", "NO_COLOR"})
        unsetenv(name);
    setenv("TERM", "xterm", 1);

    ombrel_terminal_t* terminal = ombrel_open_terminal(pair.m_slave, pair.m_slave);
    ASSERT_NE(nullptr, terminal);
    EXPECT_EQ(16, ombrel_terminal_get_colors(terminal));
    const ombrel_terminal_style_t red = {0, def_ombrel_terminal_color_palette(1), 0};
    EXPECT_EQ(0, ombrel_terminal_move(terminal, 3, 4));
    EXPECT_EQ(0, ombrel_terminal_set_style(terminal, &red));
    EXPECT_EQ(2, draw_formatted(terminal, "%s", "hi"));
    EXPECT_EQ(0, ombrel_terminal_puts(terminal, "!"));
    EXPECT_EQ(0, ombrel_terminal_write(terminal, "@", 1));
    EXPECT_EQ(0, ombrel_terminal_move_by(terminal, -2, 1));
    EXPECT_EQ(0, ombrel_terminal_clear(terminal, def_ombrel_terminal_clear_line_rest));
    EXPECT_EQ(0, ombrel_terminal_show_cursor(terminal, 0));
    EXPECT_EQ(0, ombrel_terminal_set_title(terminal, "a\x1b]b\xc2\x9c\xc2\xa1\a"));
    EXPECT_EQ(0, ombrel_terminal_ring(terminal));
    EXPECT_EQ(0, ombrel_terminal_flush(terminal));
    char shown[256] = "";
    const ssize_t size = read(pair.m_master, shown, sizeof shown - 1);
    EXPECT_EQ(
        std::string("\x1b[5;4H\x1b[0;31mhi!@\x1b[2D\x1b[1B\x1b[K\x1b[?25l\x1b]2;a ]b \xc2\xa1 \x1b\\\a"),
        std::string(shown, static_cast<size_t>(std::max<ssize_t>(size, 0))));

    ombrel_key_t key;
    EXPECT_EQ(def_ombrel_terminal_timeout, ombrel_terminal_read_key(terminal, &key, 0));
    EXPECT_EQ(0, ombrel_terminal_set_escape_timeout(terminal, 10));
    EXPECT_EQ(0, ombrel_terminal_enter(terminal, 0));
    EXPECT_EQ(0, ombrel_terminal_enter(terminal, def_ombrel_terminal_signals));
    EXPECT_EQ(-1, ombrel_terminal_enter(terminal, 0x1000));
    EXPECT_EQ(3, write(pair.m_master, "a\x1b[", 3));
    EXPECT_EQ(1, ombrel_terminal_read_key(terminal, &key, patience_ms));
    EXPECT_EQ(2, ombrel_terminal_read(terminal, shown, sizeof shown, patience_ms)); // those behind it
    EXPECT_EQ(def_ombrel_terminal_timeout, ombrel_terminal_read(terminal, shown, sizeof shown, 0));
    EXPECT_EQ(0, ombrel_terminal_leave(terminal));
    EXPECT_EQ(0, ombrel_terminal_leave(terminal));
    close(pair.m_master);
    pair.m_master = -1;
    EXPECT_EQ(0, ombrel_terminal_read_key(terminal, &key, patience_ms)); // hung up
    ombrel_close_terminal(terminal);
    ombrel_uninit_terminal_pair(&pair);
}

// Whichever is left first: what ends the program gives back all that are still entered.
TEST_F(Terminal, SignalsAreCaughtAsLongAsAnyIsEntered) {
    const auto is_caught = [] {
        struct sigaction now = {};
        return sigaction(SIGTERM, nullptr, &now) == 0 && now.sa_handler != SIG_DFL;
    };
    ombrel_terminal_pair_t pairs[2];
    ombrel_terminal_t* terminals[2];
    for (int i = 0; i < 2; i++) {
        ASSERT_EQ(0, ombrel_init_terminal_pair(&pairs[i]));
        terminals[i] = ombrel_open_terminal(pairs[i].m_slave, pairs[i].m_slave);
        ASSERT_NE(nullptr, terminals[i]);
    }
    for (const auto& [first, last] : {std::pair{0, 1}, {1, 0}}) {
        EXPECT_FALSE(is_caught());
        for (ombrel_terminal_t* const each : terminals) {
            EXPECT_EQ(0, ombrel_terminal_enter(each, 0));
            EXPECT_TRUE(is_caught());
        }
        EXPECT_EQ(0, ombrel_terminal_leave(terminals[first]));
        EXPECT_TRUE(is_caught()) << last << " is entered still";
        EXPECT_EQ(0, ombrel_terminal_leave(terminals[last]));
        EXPECT_FALSE(is_caught());
    }
    for (int i = 0; i < 2; i++) {
        ombrel_close_terminal(terminals[i]);
        ombrel_uninit_terminal_pair(&pairs[i]);
    }
}

TEST_F(Terminal, RefusesWhatIsNone) {
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    EXPECT_EQ(nullptr, ombrel_open_terminal(ends[0], ends[1]));
    EXPECT_EQ(def_ombrel_fault_not_supported, ombrel_last_fault());
    EXPECT_EQ(0, ombrel_get_terminal_colors(ends[0]));
    close(ends[0]);
    close(ends[1]);
    EXPECT_EQ(nullptr, ombrel_open_terminal(ends[0], ends[1]));
    EXPECT_EQ(def_ombrel_fault_bad_descriptor, ombrel_last_fault());
    char line[4] = "old";
    EXPECT_EQ(-1, ombrel_read_secret(ends[0], nullptr, line, sizeof line, 0));
    EXPECT_EQ(def_ombrel_fault_bad_descriptor, ombrel_last_fault());
    EXPECT_STREQ("", line);
    ombrel_key_t key;
    int columns = 0, rows = 0;
    ombrel_terminal_pair_t pair;
    ASSERT_EQ(0, ombrel_init_terminal_pair(&pair));
    ombrel_terminal_t* const terminal = ombrel_open_terminal(pair.m_slave, pair.m_slave);
    expect_refused({[&] { return ombrel_terminal_read_key(nullptr, &key, 0); },
                    [&] { return ombrel_terminal_read_key(terminal, nullptr, 0); },
                    [&] { return ombrel_terminal_read(nullptr, line, 1, 0); },
                    [&] { return ombrel_terminal_read(terminal, nullptr, 1, 0); },
                    [] { return ombrel_terminal_set_escape_timeout(nullptr, 1); },
                    [&] { return ombrel_terminal_set_escape_timeout(terminal, -1); },
                    [&] { return ombrel_terminal_get_size(nullptr, &columns, &rows); },
                    [] { return ombrel_terminal_get_descriptor(nullptr); },
                    [] { return ombrel_terminal_enter(nullptr, 0); },
                    [&] { return ombrel_terminal_enter(terminal, 0x1000); },
                    [] { return ombrel_terminal_leave(nullptr); },
                    [] { return ombrel_terminal_flush(nullptr); },
                    [] { return ombrel_terminal_write(nullptr, "x", 1); },
                    [&] { return ombrel_terminal_write(terminal, nullptr, 1); },
                    [] { return ombrel_terminal_puts(nullptr, "x"); },
                    [] { return ombrel_terminal_printf(nullptr, "x"); },
                    [] { return ombrel_terminal_move(nullptr, 0, 0); },
                    [] { return ombrel_terminal_move_by(nullptr, 0, 0); },
                    [] { return ombrel_terminal_show_cursor(nullptr, 0); },
                    [] { return ombrel_terminal_clear(nullptr, def_ombrel_terminal_clear_screen); },
                    [&] { return ombrel_terminal_clear(terminal, -1); },
                    [&] { return ombrel_terminal_clear(terminal, 4); },
                    [] { return ombrel_terminal_set_style(nullptr, nullptr); },
                    [] { return ombrel_terminal_set_title(nullptr, "x"); },
                    [&] { return ombrel_terminal_set_title(terminal, nullptr); },
                    [] { return ombrel_terminal_ring(nullptr); },
                    [&] { return ombrel_set_terminal_size(pair.m_master, 80, 0); },
                    [&] { return ombrel_format_terminal_style(nullptr, 9, nullptr, 8); },
                    [&] { return ombrel_format_terminal_style(line, 0, nullptr, 8); },
                    [&] { return ombrel_read_secret(pair.m_slave, nullptr, nullptr, 4, 0); },
                    [&] { return ombrel_read_secret(pair.m_slave, nullptr, line, 0, 0); }});
    EXPECT_EQ(80, columns);
    EXPECT_EQ(24, rows);
    EXPECT_EQ(0, ombrel_terminal_get_colors(nullptr));
    EXPECT_EQ(0, ombrel_terminal_puts(terminal, nullptr));
    EXPECT_EQ(0, ombrel_terminal_write(terminal, nullptr, 0));
    EXPECT_EQ(0, ombrel_terminal_read(terminal, nullptr, 0, patience_ms));
    EXPECT_EQ(0, ombrel_terminal_flush(terminal));
    EXPECT_EQ(0, ombrel_close_terminal(terminal));
    EXPECT_EQ(0, ombrel_close_terminal(nullptr));
    ombrel_uninit_terminal_pair(&pair);
    ombrel_restore_terminals(); // nothing to do
}
