#include <ombrel/event_base.h>

#include <atomic>
#include <cstring>

#if !defined(_WIN32)
#include <fcntl.h>
#include <sys/resource.h>
#endif

#include <ombrel/event_buffer.h>
#include <ombrel/global_break.h>
#include <ombrel/signal.h>
#include <ombrel/time.h>

#include "event/event_fixture.h"

namespace {

using namespace ombrel_test;

class EventBase : public event_test {};

TEST_F(EventBase, NullBases) {
    using base_of = ombrel_event_base_t*;
    const std::pair<const char*, int (*)(base_of)> operations[] = {
        {"loop", [](base_of none) { return ombrel_event_base_loop(none, 0); }},
        {"break_loop", ombrel_event_base_break_loop},
        {"get_exit", ombrel_event_base_get_exit},
        {"once", [](base_of none) { return ombrel_event_base_once(none, -1, 0, nullptr, nullptr, 0); }},
        {"once_with_resolver",
         [](base_of none) {
             return ombrel_event_base_once_with_resolver(none, -1, 0, nullptr, nullptr, 0, nullptr, -1, "::1",
                                                         80);
         }},
        {"dispatch", ombrel_event_base_dispatch},
        {"exit_loop", [](base_of none) { return ombrel_event_base_exit_loop(none, 0); }},
        {"init_priority", [](base_of none) { return ombrel_event_base_init_priority(none, 1); }},
        {"start_service", ombrel_event_base_start_service},
        {"stop_service", ombrel_event_base_stop_service},
        {"get_counts",
         [](base_of none) {
             ombrel_event_counts_t counts;
             return ombrel_event_base_get_counts(none, &counts);
         }},
    };
    for (const auto& one : operations)
        EXPECT_EQ(std::string("ombrel_event_base_") + one.first + ": [ERROR] s_base is null !\n",
                  errors_of([&] { EXPECT_EQ(-1, one.second(nullptr)); }));
    EXPECT_EQ(-1, ombrel_event_base_get_counts(base, nullptr));
    ombrel_event_base_t* gone = ombrel_new_event_base();
    EXPECT_EQ(0, ombrel_free_event_base(gone));
    for (const base_of none : {base_of{nullptr}, gone})
        EXPECT_EQ("ombrel_free_event_base: [WARNING] no base to free !\n",
                  errors_of([&] { EXPECT_EQ(-1, ombrel_free_event_base(none)); }));
}

TEST_F(EventBase, OneLevelOfPriorityRunsInAnIteration) {
    ASSERT_EQ(0, ombrel_event_base_init_priority(base, 3));
    std::string log;
    recorder low(base, -1, 0), urgent(base, -1, 0), second(base, -1, 0), third(base, -1, 0);
    low.name = "l", urgent.name = "u", second.name = "s", third.name = "t";
    for (recorder* event : {&low, &urgent, &second, &third}) {
        event->log = &log;
        EXPECT_EQ(0, ombrel_event_set_priority(&event->event, event == &low ? 2 : 0));
        EXPECT_EQ(0, ombrel_active_event(&event->event, on_read));
    }
    third.then = [&](recorder&) { EXPECT_EQ(0, ombrel_event_base_break_loop(base)); };
    EXPECT_EQ(0, ombrel_event_base_dispatch(base));
    EXPECT_EQ("ust", log);
    once();
    EXPECT_EQ("ustl", log);
}

TEST_F(EventBase, BreakLeavesTheRestActive) {
    recorder first(base, -1, 0, [&](recorder&) { EXPECT_EQ(0, ombrel_event_base_break_loop(base)); });
    recorder second(base, -1, 0);
    for (recorder* event : {&first, &second})
        EXPECT_EQ(0, ombrel_active_event(&event->event, 1));
    EXPECT_EQ(0, ombrel_event_base_dispatch(base));
    EXPECT_TRUE(second.results.empty());
    once();
    EXPECT_EQ(1u, second.results.size());
}

TEST_F(EventBase, APriorityBeyondTheCountIsWarnedOfAndRunsLast) {
    for (const uint32_t wrong : {0u, 65536u, ~0u})
        EXPECT_EQ(-1, ombrel_event_base_init_priority(base, wrong));
    for (const uint32_t right : {65535u, 1u, 8u})
        EXPECT_EQ(0, ombrel_event_base_init_priority(base, right));
    recorder event(base, -1, 0);
    EXPECT_EQ(0, ombrel_event_set_priority(&event.event, 7));
    EXPECT_EQ(0, ombrel_event_base_init_priority(base, 2));
    EXPECT_EQ("ombrel_add_event: [WARNING] s_event->m_priority >= s_base->m_max_priority !\n",
              errors_of([&] { EXPECT_EQ(0, event.add(0)); }));
    once();
    EXPECT_EQ(1u, event.results.size());
}

TEST_F(EventBase, CountsWhatItHolds) {
    recorder timed(base, -1, 0), active(base, -1, 0);
    const auto expect = [&](size_t events, size_t timers, size_t active_ones) {
        ombrel_event_counts_t counts;
        memset(&counts, 0xFF, sizeof counts);
        EXPECT_EQ(0, ombrel_event_base_get_counts(base, &counts));
        EXPECT_EQ(events, counts.m_events);
        EXPECT_EQ(timers, counts.m_timers);
        EXPECT_EQ(active_ones, counts.m_active);
        for (const size_t reserved : counts.m_reserved)
            EXPECT_EQ(0u, reserved);
    };
    socket_pair pair;
    recorder reader(base, pair.near(), on_read);
    expect(0, 0, 0);
    EXPECT_EQ(0, reader.add());
    expect(1, 0, 0);
    EXPECT_EQ(0, timed.add(60000));
    expect(2, 1, 0);
    EXPECT_EQ(0, ombrel_active_event(&active.event, on_read));
    expect(2, 1, 1);
    EXPECT_EQ(0, ombrel_active_event(&timed.event, on_read));
    expect(2, 1, 2);
    EXPECT_EQ(0, timed.del());
    expect(1, 0, 1);
    poll();
    EXPECT_EQ(0, reader.add(60000));
    expect(1, 1, 0);
    EXPECT_EQ(0, reader.add(-1));
    expect(1, 0, 0);
    EXPECT_EQ(0, reader.del());
    expect(0, 0, 0);
}

TEST_F(EventBase, ExitAfterATime) {
    const uint64_t start = ombrel_time_stamp_msec();
    EXPECT_EQ(0, ombrel_event_base_exit_loop(base, 20));
    EXPECT_EQ(0, ombrel_event_base_get_exit(base));
    EXPECT_EQ(0, ombrel_event_base_dispatch(base)); // the notify event alone keeps it waiting
    EXPECT_GE(ombrel_time_stamp_msec() - start, 20u);
    EXPECT_EQ(1, ombrel_event_base_get_exit(base));
    poll();
    EXPECT_EQ(0, ombrel_event_base_get_exit(base)) << "a new loop begins without requests";
}

TEST_F(EventBase, GlobalBreakEndsTheLoopThatAsksForIt) {
    recorder event(base, -1, persist, [&](recorder& self) {
        if (self.results.size() == 3)
            ombrel_set_global_break();
        ASSERT_LT(self.results.size(), 100u);
    });
    EXPECT_EQ(0, event.add(0));
    EXPECT_EQ(0, ombrel_event_base_loop(base, def_ombrel_event_loop_global_break));
    ombrel_clear_global_break();
    EXPECT_EQ(3u, event.results.size());
    EXPECT_EQ(1, ombrel_event_base_get_exit(base));
}

TEST_F(EventBase, OnceCallsTheUserOnceWithoutNotice) {
    socket_pair pair;
    results told;
    const auto handler = [](ombrel_event_t* event, int, uint32_t result, void* context) {
        EXPECT_NE(nullptr, event);
        static_cast<results*>(context)->push_back(result);
    };
    const uint32_t flags = on_read | persist;
    EXPECT_EQ(0, ombrel_event_base_once(base, pair.near(), flags, handler, &told, -1));
    EXPECT_TRUE(told.empty());
    pair.send("x");
    once();
    poll();
    EXPECT_EQ(results{on_read}, told);
    // What has not fired is freed with the base, which the heap balance checks.
    EXPECT_EQ(0, ombrel_event_base_once(base, -1, 0, handler, &told, 60000));
}

/// A copy of a socket whose number is that of a signal as well; where there are too few of those, just the
/// signal.
int copy_to_signal(int s) {
#if defined(_WIN32)
    return s != 0 ? own_signal : -1;
#else
    const int number = ::fcntl(s, F_DUPFD, SIGRTMIN);
    EXPECT_LE(number, SIGRTMAX);
    return number;
#endif
}

// Every way in which an event may hang on a base that goes: it is let go, and lives on with another one.
TEST_F(EventBase, EventsLeftAtTheEndAreReportedAndDetached) {
    socket_pair pair;
    const int number = copy_to_signal(pair.near());
    const struct {
        const char* reported; ///< the initials of the counts
        uint32_t flags;
        void (*hang)(recorder&);
        bool needs_descriptor = false;
    } ways[] = {
        {"et", 0, [](recorder& event) { event.add(1000); }},
        {"e", on_signal, [](recorder& event) { event.add(-1); }},
        {"a", 0, [](recorder& event) { ombrel_active_event(&event.event, 1); }},
        {"ta", 0, [](recorder& event) { ombrel_active_event(&event.event, 1), event.add(1000); }},
        {"", 0, [](recorder& event) { ombrel_add_signal(&event.event); }},
        {"", 0, [](recorder& event) { ombrel_event_enable_buffer(&event.event, 3); }, true},
        {"", 0, [](recorder& event) { event.add(1000), event.del(); }},
        {"", 0, [](recorder&) {}},
    };
    for (const auto& way : ways) {
        SCOPED_TRACE(&way - ways);
        if (way.needs_descriptor && number == own_signal)
            continue;
        ombrel_event_base_t* other = ombrel_new_event_base();
        recorder event(other, number, way.flags);
        way.hang(event);
        capture errors(stderr);
        EXPECT_EQ(0, ombrel_free_event_base(other));
        const std::string text = errors.text();
        std::string reported;
        for (const std::string count : {"event", "timer_event", "active_event"})
            if (text.find("<s_base->m_" + count + "_count == ((size_t)0u)>") != std::string::npos)
                reported += count[0];
        EXPECT_EQ(way.reported, reported);
        capture homeless(stderr);
        EXPECT_EQ(-1, event.add(0));
        EXPECT_EQ(0u, homeless.text().find("ombrel_add_event: [ERROR] event->m_base is null ! (event="));
        EXPECT_EQ(0, ombrel_add_signal(&event.event));
        EXPECT_EQ(0, ombrel_event_set_base(&event.event, base));
        ASSERT_EQ(0, event.add(0));
        once();
        EXPECT_EQ(1u, event.results.size());
    }
    if (number != own_signal)
        ombrel_close_socket(number);
}

/// Which bases have gone is asked anew of each event that waits in no loop.
TEST_F(EventBase, EventsOutliveOtherBasesThanTheirOwn) {
    for (const bool by_signal : {false, true}) {
        recorder event(base, by_signal ? own_signal : -1, by_signal ? on_signal : 0);
        EXPECT_EQ(0, ombrel_free_event_base(ombrel_new_event_base()));
        uint32_t number = 0;
        EXPECT_EQ(0, ombrel_event_set_priority(&event.event, number));
        ASSERT_EQ(0, event.add(by_signal ? -1 : 0));
        if (by_signal)
            ::raise(own_signal);
        once();
        EXPECT_EQ(1u, event.results.size());
    }
}

/// The old base hears no more of the signal, and may go before the event does.
TEST_F(EventBase, AnEventTakesItsSignalAlong) {
    ombrel_event_base_t* const old = ombrel_new_event_base();
    recorder event(old, own_signal, on_signal | persist), stays(old, own_signal, on_signal | persist);
    ASSERT_EQ(0, stays.add());
    ASSERT_EQ(0, ombrel_add_signal(&event.event)); // attached to it, and in no loop
    ASSERT_EQ(0, ombrel_event_set_base(&event.event, base));
    ASSERT_EQ(0, event.add());
    ::raise(own_signal);
    EXPECT_EQ(0, ombrel_event_base_loop(old, def_ombrel_event_loop_non_block));
    EXPECT_EQ(std::make_pair(size_t{0}, size_t{1}),
              std::make_pair(event.results.size(), stays.results.size()));
    poll();
    EXPECT_EQ(1u, event.results.size());
    stays.del();
    ombrel_unassign_event(&stays.event);
    EXPECT_EQ(0, ombrel_free_event_base(old));
    ::raise(own_signal);
    poll();
    EXPECT_EQ(2u, event.results.size());
}

TEST_F(EventBase, HandlersNeitherRunNorFreeNorStopTheirOwnLoop) {
    const std::pair<const char*, int (*)(ombrel_event_base_t*)> refusals[] = {
        {"loop: [ERROR] reentrant invocation ! only one loop", ombrel_event_base_dispatch},
        {"free_event_base: [ERROR] the loop is running", ombrel_free_event_base},
        {"stop_service: [ERROR] the loop is running", ombrel_event_base_stop_service},
    };
    std::atomic<int> calls{0};
    recorder event(base, -1, 0, [&](recorder&) {
        for (const auto& one : refusals)
            EXPECT_NE(std::string::npos, errors_of([&] { EXPECT_EQ(-1, one.second(base)); }).find(one.first))
                << one.first;
        calls++;
    });
    EXPECT_EQ(0, event.add(0));
    EXPECT_EQ(0, ombrel_event_base_start_service(base));
    while (calls == 0)
        ::usleep(1000);
    EXPECT_EQ(0, ombrel_event_base_stop_service(base));
    EXPECT_EQ(0, event.add(0));
    event.then = [&](recorder&) { EXPECT_EQ(-1, ombrel_free_event_base(base)) << "nor without a service"; };
    once();
    EXPECT_EQ(2u, event.results.size());
}

TEST_F(EventBase, ProcessWideBase) {
    EXPECT_EQ("ombrel_event_base_dispatch: [ERROR] s_base is null !\n",
              errors_of([&] { EXPECT_EQ(-1, ombrel_event_dispatch()); }));
    ombrel_event_base_t* global = ombrel_init_event_base();
    ASSERT_NE(nullptr, global);
    EXPECT_EQ(global, ombrel_init_event_base());
    EXPECT_EQ(global, __g_ombrel_current_event_base);
    EXPECT_EQ(0, ombrel_event_init_priority(4));
    {
        recorder event, named;
        EXPECT_EQ(0, ombrel_set_event(&event.event, -1, 0, recorder::handle, &event));
        EXPECT_EQ(2u, event.event.m_priority);
        EXPECT_EQ(0, event.add(0));
        EXPECT_EQ(0, ombrel_event_exit_loop(5));
        EXPECT_EQ(0, ombrel_event_dispatch());
        EXPECT_EQ(1u, event.results.size());
        const auto break_loop = [](ombrel_event_t*, int, uint32_t, void* context) {
            EXPECT_EQ(0, ombrel_event_break_loop());
            *static_cast<bool*>(context) = true;
        };
        bool was_called = false;
        EXPECT_EQ(0, ombrel_event_once(-1, 0, break_loop, &was_called, 0));
        EXPECT_EQ(0, ombrel_event_loop(0));
        EXPECT_TRUE(was_called);
        constexpr uint32_t with_resolver = def_ombrel_event_with_resolver;
        EXPECT_EQ(0, ombrel_set_event_with_resolver(&named.event, -1, with_resolver, recorder::handle, &named,
                                                    "::1", 70000, "127.0.0.1", 80));
        EXPECT_STREQ("::1", named.event.m_bind_address);
        EXPECT_EQ(-1, named.event.m_bind_port) << "no port";
        EXPECT_EQ(0, named.add(20000));
        EXPECT_EQ(0, ombrel_event_loop(def_ombrel_event_loop_once));
        EXPECT_EQ(results{with_resolver}, named.results);
        ASSERT_NE(nullptr, named.event.m_resolver_info);
        EXPECT_EQ(80, named.event.m_resolver_info->m_port);
    }
    EXPECT_EQ(0, ombrel_free_event_base(global));
    EXPECT_EQ(nullptr, __g_ombrel_current_event_base);
}

/// As many descriptors as the system lets the process have, up to a number, until the end of the scope.
class descriptor_room : no_copy {
public:
#if defined(_WIN32)
    explicit descriptor_room(size_t wanted) : most_(wanted) {}
#else
    explicit descriptor_room(size_t wanted) {
        EXPECT_EQ(0, getrlimit(RLIMIT_NOFILE, &before_));
        const rlimit most{before_.rlim_max, before_.rlim_max};
        setrlimit(RLIMIT_NOFILE, &most);
        most_ = std::min<size_t>(wanted, before_.rlim_max > 200 ? before_.rlim_max - 100 : 100);
    }
    ~descriptor_room() {
        setrlimit(RLIMIT_NOFILE, &before_);
    }
#endif
    size_t most() const {
        return most_;
    }

private:
    size_t most_;
#if !defined(_WIN32)
    rlimit before_{};
#endif
};

TEST_F(EventBase, TenThousandSocketsAndDescriptorsAbove1024) {
    const descriptor_room room(10000);
    socket_pair pair;
    std::vector<int> copies;
    std::vector<std::unique_ptr<recorder>> events;
    for (size_t i = 0; i < room.most(); i++) {
        copies.push_back(copy_socket(pair.near()));
        ASSERT_GE(copies.back(), 0);
        events.push_back(std::make_unique<recorder>(base, copies.back(), on_read));
        ASSERT_EQ(0, events.back()->add());
    }
    std::string order;
    events.front()->log = events.back()->log = &order;
    events.front()->name = "first ", events.back()->name = "last ";
    pair.send("x");
    once();
    for (const auto& event : events)
        ASSERT_EQ(results{on_read}, event->results);
    EXPECT_EQ("first last ", order);
    for (int fd : copies)
        ombrel_close_socket(fd);
}

TEST_F(EventBase, WorkerTokens) {
    ombrel_worker_t* worker = ombrel_open_worker();
    ASSERT_NE(nullptr, worker);
    worker->m_word = 1;
    EXPECT_EQ(0, ombrel_close_worker(worker));
}

} // namespace
