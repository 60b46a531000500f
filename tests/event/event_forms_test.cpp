// Forms of calls: those for the process-wide base, with names to look up, with argument lists, for all
// signals.
#include <csignal>

#include <ombrel/event_buffer.h>
#include <ombrel/signal.h>

#include "event/event_fixture.h"
#include "support/argument_list.h"

namespace {

using namespace ombrel_test;

constexpr uint32_t looked_up = def_ombrel_event_with_resolver;

class EventForms : public event_test {
protected:
    // The base of the fixture is the process-wide one.
    void SetUp() override { ASSERT_NE(nullptr, base = ombrel_init_event_base()); }
};

TEST_F(EventForms, TheProcessWideBaseRunsItsEvents) {
    int calls = 0;
    const auto count = [](ombrel_event_t*, int fd, uint32_t result, void* context) {
        EXPECT_EQ(-1, fd);
        EXPECT_EQ(def_ombrel_event_timeout, result);
        ++*static_cast<int*>(context);
    };
    EXPECT_EQ(0, ombrel_event_once(-1, 0, count, &calls, 0));
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(0, ombrel_event_loop(def_ombrel_event_loop_non_block));
        EXPECT_EQ(1, calls);
    }
    const auto end = [](recorder&) { EXPECT_EQ(0, ombrel_event_break_loop()); };
    recorder first(base, -1, 0, end), second(base, -1, 0, end);
    EXPECT_EQ(0, first.add(0));
    EXPECT_EQ(0, second.add(0));
    for (const size_t expected : {1u, 2u}) {
        EXPECT_EQ(0, ombrel_event_loop(0)) << "broken, it is not endless";
        EXPECT_EQ(expected, first.results.size() + second.results.size());
    }
}

TEST_F(EventForms, NamesAreLookedUpForTheProcessWideBaseAndForOneCall) {
    recorder event;
    EXPECT_EQ(0, ombrel_set_event_with_resolver(&event.event, -1, looked_up, recorder::handle, &event,
                                                nullptr, -1, "127.0.0.1", 80));
    EXPECT_EQ(0, event.add(10000));
    EXPECT_EQ(0, once());
    EXPECT_EQ(std::vector<uint32_t>{looked_up}, event.results);
    ASSERT_NE(nullptr, event.event.m_resolver_info);
    EXPECT_EQ(80, event.event.m_resolver_info->m_port);

    int port = 0;
    const auto note = [](ombrel_event_t* made, int, uint32_t result, void* context) {
        EXPECT_EQ(looked_up, result);
        if (made->m_resolver_info != nullptr)
            *static_cast<int*>(context) = made->m_resolver_info->m_port;
    };
    EXPECT_EQ(0, ombrel_event_base_once_with_resolver(base, -1, looked_up, note, &port, 10000, nullptr, -1,
                                                      "127.0.0.1", 81));
    EXPECT_EQ(0, once());
    EXPECT_EQ(81, port);
}

TEST_F(EventForms, ListsOfArgumentsAreQueued) {
    socket_pair pair;
    recorder event(base, pair.near(), 0);
    const auto push = [&](va_list list) { return ombrel_event_push_vprintf(&event.event, 2, "%s-%d", list); };
    EXPECT_EQ(4, with_list(push, "n", 42));
    char bytes[8] = {};
    EXPECT_EQ(4, ombrel_event_pop_buffer(&event.event, 2, bytes, sizeof bytes));
    EXPECT_STREQ("n-42", bytes);
}

volatile sig_atomic_t heard;

TEST_F(EventForms, AllSignalsGoBackToTheirEarlierDispositions) {
    recorder one(base, SIGUSR1, def_ombrel_event_signal), other(base, SIGUSR2, def_ombrel_event_signal);
    for (recorder* event : {&one, &other}) {
        ::signal(event->event.m_fd, [](int) { heard = heard + 1; });
        EXPECT_EQ(0, event->add());
    }
    ::raise(SIGUSR1);
    EXPECT_EQ(0, heard);
    EXPECT_EQ(0, ombrel_restore_all_signal());
    for (const int number : {SIGUSR1, SIGUSR2}) {
        EXPECT_EQ(-1, ombrel_restore_signal(number)) << "not caught any more";
        ::raise(number);
        ::signal(number, SIG_DFL);
    }
    EXPECT_EQ(2, heard);
}

} // namespace
