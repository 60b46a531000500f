// Handlers that are callables: who keeps them, and for how long.
#include <ombrel_tuk.hpp>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/heap_balance.h"

using namespace std::string_view_literals;

namespace {

class EventObjects : public ombrel_test::balanced_test {
protected:
    ombrel::event_base base_ = ombrel::event_base::open();
    void run() { EXPECT_EQ(0, base_.loop(def_ombrel_event_loop_once | def_ombrel_event_loop_non_block)); }
};

TEST_F(EventObjects, CallWithAsMuchAsTheCallableTakes) {
    std::vector<int> called;
    const auto whole = ombrel::event::open_timer(base_, [&](ombrel::event_ref event, std::uint32_t result) {
        EXPECT_EQ(base_.get(), event.base().get());
        called.push_back(result == def_ombrel_event_timeout ? 1 : -1);
    });
    const auto shorter =
        ombrel::event::open_timer(base_, [&](ombrel::event_ref event) { called.push_back(event.fd() + 3); });
    auto shortest =
        ombrel::event::open_timer(base_, [&, own = std::make_unique<int>(3)] { called.push_back(*own); });
    EXPECT_TRUE(called.empty()) << "the notice of an assignment is kept from callables";
    for (const ombrel::event* event : {&whole, &shorter, static_cast<const ombrel::event*>(&shortest)})
        EXPECT_EQ(0, event->add(0));
    const auto moved = std::move(shortest); // its callable stays where it is
    EXPECT_FALSE(shortest);
    run();
    EXPECT_EQ((std::vector<int>{1, 2, 3}), called);
}

// The callable's own bytes must live until it has returned, whatever it does to its event.
TEST_F(EventObjects, MayEndThemselvesAndOthersInTheirHandlers) {
    const auto kept = std::make_shared<int>(0);
    std::optional<ombrel::event> itself, replaced, other;
    other = ombrel::event::open_timer(base_, [kept] { *kept += 100; });
    itself = ombrel::event::open_timer(base_, [&, kept] {
        other.reset();
        itself.reset();
        EXPECT_EQ(3, kept.use_count()) << "the callable of the running handler is gone";
        *kept += 1;
    });
    replaced = ombrel::event::open_timer(base_, [&, kept] {
        *replaced = ombrel::event::open_timer(base_, [kept] { *kept += 1000; });
        replaced->add(0);
        *kept += 10;
    });
    for (auto* event : {&itself, &replaced, &other})
        EXPECT_EQ(0, (*event)->add(0));
    run();
    EXPECT_EQ(11, *kept);
    run();
    EXPECT_EQ(1011, *kept);
    EXPECT_EQ(2, kept.use_count()) << "callables that ended were not destroyed";
    replaced.reset();
    EXPECT_EQ(1, kept.use_count());
    EXPECT_EQ(0u, base_.counts().m_events);
}

TEST_F(EventObjects, MayOutliveTheirBase) {
    auto event = ombrel::event::open_timer(base_, [] {});
    base_.reset();
    EXPECT_FALSE(base_);
    EXPECT_TRUE(event);
}

struct session {
    int calls = 0;
    ombrel_event_t embedded = {};
    void on_ready(ombrel::event_ref) { calls++; }
};

TEST_F(EventObjects, CallMethodsWithoutACallable) {
    session one;
    const auto bound = ombrel::event::open_timer(base_, ombrel::bound<&session::on_ready>(one));
    EXPECT_EQ(0, ombrel_assign_event(base_.get(), &one.embedded, -1, 0,
                                     &ombrel::event_handler<&session::on_ready, session>, &one));
    EXPECT_EQ(0, one.calls);
    bound.add(0);
    ombrel_add_event(&one.embedded, 0);
    run();
    EXPECT_EQ(2, one.calls);
    ombrel_unassign_event(&one.embedded);
}

TEST_F(EventObjects, MayBeNone) {
    const ombrel::event_ref none;
    EXPECT_EQ(-1, none.fd());
    EXPECT_FALSE(none.base() || none.input() || none.output());
}

TEST_F(EventObjects, RunTheirOwnLoopWithinAHandler) {
    int calls = 0;
    std::optional<ombrel::event> event;
    event = ombrel::event::open_timer(base_, [&, own = std::make_unique<int>(5)] {
        const auto inner = ombrel::event_base::open();
        const auto ends = ombrel::event::open_timer(inner, [&] { event.reset(); });
        ends.add(0);
        inner.loop(def_ombrel_event_loop_once | def_ombrel_event_loop_non_block);
        calls += *own;
    });
    (*event).add(0);
    run();
    EXPECT_EQ(5, calls);
}

TEST_F(EventObjects, MoveBytesThroughTheirBuffers) {
    int ends[2];
    ombrel_init_network();
    ASSERT_EQ(0, ombrel_socket_pipe(ends));
    std::string got;
    const auto reader = ombrel::event::open(base_, ends[0], def_ombrel_event_read | def_ombrel_event_persist,
                                            [&](ombrel::event_ref event) {
                                                char bytes[16];
                                                const auto size = event.receive(bytes, sizeof bytes);
                                                got.append(bytes, static_cast<std::size_t>(size));
                                            });
    EXPECT_EQ(0, reader.ref().enable_buffer(def_ombrel_event_buffer_input));
    reader.add();
    EXPECT_EQ(5, ombrel_send(ends[1], "bytes", 5, 1000));
    run();
    EXPECT_EQ("bytes", got);
    EXPECT_TRUE(reader.ref().input().empty());
    reader.remove();
    for (const int end : ends)
        ombrel_close_socket(end);
}

} // namespace
