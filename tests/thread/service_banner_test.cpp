#include <atomic>
#include <chrono>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/service.h>
#include <ombrel/short_lock.h>

#include "support/capture.h"
#include "support/heap_balance.h"
#include "support/matches.h"
#include "support/time_travel.h"

namespace {

// A handler that takes its time to start and to stop, until it is let go.
struct slow_handler {
    std::atomic<bool> starts{false}, stops{false};

    static int run(ombrel_service_t* service, void* context) {
        auto* self = static_cast<slow_handler*>(context);
        while (!self->starts)
            ombrel_load_balance_short();
        ombrel_ack_service(service);
        while (!self->stops || ombrel_break_service(service) == 0)
            ombrel_load_balance_short();
        return 0;
    }
};

// Time for the waiting thread to begin its wait, before the clock is put forward.
void let_it_wait() {
    std::this_thread::sleep_for(std::chrono::milliseconds(1000));
}

// The waiting thread looks at least every 100 ms of the machine's own time.
void await_banners(const ombrel_test::capture& output, size_t count) {
    constexpr size_t lines = 4;
    for (int i = 0; i < 600 && ombrel_test::occurrences(output.so_far(), "\n") < count * lines; i++)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
}

} // namespace

TEST(ServiceBanner, SlowStartAndSlowStopAreReportedAgainEveryFourSeconds) {
    OMBREL_TEST_NEEDS_TIME_TRAVEL();
    const ombrel_test::heap_balance balance;
    ombrel_test::time_travel clock;
    slow_handler handler;
    ombrel_service_t* service = nullptr;
    ombrel_test::capture output(stderr);

    std::thread opener([&] { service = ombrel_open_service_ex(nullptr, slow_handler::run, &handler, 0); });
    let_it_wait();
    clock.skip_seconds(60);
    await_banners(output, 1);
    clock.skip_seconds(4);
    await_banners(output, 2);
    handler.starts = true;
    opener.join();
    ASSERT_NE(nullptr, service);

    std::thread closer([&] { ombrel_close_service(service); });
    let_it_wait();
    clock.skip_seconds(61);
    await_banners(output, 3);
    handler.stops = true;
    closer.join();

    std::string text = output.text();
    const std::string all = text;
    const std::regex banner(
        "\n((-=\\*=- ){12}-=\\*=-\n)ombrel_tuk: \\[WARNING\\] wait for (start|stop) service "
        "\\(name=\"no service name\", ([0-9]+)\\.[0-9]{3} sec\\)\n\\1");
    std::string order;
    std::vector<int> seconds;
    constexpr auto at_front = std::regex_constants::match_continuous;
    for (std::smatch found; std::regex_search(text, found, banner, at_front); text = found.suffix().str()) {
        order += found.str(3) + " ";
        seconds.push_back(std::stoi(found.str(4)));
    }
    EXPECT_EQ("", text) << all;
    // More of the last kind when the machine was slow to stop it.
    ASSERT_TRUE(ombrel_test::matches(order, "start start (stop )+")) << all;
    EXPECT_GE(seconds[0], 60) << all;
    EXPECT_GE(seconds[1], seconds[0] + 4) << all;
    EXPECT_GE(seconds[2], 61) << all;
}
