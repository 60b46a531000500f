#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include <ombrel/service.h>
#include <ombrel/short_lock.h>

#include "support/capture.h"
#include "support/heap_balance.h"
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

constexpr size_t lines_of_a_banner = 4;

// The waiting thread looks at least every 100 ms of the machine's own time.
void await_banners(const ombrel_test::capture& output, size_t count) {
    const auto complete = [&] {
        const std::string text = output.so_far();
        return std::count(text.begin(), text.end(), '\n') >=
               static_cast<ptrdiff_t>(count * lines_of_a_banner);
    };
    for (int i = 0; i < 600 && !complete(); i++)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
}

// Takes a banner off the front of the text: its seconds, or -1 when something else stands there.
int take_banner(std::string& text, const std::string& what) {
    const std::string rule =
        "-=*=- -=*=- -=*=- -=*=- -=*=- -=*=- -=*=- -=*=- -=*=- -=*=- -=*=- -=*=- -=*=-\n";
    const std::string start =
        "\n" + rule + "ombrel_tuk: [WARNING] wait for " + what + " service (name=\"no service name\", ";
    const std::string end = " sec)\n" + rule;
    const size_t figure = text.find_first_not_of("0123456789", start.size());
    if (text.compare(0, start.size(), start) != 0 || figure == std::string::npos || text[figure] != '.' ||
        text.find_first_not_of("0123456789", figure + 1) != figure + 4 ||
        text.compare(figure + 4, end.size(), end) != 0)
        return -1;
    const int seconds = std::stoi(text.substr(start.size()));
    text.erase(0, figure + 4 + end.size());
    return seconds;
}

} // namespace

TEST(ServiceBanner, SlowStartAndSlowStopAreReportedAgainEveryFourSeconds) {
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
    const int first = take_banner(text, "start"), second = take_banner(text, "start");
    EXPECT_GE(first, 60) << all;
    EXPECT_GE(second, first + 4) << all;
    EXPECT_GE(take_banner(text, "stop"), 61) << all;
    while (take_banner(text, "stop") >= 0) // when the machine was slow to stop it
        ;
    EXPECT_EQ("", text) << all;
}
