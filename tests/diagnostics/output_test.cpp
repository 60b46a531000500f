#include <fcntl.h>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

#include <ombrel/output.h>

#include "support/argument_list.h"
#include "support/capture.h"
#include "support/heap_balance.h"
#include "support/threads.h"

namespace {

using ombrel_test::capture;
using Output = ombrel_test::balanced_test;

constexpr const char coloured[] = "\x1b[1;31mred !\x1b[0m (plain)\n";

std::string handled;

unsigned take_text(const char* text) {
    handled += text != nullptr ? text : "<flush>";
    return 42;
}

/// The two ways out, for cases that must hold on both.
struct way {
    FILE* stream;
    int (*set_handler)(ombrel_puts_handler_t handler, ombrel_puts_handler_t* old);
    ombrel_puts_handler_t puts;
    unsigned (*printf)(const char* format, ...);
    unsigned (*vprintf)(const char* format, va_list arguments);
};

const way ways[] = {
    {stdout, ombrel_set_puts_handler, ombrel_puts, ombrel_printf, ombrel_vprintf},
    {stderr, ombrel_set_error_puts_handler, ombrel_error_puts, ombrel_error_printf, ombrel_error_vprintf}};

class BothWays : public ombrel_test::balanced_test, public ::testing::WithParamInterface<int> {
protected:
    const way& to = ways[GetParam()];
};

TEST_P(BothWays, WritesTextWithoutEscapesAndWithoutNewline) {
    capture written(to.stream);
    EXPECT_LE(0, static_cast<int>(to.puts(coloured)));
    EXPECT_LE(0, static_cast<int>(to.puts("plain")));
    EXPECT_LE(0, static_cast<int>(to.puts("")));
    EXPECT_LE(0, static_cast<int>(to.printf("%s%5d", "\x1b[1;37mn\x1b[0m", 7)));
    const auto print = [&](va_list list) { return static_cast<int>(to.vprintf("|%d%s\x1b[0m", list)); };
    EXPECT_LE(0, ombrel_test::with_list(print, 8, "x"));
    EXPECT_EQ(0u, to.puts(nullptr));
    EXPECT_EQ("red ! (plain)\nplainn    7|8x", written.text());
}

TEST_P(BothWays, NullFlushes) {
    // Stands still in the stream's own buffer until the flush.
    capture written(to.stream);
    to.puts("kept");
    EXPECT_EQ(0u, to.puts(nullptr));
    EXPECT_EQ("kept", written.so_far());
}

TEST_P(BothWays, HandlersReceiveTextsAsTheyAre) {
    handled.clear();
    ombrel_puts_handler_t old = nullptr;
    EXPECT_EQ(0, to.set_handler(take_text, &old));
    EXPECT_EQ(GetParam() == 0 ? ombrel_puts : ombrel_error_puts, old);
    capture written(to.stream);
    EXPECT_EQ(42u, to.puts(coloured));
    EXPECT_EQ(42u, to.puts(nullptr));
    EXPECT_EQ(42u, to.printf("%d|", 5));
    EXPECT_EQ(0, to.set_handler(old, &old));
    EXPECT_EQ(&take_text, old);
    EXPECT_EQ("", written.text());
    EXPECT_EQ(std::string(coloured) + "<flush>5|", handled);
}

TEST_P(BothWays, NullAndTheFunctionItselfMeanBuiltIn) {
    for (const ombrel_puts_handler_t handler : {ombrel_puts_handler_t{}, to.puts}) {
        to.set_handler(handler, nullptr);
        capture written(to.stream);
        EXPECT_LE(0, static_cast<int>(to.puts("\x1b[1mx")));
        EXPECT_EQ("x", written.text());
    }
}

TEST_P(BothWays, ReportsAFailingStream) {
    FILE* const stream = to.stream;
    fflush(stream);
    const int saved = dup(fileno(stream));
    const int full = open("/dev/full", O_WRONLY);
    if (full < 0)
        GTEST_SKIP() << "no /dev/full";
    dup2(full, fileno(stream));
    setvbuf(stream, nullptr, _IONBF, 0);
    const unsigned result = to.puts("lost");
    clearerr(stream);
    dup2(saved, fileno(stream));
    close(full);
    close(saved);
    EXPECT_EQ(-1, static_cast<int>(result));
}

INSTANTIATE_TEST_SUITE_P(Output, BothWays, ::testing::Values(0, 1),
                         [](const auto& test) { return test.param == 0 ? "output" : "error"; });

TEST_F(Output, LogLinesGetANewline) {
    capture written(stdout);
    ombrel_log_puts("one");
    ombrel_log_puts_tag("\x1b[1;32mtwo\x1b[0m");
    ombrel_log_printf("%s=%d", "three", 3);
    ombrel_test::with_list([](va_list list) { return ombrel_log_vprintf("%s=%d", list); }, "four", 4);
    EXPECT_EQ("one\ntwo\nthree=3\nfour=4\n", written.text());
}

TEST_F(Output, QuietPutsDiscards) {
    ombrel_puts_handler_t old;
    ombrel_set_puts_handler(ombrel_quiet_puts, &old);
    capture written(stdout);
    EXPECT_EQ(0u, ombrel_puts("x"));
    EXPECT_EQ(0u, ombrel_log_printf("%d", 1));
    ombrel_set_puts_handler(old, nullptr);
    EXPECT_EQ("", written.text());
}

TEST_F(Output, WhatCannotBeFormattedPrintsNothing) {
    capture written(stdout);
    const std::string longest(65278, 'x');
    EXPECT_EQ(0u, ombrel_printf("%70000d", 1));
    EXPECT_EQ(0u, ombrel_log_printf("%70000d", 1));
    EXPECT_EQ(0u, ombrel_printf(nullptr));
    EXPECT_LE(0, static_cast<int>(ombrel_printf("%s", longest.c_str())));
    EXPECT_EQ(longest, written.text());
}

TEST_F(Output, LinesOfSeveralThreadsDoNotMix) {
    constexpr int lines = 500;
    capture written(stdout);
    ombrel_test::in_threads(4, [](int thread) {
        const std::string line(60, "abcd"[thread]);
        for (int i = 0; i < lines; i++)
            ombrel_printf(i % 2 != 0 ? "%s\n" : "\x1b[1;31m%s\x1b[0m\n", line.c_str());
    });
    const std::string text = written.text();
    ASSERT_EQ(4u * lines * 61, text.size());
    for (size_t at = 0; at < text.size(); at += 61)
        ASSERT_EQ(std::string(60, text[at]) + "\n", text.substr(at, 61));
}

} // namespace
