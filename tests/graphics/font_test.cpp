#include <ombrel/font.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <set>
#include <string>

#include <gtest/gtest.h>

namespace {

using glyph = std::array<uint8_t, def_ombrel_bitmap_font_glyph_size>;
constexpr uint8_t untouched = 0xA5;
constexpr size_t banks[] = {0, 4864, 7552, def_ombrel_bitmap_font_16x16_ko_size};

// A font in which the first bytes of a glyph tell its number within its bank, one place for each bank.
const std::array<uint8_t, def_ombrel_bitmap_font_16x16_ko_size> numbered = [] {
    std::array<uint8_t, def_ombrel_bitmap_font_16x16_ko_size> font{};
    for (size_t bank = 0; bank < 3; bank++)
        for (size_t at = banks[bank]; at < banks[bank + 1]; at += 32)
            font[at + bank] = static_cast<uint8_t>((at - banks[bank]) / 32 + 1);
    return font;
}();

glyph get(uint32_t code, const uint8_t* font = nullptr) {
    glyph buffer;
    buffer.fill(untouched);
    EXPECT_EQ(buffer.data(), ombrel_get_bitmap_font(nullptr, nullptr, buffer.data(), font, code));
    return buffer;
}

int inked_pixels(const uint8_t* rows) {
    int pixels = 0;
    for (size_t i = 0; i < def_ombrel_bitmap_font_glyph_size; i++)
        pixels += std::popcount(rows[i]);
    return pixels;
}

TEST(Font, EveryRangeHasItsGlyphItsSizeAndItsCopy) {
    const uint8_t* latin = ombrel_get_default_bitmap_font_8x16_en_entry();
    const uint8_t* hangul = ombrel_get_default_bitmap_font_16x16_ko_entry();
    const uint8_t* vowels = hangul + 4864;
    const uint8_t* narrow_box = ombrel_get_bitmap_font(nullptr, nullptr, nullptr, nullptr, 200);
    const uint8_t* wide_box = ombrel_get_bitmap_font(nullptr, nullptr, nullptr, nullptr, 0x3130);
    EXPECT_EQ(0, memcmp(narrow_box, "\xFF\x81\x81\x81\x81\x81\x81\x81\x81\x81\x81\x81\x81\x81\x81\xFF", 16));
    for (size_t row = 0; row < 16; row++)
        EXPECT_EQ(row % 15 == 0 ? 0xFFFF : 0x8001, wide_box[2 * row] << 8 | wide_box[2 * row + 1]) << row;

    const struct {
        uint32_t code;
        const uint8_t* bank;
        size_t number;
    } cases[] = {{0, latin, 0},         {'A', latin, 65},      {127, latin, 127},     {128, narrow_box, 0},
                 {255, narrow_box, 0},  {256, wide_box, 0},    {0x3131, hangul, 0},   {0x3133, wide_box, 0},
                 {0x3134, hangul, 2},   {0x3139, hangul, 5},   {0x313A, wide_box, 0}, {0x3141, hangul, 6},
                 {0x3143, hangul, 8},   {0x3144, wide_box, 0}, {0x3145, hangul, 9},   {0x314E, hangul, 18},
                 {0x314F, vowels, 0},   {0x3163, vowels, 20},  {0x3164, wide_box, 0}, {0xABFF, wide_box, 0},
                 {0xD7A4, wide_box, 0}, {~0u, wide_box, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.code);
        unsigned width = 0, height = 0;
        const uint8_t* const where = c.bank + c.number * (c.bank == latin ? 16 : 32);
        EXPECT_EQ(where, ombrel_get_bitmap_font(&width, &height, nullptr, nullptr, c.code));
        EXPECT_EQ(c.code < 256 ? 8u : 16u, width);
        EXPECT_EQ(16u, height);
        glyph expected; // of a wide box only the upper half, by design
        expected.fill(untouched);
        std::copy_n(where, width == 8 || where == wide_box ? 16 : 32, expected.begin());
        EXPECT_EQ(expected, get(c.code));
    }
    unsigned width = 0, height = 0;
    EXPECT_EQ(wide_box, ombrel_get_bitmap_font(&width, &height, nullptr, nullptr, 0xAC00));
    EXPECT_EQ(16u, width);
    EXPECT_EQ(16u, height);
}

TEST(Font, AGivenFontReplacesBothAndNoBox) {
    const uint8_t* own = numbered.data();
    EXPECT_EQ(own + 16 * 'B', ombrel_get_bitmap_font(nullptr, nullptr, nullptr, own, 'B'));
    EXPECT_EQ(own + 32, ombrel_get_bitmap_font(nullptr, nullptr, nullptr, own, 0x3132));
    EXPECT_EQ(own + 4864 + 32, ombrel_get_bitmap_font(nullptr, nullptr, nullptr, own, 0x3150));
    for (const uint32_t code : {200u, 0x3133u, 0x4E00u})
        EXPECT_EQ(get(code), get(code, own));
}

uint32_t set_in(const std::string& digits, uint32_t medial) {
    return static_cast<uint32_t>(digits[medial] - '0');
}

TEST(Font, SyllablesJoinTheVariantsThatBelongTogether) {
    const std::string closed = "555555556777667776675", open = "000000001333124442130";
    const std::string finals = "020212123021331213311";
    for (uint32_t s = 0; s < 11172; s++) {
        const uint32_t initial = s / 588, medial = s / 28 % 21, f = s % 28;
        const bool has_final = f != 0 && f != 27;
        const uint32_t beside = initial != 0 && initial != 15;
        glyph expected{};
        expected[0] = static_cast<uint8_t>(set_in(has_final ? closed : open, medial) * 19 + initial + 1);
        expected[1] = static_cast<uint8_t>((has_final * 2u + beside) * 21 + medial + 1);
        if (has_final)
            expected[2] = static_cast<uint8_t>(set_in(finals, medial) * 27 + (f == 26 ? 26 : f - 1) + 1);
        ASSERT_EQ(expected, get(0xAC00 + s, numbered.data())) << s;
    }
}

TEST(Font, LettersOfASyllableDoNotOverlap) {
    const uint8_t* font = ombrel_get_default_bitmap_font_16x16_ko_entry();
    for (uint32_t code = 0xAC00; code < 0xD7A4; code++) {
        const glyph numbers = get(code, numbered.data());
        int letters = 0;
        for (size_t bank = 0; bank < 3; bank++)
            letters += numbers[bank] == 0 ? 0 : inked_pixels(font + banks[bank] + (numbers[bank] - 1u) * 32);
        EXPECT_EQ(letters, inked_pixels(get(code).data())) << code;
    }
}

TEST(Font, BuiltInLettersAreToldApart) {
    std::set<glyph> seen;
    for (uint32_t code = 1; code < 128; code++)
        EXPECT_TRUE(seen.insert(get(code)).second) << code;
    for (uint32_t s = 0; s < 11172; s++)
        EXPECT_EQ(s % 28 != 27, seen.insert(get(0xAC00 + s)).second) << s;
}

} // namespace
