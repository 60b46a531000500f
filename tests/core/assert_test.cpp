#include <string>

#include <gtest/gtest.h>

#include <ombrel/assert.h>

#include "support/argument_list.h"
#include "support/capture.h"
#include "support/heap_balance.h"
#include "support/matches.h"

namespace {

using ombrel_test::capture;
using ombrel_test::matches;
using Assert = ombrel_test::balanced_test;

constexpr const char time_shape[] = " [0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}\n";

TEST_F(Assert, WritesOneLineAndGoesOn) {
    const struct {
        const char *file, *function;
        unsigned long line;
        const char *expression, *shown;
    } cases[] = {{"source/x", "f", 12, "a < b", "ombrel \\[ASSERT:source/x:f:12\\] <a < b>"},
                 {nullptr, nullptr, 0, nullptr, "ombrel \\[ASSERT:UNKNOWN:UNKNOWN:0\\] <NO_MESSAGE>"},
                 {"%s", "%d", 4294967295ul, "%n", "ombrel \\[ASSERT:%s:%d:4294967295\\] <%n>"}};
    for (const auto& c : cases) {
        capture errors(stderr);
        EXPECT_EQ(0, ombrel_assert_fail_tag(c.file, c.function, c.line, c.expression));
        const std::string text = errors.text();
        EXPECT_TRUE(matches(text, std::string(c.shown) + time_shape));
    }
}

TEST_F(Assert, FormatsItsMessageOrShowsTheFormat) {
    const struct {
        const char *format, *shown;
    } cases[] = {{"%s=%d", "<x=7>"}, {"%70000s", "<%70000s>"}, {nullptr, "<NO_MESSAGE>"}};
    for (const auto& c : cases) {
        capture errors(stderr);
        const auto fail = [&](va_list list) { return ombrel_vassert_fail_tag("s", "f", 1, c.format, list); };
        EXPECT_EQ(0, ombrel_assertf_fail_tag("s", "f", 1, c.format, "x", 7));
        EXPECT_EQ(0, ombrel_test::with_list(fail, "x", 7));
        const std::string line = std::string("ombrel \\[ASSERT:s:f:1\\] ") + c.shown + time_shape;
        EXPECT_TRUE(matches(errors.text(), line + line));
    }
}

TEST_F(Assert, TheMacroReportsOnlyWhatDoesNotHold) {
    capture errors(stderr);
    ombrel_assert(1 < 2);
    ombrel_assert(2 < 1);
    const std::string text = errors.text();
    EXPECT_NE(std::string::npos, text.find("assert_test.cpp:TestBody:")) << text;
    EXPECT_NE(std::string::npos, text.find("<2 < 1>"));
    EXPECT_EQ(std::string::npos, text.find("<1 < 2>"));
}

} // namespace
