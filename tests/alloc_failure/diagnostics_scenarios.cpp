// Output, dump, progress and the version document.
#include <string>

#include <ombrel/dump.h>
#include <ombrel/heap_report.h>
#include <ombrel/output.h>
#include <ombrel/progress.h>
#include <ombrel/version.h>

#include "alloc_failure/injection.h"
#include "support/queued.h"

namespace ombrel_test {
namespace {

std::string printed;

unsigned collect(const char* text) {
    printed += text != nullptr ? text : "";
    return 42;
}

/// Collects what the library prints on both streams.
class collector : no_copy {
public:
    collector() {
        printed.clear();
        ombrel_set_puts_handler(collect, &output_);
        ombrel_set_error_puts_handler(collect, &error_);
    }
    ~collector() {
        ombrel_set_puts_handler(output_, nullptr);
        ombrel_set_error_puts_handler(error_, nullptr);
    }

private:
    ombrel_puts_handler_t output_, error_;
};

OMBREL_FAILURES(Diagnostics, print_all_or_nothing) {
    const struct {
        unsigned (*print)(const char* format, ...);
        const char* expected;
    } cases[] = {
        {ombrel_printf, "12 things"}, {ombrel_error_printf, "12 things"}, {ombrel_log_printf, "12 things\n"}};
    for (const auto& c : cases) {
        const collector texts;
        const unsigned result = fail.during([&] { return c.print("%d %s", 12, "things"); });
        EXPECT_EQ(result != 0 ? c.expected : "", printed);
        EXPECT_TRUE(result == 42 || (result == 0 && fail.hit())) << result;
    }
}

OMBREL_FAILURES(Diagnostics, puts_with_escapes) {
    const unsigned result = fail.during([] { return ombrel_puts("\x1b[1mx"); });
    EXPECT_TRUE(fail.hit() ? result == 0 : static_cast<int>(result) >= 0) << result;
}

OMBREL_FAILURES(Diagnostics, dump_far_to_the_right) {
    const collector texts;
    const char data[] = "A";
    EXPECT_EQ(data, fail.during([&] { return ombrel_dump_ex(1000, 0, data, 1, 0); }));
    EXPECT_NE(std::string::npos, printed.find(" 00000000 41 ")) << "the bytes are shown in any case";
}

OMBREL_FAILURES(Diagnostics, progress_bar) {
    const collector texts;
    const int result = fail.during([] { return ombrel_progress_bar(1, 2, "p", "abc", "%s", "suffix"); });
    const bool complete = result == 42 && printed.find("suffix") != std::string::npos;
    EXPECT_TRUE(complete || (fail.hit() && (result == 42 || result == 0 || result == -1))) << result;
}

/// A document that is pushed into a buffer or, where that is null, printed. Its last line is at its end.
template<typename Push>
void pushes_document(injection& fail, const char* last_line, Push push) {
    ombrel_buffer_t* buffer = ombrel_open_buffer_ex(0);
    const int result = fail.during([=] { return push(buffer); });
    const std::string text = take_queued(buffer);
    ombrel_close_buffer(buffer);
    EXPECT_EQ(text.find(last_line) != std::string::npos, result == 0);
    EXPECT_TRUE(result == 0 || fail.hit());
    const collector texts;
    if (fail.during([=] { return push(nullptr); }) == 0) {
        EXPECT_NE(std::string::npos, printed.find(last_line));
    } else {
        EXPECT_TRUE(fail.hit());
        EXPECT_EQ("", printed) << "no half documents";
    }
}

OMBREL_FAILURES(Diagnostics, version_xml) {
    pushes_document(fail, "</application>\n<!-- end of version.xml -->\n",
                    [](ombrel_buffer_t* buffer) { return ombrel_push_version_xml(buffer, "app"); });
}

OMBREL_FAILURES(Diagnostics, heap_report) {
    // The smallest of all sites.
    void* const block = ombrel_alloc_tag(4, "~last", 1);
    pushes_document(fail, " blocks  ~last:1\n", ombrel_push_heap_report);
    ombrel_free(block);
}

} // namespace
} // namespace ombrel_test
