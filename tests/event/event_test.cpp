#include <ombrel/event.h>

#include <climits>
#include <cstring>

#include <ombrel/time.h>

#include "event/event_fixture.h"
#include "support/capture.h"

namespace {

using namespace ombrel_test;
using results = std::vector<uint32_t>;

class Event : public event_test {};

TEST_F(Event, AssignmentSetsTheFieldsAndNotifiesTheHandler) {
    std::vector<uint32_t> told;
    const auto handler = [](ombrel_event_t*, int, uint32_t result, void* context) {
        static_cast<std::vector<uint32_t>*>(context)->push_back(result);
    };
    ASSERT_EQ(0, ombrel_event_base_init_priority(base, 7));
    ombrel_event_t event;
    memset(&event, 0xA5, sizeof event); // what lies in the record before does not matter
    ASSERT_EQ(0, ombrel_assign_event_with_resolver(base, &event, 5, 0xFFFFFFFFu, handler, &told, "127.0.0.1",
                                                   70000, "localhost", 65535));
    EXPECT_EQ(results{0x80}, told);
    EXPECT_EQ(0x191Fu | 0x80u, event.m_flags);
    EXPECT_EQ(3u, event.m_priority);
    EXPECT_STREQ("127.0.0.1", event.m_bind_address);
    EXPECT_EQ(-1, event.m_bind_port);
    EXPECT_EQ(65535, event.m_resolver_port);
    EXPECT_EQ(1u, event.m_output_watermark);
    EXPECT_EQ(0, ombrel_assign_event(base, &event, 6, def_ombrel_event_read, handler, &told));
    EXPECT_EQ(nullptr, event.m_bind_address);
    EXPECT_EQ(0, ombrel_unassign_event(&event));
    EXPECT_EQ(0u, event.m_flags);
}

TEST_F(Event, UnusableEventsAreReported) {
    ombrel_event_t unassigned{};
    ombrel_event_t homeless{};
    ASSERT_EQ(0, ombrel_assign_event(nullptr, &homeless, -1, 0, nullptr, nullptr));
    const std::vector<std::pair<const char*, int (*)(ombrel_event_t*)>> operations = {
        {"ombrel_add_event", [](ombrel_event_t* event) { return ombrel_add_event(event, 0); }},
        {"ombrel_del_event", ombrel_del_event},
        {"ombrel_active_event", [](ombrel_event_t* event) { return ombrel_active_event(event, 1); }},
        {"ombrel_event_set_priority",
         [](ombrel_event_t* event) { return ombrel_event_set_priority(event, 0); }},
        {"ombrel_event_pending",
         [](ombrel_event_t* event) { return ombrel_event_pending(event, 1, nullptr); }},
    };
    for (const auto& [name, operation] : operations) {
        capture errors(stderr);
        EXPECT_EQ(-1, operation(nullptr));
        EXPECT_EQ(-1, operation(&unassigned));
        EXPECT_EQ(-1, operation(&homeless));
        const std::string text = errors.text(), start = std::string(name) + ": [ERROR] ";
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
    capture errors(stderr);
    EXPECT_EQ(-1, ombrel_free_event(nullptr));
    EXPECT_EQ("ombrel_free_event: [ERROR] event is null !\n", errors.text());
}

TEST_F(Event, RegisteredEventsAreNotAssignedAgain) {
    recorder event(base, -1, 0);
    EXPECT_EQ(0, event.add(1000));
    capture errors(stderr);
    EXPECT_EQ(-1, ombrel_assign_event(base, &event.event, -1, 0, nullptr, nullptr));
    EXPECT_EQ("ombrel_assign_event: [ERROR] s_event is already added !\n", errors.text());
    EXPECT_EQ(0, event.del());
    capture warnings(stderr);
    EXPECT_EQ(-1, event.del());
    EXPECT_EQ("ombrel_del_event: [WARNING] already deleted.\n", warnings.text());
}

TEST_F(Event, PriorityIsRefusedWhenActiveOrOutOfRange) {
    ASSERT_EQ(0, ombrel_event_base_init_priority(base, 3));
    recorder event(base, -1, 0);
    EXPECT_EQ(0, ombrel_event_set_priority(&event.event, 2));
    capture range(stderr);
    EXPECT_EQ(-1, ombrel_event_set_priority(&event.event, 3));
    EXPECT_EQ("ombrel_event_set_priority: [ERROR] s_priority >= max_priority !\n", range.text());
    EXPECT_EQ(0, ombrel_active_event(&event.event, def_ombrel_event_write));
    capture active(stderr);
    EXPECT_EQ(-1, ombrel_event_set_priority(&event.event, 0));
    EXPECT_EQ("ombrel_event_set_priority: [ERROR] already active event !\n", active.text());
    EXPECT_EQ(-1, ombrel_event_base_init_priority(base, 2));
}

TEST_F(Event, FiresByHandWithoutRegistration) {
    recorder event(base, -1, 0);
    EXPECT_EQ(0, ombrel_active_event(&event.event, def_ombrel_event_write));
    EXPECT_EQ(0, ombrel_active_event(&event.event, def_ombrel_event_read));
    EXPECT_EQ(3, ombrel_event_pending(&event.event, 7, nullptr));
    EXPECT_EQ(0, once());
    EXPECT_EQ(results{3}, event.results);
    EXPECT_EQ(0, ombrel_active_event(&event.event, def_ombrel_event_read));
    EXPECT_EQ(0, event.del());
    EXPECT_EQ(0, poll());
    EXPECT_EQ(1u, event.results.size());
}

TEST_F(Event, FiringByHandLeavesNoTimerBehind) {
    recorder event(base, -1, def_ombrel_event_persist);
    EXPECT_EQ(0, event.add(5000)); // its limit stays in the record
    EXPECT_EQ(0, event.del());
    EXPECT_EQ(0, ombrel_active_event(&event.event, def_ombrel_event_write));
    EXPECT_EQ(0, once());
    EXPECT_EQ(1u, event.results.size());
    EXPECT_EQ(0, ombrel_event_pending(&event.event, 0xFFFF, nullptr));
}

TEST_F(Event, PendingTellsKindsAndTime) {
    socket_pair pair;
    recorder event(base, pair.near(), def_ombrel_event_read | def_ombrel_event_write);
    int left = 5;
    EXPECT_EQ(0, ombrel_event_pending(&event.event, 0xFFFF, &left));
    EXPECT_EQ(-1, left);
    EXPECT_EQ(0, event.add(5000));
    EXPECT_EQ(static_cast<int>(def_ombrel_event_read | def_ombrel_event_timeout),
              ombrel_event_pending(&event.event, def_ombrel_event_read | def_ombrel_event_timeout, &left));
    EXPECT_GT(left, 4000);
    EXPECT_LE(left, 5000);
    EXPECT_EQ(0, event.add(-1));
    EXPECT_EQ(3, ombrel_event_pending(&event.event, 0xFFFF, &left));
    EXPECT_EQ(-1, left);
}

TEST_F(Event, SocketKinds) {
    socket_pair pair;
    recorder reader(base, pair.near(), def_ombrel_event_read);
    EXPECT_EQ(0, reader.add());
    EXPECT_EQ(0, poll());
    EXPECT_TRUE(reader.results.empty());
    pair.send("x");
    EXPECT_EQ(0, once());
    EXPECT_EQ(results{def_ombrel_event_read}, reader.results);
    EXPECT_EQ(std::vector<int>{pair.near()}, reader.fds);
    EXPECT_EQ(0, ombrel_event_pending(&reader.event, 0xFFFF, nullptr)) << "one-shot";
    EXPECT_EQ(0, poll());
    EXPECT_EQ(1u, reader.results.size());

    recorder writer(base, pair.near(),
                    def_ombrel_event_write | def_ombrel_event_read | def_ombrel_event_persist);
    EXPECT_EQ(0, writer.add());
    EXPECT_EQ(0, once());
    EXPECT_EQ(0, once());
    EXPECT_EQ((results{3, 3}), writer.results);
}

TEST_F(Event, HandlerOfAOneShotEventMayAddItAgain) {
    socket_pair pair;
    recorder event(base, pair.near(), def_ombrel_event_read, [](recorder& self) {
        EXPECT_EQ(0u, self.event.m_flags & (def_ombrel_event_registered | def_ombrel_event_active));
        EXPECT_EQ(0, self.add());
    });
    EXPECT_EQ(0, event.add());
    pair.send("x");
    EXPECT_EQ(0, once());
    EXPECT_EQ(0, once());
    EXPECT_EQ(2u, event.results.size());
}

TEST_F(Event, ADescriptorNumberUsedAgainIsWatchedAnew) {
    socket_pair pair;
    recorder event(base, pair.near(), def_ombrel_event_read, [&](recorder& self) {
        const int number = pair.near();
        int fresh[2];
        ASSERT_EQ(0, ::socketpair(AF_UNIX, SOCK_STREAM, 0, fresh));
        ASSERT_EQ(number, ::dup2(fresh[0], number)); // closes the old socket under the same number
        ::close(fresh[0]);
        ASSERT_EQ(1, ::send(fresh[1], "y", 1, 0));
        ::close(fresh[1]);
        if (self.results.size() == 1) {
            EXPECT_EQ(0, self.add(2000));
        }
    });
    EXPECT_EQ(0, event.add());
    pair.send("x");
    EXPECT_EQ(0, once());
    EXPECT_EQ(0, once());
    EXPECT_EQ((results{def_ombrel_event_read, def_ombrel_event_read}), event.results);
}

// A child process or a duplicate keeps the socket alive and readable after its number was closed, be it
// before or after its event was deleted.
TEST_F(Event, AClosedDescriptorThatLivesOnElsewhereDoesNotSpinTheLoop) {
    socket_pair other;
    recorder bystander(base, other.near(), def_ombrel_event_read | def_ombrel_event_persist);
    EXPECT_EQ(0, bystander.add());
    for (uint32_t persist : {0u, def_ombrel_event_persist})
        for (bool closed_first : {false, true}) {
            socket_pair pair;
            const int copy = ::dup(pair.near());
            recorder event(base, pair.near(), def_ombrel_event_read | persist, [&](recorder& self) {
                if (closed_first)
                    pair.close_near();
                if (persist != 0) {
                    EXPECT_EQ(0, self.del());
                }
                pair.close_near();
            });
            EXPECT_EQ(0, event.add());
            pair.send("x");
            EXPECT_EQ(0, once());
            EXPECT_EQ(0, ombrel_event_base_exit_loop(base, 200));
            const int before = processor_milliseconds();
            EXPECT_EQ(0, ombrel_event_base_dispatch(base));
            EXPECT_LT(processor_milliseconds() - before, 25);
            EXPECT_TRUE(bystander.results.empty());
            ::close(copy);
        }
    other.send("x");
    EXPECT_EQ(0, once());
    EXPECT_EQ(results{def_ombrel_event_read}, bystander.results);
}

TEST_F(Event, AReportThatNoHandlerSawComesAgain) {
    ASSERT_EQ(0, ombrel_event_base_init_priority(base, 2));
    socket_pair waiting, urgent;
    recorder low(base, waiting.near(), def_ombrel_event_read);
    recorder high(base, urgent.near(), def_ombrel_event_read, [&](recorder&) {
        EXPECT_EQ(0, low.del()); // was reported and is active
        EXPECT_EQ(0, low.add(5000));
    });
    EXPECT_EQ(0, ombrel_event_set_priority(&low.event, 1));
    EXPECT_EQ(0, ombrel_event_set_priority(&high.event, 0));
    EXPECT_EQ(0, low.add(5000));
    EXPECT_EQ(0, high.add(5000));
    waiting.send("x");
    urgent.send("x");
    EXPECT_EQ(0, once());
    EXPECT_EQ(0, once());
    EXPECT_EQ(results{def_ombrel_event_read}, low.results);
}

TEST_F(Event, DescriptorInterestIsThatOfTheEventAddedLast) {
    socket_pair pair;
    recorder reader(base, pair.near(), def_ombrel_event_read | def_ombrel_event_persist);
    recorder writer(base, pair.near(), def_ombrel_event_write | def_ombrel_event_persist);
    EXPECT_EQ(0, reader.add());
    EXPECT_EQ(0, writer.add());
    pair.send("x");
    // Only writability is watched, and the first event of the list takes it, whatever it asked for.
    EXPECT_EQ(0, once());
    EXPECT_EQ(results{def_ombrel_event_write}, reader.results);
    EXPECT_TRUE(writer.results.empty());
    EXPECT_EQ(0, writer.del());
    EXPECT_EQ(0, once());
    EXPECT_EQ((results{def_ombrel_event_write, def_ombrel_event_read}), reader.results);
}

TEST_F(Event, RegularFilesAreAlwaysReady) {
    FILE* file = std::tmpfile();
    recorder event(base, fileno(file), def_ombrel_event_read | def_ombrel_event_write);
    EXPECT_EQ(0, event.add(5000));
    EXPECT_EQ(0, once());
    EXPECT_EQ(results{3}, event.results);
    fclose(file);
}

TEST_F(Event, ABadDescriptorIsRefused) {
    for (int number : {60, 987654, INT_MAX}) {
        recorder event(base, number, def_ombrel_event_read);
        capture errors(stderr);
        EXPECT_EQ(-1, event.add());
        EXPECT_EQ("ombrel_add_event: [ERROR] ombrel_set_select failed !\n", errors.text()) << number;
        EXPECT_EQ(0, ombrel_event_pending(&event.event, 0xFFFF, nullptr));
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
    EXPECT_EQ(0, poll());
    EXPECT_EQ("late early ", log);
    EXPECT_EQ(results{def_ombrel_event_timeout}, early.results);
}

TEST_F(Event, TimersOfManyLengthsFireAtTheirTime) {
    std::vector<std::unique_ptr<recorder>> timers;
    size_t fired = 0;
    const uint64_t start = ombrel_time_stamp_msec();
    for (int i = 0; i < 500; i++) {
        const int limit = (i * 7919) % 50;
        timers.push_back(std::make_unique<recorder>(base, -1, 0, [&fired, start, limit](recorder&) {
            EXPECT_GE(ombrel_time_stamp_msec(), start + static_cast<uint64_t>(limit));
            fired++;
        }));
        EXPECT_EQ(0, timers.back()->add(limit));
    }
    size_t deleted = 0;
    for (size_t i = 0; i < timers.size(); i += 3, deleted++)
        EXPECT_EQ(0, timers[i]->del());
    recorder last(base, -1, 0,
                  [](recorder& self) { EXPECT_EQ(0, ombrel_event_base_break_loop(self.event.m_base)); });
    EXPECT_EQ(0, last.add(60));
    EXPECT_EQ(0, ombrel_event_base_dispatch(base));
    EXPECT_EQ(timers.size() - deleted, fired);
}

TEST_F(Event, ReadinessWinsOverAnExpiredTimer) {
    socket_pair pair;
    recorder event(base, pair.near(), def_ombrel_event_read | def_ombrel_event_persist,
                   [](recorder& self) { drain(self.event.m_fd); });
    EXPECT_EQ(0, event.add(1));
    pair.send("x");
    ::usleep(3000);
    EXPECT_EQ(0, once());
    EXPECT_EQ(0, once()); // armed anew after it fired
    EXPECT_EQ((results{def_ombrel_event_read, def_ombrel_event_timeout}), event.results);
}

TEST_F(Event, WithoutSocketAndTimeLimitItFiresAtOnce) {
    recorder event(base, -1, 0);
    EXPECT_EQ(0, event.add(-1));
    EXPECT_EQ(0, poll());
    EXPECT_EQ(results{def_ombrel_event_timeout}, event.results);
}

TEST_F(Event, HandlersDeleteAndFreeActiveEvents) {
    std::array<socket_pair, 4> pairs;
    recorder* others[2];
    ombrel_event_t* own = nullptr;
    const auto free_itself = [](ombrel_event_t* event, int, uint32_t result, void* context) {
        if (result == def_ombrel_event_assigned)
            return;
        **static_cast<ombrel_event_t***>(context) = nullptr;
        EXPECT_EQ(0, ombrel_free_event(event));
    };
    ombrel_event_t** own_place = &own;
    own = ombrel_new_event(base, pairs[0].near(), def_ombrel_event_read | def_ombrel_event_persist,
                           free_itself, &own_place);
    recorder killer(base, pairs[1].near(), def_ombrel_event_read | def_ombrel_event_persist,
                    [&](recorder& self) {
                        EXPECT_EQ(0, others[0]->del());
                        EXPECT_EQ(0, ombrel_unassign_event(&others[1]->event));
                        EXPECT_EQ(0, self.del());
                    });
    recorder first(base, pairs[2].near(), def_ombrel_event_read),
        second(base, pairs[3].near(), def_ombrel_event_read);
    others[0] = &first, others[1] = &second;
    EXPECT_EQ(0, ombrel_add_event(own, -1));
    for (recorder* event : {&killer, &first, &second})
        EXPECT_EQ(0, event->add());
    for (auto& pair : pairs)
        pair.send("x");
    EXPECT_EQ(0, poll());
    EXPECT_EQ(nullptr, own);
    EXPECT_EQ(1u, killer.results.size());
    EXPECT_TRUE(first.results.empty());
    EXPECT_TRUE(second.results.empty());
}

TEST_F(Event, TracingIsOffUntilAskedFor) {
    capture silent(stdout);
    recorder(base, -1, 0);
    EXPECT_EQ("", silent.text());
    ombrel_event_debug_mode(1);
    capture traced(stdout);
    recorder(base, -1, def_ombrel_event_with_resolver);
    ombrel_event_debug_mode(0);
    EXPECT_EQ(0u, traced.text().find("ombrel_assign_event: [MESSAGE] assign event with resolver."));
}

} // namespace
