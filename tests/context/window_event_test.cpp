// Events of windows between the thread that has them and the program.
#include <atomic>
#include <thread>
#include <vector>

#include <ombrel/ctx.h>
#include <ombrel/framebuffer.h>
#include <ombrel/window_event.h>

#include "support/capture.h"
#include "support/ctx_error.h"
#include "support/heap_balance.h"
#include "support/waiting_call.h"

namespace ombrel_test {
namespace {

constexpr uint32_t move = def_ombrel_window_event_move, key = def_ombrel_window_event_key_down;

class WindowEvents : public balanced_test {
protected:
    WindowEvents() : events_(ombrel_new_window_events()) {}
    ~WindowEvents() override { ombrel_free_window_events(events_); }

    int put(uint32_t kind, int x) const {
        ombrel_window_event_t event = {};
        event.m_kind = kind;
        event.m_x = x;
        return ombrel_put_window_event(events_, &event);
    }
    /// The place of the next event; -1 for none, -2 when there will be none.
    int next(int timeout_ms = 0) const {
        ombrel_window_wait_t wait = {timeout_ms, {}};
        const int result = ombrel_wait_window_event(events_, &wait);
        EXPECT_EQ(result != 1, wait.m_event.m_kind == def_ombrel_window_event_none);
        return result == 1 ? wait.m_event.m_x : result - 1;
    }
    template<typename Context>
    void listen(int (*handler)(const ombrel_window_event_t*, void*), Context* context) const {
        const ombrel_window_listener_t listener = {handler, context};
        EXPECT_EQ(0, ombrel_set_window_handler(events_, &listener));
    }

    ombrel_window_events_t* const events_;
};

TEST_F(WindowEvents, WaitInTheirOrder) {
    EXPECT_EQ(-1, next()) << "none yet";
    EXPECT_EQ(-1, next(5)) << "none in time";
    for (const auto& [kind, x] : {std::pair(move, 1), {move, 2}, {key, 3}, {key, 4}, {move, 5}, {move, 6}})
        EXPECT_EQ(0, put(kind, x));
    for (const int x : {2, 3, 4, 6, -1})
        EXPECT_EQ(x, next()) << "of moves in a row the last";
    constexpr int most = def_ombrel_window_event_most, more = 3;
    for (int x = 0; x < most + more; x++)
        put(key, x);
    for (int x = more; x < most + more; x++)
        EXPECT_EQ(x, next()) << "the oldest made room";
    put(key, 7);
    EXPECT_EQ(0, ombrel_end_window_events(events_));
    EXPECT_EQ(7, next()) << "came before the end";
    EXPECT_EQ(-2, next(-1));
}

TEST_F(WindowEvents, WakeWhoWaits) {
    std::atomic<int> sum = 0;
    {
        const waiting_call first([&] { sum += next(-1); }), second([&] { sum += next(-1); });
        EXPECT_TRUE(first.is_waiting());
        EXPECT_TRUE(second.is_waiting());
        put(key, 10);
        put(key, 20);
    }
    EXPECT_EQ(30, sum);
    {
        const waiting_call third([&] { sum += next(600'000); });
        EXPECT_TRUE(third.is_waiting());
        ombrel_end_window_events(events_);
    }
    EXPECT_EQ(28, sum);
}

TEST_F(WindowEvents, GoToTheHandler) {
    static constexpr int answer = 5;
    struct {
        ombrel_window_events_t* events;
        std::vector<int> places;
    } heard = {events_, {}};
    put(key, 1);
    listen(
        [](const ombrel_window_event_t* event, void* context) {
            auto& to = *static_cast<decltype(heard)*>(context);
            to.places.push_back(event->m_x);
            // The handler may take its own leave.
            return event->m_x < 3 ? answer : ombrel_set_window_handler(to.events, nullptr);
        },
        &heard);
    EXPECT_EQ(1, next()) << "it came before";
    EXPECT_EQ(answer, put(key, 2));
    EXPECT_EQ(0, put(key, 3));
    EXPECT_EQ(0, put(key, 4));
    EXPECT_EQ((std::vector{2, 3}), heard.places);
    EXPECT_EQ(4, next());
}

TEST_F(WindowEvents, AnotherHandlerWaitsForTheRunningOne) {
    struct {
        std::atomic<bool> is_inside = false, may_leave = false;
    } state;
    listen(
        [](const ombrel_window_event_t*, void* context) {
            auto& at = *static_cast<decltype(state)*>(context);
            at.is_inside = true;
            while (!at.may_leave)
                std::this_thread::yield();
            return 0;
        },
        &state);
    const std::jthread window([&] { put(key, 1); });
    while (!state.is_inside)
        std::this_thread::yield();
    const waiting_call setting([&] { ombrel_set_window_handler(events_, nullptr); });
    EXPECT_TRUE(setting.is_waiting());
    state.may_leave = true;
}

TEST_F(WindowEvents, ControlsAndNull) {
    const int ctx = ombrel_new_ctx();
    ombrel_window_wait_t wait = {};
    ombrel_window_listener_t listener = {};
    const auto control = [&](uint32_t code, void* record, size_t size) {
        ombrel_ctx_set_last_error(ctx, 0);
        return ombrel_control_window_events(events_, ctx, code, record, size) == 0
                   ? 0
                   : ombrel_ctx_get_last_error(ctx);
    };
    constexpr uint32_t get = def_ombrel_fb_control_get_window_event,
                       set = def_ombrel_fb_control_set_window_handler;
    EXPECT_EQ(0, control(get, &wait, sizeof wait)) << "none is no failure";
    EXPECT_EQ(0, control(set, &listener, sizeof listener));
    EXPECT_EQ(ctx_error::not_supported, control(def_ombrel_fb_control_pan, &wait, sizeof wait));
    for (const auto& [code, size] : {std::pair(get, sizeof wait), {set, sizeof listener}}) {
        EXPECT_EQ(ctx_error::invalid, control(code, nullptr, size));
        capture errors(stderr);
        EXPECT_EQ(ctx_error::invalid, control(code, &wait, size + 1));
        EXPECT_NE(std::string::npos, errors.text().find("s_arg_size == sizeof(*s_arg)"));
    }
    ombrel_end_window_events(events_);
    EXPECT_EQ(ctx_error::disconnected, control(get, &wait, sizeof wait));
    ombrel_destroy_ctx(ctx);

    EXPECT_EQ(-1, ombrel_put_window_event(nullptr, &wait.m_event));
    EXPECT_EQ(-1, ombrel_put_window_event(events_, nullptr));
    EXPECT_EQ(-1, ombrel_end_window_events(nullptr));
    EXPECT_EQ(-1, ombrel_set_window_handler(nullptr, nullptr));
    EXPECT_EQ(-1, ombrel_wait_window_event(nullptr, &wait));
    EXPECT_EQ(-1, ombrel_wait_window_event(events_, nullptr));
    EXPECT_EQ(0, ombrel_free_window_events(nullptr));
}

} // namespace
} // namespace ombrel_test
