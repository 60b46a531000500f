#include <ombrel/signal.h>

#include <csignal>
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
    recorder first(base, SIGUSR1, on_signal | persist);
    recorder second(base, SIGUSR1, on_signal), other(base, SIGUSR2, on_signal);
    add({&first, &second, &other});
    ::raise(SIGUSR1);
    ::raise(SIGUSR1);
    EXPECT_EQ(2, ombrel_get_signal_node_count(&first.event));
    once(); // a signal before the wait is not lost
    EXPECT_EQ(results{on_signal}, first.results);
    EXPECT_EQ(std::vector<int>{SIGUSR1}, first.fds);
    EXPECT_EQ(1u, second.results.size());
    EXPECT_TRUE(other.results.empty());
    EXPECT_EQ(0, ombrel_get_signal_node_count(&first.event));
    EXPECT_EQ(2, ombrel_get_signal_count(SIGUSR1));
    EXPECT_EQ(SIGUSR1, ombrel_get_last_signum());
    EXPECT_EQ(0, ombrel_reset_signal_count(SIGUSR1));
    EXPECT_EQ(0, ombrel_get_signal_count(SIGUSR1));
    for (int wrong : {0, -1, 65, 1000})
        EXPECT_EQ(-1, ombrel_get_signal_count(wrong));
}

volatile sig_atomic_t heard;

TEST_F(Signal, TheEarlierDispositionComesBack) {
    ::signal(SIGUSR1, [](int) { heard = heard + 1; });
    for (int (*const restore)() :
         {+[] { return ombrel_restore_signal(SIGUSR1); }, &ombrel_restore_all_signal}) {
        heard = 0;
        recorder event(base, SIGUSR1, on_signal | persist);
        EXPECT_EQ(0, event.add());
        ::raise(SIGUSR1);
        EXPECT_EQ(0, heard);
        EXPECT_EQ(0, restore());
        EXPECT_EQ(-1, ombrel_restore_signal(SIGUSR1));
        ::raise(SIGUSR1);
        EXPECT_EQ(1, heard);
        EXPECT_EQ(0, event.del());
        EXPECT_EQ(0, event.add());
        ::raise(SIGUSR1);
        EXPECT_EQ(1, heard);
        EXPECT_EQ(0, event.del());
        ::raise(SIGUSR1);
        EXPECT_EQ(2, heard);
    }
    ::signal(SIGUSR1, SIG_DFL);
}

TEST_F(Signal, AOneShotEventAddedAgainMissesNothing) {
    ::signal(SIGUSR2, [](int) { heard = heard + 1; });
    heard = 0;
    recorder event(base, SIGUSR2, on_signal, [](recorder& self) {
        ::raise(SIGUSR2); // still caught, though the event is not registered now
        EXPECT_EQ(0, self.add());
    });
    EXPECT_EQ(0, event.add());
    ::raise(SIGUSR2);
    once();
    EXPECT_EQ(0, heard);
    ::raise(SIGUSR2);
    once();
    EXPECT_EQ(2u, event.results.size());
    ::signal(SIGUSR2, SIG_DFL);
}

TEST_F(Signal, OnlyItsOwnSignalsLetAnInterruptedLoopGoOn) {
    // Without a restart flag, to the calling thread alone.
    struct sigaction action = {}, before = {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR2, &action, &before);
    const pthread_t loop_thread = pthread_self();
    std::atomic<bool> ended{false};
    // Again and again, as one that comes before the loop waits interrupts nothing.
    std::thread foreign([&] {
        while (!ended) {
            ::usleep(20000);
            pthread_kill(loop_thread, SIGUSR2);
        }
    });
    EXPECT_EQ("", errors_of([&] { EXPECT_EQ(-1, ombrel_event_base_dispatch(base)); }));
    ended = true;
    foreign.join();

    recorder event(base, SIGUSR1, on_signal);
    EXPECT_EQ(0, event.add());
    std::thread own([=] {
        ::usleep(20000);
        pthread_kill(loop_thread, SIGUSR1);
    });
    once();
    EXPECT_EQ(1u, event.results.size());
    own.join();
    sigaction(SIGUSR2, &before, nullptr);
}

TEST_F(Signal, EventsAttachedByHandCount) {
    recorder event(base, SIGUSR1, 0);
    EXPECT_EQ(-1, ombrel_del_signal(&event.event));
    EXPECT_EQ(0, ombrel_add_signal(&event.event));
    EXPECT_EQ(0, ombrel_add_signal(&event.event));
    ::raise(SIGUSR1);
    EXPECT_EQ(1, ombrel_get_signal_node_count(&event.event));
    EXPECT_EQ(0, ombrel_reset_signal_node_count(&event.event));
    EXPECT_EQ(0, ombrel_get_signal_node_count(&event.event));
    ::raise(SIGUSR1);
    poll();
    EXPECT_EQ(0, event.add());
    poll();
    EXPECT_EQ(results{on_signal}, event.results) << "delivered before it was added";
    EXPECT_EQ(-1, ombrel_del_signal(&event.event)) << "a one-shot event lets go of its signal";
    recorder impossible(base, SIGKILL, on_signal);
    EXPECT_EQ("ombrel_add_event: [ERROR] ombrel_add_signal failed !\n",
              errors_of([&] { EXPECT_EQ(-1, impossible.add()); }));
}

TEST_F(Signal, StormFromManyThreads) {
    std::atomic<bool> stop{false};
    recorder event(base, SIGUSR1, on_signal | persist, [&](recorder& self) {
        if (self.results.size() == 200)
            ombrel_event_base_break_loop(base);
    });
    recorder churn(base, SIGUSR1, on_signal, [](recorder& self) { EXPECT_EQ(0, self.add()); });
    add({&event, &churn});
    std::thread senders([&] {
        in_threads(2, [&](int) {
            for (; !stop; ::usleep(50))
                pthread_kill(pthread_self(), SIGUSR1);
        });
    });
    EXPECT_EQ(0, ombrel_event_base_dispatch(base));
    stop = true;
    senders.join();
}

TEST_F(Signal, DefaultHandlerExitsTheLoop) {
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
