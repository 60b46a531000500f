// Compiled, not run: what must be refused, line by line.
#include <ombrel_tuk.hpp>

void wrong_formats(std::size_t size, std::string_view view, const ombrel::buffer& queue) {
    ombrel::print("%zu", size);                  // wrong
    ombrel::print("%e", 1.5);                    // wrong
    ombrel::print("%g %s", 1.5, "x");            // wrong
    ombrel::print("%+d", 1);                     // wrong
    ombrel::print("%hd", static_cast<short>(1)); // wrong
    ombrel::print("%0-5d", 1);                   // wrong
    ombrel::print("% d", 1);                     // wrong
    ombrel::print("%a", 1.5);                    // wrong
    ombrel::print("%n", nullptr);                // wrong
    ombrel::print("ends in %");                  // wrong
    ombrel::print("%l", 1L);                     // wrong
    ombrel::print("%llf", 1.5);                  // wrong
    ombrel::print("%ls", "x");                   // wrong
    ombrel::print("%d", 1LL);                    // wrong
    ombrel::print("%lld", 1);                    // wrong
    ombrel::print("%u", -1);                     // wrong
    ombrel::print("%d", 1u);                     // wrong
    ombrel::print("%x", 1.5);                    // wrong
    ombrel::print("%f", 1);                      // wrong
    ombrel::print("%f", 1.5L);                   // wrong
    ombrel::print("%s", 1);                      // wrong
    ombrel::print("%s", nullptr);                // wrong
    ombrel::print("%d", "x");                    // wrong
    ombrel::print("%d", true);                   // wrong
    ombrel::print("%p", view);                   // wrong
    ombrel::print("%*d", 1u, 1);                 // wrong
    ombrel::print("%*d", 1);                     // wrong
    ombrel::print("%d %d", 1);                   // wrong
    ombrel::print("%d", 1, 2);                   // wrong
    ombrel::print("", view);                     // wrong
    ombrel::format_to(queue, "%zu", size);       // wrong
    queue.print("%zu", size);                    // wrong
}

void wrong_scans(const char* text, int& number, char (&name)[16], long long& large) {
    ombrel::scan(text, "%i", number);              // wrong
    ombrel::scan(text, "%f", number);              // wrong
    ombrel::scan(text, "%lld %d", number, number); // wrong
    ombrel::scan(text, "%d", large);               // wrong
    ombrel::scan(text, "%s", name);                // wrong
    ombrel::scan(text, "%16s", name);              // wrong
    ombrel::scan(text, "%15s", number);            // wrong
    ombrel::scan(text, "%d", name);                // wrong
    ombrel::scan(text, "%8[a-d", name);            // wrong
    ombrel::scan(text, "%*d", number);             // wrong
    ombrel::scan(text, "%d %d", number);           // wrong
    ombrel::scan(text, "%lld %hd", large, number); // wrong
}
