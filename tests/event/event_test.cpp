#include <ombrel/event.h>

#include <climits>
#include <cstring>

#include <ombrel/event_buffer.h>
#include <ombrel/event_process.h>
#include <ombrel/signal.h>
#include <ombrel/time.h>

#include "event/event_fixture.h"

namespace {

using namespace ombrel_test;

class Event : public event_test {};

void keep_result(ombrel_event_t*, int, uint32_t result, void* context) {
    static_cast<results*>(context)->push_back(result);
}

TEST_F(Event, AssignmentSetsTheFieldsAndNotifiesTheHandler) {
    results told;
    ASSERT_EQ(0, ombrel_event_base_init_priority(base, 7));
    ombrel_event_t event;
    memset(&event, 0xA5, sizeof event); // what lies in the record before does not matter
    ASSERT_EQ(0, ombrel_assign_event_with_resolver(base, &event, 5, ~0u, keep_result, &told, "127.0.0.1",
                                                   70000, "localhost", 65535));
    EXPECT_EQ(results{0x80}, told);
    EXPECT_EQ(0x191Fu | 0x80u, event.m_flags);
    EXPECT_EQ(3u, event.m_priority);
    EXPECT_STREQ("127.0.0.1", event.m_bind_address);
    EXPECT_EQ(-1, event.m_bind_port);
    EXPECT_EQ(65535, event.m_resolver_port);
    EXPECT_EQ(1u, event.m_output_watermark);
    EXPECT_EQ(0, ombrel_assign_event(base, &event, 6, on_read, keep_result, &told));
    EXPECT_EQ(nullptr, event.m_bind_address);
    EXPECT_EQ(0, ombrel_unassign_event(&event));
    EXPECT_EQ(0u, event.m_flags);
}

TEST_F(Event, UnusableEventsAreReported) {
    ombrel_event_t unassigned{}, homeless{};
    ASSERT_EQ(0, ombrel_assign_event(nullptr, &homeless, -1, 0, nullptr, nullptr));
    using event = ombrel_event_t*;
    const std::pair<const char*, int (*)(event)> operations[] = {
        {"add_event", [](event one) { return ombrel_add_event(one, 0); }},
        {"del_event", ombrel_del_event},
        {"active_event", [](event one) { return ombrel_active_event(one, 1); }},
        {"event_set_priority", [](event one) { return ombrel_event_set_priority(one, 0); }},
        {"event_pending", [](event one) { return ombrel_event_pending(one, 1, nullptr); }},
    };
    for (const auto& [name, operation] : operations) {
        const std::string text = errors_of([&, refuse = operation] {
            for (const event one : {event{nullptr}, &unassigned, &homeless})
                EXPECT_EQ(-1, refuse(one));
        });
        const std::string start = std::string("ombrel_") + name + ": [ERROR] ";
        EXPECT_EQ(0u, text.find(start + "event is null !\n" + start + "event is not initialized ! (event="));
        EXPECT_NE(std::string::npos, text.find("\n" + start + "event->m_base is null ! (event="));
        EXPECT_EQ(")\n", text.substr(text.size() - 2));
        EXPECT_EQ(3, std::count(text.begin(), text.end(), '\n'));
        EXPECT_EQ(1, std::count(text.begin(), text.end(), ')')); // the second line leaves its one out
    }
    EXPECT_EQ(0, ombrel_event_set_base(&homeless, base));
    EXPECT_EQ(0, ombrel_add_event(&homeless, 0));
    EXPECT_EQ(0, ombrel_unassign_event(&homeless));
}

TEST_F(Event, WhatIsNoEventIsRefusedByAll) {
    using event = ombrel_event_t*;
    const struct {
        const char* name;
        ptrdiff_t (*refuse)(event);
        bool needs_base;
    } operations[] = {
        {"unassign_event", [](event one) { return ptrdiff_t{ombrel_unassign_event(one)}; }, false},
        {"free_event", [](event one) { return ptrdiff_t{ombrel_free_event(one)}; }, false},
        {"event_set_base", [](event one) { return ptrdiff_t{ombrel_event_set_base(one, nullptr)}; }, false},
        {"event_set_process", [](event one) { return ptrdiff_t{ombrel_event_set_process(one, 0)}; }, true},
        {"add_signal", [](event one) { return ptrdiff_t{ombrel_add_signal(one)}; }, false},
        {"del_signal", [](event one) { return ptrdiff_t{ombrel_del_signal(one)}; }, false},
        {"get_signal_node_count", [](event one) { return ptrdiff_t{ombrel_get_signal_node_count(one)}; },
         false},
        {"reset_signal_node_count", [](event one) { return ptrdiff_t{ombrel_reset_signal_node_count(one)}; },
         false},
        {"event_enable_buffer", [](event one) { return ptrdiff_t{ombrel_event_enable_buffer(one, 3)}; },
         true},
        {"event_disable_buffer", [](event one) { return ptrdiff_t{ombrel_event_disable_buffer(one, 3)}; },
         true},
        {"event_set_buffer_watermark",
         [](event one) { return ptrdiff_t{ombrel_event_set_buffer_watermark(one, 3, 1, 1)}; }, true},
        {"event_get_buffer_size", [](event one) { return ombrel_event_get_buffer_size(one, 3); }, true},
        {"event_push_buffer", [](event one) { return ombrel_event_push_buffer(one, 3, "x", 1); }, true},
        {"event_push_puts", [](event one) { return ombrel_event_push_puts(one, 3, "x"); }, true},
        {"event_push_printf", [](event one) { return ombrel_event_push_printf(one, 3, "x"); }, false},
        {"event_pop_buffer", [](event one) { return ombrel_event_pop_buffer(one, 1, nullptr, 1); }, true},
        {"event_peek_buffer", [](event one) { return ombrel_event_peek_buffer(one, 1, nullptr, 1, 0); },
         true},
    };
    ombrel_event_t unassigned{}, homeless{};
    ASSERT_EQ(0, ombrel_assign_event(nullptr, &homeless, -1, 0, nullptr, nullptr));
    for (const auto& [name, refuse, needs_base] : operations) {
        const std::string start = std::string("ombrel_") + name + ": [ERROR] ";
        const auto said = [&, refuse = refuse](event one) {
            return errors_of([&] { EXPECT_EQ(-1, refuse(one)) << name; });
        };
        EXPECT_EQ(start + "event is null !\n", said(nullptr));
        EXPECT_EQ(0u, said(&unassigned).find(start + "event is not initialized ! (event="));
        if (needs_base) {
            EXPECT_EQ(0u, said(&homeless).find(start + "event->m_base is null ! (event="));
        }
    }
    EXPECT_EQ("ombrel_event_set_base: [ERROR] s_base is null !\n",
              errors_of([&] { EXPECT_EQ(-1, ombrel_event_set_base(&homeless, nullptr)); }));
    EXPECT_EQ(0, ombrel_unassign_event(&homeless));
}

TEST_F(Event, NewEventsAreFreedWithAllThatTheyHold) {
    ombrel_event_t* event =
        ombrel_new_event_with_resolver(base, -1, 0, nullptr, nullptr, "127.0.0.1", 1, "localhost", 2);
    ASSERT_NE(nullptr, event);
    EXPECT_EQ(def_ombrel_event_new | def_ombrel_event_assigned, event->m_flags);
    EXPECT_EQ(0, ombrel_add_event(event, 1000));
    EXPECT_EQ(0, ombrel_free_event(event));
    ASSERT_NE(nullptr, event = ombrel_new_event(base, -1, 0, nullptr, nullptr));
    EXPECT_EQ(0, ombrel_unassign_event(event));
    EXPECT_EQ(0, ombrel_free_event(event));
}

TEST_F(Event, RefusalsSayWhy) {
    ASSERT_EQ(0, ombrel_event_base_init_priority(base, 3));
    recorder registered(base, -1, 0), deleted(base, -1, 0), active(base, -1, 0);
    EXPECT_EQ(0, registered.add(1000));
    EXPECT_EQ(0, ombrel_event_set_priority(&active.event, 2));
    EXPECT_EQ(0, ombrel_active_event(&active.event, on_write));
    using event = ombrel_event_t*;
    const struct {
        event given;
        const char* text;
        int (*refuse)(event);
    } cases[] = {
        {nullptr, "free_event: [ERROR] event is null !", ombrel_free_event},
        {&registered.event, "assign_event: [ERROR] s_event is already added !",
         [](event one) { return ombrel_assign_event(one->m_base, one, -1, 0, nullptr, nullptr); }},
        {&deleted.event, "del_event: [WARNING] already deleted.", ombrel_del_event},
        {&deleted.event, "event_set_priority: [ERROR] s_priority >= max_priority !",
         [](event one) { return ombrel_event_set_priority(one, 3); }},
        {&active.event, "event_set_priority: [ERROR] already active event !",
         [](event one) { return ombrel_event_set_priority(one, 0); }},
    };
    for (const auto& one : cases)
        EXPECT_EQ(std::string("ombrel_") + one.text + "\n",
                  errors_of([&] { EXPECT_EQ(-1, one.refuse(one.given)); }));
    EXPECT_EQ(-1, ombrel_event_base_init_priority(base, 2)) << "an event is active";
}

TEST_F(Event, FiresByHandWithoutRegistration) {
    recorder event(base, -1, persist);
    EXPECT_EQ(0, event.add(5000)); // its limit stays in the record, and starts no timer
    EXPECT_EQ(0, event.del());
    EXPECT_EQ(0, ombrel_active_event(&event.event, on_write));
    EXPECT_EQ(0, ombrel_active_event(&event.event, on_read));
    EXPECT_EQ(3, ombrel_event_pending(&event.event, 7, nullptr));
    once();
    EXPECT_EQ(results{3}, event.results);
    EXPECT_EQ(0, ombrel_event_pending(&event.event, 0xFFFF, nullptr));
    EXPECT_EQ(0, ombrel_active_event(&event.event, on_read));
    EXPECT_EQ(0, event.del());
    poll();
    EXPECT_EQ(1u, event.results.size());
}

TEST_F(Event, PendingTellsKindsAndTime) {
    socket_pair pair;
    recorder event(base, pair.near(), on_read | on_write);
    int left = 5;
    EXPECT_EQ(0, ombrel_event_pending(&event.event, 0xFFFF, &left));
    EXPECT_EQ(-1, left);
    EXPECT_EQ(0, event.add(5000));
    EXPECT_EQ(int{on_read | on_timeout}, ombrel_event_pending(&event.event, on_read | on_timeout, &left));
    EXPECT_GT(left, 4000);
    EXPECT_LE(left, 5000);
    EXPECT_EQ(0, event.add(-1));
    EXPECT_EQ(3, ombrel_event_pending(&event.event, 0xFFFF, &left));
    EXPECT_EQ(-1, left);
}

TEST_F(Event, SocketKinds) {
    socket_pair pair;
    recorder reader(base, pair.near(), on_read), writer(base, pair.near(), on_write | on_read | persist);
    EXPECT_EQ(0, reader.add());
    poll();
    EXPECT_TRUE(reader.results.empty());
    pair.send("x");
    once();
    EXPECT_EQ(results{on_read}, reader.results);
    EXPECT_EQ(std::vector<int>{pair.near()}, reader.fds);
    EXPECT_EQ(0, ombrel_event_pending(&reader.event, 0xFFFF, nullptr)) << "one-shot";
    poll();
    EXPECT_EQ(1u, reader.results.size());
    EXPECT_EQ(0, writer.add());
    once(2);
    EXPECT_EQ((results{3, 3}), writer.results);
}

/// Closes a socket and gives its number to another one.
bool give_number(int number, int other) {
#if defined(_WIN32)
    ombrel_close_socket(number);
    std::vector<int> copies; // numbers are given again, in no order that is told
    do
        copies.push_back(copy_socket(other));
    while (copies.back() != number && copies.size() < 100);
    const bool is_given = copies.back() == number;
    if (is_given)
        copies.pop_back();
    for (const int copy : copies)
        ombrel_close_socket(copy);
#else
    const bool is_given = ::dup2(other, number) == number;
#endif
    ombrel_close_socket(other);
    return is_given;
}

TEST_F(Event, ADescriptorNumberUsedAgainIsWatchedAnew) {
    socket_pair pair;
    recorder event(base, pair.near(), on_read, [&](recorder& self) {
        EXPECT_EQ(0u, self.event.m_flags & (def_ombrel_event_registered | def_ombrel_event_active));
        int fresh[2];
        ASSERT_EQ(0, connect_pair(fresh));
        ASSERT_TRUE(give_number(pair.near(), fresh[0]));
        ASSERT_EQ(1, ombrel_send_now(fresh[1], "y", 1));
        ombrel_close_socket(fresh[1]);
        EXPECT_EQ(0, self.add(2000));
    });
    EXPECT_EQ(0, event.add());
    pair.send("x");
    once(2);
    EXPECT_EQ((results{on_read, on_read}), event.results);
}

// A child process or a duplicate keeps the socket alive and readable after its number was closed, be it
// before or after its event was deleted.
TEST_F(Event, AClosedDescriptorThatLivesOnElsewhereDoesNotSpinTheLoop) {
    socket_pair other;
    recorder bystander(base, other.near(), on_read | persist);
    EXPECT_EQ(0, bystander.add());
    for (const uint32_t flags : {on_read, on_read | persist})
        for (const bool closed_first : {false, true}) {
            socket_pair pair;
            const int copy = copy_socket(pair.near());
            recorder event(base, pair.near(), flags, [&](recorder& self) {
                if (closed_first)
                    pair.close_near();
                if (flags != on_read) {
                    EXPECT_EQ(0, self.del());
                }
                pair.close_near();
            });
            EXPECT_EQ(0, event.add());
            pair.send("x");
            once();
            expect_sleep();
            EXPECT_TRUE(bystander.results.empty());
            ombrel_close_socket(copy);
        }
    other.send("x");
    once();
    EXPECT_EQ(results{on_read}, bystander.results);
}

TEST_F(Event, AReportThatNoHandlerSawComesAgain) {
    ASSERT_EQ(0, ombrel_event_base_init_priority(base, 2));
    socket_pair waiting, urgent;
    recorder low(base, waiting.near(), on_read), high(base, urgent.near(), on_read, [&](recorder&) {
        EXPECT_EQ(0, low.del()); // was reported and is active
        EXPECT_EQ(0, low.add(5000));
    });
    EXPECT_EQ(0, ombrel_event_set_priority(&low.event, 1));
    EXPECT_EQ(0, ombrel_event_set_priority(&high.event, 0));
    add({&low, &high}, 5000);
    waiting.send("x");
    urgent.send("x");
    once(2);
    EXPECT_EQ(results{on_read}, low.results);
}

TEST_F(Event, DescriptorInterestIsThatOfTheEventAddedLast) {
    socket_pair pair;
    recorder reader(base, pair.near(), on_read | persist), writer(base, pair.near(), on_write | persist);
    add({&reader, &writer});
    pair.send("x");
    // Only writability is watched, and the first event of the list takes it, whatever it asked for.
    once();
    EXPECT_EQ(results{on_write}, reader.results);
    EXPECT_TRUE(writer.results.empty());
    EXPECT_EQ(0, writer.del());
    once();
    EXPECT_EQ((results{on_write, on_read}), reader.results);
}

TEST_F(Event, ABadDescriptorIsRefused) {
    for (const int number : {60, 987654, INT_MAX}) {
        recorder event(base, number, on_read);
        EXPECT_EQ("ombrel_add_event: [ERROR] ombrel_set_select failed !\n",
                  errors_of([&] { EXPECT_EQ(-1, event.add()); }));
        EXPECT_EQ(0, ombrel_event_pending(&event.event, 0xFFFF, nullptr)) << number;
    }
}

TEST_F(Event, TimersFireInListOrder) {
    std::string log;
    recorder late(base, -1, 0), early(base, -1, 0), far(base, -1, 0);
    late.name = "late ", early.name = "early ", far.name = "far ";
    for (recorder* timer : {&late, &early, &far})
        timer->log = &log;
    EXPECT_EQ(0, late.add(15));
    EXPECT_EQ(0, early.add(1));
    EXPECT_EQ(0, far.add(60000));
    ::usleep(20000); // both have passed: the list decides, not the expiry
    poll();
    EXPECT_EQ("late early ", log);
    EXPECT_EQ(results{on_timeout}, early.results);
}

TEST_F(Event, TimersOfManyLengthsFireAtTheirTime) {
    std::vector<std::unique_ptr<recorder>> timers;
    size_t fired = 0, deleted = 0;
    const uint64_t start = ombrel_time_stamp_msec();
    for (int i = 0; i < 500; i++) {
        const int limit = (i * 7919) % 50;
        timers.push_back(std::make_unique<recorder>(base, -1, 0, [&fired, start, limit](recorder&) {
            EXPECT_GE(ombrel_time_stamp_msec(), start + static_cast<uint64_t>(limit));
            fired++;
        }));
        EXPECT_EQ(0, timers.back()->add(limit));
    }
    for (size_t i = 0; i < timers.size(); i += 3, deleted++)
        EXPECT_EQ(0, timers[i]->del());
    recorder last(base, -1, 0, [&](recorder&) { EXPECT_EQ(0, ombrel_event_base_break_loop(base)); });
    EXPECT_EQ(0, last.add(60));
    EXPECT_EQ(0, ombrel_event_base_dispatch(base));
    EXPECT_EQ(timers.size() - deleted, fired);
}

TEST_F(Event, ReadinessWinsOverAnExpiredTimer) {
    socket_pair pair;
    recorder event(base, pair.near(), on_read | persist, [](recorder& self) { drain(self.event.m_fd); });
    EXPECT_EQ(0, event.add(1));
    pair.send("x");
    ::usleep(3000);
    once(2); // armed anew after it fired
    EXPECT_EQ((results{on_read, on_timeout}), event.results);
}

TEST_F(Event, WithoutSocketAndTimeLimitItFiresAtOnce) {
    recorder event(base, -1, 0);
    EXPECT_EQ(0, event.add(-1));
    poll();
    EXPECT_EQ(results{on_timeout}, event.results);
}

TEST_F(Event, HandlersDeleteAndFreeActiveEvents) {
    std::array<socket_pair, 4> pairs;
    ombrel_event_t* own = nullptr;
    const auto free_itself = [](ombrel_event_t* event, int, uint32_t result, void* context) {
        if (result == def_ombrel_event_assigned)
            return;
        *static_cast<ombrel_event_t**>(context) = nullptr;
        EXPECT_EQ(0, ombrel_free_event(event));
    };
    own = ombrel_new_event(base, pairs[0].near(), on_read | persist, free_itself, &own);
    recorder first(base, pairs[2].near(), on_read), second(base, pairs[3].near(), on_read);
    recorder killer(base, pairs[1].near(), on_read | persist, [&](recorder& self) {
        EXPECT_EQ(0, first.del());
        EXPECT_EQ(0, ombrel_unassign_event(&second.event));
        EXPECT_EQ(0, self.del());
    });
    EXPECT_EQ(0, ombrel_add_event(own, -1));
    add({&killer, &first, &second});
    for (auto& pair : pairs)
        pair.send("x");
    poll();
    EXPECT_EQ(nullptr, own);
    EXPECT_EQ(1u, killer.results.size());
    EXPECT_TRUE(first.results.empty() && second.results.empty());
}

TEST_F(Event, TracingIsOffUntilAskedFor) {
    for (const bool is_on : {false, true}) {
        ombrel_event_debug_mode(is_on);
        capture output(stdout);
        recorder(base, -1, is_on ? def_ombrel_event_with_resolver : 0);
        const std::string text = output.text();
        EXPECT_EQ(!is_on, text.empty());
        EXPECT_EQ(is_on ? 0 : std::string::npos,
                  text.find("ombrel_assign_event: [MESSAGE] assign event with resolver."));
    }
    ombrel_event_debug_mode(0);
}

} // namespace
