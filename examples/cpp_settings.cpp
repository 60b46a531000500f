// Settings from INI to XML: cpp_settings FILE.ini prints the document as elements, cpp_settings FILE.ini
// SECTION KEY VALUE changes it. Faults are thrown where they are of no other use.
#include <string>

#include <ombrel_tuk.hpp>

namespace {

void print_markup(const ombrel::ini& settings) {
    const auto out = ombrel::check(ombrel::buffer::open());
    const auto writer = ombrel::check(ombrel::xml_writer::open(out));
    ombrel::check(writer.begin("settings"));
    settings.for_each(nullptr, [&](const ombrel_ini_entry_t& entry) {
        if (entry.m_kind != def_ombrel_ini_entry_key)
            return;
        writer.begin("setting");
        writer.attribute("section", entry.m_section);
        writer.attribute("key", entry.m_key);
        writer.write_text(entry.m_value != nullptr ? entry.m_value : "");
        writer.end();
    });
    ombrel::check(writer.end());
    ombrel::check(writer.finish()); // tells of everything that failed before
    ombrel::print("%s", out.take(out.size()).view());
}

void change(const ombrel::ini& settings, const char* path, char** what) {
    ombrel::check(settings.set(what[0], what[1], what[2]));
    ombrel::check(settings.store_file(path)); // no crash leaves half of it
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2 && argc != 5) {
        ombrel::print_error("usage: %s FILE [SECTION KEY VALUE]\n", argv[0]);
        return 2;
    }
    try {
        const auto settings = ombrel::check(ombrel::ini::open());
        ombrel::check(settings.load_file(argv[1]));
        if (argc == 5)
            change(settings, argv[1], argv + 2);
        else
            print_markup(settings);
    } catch (const ombrel::error& error) {
        ombrel::print_error("%s: %s\n", argv[1], error.what());
        return 1;
    }
    return 0;
}
