// Compiled, not run: what is let through in every mode, and with WRONG one thing of those that are not.
#include <ombrel_tuk.hpp>

#include <string>

void uses_of_templates(ombrel::event_base_ref base, ombrel::ctx_ref ctx, std::string_view view) {
    const auto event = ombrel::event::open_timer(base, [] {});
    const auto service = ombrel::service::open("s", [](ombrel::service_ref self) { self.ack(); });
    const auto parser = ombrel::xml_parser::open([](const ombrel_xml_event_t&) {});
    const auto table = ombrel::hash<std::string_view, int>::open();
    const auto text = ombrel::format("plain %d %s %5.2f %llu %%", 1, view, 1.5, ombrel::wide(sizeof view));
    ombrel::print("%s\n", text);
    ombrel::print("no arguments\n");
    ctx.print("no arguments\n");
    ombrel::buffer::open().print("no arguments\n");
#if defined(WRONG)
    const std::size_t size = 1;
#if WRONG == 1
    ombrel::print("%zu", size);
#elif WRONG == 2
    ombrel::print("%e", 1.5);
#elif WRONG == 3
    ombrel::print("%d", 1LL);
#elif WRONG == 4
    ombrel::print("%s", 1);
#elif WRONG == 5
    ombrel::print("%d %d", 1);
#elif WRONG == 6
    ombrel::print("%d", 1, 2);
#elif WRONG == 7
    ombrel::print("%u", -1);
#elif WRONG == 8
    ombrel::print("%+d", 1);
#elif WRONG == 9
    ombrel::print("%hd", static_cast<short>(1));
#elif WRONG == 10
    ombrel::print("%0-5d", 1);
#elif WRONG == 11
    ombrel::print("%*d", 1u, 1);
#elif WRONG == 12
    ombrel::print("%llf", 1.5);
#elif WRONG == 13
    ombrel::print("ends in %");
#elif WRONG == 14
    const ombrel::buffer one = ombrel::buffer::open(), copy(one);
#endif
    static_cast<void>(size);
#endif
    static_cast<void>(event);
    static_cast<void>(service);
    static_cast<void>(parser);
    static_cast<void>(table);
}
