#include <string>

#include <ombrel/percent.h>

#include "support/heap_balance.h"

namespace {

class PercentTest : public ombrel_test::balanced_test {};

TEST_F(PercentTest, Encodes) {
    const struct {
        const char *s, *keep, *expected;
    } cases[] = {{"a b/c", nullptr, "a+b%2Fc"},
                 {"a b/c%", "/ ", "a+b/c%25"},
                 {"AZaz09-._~", nullptr, "AZaz09-._~"},
                 {"\xff+\n", nullptr, "%FF%2B%0A"},
                 {"", nullptr, ""}};
    for (const auto& c : cases) {
        char* made = ombrel_encode_percent_string_ex(c.s, c.keep);
        EXPECT_STREQ(c.expected, made);
        ombrel_free(made);
    }
    EXPECT_EQ(nullptr, ombrel_encode_percent_string(nullptr));
}

TEST_F(PercentTest, Decodes) {
    using namespace std::string_literals;
    const struct {
        const char* s;
        std::string expected;
    } cases[] = {{"a%20b+c%2", "a b c\x02"}, {"%4g", "\x04g"},    {"%zz", "\0zz"s}, {"%", "\0"s},
                 {"%aF%00x", "\xaf\0x"s},    {"100%+", "100\0"s}, {"", ""},         {"%2525", "%25"}};
    for (const auto& c : cases) {
        char* made = ombrel_decode_percent_string(c.s);
        EXPECT_EQ(std::string(made, c.expected.size()), c.expected) << c.s;
        EXPECT_EQ('\0', made[c.expected.size()]) << c.s;
        ombrel_free(made);
    }
    EXPECT_EQ(nullptr, ombrel_decode_percent_string(nullptr));
}

TEST_F(PercentTest, GivesBackEveryByte) {
    std::string bytes;
    for (int byte = 1; byte < 256; byte++)
        bytes += static_cast<char>(byte);
    char* encoded = ombrel_encode_percent_string(bytes.c_str());
    char* decoded = ombrel_decode_percent_string(encoded);
    EXPECT_EQ(bytes, decoded);
    ombrel_free(encoded);
    ombrel_free(decoded);
}

} // namespace
