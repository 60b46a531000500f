#include <ombrel/utf8.h>

#include <string>

#include <gtest/gtest.h>

namespace {

std::string encode(uint32_t code) {
    const auto tail = [&](unsigned shift) { return static_cast<char>(0x80 | (code >> shift & 0x3F)); };
    const auto head = [&](unsigned mark, unsigned shift) { return static_cast<char>(mark | code >> shift); };
    if (code < 0x80)
        return {head(0, 0)};
    if (code < 0x800)
        return {head(0xC0, 6), tail(0)};
    if (code < 0x10000)
        return {head(0xE0, 12), tail(6), tail(0)};
    return {head(0xF0, 18), tail(12), tail(6), tail(0)};
}

TEST(Utf8, EveryCodePointAndNoOther) {
    for (uint32_t code = 0; code < 0x1FFFFF; code++) {
        const std::string text = encode(code);
        const bool valid = code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
        uint32_t decoded = ~0u;
        ASSERT_EQ(valid ? static_cast<int>(text.size()) : -1,
                  ombrel_utf8_character_decode(text.data(), text.size(), &decoded));
        ASSERT_EQ(valid ? code : ~0u, decoded);
    }
}

TEST(Utf8, RefusedSequences) {
    using namespace std::string_literals;
    for (const std::string& text :
         {"\x80"s, "\xBF"s, "\xC0\x80"s, "\xC1\xBF"s, "\xE0\x9F\xBF"s, "\xF0\x8F\xBF\xBF"s, "\xC3("s,
          "\xE2\x82("s, "\xF8\x88\x80\x80\x80"s, "\xFE"s, "\xFF"s, "\xC3"s, "\xE2\x82"s, "\xF0\x9F\x98"s})
        EXPECT_EQ(-1, ombrel_utf8_character_decode(text.data(), text.size(), nullptr)) << text;
    EXPECT_EQ(-1, ombrel_utf8_character_decode(nullptr, 1, nullptr));
    EXPECT_EQ(0, ombrel_utf8_character_decode("", 0, nullptr));
    EXPECT_EQ(1, ombrel_utf8_character_decode("\0", 1, nullptr));
}

} // namespace
