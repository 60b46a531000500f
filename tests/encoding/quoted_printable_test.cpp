#include <ombrel/quoted_printable.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/coder_program.h"
#include "support/heap_balance.h"

namespace {

using ombrel_test::take_string;

class QuotedPrintable : public ombrel_test::balanced_test {
protected:
    int encode(const std::string& data) {
        return ombrel_push_encode_quoted_printable(coder_.get(), data.data(), data.size());
    }
    int decode(const std::string& data) {
        return ombrel_push_decode_quoted_printable(coder_.get(), data.data(), data.size());
    }
    std::string get() {
        size_t size = 1;
        char* block = ombrel_get_quoted_printable(coder_.get(), &size);
        return take_string(block, size);
    }
    struct close {
        void operator()(ombrel_quoted_printable_t* coder) const { ombrel_close_quoted_printable(coder); }
    };
    std::unique_ptr<ombrel_quoted_printable_t, close> coder_{ombrel_open_quoted_printable()};
};

std::string decoded(const std::string& text) {
    size_t size = 0;
    char* block = ombrel_decode_quoted_printable(text.data(), text.size(), &size);
    return take_string(block, size);
}

TEST_F(QuotedPrintable, EncodesAllThatIsNotPlain) {
    std::string bytes, expected;
    for (int byte = 0; byte < 256; byte++) {
        bytes += static_cast<char>(byte);
        char text[4];
        snprintf(text, sizeof text, "=%02X", static_cast<unsigned>(byte));
        expected += byte >= 33 && byte <= 126 && byte != '=' ? std::string(1, static_cast<char>(byte)) : text;
    }
    size_t size = 0;
    char* block = ombrel_encode_quoted_printable(bytes.data(), bytes.size(), &size);
    EXPECT_EQ(take_string(block, size), expected);
    EXPECT_EQ(decoded(expected), bytes);
}

TEST_F(QuotedPrintable, EncodesAtTheEndOnly) {
    EXPECT_EQ(0, encode("a=b"));
    EXPECT_EQ("", get());
    EXPECT_EQ(0, encode(" c") | encode("") | encode("ignored") | encode(""));
    EXPECT_EQ("a=3Db=20c", get());
}

TEST_F(QuotedPrintable, DecodesUpperCaseEscapesOnly) {
    static constexpr const char* cases[][2] = {
        {"", ""},         {"a=3Db=20c", "a=b c"}, {"=3d", "=3d"}, {"=0G=G0", "=0G=G0"}, {"=\r\nx", "=\r\nx"},
        {"==41", "=A"},   {"===", "==="},         {"=4", "=4"},   {"x=", "x="},         {"=41=", "A="},
        {"=4=41", "=4A"},
    };
    for (const auto& [text, bytes] : cases) {
        EXPECT_EQ(decoded(text), bytes) << text;
        coder_.reset(ombrel_open_quoted_printable());
        for (const char* character = text; *character != '\0'; character++)
            EXPECT_EQ(0, decode(std::string(1, *character)));
        EXPECT_EQ(0, decode(""));
        EXPECT_EQ(get(), bytes) << text;
    }
}

TEST_F(QuotedPrintable, AnEscapeWaitsForItsDigits) {
    for (const char* part : {"a=", "4"}) {
        EXPECT_EQ(0, decode(part));
        EXPECT_EQ(1u, ombrel_get_buffer_size(coder_->m_output));
    }
    EXPECT_EQ(0, decode("1"));
    EXPECT_EQ("aA", get());
}

TEST_F(QuotedPrintable, KeepsToItsLimits) {
    coder_->m_input_limit = 4;
    coder_->m_output_limit = 4;
    EXPECT_EQ(-1, encode("12345"));
    EXPECT_EQ(0, encode("abcd"));
    EXPECT_EQ(-1, encode("e"));
    EXPECT_EQ(-1, encode("")); // room for an escape is due for each byte
    EXPECT_EQ("ab", get());
    EXPECT_EQ(0, encode(""));
    EXPECT_EQ("cd", get());
    coder_.reset(ombrel_open_quoted_printable());
    coder_->m_output_limit = 2;
    EXPECT_EQ(0, decode("=41=42"));
    EXPECT_EQ(0, decode("=4"));
    EXPECT_EQ(-1, decode("3"));
    EXPECT_EQ("AB", get());
    EXPECT_EQ(0, decode(""));
    EXPECT_EQ("C", get());
}

TEST_F(QuotedPrintable, TakesNull) {
    size_t size = 1;
    EXPECT_EQ(-1, ombrel_push_encode_quoted_printable(nullptr, "", 0));
    EXPECT_EQ(-1, ombrel_push_decode_quoted_printable(nullptr, "x", 1));
    EXPECT_EQ(nullptr, ombrel_get_quoted_printable(nullptr, &size));
    EXPECT_EQ(0u, size);
    EXPECT_EQ(0, ombrel_close_quoted_printable(nullptr));
}

TEST_F(QuotedPrintable, DoesAsTheModel) {
    std::mt19937 random(20240611);
    for (int round = 0; round < 3000; round++) {
        std::vector<uint8_t> code(10 + random() % 60);
        for (uint8_t& byte : code)
            byte = static_cast<uint8_t>(random());
        using program = ombrel_test::coder_program<ombrel_test::quoted_printable_functions>;
        const char* fault = program(code.data(), code.size()).run();
        ASSERT_STREQ("", fault == nullptr ? "" : fault) << "round " << round;
    }
}

} // namespace
