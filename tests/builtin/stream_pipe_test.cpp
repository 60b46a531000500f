// Streams to programs, as far as all hosts agree.
#include <ombrel/short_lock.h>

#include "builtin/pipe_support.h"
#include "support/emulator.h"

using namespace ombrel_test;

namespace {

using PipeStreamTest = stream_test;

const std::string child = OMBREL_TEST_CHILD, command = "pipe:\"" + child + "\" ";

TEST_F(PipeStreamTest, ReadsWhatACommandPrints) {
    stream s(command + "arguments ?#%41 && exit 7", "r");
    ASSERT_TRUE(s.is_open());
    EXPECT_EQ(std::string("?#%41\0", 6), s.read_to_end());
    EXPECT_EQ(7, exit_of(s).m_exit_code);
    EXPECT_EQ("7", s.property("exit_code"));
    EXPECT_EQ(-1, s.write("x")) << "mode r feeds nothing";
}

TEST_F(PipeStreamTest, TalksBothWays) {
    stream s("\"" + child + "\" copy", "r+", {}, "application/tuk_stream_pipe");
    ASSERT_TRUE(s.is_open());
    const std::string much(200000, 'x');
    EXPECT_EQ(5, s.write("hello"));
    EXPECT_TRUE(s.is_writable());
    EXPECT_EQ(0, ombrel_ctx_sync(s.handle()));
    EXPECT_EQ(0, s.close_write());
    EXPECT_TRUE(s.is_readable());
    EXPECT_EQ("hello", s.read_to_end());
    EXPECT_EQ(-1, s.close_write());
    EXPECT_EQ(ctx_error::not_supported, s.error()) << "there is none any more";
    EXPECT_EQ(0, exit_of(s).m_exit_code);
}

TEST_F(PipeStreamTest, RunsAProgramWithoutAnInterpreter) {
    stream s("pipe:" + child, "r", {{"args", "arguments 'a b'  \"\" \"it's\" c\"d e\"f &&"}});
    ASSERT_TRUE(s.is_open());
    EXPECT_EQ(std::string("a b\0\0it's\0cd ef\0&&\0", 19), s.read_to_end());
    EXPECT_EQ(0, exit_of(s).m_exit_code);
    stream feeding("pipe:" + child, "w", {{"args", "exit 5"}});
    EXPECT_EQ(5, exit_of(feeding).m_exit_code);
    EXPECT_EQ("", feeding.read()) << "mode w reads nothing";
}

TEST_F(PipeStreamTest, APipeThatIsFullWaitsForItsReader) {
    stream s("pipe:" + child, "r+", {{"args", "copy"}, {"timeout", "50"}});
    const std::string much(1 << 20, 'x');
    const int taken = s.write(much);
    EXPECT_TRUE(taken > 4096 && taken < 1 << 20) << taken;
    EXPECT_EQ(ctx_error::timed_out, s.error());
    size_t given = 0;
    while (given < static_cast<size_t>(taken))
        given += s.read().size();
    EXPECT_EQ(static_cast<size_t>(taken), given);
    EXPECT_EQ("", s.read());
    EXPECT_EQ(ctx_error::timed_out, s.error());
}

TEST_F(PipeStreamTest, RefusalsSayWhy) {
    if (starts_missing_programs())
        GTEST_SKIP() << "the emulator says that it starts programs that are not there";
    const std::string folder = child.substr(0, child.find_last_of("/\\"));
    const refused_sources cases[] = {
        {ctx_error::syntax, texts("pipe:")},
        {ctx_error::syntax, texts("pipe:true"), "r", {{"args", "'open"}}},
        {ctx_error::not_found, texts("pipe:/no/such/program", "pipe:no_such_program"), "r", {{"args", ""}}},
        {ctx_error::access_denied, texts("pipe:" + folder), "r", {{"args", ""}}}};
    for (const refused_sources& each : cases)
        each.expect();
}

TEST_F(PipeStreamTest, AProgramIsStoppedWhenItDoesNotEnd) {
    stream s("pipe:" + child, "r", {{"args", "hang"}, {"close_timeout", "0"}});
    EXPECT_TRUE(s.is_readable()) << "it runs";
    ombrel_stream_exit_t status{1, 0, 0};
    EXPECT_EQ(-1, ombrel_ctx_control(s.handle(), def_ombrel_stream_control_get_exit_status, &status,
                                     sizeof status));
    EXPECT_EQ(ctx_error::timed_out, s.error());
    EXPECT_EQ(0, s.close());
}

TEST_F(PipeStreamTest, AProgramThatHasGoneRaisesNoSignal) {
    stream s("pipe:exit 0", "w");
    exit_of(s);
    while (s.write("x") > 0) // until the system has taken its end of the pipe
        ombrel_load_balance_short();
    EXPECT_EQ(ctx_error::disconnected, s.error());
}

TEST_F(PipeStreamTest, WhatAPipeHasNotIsNoProperty) {
    const stream s(command + "exit 0", "r");
    for (const char* name : {"size", "position", "local", "peer", "error", "nothing"})
        EXPECT_EQ("none", s.property(name)) << name;
}

TEST_F(PipeStreamTest, TheLimitIsSetAndTold) {
    const stream s("pipe:exit 0", "r");
    ombrel_stream_timeout_t before{-5}, after{};
    EXPECT_EQ(static_cast<int>(sizeof before),
              ombrel_ctx_bcontrol(s.handle(), def_ombrel_stream_control_set_timeout, &before, sizeof before,
                                  nullptr, size_t{0}));
    EXPECT_EQ(static_cast<int>(sizeof after),
              ombrel_ctx_bcontrol(s.handle(), def_ombrel_stream_control_get_timeout, nullptr, size_t{0},
                                  &after, sizeof after));
    EXPECT_EQ(-5, after.m_timeout_ms);
}

} // namespace
