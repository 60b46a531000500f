#include <atomic>

#include <gtest/gtest.h>

#include <ombrel/service.h>
#include <ombrel/short_lock.h>
#include <ombrel/time.h>

#include "support/heap_balance.h"
#include "support/threads.h"

namespace {

class service_test : public ombrel_test::balanced_test {};

int run_until_break(ombrel_service_t* service, void*) {
    EXPECT_EQ(ombrel_check_service(service), 0);
    ombrel_ack_service(service);
    while (ombrel_break_service(service) == 0)
        ombrel_load_balance_short();
    return 0;
}

/// A handler that acknowledges and returns only when it is released, deaf to the request to stop.
struct deaf_handler {
    std::atomic<bool> released{false}, returned{false};

    static int run(ombrel_service_t* service, void* context) {
        auto* self = static_cast<deaf_handler*>(context);
        ombrel_ack_service(service);
        while (!self->released)
            ombrel_load_balance_short();
        EXPECT_EQ(ombrel_break_service(service), 1) << "the service lives as long as its handler";
        self->returned = true;
        return 0;
    }
};

} // namespace

TEST_F(service_test, runs_from_acknowledgement_to_close) {
    for (int round = 0; round < 50; round++) {
        const uint64_t start = ombrel_time_stamp_msec();
        ombrel_service_t* service = ombrel_open_service_ex("@worker", run_until_break, nullptr, 0);
        ASSERT_NE(service, nullptr);
        EXPECT_EQ(ombrel_check_service(service), 1);
        EXPECT_EQ(ombrel_break_service(service), 0);
        EXPECT_EQ(ombrel_close_service(service), 0);
        EXPECT_LT(ombrel_time_stamp_msec() - start, 5000u);
    }
}

TEST_F(service_test, failed_start_gives_no_service) {
    const auto reports_error = [](ombrel_service_t* service, void*) {
        EXPECT_EQ(ombrel_error_service(service), 0);
        EXPECT_EQ(ombrel_check_service(service), -1);
        return 0;
    };
    const auto says_nothing = [](ombrel_service_t*, void*) { return 0; };
    for (int round = 0; round < 30; round++) {
        EXPECT_EQ(ombrel_open_service_ex(nullptr, reports_error, nullptr, 0), nullptr);
        EXPECT_EQ(ombrel_open_service_ex("quiet", says_nothing, nullptr, 0), nullptr);
    }
    EXPECT_EQ(ombrel_open_service_ex("none", nullptr, nullptr, 0), nullptr);
}

TEST_F(service_test, handler_may_end_by_itself_as_soon_as_it_has_acknowledged) {
    const auto ends = [](ombrel_service_t* service, void*) { return ombrel_ack_service(service); };
    for (int round = 0; round < 30; round++) {
        ombrel_service_t* service = ombrel_open_service_ex("short", ends, nullptr, 0);
        ASSERT_NE(service, nullptr);
        while (ombrel_check_service(service) != 0)
            ombrel_load_balance_short();
        EXPECT_EQ(ombrel_close_service(service), 0);
    }
}

TEST_F(service_test, limited_close_leaves_a_running_handler_its_service) {
    deaf_handler handler;
    ombrel_service_t* service = ombrel_open_service_ex("deaf", deaf_handler::run, &handler, 0);
    ASSERT_NE(service, nullptr);
    const size_t blocks = ombrel_get_alloc_count();
    const uint64_t start = ombrel_time_stamp_msec();
    EXPECT_EQ(ombrel_close_service_ex(service, 30), 0);
    EXPECT_GE(ombrel_time_stamp_msec() - start, 29u);
    EXPECT_EQ(ombrel_get_alloc_count(), blocks);
    handler.released = true;
    while (!handler.returned || ombrel_get_alloc_count() > blocks - 2)
        ombrel_load_balance_short();
}

TEST_F(service_test, close_notify_handler_ends_the_wait_of_a_handler) {
    struct notified {
        deaf_handler handler;
        int calls = 0;
        static int notify(void* argument) {
            auto* self = static_cast<notified*>(argument);
            if (++self->calls < 3)
                return -1;
            self->handler.released = true;
            return 0;
        }
    } state;
    ombrel_service_t* service = ombrel_open_service_ex("notified", deaf_handler::run, &state.handler, 0);
    ASSERT_NE(service, nullptr);
    EXPECT_EQ(ombrel_service_register_close_notify_handler(service, notified::notify, &state), 0);
    EXPECT_EQ(ombrel_close_service(service), 0);
    EXPECT_EQ(state.calls, 3);
    EXPECT_EQ(ombrel_service_register_close_notify_handler(nullptr, notified::notify, &state), -1);
}

TEST_F(service_test, flags_and_user_data_belong_to_the_owner) {
    ombrel_service_t* service = ombrel_open_service_ex("flags", run_until_break, nullptr, 0);
    ASSERT_NE(service, nullptr);
    EXPECT_EQ(ombrel_get_lock_flags_service(service), 0u);
    EXPECT_EQ(ombrel_set_lock_flags_service(service, 0x5), 0x5u);
    EXPECT_EQ(ombrel_invert_lock_flags_service(service, 0x1), 0x4u);
    EXPECT_EQ(ombrel_set_lock_flags_service(service, 0x3), 0x7u);
    EXPECT_EQ(ombrel_clear_lock_flags_service(service, 0x6), 0x1u);
    EXPECT_EQ(ombrel_try_lock_flags_service(service), 1);
    EXPECT_EQ(ombrel_try_lock_flags_service(service), 0);
    EXPECT_EQ(*ombrel_get_lock_flags_ptr_service(service), 0x1u);
    EXPECT_EQ(ombrel_unlock_flags_service(service), 0);
    EXPECT_EQ(ombrel_get_user_data_service(service), nullptr);
    EXPECT_EQ(ombrel_set_user_data_service(service, &service), 0);
    EXPECT_EQ(ombrel_get_user_data_service(service), &service);
    EXPECT_EQ(ombrel_close_service(service), 0);
}

TEST_F(service_test, null_service_is_tolerated) {
    EXPECT_EQ(ombrel_close_service(nullptr), 0);
    EXPECT_EQ(ombrel_check_service(nullptr), -1);
    EXPECT_EQ(ombrel_break_service(nullptr), -1);
    EXPECT_EQ(ombrel_try_lock_flags_service(nullptr), -1);
    EXPECT_EQ(ombrel_lock_flags_service(nullptr), -1);
    EXPECT_EQ(ombrel_unlock_flags_service(nullptr), -1);
    EXPECT_EQ(ombrel_set_lock_flags_service(nullptr, 1), 0u);
    EXPECT_EQ(ombrel_get_lock_flags_ptr_service(nullptr), nullptr);
    EXPECT_EQ(ombrel_get_user_data_service(nullptr), nullptr);
    EXPECT_EQ(ombrel_set_user_data_service(nullptr, nullptr), -1);
}

TEST_F(service_test, many_services_start_and_stop_together) {
    ombrel_test::in_threads(6, [](int) {
        for (int round = 0; round < 10; round++) {
            ombrel_service_t* service = ombrel_open_service_ex("one", run_until_break, nullptr, 0);
            ASSERT_NE(service, nullptr);
            EXPECT_EQ(ombrel_close_service_ex(service, round % 2 == 0 ? 0xFFFFFFFFu : 10'000u), 0);
        }
    });
}
