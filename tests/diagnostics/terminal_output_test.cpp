// What changes when standard output is a terminal. Whether it is one is found out once in a process, so each
// case runs in a new one, which has a pseudo-terminal.
#include <gtest/gtest.h>

#if defined(_WIN32)

TEST(TerminalOutput, KeepsEscapesAndFitsTheBar) {
    GTEST_SKIP() << "this host has no pseudo-terminals";
}

#else

#include <cstdlib>
#include <fcntl.h>
#include <optional>
#include <pty.h>
#include <string>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <ombrel/output.h>
#include <ombrel/progress.h>
#include <ombrel/terminal.h>

#include "support/emulator.h"

namespace {

constexpr const char case_variable[] = "OMBREL_TERMINAL_TEST_CASE";

void print_red() {
    ombrel_puts("\x1b[1;31mred\x1b[0m");
}

void print_size() {
    int columns = 0, rows = 0;
    const int result = ombrel_get_terminal_size(&columns, &rows);
    ombrel_printf("%d %d %d %d %d", result, columns, rows, ombrel_isatty(1), ombrel_isatty(999));
}

const struct {
    const char* terminal;
    unsigned short columns;
    void (*print)();
    const char* shown;
} cases[] = {
    {"xterm", 80, print_red, "\x1b[1;31mred\x1b[0m"},
    {"dumb", 80, print_red, "red"},
    {"", 80, print_red, "red"},
    {"xterm", 43, print_size, "0 43 5 1 0"},
    // 30 columns less 4, 7, 3 and 2 leave 14 for the bar.
    {"xterm", 30, [] { ombrel_progress_bar(1, 2, "load", nullptr, "%s", "end"); },
     "\rload\x1b[1;37m 50%\x1b[0m [\x1b[1;32m=======\x1b[1;37m>      \x1b[0m]end "},
    {"xterm", 30, [] { ombrel_progress_bar(1, 2, "load", "abcdefghij", "e%cd", 'n'); },
     "\rload\x1b[1;37m 50%\x1b[0m [\x1b[1;32mabcdefg\x1b[1;37m>\x1b[0;31mij    \x1b[0m]end "},
    {"xterm", 30, [] { ombrel_progress_bar(9, 9, "load", "abcdefghij", "end"); },
     "\rload\x1b[1;37m100%\x1b[0m [\x1b[1;32mabcdefghij====\x1b[0m]end "},
    // Absent texts take one column each and print as a space.
    {"xterm", 14, [] { ombrel_progress_bar(0, 0, nullptr, nullptr, nullptr); },
     "\r \x1b[1;37m  0%\x1b[0m [\x1b[1;32m\x1b[1;37m>  \x1b[0m]  "},
    {"xterm", 11, [] { ombrel_progress_bar(1, 2, nullptr, "abc", nullptr); }, "\r \x1b[1;37m 50%\x1b[0m  "},
    {"xterm", 5, [] { ombrel_progress_bar(20, 10, "a long prefix", "abc", "x"); },
     "\ra long prefix\x1b[1;37m100%\x1b[0mx "},
};

// The new process ends here, before the test program's own main().
[[gnu::constructor]] void run_case() {
    const char* index = getenv(case_variable);
    if (index == nullptr)
        return;
    cases[atoi(index)].print();
    ombrel_puts(nullptr);
    _exit(0);
}

/// What a case prints in a new process on a pseudo-terminal that hands on the text as it is; nothing where
/// there are no pseudo-terminals.
std::optional<std::string> shown_on_terminal(size_t index) {
    termios mode{};
    mode.c_cflag = CS8 | CREAD;
    winsize size{};
    size.ws_col = cases[index].columns;
    size.ws_row = 5;
    int master = -1;
    const pid_t child = forkpty(&master, nullptr, &mode, &size);
    if (child < 0)
        return std::nullopt;
    if (child == 0) {
        setenv("TERM", cases[index].terminal, 1);
        setenv(case_variable, std::to_string(index).c_str(), 1);
        execl("/proc/self/exe", "terminal-case", static_cast<char*>(nullptr));
        _exit(127);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(0, status);
    fcntl(master, F_SETFL, O_NONBLOCK);
    char text[1024];
    const ssize_t length = read(master, text, sizeof text);
    close(master);
    return std::string(text, length > 0 ? static_cast<size_t>(length) : 0);
}

TEST(TerminalOutput, KeepsEscapesAndFitsTheBar) {
    if (ombrel_test::cannot_start_itself())
        GTEST_SKIP() << "an emulated program cannot start itself";
    for (size_t i = 0; i < std::size(cases); i++) {
        const std::optional<std::string> shown = shown_on_terminal(i);
        if (!shown)
            GTEST_SKIP() << "no pseudo-terminals here";
        EXPECT_EQ(cases[i].shown, *shown) << i;
    }
}

} // namespace

#endif
