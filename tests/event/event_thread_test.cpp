// The base used by other threads while its loop runs.
#include <algorithm>
#include <atomic>
#include <csignal>
#include <thread>

#include <ombrel/event_buffer.h>
#include <ombrel/signal.h>
#include <ombrel/time.h>

#include "event/event_fixture.h"
#include "support/capture.h"

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
    std::thread loop;
};

TEST_F(EventThread, ASleepingLoopNoticesWhatIsAdded) {
    start();
    std::atomic<int> fired{0};
    const auto count = [](ombrel_event_t*, int, uint32_t result, void* context) {
        if (result != def_ombrel_event_assigned)
            static_cast<std::atomic<int>*>(context)->fetch_add(1);
    };
    socket_pair pair;
    const uint64_t begin = ombrel_time_stamp_msec();
    for (int i = 0; i < 50; i++) {
        const int before = fired.load();
        if (i % 2 == 0) {
            EXPECT_EQ(0, ombrel_event_base_once(base, -1, 0, count, &fired, 0));
        } else {
            EXPECT_EQ(0,
                      ombrel_event_base_once(base, pair.near(), def_ombrel_event_write, count, &fired, -1));
        }
        while (fired.load() == before && ombrel_time_stamp_msec() - begin < 20000)
            std::this_thread::yield();
        ASSERT_EQ(before + 1, fired.load());
    }
    stop();
}

TEST_F(EventThread, AddingAndDeletingFromManyThreads) {
    start();
    std::atomic<size_t> reads{0};
    const auto work = [&](unsigned seed) {
        socket_pair pair;
        recorder event(base, pair.near(), def_ombrel_event_read | def_ombrel_event_persist,
                       [&](recorder& self) {
                           drain(self.event.m_fd);
                           reads.fetch_add(1);
                       });
        ombrel_event_t timer{};
        EXPECT_EQ(0, ombrel_assign_event(base, &timer, -1, def_ombrel_event_persist, nullptr, nullptr));
        for (int i = 0; i < 300; i++) {
            const size_t before = reads.load();
            EXPECT_EQ(0, event.add((i + static_cast<int>(seed)) % 3 == 0 ? 1000 : -1));
            EXPECT_EQ(0, ombrel_add_event(&timer, i % 5));
            pair.send("x");
            if (i % 10 == 0)
                while (reads.load() == before)
                    std::this_thread::yield();
            EXPECT_EQ(0, event.del());
            EXPECT_EQ(0, ombrel_del_event(&timer));
        }
        EXPECT_EQ(0, ombrel_unassign_event(&timer));
        // The handler may still run on the loop's thread when a deletion returns.
        std::atomic<bool> passed{false};
        const auto pass = [](ombrel_event_t*, int, uint32_t, void* context) {
            static_cast<std::atomic<bool>*>(context)->store(true);
        };
        EXPECT_EQ(0, ombrel_event_base_once(base, -1, 0, pass, &passed, 0));
        while (!passed.load())
            std::this_thread::yield();
    };
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < 3; i++)
        threads.emplace_back(work, i);
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_GT(reads.load(), 0u);
    stop();
}

TEST_F(EventThread, ABusyLoopStarvesNobody) {
    recorder spinner(base, -1, def_ombrel_event_persist);
    EXPECT_EQ(0, spinner.add(0)); // fires in every iteration
    start();
    recorder guest(base, -1, 0);
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
    recorder event(base, pair.near(), def_ombrel_event_persist);
    EXPECT_EQ(0, event.add());
    start();
    std::string received;
    for (int i = 0; i < 200; i++)
        EXPECT_EQ(5, ombrel_event_push_puts(&event.event, def_ombrel_event_buffer_output, "12345"));
    const uint64_t begin = ombrel_time_stamp_msec();
    while (received.size() < 1000 && ombrel_time_stamp_msec() - begin < 20000)
        received += pair.receive();
    EXPECT_EQ(1000u, received.size());
    stop();
}

/// Runs the same work on four threads at once.
void at_once(const std::function<void(size_t)>& work) {
    std::atomic<size_t> ready{0};
    std::vector<std::thread> threads;
    for (size_t i = 0; i < 4; i++)
        threads.emplace_back([&, i] {
            for (ready.fetch_add(1); ready.load() < 4;)
                std::this_thread::yield();
            work(i);
        });
    for (std::thread& thread : threads)
        thread.join();
}

TEST_F(EventThread, TheProcessWideBaseIsMadeAndFreedOnce) {
    for (int round = 0; round < 50; round++) {
        std::array<ombrel_event_base_t*, 4> made{};
        at_once([&](size_t i) { made[i] = ombrel_init_event_base(); });
        EXPECT_EQ(4, std::count(made.begin(), made.end(), __g_ombrel_current_event_base));
        std::atomic<int> freed{0};
        capture refused(stderr);
        at_once([&](size_t i) { freed.fetch_add(ombrel_free_event_base(made[i]) == 0); });
        EXPECT_EQ(1, freed.load());
        EXPECT_EQ(nullptr, __g_ombrel_current_event_base);
    }
}

// An event wanders between bases while other threads add it, delete it and have its signal delivered.
TEST_F(EventThread, EventsChangeTheirBaseWhileTheyAreUsed) {
    start();
    ombrel_event_base_t* other = ombrel_new_event_base();
    EXPECT_EQ(0, ombrel_event_base_start_service(other));
    ::signal(SIGUSR1, SIG_IGN); // which comes back whenever the event is detached
    ombrel_event_t event{}, attached{};
    EXPECT_EQ(0, ombrel_assign_event(base, &event, -1, 0, nullptr, nullptr));
    capture refused(stderr);
    at_once([&](size_t i) {
        for (int round = 0; round < 300; round++) {
            ombrel_event_base_t* target = (round & 1) != 0 ? base : other;
            if (i == 0) {
                ombrel_event_set_base(&event, target);
            } else if (i == 1) {
                ombrel_event_set_base(&attached, target);
                ombrel_assign_event(target, &attached, SIGUSR1, 0, nullptr, nullptr);
                ombrel_add_signal(&attached);
                ombrel_event_set_base(&attached, (round & 2) != 0 ? base : other);
            } else if (i == 2) {
                ::raise(SIGUSR1);
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
    ::signal(SIGUSR1, SIG_DFL);
    stop();
}

TEST_F(EventThread, TheServiceIsStartedAndStoppedByAny) {
    std::atomic<int> started{0}, stopped{0};
    capture refused(stderr);
    at_once([&](size_t i) {
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
    capture errors(stderr);
    EXPECT_EQ(-1, ombrel_event_base_start_service(base));
    EXPECT_EQ("ombrel_event_base_start_service: [ERROR] already started service !\n", errors.text());
    std::atomic<bool> called{false};
    const auto handler = [](ombrel_event_t*, int, uint32_t, void* context) {
        static_cast<std::atomic<bool>*>(context)->store(true);
    };
    EXPECT_EQ(0, ombrel_event_base_once(base, -1, 0, handler, &called, 0));
    while (!called.load())
        std::this_thread::yield();
    EXPECT_EQ(0, ombrel_event_base_stop_service(base));
    capture warnings(stderr);
    EXPECT_EQ(-1, ombrel_event_base_stop_service(base));
    EXPECT_EQ("ombrel_event_base_stop_service: [WARNING] already stopped service !\n", warnings.text());
    EXPECT_EQ(0, ombrel_event_base_start_service(base)); // and freeing the base stops it
}

} // namespace
