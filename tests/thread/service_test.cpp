#include <atomic>
#include <chrono>
#include <thread>

#include <gtest/gtest.h>

#include <ombrel/service.h>
#include <ombrel/short_lock.h>
#include <ombrel/time.h>

#include "support/heap_balance.h"
#include "support/threads.h"

namespace {

using ServiceTest = ombrel_test::balanced_test;

int run_until_break(ombrel_service_t* service, void*) {
    EXPECT_EQ(0, ombrel_check_service(service));
    ombrel_ack_service(service);
    while (ombrel_break_service(service) == 0)
        ombrel_load_balance_short();
    return 0;
}

ombrel_service_t* open(const char* name, ombrel_service_handler_t handler = run_until_break,
                       void* argument = nullptr) {
    ombrel_service_t* service = ombrel_open_service_ex(name, handler, argument, 0);
    EXPECT_NE(nullptr, service);
    return service;
}

/// A handler that acknowledges and returns only when it is released, deaf to the request to stop.
struct deaf_handler {
    std::atomic<bool> released{false}, returned{false};

    static int run(ombrel_service_t* service, void* context) {
        auto* self = static_cast<deaf_handler*>(context);
        ombrel_ack_service(service);
        while (!self->released)
            ombrel_load_balance_short();
        EXPECT_EQ(1, ombrel_break_service(service)) << "the service lives as long as its handler";
        self->returned = true;
        return 0;
    }
};

} // namespace

TEST_F(ServiceTest, RunsFromAcknowledgementToClose) {
    for (int round = 0; round < 50; round++) {
        const uint64_t start = ombrel_time_stamp_msec();
        ombrel_service_t* service = open("@worker");
        EXPECT_EQ(1, ombrel_check_service(service));
        EXPECT_EQ(0, ombrel_break_service(service));
        EXPECT_EQ(0, ombrel_close_service(service));
        EXPECT_LT(ombrel_time_stamp_msec() - start, 5000u);
    }
}

TEST_F(ServiceTest, FailedStartGivesNoService) {
    const auto reports_error = [](ombrel_service_t* service, void*) {
        EXPECT_EQ(0, ombrel_error_service(service));
        EXPECT_EQ(-1, ombrel_check_service(service));
        return 0;
    };
    const auto says_nothing = [](ombrel_service_t*, void*) { return 0; };
    for (int round = 0; round < 30; round++) {
        EXPECT_EQ(nullptr, ombrel_open_service_ex(nullptr, reports_error, nullptr, 0));
        EXPECT_EQ(nullptr, ombrel_open_service_ex("quiet", says_nothing, nullptr, 0));
    }
    EXPECT_EQ(nullptr, ombrel_open_service_ex("none", nullptr, nullptr, 0));
}

TEST_F(ServiceTest, HandlerMayEndByItselfAsSoonAsItHasAcknowledged) {
    const auto ends = [](ombrel_service_t* service, void*) { return ombrel_ack_service(service); };
    for (int round = 0; round < 30; round++) {
        ombrel_service_t* service = open("short", ends);
        while (ombrel_check_service(service) != 0)
            ombrel_load_balance_short();
        EXPECT_EQ(0, ombrel_close_service(service));
    }
}

TEST_F(ServiceTest, LimitedCloseLeavesARunningHandlerItsService) {
    deaf_handler handler;
    ombrel_service_t* service = open("deaf", deaf_handler::run, &handler);
    const size_t blocks = ombrel_get_alloc_count();
    const uint64_t start = ombrel_time_stamp_msec();
    EXPECT_EQ(0, ombrel_close_service_ex(service, 30));
    EXPECT_GE(ombrel_time_stamp_msec() - start, 29u);
    EXPECT_EQ(ombrel_get_alloc_count(), blocks);
    handler.released = true;
    while (!handler.returned || ombrel_get_alloc_count() > blocks - 2)
        ombrel_load_balance_short();
}

TEST_F(ServiceTest, CloseNotifyHandlerEndsTheWaitOfAHandler) {
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
    ombrel_service_t* service = open("notified", deaf_handler::run, &state.handler);
    EXPECT_EQ(0, ombrel_service_register_close_notify_handler(service, notified::notify, &state));
    EXPECT_EQ(0, ombrel_close_service(service));
    EXPECT_EQ(3, state.calls);
    EXPECT_EQ(-1, ombrel_service_register_close_notify_handler(nullptr, notified::notify, &state));
}

TEST_F(ServiceTest, FlagsAndUserDataBelongToTheOwner) {
    ombrel_service_t* service = open("flags");
    EXPECT_EQ(0u, ombrel_get_lock_flags_service(service));
    EXPECT_EQ(0x5u, ombrel_set_lock_flags_service(service, 0x5));
    EXPECT_EQ(0x4u, ombrel_invert_lock_flags_service(service, 0x1));
    EXPECT_EQ(0x7u, ombrel_set_lock_flags_service(service, 0x3));
    EXPECT_EQ(0x1u, ombrel_clear_lock_flags_service(service, 0x6));
    EXPECT_EQ(1, ombrel_try_lock_flags_service(service));
    EXPECT_EQ(0, ombrel_try_lock_flags_service(service));
    EXPECT_EQ(0x1u, *ombrel_get_lock_flags_ptr_service(service));
    EXPECT_EQ(0, ombrel_unlock_flags_service(service));
    EXPECT_EQ(0, ombrel_lock_flags_service(service));
    std::atomic<bool> changed = false;
    std::thread other([&] { changed = ombrel_set_lock_flags_service(service, 0x100) == 0x101u; });
    std::this_thread::sleep_for(
        std::chrono::milliseconds(30)); // no time is asserted: it waits for as long as the flags are locked
    EXPECT_FALSE(changed);
    EXPECT_EQ(0, ombrel_unlock_flags_service(service));
    other.join();
    EXPECT_TRUE(changed);
    EXPECT_EQ(nullptr, ombrel_get_user_data_service(service));
    EXPECT_EQ(0, ombrel_set_user_data_service(service, &service));
    EXPECT_EQ(ombrel_get_user_data_service(service), &service);
    EXPECT_EQ(0, ombrel_close_service(service));
}

TEST_F(ServiceTest, NullServiceIsTolerated) {
    EXPECT_EQ(0, ombrel_close_service(nullptr));
    EXPECT_EQ(-1, ombrel_check_service(nullptr));
    EXPECT_EQ(-1, ombrel_break_service(nullptr));
    EXPECT_EQ(-1, ombrel_ack_service(nullptr));
    EXPECT_EQ(-1, ombrel_error_service(nullptr));
    EXPECT_EQ(-1, ombrel_try_lock_flags_service(nullptr));
    EXPECT_EQ(-1, ombrel_lock_flags_service(nullptr));
    EXPECT_EQ(-1, ombrel_unlock_flags_service(nullptr));
    EXPECT_EQ(0u, ombrel_get_lock_flags_service(nullptr));
    for (const auto change :
         {ombrel_set_lock_flags_service, ombrel_clear_lock_flags_service, ombrel_invert_lock_flags_service})
        EXPECT_EQ(0u, change(nullptr, 1));
    EXPECT_EQ(nullptr, ombrel_get_lock_flags_ptr_service(nullptr));
    EXPECT_EQ(nullptr, ombrel_get_user_data_service(nullptr));
    EXPECT_EQ(-1, ombrel_set_user_data_service(nullptr, nullptr));
}

TEST_F(ServiceTest, ManyServicesStartAndStopTogether) {
    ombrel_test::in_threads(6, [](int) {
        for (int round = 0; round < 10; round++) {
            ombrel_service_t* service = open("one");
            EXPECT_EQ(0, ombrel_close_service_ex(service, round % 2 == 0 ? 0xFFFFFFFFu : 10'000u));
        }
    });
}
