#include <csignal>
#include <thread>

#include <gtest/gtest.h>

#include <ombrel/pipe.h>
#include <ombrel/short_lock.h>
#include <ombrel/time.h>
#include <ombrel/timer.h>

TEST(timer, counts_down_and_can_be_lengthened) {
    ombrel_timer_t timer;
    uint64_t remaining = 99;
    ASSERT_EQ(ombrel_init_timer(&timer, 0), 0);
    EXPECT_EQ(ombrel_check_timer_ex(&timer, &remaining), 1);
    EXPECT_EQ(remaining, 0u);
    ombrel_update_timer(&timer, 5000);
    EXPECT_EQ(ombrel_check_timer_ex(&timer, &remaining), 0);
    EXPECT_GT(remaining, 4000u);
    EXPECT_LE(remaining, 5000u);
    ombrel_update_timer(&timer, UINT64_MAX);
    EXPECT_EQ(ombrel_check_timer(&timer), 0) << "no end beyond the last moment there is";
    ombrel_init_timer(&timer, 5);
    ombrel_load_balance();
    EXPECT_EQ(ombrel_check_timer(&timer), 1);
    EXPECT_EQ(ombrel_check_timer(nullptr), -1);
}

TEST(pipe, tells_bytes_time_outs_ends_and_errors_apart) {
    int ends[2];
    char buffer[4] = {};
    ASSERT_EQ(ombrel_pipe(ends), 0);
    const uint64_t start = ombrel_time_stamp_msec();
    EXPECT_EQ(ombrel_pipe_read(ends[0], buffer, sizeof buffer, 20), def_ombrel_pipe_timeout);
    EXPECT_GE(ombrel_time_stamp_msec() - start, 19u);
    EXPECT_EQ(ombrel_pipe_write(ends[1], "abcdef", 6), 6);
    EXPECT_EQ(ombrel_pipe_read(ends[0], buffer, sizeof buffer, -1), 4);
    EXPECT_EQ(ombrel_pipe_read(ends[0], buffer, sizeof buffer, 0), 2);
    EXPECT_EQ(buffer[0], 'e');
    int write_end[2] = {-1, ends[1]};
    EXPECT_EQ(ombrel_destroy_pipe(write_end), 0);
    EXPECT_EQ(ombrel_pipe_read(ends[0], buffer, sizeof buffer, 1000), 0);
    ends[1] = -1;
    EXPECT_EQ(ombrel_destroy_pipe(ends), 0);
    EXPECT_EQ(ends[0], -1);
    EXPECT_EQ(ombrel_pipe_read(-1, buffer, sizeof buffer, 0), -1);
}

TEST(pipe, write_without_a_reader_fails_without_a_signal) {
    int ends[2];
    ASSERT_EQ(ombrel_pipe(ends), 0);
    int read_end[2] = {ends[0], -1};
    ombrel_destroy_pipe(read_end);
    sigset_t before, pending;
    for (const bool blocked : {false, true}) {
        sigset_t pipe_signal;
        sigemptyset(&pipe_signal);
        sigaddset(&pipe_signal, SIGPIPE);
        pthread_sigmask(blocked ? SIG_BLOCK : SIG_UNBLOCK, &pipe_signal, blocked ? &before : nullptr);
        EXPECT_EQ(ombrel_pipe_write(ends[1], "x", 1), -1);
        sigpending(&pending);
        EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    ends[0] = -1;
    ombrel_destroy_pipe(ends);
}
