#include <atomic>
#include <chrono>
#include <csignal>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "stream_support.h"
#include "support/emulator.h"

using namespace ombrel_test;

namespace {

std::atomic<int> looks_at_children{0};

} // namespace

extern "C" pid_t waitpid(pid_t process, int* status, int options) {
    static const auto real = reinterpret_cast<decltype(&waitpid)>(dlsym(RTLD_NEXT, "waitpid"));
    looks_at_children++;
    return real(process, status, options);
}

namespace {

class PipeStreamTest : public stream_test {
protected:
    /// No child is left, neither running nor ended.
    ~PipeStreamTest() override { EXPECT_EQ(-1, waitpid(-1, nullptr, WNOHANG)); }
};

ombrel_stream_exit_t exit_of(stream& s) {
    ombrel_stream_exit_t status{patience_ms, 99, 99};
    EXPECT_EQ(
        0, ombrel_ctx_control(s.handle(), def_ombrel_stream_control_get_exit_status, &status, sizeof status));
    return status;
}

TEST_F(PipeStreamTest, ReadsWhatACommandPrints) {
    stream s("pipe:printf '%s?#%%41' \"$0\"; cat; exit 7", "r");
    ASSERT_TRUE(s.is_open());
    EXPECT_NE(std::string::npos, s.read_to_end().find("?#%41"));
    EXPECT_EQ(7, exit_of(s).m_exit_code);
    EXPECT_EQ("7", s.property("exit_code"));
    EXPECT_EQ(-1, s.write("x")) << "mode r feeds nothing";
}

TEST_F(PipeStreamTest, TalksBothWays) {
    stream s("tr a-z A-Z", "r+", {}, "application/tuk_stream_pipe");
    ASSERT_TRUE(s.is_open());
    EXPECT_EQ(5, s.write("hello"));
    EXPECT_EQ(0, s.close_write());
    EXPECT_TRUE(s.is_readable());
    EXPECT_EQ("HELLO", s.read_to_end());
    EXPECT_EQ(-1, s.close_write());
    EXPECT_EQ(0, exit_of(s).m_exit_code);
}

TEST_F(PipeStreamTest, FeedsAProgramWithoutAnInterpreter) {
    stream s("pipe:sh", "w", {{"args", "-c 'read x; test \"$x\" = \"a b\" && exit \"$0\"' 5 \"\""}});
    ASSERT_TRUE(s.is_open());
    EXPECT_EQ(4, s.write("a b\n"));
    EXPECT_EQ(5, exit_of(s).m_exit_code);
    EXPECT_EQ("", s.read()) << "mode w reads nothing";
}

TEST_F(PipeStreamTest, RefusalsSayWhy) {
    const refused_sources cases[] = {
        {ctx_error::syntax, texts("pipe:")},
        {ctx_error::syntax, texts("pipe:true"), "r", {{"args", "'open"}}},
    };
    for (const refused_sources& each : cases)
        each.expect();
}

TEST_F(PipeStreamTest, ProgramsThatCannotBeStartedAreRefused) {
    if (starts_missing_programs())
        GTEST_SKIP() << "starting a missing program is no error to this emulator";
    refused_sources{ctx_error::not_found, texts("pipe:/no/such/program"), "r", {{"args", ""}}}.expect();
    refused_sources{ctx_error::access_denied, texts("pipe:/etc"), "r", {{"args", ""}}}.expect();
}

TEST_F(PipeStreamTest, AProgramThatHasGoneRaisesNoSignal) {
    stream s("pipe:exit 0", "w");
    exit_of(s);
    EXPECT_EQ(-1, s.write("x"));
    EXPECT_EQ(ctx_error::disconnected, s.error());
}

TEST_F(PipeStreamTest, LimitsEndCallsAndClosing) {
    stream s("pipe:trap '' TERM; echo up; sleep 1000 & wait; sleep 1000", "r+",
             {{"timeout", "20"}, {"close_timeout", "0"}});
    EXPECT_TRUE(s.is_readable());
    EXPECT_EQ("up\n", s.read());
    EXPECT_EQ("", s.read());
    EXPECT_EQ(ctx_error::timed_out, s.error());
    ombrel_stream_exit_t status{1, 0, 0};
    EXPECT_EQ(-1, ombrel_ctx_control(s.handle(), def_ombrel_stream_control_get_exit_status, &status,
                                     sizeof status));
    EXPECT_EQ(ctx_error::timed_out, s.error());
    EXPECT_EQ(0, s.close()) << "though it ignores the polite request";
}

TEST_F(PipeStreamTest, ASignalIsTold) {
    stream s("pipe:kill -9 $$", "r");
    const ombrel_stream_exit_t status = exit_of(s);
    EXPECT_EQ(-1, status.m_exit_code);
    EXPECT_EQ(SIGKILL, status.m_signal);
}

TEST_F(PipeStreamTest, TheEndWakesWhoWaitsForIt) {
    stream s("pipe:sleep 0.3; exit 4", "r"), other("pipe:sleep 0.5; exit 5", "r");
    looks_at_children = 0;
    EXPECT_EQ(4, exit_of(s).m_exit_code);
    EXPECT_GE(4, looks_at_children) << "it is not looked for again and again";
    rlimit before;
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none{1, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    EXPECT_EQ(5, exit_of(other).m_exit_code) << "it is found without another descriptor";
    setrlimit(RLIMIT_NOFILE, &before);
}

TEST_F(PipeStreamTest, TheChildGetsNoDescriptorAndFreshSignals) {
    const int careless = dup(0);
    stream other("pipe:cat", "r+");
    signal(SIGPIPE, SIG_IGN);
    stream s("pipe:ls /proc/self/fd | tr '\\n' ' '; grep SigIgn: /proc/self/status", "r");
    const std::string text = s.read_to_end();
    signal(SIGPIPE, SIG_DFL);
    close(careless);
    EXPECT_EQ(0u, text.find("0 1 2 3 S")) << "3 is the listed directory: " << text;
    EXPECT_EQ(std::string::npos, text.find("1000\n")) << text;
}

TEST_F(PipeStreamTest, TheLimitIsSetAndTold) {
    const stream s("pipe:true", "r");
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
