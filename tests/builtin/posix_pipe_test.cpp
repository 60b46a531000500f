// Streams to programs, and what POSIX has of processes: signals, groups, descriptors, limits.
#include <atomic>
#include <chrono>
#include <csignal>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "builtin/pipe_support.h"
#include "support/emulator.h"
#include "support/scratch_directory.h"

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

class PipeStreamOfPosix : public stream_test {
protected:
    /// No child is left, neither running nor ended.
    ~PipeStreamOfPosix() override { EXPECT_EQ(-1, waitpid(-1, nullptr, WNOHANG)); }
};

TEST_F(PipeStreamOfPosix, FeedsAProgramWithoutAnInterpreter) {
    stream s("pipe:sh", "w", {{"args", "-c 'read x; test \"$x\" = \"a b\" && exit \"$0\"' 5 \"\""}});
    ASSERT_TRUE(s.is_open());
    EXPECT_EQ(4, s.write("a b\n"));
    EXPECT_EQ(5, exit_of(s).m_exit_code);
    EXPECT_EQ("", s.read()) << "mode w reads nothing";
}

TEST_F(PipeStreamOfPosix, AnEndMayBeDescriptor0) {
    const int standard_input = dup(STDIN_FILENO);
    close(STDIN_FILENO);
    {
        stream s("pipe:echo up", "r");
        EXPECT_TRUE(s.is_readable());
        EXPECT_EQ("0", s.property("fd"));
        EXPECT_EQ("up\n", s.read_to_end());
    }
    {
        stream s("pipe:cat", "r+");
        EXPECT_EQ(2, s.write("in"));
        EXPECT_TRUE(s.is_readable());
        EXPECT_EQ("in", s.read());
    }
    EXPECT_EQ(STDIN_FILENO, dup2(standard_input, STDIN_FILENO));
    close(standard_input);
}

TEST_F(PipeStreamOfPosix, LimitsEndCallsAndClosing) {
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

// Its pipe is closed first, which what prints without end notices.
TEST_F(PipeStreamOfPosix, ClosingEndsAPrinterByItself) {
    const scratch_directory directory;
    stream s("pipe:trap '' TERM; yes; echo $? > " + (directory / "status"), "r",
             {{"close_timeout", "20000"}});
    EXPECT_TRUE(s.is_readable());
    EXPECT_EQ(0, s.close());
    EXPECT_EQ("141\n", directory.read("status")) << "128 and SIGPIPE";
}

TEST_F(PipeStreamOfPosix, ASignalIsTold) {
    stream s("pipe:kill -9 $$", "r");
    const ombrel_stream_exit_t status = exit_of(s);
    EXPECT_EQ(-1, status.m_exit_code);
    EXPECT_EQ(SIGKILL, status.m_signal);
}

TEST_F(PipeStreamOfPosix, TheEndWakesWhoWaitsForIt) {
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

TEST_F(PipeStreamOfPosix, TheChildGetsNoDescriptorAndFreshSignals) {
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

} // namespace
