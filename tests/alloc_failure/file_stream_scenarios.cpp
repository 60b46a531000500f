// Buffered streams.
#include <string>

#include <ombrel/file_stream.h>

#include "alloc_failure/injection.h"
#include "support/scratch_directory.h"

namespace ombrel_test {
namespace {

ombrel_file_stream_options_t small_buffers() {
    ombrel_file_stream_options_t options;
    ombrel_init_file_stream_options(&options);
    options.m_buffer_size = 8;
    return options;
}

OMBREL_FAILURES(FileStream, open) {
    const scratch_directory folder;
    const std::string path = folder / "file";
    const ombrel_file_stream_calls_t calls{[](void*, void*, size_t) { return int64_t{0}; }, nullptr, nullptr,
                                           nullptr, nullptr};
    ombrel_buffer_t* const chain = ombrel_open_buffer();
    null_when_hit(fail, ombrel_close_file_stream,
                  [&] { return ombrel_open_file_stream(path.c_str(), "w", nullptr); });
    null_when_hit(fail, ombrel_close_file_stream,
                  [] { return ombrel_open_file_stream_memory(nullptr, 0, "r", nullptr); });
    null_when_hit(fail, ombrel_close_file_stream, [] { return ombrel_open_file_stream_growing(nullptr); });
    null_when_hit(fail, ombrel_close_file_stream,
                  [&] { return ombrel_open_file_stream_buffer(chain, "r", nullptr); });
    null_when_hit(fail, ombrel_close_file_stream,
                  [&] { return ombrel_open_file_stream_calls(&calls, nullptr, "r", nullptr); });
    ombrel_close_buffer(chain);
}

// A failure loses no bytes: the same call succeeds when there is memory again.
OMBREL_FAILURES(FileStream, read_lines) {
    std::string text = std::string(100, 'x') + "\nlast";
    const auto options = small_buffers();
    ombrel_file_stream_t* const stream =
        ombrel_open_file_stream_memory(text.data(), text.size(), "r", &options);
    for (const std::string& expected : {std::string(100, 'x'), std::string("last")}) {
        char* line = nullptr;
        const auto read = [&] { return ombrel_file_stream_read_line(stream, &line, nullptr); };
        if (done_or_refused(fail, read, 1) < 0) {
            EXPECT_EQ(def_ombrel_fault_no_memory, ombrel_last_fault());
            EXPECT_EQ(1, read());
        }
        EXPECT_EQ(expected, line);
    }
    EXPECT_EQ(0, ombrel_close_file_stream(stream));
}

OMBREL_FAILURES(FileStream, alloc_rest) {
    std::string text(100'000, 'x');
    ombrel_file_stream_t* const stream =
        ombrel_open_file_stream_memory(text.data(), text.size(), "r", nullptr);
    null_when_hit(fail, free_block, [&] { return ombrel_file_stream_alloc_rest(stream, 0, nullptr); });
    ombrel_close_file_stream(stream);
}

// What was told to be written is in the memory that is taken at last.
OMBREL_FAILURES(FileStream, write_growing) {
    const auto options = small_buffers();
    ombrel_file_stream_t* const stream = ombrel_open_file_stream_growing(&options);
    const std::string text(1000, 'x');
    std::string expected;
    for (int i = 0; i < 3; i++) {
        const auto written =
            fail.during([&] { return ombrel_file_stream_printf(stream, "%s", text.c_str()); });
        EXPECT_TRUE(written == 1000 || fail.hit());
        expected.append(static_cast<size_t>(std::max<int64_t>(written, 0)), 'x');
    }
    char* const taken = ombrel_file_stream_take_memory(stream, nullptr);
    EXPECT_EQ(expected, taken);
    ombrel_free(taken);
    const bool was_lost = ombrel_file_stream_get_fault(stream) != def_ombrel_fault_none;
    EXPECT_EQ(was_lost ? -1 : 0, ombrel_close_file_stream(stream));
}

} // namespace
} // namespace ombrel_test
