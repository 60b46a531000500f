#include <ombrel/quoted_printable.h>

#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/coder_program.h"
#include "support/heap_balance.h"

namespace {

using ombrel_test::take_string;

class QuotedPrintable : public ombrel_test::balanced_test {};

std::string from_quoted_printable(const std::string& text) {
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
    EXPECT_EQ(from_quoted_printable(expected), bytes);
}

TEST_F(QuotedPrintable, DecodesUpperCaseEscapesOnly) {
    static constexpr const char* cases[][2] = {
        {"", ""},         {"a=3Db=20c", "a=b c"}, {"=3d", "=3d"}, {"=0G=G0", "=0G=G0"}, {"=\r\nx", "=\r\nx"},
        {"==41", "=A"},   {"===", "==="},         {"=4", "=4"},   {"x=", "x="},         {"=41=", "A="},
        {"=4=41", "=4A"},
    };
    for (const auto& [text, bytes] : cases)
        EXPECT_EQ(bytes, from_quoted_printable(text)) << text;
}

TEST_F(QuotedPrintable, TakesNull) {
    size_t size = 1;
    EXPECT_EQ(-1, ombrel_push_encode_quoted_printable(nullptr, "", 0));
    EXPECT_EQ(-1, ombrel_push_decode_quoted_printable(nullptr, "x", 1));
    EXPECT_EQ(nullptr, ombrel_get_quoted_printable(nullptr, &size));
    EXPECT_EQ(0u, size);
    EXPECT_EQ(0, ombrel_close_quoted_printable(nullptr));
}

TEST_F(QuotedPrintable, NullStandsForZeros) {
    size_t size = 1;
    char* block = ombrel_encode_quoted_printable(nullptr, 2, &size);
    EXPECT_EQ("=00=00", take_string(block, size));
    block = ombrel_decode_quoted_printable(nullptr, 2, &size);
    EXPECT_EQ(std::string(2, '\0'), take_string(block, size));
    EXPECT_EQ(nullptr, ombrel_decode_quoted_printable("x", SIZE_MAX, &size)) << "no byte is looked at";
    EXPECT_EQ(0u, size);
}

// Limits, escapes that wait for their digits, and both directions in pieces.
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
