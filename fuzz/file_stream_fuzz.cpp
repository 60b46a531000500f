// Reads any bytes as lines through small buffers that fill in pieces, beside a model that splits the whole
// text. The first bytes choose the sizes, the delimiter, and when the other side would have to wait.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include <ombrel/file_stream.h>

#include "support/require.h"

namespace {

struct text_side {
    std::string_view left;
    size_t piece;
    unsigned waits; ///< a bit for each call to come
};

int64_t read_piece(void* context, void* buffer, size_t size) {
    auto& side = *static_cast<text_side*>(context);
    const bool must_wait = (side.waits & 1) != 0;
    side.waits >>= 1;
    if (must_wait) {
        ombrel_leave_fault(def_ombrel_fault_would_block);
        return -1;
    }
    const size_t count = std::min({size, side.piece, side.left.size()});
    memcpy(buffer, side.left.data(), count);
    side.left.remove_prefix(count);
    return static_cast<int64_t>(count);
}

/// The next line of the model: its size, and what the stream gives for it.
struct expected_line {
    size_t size;
    int result;
    bool has_end;
};

expected_line next_line(std::string_view text, char delimiter, size_t limit) {
    const size_t end = std::min(text.find(delimiter), text.size());
    if (end > limit)
        return {limit, -1, false};
    return {end, text.empty() ? 0 : 1, end < text.size()};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    constexpr size_t head = 5;
    if (size < head)
        return 0;
    std::string_view text(reinterpret_cast<const char*>(data) + head, size - head);
    const auto delimiter = static_cast<char>(data[2] % 2 == 0 ? '\n' : data[2]);
    text_side side{text, data[3] % 16 + size_t{1}, data[4]};
    const ombrel_file_stream_calls_t calls{read_piece, nullptr, nullptr, nullptr, nullptr};
    ombrel_file_stream_options_t options;
    ombrel_init_file_stream_options(&options);
    options.m_buffer_size = data[0] % 32 + size_t{1};
    options.m_line_limit = data[1] % 64 + size_t{1};
    ombrel_file_stream_t* const stream = ombrel_open_file_stream_calls(&calls, &side, "r", &options);
    for (int result = 1; result != 0;) {
        char* line;
        size_t got;
        result = ombrel_file_stream_read_until(stream, static_cast<unsigned char>(delimiter), &line, &got);
        if (result < 0 && ombrel_last_fault() == def_ombrel_fault_would_block)
            continue;
        const expected_line expected = next_line(text, delimiter, options.m_line_limit);
        require(result == expected.result, "a line, a part of one, or the end");
        require(got == expected.size && (got == 0 || memcmp(line, text.data(), got) == 0),
                "the line's bytes");
        require(result == 0 || line[got] == '\0', "a terminator");
        require((ombrel_file_stream_has_line_end(stream) == 1) == expected.has_end || result == 0, "its end");
        text.remove_prefix(expected.size + (expected.has_end ? 1 : 0));
    }
    require(ombrel_close_file_stream(stream) == 0, "the stream closes");
    return 0;
}
