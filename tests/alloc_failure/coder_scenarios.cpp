// Base64 and quoted-printable. A push that fails took all of its input or none, and the next one goes on.
#include <string>

#include "alloc_failure/injection.h"
#include "support/coder_program.h"

namespace ombrel_test {
namespace {

OMBREL_FAILURES(Coder, open_coder) {
    null_when_hit(fail, ombrel_close_base64, ombrel_open_base64);
    null_when_hit(fail, ombrel_close_quoted_printable, ombrel_open_quoted_printable);
}

std::string end_and_get(auto* coder, auto push, auto get) {
    EXPECT_EQ(0, push(coder, nullptr, 0));
    size_t size = 0;
    char* block = get(coder, &size);
    return take_string(block, size);
}

// Each step fails in turn, is done again, and the output is as if nothing had happened.
template<typename Coder>
void stream(injection& fail, decltype(Coder::encode) push, const std::string& data,
            const std::string& expected) {
    auto* coder = Coder::open();
    coder->m_input_limit = static_cast<uint32_t>(data.size()) + 2;
    const auto step = [&](const void* piece, size_t size) {
        const size_t before =
            ombrel_get_buffer_size(coder->m_input) + ombrel_get_buffer_size(coder->m_output);
        if (fail.during([&] { return push(coder, piece, size); }) == 0)
            return;
        EXPECT_TRUE(fail.hit());
        // What was taken cannot be there without a trace.
        if (ombrel_get_buffer_size(coder->m_input) + ombrel_get_buffer_size(coder->m_output) == before) {
            EXPECT_EQ(0, push(coder, piece, size));
        }
    };
    step(data.data(), 2);
    step(data.data() + 2, data.size() - 2);
    step(nullptr, 0);
    size_t size = 1;
    if (char* early = fail.during([&] { return Coder::get(coder, &size); })) {
        const std::string text = take_string(early, size);
        EXPECT_EQ(expected, text + end_and_get(coder, push, Coder::get));
    } else {
        EXPECT_TRUE(fail.hit());
        EXPECT_EQ(0u, size);
        EXPECT_EQ(expected, end_and_get(coder, push, Coder::get));
    }
    Coder::close(coder);
}

// Times a text is repeated: more than a node of a chain holds.
constexpr size_t large = 8000;

std::string repeated(const std::string& text) {
    std::string result;
    for (size_t i = 0; i < large; i++)
        result += text;
    return result;
}

template<typename Coder>
void streams(injection& fail, const std::string& plain, const std::string& encoded) {
    stream<Coder>(fail, Coder::encode, plain, encoded);
    stream<Coder>(fail, Coder::decode, encoded, plain);
}

OMBREL_FAILURES(Coder, base64_streams) {
    streams<base64_functions>(fail, repeated("Man"), repeated("TWFu"));
}

struct base64_in_lines : base64_functions {
    static ombrel_base64_t* open() {
        ombrel_base64_t* const coder = ombrel_open_base64();
        coder->m_line_width = 4;
        return coder;
    }
};

OMBREL_FAILURES(Coder, base64_lines) {
    stream<base64_in_lines>(fail, base64_in_lines::encode, repeated("Man"), repeated("TWFu\n"));
}

OMBREL_FAILURES(Coder, quoted_printable_streams) {
    streams<quoted_printable_functions>(fail, repeated("a="), repeated("a=3D"));
}

OMBREL_FAILURES(Coder, one_call) {
    text_or_null(fail, "TWFu", [] { return ombrel_encode_base64("Man", 3, nullptr); });
    text_or_null(fail, "AAAA", [] { return ombrel_encode_base64(nullptr, 3, nullptr); });
    text_or_null(fail, "Man", [] { return ombrel_decode_base64("TWFu", 4, nullptr); });
    const std::string stopped = "TWFu" + std::string(1000, ' ');
    text_or_null(fail, "Man", [&] { return ombrel_decode_base64(stopped.data(), stopped.size(), nullptr); });
    text_or_null(fail, "a=3D", [] { return ombrel_encode_quoted_printable("a=", 2, nullptr); });
    text_or_null(fail, "a=", [] { return ombrel_decode_quoted_printable("a=3D", 4, nullptr); });
}

} // namespace
} // namespace ombrel_test
