// The base used by other threads while its loop runs.
#include <thread>

#include <ombrel/event_buffer.h>
#include <ombrel/signal.h>
#include <ombrel/time.h>

#include "event/event_fixture.h"
#include "support/threads.h"

namespace {

using namespace ombrel_test;

class EventThread : public event_test {
protected:
    void start() {
        loop = std::thread([this] { EXPECT_EQ(0, ombrel_event_base_dispatch(base)); });
    }
    /// Repeated, as a break that comes before the loop has begun is forgotten.
    void stop() {
        std::atomic<bool> ended{false};
        std::thread breaker([&] {
            while (!ended.load()) {
                EXPECT_EQ(0, ombrel_event_base_break_loop(base));
                ::usleep(1000);
            }
        });
        loop.join();
        ended.store(true);
        breaker.join();
    }
    /// Waits until the loop has called a handler that is added now.
    void meet_the_loop(int fd = -1, uint32_t flags = 0, int timeout = 0) {
        std::atomic<int> calls{0};
        const auto count = [](ombrel_event_t*, int, uint32_t, void* context) {
            static_cast<std::atomic<int>*>(context)->fetch_add(1);
        };
        EXPECT_EQ(0, ombrel_event_base_once(base, fd, flags, count, &calls, timeout));
        while (calls == 0)
            std::this_thread::yield();
        EXPECT_EQ(1, calls);
    }
    std::thread loop;
};

TEST_F(EventThread, ASleepingLoopNoticesWhatIsAdded) {
    start();
    socket_pair pair;
    for (int i = 0; i < 25; i++) {
        meet_the_loop();
        meet_the_loop(pair.near(), on_write, -1);
    }
    stop();
}

TEST_F(EventThread, AddingAndDeletingFromManyThreads) {
    start();
    std::atomic<size_t> reads{0};
    in_threads(3, [&](int seed) {
        socket_pair pair;
        recorder event(base, pair.near(), on_read | persist, [&](recorder& self) {
            drain(self.event.m_fd);
            reads.fetch_add(1);
        });
        ombrel_event_t timer{};
        EXPECT_EQ(0, ombrel_assign_event(base, &timer, -1, persist, nullptr, nullptr));
        for (int i = 0; i < 300; i++) {
            const size_t before = reads.load();
            EXPECT_EQ(0, event.add((i + seed) % 3 == 0 ? 1000 : -1));
            EXPECT_EQ(0, ombrel_add_event(&timer, i % 5));
            pair.send("x");
            if (i % 10 == 0)
                while (reads.load() == before)
                    std::this_thread::yield();
            EXPECT_EQ(0, event.del());
            EXPECT_EQ(0, ombrel_del_event(&timer));
        }
        EXPECT_EQ(0, ombrel_unassign_event(&timer));
        meet_the_loop(); // whose handler may still run when a deletion returns
    });
    EXPECT_GT(reads.load(), 0u);
    stop();
}

TEST_F(EventThread, ABusyLoopStarvesNobody) {
    recorder spinner(base, -1, persist), guest(base, -1, 0);
    EXPECT_EQ(0, spinner.add(0)); // fires in every iteration
    start();
    const uint64_t begin = ombrel_time_stamp_msec();
    for (int i = 0; i < 1000; i++) {
        EXPECT_EQ(0, guest.add(60000));
        EXPECT_EQ(0, guest.del());
    }
    EXPECT_LT(ombrel_time_stamp_msec() - begin, 20000u);
    stop();
}

TEST_F(EventThread, BuffersAreFilledFromAnotherThread) {
    socket_pair pair;
    recorder event(base, pair.near(), persist);
    EXPECT_EQ(0, event.add());
    start();
    for (int i = 0; i < 200; i++)
        EXPECT_EQ(5, ombrel_event_push_puts(&event.event, def_ombrel_event_buffer_output, "12345"));
    size_t received = 0;
    const uint64_t begin = ombrel_time_stamp_msec();
    while (received < 1000 && ombrel_time_stamp_msec() - begin < 20000)
        received += pair.receive().size();
    EXPECT_EQ(1000u, received);
    stop();
}

TEST_F(EventThread, TheProcessWideBaseIsMadeAndFreedOnce) {
    for (int round = 0; round < 50; round++) {
        std::array<ombrel_event_base_t*, 4> made{};
        in_threads(4, [&](int i) { made[static_cast<size_t>(i)] = ombrel_init_event_base(); });
        EXPECT_EQ(4, std::count(made.begin(), made.end(), __g_ombrel_current_event_base));
        std::atomic<int> freed{0};
        capture refused(stderr);
        in_threads(
            4, [&](int i) { freed.fetch_add(ombrel_free_event_base(made[static_cast<size_t>(i)]) == 0); });
        EXPECT_EQ(1, freed.load());
        EXPECT_EQ(nullptr, __g_ombrel_current_event_base);
    }
}

// An event wanders between bases while other threads add it, delete it and have its signal delivered.
TEST_F(EventThread, EventsChangeTheirBaseWhileTheyAreUsed) {
    start();
    ombrel_event_base_t* other = ombrel_new_event_base();
    EXPECT_EQ(0, ombrel_event_base_start_service(other));
    ::signal(own_signal, SIG_IGN); // which comes back whenever the event is detached
    ombrel_event_t event{}, attached{};
    EXPECT_EQ(0, ombrel_assign_event(base, &event, -1, 0, nullptr, nullptr));
    capture refused(stderr);
    in_threads(4, [&](int i) {
        for (int round = 0; round < 300; round++) {
            ombrel_event_base_t* target = (round & 1) != 0 ? base : other;
            if (i == 0) {
                ombrel_event_set_base(&event, target);
            } else if (i == 1) {
                ombrel_event_set_base(&attached, target);
                ombrel_assign_event(target, &attached, own_signal, 0, nullptr, nullptr);
                ombrel_add_signal(&attached);
                ombrel_event_set_base(&attached, (round & 2) != 0 ? base : other);
            } else if (i == 2) {
                ::raise(own_signal);
                ombrel_event_base_break_loop(other);
                ombrel_event_base_init_priority(other, static_cast<uint32_t>(round % 3 + 1));
            } else {
                ombrel_add_event(&event, round % 3 - 1);
                ombrel_active_event(&event, 1);
                ombrel_del_event(&event);
            }
        }
    });
    EXPECT_EQ(0, ombrel_unassign_event(&event));
    EXPECT_EQ(0, ombrel_unassign_event(&attached));
    ombrel_event_counts_t counts;
    EXPECT_EQ(0, ombrel_event_base_get_counts(base, &counts));
    EXPECT_EQ(0u, counts.m_events + counts.m_timers + counts.m_active);
    EXPECT_EQ(0, ombrel_free_event_base(other));
    ::signal(own_signal, SIG_DFL);
    stop();
}

TEST_F(EventThread, TheServiceIsStartedAndStoppedByAny) {
    std::atomic<int> started{0}, stopped{0};
    capture refused(stderr);
    in_threads(4, [&](int i) {
        for (int round = 0; round < 25; round++)
            if (i % 2 == 0)
                started.fetch_add(ombrel_event_base_start_service(base) == 0);
            else
                stopped.fetch_add(ombrel_event_base_stop_service(base) == 0);
    });
    stopped.fetch_add(ombrel_event_base_stop_service(base) == 0);
    EXPECT_EQ(started.load(), stopped.load());
    EXPECT_GT(started.load(), 0);
}

TEST_F(EventThread, BackgroundService) {
    EXPECT_EQ(0, ombrel_event_base_start_service(base));
    EXPECT_EQ("ombrel_event_base_start_service: [ERROR] already started service !\n",
              errors_of([&] { EXPECT_EQ(-1, ombrel_event_base_start_service(base)); }));
    meet_the_loop();
    EXPECT_EQ(0, ombrel_event_base_stop_service(base));
    EXPECT_EQ("ombrel_event_base_stop_service: [WARNING] already stopped service !\n",
              errors_of([&] { EXPECT_EQ(-1, ombrel_event_base_stop_service(base)); }));
    EXPECT_EQ(0, ombrel_event_base_start_service(base)); // and freeing the base stops it
}

} // namespace
