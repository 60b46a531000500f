#include <ombrel/font.h>

#include <array>
#include <cstring>

#include <ombrel/heap.h>

#include "graphics/font/font_data.h"

namespace ombrel::graphics {
namespace {

constexpr size_t narrow_size = 16, wide_size = def_ombrel_bitmap_font_glyph_size;

constexpr uint32_t initial_count = 19, medial_count = 21, final_count = 27;
constexpr uint32_t initial_sets = 8, medial_sets = 4, final_sets = 4;
constexpr size_t medial_bank = initial_sets * initial_count * wide_size;
constexpr size_t final_bank = medial_bank + medial_sets * medial_count * wide_size;
static_assert(def_ombrel_bitmap_font_16x16_ko_size == final_bank + final_sets * final_count * wide_size);

constexpr uint32_t first_consonant = 0x3131, first_vowel = 0x314F, first_syllable = 0xAC00;
constexpr uint32_t finals_a_medial = final_count + 1;
constexpr uint32_t syllable_count = initial_count * medial_count * finals_a_medial;

constexpr uint8_t none = 255;

// The consonants of the compatibility block that can begin a syllable.
constexpr uint8_t initial_of_consonant[30] = {0,    1,    none, 2,    none, none, 3,  4,  5,  none,
                                              none, none, none, none, none, none, 6,  7,  8,  none,
                                              9,    10,   11,   12,   13,   14,   15, 16, 17, 18};

// The last entry skips glyph 25, and the syllable's last final has none: meant so.
constexpr uint8_t glyph_of_final[final_count] = {none, 0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12,
                                                 13,   14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 26};

struct variant_sets {
    uint8_t initial_closed; // with a final
    uint8_t initial_open;   // without one
    uint8_t final;
};

constexpr variant_sets sets_of_medial[medial_count] = {
    {5, 0, 0}, {5, 0, 2}, {5, 0, 0}, {5, 0, 2}, {5, 0, 1}, {5, 0, 2}, {5, 0, 1},
    {5, 0, 2}, {6, 1, 3}, {7, 3, 0}, {7, 3, 2}, {7, 3, 1}, {6, 1, 3}, {6, 2, 3},
    {7, 4, 1}, {7, 4, 2}, {7, 4, 1}, {6, 2, 3}, {6, 1, 3}, {7, 3, 1}, {5, 0, 1},
};

using wide_glyph = std::array<uint8_t, wide_size>;

constexpr std::array<uint8_t, narrow_size> narrow_box = [] {
    std::array<uint8_t, narrow_size> rows{};
    rows.fill(0x81);
    rows.front() = rows.back() = 0xFF;
    return rows;
}();

constexpr wide_glyph wide_box = [] {
    wide_glyph rows{};
    for (size_t i = 0; i < wide_size; i += 2) {
        const bool edge = i == 0 || i + 2 == wide_size;
        rows[i] = edge ? 0xFF : 0x80;
        rows[i + 1] = edge ? 0xFF : 0x01;
    }
    return rows;
}();

const uint8_t* font_or(const uint8_t* font, const uint8_t* built_in) {
    return static_cast<const uint8_t*>(
        ombrel_check_ptr(const_cast<uint8_t*>(font), const_cast<uint8_t*>(built_in)));
}

const uint8_t* initial_glyph(const uint8_t* font, uint32_t set, uint32_t initial) {
    return font + (set * initial_count + initial) * wide_size;
}

const uint8_t* medial_glyph(const uint8_t* font, uint32_t set, uint32_t medial) {
    return font + (set * medial_count + medial) * wide_size + medial_bank;
}

const uint8_t* final_glyph(const uint8_t* font, uint32_t set, uint32_t final) {
    return font + (set * final_count + final) * wide_size + final_bank;
}

void join(wide_glyph& to, const uint8_t* glyph) {
    for (size_t i = 0; i < wide_size; i++)
        to[i] |= glyph[i];
}

wide_glyph compose(const uint8_t* font, uint32_t syllable) {
    const uint32_t initial = syllable / (medial_count * finals_a_medial);
    const uint32_t medial = syllable / finals_a_medial % medial_count;
    const uint32_t final_index = syllable % finals_a_medial;
    const uint8_t final = final_index < final_count ? glyph_of_final[final_index] : none;

    const variant_sets& sets = sets_of_medial[medial];
    const bool closed = final != none;
    const bool open_below = initial == 0 || initial == 15; // ㄱ and ㅋ
    const uint32_t medial_set = (closed ? 2u : 0u) + (open_below ? 0u : 1u);

    wide_glyph glyph{};
    join(glyph, initial_glyph(font, closed ? sets.initial_closed : sets.initial_open, initial));
    join(glyph, medial_glyph(font, medial_set, medial));
    if (closed)
        join(glyph, final_glyph(font, sets.final, final));
    return glyph;
}

const uint8_t* copy_glyph(uint8_t* buffer, const uint8_t* glyph, size_t size) {
    if (buffer == nullptr)
        return glyph;
    memcpy(buffer, glyph, size);
    return buffer;
}

const uint8_t* narrow_glyph(uint8_t* buffer, const uint8_t* font, uint32_t code) {
    const uint8_t* glyph =
        code < 128 ? font_or(font, font_8x16_en.data()) + narrow_size * code : narrow_box.data();
    return copy_glyph(buffer, glyph, narrow_size);
}

const uint8_t* hangul_glyph(uint8_t* buffer, const uint8_t* font, uint32_t code) {
    font = font_or(font, font_16x16_ko.data());
    if (code >= first_consonant && code < first_vowel) {
        const uint8_t initial = initial_of_consonant[code - first_consonant];
        if (initial != none)
            return copy_glyph(buffer, initial_glyph(font, 0, initial), wide_size);
    }
    if (code >= first_vowel && code < first_vowel + medial_count)
        return copy_glyph(buffer, medial_glyph(font, 0, code - first_vowel), wide_size);
    if (buffer != nullptr && code >= first_syllable && code < first_syllable + syllable_count)
        return copy_glyph(buffer, compose(font, code - first_syllable).data(), wide_size);
    return nullptr;
}

} // namespace
} // namespace ombrel::graphics

using namespace ombrel::graphics;

const uint8_t* ombrel_get_default_bitmap_font_8x16_en_entry() {
    return font_8x16_en.data();
}

const uint8_t* ombrel_get_default_bitmap_font_16x16_ko_entry() {
    return font_16x16_ko.data();
}

const uint8_t* ombrel_get_bitmap_font(unsigned int* width, unsigned int* height, uint8_t* glyph_buffer,
                                      const uint8_t* font, uint32_t code) {
    const bool narrow = code < 256;
    if (width != nullptr)
        *width = narrow ? 8 : 16;
    if (height != nullptr)
        *height = 16;
    if (narrow)
        return narrow_glyph(glyph_buffer, font, code);
    if (const uint8_t* glyph = hangul_glyph(glyph_buffer, font, code); glyph != nullptr)
        return glyph;
    // Only the upper half of the box is copied: meant so.
    return copy_glyph(glyph_buffer, wide_box.data(), wide_size / 2);
}
