#include <csignal>
#include <thread>

#if !defined(_WIN32)
#include <fcntl.h>
#include <unistd.h>
#endif

#include <gtest/gtest.h>

#include <ombrel/pipe.h>
#include <ombrel/short_lock.h>
#include <ombrel/time.h>
#include <ombrel/timer.h>

#include "support/descriptor_shortage.h"

TEST(Timer, CountsDownAndCanBeLengthened) {
    ombrel_timer_t timer;
    uint64_t remaining = 99;
    ASSERT_EQ(0, ombrel_init_timer(&timer, 0));
    EXPECT_EQ(1, ombrel_check_timer_ex(&timer, &remaining));
    EXPECT_EQ(0u, remaining);
    EXPECT_EQ(0, ombrel_update_timer(&timer, 5000));
    EXPECT_EQ(0, ombrel_check_timer_ex(&timer, &remaining));
    EXPECT_GT(remaining, 4000u);
    EXPECT_LE(remaining, 5000u);
    ombrel_update_timer(&timer, UINT64_MAX);
    EXPECT_EQ(0, ombrel_check_timer(&timer)) << "no end beyond the last moment there is";
    ombrel_init_timer(&timer, 5);
    ombrel_load_balance();
    EXPECT_EQ(1, ombrel_check_timer(&timer));
    remaining = 99;
    for (const int refused : {ombrel_init_timer(nullptr, 5), ombrel_check_timer(nullptr),
                              ombrel_check_timer_ex(nullptr, &remaining), ombrel_update_timer(nullptr, 5)})
        EXPECT_EQ(-1, refused);
    EXPECT_EQ(99u, remaining);
}

TEST(Pipe, TellsBytesTimeOutsEndsAndErrorsApart) {
    int ends[2];
    char buffer[4] = {};
    ASSERT_EQ(0, ombrel_pipe(ends));
    const uint64_t start = ombrel_time_stamp_msec();
    EXPECT_EQ(def_ombrel_pipe_timeout, ombrel_pipe_read(ends[0], buffer, sizeof buffer, 20));
    EXPECT_GE(ombrel_time_stamp_msec() - start, 19u);
    EXPECT_EQ(6, ombrel_pipe_write(ends[1], "abcdef", 6));
    EXPECT_EQ(4, ombrel_pipe_read(ends[0], buffer, sizeof buffer, -1));
    EXPECT_EQ(2, ombrel_pipe_read(ends[0], buffer, sizeof buffer, 0));
    EXPECT_EQ('e', buffer[0]);
    int write_end[2] = {-1, ends[1]};
    EXPECT_EQ(0, ombrel_destroy_pipe(write_end));
    EXPECT_EQ(0, ombrel_pipe_read(ends[0], buffer, sizeof buffer, 1000));
    ends[1] = -1;
    EXPECT_EQ(0, ombrel_destroy_pipe(ends));
    EXPECT_EQ(-1, ends[0]);
    EXPECT_EQ(0, ombrel_destroy_pipe(ends)) << "nothing is left";
    for (const int refused :
         {ombrel_pipe(nullptr), ombrel_destroy_pipe(nullptr), ombrel_pipe_read(-1, buffer, sizeof buffer, 0),
          ombrel_pipe_read(0, nullptr, 1, 0), ombrel_pipe_write(-1, buffer, 1),
          ombrel_pipe_write(1, nullptr, 1)})
        EXPECT_EQ(-1, refused);
}

TEST(Pipe, NoneIsMadeWithoutDescriptors) {
    int ends[2] = {7, 8};
    {
        const ombrel_test::descriptor_shortage none_left;
        EXPECT_EQ(-1, ombrel_pipe(ends));
    }
    EXPECT_EQ(-1, ends[0]);
    EXPECT_EQ(-1, ends[1]);
}

#if !defined(_WIN32)
TEST(Pipe, AnEndMayBeDescriptor0) {
    const int own = dup(STDIN_FILENO);
    close(STDIN_FILENO);
    int ends[2];
    EXPECT_EQ(0, ombrel_pipe(ends));
    EXPECT_EQ(STDIN_FILENO, ends[0]);
    char byte = 0;
    EXPECT_EQ(1, ombrel_pipe_write(ends[1], "x", 1));
    EXPECT_EQ(1, ombrel_pipe_read(ends[0], &byte, 1, 1000));
    EXPECT_EQ('x', byte);
    EXPECT_EQ(0, ombrel_destroy_pipe(ends));
    EXPECT_EQ(-1, fcntl(STDIN_FILENO, F_GETFD));
    EXPECT_EQ(STDIN_FILENO, dup2(own, STDIN_FILENO));
    close(own);
}
#endif

TEST(Pipe, WriteWithoutAReaderFailsWithoutASignal) {
    int ends[2];
    ASSERT_EQ(0, ombrel_pipe(ends));
    int read_end[2] = {ends[0], -1};
    ombrel_destroy_pipe(read_end);
    EXPECT_EQ(-1, ombrel_pipe_write(ends[1], "x", 1));
#if defined(SIGPIPE)
    sigset_t pipe_signal, before, pending;
    sigemptyset(&pipe_signal);
    sigaddset(&pipe_signal, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe_signal, &before);
    EXPECT_EQ(-1, ombrel_pipe_write(ends[1], "x", 1));
    sigpending(&pending);
    EXPECT_EQ(0, sigismember(&pending, SIGPIPE));
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
#endif
    ends[0] = -1;
    ombrel_destroy_pipe(ends);
}
