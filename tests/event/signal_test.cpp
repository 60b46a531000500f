#include <ombrel/signal.h>

#include <thread>

#include "event/event_fixture.h"
#include "support/threads.h"

namespace {

using namespace ombrel_test;

class Signal : public event_test {
protected:
    void SetUp() override {
        event_test::SetUp();
        ombrel_reset_all_signal_count();
    }
};

TEST_F(Signal, DeliveriesFireTheEventsOfTheirSignal) {
    recorder first(base, own_signal, on_signal | persist);
    recorder second(base, own_signal, on_signal), other(base, other_signal, on_signal);
    add({&first, &second, &other});
    ::raise(own_signal);
    ::raise(own_signal);
    EXPECT_EQ(2, ombrel_get_signal_node_count(&first.event));
    once(); // a signal before the wait is not lost
    EXPECT_EQ(results{on_signal}, first.results);
    EXPECT_EQ(std::vector<int>{own_signal}, first.fds);
    EXPECT_EQ(1u, second.results.size());
    EXPECT_TRUE(other.results.empty());
    EXPECT_EQ(0, ombrel_get_signal_node_count(&first.event));
    EXPECT_EQ(2, ombrel_get_signal_count(own_signal));
    EXPECT_EQ(own_signal, ombrel_get_last_signum());
    EXPECT_EQ(0, ombrel_reset_signal_count(own_signal));
    EXPECT_EQ(0, ombrel_get_signal_count(own_signal));
    for (int wrong : {0, -1, 65, 1000})
        EXPECT_EQ(-1, ombrel_get_signal_count(wrong));
}

constexpr int posix_kill = 9;
volatile sig_atomic_t heard;

/// Stays where a delivery takes a handler away.
void hear(int signum) {
    heard = heard + 1;
    ::signal(signum, hear);
}

TEST_F(Signal, TheEarlierDispositionComesBack) {
    ::signal(own_signal, hear);
    for (int (*const restore)() :
         {+[] { return ombrel_restore_signal(own_signal); }, &ombrel_restore_all_signal}) {
        heard = 0;
        recorder event(base, own_signal, on_signal | persist);
        EXPECT_EQ(0, event.add());
        ::raise(own_signal);
        EXPECT_EQ(0, heard);
        EXPECT_EQ(0, restore());
        EXPECT_EQ(-1, ombrel_restore_signal(own_signal));
        ::raise(own_signal);
        EXPECT_EQ(1, heard);
        EXPECT_EQ(0, event.del());
        EXPECT_EQ(0, event.add());
        ::raise(own_signal);
        EXPECT_EQ(1, heard);
        EXPECT_EQ(0, event.del());
        ::raise(own_signal);
        EXPECT_EQ(2, heard);
    }
    ::signal(own_signal, SIG_DFL);
}

TEST_F(Signal, AOneShotEventAddedAgainMissesNothing) {
    ::signal(other_signal, hear);
    heard = 0;
    recorder event(base, other_signal, on_signal, [](recorder& self) {
        ::raise(other_signal); // still caught, though the event is not registered now
        EXPECT_EQ(0, self.add());
    });
    EXPECT_EQ(0, event.add());
    ::raise(other_signal);
    once();
    EXPECT_EQ(0, heard);
    ::raise(other_signal);
    once();
    EXPECT_EQ(2u, event.results.size());
    ::signal(other_signal, SIG_DFL);
}

TEST_F(Signal, OnlyItsOwnSignalsLetAnInterruptedLoopGoOn) {
#if defined(_WIN32)
    GTEST_SKIP() << "Windows has no signals that interrupt";
#else
    // Without a restart flag, to the calling thread alone.
    struct sigaction action = {}, before = {};
    action.sa_handler = [](int) {};
    sigaction(other_signal, &action, &before);
    const pthread_t loop_thread = pthread_self();
    std::atomic<bool> ended{false};
    // Again and again, as one that comes before the loop waits interrupts nothing.
    std::thread foreign([&] {
        while (!ended) {
            ::usleep(20000);
            pthread_kill(loop_thread, other_signal);
        }
    });
    EXPECT_EQ("", errors_of([&] { EXPECT_EQ(-1, ombrel_event_base_dispatch(base)); }));
    ended = true;
    foreign.join();

    recorder event(base, own_signal, on_signal);
    EXPECT_EQ(0, event.add());
    std::thread own([=] {
        ::usleep(20000);
        pthread_kill(loop_thread, own_signal);
    });
    once();
    EXPECT_EQ(1u, event.results.size());
    own.join();
    sigaction(other_signal, &before, nullptr);
#endif
}

TEST_F(Signal, EventsAttachedByHandCount) {
    recorder event(base, own_signal, 0);
    EXPECT_EQ(-1, ombrel_del_signal(&event.event));
    EXPECT_EQ(0, ombrel_add_signal(&event.event));
    EXPECT_EQ(0, ombrel_add_signal(&event.event));
    ::raise(own_signal);
    EXPECT_EQ(1, ombrel_get_signal_node_count(&event.event));
    EXPECT_EQ(0, ombrel_reset_signal_node_count(&event.event));
    EXPECT_EQ(0, ombrel_get_signal_node_count(&event.event));
    ::raise(own_signal);
    poll();
    EXPECT_EQ(0, event.add());
    poll();
    EXPECT_EQ(results{on_signal}, event.results) << "delivered before it was added";
    EXPECT_EQ(-1, ombrel_del_signal(&event.event)) << "a one-shot event lets go of its signal";
    recorder impossible(base, posix_kill, on_signal);
    EXPECT_EQ("ombrel_add_event: [ERROR] ombrel_add_signal failed !\n",
              errors_of([&] { EXPECT_EQ(-1, impossible.add()); }));
}

#if defined(_WIN32)
constexpr int stormers =
    1; // a second one could meet the moment in which the C library has let go of the handler
#else
constexpr int stormers = 2;
#endif

TEST_F(Signal, StormFromManyThreads) {
    std::atomic<bool> stop{false};
    recorder event(base, own_signal, on_signal | persist, [&](recorder& self) {
        if (self.results.size() == 200)
            ombrel_event_base_break_loop(base);
    });
    recorder churn(base, own_signal, on_signal, [](recorder& self) { EXPECT_EQ(0, self.add()); });
    add({&event, &churn});
    std::thread senders([&] {
        in_threads(stormers, [&](int) {
            for (; !stop; ::usleep(50))
                ::raise(own_signal);
        });
    });
    EXPECT_EQ(0, ombrel_event_base_dispatch(base));
    stop = true;
    senders.join();
}

TEST_F(Signal, DefaultHandlerExitsTheLoopWhateverItIsToldOf) {
    ombrel_event_t event{};
    ASSERT_EQ(0, ombrel_assign_event(base, &event, -1, 0, ombrel_event_default_handler_exit, nullptr));
    EXPECT_EQ(0, ombrel_event_base_get_exit(base)) << "the notice of the assignment";
    capture errors(stderr);
    ombrel_event_default_handler_exit(nullptr, own_signal, on_signal, nullptr);
    for (const uint32_t result : {on_timeout, on_signal}) {
        poll(); // takes the request back
        EXPECT_EQ(0, ombrel_event_base_get_exit(base));
        ombrel_event_default_handler_exit(&event, own_signal, result, nullptr);
        EXPECT_EQ(1, ombrel_event_base_get_exit(base));
    }
    EXPECT_EQ("", errors.text()) << "no fault was signalled";
    EXPECT_EQ(0, ombrel_unassign_event(&event));
}

TEST_F(Signal, DefaultHandlerExitsTheLoop) {
#if defined(_WIN32)
    GTEST_SKIP() << "Windows ends a program that raises the signal of a fault";
#endif
    ombrel_event_t event{};
    EXPECT_EQ(
        0, ombrel_assign_event(base, &event, SIGSEGV, on_signal, ombrel_event_default_handler_exit, nullptr));
    EXPECT_EQ(0, ombrel_add_event(&event, -1));
    capture errors(stderr);
    ::raise(SIGSEGV); // sent, not a fault of the program
    EXPECT_EQ(0, ombrel_event_base_dispatch(base));
    EXPECT_EQ("ombrel_event_default_handler_exit: SIGSEGV - [SIGNAL] segment fault.\n", errors.text());
    EXPECT_EQ(1, ombrel_event_base_get_exit(base));
    EXPECT_EQ(0, ombrel_unassign_event(&event));
}

} // namespace
