// Compiled, not run: what is let through in every mode, as templates are looked at where they are used.
#include <ombrel_tuk.hpp>

#include <string>

void uses_of_templates(ombrel::event_base_ref base, ombrel::ctx_ref ctx, std::string_view view) {
    const auto event = ombrel::event::open_timer(base, [] {});
    const auto service = ombrel::service::open("s", [](ombrel::service_ref self) { self.ack(); });
    const auto parser = ombrel::xml_parser::open([](const ombrel_xml_event_t&) {});
    const auto table = ombrel::hash<std::string_view, int>::open();
    const auto text = ombrel::format("plain %d %s %5.2f %llu %%", 1, view, 1.5, ombrel::wide(sizeof view));
    ombrel::print("%s\n", text);
    int number = 0;
    char name[16];
    ombrel::scan("7 name", "%d %*d%% %15s %3[]^a-d]%n", number, name, name, number);
    ombrel::scan("7", "7");
    ombrel::print("no arguments\n");
    ctx.print("no arguments\n");
    ombrel::buffer::open().print("no arguments\n");
    static_cast<void>(event);
    static_cast<void>(service);
    static_cast<void>(parser);
    static_cast<void>(table);
}
