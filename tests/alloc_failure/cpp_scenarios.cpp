// The objects of C++ that allocate beside what they hold: callables' blocks and terminated copies of views.
#include <memory>
#include <string>

#include <ombrel_tuk.hpp>

#include "alloc_failure/injection.h"

namespace ombrel_test {
namespace {

OMBREL_FAILURES(Cpp, FormatsOfLongViews) {
    const std::string text(300, 'x');
    const ombrel::text made = fail.during([&] { return ombrel::format("%s!", std::string_view(text)); });
    EXPECT_EQ(made ? text + "!" : "", made.view());
    EXPECT_TRUE(made || fail.hit());
}

OMBREL_FAILURES(Cpp, Callables) {
    const auto kept = std::make_shared<int>(0);
    {
        const ombrel::event_base base = ombrel::event_base::open();
        const auto event = fail.during([&] { return ombrel::event::open_timer(base, [kept] { ++*kept; }); });
        EXPECT_TRUE(event || fail.hit());
        const auto parser =
            fail.during([&] { return ombrel::xml_parser::open([kept](const ombrel_xml_event_t&) {}); });
        EXPECT_TRUE(parser || fail.hit());
        auto server = ombrel::http_server::open(base);
        const int result =
            fail.during([&] { return server.add_route("GET", "/", [kept](ombrel::http_exchange) {}); });
        EXPECT_TRUE(result == 0 || fail.hit());
    }
    EXPECT_EQ(1, kept.use_count()) << "a callable outlived its object";
}

OMBREL_FAILURE_ONCE(Cpp, CallablesOfThreads) {
    const auto kept = std::make_shared<int>(0);
    {
        const auto service = fail.during([&] {
            return ombrel::service::open("cpp", [kept](ombrel::service_ref self) {
                self.ack();
                while (!self.is_stopping())
                    ombrel_load_balance();
            });
        });
        EXPECT_TRUE(service || fail.hit());
        const auto queue =
            fail.during([&] { return ombrel::handled_buffer::open([kept](std::string_view) {}); });
        EXPECT_TRUE(queue || fail.hit());
    }
    EXPECT_EQ(1, kept.use_count()) << "a callable outlived its object";
}

} // namespace
} // namespace ombrel_test
